"""Prints the benchmark figures of one run, ours beside the peer's, with the ratio, and the goals
on those ratios met or MISSED (recorded for bench/run.sh, bench/record.py)."""
import json
import pathlib
import sys

from record import record

# (what, ours, peer, unit): unit "ns" compares times (lower is better), "MB/s" throughputs.
PAIRS = [
    ("log call below its level vs written", "FilteredEntry", "WrittenEntry", "ns"),
    ("inflate: stream vs zlib on the same 1 KB inputs", "InflateThroughStream",
     "InflateZlibDirectKilobyteInput", "MB/s"),
    ("inflate: stream vs zlib in one call", "InflateThroughStream", "InflateZlibDirect", "MB/s"),
    ("AES-256-CTR: ours vs mbed TLS", "Aes256CtrOurs", "Aes256CtrMbedTls", "MB/s"),
    ("AES-256-CTR: ours through the stream vs mbed TLS", "Aes256CtrOursThroughStream",
     "Aes256CtrMbedTls", "MB/s"),
    ("AES-256-CTR: our table code vs mbed TLS", "Aes256CtrOursTables", "Aes256CtrMbedTls",
     "MB/s"),
    ("CRC-32 (1 MiB): through the hash stream vs direct", "OurCrc32Stream/1048576",
     "OurCrc32/1048576", "MB/s"),
    ("CRC-32 (1 MiB): ours vs zlib", "OurCrc32/1048576", "ZlibCrc32/1048576", "MB/s"),
    ("HMAC-SHA1 (1 MiB): hash stream vs mbed TLS", "OurHmacSha1Stream/1048576",
     "MbedTlsHmacSha1/1048576", "MB/s"),
]


def load(folder):
    figures = {}
    for path in pathlib.Path(folder).glob("*.json"):
        for run in json.loads(path.read_text())["benchmarks"]:
            if run.get("run_type", "iteration") != "iteration":
                continue
            ns = run["real_time"] * {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[run["time_unit"]]
            figures[run["name"]] = {"ns": ns, "MB/s": run.get("bytes_per_second", 0) / 1e6}
    return figures


# (what, the comparison of PAIRS, the least ratio of our throughput to the peer's).
GOALS = [
    ("AES-256-CTR: at least 0.8 x mbed TLS's throughput", "AES-256-CTR: ours vs mbed TLS", 0.8),
    ("CRC-32 (1 MiB): at least 0.5 x zlib's throughput", "CRC-32 (1 MiB): ours vs zlib", 0.5),
]


def main():
    figures = load(sys.argv[1])
    ratios = {}
    print(f"{'comparison':52} {'ours':>12} {'peer':>12} {'ours/peer':>10}")
    for what, ours, peer, unit in PAIRS:
        if ours not in figures or peer not in figures:
            print(f"{what:52} {'(not run)':>12}")
            continue
        a, b = figures[ours][unit], figures[peer][unit]
        ratios[what] = {"ours": a, "peer": b, "unit": unit, "ratio": a / b}
        print(f"{what:52} {a:10.1f}{unit:>2} {b:10.1f}{unit:>2} {a / b:10.3f}"
              if unit == "ns" else
              f"{what:52} {a:8.1f}MB/s {b:8.1f}MB/s {a / b:10.3f}")
    goals = [(what, pair in ratios and ratios[pair]["ratio"] >= least)
             for what, pair, least in GOALS]
    print("\nGoals:")
    for what, met in goals:
        print(f"  {what:60} {'met' if met else 'MISSED'}")
    record(ratios, goals)


if __name__ == "__main__":
    main()
