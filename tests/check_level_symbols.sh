#!/usr/bin/env bash
# A level's objects are built with that level's instruction flags. Any symbol they define
# outside their own namespace (an inline function or template the linker may merge with
# another level's copy) could let generic code run instructions the processor lacks.
# Usage: check_level_symbols.sh <tag> <object>...
set -euo pipefail
tag=$1
shift
bad=$(nm -C --defined-only "$@" | grep -E ' [TtWwVvBbDdRr] ' | awk '{ $1=""; $2=""; print }' |
  grep -v -E "^ +([^ (]+ )?nyx::${tag}::" | grep -v -E '^ +(\.|_GLOBAL__|__odr_asan|__asan|__ubsan|__tsan)' |
  grep -v -E '^ +(typeinfo|vtable) ' || true)
if [ -n "$bad" ]; then
  echo "level $tag defines symbols outside nyx::$tag:"
  echo "$bad" | sort -u | head -40
  exit 1
fi
