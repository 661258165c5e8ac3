#!/usr/bin/env bash
# tlvutl xmp, read back by an independent XMP reader: each packet is embedded in a small JPEG
# as an APP1 segment, as image writers embed it, and exiv2 (and exiftool, where installed)
# must find every value. Exits 77 (skipped) when exiv2 is not installed.
set -euo pipefail
tlvutl=${1:?usage: xmp_exiv2_test.sh TLVUTL WORKDIR}
work=${2:?usage: xmp_exiv2_test.sh TLVUTL WORKDIR}
if ! command -v exiv2 >/dev/null; then
  echo "exiv2 is not installed: skipped"
  exit 77
fi
rm -rf "$work"
mkdir -p "$work"
export TZ=CET-1CEST,M3.5.0,M10.5.0/3

fail() { echo "FAIL: $*" >&2; exit 1; }

# jpeg PACKET OUT: a 1x1 grey baseline JPEG whose APP1 segment holds the packet.
jpeg() {
  local hdr='http://ns.adobe.com/xap/1.0/'
  local n=$((2 + ${#hdr} + 1 + $(stat -c %s "$1")))
  [ "$n" -le 65535 ] || fail "packet too large for one segment"
  {
    printf '\xff\xd8\xff\xe1'
    printf "\\x$(printf %02x $((n >> 8)))\\x$(printf %02x $((n & 255)))"
    printf '%s\0' "$hdr"
    cat "$1"
    # Quantisation table of ones; one 8-bit component of 1x1; DC and AC tables that hold
    # one 1-bit code each (category 0, end of block); the scan: two 0 bits, padded with 1s.
    printf '\xff\xdb\x00\x43\x00'
    printf '\x01%.0s' {1..64}
    printf '\xff\xc0\x00\x0b\x08\x00\x01\x00\x01\x01\x01\x11\x00'
    printf '\xff\xc4\x00\x14\x00\x01'
    printf '\x00%.0s' {1..16}
    printf '\xff\xc4\x00\x14\x10\x01'
    printf '\x00%.0s' {1..16}
    printf '\xff\xda\x00\x08\x01\x01\x00\x00\x3f\x00\x3f\xff\xd9'
  } >"$2"
}

# value FILE KEY: exiv2's text for the key, the packet's line breaks around values dropped.
value() { exiv2 -q -K "$2" -Pv "$1" 2>/dev/null | tr -d '\n'; }

check() {
  local got
  got=$(value "$1" "$2")
  [ "$got" = "$3" ] || fail "$2 in $1: expected [$3], read [$got]"
}

title='Fish & <Chips> Café «Гавань» 港の朝'
"$tlvutl" xmp --title "$title" --author 'Ana Lima' --author 'Bö Chen' \
  --keyword sea --keyword 'salt & <pepper>' --rating 50 --comment 'first light' \
  --copyright '© 2024 Ana' --date 2024-03-31T01:00:00.250Z --out "$work/full.xmp"
# The header's byte-order mark is the three UTF-8 bytes.
[ "$(od -An -tx1 -j17 -N3 "$work/full.xmp" | tr -d ' ')" = efbbbf ] || fail "byte-order mark"
# Markup was escaped by the command before it reached the packet.
grep -q 'Fish &amp; &lt;Chips&gt;' "$work/full.xmp" || fail "title not escaped"
if command -v xmllint >/dev/null; then
  xmllint --noout "$work/full.xmp" || fail "packet is not well-formed"
fi
# Standard output carries the same bytes.
"$tlvutl" xmp --title "$title" --author 'Ana Lima' --author 'Bö Chen' \
  --keyword sea --keyword 'salt & <pepper>' --rating 50 --comment 'first light' \
  --copyright '© 2024 Ana' --date 2024-03-31T01:00:00.250Z >"$work/stdout.xmp"
cmp -s "$work/full.xmp" "$work/stdout.xmp" || fail "--out and standard output differ"

jpeg "$work/full.xmp" "$work/full.jpg"
check "$work/full.jpg" Xmp.dc.title "lang=\"x-default\" $title"
check "$work/full.jpg" Xmp.dc.description 'lang="x-default" first light'
check "$work/full.jpg" Xmp.dc.creator 'Ana Lima, Bö Chen'
check "$work/full.jpg" Xmp.dc.subject 'sea, salt & <pepper>'
check "$work/full.jpg" Xmp.MicrosoftPhoto.Rating 50
check "$work/full.jpg" Xmp.xmp.Rating 3
# 01:00 UTC is the first instant of summer time: 03:00 local.
check "$work/full.jpg" Xmp.xmp.CreateDate 2024-03-31T03:00:00.250

# Ratings at the ends of the star table.
for pair in 1:1 12:1 13:2 99:5 100:5 0:0; do
  "$tlvutl" xmp --title r --rating "${pair%%:*}" --out "$work/r.xmp"
  jpeg "$work/r.xmp" "$work/r.jpg"
  check "$work/r.jpg" Xmp.MicrosoftPhoto.Rating "${pair%%:*}"
  check "$work/r.jpg" Xmp.xmp.Rating "${pair##*:}"
done

# A packet with nothing in it still reads, and holds nothing.
"$tlvutl" xmp --out "$work/empty.xmp"
jpeg "$work/empty.xmp" "$work/empty.jpg"
[ -z "$(exiv2 -q -px "$work/empty.jpg" 2>/dev/null)" ] || fail "empty packet has values"

if command -v exiftool >/dev/null; then
  got=$(exiftool -s3 -XMP-dc:Title "$work/full.jpg" | tr -d '\n')
  [ "$got" = "$title" ] || fail "exiftool read title [$got]"
  got=$(exiftool -s3 -XMP-dc:Creator "$work/full.jpg" | tr -d '\n')
  [ "$got" = "Ana Lima, Bö Chen" ] || fail "exiftool read creators [$got]"
fi

# The chunk table of a packet just over two chunks.
"$tlvutl" xmp --comment "$(printf 'x%.0s' {1..1700})" --chunks >"$work/chunks"
size=$(sed -n 's/^packet: \([0-9]*\) bytes in 3 chunks of at most 2000$/\1/p' "$work/chunks")
[ -n "$size" ] || fail "chunk table header: $(head -1 "$work/chunks")"
printf 'chunk\toffset\tsize\n0\t0\t2000\n1\t2000\t2000\n2\t4000\t%d\n' $((size - 4000)) |
  diff - <(tail -n +2 "$work/chunks") || fail "chunk table"

echo "xmp CLI: all checks passed"
