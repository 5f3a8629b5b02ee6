#!/usr/bin/env bash
# The emulator's side of writing: a project of 10,000 library parts and 100,000 placed elements,
# opened with a test module that writes one parameter into every element inside one undoable
# command. Prints the host's time per element and the peak memory of the whole run.
# Goals: at most 2 µs per element, under 300 MB.
set -euo pipefail
cd "$(dirname "$0")/../.."

source scripts/install-packages.sh
install_missing_packages run-write.sh build test bench

bin=build/release/bin
cmake --preset release >/dev/null
cmake --build --preset release --target orvhost host_probe >/dev/null

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
python3 bench/emulator/make-project.py "$work/project" 10000 100000

python3 - "$bin" "$work" <<'PY'
import os, resource, subprocess, sys, time
sys.path.insert(0, "bench")
from record import record
bin, work = sys.argv[1], sys.argv[2]
env = dict(os.environ, ORV_PROBE_MODE="write-all", ORV_PROBE_REPORT=work + "/report.txt")
start = time.monotonic()
subprocess.run([bin + "/orvhost", "open", work + "/project", "--ui", "none",
                "--addon", bin + "/host_probe.so"], env=env, check=True)
wall = time.monotonic() - start
peak_mb = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss / 1024
report = dict(line.split(" ", 1) for line in open(work + "/report.txt").read().splitlines()
              if " " in line)
elements, seconds = int(report["elements"]), float(report["seconds"])
per_element = seconds / elements * 1e6
goals = [("host side of one element's write: at most 2 µs", per_element <= 2),
         ("whole run's peak memory: under 300 MB", peak_mb < 300)]
print("emulator: 10,000 parts, 100,000 elements, one undoable command")
print(f"  elements written    {elements}")
print(f"  host side per write {per_element:.2f} µs   (goal <= 2 µs)  {'met' if goals[0][1] else 'MISSED'}")
print(f"  whole run           {wall:.2f} s (load, open, write, save)")
print(f"  peak memory         {peak_mb:.0f} MB   (goal < 300 MB) {'met' if goals[1][1] else 'MISSED'}")
record({"elements": elements, "host_us_per_element": per_element, "whole_run_s": wall,
        "peak_mb": peak_mb}, goals)
PY
