#!/usr/bin/env python3
"""Tables of the typed benchmark (bench/typed_bench.cpp) from its JSON output.

usage: typed_bench_table.py RESULT.json

Takes the median of the repetitions of every benchmark (CPU time of the
benchmark's thread) and prints, in Markdown:
  - time per operation of the baseline, qbasn and lcs codecs, the ratio of
    qbasn to the baseline and of lcs to qbasn;
  - the cost per octet from M2 to M3 ((time/octets of M3) / (time/octets of M2));
  - allocations and peak heap per operation;
  - the targets of docs/performance.md, each marked met or not met.
Only the Python standard library is used.
"""

import json
import statistics
import sys

MESSAGES = ["M1", "M2", "M3", "M4"]
DIRECTIONS = ["encode", "decode"]
CODECS = ["baseline", "qbasn", "lcs"]
NS_PER_UNIT = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}

TIME_RATIO_TARGET = 3.0
SCALING_TARGET = 1.5
LCS_TARGET = 1.5
PEAK_TARGET = 2.0


def load(path):
    with open(path, encoding="utf-8") as f:
        doc = json.load(f)
    runs = {}
    medians = {}
    for b in doc.get("benchmarks", []):
        if b.get("error_occurred"):
            sys.exit(f"typed_bench_table: {b.get('name')}: {b.get('error_message')}")
        name = b.get("run_name", b["name"])
        if b.get("run_type") == "aggregate":
            if b.get("aggregate_name") == "median":
                medians[name] = b
            continue
        runs.setdefault(name, []).append(b)
    results = {}
    for name in set(runs) | set(medians):
        if name in runs:
            group = runs[name]
            keys = [k for k, v in group[0].items() if isinstance(v, (int, float)) and not isinstance(v, bool)]
            entry = {k: statistics.median(float(r[k]) for r in group if k in r) for k in keys}
            entry["time_unit"] = group[0].get("time_unit", "ns")
            entry["repetitions"] = len(group)
        else:
            entry = dict(medians[name])
            entry["repetitions"] = int(medians[name].get("repetitions", 1))
        entry["cpu_ns"] = float(entry["cpu_time"]) * NS_PER_UNIT[entry.get("time_unit", "ns")]
        parts = name.split("/")
        if len(parts) == 3:
            results[tuple(parts)] = entry
    return doc.get("context", {}), results


def fmt_ns(ns):
    if ns >= 1e6:
        return f"{ns / 1e6:.2f} ms"
    if ns >= 1e3:
        return f"{ns / 1e3:.1f} us"
    return f"{ns:.0f} ns"


def fmt_ratio(x):
    return "-" if x is None else f"{x:.2f}"


def fmt_bytes(b):
    if b >= 1 << 20:
        return f"{b / (1 << 20):.2f} MiB"
    if b >= 1 << 10:
        return f"{b / (1 << 10):.1f} KiB"
    return f"{b:.0f} B"


