#!/usr/bin/env python3
"""Reads one file of delimited text with this library, libcsv, pandas and DuckDB in turn, and prints a table.

    open_peers.py BUILD

BUILD is the folder of a build with benchmarks, such as build/bench. The file has 1,000,000 records and 20 columns.
libcsv only finds the fields, and only its processor time is measured. pandas is Debian's python3-pandas. DuckDB comes
from npm, to BUILD/peers; Node.js runs it. A peer that is not installed is left out. Each figure is the best of
several readings; memory is by how much the resident memory grew.
"""

import json
import os
import pathlib
import resource
import shutil
import subprocess
import sys
import tempfile
import time

READINGS = 5
SIZE = "OpenNumbersAndStrings/1000000/20"
DUCKDB_PEER = """
import { DuckDBInstance } from '@duckdb/node-api';
const [file, readings] = process.argv.slice(2);
const connection = await (await DuckDBInstance.create(':memory:')).connect();
const memory = () => process.resourceUsage().maxRSS * 1024;
const result = { clock: Infinity, processor: Infinity };
for (let i = 0; i < Number(readings); ++i) {
  await connection.run('DROP TABLE IF EXISTS cases');
  const before = memory();
  const clock = process.hrtime.bigint();
  const used = process.cpuUsage();
  await connection.run(`CREATE TABLE cases AS SELECT * FROM read_csv('${file}')`);
  const more = process.cpuUsage(used);
  result.clock = Math.min(result.clock, Number(process.hrtime.bigint() - clock) / 1e9);
  result.processor = Math.min(result.processor, (more.user + more.system) / 1e6);
  result.memory ??= memory() - before;
}
const count = async (sql) => Number((await connection.runAndReadAll(sql)).getRows()[0][0]);
result.rows = await count('SELECT count(*) FROM cases');
result.columns = await count("SELECT count(*) FROM pragma_table_info('cases')");
result.name = 'DuckDB ' + (await connection.runAndReadAll('SELECT version()')).getRows()[0][0];
console.log(JSON.stringify(result));
"""


def ours(build, file):
    with tempfile.NamedTemporaryFile(suffix=".json") as out:
        subprocess.run([build / "benchmarks" / "open_bench", f"--benchmark_filter={SIZE}/",
                        f"--benchmark_out={out.name}", "--benchmark_out_format=json"],
                       check=True, stdout=subprocess.DEVNULL, env={**os.environ, "OPEN_BENCH_FILE": str(file)})
        [result] = json.loads(pathlib.Path(out.name).read_text())["benchmarks"]
    if result.get("error_occurred"):
        sys.exit(f"open_bench: {result['error_message']}")
    own = {"name": "this library", "clock": result["MB"] / result["MB_per_s"],
           "processor": result["MB"] / result["MB_per_cpu_s"], "memory": result["peak_MB"] * 1e6}
    if "libcsv_MB_per_cpu_s" not in result:
        return [own]
    return [own, {"name": "libcsv", "processor": result["MB"] / result["libcsv_MB_per_cpu_s"]}]


def peak():
    return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss * 1024


def pandas(file):
    """Reads the file with pandas and prints the figures as JSON. Called in a process of its own."""
    try:
        import pandas
    except ImportError:
        sys.exit("open_peers.py: pandas is not installed")
    result = {"name": f"pandas {pandas.__version__}", "clock": float("inf"), "processor": float("inf")}
    before = peak()
    for _ in range(READINGS):
        clock, processor = time.perf_counter(), time.process_time()
        frame = pandas.read_csv(file, engine="c")
        result["clock"] = min(result["clock"], time.perf_counter() - clock)
        result["processor"] = min(result["processor"], time.process_time() - processor)
        result.setdefault("memory", peak() - before)
        result["rows"], result["columns"] = frame.shape
        del frame
    print(json.dumps(result))


def output(*command):
    """The figures that a peer prints as JSON. None if the peer fails; its own message then says why."""
    done = subprocess.run(command, stdout=subprocess.PIPE)
    return json.loads(done.stdout) if done.returncode == 0 else None


def duckdb(build, file):
    folder = (build / "peers").resolve()
    if not shutil.which("npm") or not shutil.which("node"):
        print("open_peers.py: Node.js is not installed", file=sys.stderr)
        return None
    folder.mkdir(exist_ok=True)
    if not (folder / "node_modules").exists():
        subprocess.run(["npm", "install", "--silent", "--prefix", folder, "@duckdb/node-api"])
    script = folder / "duckdb_peer.mjs"
    script.write_text(DUCKDB_PEER)
    return output("node", script, file, str(READINGS))


def main(build):
    with tempfile.TemporaryDirectory() as folder:
        file = pathlib.Path(folder) / "numbers.csv"
        results = ours(build, file)
        megabytes = file.stat().st_size / 1e6
        results += [output(sys.executable, __file__, "--pandas", file), duckdb(build, file)]
    print(f"{megabytes:.0f} MB           MB per second   per processor second   memory in MB")
    for result in filter(None, results):
        if (result.get("rows", 1000000), result.get("columns", 20)) != (1000000, 20):
            sys.exit(f"{result['name']} read {result['rows']} rows and {result['columns']} columns")
        clock = f"{megabytes / result['clock']:.0f}" if "clock" in result else ""
        memory = f"{result['memory'] / 1e6:.0f}" if "memory" in result else ""
        print(f"{result['name']:16}{clock:>16}{megabytes / result['processor']:23.0f}{memory:>15}")


if len(sys.argv) == 3 and sys.argv[1] == "--pandas":
    pandas(sys.argv[2])
elif len(sys.argv) == 2:
    main(pathlib.Path(sys.argv[1]))
else:
    sys.exit(__doc__)
