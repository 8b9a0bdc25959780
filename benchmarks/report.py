#!/usr/bin/env python3
"""Runs the benchmarks of a build folder and prints two tables: each figure with its goal and a mark for a missed
goal, and the peers.

    report.py BUILD [--baseline BUILD] [--instructions] [OPTION_OF_GOOGLE_BENCHMARK...]

Writes BUILD/benchmarks.json, with all results, and BUILD/growth.svg, the time of a release by number
of variables. With --baseline, runs both builds and lists the benchmarks that became slower by more than a
tenth. With --instructions, counts the instructions of a release with callgrind, and plots them in
BUILD/growth-instructions.svg.
"""

import argparse
import json
import math
import pathlib
import re
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
MICROSECONDS = {"ns": 1e-3, "us": 1.0, "ms": 1e3, "s": 1e6}
# The function of change_pass_bench that is measured.
RELEASE = "ReleaseWriter"
SLOWER = 1.1
# Counters that compare with code of this project, or that compare memory.
NOT_PEERS = {"of_columns", "of_few", "of_its_source", "of_reader", "of_sfMutexRW", "of_unmonitored", "of_whole_copy",
             "of_whole_snapshot"}


def run(build, options):
    """Runs every benchmark program of the build. Returns the results by name, and the machine."""
    results, context = {}, {}
    for program in sorted((build / "benchmarks").glob("*_bench")):
        print(f"== {program.name}", file=sys.stderr, flush=True)
        with tempfile.NamedTemporaryFile(suffix=".json") as out:
            subprocess.run([program, f"--benchmark_out={out.name}", "--benchmark_out_format=json", *options],
                           check=True, stdout=subprocess.DEVNULL)
            text = pathlib.Path(out.name).read_text()
        if not text.strip():
            continue  # no benchmark of this program was selected
        report = json.loads(text)
        context = report["context"]
        for result in report["benchmarks"]:
            if result.get("error_occurred"):
                sys.exit(f"{program.name}: {result['name']}: {result['error_message']}")
            results[plain_name(result["name"])] = result
    return results, context


def plain_name(name):
    """The name without the suffixes for the options of the measurement."""
    return re.sub(r"/(iterations:\d+|manual_time|real_time|min_time:[\d.]+)", "", name)


def microseconds(result, clock="cpu_time"):
    return result[clock] * MICROSECONDS[result["time_unit"]]


def measured_time(result):
    """The time that the benchmark measured itself, if it did; otherwise the processor time."""
    return microseconds(result, "real_time" if "/manual_time" in result["name"] else "cpu_time")


def figure(source, results, growth):
    """The figure of a goal, or None if its benchmarks did not run."""
    kind, *words = source.split()
    if kind == "growth":
        return growth.get(words[0])
    if words[0] not in results or (kind == "ratio" and words[1] not in results):
        return None
    if kind == "time":
        return microseconds(results[words[0]])
    if kind == "real":
        return microseconds(results[words[0]], "real_time")
    if kind == "counter":
        return results[words[0]][words[1]]
    if kind == "most":
        return max((results[words[0]][counter] for counter in words[1:] if counter in results[words[0]]), default=None)
    if kind == "ratio":
        return microseconds(results[words[0]]) / microseconds(results[words[1]])
    sys.exit(f"goals.tsv: unknown figure {source}")


def goals():
    for line in (HERE / "goals.tsv").read_text().splitlines():
        if line and not line.startswith("#"):
            subject, source, unit, goal, *least = line.split("\t")
            yield subject, source, unit, float(goal), bool(least)


def print_goals(results, growth, all_ran):
    """With all_ran, also names the goals without a figure."""
    print(f"{'':86}{'figure':>12}{'goal':>12}")
    for subject, source, unit, goal, least in goals():
        value = figure(source, results, growth)
        if value is None:
            if all_ran and not source.startswith("growth "):
                print(f"{subject:86}not measured")
            continue
        missed = value < goal if least else value > goal
        print(f"{subject:86}{value:>9.4g} {unit:2}{goal:>9.4g} {unit:2}{'  missed' if missed else ''}")


def own_figure(result):
    """The throughput or time that the counters of_PEER of the benchmark compare, and its unit."""
    for name, value in result.items():
        if name.endswith("_per_second") and name not in ("bytes_per_second", "items_per_second"):
            return value, "/s"
    if "MB_per_cpu_s" in result:
        return result["MB"] / result["MB_per_cpu_s"] * 1e6, "us"
    return measured_time(result), "us"


def print_peers(results):
    """The figure of a peer is the figure of the benchmark, divided by their ratio."""
    ratios = {name: {counter.removeprefix("of_"): value for counter, value in result.items()
                     if counter.startswith("of_") and counter not in NOT_PEERS}
              for name, result in results.items()}
    for _, source, *_ in goals():
        kind, *names = source.split()
        if kind == "ratio" and all(name in results for name in names):
            ratios[names[0]][names[1].split("/")[0]] = figure(source, results, {})
    print("\nPeers. The ratio is ours / peer: of times lower is better, of throughputs (/s) higher.")
    for name, peers in ratios.items():
        if peers:
            own, unit = own_figure(results[name])
            print(f"{name:60}{own:>12.4g} {unit}")
            for peer, ratio in sorted(peers.items(), key=lambda item: -item[1]):
                print(f"    {peer:56}{own / ratio:>12.4g} {unit}{ratio:>9.3g} x")


