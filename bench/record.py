"""Where a benchmark script leaves its figures and goals for bench/run.sh: the JSON file that the
environment's BENCH_RESULTS names, when it names one."""
import json
import os


def record(figures, goals):
    """figures: a dict of plain values; goals: (what, met) pairs in the order printed."""
    path = os.environ.get("BENCH_RESULTS")
    if path:
        with open(path, "w") as out:
            json.dump({"figures": figures, "goals": dict(goals)}, out, indent=2)
            out.write("\n")
