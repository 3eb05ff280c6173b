#!/usr/bin/env bash
# Installs what is missing (Debian packages), builds with coverage, runs all tests and prints which share of the lines
# and branches of arvo/ they reach, folder by folder. The branches that only an exception takes are left out.
# build/coverage/report/index.html shows every line.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
scripts/install-dependencies.sh "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}" gcovr
cmake --preset coverage >/dev/null
cmake --build --preset coverage
find build/coverage -name '*.gcda' -delete
ctest --preset coverage -j "$(nproc)"

mkdir -p build/coverage/report
gcovr --root . --filter 'arvo/' --exclude-throw-branches --exclude-unreachable-branches build/coverage \
  --html-details build/coverage/report/index.html --csv build/coverage/report/files.csv -j "$(nproc)" >/dev/null

summary() {
  printf '| folder | lines | covered | | branches | covered | |\n|---|---|---|---|---|---|---|\n'
  awk -F, '
    function row(name) {
      printf "| %s | %d | %d | %.1f %% | %d | %d | %.1f %% |\n", name, lines[name], hit[name],
        100 * hit[name] / lines[name], branches[name], taken[name], 100 * taken[name] / branches[name]
    }
    NR == 1 { for (i = 1; i <= NF; ++i) column[$i] = i; next }
    {
      split($1, path, "/")
      for (k = 0; k < 2; ++k) {
        name = k ? "all" : path[2]
        lines[name] += $column["line_total"]; hit[name] += $column["line_covered"]
        branches[name] += $column["branch_total"]; taken[name] += $column["branch_covered"]
      }
    }
    END {
      count = split("platform frame voxelops differential binary filters reslice geometry all", order, " ")
      for (k = 1; k <= count; ++k)
        row(order[k])
    }' build/coverage/report/files.csv
}
summary | tee build/coverage/report/summary.md
