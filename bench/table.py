"""Turns Google Benchmark's JSON on standard input into a table. Exit status 1
if a benchmark failed or missed its target."""
import json
import sys

UNITS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


def readable(nanoseconds):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.2f} {unit}"
    return f"{nanoseconds:.0f} ns"


failed = False
print("| Benchmark | CPU | Elapsed | Iterations |")
print("|---|---|---|---|")
for run in json.load(sys.stdin)["benchmarks"]:
    if "error_message" in run:
        failed = True
        print(f"| {run['name']} | {run['error_message']} | | |")
        continue
    unit = UNITS[run["time_unit"]]
    name = run["name"] + (f" ({run['label']})" if "label" in run else "")
    print(f"| {name} | {readable(run['cpu_time'] * unit)} "
          f"| {readable(run['real_time'] * unit)} | {run['iterations']} |")
sys.exit(1 if failed else 0)
