#!/usr/bin/env bash
# tlvutl as a new user meets it: options and operands, numbers, messages and columns, on a
# registry store and files of its own.
set -euo pipefail
tlvutl=${1:?usage: cli_user_test.sh TLVUTL WORKDIR}
work=${2:?usage: cli_user_test.sh TLVUTL WORKDIR}
rm -rf "$work"
mkdir -p "$work"
export TLV_REGISTRY_DIR="$work/store"
key='HKCU\Software\Talvo\User'

fail() { echo "FAIL: $*" >&2; exit 1; }
# expect CODE COMMAND...: runs the command, which must exit with CODE; $out and $err hold what
# it printed.
expect() {
  local code=$1; shift
  local rc=0
  "$@" >"$work/out" 2>"$work/err" || rc=$?
  out=$(cat "$work/out"); err=$(cat "$work/err")
  [ "$rc" = "$code" ] || fail "'$*' exited $rc, not $code: $out $err"
}
value() { # value NAME: the data column of one value of $key
  expect 0 "$tlvutl" reg query "$key" "$1"
  sed -n 2p "$work/out" | awk -F'    ' '{print $4}'
}

# --help is an option only where one can stand; "--" ends the options.
expect 0 "$tlvutl" reg set "$key" note --help
[ "$(value note)" = --help ] || fail "--help as data"
expect 0 "$tlvutl" reg set -- "$key" -h x
[ "$(value -h)" = x ] || fail "-h as a value name after --"
expect 0 "$tlvutl" reg set --help
[[ $out == usage:* ]] || fail "reg set --help: $out"
expect 0 "$tlvutl" eval -h
[[ $out == *"no exponent"* && $out == *functions* && $out == *constants* ]] || fail "eval --help: $out"
expect 1 "$tlvutl" eval -- -h
expect 0 "$tlvutl" eval -- -2^2
[ "$out" = 4 ] || fail "eval -- -2^2: $out"
expect 0 "$tlvutl" units format --help
[[ $out == *"FORM is"*plural*abbreviation*symbol* ]] || fail "units format --help: $out"
expect 0 "$tlvutl" xmp --title --help
[[ $out != usage:* ]] || fail "an option's value taken for --help"

# REG_DWORD and REG_QWORD: decimal or 0x hexadecimal, never octal; nothing else.
expect 0 "$tlvutl" reg set "$key" d 010 REG_DWORD
[ "$(value d)" = 0xa ] || fail "010 is ten"
expect 0 "$tlvutl" reg set "$key" d 08 REG_DWORD
[ "$(value d)" = 0x8 ] || fail "08 is eight"
expect 0 "$tlvutl" reg set "$key" d 0XfF REG_DWORD
[ "$(value d)" = 0xff ] || fail "0XfF"
expect 0 "$tlvutl" reg set "$key" d 4294967295 REG_DWORD
expect 0 "$tlvutl" reg set "$key" q 18446744073709551615 REG_QWORD
[ "$(value q)" = 0xffffffffffffffff ] || fail "largest QWORD"
for bad in '' 0x ' 1' +1 -1 1e3 0o7 4294967296 0x100000000 '1 ' 1.0; do
  expect 2 "$tlvutl" reg set "$key" d "$bad" REG_DWORD
done
expect 2 "$tlvutl" reg set "$key" q 18446744073709551616 REG_QWORD
[ "$(value d)" = 0xffffffff ] || fail "a refused number changed the value"
# REG_BINARY: pairs of hexadecimal digits, commas or blanks between them.
expect 0 "$tlvutl" reg set "$key" b '00,ff 1A' REG_BINARY
[ "$(value b)" = 00FF1A ] || fail "binary with separators"
for bad in +1-2 0x12 1 ' +1' '1g' '-1'; do
  expect 2 "$tlvutl" reg set "$key" b "$bad" REG_BINARY
done

# A key without its root says what is missing.
expect 2 "$tlvutl" reg query Software
[[ $err == *"does not start with a root key"*HKCU* ]] || fail "missing root: $err"
expect 2 "$tlvutl" reg set 'Software\Talvo' n v