def instructions(build, name, count):
    """The instructions of one release, counted by callgrind."""
    with tempfile.NamedTemporaryFile(suffix=".callgrind") as out, tempfile.NamedTemporaryFile(suffix=".json") as report:
        subprocess.run(["valgrind", "--tool=callgrind", f"--callgrind-out-file={out.name}",
                        "--collect-atstart=no", f"--toggle-collect=*{RELEASE}*",
                        build / "benchmarks" / "change_pass_bench", f"--benchmark_filter=^{name}/{count}$",
                        "--benchmark_min_time=0.000001", f"--benchmark_out={report.name}",
                        "--benchmark_out_format=json"],
                       check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        total = re.search(r"^totals: (\d+)", pathlib.Path(out.name).read_text(), re.MULTILINE)
        results = json.loads(pathlib.Path(report.name).read_text())["benchmarks"]
    if len(results) != 1 or results[0]["iterations"] != 1:
        sys.exit(f"change_pass_bench: {name}/{count} was not released exactly once")
    return int(total[1])


def release_instructions(build):
    """The instructions of each release whose growth has a goal: pairs of the number of variables and the count."""
    names = {source.split()[1] for _, source, *_ in goals() if source.startswith("growth ")}
    counts = {}
    for name in sorted(names):
        print(f"== instructions of {name}", file=sys.stderr, flush=True)
        counts[name] = [(count, instructions(build, name, count)) for count in (10000, 100000)]
    return counts


def growth_exponents(counts):
    """The exponents of growth from 10,000 to 100,000 variables."""
    return {name: math.log10(line[1][1] / line[0][1]) for name, line in counts.items()}


def print_slower(results, baseline):
    slower = []
    for name in results.keys() & baseline.keys():
        now, before = measured_time(results[name]), measured_time(baseline[name])
        if before > 0 and now > SLOWER * before:
            slower.append((now / before, name, before, now))
    print("\nSlower than before by more than a tenth:" if slower else "\nNothing became slower by more than a tenth.")
    for ratio, name, before, now in sorted(slower, reverse=True):
        print(f"  {name:60}{before:>12.4g} us{now:>12.4g} us{ratio:>7.2f} x")


def release_times(results):
    """The time of each release in microseconds, with the number of variables."""
    times = {}
    for name, result in results.items():
        match = re.fullmatch(r"(NothingChanged|OneLabelChanged|LastMovedToFirst|Shuffled|EverySecondReplaced)/(\d+)",
                             name)
        if match:
            times.setdefault(match[1], []).append((int(match[2]), microseconds(result)))
    return times


def write_plot(path, series, unit):
    """Draws each series of pairs by number of variables, both on logarithmic scales, as SVG."""
    points = [point for line in series.values() for point in line]
    if not points:
        return
    low_x = 3
    high_x = max(low_x + 1, math.ceil(math.log10(max(x for x, _ in points))))
    low_y = math.floor(math.log10(min(y for _, y in points)))
    high_y = max(low_y + 1, math.ceil(math.log10(max(y for _, y in points))))
    width, height, left, top = 560, 360, 70, 20

    def place(x, y):
        return (left + (math.log10(x) - low_x) / (high_x - low_x) * width,
                top + (high_y - math.log10(y)) / (high_y - low_y) * height)

    svg = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width + left + 190}" height="{height + 70}" '
           'font-family="sans-serif" font-size="12">', '<rect width="100%" height="100%" fill="white"/>']
    for exponent in range(low_x, high_x + 1):
        x, _ = place(10 ** exponent, 10 ** low_y)
        svg.append(f'<path d="M{x:.1f} {top}V{top + height}" stroke="#ddd"/>')
        svg.append(f'<text x="{x:.1f}" y="{top + height + 18}" text-anchor="middle">{10 ** exponent:,}</text>')
    for exponent in range(low_y, high_y + 1):
        _, y = place(10 ** low_x, 10.0 ** exponent)
        svg.append(f'<path d="M{left} {y:.1f}H{left + width}" stroke="#ddd"/>')
        svg.append(f'<text x="{left - 8}" y="{y + 4:.1f}" text-anchor="end">{10.0 ** exponent:,g}{unit}</text>')
    svg.append(f'<text x="{left + width / 2}" y="{top + height + 40}" text-anchor="middle">variables</text>')
    colours = ["#0072b2", "#009e73", "#d55e00", "#cc79a7", "#000000"]
    for (name, line), colour in zip(sorted(series.items()), colours):
        places = [place(x, y) for x, y in sorted(line)]
        corners = " ".join(f"{x:.1f},{y:.1f}" for x, y in places)
        svg.append(f'<polyline points="{corners}" fill="none" stroke="{colour}" stroke-width="2"/>')
        svg += [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" fill="{colour}"/>' for x, y in places]
        x, y = places[-1]
        words = re.sub(r"(?<!^)([A-Z])", lambda m: " " + m[1].lower(), name)
        svg.append(f'<text x="{x + 8:.1f}" y="{y + 4:.1f}" fill="{colour}">{words}</text>')
    path.write_text("\n".join([*svg, "</svg>", ""]))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--baseline", type=pathlib.Path)
    parser.add_argument("--instructions", action="store_true")
    arguments, options = parser.parse_known_args()
    results, context = run(arguments.build, options)
    baseline = run(arguments.baseline, options)[0] if arguments.baseline else {}
    counts = release_instructions(arguments.build) if arguments.instructions else {}
    growth = growth_exponents(counts)
    (arguments.build / "benchmarks.json").write_text(
        json.dumps({"context": context, "benchmarks": list(results.values()), "growth": growth}, indent=1))
    print_goals(results, growth, all_ran=not any("benchmark_filter" in option for option in options))
    print_peers(results)
    write_plot(arguments.build / "growth.svg", release_times(results), " us")
    write_plot(arguments.build / "growth-instructions.svg", counts, "")
    if arguments.baseline:
        print_slower(results, baseline)


main()
