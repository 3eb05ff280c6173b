#!/usr/bin/env bash
# Builds the result hashes in three variants - this compiler, the same without the kernels for wider vectors, and
# another compiler - and compares each, at several thread limits, with tests/trust/result-hashes.txt.
#
# usage: scripts/same-bits.sh [--update]
#   --update first rewrites the file from the first variant, after a result was changed on purpose.
# CXX and OTHER_CXX name the compilers (g++ and clang++-14).
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
scripts/install-dependencies.sh "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}" clang-14
file=tests/trust/result-hashes.txt
cxx=${CXX:-g++} other=${OTHER_CXX:-clang++-14}

# hashes VARIANT COMPILER [OPTION...]: builds and prints the program's path.
hashes() {
  local dir=build/same-bits/$1 compiler=$2
  shift 2
  cmake -G Ninja -S . -B "$dir" -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER="$compiler" "$@" >/dev/null
  cmake --build "$dir" --target arvo_result_hashes >/dev/null
  echo "$dir/tests/trust/arvo_result_hashes"
}

status=0
for variant in wide baseline other; do
  case $variant in
  wide) program=$(hashes "$variant" "$cxx") ;;
  baseline) program=$(hashes "$variant" "$cxx" -DARVO_BASELINE_ONLY=ON) ;;
  other) program=$(hashes "$variant" "$other") ;;
  esac
  if [[ ${1:-} == --update && $variant == wide ]]; then
    for threads in 1 2; do "$program" --threads "$threads" 2>/dev/null; done | LC_ALL=C sort -u >"$file"
  fi
  for threads in 1 2 0; do
    echo -n "$variant, thread limit $threads: "
    if ! "$program" --threads "$threads" --check "$file" >build/same-bits/report.txt 2>/dev/null; then
      status=1
      cat build/same-bits/report.txt
    else
      tail -1 build/same-bits/report.txt
    fi
  done
done
exit $status
