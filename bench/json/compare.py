#!/usr/bin/env python3
"""Large numeric arrays to and from JSON: the connector's value mapping beside Python's json.

  bench/json/compare.py [BUILD_DIR]     (default build/bench; needs bench_value_mapping)

Writes two data sets once, with a fixed seed: a 1000-by-1000 matrix of random doubles (written
as repr writes them) and one of random integers, as JSON arrays of rows. Times, on the same
bytes, Python's json.loads and json.dumps (best of 5) and the connector's decode (parse + host
array) and encode (host array -> text) through bench_value_mapping, and prints one table.
"""
import json
import os
import random
import subprocess
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def best(run, rounds=5):
    times = []
    for _ in range(rounds):
        start = time.perf_counter()
        run()
        times.append(time.perf_counter() - start)
    return min(times)


def main():
    if len(sys.argv) > 1 and sys.argv[1] in ("-h", "--help"):
        print(__doc__.strip())
        return 0
    build = sys.argv[1] if len(sys.argv) > 1 else os.path.join(ROOT, "build", "bench")
    binary = os.path.join(build, "bin", "bench_value_mapping")
    if not os.access(binary, os.X_OK):
        print(f"compare.py: no {binary} (cmake --preset bench && cmake --build build/bench)",
              file=sys.stderr)
        return 2
    rng = random.Random(42)
    sets = {
        "doubles": [[rng.uniform(-1e6, 1e6) for _ in range(1000)] for _ in range(1000)],
        "integers": [[rng.randint(-1000000, 1000000) for _ in range(1000)] for _ in range(1000)],
    }
    with tempfile.TemporaryDirectory() as folder:
        python = {}
        for name, rows in sets.items():
            text = json.dumps(rows, separators=(",", ":"))
            with open(os.path.join(folder, name + ".json"), "w") as out:
                out.write(text)
            python[name] = (len(text), best(lambda: json.loads(text)),
                            best(lambda: json.dumps(rows, separators=(",", ":"))))
        env = dict(os.environ, KORVAN_BENCH_DATA=folder)
        result = subprocess.run([binary, "--benchmark_format=json", "--benchmark_repetitions=5",
                                 "--benchmark_report_aggregates_only=true"],
                                env=env, capture_output=True, text=True, check=True)
    ours = {}
    for b in json.loads(result.stdout)["benchmarks"]:
        if b.get("aggregate_name") == "median":
            step, name = b["run_name"].split("/")
            ours[(step, name)] = b["real_time"] / 1000.0  # ms -> s
    print("| data (1000x1000) | JSON size | decode: ours | Python json.loads | encode: ours | "
          "Python json.dumps |")
    print("|---|---|---|---|---|---|")
    for name, (size, loads, dumps) in python.items():
        print(f"| {name} | {size / 1e6:.1f} MB | {ours[('decode', name)]:.3f} s | {loads:.3f} s | "
              f"{ours[('encode', name)]:.3f} s | {dumps:.3f} s |")
    return 0


if __name__ == "__main__":
    sys.exit(main())
