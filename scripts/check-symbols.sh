#!/usr/bin/env bash
# Checks that the two libraries export the symbols listed in abi/ and no others: what a host may have linked against
# disappears on purpose or not at all.
#
# usage: scripts/check-symbols.sh BUILD_DIR [--update]
# Listed are the library's own symbols, demangled. Left out are template instantiations of the standard library and Qt
# that the compiler emits into every library that uses them, which differ from one compiler to the next.
set -euo pipefail
build=$(realpath "$1")
cd "$(dirname "$0")/.."

own_symbols() {
  nm -D --defined-only --demangle "$1" | cut -c20- | sed 's/\[abi:cxx11\]//g' |
    grep -vE '^((vtable|typeinfo|typeinfo name|guard variable) for )?(std|__gnu_cxx|tbb|Q[A-Za-z0-9_]+)(::|<)|^[a-z]+ (std|__gnu_cxx|tbb)::|^(_init|_fini|__bss_start|_edata|_end)$' |
    LC_ALL=C sort -u
}

status=0
for library in platform volume; do
  list=abi/arvo_$library.symbols
  if [[ ${2:-} == --update ]]; then
    own_symbols "$build/arvo/libarvo_$library.so" >"$list"
  elif ! diff -u "$list" <(own_symbols "$build/arvo/libarvo_$library.so"); then
    echo "The symbols of libarvo_$library changed (- gone, + new). If that is meant:"
    echo "  scripts/check-symbols.sh BUILD_DIR --update, commit abi/, and a line in CHANGELOG.md"
    status=1
  fi
done
[[ $status == 0 ]] && echo "exported symbols: $(wc -l <abi/arvo_platform.symbols) + $(wc -l <abi/arvo_volume.symbols), as listed"
exit $status
