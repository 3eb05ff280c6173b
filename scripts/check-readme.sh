#!/usr/bin/env bash
# Checks that the code in README.md and docs/GUIDE.md is, to the letter, code that the tests build and run.
set -euo pipefail
cd "$(dirname "$0")/.."

# shows_only PAGE PROGRAM: every C++ block of the page is a piece of the program.
shows_only() {
  local page=$1 program block="" inside=no
  program=$(<"$2")
  while IFS= read -r line; do
    if [[ $line == '```cpp' ]]; then
      inside=yes block=""
    elif [[ $line == '```' && $inside == yes ]]; then
      inside=no
      if [[ $program != *"${block%$'\n'}"* ]]; then
        printf '%s shows code that is not in %s:\n%s' "$page" "$2" "$block"
        exit 1
      fi
    elif [[ $inside == yes ]]; then
      block+=$line$'\n'
    fi
  done <"$page"
  echo "$page shows $2"
}

shows_only README.md examples/minimal/main.cpp
shows_only docs/GUIDE.md examples/guide/main.cpp
