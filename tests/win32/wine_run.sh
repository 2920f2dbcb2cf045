#!/usr/bin/env bash
# Runs a Windows program under Wine, headless, in the build's own Wine prefix:
#   WEXO_WINE_PREFIX=build/win32/wine-prefix wine_run.sh program.exe [args...]
# The program's exit code is this script's. A missing Wine is an error.
#
# The prefix is created once (serialised with flock, since ctest runs tests in
# parallel) with the registry keys whose watch c-ares' event thread needs: a
# fresh Wine prefix lacks them and channel creation then fails with ESERVFAIL.
# Wine's own service processes are started with their output to /dev/null,
# so that they never hold a test's output pipe open; the Wine server stays
# for a few minutes after the last program, so later runs start in seconds.
set -euo pipefail

prefix=${WEXO_WINE_PREFIX:?WEXO_WINE_PREFIX names the Wine prefix}
command -v wine >/dev/null || { echo "wine_run: Wine is not installed (run scripts/setup)" >&2; exit 127; }
mkdir -p "$prefix"
prefix=$(cd "$prefix" && pwd)
export WINEPREFIX=$prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=;winedbg.exe=d" WINEARCH=win32
unset DISPLAY WAYLAND_DISPLAY

interfaces='SYSTEM\CurrentControlSet\Services\Tcpip\Parameters\Interfaces'
interfaces6='SYSTEM\CurrentControlSet\Services\Tcpip6\Parameters\Interfaces'
# Every program started while the lock is held gets it closed (9>&-): Wine's
# server and services outlive this script and would otherwise hold it forever.
{
  flock 9
  if [ ! -f "$prefix/.wexo-ready" ]; then
    wineboot -i >/dev/null 2>&1 </dev/null 9>&-
    wine reg add "HKLM\\$interfaces" /f >/dev/null 2>&1 </dev/null 9>&-
    wine reg add "HKLM\\$interfaces6" /f >/dev/null 2>&1 </dev/null 9>&-
    touch "$prefix/.wexo-ready"
  fi
  # Keep (or start) the server and the services, detached from our output.
  (setsid wineserver -p 300 >/dev/null 2>&1 </dev/null 9>&- &)
  wine cmd /c exit >/dev/null 2>&1 </dev/null 9>&- || true
} 9>"$prefix.lock"

exec wine "$@"
