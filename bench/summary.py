"""bench/run.sh's last word: every goal of the benchmarks' run, met or MISSED, beside the last run's
verdict, and all their figures as one JSON file, the last run's kept beside it.

  summary.py FOLDER OUTPUT   FOLDER holds one JSON file a benchmark ({"goals": {what: met}, and
                             the figures}); OUTPUT is written, and an OUTPUT there before becomes
                             OUTPUT with ".previous" before its suffix
"""
import datetime
import json
import pathlib
import subprocess
import sys


def load(folder):
    runs = {}
    for path in sorted(pathlib.Path(folder).glob("*.json")):
        runs[path.stem] = json.loads(path.read_text())
    return runs


def commit():
    try:
        return subprocess.run(["git", "rev-parse", "--short", "HEAD"], check=True, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout.strip()
    except (OSError, subprocess.CalledProcessError):
        return None


def main():
    runs = load(sys.argv[1])
    output = pathlib.Path(sys.argv[2])
    previous_path = output.with_name(output.stem + ".previous" + output.suffix)
    previous = {}
    if output.exists():
        previous = json.loads(output.read_text()).get("benchmarks", {})
        output.replace(previous_path)

    print("\nGoals of this run (the last run's verdict in brackets):")
    missed = 0
    for name, run in runs.items():
        before = previous.get(name, {}).get("goals", {})
        for what, met in run["goals"].items():
            missed += not met
            last = "" if what not in before else f"  [{'met' if before[what] else 'MISSED'}]"
            print(f"  {name:9} {what:74} {'met' if met else 'MISSED'}{last}")
    print(f"{missed} missed" if missed else "every goal met")

    output.parent.mkdir(parents=True, exist_ok=True)
    output.write_text(json.dumps({
        "when": datetime.datetime.now(datetime.timezone.utc).isoformat(timespec="seconds"),
        "commit": commit(),
        "benchmarks": runs,
    }, indent=2) + "\n")
    print(f"figures: {output}" + (f" (the last run's: {previous_path})" if previous else ""))


if __name__ == "__main__":
    main()
