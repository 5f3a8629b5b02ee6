"""Prints run-load.sh's figures, orvservice beside nginx with the ratio, then each goal met or
missed, and writes all the figures as one JSON file.

  report-load.py FOLDER OUTPUT.json     FOLDER: the run's context.json and each measure's JSON
"""
import json
import pathlib
import sys

SERVERS = ("orvservice", "nginx")
CONNECTIONS = (100, 1000)


def load(folder):
    read = lambda name: json.loads((folder / f"{name}.json").read_text())
    figures = {"context": read("context")}
    for server in SERVERS:
        figures[server] = {
            "keep_alive": {str(c): read(f"wrk-{server}-{c}") for c in CONNECTIONS},
            "slow_idle": read(f"hold-{server}"),
            "overlong": read(f"overlong-{server}"),
        }
    return figures


def errors(run):
    return (f"{run['connect_errors']}/{run['read_errors']}/{run['write_errors']}/"
            f"{run['timeouts']}")


def closing(held):
    if held["closed"] == held["connected"] and held["connected"] > 0:
        return f"all after {held['first_closed_s']:.1f}-{held['last_closed_s']:.1f} s"
    if held["closed"] == 0:
        return f"none within {held['window_s']:g} s"
    return f"{held['closed']} of {held['connected']}, last {held['last_closed_s']:.1f} s"


def good(held):
    if held["good_worst_ms"] is not None:
        return float(held["good_worst_ms"])
    answered = sum(ms is not None for ms in held["good_ms"])
    return f"{answered} of {len(held['good_ms'])} answered in {held['good_timeout_s']} s"


def answer(overlong):
    status = overlong["status"] if overlong["status"] is not None else "none"
    return f"{status}, {'closed' if overlong['closed'] else 'kept open'}"


def table(figures):
    """orvservice's figure, nginx's, and the ratio of the two where it means something."""
    rows = []

    def row(what, get, ratio=True):
        a, b = (get(figures[server]) for server in SERVERS)
        r = f"{a / b:.2f}" if ratio and isinstance(a, (int, float)) and b else ""
        show = lambda v: f"{v:,.1f}" if isinstance(v, float) else str(v)
        rows.append(f"{what:40} {show(a):>24} {show(b):>24} {r:>6}")

    for c in CONNECTIONS:
        run = lambda f, c=c: f["keep_alive"][str(c)]
        row(f"{c:,} keep-alive: requests/s", lambda f: run(f)["requests_per_s"])
        row(f"{c:,} keep-alive: p99 ms (answered < 2 s)", lambda f: run(f)["p99_ms"])
        row(f"{c:,} keep-alive: errors c/r/w/timeout", lambda f: errors(run(f)), False)
        row(f"{c:,} keep-alive: non-2xx answers", lambda f: run(f)["non_2xx"], False)
    row("slow+idle: good check, worst ms", lambda f: good(f["slow_idle"]))
    row("slow+idle: held at the samples (min)", lambda f: f["slow_idle"]["held_at_samples_min"],
        False)
    row("slow connections closed", lambda f: closing(f["slow_idle"]["slow"]), False)
    row("idle connections closed", lambda f: closing(f["slow_idle"]["idle"]), False)
    row("peak memory MB (VmHWM)", lambda f: f["slow_idle"]["peak_kb"] / 1024)
    row("64 KiB request line: answer", lambda f: answer(f["overlong"]["request_line"]), False)
    row("64 KiB header: answer", lambda f: answer(f["overlong"]["header"]), False)
    header = f"{'':40} {'orvservice':>24} {'nginx':>24} {'ratio':>6}"
    return "\n".join([header, *rows])


def goals(figures):
    ours, nginx = figures["orvservice"], figures["nginx"]
    found = []
    for c in CONNECTIONS:
        run, peer = ours["keep_alive"][str(c)], nginx["keep_alive"][str(c)]
        found += [
            (f"{c:,} keep-alive connections: at least 0.7 x nginx's requests/s",
             run["requests_per_s"] >= 0.7 * peer["requests_per_s"]),
            # wrk leaves the requests past its 2 s timeout out of its percentiles.
            (f"{c:,} keep-alive connections: p99 at most 10 ms (and no timeout)",
             run["p99_ms"] <= 10 and run["timeouts"] == 0),
            (f"{c:,} keep-alive connections: no socket error, timeout or error status",
             sum(run[k] for k in ("connect_errors", "read_errors", "write_errors", "timeouts",
                                  "non_2xx")) == 0),
        ]
    held = ours["slow_idle"]
    worst = held["good_worst_ms"]
    shut = lambda h: h["connected"] > 0 and h["closed"] == h["connected"]
    found += [
        ("good check answered within 100 ms under slow and idle clients",
         worst is not None and worst <= 100),
        ("slow connections closed after a timeout", shut(held["slow"])),
        ("idle connections closed after a timeout", shut(held["idle"])),
        ("peak memory at most 64 MB", held["peak_kb"] <= 64 * 1024),
        ("over-long request line: 414 and closed",
         ours["overlong"]["request_line"] == {"status": 414, "closed": True}),
        ("over-long header: 431 and closed",
         ours["overlong"]["header"] == {"status": 431, "closed": True}),
    ]
    return found


def main():
    folder, output = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    figures = load(folder)
    found = goals(figures)
    figures["goals"] = {what: met for what, met in found}
    output.parent.mkdir(parents=True, exist_ok=True)
    output.write_text(json.dumps(figures, indent=2) + "\n")

    context = figures["context"]
    print(f"orvservice beside nginx: {context['objects']:,} objects, wrk -t2 for "
          f"{context['duration_s']} s a run, {context['cores']} cores, "
          f"load average {context['load_average']} before the run")
    print(table(figures))
    print("\nGoals (orvservice):")
    for what, met in found:
        print(f"  {what:72} {'met' if met else 'MISSED'}")
    print(f"\nfigures: {output}")


if __name__ == "__main__":
    main()
