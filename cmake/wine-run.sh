#!/usr/bin/env bash
# Runs a Windows program under Wine in the build tree's private prefix.
# The prefix is made on first use; one persistent wineserver serves every run so that
# a test process does not pay the server's start-up.
set -u
here=$(cd "$(dirname "$0")" && pwd)
export WINEPREFIX="${WEFT_WINEPREFIX:-$PWD/wineprefix}"
export WINEDEBUG=-all
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:+$WINEDLLOVERRIDES;}mscoree,mshtml=;winedbg.exe=d"
# The start's own failure text (what wineboot said) goes to stderr.
"$here/wine-server.sh" start >/dev/null </dev/null || { echo "wine-run: no Wine prefix" >&2; exit 125; }
exec setarch x86_64 -R wine "$@"
