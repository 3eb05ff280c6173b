#!/usr/bin/env bash
# Checks over the includes of arvo/ that folders depend downwards only.
set -euo pipefail
cd "$(dirname "$0")/.."

# folder: the folders it may include besides itself
declare -A allowed=(
  [platform]=""
  [frame]="platform"
  [voxelops]="frame platform"
  [differential]="frame platform"
  [reslice]="frame platform"
  [geometry]="frame platform"
  [binary]="reslice frame platform"
  [filters]="binary reslice frame platform"
)

status=0
while IFS=: read -r file line; do
  from=$(cut -d/ -f2 <<<"$file")
  to=$(sed -E 's|.*"arvo/([a-z]+)/.*|\1|' <<<"$line")
  if [[ $from != "$to" && " ${allowed[$from]} " != *" $to "* ]]; then
    echo "$file includes $to"
    status=1
  fi
done < <(grep -rE '^#include "arvo/' arvo)

# What a host's compiler sees: no third-party header but Qt's in a public header.
if grep -rlE '#include [<"](Eigen|tbb|oneapi)/' arvo --include='*.h'; then
  echo "the headers above include a library that is not the host's business"
  status=1
fi
[[ $status == 0 ]] && echo "layering holds"
exit $status
