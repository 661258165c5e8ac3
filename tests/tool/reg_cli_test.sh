#!/usr/bin/env bash
# tlvutl reg, run as a user runs it, on a store of its own.
set -euo pipefail
tlvutl=${1:?usage: reg_cli_test.sh TLVUTL WORKDIR}
work=${2:?usage: reg_cli_test.sh TLVUTL WORKDIR}
rm -rf "$work"
mkdir -p "$work"
export TLV_REGISTRY_DIR="$work/store"
key='HKEY_CURRENT_USER\Software\Talvo\Cli'

fail() { echo "FAIL: $*" >&2; exit 1; }
# expect CODE COMMAND...: runs the command, which must exit with CODE; its stderr is in $err.
expect() {
  local code=$1; shift
  local rc=0
  "$@" >"$work/out" 2>"$work/err" || rc=$?
  err=$(cat "$work/err")
  [ "$rc" = "$code" ] || fail "'$*' exited $rc, not $code: $err"
}

expect 0 "$tlvutl" reg set "$key" Name 'hello world'
expect 0 "$tlvutl" reg set "$key" Count 42 REG_DWORD
expect 0 "$tlvutl" reg set "$key" Big 0x0102030405060708 REG_QWORD
expect 0 "$tlvutl" reg set "$key" Bytes 00ff10 REG_BINARY
expect 0 "$tlvutl" reg set "$key" List 'a\0b' REG_MULTI_SZ
expect 0 "$tlvutl" reg set "$key" '' 'default text'
expect 0 "$tlvutl" reg set "$key\Child" Path '%HOME%/x' REG_EXPAND_SZ
expect 0 "$tlvutl" reg query 'hkcu\software\talvo\cli'
cat >"$work/expected" <<'END'
HKEY_CURRENT_USER\software\talvo\cli
    Name    REG_SZ    hello world
    Count    REG_DWORD    0x2a
    Big    REG_QWORD    0x102030405060708
    Bytes    REG_BINARY    00FF10
    List    REG_MULTI_SZ    a\0b
    (Default)    REG_SZ    default text

HKEY_CURRENT_USER\software\talvo\cli\Child
END
diff -u "$work/expected" "$work/out" || fail "query output"
expect 0 "$tlvutl" reg query "$key" COUNT
grep -q 'COUNT    REG_DWORD    0x2a' "$work/out" || fail "query of one value"

# Export: UTF-16LE with a byte-order mark, the Windows header.
expect 0 "$tlvutl" reg export "$key" "$work/cli.reg"
[ "$(od -An -tx1 -N2 "$work/cli.reg" | tr -d ' ')" = fffe ] || fail "no UTF-16LE BOM"
iconv -f UTF-16LE -t UTF-8 "$work/cli.reg" | grep -q '"Count"=dword:0000002a' || fail "export body"

# Delete, then import brings back the same.
"$tlvutl" reg query "$key" >"$work/before"
expect 0 "$tlvutl" reg delete "$key" Name
expect 1 "$tlvutl" reg query "$key" Name
[[ $err == *"does not exist"* ]] || fail "missing value message: $err"
expect 0 "$tlvutl" reg delete "$key"
expect 1 "$tlvutl" reg query "$key"
expect 0 "$tlvutl" reg import "$work/cli.reg"
"$tlvutl" reg query "$key" >"$work/after"
diff -u "$work/before" "$work/after" || fail "import did not restore the key"

# A malformed file names its line and changes nothing.
printf 'Windows Registry Editor Version 5.00\r\n\r\n[%s]\r\n"Name"="changed"\r\n"Bad"=dword:zz\r\n' \
  "$key" >"$work/bad.reg"
expect 1 "$tlvutl" reg import "$work/bad.reg"
[[ $err == *"line 5"* ]] || fail "malformed import message: $err"
"$tlvutl" reg query "$key" >"$work/after"
diff -u "$work/before" "$work/after" || fail "a malformed import changed the store"

# A damaged database file is named.
printf 'this is not a database, just some text that happens to be here\n' \
  >"$TLV_REGISTRY_DIR/HKEY_LOCAL_MACHINE.db"
expect 1 "$tlvutl" reg query 'HKEY_LOCAL_MACHINE\Software'
[[ $err == *"$TLV_REGISTRY_DIR/HKEY_LOCAL_MACHINE.db"* ]] || fail "damaged file not named: $err"
expect 1 "$tlvutl" reg set 'HKLM\Software' v x
[[ $err == *"HKEY_LOCAL_MACHINE.db"* ]] || fail "damaged file not named on write: $err"

# An empty binary value is a value with no bytes.
expect 0 "$tlvutl" reg set "$key" Nothing '' REG_BINARY
expect 0 "$tlvutl" reg query "$key" Nothing
grep -q 'Nothing    REG_BINARY' "$work/out" || fail "empty binary value"

# The installation the first run recorded is a terminated string: a quoted .reg entry.
rm -f "$TLV_REGISTRY_DIR/HKEY_LOCAL_MACHINE.db"
expect 0 "$tlvutl" reg export 'HKEY_LOCAL_MACHINE\Software' "$work/hklm.reg"
iconv -f UTF-16LE -t UTF-8 "$work/hklm.reg" | grep -q '^"ConfigDir"="' ||
  fail "ConfigDir is not exported as a string: $(iconv -f UTF-16LE -t UTF-8 "$work/hklm.reg")"

# Bad usage.
expect 2 "$tlvutl" reg
expect 2 "$tlvutl" reg query 'HKXX\Software'
expect 2 "$tlvutl" reg set "$key" n 99999999999 REG_DWORD
expect 2 "$tlvutl" reg set "$key" n 1 REG_FOO
expect 2 "$tlvutl" reg delete HKEY_CURRENT_USER
echo "reg CLI: all checks passed"
rm -rf "$work"
