#!/bin/sh
# The man page is written from the tool's help: every command the tool lists has its entry,
# with its usage, and the page renders.
# usage: man_test.sh TLVUTL MAN-PAGE.gz
set -eu
tool=$1 page=$2
text=$(zcat "$page")
lines=$(mktemp)
trap 'rm -f "$lines"' EXIT
for cmd in $("$tool" --help | sed -n 's/^  \([a-z][a-z]*\)  .*/\1/p'); do
  # Every line of the command's usage, as the tool prints it.
  "$tool" "$cmd" --help | sed -e '/^$/,$d' -e 's/^usage: //' -e 's/-/\\-/g' >"$lines"
  while IFS= read -r line; do
    printf '%s\n' "$text" | grep -qxF "$line" || { echo "man page: no line '$line'"; exit 1; }
  done <"$lines"
done
printf '%s\n' "$text" | grep -q '^\.SH ENVIRONMENT' || { echo "man page: no ENVIRONMENT"; exit 1; }
if command -v groff >/dev/null; then
  zcat "$page" | groff -man -Tutf8 -ww -z 2>&1 | { ! grep .; } || { echo "man page: groff warns"; exit 1; }
fi
echo "man page: every command of the tool has its entry"
