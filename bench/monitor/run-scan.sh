#!/usr/bin/env bash
# The monitor's road against a local orvservice: 2,000 library parts of which 500 are monitored,
# and 20,000 placed elements. Times the open-to-summary scan with every record stale, the write
# of the states, and a rescan within four hours; beside it, curl making the same 500 requests one
# after the other over one connection. Each figure is the median of five runs.
# Goals: the stale scan at most 1.5 times curl's time; the fresh rescan makes no request and
# takes under 5% of the stale scan.
set -euo pipefail
cd "$(dirname "$0")/../.."

source scripts/install-packages.sh
install_missing_packages run-scan.sh build test bench

bin=build/release/bin
cmake --preset release >/dev/null
cmake --build --preset release --target orvservice OrvUpdate bench_scan >/dev/null

work=$(mktemp -d)
trap 'kill $service 2>/dev/null || true; rm -rf "$work"' EXIT
mkdir "$work/files"
python3 - "$work/catalog.json" <<'PY'
import json, sys
objects = [{"id": "P%d" % n, "versions": ["1", "2"], "latest": "2"} for n in range(0, 2000, 4)]
json.dump({"objects": objects}, open(sys.argv[1], "w"))
PY
"$bin/orvservice" --catalog "$work/catalog.json" --files "$work/files" --listen 127.0.0.1:0 \
    --log >"$work/service.txt" &
service=$!
for _ in $(seq 50); do grep -q listening "$work/service.txt" && break; sleep 0.1; done
base=$(sed -n 's/.*listening on \(http[^ ]*\).*/\1/p' "$work/service.txt")
python3 bench/emulator/make-project.py "$work/project" 2000 20000 "$base"
for n in $(seq 0 4 1999); do
    printf 'url = "%s/check?id=P%d&version=1&format=json"\noutput = /dev/null\n' "$base" "$n"
done >"$work/curl.txt"

python3 - "$bin" "$work" <<'PY'
import shutil, subprocess, sys, time
sys.path.insert(0, "bench")
from record import record
bin, work = sys.argv[1:3]
RUNS = 5

def median(values):
    return sorted(values)[len(values) // 2]

def ours():
    project = work + "/run"
    shutil.rmtree(project, ignore_errors=True)
    shutil.copytree(work + "/project", project)
    before = open(work + "/service.txt").read().count("/check")
    out = subprocess.run([bin + "/../bench/bench_scan", project, bin + "/OrvUpdate.so"],
                         check=True, stdout=subprocess.PIPE, text=True).stdout
    figures = {k: float(v) for k, v in (line.split() for line in out.splitlines())}
    figures["requests"] = open(work + "/service.txt").read().count("/check") - before
    return figures

def curl():
    start = time.monotonic()
    subprocess.run(["curl", "-s", "--config", work + "/curl.txt"], check=True)
    return time.monotonic() - start

runs = [ours() for _ in range(RUNS)]
stale = median([r["stale_scan"] for r in runs])
write = median([r["write"] for r in runs])
fresh = median([r["fresh_rescan"] for r in runs])
requests = runs[-1]["requests"]
reference = median([curl() for _ in range(RUNS)])
ratio = stale / reference
share = fresh / stale
goals = [("stale scan: at most 1.5 x curl's 500 requests", ratio <= 1.5),
         ("fresh rescan: under 5% of the stale scan", share < 0.05),
         ("fresh rescan: no request (500 a run)", requests == 500)]
print("monitor: 2,000 parts (500 monitored), 20,000 elements, against a local orvservice")
print(f"  stale scan    {stale:.3f} s   curl's 500 requests {reference:.3f} s   ratio {ratio:.2f}  (goal <= 1.5) {'met' if goals[0][1] else 'MISSED'}")
print(f"  write states  {write:.3f} s   (one undoable command over 20,000 elements)")
print(f"  fresh rescan  {fresh:.4f} s   {share * 100:.1f}% of the stale scan  (goal < 5%) {'met' if goals[1][1] else 'MISSED'}")
print(f"  requests of one run: {requests} (500 expected: the rescan makes none)")
record({"stale_scan_s": stale, "curl_s": reference, "write_s": write, "fresh_rescan_s": fresh,
        "requests": requests}, goals)
PY
