#!/usr/bin/env bash
# Builds the release configuration, runs every benchmark program with repetitions and prints
# one table: for each piece of work, the library's median time divided by the median time of
# its baseline measured in the same run, next to the goal for that ratio. The table also goes
# to build/bench.md, the programs' JSON to build/bench/.
#
#   scripts/bench.sh                      all programs, 5 repetitions
#   REPETITIONS=3 scripts/bench.sh units  only bench_units
#   TABLE_ONLY=1 scripts/bench.sh         the table of the last run again
#
# The figures are only as quiet as the machine: run it when nothing else builds.
set -euo pipefail
cd "$(dirname "$0")/.."
out=build/bench
mkdir -p "$out"
if [ -z "${TABLE_ONLY:-}" ]; then
scripts/install-deps.sh >&2
cmake --preset release >/dev/null
cmake --build build/release -j"${JOBS:-2}" >&2

rm -f "$out"/*.json
programs=("$@")
if [ ${#programs[@]} -eq 0 ]; then
  programs=()
  for p in build/release/bin/bench_*; do programs+=("${p##*/bench_}"); done
fi
for name in "${programs[@]}"; do
  echo "== bench_$name" >&2
  build/release/bin/"bench_$name" --benchmark_repetitions="${REPETITIONS:-5}" \
    --benchmark_report_aggregates_only=true --benchmark_out="$out/$name.json" \
    --benchmark_out_format=json >&2
done
fi

python3 - "$out" build/bench.md <<'EOF'
import glob, json, os, sys

out_dir, table_path = sys.argv[1], sys.argv[2]

# The median of each benchmark (its real time, or a counter) and whether any run failed.
medians, errors = {}, {}
for path in sorted(glob.glob(os.path.join(out_dir, "*.json"))):
    with open(path) as f:
        data = json.load(f)
    for b in data["benchmarks"]:
        name = b.get("run_name", b["name"])
        if b.get("error_occurred"):
            errors[name] = b.get("error_message", "error")
            continue
        if b.get("aggregate_name") != "median":
            continue
        medians[name] = b

def value(name, counter=None):
    b = medians.get(name)
    if b is None:
        return None
    if counter:
        return b.get(counter)
    if "items_per_second" in b:  # batches of items: compare per item, in ns
        return 1e9 / b["items_per_second"]
    scale = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}[b.get("time_unit", "ns")]
    return b["real_time"] * scale

# (work, library benchmark, baseline benchmark, goal as "<= x", counter or None)
rows = []
texts = ["12.5", "2*(3+4)^2", "(2.5+3)*4/2^2-1", "-2^2", "sin(30)+cos(60)",
         "sqrt(2)*log(100)/ln(10)", "8-3-2", "((((1+2)*3)+4)*5)"]
for i, t in enumerate(texts):
    rows.append((f"WEqParser one-shot `{t}`", f"BM_WEqParser/{i}", f"BM_Muparser/{i}", 0.1, None))
rows += [
    ("CString::Format", "BM_CStringFormat", "BM_Swprintf", 1.0, None),
    ("GetValueInLocaleFormat", "BM_GetValueInLocaleFormat", "BM_SnprintfFloor", 1.5, None),
    ("GetNumberFormatW", "BM_GetNumberFormatW", "BM_SnprintfFloor", None, None),
    ("ConvertFromUnitToUnit", "BM_ConvertFromUnitToUnit", "BM_Baseline_HashMapFactor", 2.0, None),
    ("DisplayUnitValueAsString", "BM_DisplayUnitValueAsString", "BM_Baseline_SnprintfAndName",
     None, None),
]
for n in (100, 1000, 10000):
    goal = 1.1 if n <= 1000 else None
    for op in ("Push", "InsertFront", "RemoveFront"):
        rows.append((f"handle list {op}, {n:,} records", f"BM_List{op}/{n}/manual_time",
                     f"BM_Memmove{op}/{n}/manual_time", goal, None))
