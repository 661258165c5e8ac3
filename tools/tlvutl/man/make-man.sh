#!/bin/sh
# Writes the tlvutl(1) man page from the tool's own help: `tlvutl --help` for the synopsis and
# command list, and each command's `--help` for a COMMANDS section, so the page never says
# something the tool does not.
# usage: make-man.sh TLVUTL VERSION ENVIRONMENT-SECTION OUT.1
set -eu
tool=$1 version=$2 extra=$3 out=$4
include=$(mktemp)
trap 'rm -f "$include"' EXIT
{
  echo "[COMMANDS]"
  "$tool" --help | sed -n 's/^  \([a-z][a-z]*\)  .*/\1/p' | while read -r cmd; do
    # The summary, then the usage line and its continuations as the tool prints them.
    "$tool" "$cmd" --help | sed -e 's/\\/\\e/g' -e 's/-/\\-/g' | awk -v cmd="$cmd" '
      NR == 1 { sub(/^usage: /, ""); usage = $0; next }
      /^$/ { next }
      /^  / { usage = usage "\n" $0; next }
      { summary = $0 }
      END { printf ".SS %s\n%s\n.PP\n.nf\n%s\n.fi\n", cmd, summary, usage }'
  done
  cat "$extra"
} >"$include"
help2man --no-info --no-discard-stderr --version-string="$version" \
  --name="drive the tlvutl library from a shell" --section=1 --include="$include" \
  --output="$out" "$tool"
