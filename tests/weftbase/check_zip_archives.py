#!/usr/bin/env python3
"""Checks zip archives written under Wine with readers that run natively on Linux: Info-ZIP
`unzip -t` and Python's zipfile. The archives come from `weft_testchild zip-samples` and
`weft_testchild zip64-sample`; the source trees they were made from lie beside them.

    check_zip_archives.py check <dir>      the sample archives
    check_zip_archives.py check-big <dir>  the archive that passes 4 GiB (exit 77: skipped)
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


def unzip_test(path):
    run = subprocess.run(["unzip", "-tq", path], capture_output=True, text=True, errors="replace")
    if run.returncode != 0:
        fail("%s: unzip -t gave %d: %s" % (path, run.returncode, (run.stdout + run.stderr).strip()))


def dos_time(seconds):
    """The MS-DOS form of a local time: 1980 to 2107 in steps of two seconds, held at the nearest end."""
    t = time.localtime(seconds)
    if t.tm_year < 1980:
        return (1980, 1, 1, 0, 0, 0)
    if t.tm_year > 2107:
        return (2107, 12, 31, 23, 59, 58)
    return (t.tm_year, t.tm_mon, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec - t.tm_sec % 2)


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


def same_bytes(z, info, disk_path):
    """The entry's bytes, stored or deflated, are the file's, compared a chunk at a time."""
    with open(disk_path, "rb") as disk, z.open(info) as entry:
        while True:
            expected, got = disk.read(1 << 20), entry.read(1 << 20)
            if expected != got:
                return False
            if not expected:
                return True


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
    if not same_bytes(z, info, disk_path):
        fail("%s: %s differs from %s" % (archive, name, disk_path))
    if info.compress_type == zipfile.ZIP_DEFLATED and info.compress_size >= info.file_size:
        fail("%s: %s deflated without gain (%d >= %d)" % (archive, name, info.compress_size, info.file_size))
    if info.compress_type not in (zipfile.ZIP_STORED, zipfile.ZIP_DEFLATED):
        fail("%s: %s has method %d" % (archive, name, info.compress_type))
    if info.file_size == 0 and info.compress_type != zipfile.ZIP_STORED:
        fail("%s: empty %s is not stored" % (archive, name))


def check_local_headers(archive, z):
    """Each entry's local header says what its central entry says (sizes in the ZIP64 field). The local
    header takes the ZIP64 form, and version 4.5, exactly when the sizes need it; the central entry is
    made by 4.5 on MS-DOS, needs 4.5 when any of its values needs ZIP64 and 2.0 otherwise, and has disk
    and internal attributes 0."""
    with open(archive, "rb") as f:
        for info in z.infolist():
            f.seek(info.header_offset)
            fields = struct.unpack("<IHHHHHIIIHH", f.read(30))
            name, extra = f.read(fields[9]), f.read(fields[10])
            sizes = fields[7:9]
            zip64 = sizes == (0xFFFFFFFF, 0xFFFFFFFF) and extra[:2] == b"\x01\x00"
            if zip64:
                sizes = struct.unpack("<QQ", extra[4:20])[::-1]
            big = info.file_size >= 0xFFFFFFFF
            wide = max(info.file_size, info.compress_size, info.header_offset) >= 0xFFFFFFFF
            versions = (fields[1], zip64, info.create_system, info.create_version, info.extract_version,
                        info.volume, info.internal_attr)
            if versions != (45 if big else 20, big, 0, 45, 45 if wide else 20, 0, 0):
                fail("%s: %s has versions, ZIP64 form, disk and attributes %r" % (archive, info.filename, versions))
            y, mo, d, h, mi, sec = info.date_time
            central = (0x04034B50, info.flag_bits, info.compress_type, (h << 11) | (mi << 5) | (sec // 2),
                       ((y - 1980) << 9) | (mo << 5) | d, info.CRC, info.compress_size, info.file_size,
                       info.filename.encode("utf-8" if info.flag_bits & 0x800 else "cp437"))
            local = fields[0:1] + fields[2:7] + tuple(sizes) + (name,)
            if local != central:
                fail(("%s: %s has the local header %r, the central entry %r" % (archive, info.filename, local,
                                                                                 central))[:400])


def check_archive(archive, expected):
    """expected maps each archive name to its path on disk."""
    unzip_test(archive)
    try:
        check_end(archive, False)
        with zipfile.ZipFile(archive) as z:
            check_local_headers(archive, z)
            names = [i.filename for i in z.infolist()]
            if len(names) != len(set(names)) or set(names) != set(expected):
                fail("%s: names %s, expected %s" % (archive, sorted(names), sorted(expected)))
            for info in z.infolist():
                if info.filename in expected:
                    check_entry(archive, z, info, expected[info.filename])
    except (zipfile.BadZipFile, zlib.error, OSError, KeyError) as e:
        fail("%s: zipfile cannot read it: %s" % (archive, e))


def check(folder):
    src = os.path.join(folder, "src")
    tree = tree_entries(src)
    deep = "long/" + ("d" * 60 + "/") * 4 + "leaf.txt"
    if len(os.path.join(os.path.abspath(src), deep)) < 260:
        fail("%s is not beyond the narrow calls' reach" % deep)
    # short.txt: past the CRC's first 64-byte block, but not by another 64.
    for needed in ("large text.txt", "large noise.bin", "empty.txt", "short.txt", "empty dir/", "random.bin",
                   "plain.txt", "with space/name with spaces.txt", "caf\u00e9 \u540d\u524d.txt", deep):
        if needed not in tree:
            fail("the source tree lacks %s" % needed)

    # The same archives written directly and through ZipThread; the direct one under the root
    # "..\\C:\\.\\up//", which comes out as "up/".
    rooted = dict([("up/", src)] + [("up/" + name, path) for name, path in tree.items()])
    for writer, expected in (("", rooted), ("-thread", tree)):
        check_archive(os.path.join(folder, "tree%s.zip" % writer), expected)
        check_archive(os.path.join(folder, "list%s.zip" % writer), {
            "plain.txt": os.path.join(src, "plain.txt"),
            "sub/": os.path.join(src, "sub"),
            "sub/deeper/": os.path.join(src, "sub", "deeper"),
            "sub/deeper/f.txt": os.path.join(src, "sub", "deeper", "f.txt"),
            "sub/deeper/f (2).txt": os.path.join(src, "sub", "deeper", "f.txt"),  # a base of one character
            "plain (2).txt": os.path.join(folder, "other", "plain (2).txt"),  # a name free, then taken
            "PLAIN (3).TXT": os.path.join(folder, "other", "PLAIN.TXT"),  # names differ in case only
            "x": os.path.join(src, "x"), "x (2)": os.path.join(src, "x"),  # without an extension
            "empty dir/": os.path.join(src, "empty dir"),  # listed twice, one entry
            "zero head.bin": os.path.join(folder, "other", "zero head.bin"),
            "with space/name with spaces.txt": os.path.join(src, "with space", "name with spaces.txt"),
        })
    methods = {}
    for archive in ("tree-thread.zip", "list-thread.zip"):
        with zipfile.ZipFile(os.path.join(folder, archive)) as z:
            methods.update({i.filename: i.compress_type for i in z.infolist()})
    # Text is deflated; noise, which deflate cannot shrink, is stored, below and past one read chunk;
    # past one chunk, the first block decides, so noise followed by text is stored, and so is a file
    # whose first block shrinks but whose whole does not (its data read a second time).
    for name, method in (("plain.txt", zipfile.ZIP_DEFLATED), ("random.bin", zipfile.ZIP_STORED),
                         ("large text.txt", zipfile.ZIP_DEFLATED), ("large noise.bin", zipfile.ZIP_STORED),
                         ("noise head.bin", zipfile.ZIP_STORED), ("zero head.bin", zipfile.ZIP_STORED)):
        if methods.get(name) != method:
            fail("%s has method %s, expected %d" % (name, methods.get(name), method))

    many = os.path.join(folder, "many.zip")
    unzip_test(many)
    with zipfile.ZipFile(many) as z:
        check_local_headers(many, z)
        if sorted(i.filename for i in z.infolist() if i.file_size == 0) != sorted(
                ["empty.txt"] + ["empty (%d).txt" % n for n in range(2, 65541)]):
            fail("many.zip: the entries are not 65,540 empty ones with the numbered names")
    check_end(many, True)


def check_end(archive, zip64):
    """The end record names one disk and no comment. A ZIP64 end record (44 bytes after its size field),
    found through its locator, is there exactly when the archive needs one, and then the classic record
    defers to it."""
    with open(archive, "rb") as f:
        f.seek(-22 - 20 - 56, os.SEEK_END)
        tail = f.read()
    record, locator, eocd = tail[:12], tail[56:60], struct.unpack("<IHHHHIIH", tail[76:])
    defers = 0xFFFF in eocd[3:5] or 0xFFFFFFFF in eocd[5:7]
    if eocd[0] != 0x06054B50 or eocd[1:3] != (0, 0) or eocd[7] != 0 or (locator == b"PK\x06\x07") != zip64 \
            or zip64 and (record != b"PK\x06\x06" + struct.pack("<Q", 44) or not defers):
        fail("%s: the end records are not as expected for ZIP64 %s" % (archive, zip64))


def check_big(folder):
    status = open(os.path.join(folder, "status.txt")).read().strip()
    if status.startswith("skipped"):
        print("SKIPPED: " + status)
        return SKIPPED
    if status != "done 1":
        fail("big.zip: the writer said %r" % status)
        return 1
    archive = os.path.join(folder, "big.zip")
    unzip_test(archive)  # every entry's CRC, over the whole of the noise
    with zipfile.ZipFile(archive) as z:
        check_local_headers(archive, z)
        noise = z.getinfo("noise.bin")
        if noise.compress_type != zipfile.ZIP_STORED or noise.file_size != (4 << 30) + (1 << 20) + 7:
            fail("big.zip: noise.bin has method %d and size %d" % (noise.compress_type, noise.file_size))
        if z.getinfo("small.txt").header_offset <= 0xFFFFFFFF:
            fail("big.zip: small.txt does not lie past 4 GiB")
        for name in ("noise.bin", "small.txt"):  # small.txt lies past 4 GiB of data
            if not same_bytes(z, z.getinfo(name), os.path.join(folder, name)):
                fail("big.zip: %s differs from its file" % name)
    check_end(archive, True)
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
