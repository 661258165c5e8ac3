#!/usr/bin/env bash
# tlvutl xml, run as a user (and an attacker) runs it: edits keep the file as it was written,
# processes changing one file at once lose nothing, and hostile stylesheets and schemas read
# nothing outside their folder and print nothing of what they reached for.
set -euo pipefail
tlvutl=${1:?usage: xml_cli_test.sh TLVUTL WORKDIR}
work=${2:?usage: xml_cli_test.sh TLVUTL WORKDIR}
rm -rf "$work"
mkdir -p "$work/dir/sub" "$work/outside"

fail() { echo "FAIL: $*" >&2; exit 1; }
# expect CODE COMMAND...: runs the command, which must exit with CODE; stdout in $out, stderr
# in $err.
expect() {
  local code=$1; shift
  local rc=0
  "$@" >"$work/out" 2>"$work/err" || rc=$?
  out=$(cat "$work/out")
  err=$(cat "$work/err")
  [ "$rc" = "$code" ] || fail "'$*' exited $rc, not $code: $err"
}
# Every line on stderr is the tool's own, and none shows a byte of a secret.
clean_stderr() {
  if grep -v '^tlvutl xml: ' "$work/err" >/dev/null; then fail "raw parser output on stderr: $err"; fi
  case "$err$out" in *root:x:*|*SECRET-LINE*) fail "a refused file leaked: $err$out" ;; esac
}

# ---- formatting: a one-value change is a one-line diff ------------------------------------
changes() { diff "$1" "$2" || true; }
f="$work/dir/Réglages-設定.xml"
printf '<settings>\n\t<paper name="A4" width="2100000"/>\n\n    <!-- kept -->\n  <paper name="Letter" width="2159000"/>\n</settings>' >"$f"
cp "$f" "$work/before.xml"
expect 0 "$tlvutl" xml set "$f" "settings/paper[@name='Letter']/@width" 2160000
changed=$(changes "$work/before.xml" "$f" | grep -c '^[<>]')
[ "$changed" = 2 ] || fail "a one-value change rewrote more than one line: $(diff "$work/before.xml" "$f")"
changes "$work/before.xml" "$f" | grep -q '^> *<paper name="Letter" width="2160000"/>$' ||
  fail "the changed line is not the value's: $(cat "$f")"
head -c 5 "$f" | grep -q '^<sett' || fail "an XML declaration was added"
expect 0 "$tlvutl" xml delete "$f" "settings/paper[@name='A4']/@name"
[ "$(changes "$work/before.xml" "$f" | grep -c '^[<>]')" = 4 ] || fail "a delete rewrote other lines"
# A file with a declaration keeps it.
printf '<?xml version="1.0" encoding="UTF-8"?>\n<a>\n  <b v="1"/>\n</a>\n' >"$work/dir/decl.xml"
expect 0 "$tlvutl" xml set "$work/dir/decl.xml" a/b/@v 2
[ "$(cat "$work/dir/decl.xml")" = "$(printf '<?xml version="1.0" encoding="UTF-8"?>\n<a>\n  <b v="2"/>\n</a>')" ] ||
  fail "the declared file changed elsewhere: $(cat "$work/dir/decl.xml")"

# ---- two processes x 100 sets of different elements in one file: nothing lost ------------
shared="$work/dir/shared.xml"
printf '<s>\n</s>\n' >"$shared"
writer() {
  local i
  for i in $(seq 1 100); do
    "$tlvutl" xml set "$shared" "s/$1$i/@v" "$i" >/dev/null 2>>"$work/writer-$1.err" || echo "$1$i" >>"$work/failed"
  done
}
writer a & pa=$!
writer b & pb=$!
wait "$pa" "$pb"
[ ! -s "$work/failed" ] || fail "sets failed: $(cat "$work/failed" "$work"/writer-*.err | head)"
for p in a b; do
  for i in 1 50 100; do
    expect 0 "$tlvutl" xml get "$shared" "s/$p$i/@v"
    [ "$out" = "$i" ] || fail "$p$i lost"
  done
done
count=$(grep -o '<[ab][0-9]* v=' "$shared" | wc -l)
[ "$count" = 200 ] || fail "$((200 - count)) of 200 concurrent updates were lost"

# ---- hostile stylesheets: included, imported, document() -----------------------------------
printf 'SECRET-LINE: nobody may read this\n' >"$work/outside/secret.txt"
printf '<secret>SECRET-LINE</secret>\n' >"$work/outside/secret.xml"
xsl='xmlns:xsl="http://www.w3.org/1999/XSL/Transform" version="1.0"'
printf '<r><i>in</i></r>' >"$work/dir/in.xml"
cat >"$work/dir/sub/evil-include.xsl" <<END
<!DOCTYPE xsl:stylesheet [<!ENTITY x SYSTEM "file:///etc/passwd"><!ENTITY y SYSTEM "$work/outside/secret.txt">]>
<xsl:stylesheet $xsl><xsl:template match="/"><o>&x;&y;</o></xsl:template></xsl:stylesheet>
END
printf '<xsl:stylesheet %s><xsl:include href="sub/evil-include.xsl"/></xsl:stylesheet>' "$xsl" >"$work/dir/inc.xsl"
expect 1 "$tlvutl" xml transform "$work/dir/in.xml" "$work/dir/inc.xsl"
clean_stderr
case "$err" in *DTD*) ;; *) fail "the refusal does not say why: $err" ;; esac
for href in file:///etc/passwd /etc/passwd ../outside/secret.xml "$work/outside/secret.xml" \
            http://127.0.0.1:9/x.xsl ftp://127.0.0.1:9/x.xsl; do
  for how in import include; do
    printf '<xsl:stylesheet %s><xsl:%s href="%s"/></xsl:stylesheet>' "$xsl" "$how" "$href" >"$work/dir/out.xsl"
    expect 1 "$tlvutl" xml transform "$work/dir/in.xml" "$work/dir/out.xsl"
    clean_stderr
    case "$err" in *refused*) ;; *) fail "xsl:$how of $href not refused: $err" ;; esac
  done
  printf '<xsl:stylesheet %s><xsl:template match="/"><o><xsl:copy-of select="document(%s)"/></o></xsl:template></xsl:stylesheet>' \
    "$xsl" "'$href'" >"$work/dir/doc.xsl"
  # Refused outright (network) or read as nothing (a file outside): either way no content.
  rc=0
  "$tlvutl" xml transform "$work/dir/in.xml" "$work/dir/doc.xsl" >"$work/out" 2>"$work/err" || rc=$?
  out=$(cat "$work/out"); err=$(cat "$work/err")
  clean_stderr
  case "$rc:$out" in 0:*'<o/>'*|1:) ;; *) fail "document('$href') read something: $rc $out" ;; esac
