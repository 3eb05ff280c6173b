#!/usr/bin/env bash
# Installs what is missing (Debian packages), builds the fuzz target with Clang, the library instrumented as well, and runs
# it for a fixed time from the committed corpus and a fixed seed. Ends at the first finding, which is left in
# build/fuzz/findings.
#
# usage: scripts/fuzz.sh [--merge] [SECONDS]      default: 300 seconds
#   --merge afterwards adds what reached new code to tests/fuzz/corpus and drops what no longer does.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
merge=no
[[ ${1:-} == --merge ]] && merge=yes && shift
seconds=${1:-300}

scripts/install-dependencies.sh "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}" clang-14 libclang-rt-14-dev
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

# A volume of more than 256 MiB counts as one that memory does not hold.
export ASAN_OPTIONS=allocator_may_return_null=1:max_allocation_size_mb=256 UBSAN_OPTIONS=print_stacktrace=1
export QT_QPA_PLATFORM=offscreen
limits=(-timeout=60 -rss_limit_mb=3000 -max_len=512 -len_control=0)

target=build/fuzz/tests/fuzz/arvo_fuzz
corpus=tests/fuzz/corpus
mkdir -p "$corpus" build/fuzz/corpus build/fuzz/findings
if ! "$target" "${limits[@]}" -seed=1 -max_total_time="$seconds" -artifact_prefix=build/fuzz/findings/ \
  build/fuzz/corpus "$corpus" &>build/fuzz/log.txt; then
  tail -60 build/fuzz/log.txt
  exit 1
fi
echo "$(grep -E '^Done ' build/fuzz/log.txt), $(grep -oE 'cov: [0-9]+ ft: [0-9]+' build/fuzz/log.txt | tail -1)"
[[ $merge == no ]] && exit

# Of the inputs of corpus and run, few that reach every branch that all of them reach, and of these the longest, which make
# the most calls: the rest is found anew in seconds.
smallest=build/fuzz/smallest
rm -rf "$smallest" && mkdir -p "$smallest"
"$target" "${limits[@]}" -set_cover_merge=1 -use_counters=0 "$smallest" "$corpus" build/fuzz/corpus 2>/dev/null
(cd "$smallest" && find . -type f -printf '%s %f\n' | sort -rn | tail -n +201 | cut -d' ' -f2 | xargs -r rm)
rm -rf "$corpus" && cp -r "$smallest" "$corpus"