# eval says why an expression fails.
expect 1 "$tlvutl" eval 1/0
[[ $err == *"division by zero"* ]] || fail "1/0: $err"
expect 1 "$tlvutl" eval '2 / (1 - 1)'
[[ $err == *"division by zero"* ]] || fail "2 / (1 - 1): $err"
expect 1 "$tlvutl" eval 'asin 2'
[[ $err == *domain* ]] || fail "asin 2: $err"
expect 1 "$tlvutl" eval '2 +* 3'
[[ $err == *"syntax error"* ]] || fail "2 +* 3: $err"
expect 1 "$tlvutl" eval '1e3'
[[ $err == *"syntax error"* ]] || fail "1e3: $err"

# units: non-finite numbers are refused, as by eval.
for bad in inf -inf nan infinity 1e400; do
  expect 2 "$tlvutl" units convert "$bad" in mm
  expect 2 "$tlvutl" units format "$bad" in
done
expect 1 "$tlvutl" units convert 1e308 mi mm
[[ $err == *"too large"* ]] || fail "overflowing conversion: $err"
expect 2 "$tlvutl" units format 1 in 5
[[ $err == *plural* ]] || fail "bad FORM: $err"

# strings: an id without text fails, the others are still printed.
expect 1 "$tlvutl" strings 24175 999999
[[ $out == $'24175\tsin' && $err == *999999* ]] || fail "strings 999999: $out $err"
expect 2 "$tlvutl" strings -1

# units list and folders keep their columns: every row's last column starts where its
# header (or the first row's) does, after at least two blanks.
expect 0 "$tlvutl" units list
awk 'NR == 1 { at = index($0, "names"); next }
     { if (substr($0, at - 2, 2) != "  " || substr($0, at, 1) == " ") { print "row " NR ": " $0; bad = 1 } }
     END { exit bad }' "$work/out" || fail "units list columns"
grep -q '0.05000000074505806' "$work/out" || fail "the medium inch increment is shown exactly"
expect 0 "$tlvutl" folders
awk '{ n = length($1); at = n + 1; while (substr($0, at, 1) == " ") ++at
       if (NR == 1) first = at; else if (at != first || at - n < 3) { print; bad = 1 } }
     END { exit bad }' "$work/out" || fail "folders columns"

# ini: a missing file is neither read as empty nor created by a delete.
expect 0 "$tlvutl" ini delete "$work/none.ini" Section Key
expect 0 "$tlvutl" ini delete "$work/none.ini" Section
[ ! -e "$work/none.ini" ] || fail "ini delete created the file"
expect 1 "$tlvutl" ini keys "$work/none.ini" Section
[[ $err == *"no such file"* ]] || fail "ini keys on a missing file: $err"
expect 1 "$tlvutl" ini set "$work/no/such/folder.ini" S K V
[[ $err == *"no such folder"* ]] || fail "ini set into a missing folder: $err"

# Errors name the user's file, never a temporary of the library's.
expect 1 "$tlvutl" reg export "$key" "$work/no/such/x.reg"
[[ $err == *"$work/no/such/x.reg: no such folder"* ]] || fail "export message: $err"
[[ $err != *x.reg.* ]] || fail "a temporary named: $err"

# guidmap build: an engine mapped twice is an error, and nothing is written.
printf 'engine,application\n{00000000-0000-0000-0000-000000000001},{00000000-0000-0000-0000-00000000000A}\n{00000000-0000-0000-0000-000000000001},{00000000-0000-0000-0000-00000000000B}\n' \
  >"$work/dup.csv"
expect 1 "$tlvutl" guidmap build "$work/dup.csv" "$work/dup.dat"
[[ $err == *":3:"*"already mapped on line 2"* ]] || fail "duplicate engine: $err"
[ ! -e "$work/dup.dat" ] || fail "a map with a duplicate engine was written"
# A damaged map is refused, not read as other GUIDs.
printf '{00000000-0000-0000-0000-000000000001},{00000000-0000-0000-0000-00000000000A}\n{00000000-0000-0000-0000-000000000002},{00000000-0000-0000-0000-00000000000B}\n' \
  >"$work/ok.csv"
expect 0 "$tlvutl" guidmap build "$work/ok.csv" "$work/ok.dat"
expect 0 "$tlvutl" guidmap lookup "$work/ok.dat" '{00000000-0000-0000-0000-000000000002}'
printf '\x03' | dd of="$work/ok.dat" bs=1 seek=$((12 + 32 + 15)) conv=notrunc status=none
expect 1 "$tlvutl" guidmap lookup "$work/ok.dat" '{00000000-0000-0000-0000-000000000002}'
[[ $err == *damaged* ]] || fail "damaged map: $err"

