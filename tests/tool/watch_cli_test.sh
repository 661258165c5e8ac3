#!/usr/bin/env bash
# tlvutl watch as a user runs it: a change in a watched sub-folder prints a line, an interrupt
# ends the command cleanly, and a missing folder is refused.
set -euo pipefail
tool=${1:?usage: watch_cli_test.sh TLVUTL WORKDIR}
work=${2:?}
rm -rf "$work"
mkdir -p "$work/Папка/子"
out="$work/out.txt"
"$tool" watch --subtree --filter file-name "$work/Папка" >"$out" 2>"$work/err.txt" &
pid=$!
for _ in $(seq 100); do grep -q watching "$work/err.txt" && break; sleep 0.05; done
touch "$work/Папка/子/é.txt"
for _ in $(seq 100); do grep -q changed "$out" && break; sleep 0.05; done
kill -INT "$pid"
status=0
wait "$pid" || status=$?
[ "$status" = 0 ] || { echo "watch ended with status $status"; exit 1; }
grep -Eq '^[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:.]{12}  changed  .*/Папка$' "$out" \
  || { echo "no change line:"; cat "$out" "$work/err.txt"; exit 1; }
grep -q stopped "$work/err.txt" || { echo "not stopped cleanly"; exit 1; }
if "$tool" watch "$work/missing" 2>/dev/null; then echo "missing folder accepted"; exit 1; fi
echo "watch CLI: all checks passed"
