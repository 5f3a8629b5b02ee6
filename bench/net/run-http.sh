#!/usr/bin/env bash
# HttpGet beside curl, against a local orvservice in one run:
# Each figure is the median of fifteen runs, ours and curl's by turns. Both are timed from the
# inside, as the transfers alone: HttpGet's calls by bench_http, curl's by its own `time_total`;
# the start of a process, which varies by several milliseconds, is in neither.
# - 1,000 version checks one after the other over one connection (curl: one invocation with a
#   list of 1,000 URLs, which reuses its connection); goal: at most 1.5 times curl's time;
# - a 100 MB download; goal: at most 1.1 times `curl -o /dev/null`, and a peak memory of at most
#   1.2 times the body.
set -euo pipefail
cd "$(dirname "$0")/../.."

source scripts/install-packages.sh
install_missing_packages run-http.sh build test bench

bin=build/release/bin
cmake --preset release >/dev/null
cmake --build --preset release --target orvservice bench_http >/dev/null
bench=build/release/bench/bench_http

work=$(mktemp -d)
trap 'kill $service 2>/dev/null || true; rm -rf "$work"' EXIT
mkdir "$work/files"
cat >"$work/catalog.json" <<'JSON'
{"objects": [{"id": "D01", "versions": ["1.0", "2.0"], "latest": "2.0"}]}
JSON
"$bin/orvservice" --catalog "$work/catalog.json" --files "$work/files" \
    --listen 127.0.0.1:0 >"$work/service.txt" &
service=$!
for _ in $(seq 50); do grep -q listening "$work/service.txt" && break; sleep 0.1; done
base=$(sed -n 's/.*listening on \(http[^ ]*\).*/\1/p' "$work/service.txt")

for i in $(seq 1000); do
    echo "$base/check?id=D01&version=1.0&n=$i&format=json"
done >"$work/urls.txt"
sed 's/.*/url = "&"\noutput = \/dev\/null/' "$work/urls.txt" >"$work/curl.txt"
download="$base/bytes?size=104857600"

python3 - "$bench" "$work" "$download" <<'PY'
import subprocess, sys
sys.path.insert(0, "bench")
from record import record
bench, work, download = sys.argv[1:4]

RUNS = 15  # each figure is the median of this many runs: one run alone varies by half

def median(values):
    return sorted(values)[len(values) // 2]

def ours(*arguments):
    out = subprocess.run([bench, *arguments], check=True, stdout=subprocess.PIPE,
                         text=True).stdout
    return {k: float(v) for k, v in (line.split() for line in out.splitlines())}

def curls(*arguments):
    """The seconds of curl's transfers, as it times each one itself (time_total), added up."""
    out = subprocess.run(["curl", "-s", "-w", "%{time_total}\\n", *arguments], check=True,
                         stdout=subprocess.PIPE, text=True).stdout
    return sum(float(line) for line in out.split())

def compare(arguments, curl_arguments):
    """Ours and curl's, run by turns so that both meet the same moments of the machine, each
    first in every other turn."""
    runs, curl_runs = [], []
    for turn in range(RUNS):
        if turn % 2:
            curl_runs.append(curls(*curl_arguments))
            runs.append(ours(*arguments))
        else:
            runs.append(ours(*arguments))
            curl_runs.append(curls(*curl_arguments))
    result = dict(runs[0])
    result["seconds"] = median([run["seconds"] for run in runs])
    result["peak_rss_kb"] = max(run["peak_rss_kb"] for run in runs)
    return result, median(curl_runs)

checks, curl_checks = compare(["checks", work + "/urls.txt"], ["--config", work + "/curl.txt"])
get, curl_get = compare(["download", download], ["-o", "/dev/null", download])
ratio_checks = checks["seconds"] / curl_checks
ratio_get = get["seconds"] / curl_get
memory = get["peak_rss_kb"] * 1024 / get["bytes"]
goals = [("1,000 checks: at most 1.5 x curl's time", ratio_checks <= 1.5),
         ("100 MB download: at most 1.1 x curl's time", ratio_get <= 1.1),
         ("100 MB download: peak memory at most 1.2 x the body", memory <= 1.2)]
print("HttpGet against a local orvservice")
print(f"  1,000 checks  ours {checks['seconds']:.3f} s  curl {curl_checks:.3f} s  ratio {ratio_checks:.2f}  (goal <= 1.5) {'met' if goals[0][1] else 'MISSED'}")
print(f"  100 MB        ours {get['seconds']:.3f} s  curl {curl_get:.3f} s  ratio {ratio_get:.2f}  (goal <= 1.1) {'met' if goals[1][1] else 'MISSED'}")
print(f"  peak memory   {get['peak_rss_kb'] / 1024:.0f} MB = {memory:.2f} x the body  (goal <= 1.2) {'met' if goals[2][1] else 'MISSED'}")
record({"checks_s": checks["seconds"], "checks_curl_s": curl_checks,
        "download_s": get["seconds"], "download_curl_s": curl_get,
        "download_peak_kb": get["peak_rss_kb"], "download_bytes": get["bytes"]}, goals)
PY
