#!/usr/bin/env bash
# run-extract.sh: times extraction by orvzip against unzip and 7z on three generated archives
# (a mixed ~200 MB archive, 10,000 small files, an AES-256 archive of ~100 MB) plus a small mixed
# one to show that orvzip's memory does not grow with the archive. Prints wall time, peak RSS and
# the ratios orvzip/unzip and orvzip/7z. Not a test: it reports, it does not fail on slowness.
#
#   bench/zip/run-extract.sh            REPEAT=N (default 3) runs per tool, the fastest counts
set -euo pipefail
cd "$(dirname "$0")/../.."

source scripts/install-packages.sh
install_missing_packages run-extract.sh build test bench

repeat=${REPEAT:-3}

cmake --preset release >/dev/null
cmake --build --preset release --target orvzip >/dev/null
orvzip=$PWD/build/release/tools/orvzip
# Must match kZipDefaultPassword in zip/include/zip/ZipCrypto.h.
password=$(sed -n 's/.*kZipDefaultPassword\[\] = u"\([^"]*\)".*/\1/p' zip/include/zip/ZipCrypto.h)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

echo "run-extract.sh: generating archives in $work" >&2
python3 - "$work" <<'PY'
import os, random, sys, zlib
root = sys.argv[1]
rng = random.Random(20211)
words = [
    "".join(rng.choice("abcdefghijklmnopqrstuvwxyz") for _ in range(rng.randint(2, 10)))
    for _ in range(5000)
]
def text(size):
    # Lines of words from a fixed vocabulary: deflates about 3:1, as real text does.
    out, length = [], 0
    while length < size:
        line = " ".join(rng.choices(words, k=12)) + "\n"
        out.append(line)
        length += len(line)
    return "".join(out).encode()[:size]
def write(path, data):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as f:
        f.write(data)
block = text(4 << 20)
def variant(i):
    # Distinct files without regenerating: rotate the block.
    cut = (i * 7919 * 97) % len(block)
    return block[cut:] + block[:cut]
# (a) ~200 MB mixed: 36 text files of 4 MB, 6 random of 6 MB, 4 gzip streams of text.
for i in range(36):
    write(f"{root}/mixed/text/part{i:02}.txt", variant(i))
for i in range(6):
    write(f"{root}/mixed/random/blob{i}.bin", os.urandom(6 << 20))
for i in range(4):
    write(f"{root}/mixed/packed/pack{i}.gz", zlib.compress(variant(100 + i) * 2, 6))
# The same mix at a tenth of the size.
for i in range(4):
    write(f"{root}/mixed-small/text/part{i:02}.txt", variant(200 + i))
write(f"{root}/mixed-small/random/blob.bin", os.urandom(3 << 20))
write(f"{root}/mixed-small/packed/pack.gz", zlib.compress(variant(300), 6))
# (b) 10,000 small files in 100 folders.
for d in range(100):
    for f in range(100):
        write(f"{root}/small/d{d:03}/f{f:03}.txt", text(rng.randint(200, 4000)))
# (c) ~100 MB compressible.
for i in range(25):
    write(f"{root}/aes/text/part{i:02}.txt", variant(400 + i))
PY

(cd "$work/mixed" && zip -q -r "$work/a-mixed.zip" .)
(cd "$work/mixed-small" && zip -q -r "$work/a-mixed-small.zip" .)
(cd "$work/small" && zip -q -r "$work/b-small-files.zip" .)
(cd "$work/aes" && 7z a -tzip -bd -bso0 -mem=AES256 "-p$password" "$work/c-aes256.zip" . )
rm -rf "$work/mixed" "$work/mixed-small" "$work/small" "$work/aes"

# Runs one extraction REPEAT times; prints "best_seconds peak_kb" (fastest time, highest RSS).
measure() {
    local best="" peak=0 out=$work/out stats=$work/stats
    for ((run = 0; run < repeat; run++)); do
        rm -rf "$out"
        mkdir -p "$out"
        /usr/bin/time -f "%e %M" -o "$stats" "$@" >/dev/null 2>"$work/stderr" || {
            echo "run-extract.sh: failed: $*" >&2
            cat "$work/stderr" >&2
            return 1
        }
        read -r seconds kb <"$stats"
        if [[ -z $best ]] || awk "BEGIN { exit !($seconds < $best) }"; then best=$seconds; fi
        ((kb > peak)) && peak=$kb
    done
    echo "$best $peak"
}