# .reg import: all roots or none; REGEDIT4 files in and out.
"$tlvutl" reg query "$key" >"$work/before"
{
  printf 'Windows Registry Editor Version 5.00\r\n\r\n[%s]\r\n"note"="changed"\r\n\r\n' \
    'HKEY_CURRENT_USER\Software\Talvo\User'
  printf '[HKEY_LOCAL_MACHINE\\Software\\Talvo]\r\n"%s"="x"\r\n' "$(head -c 16384 /dev/zero | tr '\0' n)"
} >"$work/two.reg"
expect 1 "$tlvutl" reg import "$work/two.reg"
[[ $err == *"line 7: value name longer than 16383 characters"* ]] || fail "long name: $err"
"$tlvutl" reg query "$key" >"$work/after"
diff -q "$work/before" "$work/after" >/dev/null || fail "the first root changed"
! "$tlvutl" reg query 'HKLM\Software\Talvo' 2>&1 | grep -q 'REG_SZ    x$' || fail "the second root changed"
printf 'REGEDIT4\r\n\r\n[HKEY_CURRENT_USER\\Software\\Old]\r\n@="d\xe9faut"\r\n"Path"=hex(2):25,48,4f,4d,45,25,\\\r\n  00\r\n; done\r\n' \
  >"$work/old.reg"
expect 0 "$tlvutl" reg import "$work/old.reg"
[[ $out == *"read as Windows-1252"* ]] || fail "REGEDIT4 encoding not named: $out"
expect 0 "$tlvutl" reg query 'HKCU\Software\Old'
[[ $out == *"(Default)    REG_SZ    défaut"* && $out == *"Path    REG_EXPAND_SZ    %HOME%"* ]] ||
  fail "REGEDIT4 values: $out"
expect 0 "$tlvutl" reg export --regedit4 'HKCU\Software\Old' "$work/back.reg"
cmp -s <(head -c 10 "$work/back.reg") <(printf 'REGEDIT4\r\n') || fail "REGEDIT4 header"
grep -aq $'@="d\xe9faut"' "$work/back.reg" || fail "REGEDIT4 export is not Windows-1252"

# reg check: a sound store, then one whose page was damaged; a damaged store takes no write.
expect 0 "$tlvutl" reg check HKCU
[[ $out == "HKEY_CURRENT_USER: sound"* ]] || fail "reg check: $out"
{
  printf 'Windows Registry Editor Version 5.00\r\n\r\n[HKEY_LOCAL_MACHINE\\Software\\Big]\r\n'
  fill=$(head -c 900 /dev/zero | od -An -tx1 -v | tr -s ' \n' ',' | sed 's/^,//; s/,$//')
  for i in $(seq 1 200); do printf '"v%d"=hex:%s\r\n' "$i" "$fill"; done
} >"$work/big.reg"
expect 0 "$tlvutl" reg import "$work/big.reg"
db="$TLV_REGISTRY_DIR/HKEY_LOCAL_MACHINE.db"
# The pages must be in the file, not only in its write-ahead log, for damage to the file to
# count: fold the log in with SQLite's own shell or Python's module, whichever is there.
if command -v sqlite3 >/dev/null; then
  sqlite3 "$db" 'PRAGMA wal_checkpoint(TRUNCATE);' >/dev/null
elif command -v python3 >/dev/null; then
  python3 -c 'import sqlite3, sys; sqlite3.connect(sys.argv[1]).execute("PRAGMA wal_checkpoint(TRUNCATE)")' "$db"
else
  echo "user CLI: all checks passed (damaged store not tried: no sqlite3 or python3)"
  exit 0
fi
[ "$(stat -c %s "$db")" -gt $((40 * 4096)) ] || fail "the store is smaller than expected"
head -c 8192 /dev/zero | tr '\0' '\245' | dd of="$db" bs=4096 seek=20 conv=notrunc status=none
sum=$(md5sum <"$db")
expect 1 "$tlvutl" reg check
[[ $out == *"HKEY_LOCAL_MACHINE: DAMAGED"* && $out == *"HKEY_CURRENT_USER: sound"* ]] ||
  fail "damage not reported: $out"
expect 1 "$tlvutl" reg set 'HKLM\Software\Small' v x
[[ $err == *"damaged"* ]] || fail "write into a damaged store: $err"
[ "$(md5sum <"$db")" = "$sum" ] || fail "the damaged file was written"
expect 0 "$tlvutl" reg set "$key" still ok
echo "user CLI: all checks passed"
