#!/usr/bin/env python3
"""Applies the deliberate faults of tests/faults/*.faults to a scratch copy of the sources, one at a
time, and tells for each whether the tests named with it catch it.

    run_faults.py SOURCE_DIR SCRATCH_DIR [name ...]

A fault file holds blocks:

    === name
    file: path/of/one/library/file.cpp
    test: label            (a test folder: frame, locks, ipc, watchers, module, weftbase; frame
                            and weftbase run the watchers' and jobs' tests too, jobs the weftbase ones)
    cases: regex           (optional: ctest -R, to run only some of the label's tests)
    --- find
    exact text, whole lines, found exactly once
    --- replace
    the faulty text

Each fault ends as "caught" (a named test failed), "missed" (all passed), "stale" (the find text is
not in the file exactly once) or "broken" (the faulty source does not build, or the cases name no
test). The last line is
"N caught, M missed"; every outcome but "caught" counts as missed.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import time


# Tests that take minutes: run after the rest, and only if the rest pass.
LONG_TESTS = r"^weftbase_zip(64)?_"
# The labels whose tests a label's faults run: the watchers and jobs run on the frame's ready threads
# and call the utility library, whose archive tests run the zip job.
LABELS = {"frame": "frame|watchers|jobs", "weftbase": "weftbase|watchers|jobs", "jobs": "jobs|weftbase"}


def parse(path):
    faults = []
    current = None
    block = None
    for number, line in enumerate(path.read_text().splitlines(), 1):
        if line.startswith("=== "):
            current = {"name": line[4:].strip(), "where": f"{path.name}:{number}", "find": [], "replace": []}
            faults.append(current)
            block = None
        elif line in ("--- find", "--- replace"):
            if current is None:
                raise SystemExit(f"{path}:{number}: block outside a fault")
            block = line[4:]
        elif block is not None:
            current[block].append(line)
        elif line.startswith("#") or not line.strip():
            continue
        else:
            key, _, value = line.partition(":")
            if current is None or key.strip() not in ("file", "test", "cases"):
                raise SystemExit(f"{path}:{number}: unexpected line: {line}")
            current[key.strip()] = value.strip()
    for fault in faults:
        # The text between markers ends at the last non-blank line: blank lines separate faults.
        for key in ("find", "replace"):
            while fault[key] and not fault[key][-1].strip():
                fault[key].pop()
            fault[key] = "\n".join(fault[key])
        missing = [k for k in ("file", "test") if k not in fault] + [k for k in ("find",) if not fault[k]]
        if missing:
            raise SystemExit(f"{fault['where']}: fault {fault['name']} lacks {', '.join(missing)}")
    return faults


def run(command, cwd=None, log=None):
    result = subprocess.run(command, cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                            errors="replace")
    if log is not None:
        log.write(f"$ {' '.join(command)}\n{result.stdout}\n")
        log.flush()
    return result.returncode


def failed_tests(build):
    """The tests that failed in the last ctest run of the build."""
    listed = build / "Testing" / "Temporary" / "LastTestsFailed.log"
    return [line.partition(":")[2] for line in listed.read_text().splitlines()] if listed.exists() else []


def copy_sources(source, scratch):
    """Mirrors the files git tracks (and untracked, unignored ones) into scratch/src."""
    listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "-z"], cwd=source,
                            stdout=subprocess.PIPE, check=True).stdout.decode().split("\0")
    target = scratch / "src"
    keep = set(filter(None, listed))
    if target.exists():
        for old in target.rglob("*"):
            if old.is_file() and old.relative_to(target).as_posix() not in keep:
                old.unlink()
    for name in sorted(keep):
        origin = source / name
        if not origin.is_file():
            continue
        copy = target / name
        copy.parent.mkdir(parents=True, exist_ok=True)
        # A plain copy, stamped now: the build must see every changed file as newer than its objects.
        if not copy.exists() or copy.read_bytes() != origin.read_bytes():
            shutil.copyfile(origin, copy)
            shutil.copymode(origin, copy)
    return target


def main():
    if len(sys.argv) < 3:
        raise SystemExit(__doc__)
    source = pathlib.Path(sys.argv[1]).resolve()
    scratch = pathlib.Path(sys.argv[2]).resolve()
    wanted = set(sys.argv[3:])
    faults = []
    for path in sorted((source / "tests" / "faults").glob("*.faults")):
        faults += parse(path)
    names = [f["name"] for f in faults]
    doubles = {n for n in names if names.count(n) > 1}
    if doubles:
        raise SystemExit(f"fault names used twice: {', '.join(sorted(doubles))}")
    if wanted:
        unknown = wanted - set(names)
        if unknown:
            raise SystemExit(f"no such fault: {', '.join(sorted(unknown))}")
        faults = [f for f in faults if f["name"] in wanted]

    scratch.mkdir(parents=True, exist_ok=True)
    src = copy_sources(source, scratch)
    build = scratch / "build"
    log = open(scratch / "faults.log", "w")
    if not (build / "build.ninja").exists():
        if run(["cmake", "-S", str(src), "-B", str(build), "-G", "Ninja",
                f"-DCMAKE_TOOLCHAIN_FILE={src}/cmake/toolchain-mingw64.cmake",
                "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON", "-DWEFT_BUILD_BENCH=OFF", "-DWEFT_BUILD_EXAMPLES=OFF"],
               log=log) != 0:
            raise SystemExit(f"configure failed; see {scratch / 'faults.log'}")
    print(f"building the scratch copy in {build}", flush=True)
    if run(["cmake", "--build", str(build)], log=log) != 0:
        raise SystemExit(f"the unchanged sources do not build; see {scratch / 'faults.log'}")

    caught = missed = 0
    flaky = set()
    for fault in faults:
        target = src / fault["file"]
        original = target.read_text() if target.is_file() else None
        started = time.monotonic()
        once = []  # tests that failed once and passed again
        if original is None or original.count(fault["find"]) != 1:
            outcome = "stale"
        else:
            target.write_text(original.replace(fault["find"], fault["replace"]))
            try:
                log.write(f"\n===== {fault['name']}\n")
                if run(["cmake", "--build", str(build)], log=log) != 0:
                    outcome = "broken"
                else:
                    labels = f"^({LABELS.get(fault['test'], fault['test'])})$"
                    select = ["-L", labels] + (["-R", fault["cases"]] if "cases" in fault else [])
                    listing = subprocess.run(["ctest", "--test-dir", str(build), "-N"] + select,
                                             stdout=subprocess.PIPE, text=True).stdout
                    if re.search(r"Total Tests: 0\b", listing):
                        outcome = "broken"  # the cases name no test
                    else:
                        # The quick tests go first and stop at the first failure; the long archive
                        # runs only for a fault that they all pass, so a caught fault costs seconds.
                        command = ["ctest", "--test-dir", str(build), "-j2", "--timeout", "120", "--output-on-failure",
                                   "--stop-on-failure"]
                        names = re.findall(r"Test +#\d+: (\S+)", listing)
                        quick = [n for n in names if not re.match(LONG_TESTS, n) and not n.startswith("wine_server")]
                        slow = [n for n in names if re.match(LONG_TESTS, n)]
                        parts = [["-L", labels, "-R", "^(" + "|".join(map(re.escape, group)) + ")$"]
                                 for group in (quick, slow) if group]
                        outcome = "missed"
                        for part in parts:
                            # A failure counts only if it comes again: a test that fails once on a busy
                            # machine and then passes says nothing of the fault. The part then runs
                            # again whole, since the first failure stopped the tests after it.
                            for _ in range(3):
                                if run(command + part, log=log) == 0:
                                    break
                                failing = failed_tests(build)
                                if run(command[:-1] + ["--rerun-failed"], log=log) != 0:
                                    outcome = "caught"
                                    break
                                flaky.update(failing)
                                once += failing
                            if outcome == "caught":
                                break
            finally:
                target.write_text(original)
        if outcome == "caught":
            caught += 1
        else:
            missed += 1
        # What caught it: a fault caught by a test that has nothing to do with it is worth a look.
        failed = ""
        if outcome == "caught":
            names = failed_tests(build)
            failed = " by " + ", ".join(names[:3]) + (" ..." if len(names) > 3 else "")
        if once:
            failed += "; failed once, then passed: " + ", ".join(once)
        print(f"{outcome:7} {fault['name']} ({fault['where']}, {time.monotonic() - started:.0f} s){failed}", flush=True)

    # Leave the scratch build matching the sources again, and no Wine server behind.
    run(["cmake", "--build", str(build)], log=log)
    subprocess.run([str(src / "cmake" / "wine-server.sh"), "stop"],
                   env=dict(os.environ, WEFT_WINEPREFIX=str(build / "wineprefix")))
    print(f"{caught} caught, {missed} missed")
    if flaky:
        print(f"failed once and then passed (not counted): {', '.join(sorted(flaky))}")
    return 0 if missed == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
