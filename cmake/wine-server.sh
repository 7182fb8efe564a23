#!/usr/bin/env bash
# wine-server.sh start|stop: makes the private Wine prefix if it is missing and keeps one
# wineserver alive (start), or ends the server and everything running in the prefix (stop).
# The lock is on descriptor 9; every program started here closes it, or a lasting wineserver
# would hold the lock for ever.
set -u
export WINEPREFIX="${WEFT_WINEPREFIX:-$PWD/wineprefix}"
export WINEDEBUG=-all
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:+$WINEDLLOVERRIDES;}mscoree,mshtml=;winedbg.exe=d"
mkdir -p "$(dirname "$WINEPREFIX")"
lock="$WINEPREFIX.lock"

case "${1:-start}" in
start)
    exec 9>"$lock"
    flock 9
    if [ ! -f "$WINEPREFIX/.weft-ready" ]; then
        # wineboot can fail on a busy machine (a service that does not answer in time): it is
        # tried three times, each on a fresh prefix, and its last output is shown if all fail.
        booted=""
        for attempt in 1 2 3; do
            wineserver -k 2>/dev/null 9>&-; wineserver -w 2>/dev/null 9>&-
            rm -rf "$WINEPREFIX"
            if setarch x86_64 -R wineboot -i </dev/null >"$WINEPREFIX.boot.log" 2>&1 9>&-; then
                booted=yes
                break
            fi
            sleep "$attempt"
        done
        if [ -z "$booted" ]; then
            echo "wine-server: wineboot failed three times in $WINEPREFIX; its last output:" >&2
            cat "$WINEPREFIX.boot.log" >&2
            exit 1
        fi
        # Top-level windows without a display, and a Windows 10 version report.
        wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f </dev/null >/dev/null 2>&1 9>&-
        wine winecfg /v win10 </dev/null >/dev/null 2>&1 9>&-
        wineserver -k 9>&-; wineserver -w 9>&-
        touch "$WINEPREFIX/.weft-ready"
    fi
    # A persistent server, detached from our pipes: Wine's service processes inherit them.
    # wineserver forks itself away and answers 2 at once when one already serves the prefix.
    # The desktop process, which the first window starts, is started here too: started by a test,
    # it would keep that test's output pipe open, and the test would run into its time-out. A
    # program that asks for the desktop window starts it and waits until it is up.
    if wineserver -p </dev/null >/dev/null 2>&1 9>&-; then
        setsid setarch x86_64 -R wine cmd /c exit </dev/null >/dev/null 2>&1 9>&-
        setsid timeout 120 setarch x86_64 -R wine rundll32.exe user32.dll,GetDesktopWindow \
            </dev/null >/dev/null 2>&1 9>&-
    fi
    ;;
stop)
    exec 9>"$lock"
    flock 9
    wineserver -k 2>/dev/null 9>&-
    wineserver -w 2>/dev/null 9>&-
    ;;
esac
exit 0