rows += [
    ("WGList insert/get/delete cycle", "BM_GListCycle", "BM_VectorCycle", 1.2, None),
    ("CBTree add, 1M keys", "BM_TreeAdd/iterations:3", "BM_MultisetAdd/iterations:3", None, None),
    ("CBTree find", "BM_TreeFind/iterations:3", "BM_MultisetFind/iterations:3", None, None),
    ("CBTree remove", "BM_TreeRemove/iterations:3", "BM_MultisetRemove/iterations:3", None, None),
    ("registry point read", "BM_Read_WUTLRegistry", "BM_Read_RawSqlite", None, None),
    ("registry durable write", "BM_Write_Paired/min_time:2.000/real_time", None, 1.2, "ratio"),
    ("ini look-up, 1,000-key file", "BM_LookupFromCache", "BM_LookupReparsing", None, None),
    ("cached folder getter", "BM_CachedFolderGetter", "BM_CStringCopyFloor", None, None),
    ("XML load", "BM_Load_Tlvutl", "BM_Load_Libxml2", None, None),
    ("XML 10,000 selections", "BM_Select_Tlvutl", "BM_Select_Libxml2/iterations:1", None, None),
    ("XML typed reads", "BM_Read_Tlvutl", "BM_Read_Libxml2", None, None),
    ("XML durable save", "BM_Save_Tlvutl", "BM_Save_Libxml2Durable", None, None),
    ("XMP packet from a store", "BM_XmpPacketFromStore", "BM_Baseline_SameBytesThroughTempFile",
     None, None),
    ("timer tick dispatch, 1 timer",
     "BM_TimerLoop/1/iterations:300/real_time", "BM_RawTimerfd/iterations:300/real_time",
     None, "dispatch_ns"),
]

def fmt_time(ns):
    for unit, scale in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if ns >= scale:
            return f"{ns / scale:.3g} {unit}"
    return f"{ns:.3g} ns"

lines = ["| Work | Library | Baseline | Ratio | Goal | |", "|---|---|---|---|---|---|"]
for work, lib, base, goal, counter in rows:
    if lib not in medians and lib not in errors:
        continue  # that program was not run
    if lib in errors or (base and base in errors):
        lines.append(f"| {work} | skipped: {errors.get(lib) or errors.get(base)} | | | | ✗ |")
        continue
    if base is None:  # the program measured the ratio itself, interleaved
        ratio = value(lib, counter)
        a = value(lib, "wutl_us")
        b = value(lib, "raw_us")
        lib_text = f"{a:.1f} µs" if a else ""
        base_text = f"{b:.1f} µs" if b else ""
    else:
        a, b = value(lib, counter), value(base, counter)
        if a is None or b is None:
            continue
        ratio = a / b
        lib_text = f"{a:.0f} ns" if counter else fmt_time(a)
        base_text = f"{b:.0f} ns" if counter else fmt_time(b)
    verdict = "" if goal is None else ("✓" if ratio <= goal else "✗")
    goal_text = "" if goal is None else f"≤ {goal}x"
    lines.append(f"| {work} | {lib_text} | {base_text} | {ratio:.2f}x | {goal_text} | {verdict} |")

reads = value("BM_Read_WUTLRegistry")
if reads:
    ok = "✓" if 1e9 / reads >= 1e6 else "✗"
    lines.append(f"| registry point reads per second | {1e9 / reads / 1e6:.2f}M/s | | | ≥ 1M/s | {ok} |")
lookups = value("BM_LookupFromCache")
if lookups:
    ok = "✓" if 1e9 / lookups >= 2e6 else "✗"
    lines.append(f"| ini look-ups per second | {1e9 / lookups / 1e6:.2f}M/s | | | ≥ 2M/s | {ok} |")

text = "\n".join(lines) + "\n"
with open(table_path, "w") as f:
    f.write("Medians of the repetitions; Ratio = library / baseline in the same run.\n\n" + text)
sys.stdout.write(text)
EOF
