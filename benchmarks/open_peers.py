#!/usr/bin/env python3
"""Times pandas.read_csv on a file, beside the figures that open_bench prints.

    OPEN_BENCH_FILE=numbers.csv build/bench/benchmarks/open_bench --benchmark_filter=1000000
    benchmarks/open_peers.py numbers.csv

Prints MB per second by the clock and per second of processor time, the best of five readings, and by how much
the resident memory grew at most. Debian: python3-pandas.
"""

import os
import resource
import sys
import time


def peak():
    return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss * 1024


def main(path):
    try:
        import pandas
    except ImportError:
        sys.exit("open_peers.py: pandas is not installed")
    megabytes = os.path.getsize(path) / 1e6
    before, grown = peak(), 0
    best = best_cpu = float("inf")
    for _ in range(5):
        clock, cpu = time.perf_counter(), time.process_time()
        frame = pandas.read_csv(path, engine="c")
        best = min(best, time.perf_counter() - clock)
        best_cpu = min(best_cpu, time.process_time() - cpu)
        grown = grown or peak() - before
        rows, columns = frame.shape
        del frame
    print(f"pandas {pandas.__version__}: {rows} rows, {columns} columns, {megabytes:.0f} MB")
    print(f"MB_per_s={megabytes / best:.0f} MB_per_cpu_s={megabytes / best_cpu:.0f} memory_MB={grown / 1e6:.0f}")


if len(sys.argv) != 2:
    sys.exit(__doc__)
main(sys.argv[1])
