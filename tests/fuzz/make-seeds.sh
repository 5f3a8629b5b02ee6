#!/usr/bin/env bash
# make-seeds.sh: regenerates the seed corpus of the ZIP fuzz target (tests/fuzz/corpus/zip) with
# the peer tools: Info-ZIP zip, 7z and python3's zipfile, plus a few archives broken by hand.
# Seeds stay small so the corpus replays in seconds. 7z's AES salts are random, so the AES seeds
# differ from run to run.
set -euo pipefail
cd "$(dirname "$0")"
out=$PWD/corpus/zip
# Must match kZipDefaultPassword in zip/include/zip/ZipCrypto.h.
default_password=$(sed -n 's/.*kZipDefaultPassword\[\] = u"\([^"]*\)".*/\1/p' \
    ../../zip/include/zip/ZipCrypto.h)
[[ -n $default_password ]] || { echo "make-seeds.sh: default password not found" >&2; exit 1; }

for tool in zip 7z python3; do
    command -v "$tool" >/dev/null || { echo "make-seeds.sh: $tool is missing" >&2; exit 1; }
done

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$out"
rm -f "$out"/seed-*

# A small tree: text, a repetitive file that deflates well, a little random data, an empty file,
# an empty folder and a nested one.
src=$work/src
mkdir -p "$src/docs/deep/er" "$src/empty-dir" "$src/lib"
printf 'Hello, archive.\n' >"$src/hello.txt"
for i in $(seq 1 200); do echo "line $i of a compressible text file"; done >"$src/docs/text.txt"
head -c 3000 /dev/urandom >"$src/lib/random.bin"
: >"$src/docs/deep/er/empty.txt"
printf 'GDL object\r\n' >"$src/lib/Object 1.gsm"
find "$src" -exec touch -d '2021-06-01 12:00:00' {} +

(cd "$src" && zip -q -X -r -0 "$out/seed-zip-stored.zip" .)
(cd "$src" && zip -q -X -r -9 "$out/seed-zip-deflated.zip" .)
(cd "$src" && zip -q -X -r -D "$out/seed-zip-no-dir-entries.zip" .)
(cd "$src" && zip -q -X -r -e -P pw "$out/seed-zip-pkware-pw.zip" hello.txt docs)
(cd "$src" && zip -q -X -r -e -P "$default_password" "$out/seed-zip-pkware-default.zip" hello.txt docs)
(cd "$src" && zip -q -X -r -Z bzip2 "$out/seed-zip-bzip2.zip" hello.txt docs/text.txt)
# From a pipe: one member "-" whose sizes follow its data in a descriptor.
(cd "$src" && cat docs/text.txt | zip -q - - >"$out/seed-zip-pipe.zip")
(cd "$src" && cat hello.txt | zip -q -e -P "$default_password" - - >"$out/seed-zip-pipe-pkware.zip")
(cd "$src" && zip -q -X -z "$out/seed-zip-comment.zip" hello.txt <<<'an archive comment')

(cd "$src" && 7z a -tzip -bd -bso0 -mem=AES256 "-p$default_password" \
    "$out/seed-7z-aes256-default.zip" hello.txt docs lib/Object\ 1.gsm)
(cd "$src" && 7z a -tzip -bd -bso0 -mem=AES256 -pother \
    "$out/seed-7z-aes256-other.zip" hello.txt docs/text.txt)
(cd "$src" && 7z a -tzip -bd -bso0 -mem=AES128 -mx=0 "-p$default_password" \
    "$out/seed-7z-aes128-stored.zip" hello.txt)
(cd "$src" && 7z a -tzip -bd -bso0 -mx=9 "$out/seed-7z-deflate.zip" hello.txt docs)

python3 - "$out" <<'PY'
import sys, warnings, zipfile
out = sys.argv[1]
stamp = (2021, 6, 1, 12, 0, 0)
def info(name, method=zipfile.ZIP_DEFLATED):
    i = zipfile.ZipInfo(name, stamp)
    i.compress_type = method
    return i
with zipfile.ZipFile(f"{out}/seed-py-zip64.zip", "w") as z:
    with z.open(info("big/one.txt"), "w", force_zip64=True) as f:
        f.write(b"zip64 sizes in the local header\n" * 20)
    with z.open(info("stored.bin", zipfile.ZIP_STORED), "w", force_zip64=True) as f:
        f.write(bytes(range(256)))
with zipfile.ZipFile(f"{out}/seed-py-comment.zip", "w") as z:
    z.comment = b"archive comment " * 8
    z.writestr(info("a.txt"), b"alpha\n" * 30)
with warnings.catch_warnings():
    warnings.simplefilter("ignore")
    with zipfile.ZipFile(f"{out}/seed-py-duplicates.zip", "w") as z:
        z.writestr(info("dup.txt"), b"first\n")
        z.writestr(info("dup.txt"), b"second\n")
        z.writestr(info("Dir/dup.txt"), b"third\n")
        z.writestr(info("dir/DUP.TXT"), b"fourth\n")
with zipfile.ZipFile(f"{out}/seed-py-empty.zip", "w") as z:
    pass
with zipfile.ZipFile(f"{out}/seed-py-folders.zip", "w") as z:
    z.writestr(info("a/"), b"")
    z.writestr(info("a/b/c/d/e.txt"), b"deep\n")
    z.writestr(info("a\\backslash.txt"), b"windows separator\n")
    z.writestr(info("/absolute.txt"), b"leading slash\n")
    z.writestr(info("../escape.txt"), b"dot dot\n")
    z.writestr(info("\u00e9t\u00e9/\u00fcnicode.txt"), b"utf-8 names\n")

# Hand-broken archives, made from the good ones.
def load(name):
    with open(f"{out}/{name}", "rb") as f:
        return bytearray(f.read())
def save(name, data):
    with open(f"{out}/{name}", "wb") as f:
        f.write(bytes(data))
good = load("seed-py-comment.zip")
eocd = good.rfind(b"PK\x05\x06")
cd = good.find(b"PK\x01\x02")
save("seed-broken-truncated.zip", good[: len(good) // 2])
save("seed-broken-no-eocd.zip", good[:eocd])
b = good[:]; b[eocd + 16 : eocd + 20] = (0xFFFFFF00).to_bytes(4, "little")
save("seed-broken-cd-offset.zip", b)
b = good[:]; b[eocd + 8 : eocd + 12] = (0xFFFF).to_bytes(2, "little") * 2
save("seed-broken-entry-count.zip", b)
b = good[:]; b[cd + 20 : cd + 24] = (0x7FFFFFFF).to_bytes(4, "little")
save("seed-broken-compressed-size.zip", b)
b = good[:]; b[cd + 16] ^= 0xFF
save("seed-broken-crc.zip", b)
b = good[:]; b[40] ^= 0x55
save("seed-broken-deflate-data.zip", b)
b = good[:]; b[0:4] = b"PK\x07\x08"
save("seed-broken-local-signature.zip", b)
b = good[:]; b[cd + 28 : cd + 30] = (0xFFFF).to_bytes(2, "little")
save("seed-broken-name-length.zip", b)
b = good[:]; b[cd + 10 : cd + 12] = (99).to_bytes(2, "little")
save("seed-broken-method.zip", b)
aes = load("seed-7z-aes256-default.zip")
b = aes[:]; b[len(b) // 3] ^= 0x01
save("seed-broken-aes-data.zip", b)
save("seed-broken-only-eocd.zip", b"PK\x05\x06" + bytes(18))
PY

echo "make-seeds.sh: $(ls "$out" | wc -l) seeds, $(du -sh "$out" | cut -f1) in $out"
