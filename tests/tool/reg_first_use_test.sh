#!/usr/bin/env bash
# First use of a new registry store by several processes at once: every round starts from an
# empty store folder and three `tlvutl reg set` race to create the same store files. Every one
# must wait for the others and succeed. TLV_FIRST_USE_ROUNDS sets the number of rounds.
set -uo pipefail
tlvutl=${1:?usage: reg_first_use_test.sh TLVUTL WORKDIR}
work=${2:?usage: reg_first_use_test.sh TLVUTL WORKDIR}
rounds=${TLV_FIRST_USE_ROUNDS:-300}
rm -rf "$work"
mkdir -p "$work"
failures=0
for ((round = 0; round < rounds; ++round)); do
  store="$work/store-$round"
  pids=()
  for p in 1 2 3; do
    TLV_REGISTRY_DIR="$store" "$tlvutl" reg set 'HKCU\Software\Race' "p$p" "$round" \
      >"$work/out-$p" 2>"$work/err-$p" &
    pids+=($!)
  done
  for i in 0 1 2; do
    if ! wait "${pids[$i]}"; then
      failures=$((failures + 1))
      echo "round $round, process $((i + 1)): $(cat "$work/err-$((i + 1))")" >&2
    fi
  done
  # Each of the three values is there, in a store that checks out sound.
  out=$(TLV_REGISTRY_DIR="$store" "$tlvutl" reg query 'HKCU\Software\Race' 2>&1)
  for p in 1 2 3; do
    [[ $out == *"p$p    REG_SZ    $round"* ]] || {
      failures=$((failures + 1))
      echo "round $round: p$p missing: $out" >&2
    }
  done
  rm -rf "$store"
done
if [ "$failures" -ne 0 ]; then
  echo "FAIL: $failures failures in $rounds rounds"
  exit 1
fi
echo "first use: $rounds rounds x 3 processes, 0 failures"
