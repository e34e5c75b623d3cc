#!/usr/bin/env bash
# Checks the dynamic symbol table of the shared library: every primitive of the list appears
# under its short name, its full name and its table, and nothing internal leaks out.
set -euo pipefail
lib=$1
list=$2
# Sanitizer builds add their own bookkeeping symbols; they are not the library's.
defined=$(nm -D --defined-only "$lib" | awk '{print $3}' |
  grep -v -E '^(_init|_fini)$|^__(odr_asan|asan|ubsan|sanitizer|tsan)' | sort)

fail=0
for name in $(grep -o -E '^  X\([A-Za-z0-9_]+' "$list" | sed 's/^  X(//'); do
  for sym in "$name" "nyxi$name" "nyxi${name}_arraddr"; do
    if ! grep -qx "$sym" <<<"$defined"; then
      echo "missing export: $sym"
      fail=1
    fi
  done
done

# Everything exported must be an interface name: short names (mixed case, from the list),
# nyx-prefixed frame names, the floating-point state functions and the two hooks.
shorts=$(grep -o -E '^  X\([A-Za-z0-9_]+' "$list" | sed 's/^  X(//')
while read -r sym; do
  [ -z "$sym" ] && continue
  case "$sym" in
    nyx*|ps_*|tessel_nyx_load|tessel_nyx_unload) ;;
    *)
      if ! grep -qx "$sym" <<<"$shorts"; then
        echo "internal name exported: $sym"
        fail=1
      fi
      ;;
  esac
  case "$sym" in
    _Z*|*own*|*_mx_*|*_m7_*|*_u8_*|*_y8_*) echo "internal name exported: $sym"; fail=1 ;;
  esac
done <<<"$defined"

exit $fail
