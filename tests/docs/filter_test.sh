#!/bin/sh
# The reference's filters turn the headers' comments into documentation comments and keep the
# Markdown notes' text as text: compares their output on fixtures with the expected text,
# byte for byte.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
out=$(mktemp)
trap 'rm -f "$out"' EXIT
perl "$here/../../docs/reference/header-filter.pl" "$here/filter_fixture.h" >"$out"
diff -u "$here/filter_expected.h" "$out"
perl "$here/../../docs/reference/markdown-filter.pl" "$here/markdown_fixture.md" >"$out"
diff -u "$here/markdown_expected.md" "$out"
# Every public header goes through it without a perl warning and keeps its declarations.
for h in "$here"/../../include/tlvutl/*.h; do
  perl -w "$here/../../docs/reference/header-filter.pl" "$h" >"$out" 2>"$out.err" ||
    { echo "filter failed on $h"; exit 1; }
  [ ! -s "$out.err" ] || { cat "$out.err"; rm -f "$out.err"; exit 1; }
  rm -f "$out.err"
  [ "$(grep -c 'TLVUTL_API' "$h")" = "$(grep -c 'TLVUTL_API' "$out")" ] ||
    { echo "declarations lost in $h"; exit 1; }
done
echo "header filter: fixture and every public header pass"
