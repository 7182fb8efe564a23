#!/usr/bin/env python3
"""Checks zip archives written under Wine with readers that run natively on Linux: Info-ZIP
`unzip -t` and Python's zipfile. The archives come from `weft_testchild zip-samples` and
`weft_testchild zip64-sample`; the source trees they were made from lie beside them.

    check_zip_archives.py check <dir>      the sample archives
    check_zip_archives.py check-big <dir>  the archive with an entry over 4 GiB (exit 77: skipped)
    check_zip_archives.py clean <dir>      removes the folder
"""
import os
import shutil
import struct
import subprocess
import sys
import time
import zipfile
import zlib

SKIPPED = 77
failures = []


def fail(message):
    failures.append(message)
    print("FAIL: " + message)


def unzip_test(path, empty=False):
    run = subprocess.run(["unzip", "-tq", path], capture_output=True, text=True, errors="replace")
    output = run.stdout + run.stderr
    if empty:
        # Info-ZIP answers 1 and a warning for an archive without entries: that is its verdict
        # of a valid empty archive.
        if run.returncode != 1 or "zipfile is empty" not in output:
            fail("%s: unzip -t on an empty archive gave %d: %s" % (path, run.returncode, output.strip()))
    elif run.returncode != 0:
        fail("%s: unzip -t gave %d: %s" % (path, run.returncode, output.strip()))


def dos_time(seconds):
    t = time.localtime(seconds)
    return (max(t.tm_year, 1980), t.tm_mon, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec - t.tm_sec % 2)


def tree_entries(root):
    """Archive names of the tree below root, mapped to their paths on disk."""
    entries = {}
    for here, dirs, files in os.walk(root):
        rel = os.path.relpath(here, root)
        prefix = "" if rel == "." else rel.replace(os.sep, "/") + "/"
        for d in dirs:
            entries[prefix + d + "/"] = os.path.join(here, d)
        for f in files:
            entries[prefix + f] = os.path.join(here, f)
    return entries


def check_entry(archive, z, info, disk_path):
    name = info.filename
    st = os.stat(disk_path)
    if info.date_time != dos_time(st.st_mtime):
        fail("%s: %s has time %s, the file %s" % (archive, name, info.date_time, dos_time(st.st_mtime)))
    ascii_name = all(ord(c) < 128 for c in name)
    if bool(info.flag_bits & 0x800) == ascii_name:
        fail("%s: %s has UTF-8 flag %s" % (archive, name, bool(info.flag_bits & 0x800)))
    if name.endswith("/"):
        if not info.is_dir() or not (info.external_attr & 0x10) or info.file_size != 0:
            fail("%s: %s is no proper directory entry" % (archive, name))
        return
    with open(disk_path, "rb") as f:
        expected = f.read()
    with z.open(info) as f:
        got = f.read()
    if got != expected:
        fail("%s: %s differs from %s" % (archive, name, disk_path))
    if info.compress_type == zipfile.ZIP_DEFLATED and info.compress_size >= info.file_size:
        fail("%s: %s deflated without gain (%d >= %d)" % (archive, name, info.compress_size, info.file_size))
    if info.compress_type not in (zipfile.ZIP_STORED, zipfile.ZIP_DEFLATED):
        fail("%s: %s has method %d" % (archive, name, info.compress_type))
    if len(expected) == 0 and info.compress_type != zipfile.ZIP_STORED:
        fail("%s: empty %s is not stored" % (archive, name))


def check_archive(archive, expected):
    """expected maps each archive name to its path on disk."""
    unzip_test(archive, empty=not expected)
    try:
        with zipfile.ZipFile(archive) as z:
            bad = z.testzip()
            if bad is not None:
                fail("%s: zipfile finds %s corrupt" % (archive, bad))
            names = [i.filename for i in z.infolist()]
            if len(names) != len(set(names)) or set(names) != set(expected):
                fail("%s: names %s, expected %s" % (archive, sorted(names), sorted(expected)))
            for info in z.infolist():
                if info.filename in expected:
                    check_entry(archive, z, info, expected[info.filename])
    except (zipfile.BadZipFile, zlib.error, OSError, KeyError) as e:
        fail("%s: zipfile cannot read it: %s" % (archive, e))