def ratio(a, b):
    return a / b if a is not None and b else None


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    context, res = load(sys.argv[1])

    def get(m, d, c):
        return res.get((m, d, c))

    def ns(m, d, c):
        e = get(m, d, c)
        return e["cpu_ns"] if e else None

    reps = sorted({e["repetitions"] for e in res.values()})
    print(f"local code set: {context.get('local_code_set', '?')}; "
          f"repetitions: {', '.join(map(str, reps))} (medians of thread CPU time); "
          f"host: {context.get('host_name', '?')}, {context.get('num_cpus', '?')} CPUs")
    print()

    # ---- time ----
    print("| message | octets | direction | baseline | qbasn | qbasn / baseline | lcs | lcs / qbasn |")
    print("| --- | ---: | --- | ---: | ---: | ---: | ---: | ---: |")
    for m in MESSAGES:
        for d in DIRECTIONS:
            b, q, l = ns(m, d, "baseline"), ns(m, d, "qbasn"), ns(m, d, "lcs")
            e = get(m, d, "qbasn") or get(m, d, "baseline")
            if e is None:
                continue
            octets = int(e.get("octets", 0))
            print(f"| {m} | {octets} | {d} | {fmt_ns(b) if b else '-'} | {fmt_ns(q) if q else '-'} | "
                  f"{fmt_ratio(ratio(q, b))} | {fmt_ns(l) if l else '-'} | {fmt_ratio(ratio(l, q))} |")
    print()

    # ---- cost per octet M2 -> M3 ----
    def per_octet(m, d, c):
        e = get(m, d, c)
        return e["cpu_ns"] / e["octets"] if e and e.get("octets") else None

    print("Cost per octet, M3 relative to M2 (1.00 = linear):")
    print()
    print("| direction | baseline | qbasn | lcs |")
    print("| --- | ---: | ---: | ---: |")
    for d in DIRECTIONS:
        cells = [fmt_ratio(ratio(per_octet("M3", d, c), per_octet("M2", d, c))) for c in CODECS]
        print(f"| {d} | " + " | ".join(cells) + " |")
    print()

    # ---- heap ----
    print("Heap per operation (peak: highest live octets above the level before the operation; "
          "record: heap held by the decoded flat record):")
    print()
    print("| message | direction | codec | allocs | of which realloc | record blocks | allocs - record blocks "
          "(decode) | peak | record | peak / (octets + record) |")
    print("| --- | --- | --- | ---: | ---: | ---: | ---: | ---: | ---: | ---: |")
    for m in MESSAGES:
        for d in DIRECTIONS:
            for c in CODECS:
                e = get(m, d, c)
                if e is None:
                    continue
                allocs = e.get("allocs_per_op", 0)
                blocks = e.get("record_blocks", 0)
                peak = e.get("peak_heap", 0)
                rec = e.get("record_heap", 0)
                # A decode has to hand out one block per text, octet string and array of the
                # record; what it allocates beyond that is its own overhead.
                over = f"{allocs - blocks:.0f}" if d == "decode" else "-"
                print(f"| {m} | {d} | {c} | {allocs:.0f} | {e.get('reallocs_per_op', 0):.0f} | {blocks:.0f} | "
                      f"{over} | {fmt_bytes(peak)} | {fmt_bytes(rec)} | "
                      f"{fmt_ratio(peak / (e.get('octets', 0) + rec) if e.get('octets', 0) + rec else None)} |")
    print()

    # ---- targets ----
    def verdict(ok):
        return "met" if ok else "NOT met"

    print("Targets (qbasn and lcs codecs):")
    print()
    worst = max((ratio(ns(m, d, c), ns(m, d, "baseline")) or 0.0)
                for m in MESSAGES for d in DIRECTIONS for c in ("qbasn", "lcs"))
    print(f"- time within {TIME_RATIO_TARGET:g}x of the baseline on M1-M4: worst {worst:.2f}x: "
          f"{verdict(worst <= TIME_RATIO_TARGET)}")
    scaling = max((ratio(per_octet("M3", d, c), per_octet("M2", d, c)) or 0.0)
                  for d in DIRECTIONS for c in ("qbasn", "lcs"))
    print(f"- cost per octet M2 -> M3 within {SCALING_TARGET:g}x: worst {scaling:.2f}x: "
          f"{verdict(scaling <= SCALING_TARGET)}")

    def excess(m, c):
        e = get(m, "decode", c)
        return e["allocs_per_op"] - e["record_blocks"] if e else 0.0

    dec_ex = {c: [excess(m, c) for m in MESSAGES] for c in ("qbasn", "lcs")}
    dec_ok = all(excess("M3", c) <= excess("M2", c) and excess("M4", c) <= excess("M2", c) for c in dec_ex)
    print("- decode allocations at most one per text, octet string and array plus a constant "
          "(allocs - record blocks must not grow with the message: M1, M2, M3, M4): "
          + "; ".join(f"{c} " + ", ".join(f"{x:.0f}" for x in v) for c, v in dec_ex.items())
          + f": {verdict(dec_ok)}")

    def enc_allocs(m, c):
        e = get(m, "encode", c)
        return e["allocs_per_op"] if e else 0.0

    enc = {c: [enc_allocs(m, c) for m in MESSAGES] for c in ("qbasn", "lcs")}
    enc_ok = all(enc_allocs("M3", c) <= enc_allocs("M1", c) and enc_allocs("M4", c) <= enc_allocs("M1", c)
                 for c in enc)
    print("- encode a constant number of allocations (must not grow with the message: M1, M2, M3, M4): "
          + "; ".join(f"{c} " + ", ".join(f"{x:.0f}" for x in v) for c, v in enc.items())
          + f": {verdict(enc_ok)}")
    peak = 0.0
    for m in MESSAGES:
        for d in DIRECTIONS:
            for c in ("qbasn", "lcs"):
                e = get(m, d, c)
                if e and e.get("octets", 0) + e.get("record_heap", 0):
                    peak = max(peak, e["peak_heap"] / (e["octets"] + e["record_heap"]))
    print(f"- peak heap below {PEAK_TARGET:g}x (message + flat record): worst {peak:.2f}x: "
          f"{verdict(peak < PEAK_TARGET)}")
    lcs = max((ratio(ns(m, d, "lcs"), ns(m, d, "qbasn")) or 0.0) for m in MESSAGES for d in DIRECTIONS)
    print(f"- LCS forms on ASCII text within {LCS_TARGET:g}x of the plain forms: worst {lcs:.2f}x: "
          f"{verdict(lcs <= LCS_TARGET)}")


if __name__ == "__main__":
    main()
