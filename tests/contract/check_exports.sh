#!/bin/sh
# The library shows a host its three exports and nothing else; another module, the
# sorted exports given after its path.
exports=$(nm -D --defined-only "$1" | awk '{print $3}' | sort | tr '\n' ' ')
expected=${2:-"CanUnloadDLLNow DisplayPromotionW GetEffectsLibrary "}
[ "$exports" = "$expected" ] && exit 0
echo "exports: '$exports', expected '$expected'"
exit 1
