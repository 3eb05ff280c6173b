#!/usr/bin/env bash
# Installs what is missing (Debian packages), builds the fuzz targets with Clang, the library instrumented as well, and runs
# each for a fixed time from its committed corpus and a fixed seed, as many at once as there are processors. Fails when one
# found something, which is left in build/fuzz/findings.
#
# usage: scripts/fuzz.sh [--merge] [SECONDS]      default: 60 seconds each
#   --merge afterwards adds what reached new code to tests/fuzz/corpus and drops what no longer does.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
merge=no
[[ ${1:-} == --merge ]] && merge=yes && shift
seconds=${1:-60}

scripts/install-dependencies.sh "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}" clang-14 libclang-rt-14-dev
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

# A volume of more than 256 MiB counts as one that memory does not hold.
export ASAN_OPTIONS=allocator_may_return_null=1:max_allocation_size_mb=256 UBSAN_OPTIONS=print_stacktrace=1
export QT_QPA_PLATFORM=offscreen

# fuzz TARGET: its figures on one line, or the end of its log.
fuzz() {
  local family=${1##*arvo_fuzz_}
  local own=build/fuzz/corpus/$family committed=tests/fuzz/corpus/$family log=build/fuzz/$family.log
  local limits=(-timeout=60 -rss_limit_mb=3000 -max_len=512 -len_control=0)
  mkdir -p "$own" "$committed"
  if ! "$1" "${limits[@]}" -seed=1 -max_total_time="$seconds" -artifact_prefix="build/fuzz/findings/$family-" \
    "$own" "$committed" &>"$log"; then
    tail -60 "$log"
    return 1
  fi
  echo "$family: $(grep -E '^Done ' "$log"), $(grep -oE 'cov: [0-9]+ ft: [0-9]+' "$log" | tail -1)"
  [[ $merge == yes ]] || return 0

  # Of the inputs of corpus and run, few that reach every branch that all of them reach, and of these the longest, which
  # make the most calls: the rest is found anew in seconds.
  local smallest=build/fuzz/smallest/$family
  rm -rf "$smallest" && mkdir -p "$smallest"
  "$1" "${limits[@]}" -set_cover_merge=1 -use_counters=0 "$smallest" "$committed" "$own" 2>/dev/null
  (cd "$smallest" && find . -type f -printf '%s %f\n' | sort -rn | tail -n +31 | cut -d' ' -f2 | xargs -r rm)
  rm -rf "$committed" && cp -r "$smallest" "$committed"
}
export -f fuzz
export merge seconds
mkdir -p build/fuzz/findings
find build/fuzz/tests/fuzz -name 'arvo_fuzz_*' -type f -executable | sort |
  xargs -P "$(nproc)" -I{} bash -euo pipefail -c 'fuzz {}'
