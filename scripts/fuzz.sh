#!/usr/bin/env bash
# Installs what is missing (Debian packages), builds the fuzz targets with Clang, the library instrumented as well, and
# runs each for a fixed time from the committed corpus and a fixed seed. Ends at the first finding, which is left in
# build/fuzz/findings.
#
# usage: scripts/fuzz.sh [--merge] [SECONDS [FOLDER...]]      default: 60 seconds each, every folder of the library
#   --merge afterwards adds what reached new code to tests/fuzz/corpus and drops what no longer does.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
merge=no
[[ ${1:-} == --merge ]] && merge=yes && shift
seconds=${1:-60}
folders=("${@:2}")
[[ ${#folders[@]} == 0 ]] && folders=(voxelops differential binary filters reslice geometry platform)

scripts/install-dependencies.sh "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}" clang-14 libclang-rt-14-dev
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

# A volume of more than 256 MiB counts as one that memory does not hold.
export ASAN_OPTIONS=allocator_may_return_null=1:max_allocation_size_mb=256 UBSAN_OPTIONS=print_stacktrace=1
export QT_QPA_PLATFORM=offscreen
limits=(-timeout=60 -rss_limit_mb=3000 -max_len=512 -len_control=0)

# merged FOLDER: of the inputs of corpus and run, few that reach every branch that all of them reach, and of these the
# forty longest, which make the most calls: the rest is found anew in seconds.
merged() {
  local corpus=tests/fuzz/corpus/$1 smallest=build/fuzz/smallest/$1
  rm -rf "$smallest" && mkdir -p "$smallest"
  "build/fuzz/tests/fuzz/arvo_fuzz_$1" "${limits[@]}" -set_cover_merge=1 -use_counters=0 \
    "$smallest" "$corpus" "build/fuzz/corpus/$1" 2>/dev/null
  (cd "$smallest" && find . -type f -printf '%s %f\n' | sort -rn | tail -n +41 | cut -d' ' -f2 | xargs -r rm)
  rm -rf "$corpus" && cp -r "$smallest" "$corpus"
}

for folder in "${folders[@]}"; do
  mkdir -p "tests/fuzz/corpus/$folder" "build/fuzz/corpus/$folder" build/fuzz/findings
  log=build/fuzz/$folder.log
  if ! "build/fuzz/tests/fuzz/arvo_fuzz_$folder" "${limits[@]}" -seed=1 -max_total_time="$seconds" \
    -artifact_prefix="build/fuzz/findings/$folder-" "build/fuzz/corpus/$folder" "tests/fuzz/corpus/$folder" &>"$log"; then
    tail -60 "$log"
    exit 1
  fi
  echo "$folder: $(grep -E '^Done ' "$log"), $(grep -oE 'cov: [0-9]+ ft: [0-9]+' "$log" | tail -1)"
  [[ $merge == yes ]] && merged "$folder"
done
exit 0