def check(folder):
    manifest = dict(line.rstrip("\n").split("\t") for line in open(os.path.join(folder, "manifest.txt")))
    for archive, result in manifest.items():
        if archive.endswith(".zip") and result != "1":
            fail("%s: CreateZipFile gave false" % archive)
    src = os.path.join(folder, "src")
    tree = tree_entries(src)
    if manifest.get("nonascii") == "present":
        if not any(any(ord(c) > 127 for c in n) for n in tree):
            fail("the source tree has no name outside ASCII")
    else:
        print("NOTE: the system code page has no accented letters; no such name was tested")
    for needed in ("large text.txt", "large noise.bin", "empty.txt", "empty dir/", "random.bin", "plain.txt",
                   "with space/name with spaces.txt"):
        if needed not in tree:
            fail("the source tree lacks %s" % needed)

    check_archive(os.path.join(folder, "tree.zip"), tree)
    rooted = {"root folder/": src}
    rooted.update({"root folder/" + n: p for n, p in tree.items()})
    check_archive(os.path.join(folder, "rooted.zip"), rooted)
    check_archive(os.path.join(folder, "list.zip"), {
        "plain.txt": os.path.join(src, "plain.txt"),
        "sub/": os.path.join(src, "sub"),
        "sub/deeper/": os.path.join(src, "sub", "deeper"),
        "sub/deeper/leaf.txt": os.path.join(src, "sub", "deeper", "leaf.txt"),
        "plain (2).txt": os.path.join(folder, "other", "plain.txt"),
        "with space/name with spaces.txt": os.path.join(src, "with space", "name with spaces.txt"),
    })
    with zipfile.ZipFile(os.path.join(folder, "tree.zip")) as z:
        methods = {i.filename: i.compress_type for i in z.infolist()}
    # Text is deflated; noise, which deflate cannot shrink, is stored, below and past one read chunk.
    for name, method in (("plain.txt", zipfile.ZIP_DEFLATED), ("random.bin", zipfile.ZIP_STORED),
                         ("large text.txt", zipfile.ZIP_DEFLATED), ("large noise.bin", zipfile.ZIP_STORED)):
        if methods.get(name) != method:
            fail("tree.zip: %s has method %s, expected %d" % (name, methods.get(name), method))

    for empty in ("empty.zip", "emptylist.zip"):
        path = os.path.join(folder, empty)
        if os.path.getsize(path) != 22:
            fail("%s: %d bytes, an archive without entries has 22" % (empty, os.path.getsize(path)))
        check_archive(path, {})

    many = os.path.join(folder, "many.zip")
    count = 65540
    expected = {"empty.txt": os.path.join(src, "empty.txt")}
    expected.update({"empty (%d).txt" % n: os.path.join(src, "empty.txt") for n in range(2, count + 1)})
    unzip_test(many)
    with zipfile.ZipFile(many) as z:
        infos = z.infolist()
        if len(infos) != count or {i.filename for i in infos} != set(expected):
            fail("many.zip: %d entries, expected %d with the numbered names" % (len(infos), count))
        if any(i.file_size for i in infos):
            fail("many.zip: an entry is not empty")
    with open(many, "rb") as f:
        f.seek(-22, os.SEEK_END)
        eocd = f.read(22)
        f.seek(-22 - 20 - 56, os.SEEK_END)
        zip64 = f.read(4)
    if struct.unpack("<HH", eocd[8:12]) != (0xFFFF, 0xFFFF) or zip64 != b"PK\x06\x06":
        fail("many.zip: the entry count is not in a ZIP64 end record")


def check_big(folder):
    status = open(os.path.join(folder, "status.txt")).read().strip()
    if status.startswith("skipped"):
        print("SKIPPED: " + status)
        return SKIPPED
    if status != "done 1":
        fail("big.zip: the writer said %r" % status)
        return 1
    archive = os.path.join(folder, "big.zip")
    size = (4 << 30) + (1 << 20) + 7
    unzip_test(archive)
    with zipfile.ZipFile(archive) as z:
        info = z.getinfo("huge.bin")
        if info.file_size != size:
            fail("big.zip: huge.bin has size %d, expected %d" % (info.file_size, size))
        # One pass through the entry: zipfile checks the CRC at its end; the marks before and
        # after the 4 GiB line must be where they were written.
        places = (0, 1 << 20, (4 << 30) - 3, (4 << 30) + 16, size - 5)
        marks = {at: b"WEFT" + bytes([at & 0x7F]) for at in places}
        found = {}
        offset = 0
        tail = b""
        with z.open(info) as f:
            while True:
                chunk = f.read(8 << 20)
                if not chunk:
                    break
                window = tail + chunk
                base = offset - len(tail)
                for at, mark in marks.items():
                    if base <= at and at + 5 <= base + len(window):
                        found[at] = window[at - base:at - base + 5]
                offset += len(chunk)
                tail = window[-8:]
        if offset != size:
            fail("big.zip: read %d bytes of huge.bin" % offset)
        for at, mark in marks.items():
            if found.get(at) != mark:
                fail("big.zip: at %d found %r, expected %r" % (at, found.get(at), mark))
        small = z.read("small.txt")
        if small != open(os.path.join(folder, "small.txt"), "rb").read():
            fail("big.zip: small.txt, which lies past 4 GiB of data, differs")
        with open(archive, "rb") as f:
            f.seek(info.header_offset)
            header = f.read(30)
            name_len, extra_len = struct.unpack("<HH", header[26:30])
            f.seek(name_len, os.SEEK_CUR)
            extra = f.read(extra_len)
        if struct.unpack("<II", header[18:26]) != (0xFFFFFFFF, 0xFFFFFFFF) or extra[:2] != b"\x01\x00":
            fail("big.zip: the local header of huge.bin has no ZIP64 sizes")
    return 0


def main():
    if len(sys.argv) != 3:
        print(__doc__)
        return 2
    mode, folder = sys.argv[1], sys.argv[2]
    if mode == "clean":
        shutil.rmtree(folder, ignore_errors=True)
        return 0
    if shutil.which("unzip") is None:
        print("unzip (Info-ZIP) is not installed")
        return 1
    result = check(folder) if mode == "check" else check_big(folder) if mode == "check-big" else 2
    if failures:
        print("%d failures" % len(failures))
        return 1
    return result or 0


if __name__ == "__main__":
    sys.exit(main())