# The orvzip tree must equal unzip's, or its times mean nothing.
check() {
    local archive=$1
    shift
    rm -rf "$work/check-orv" "$work/check-peer"
    "$orvzip" extract "$archive" "$work/check-orv" "$@" >/dev/null
    if [[ $# -eq 0 ]]; then
        unzip -q "$archive" -d "$work/check-peer"
    else
        7z x -y -bso0 -bsp0 "-p$password" "-o$work/check-peer" "$archive"
    fi
    diff -r "$work/check-orv" "$work/check-peer" >/dev/null ||
        { echo "run-extract.sh: orvzip extracted $archive differently" >&2; exit 1; }
    rm -rf "$work/check-orv" "$work/check-peer"
}

declare -A time rss
cases=(a-mixed a-mixed-small b-small-files c-aes256)
for name in "${cases[@]}"; do
    archive=$work/$name.zip
    echo "run-extract.sh: $name ($(du -m "$archive" | cut -f1) MB)" >&2
    if [[ $name == c-aes256 ]]; then
        check "$archive" --password "$password"
        read -r time[$name,orvzip] rss[$name,orvzip] < <(measure "$orvzip" extract "$archive" \
            "$work/out" --password "$password")
        time[$name,unzip]=-
        rss[$name,unzip]=-
        read -r time[$name,7z] rss[$name,7z] < <(measure 7z x -y -bso0 -bsp0 "-p$password" \
            "-o$work/out" "$archive")
    else
        check "$archive"
        read -r time[$name,orvzip] rss[$name,orvzip] < <(measure "$orvzip" extract "$archive" \
            "$work/out")
        read -r time[$name,unzip] rss[$name,unzip] < <(measure unzip -q "$archive" -d "$work/out")
        read -r time[$name,7z] rss[$name,7z] < <(measure 7z x -y -bso0 -bsp0 "-o$work/out" \
            "$archive")
    fi
done

ratio() { [[ $2 == - ]] && echo - || awk "BEGIN { printf \"%.2f\", $1 / $2 }"; }
mb() { [[ $1 == - ]] && echo - || awk "BEGIN { printf \"%.1f\", $1 / 1024 }"; }

echo
echo "Extraction, best of $repeat (wall seconds; peak RSS in MB)"
printf '%-15s %8s %8s %8s %8s %8s %9s %9s %9s\n' case orvzip unzip 7z orv/unz orv/7z \
    orv-MB unzip-MB 7z-MB
for name in "${cases[@]}"; do
    printf '%-15s %8s %8s %8s %8s %8s %9s %9s %9s\n' "$name" "${time[$name,orvzip]}" \
        "${time[$name,unzip]}" "${time[$name,7z]}" \
        "$(ratio "${time[$name,orvzip]}" "${time[$name,unzip]}")" \
        "$(ratio "${time[$name,orvzip]}" "${time[$name,7z]}")" \
        "$(mb "${rss[$name,orvzip]}")" "$(mb "${rss[$name,unzip]}")" "$(mb "${rss[$name,7z]}")"
done

# The goals, printed and recorded (bench/record.py).
python3 - "${time[a-mixed,orvzip]}" "${time[a-mixed,unzip]}" "${time[a-mixed,7z]}" \
    "${time[b-small-files,orvzip]}" "${time[b-small-files,unzip]}" \
    "${time[c-aes256,orvzip]}" "${time[c-aes256,7z]}" \
    "${rss[a-mixed,orvzip]}" "${rss[a-mixed-small,orvzip]}" <<'PY'
import sys
sys.path.insert(0, "bench")
from record import record
(mixed, mixed_unzip, mixed_7z, small, small_unzip, aes, aes_7z,
 mixed_kb, mixed_small_kb) = map(float, sys.argv[1:])
figures = {"a-mixed": {"orvzip_s": mixed, "unzip_s": mixed_unzip, "7z_s": mixed_7z,
                       "orvzip_peak_kb": mixed_kb},
           "a-mixed-small": {"orvzip_peak_kb": mixed_small_kb},
           "b-small-files": {"orvzip_s": small, "unzip_s": small_unzip},
           "c-aes256": {"orvzip_s": aes, "7z_s": aes_7z}}
goals = [
    ("extract 200 MB mixed: orvzip at most 0.8 x unzip's time", mixed <= 0.8 * mixed_unzip),
    ("extract 200 MB mixed: orvzip at most 1.0 x 7z's time", mixed <= mixed_7z),
    ("extract 10,000 small files: orvzip at most 1.0 x unzip's time", small <= small_unzip),
    ("extract the AES-256 archive: orvzip at most 1.0 x 7z's time", aes <= aes_7z),
    ("extract 200 MB mixed: orvzip's peak memory under 32 MB", mixed_kb < 32 * 1024),
]
print("\nGoals:")
for what, met in goals:
    print(f"  {what:64} {'met' if met else 'MISSED'}")
print(f"  orvzip peak, 200 MB archive vs 20 MB archive: {mixed_kb / 1024:.1f} vs "
      f"{mixed_small_kb / 1024:.1f} MB")
record(figures, goals)
PY