done
# A link inside the folder that leads out of it is outside too.
ln -s "$work/outside/secret.xml" "$work/dir/link.xml"
printf '<xsl:stylesheet %s><xsl:template match="/"><o><xsl:copy-of select="document(%s)"/></o></xsl:template></xsl:stylesheet>' \
  "$xsl" "'link.xml'" >"$work/dir/doc.xsl"
expect 0 "$tlvutl" xml transform "$work/dir/in.xml" "$work/dir/doc.xsl"
clean_stderr
# What the folder holds is read, below it too.
printf '<x>fine</x>' >"$work/dir/sub/ok.xml"
printf '<xsl:stylesheet %s><xsl:template match="/"><o><xsl:value-of select="document(%s)"/></o></xsl:template></xsl:stylesheet>' \
  "$xsl" "'sub/ok.xml'" >"$work/dir/doc.xsl"
expect 0 "$tlvutl" xml transform "$work/dir/in.xml" "$work/dir/doc.xsl"
case "$out" in *'<o>fine</o>'*) ;; *) fail "an allowed document() was not read: $out $err" ;; esac
printf '<xsl:stylesheet %s><xsl:template match="/"><ok/></xsl:template></xsl:stylesheet>' "$xsl" >"$work/dir/sub/part.xsl"
printf '<xsl:stylesheet %s><xsl:import href="sub/part.xsl"/></xsl:stylesheet>' "$xsl" >"$work/dir/imp.xsl"
expect 0 "$tlvutl" xml transform "$work/dir/in.xml" "$work/dir/imp.xsl"
case "$out" in *'<ok/>'*) ;; *) fail "an allowed import was not used: $out $err" ;; esac

# ---- hostile schemas: include, import, redefine --------------------------------------------
xs='xmlns:xs="http://www.w3.org/2001/XMLSchema"'
for href in /etc/passwd file:///etc/passwd ../outside/secret.txt http://127.0.0.1:9/x.xsd; do
  for how in include redefine; do
    printf '<xs:schema %s><xs:%s schemaLocation="%s"/><xs:element name="r"/></xs:schema>' "$xs" "$how" "$href" >"$work/dir/evil.xsd"
    expect 1 "$tlvutl" xml validate "$work/dir/in.xml" "$work/dir/evil.xsd"
    clean_stderr
  done
  printf '<xs:schema %s><xs:import namespace="urn:x" schemaLocation="%s"/><xs:element name="r"/></xs:schema>' "$xs" "$href" >"$work/dir/evil.xsd"
  "$tlvutl" xml validate "$work/dir/in.xml" "$work/dir/evil.xsd" >"$work/out" 2>"$work/err" || true
  out=$(cat "$work/out"); err=$(cat "$work/err")
  clean_stderr
done
cat >"$work/dir/sub/entity.xsd" <<END
<!DOCTYPE xs:schema [<!ENTITY x SYSTEM "file:///etc/passwd">]>
<xs:schema $xs><xs:element name="r" fixed="&x;"/></xs:schema>
END
printf '<xs:schema %s><xs:include schemaLocation="sub/entity.xsd"/></xs:schema>' "$xs" >"$work/dir/inc.xsd"
expect 1 "$tlvutl" xml validate "$work/dir/in.xml" "$work/dir/inc.xsd"
clean_stderr
printf '<xs:schema %s><xs:element name="r"><xs:complexType><xs:sequence><xs:element name="i" type="xs:string"/></xs:sequence></xs:complexType></xs:element></xs:schema>' "$xs" >"$work/dir/sub/good.xsd"
printf '<xs:schema %s><xs:include schemaLocation="sub/good.xsd"/></xs:schema>' "$xs" >"$work/dir/good.xsd"
expect 0 "$tlvutl" xml validate "$work/dir/in.xml" "$work/dir/good.xsd"

# ---- limits: refused at once, with a clear message -----------------------------------------
awk 'BEGIN { printf "<r"; for (i = 0; i < 200000; i++) printf " a%d=\0471\047", i; print "/>" }' \
  >"$work/dir/attrs.xml"
expect 1 timeout 20 "$tlvutl" xml get "$work/dir/attrs.xml" r
case "$err" in *"more than 10000 attributes"*) ;; *) fail "200,000 attributes: $err" ;; esac
echo "xml CLI: all checks passed"
