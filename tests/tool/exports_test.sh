#!/usr/bin/env bash
# The library exports what its headers mark TLVUTL_API and nothing of its private code: no
# symbol of the private namespace tlv:: and none from an anonymous namespace may be visible.
set -euo pipefail
lib=${1:?usage: exports_test.sh LIBRARY}
symbols=$(nm -D --defined-only -C "$lib")
leaks=$(grep -E ' (tlv::|.*\(anonymous namespace\))' <<<"$symbols" || true)
if [ -n "$leaks" ]; then
  echo "private symbols exported:"
  echo "$leaks"
  exit 1
fi
for name in InitModule UTLLoadString UIMSG_FatalError LIST_Push MEMMANAlloc GetPrivateProfileStringW; do
  grep -q "$name" <<<"$symbols" || { echo "missing export: $name"; exit 1; }
done
echo "exports: $(wc -l <<<"$symbols") symbols, none private"
