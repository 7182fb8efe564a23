#!/usr/bin/env bash
# weft.sh example|test|bench|report|soak|faults [args]: installs what is missing, configures, builds,
# then runs the example program, the whole test suite, the benchmarks, the benchmarks into one
# report, the soak, or the fault list against the tests.
set -euo pipefail
cd "$(dirname "$0")"
build=${WEFT_BUILD_DIR:-build}

packages=(wine wine64 g++-mingw-w64-x86-64-posix libz-mingw-w64-dev googletest cmake ninja-build
          python3 python3-matplotlib unzip zip libboost-dev)
missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "weft.sh: installing ${missing[*]}"
    sudo=""; [ "$(id -u)" -eq 0 ] || sudo=sudo
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

if [ "${1:-}" = faults ]; then
    shift
    exec python3 tests/faults/run_faults.py "$PWD" "$build/faults" "$@"
fi

if [ ! -f "$build/build.ninja" ]; then
    cmake -S . -B "$build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/toolchain-mingw64.cmake" >/dev/null
fi
cmake --build "$build"

run() { "$PWD/cmake/wine-run.sh" "$@"; }
export WEFT_WINEPREFIX="$PWD/$build/wineprefix"

what=${1:-example}
[ $# -gt 0 ] && shift
case "$what" in
example)
    status=0
    run "$build/bin/weft_tour.exe" "$@" || status=$?
    "$PWD/cmake/wine-server.sh" stop
    exit $status
    ;;
test)
    status=0
    ctest --test-dir "$build" -j2 --output-on-failure "$@" || status=$?
    # A test program whose listing came back empty (its Wine process cut short) would add no test and pass
    # unseen: that fails the run, and the list goes so that the next run lists the program again.
    for list in "$build"/tests/*_tests.cmake; do
        grep -q add_test "$list" || { echo "weft: $(basename "$list") lists no test" >&2; rm -f "$list"; status=1; }
    done
    exit $status
    ;;
bench)
    # The benchmarks' "@figure" and "@curve" lines are for the report; the terminal gets the rest.
    status=0
    for b in "$build"/bin/*Bench.exe; do
        echo "== $(basename "$b" .exe)"
        if ! run "$b" "$@" | { grep --line-buffered -v '^@' || true; }; then
            status=${PIPESTATUS[0]}
        fi
    done
    "$PWD/cmake/wine-server.sh" stop
    exit $status
    ;;
report)
    # Every benchmark (or those named, e.g. "report TreeWalkBench"), each one's output kept in
    # report/logs/<bench>.txt and its exit code in report/logs/status.tsv, then report.md and
    # report.png drawn from them. A failed benchmark leaves a failure row and a non-zero exit.
    out="$build/report"
    rm -rf "$out"
    mkdir -p "$out/logs"
    benches=()
    if [ $# -gt 0 ]; then
        for name in "$@"; do benches+=("$build/bin/${name%.exe}.exe"); done
    else
        benches=("$build"/bin/*Bench.exe)
    fi
    status=0
    for b in "${benches[@]}"; do
        name=$(basename "$b" .exe)
        echo "== $name"
        start=$(date +%s)
        # A hung benchmark is ended after WEFT_BENCH_TIMEOUT seconds (code 124).
        if timeout -k 10 "${WEFT_BENCH_TIMEOUT:-1800}" "$PWD/cmake/wine-run.sh" "$b" 2>&1 | tee "$out/logs/$name.txt" |
            { grep --line-buffered -v '^@' || true; }; then
            code=0
        else
            code=${PIPESTATUS[0]}
        fi
        [ -f "$b" ] || code=127
        printf '%s\t%s\t%s\n' "$name" "$code" "$(($(date +%s) - start))" >> "$out/logs/status.tsv"
        [ "$code" -eq 0 ] || status=1
    done
    "$PWD/cmake/wine-server.sh" stop
    /usr/bin/python3 bench/report/report.py "$out" || status=1
    exit $status
    ;;
soak)
    # weft.sh soak [minutes]: the soak program (default 5 minutes), then its chart.
    mkdir -p "$build/soak"
    status=0
    (cd "$build/soak" && "$OLDPWD/cmake/wine-run.sh" ../bin/weft_soak.exe "${1:-5}" .) || status=$?
    "$PWD/cmake/wine-server.sh" stop
    /usr/bin/python3 bench/soak/soak_plot.py "$build/soak/samples.csv" "$build/soak/soak.png" || status=$?
    exit $status
    ;;
*)
    echo "usage: weft.sh example|test|bench|report|soak|faults [args]" >&2
    exit 2
    ;;
esac
