#!/usr/bin/env bash
# Checks that the program in the README is the one that the tests build and run, to the letter.
set -euo pipefail
cd "$(dirname "$0")/.."
if [[ $(<README.md) != *"\`\`\`cpp
$(<examples/minimal/main.cpp)
\`\`\`"* ]]; then
  echo "README.md does not show examples/minimal/main.cpp as it is"
  exit 1
fi
echo "README.md shows examples/minimal/main.cpp"
