#!/usr/bin/env bash
# Runs a Windows program under Wine, headless, in the build's own Wine prefix:
#   WEXO_WINE_PREFIX=build/win32/wine-prefix wine_run.sh program.exe [args...]
# The program's exit code is this script's. A missing Wine is an error.
#   WEXO_WINE_PREFIX=... wine_run.sh --stop
# ends the prefix's Wine server and its services (ctest does after the tests).
#
# The prefix is created once (serialised with flock, since ctest runs tests in
# parallel) with the registry keys whose watch c-ares' event thread needs: a
# fresh Wine prefix lacks them and channel creation then fails with ESERVFAIL.
# Wine's own service processes are started with their output to /dev/null,
# so that they never hold a test's output pipe open. The Wine server stays
# for a minute after the last program, so that the next one starts in seconds
# rather than after the ten more that starting the server and its services
# take under qemu; without a bound it and its services would stay for good,
# one of them using a few per cent of a core.
set -euo pipefail

prefix=${WEXO_WINE_PREFIX:?WEXO_WINE_PREFIX names the Wine prefix}
command -v wine >/dev/null || { echo "wine_run: Wine is not installed (run scripts/setup)" >&2; exit 127; }
if [ "${1:-}" = --stop ]; then
  [ -d "$prefix" ] || exit 0
  WINEPREFIX=$(cd "$prefix" && pwd)
  export WINEPREFIX WINEDEBUG=-all
  wineserver -k 2>/dev/null || true # fails when none is running
  exec timeout 60 wineserver -w
fi
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
    # The server that wineboot started has no persistence, and another one
    # cannot start while it runs: wait until it has saved the registry and ended.
    timeout 60 wineserver -w 9>&-
    touch "$prefix/.wexo-ready"
  fi
  # Start the server (unless one runs: then this fails) and the services,
  # detached from our output. wineserver returns once its socket is ready, so
  # no program of ours can start a server without persistence first. The
  # persistence is -pN in one word: "-p 60" would mean for ever.
  setsid wineserver -p60 >/dev/null 2>&1 </dev/null 9>&- || true
  wine cmd /c exit >/dev/null 2>&1 </dev/null 9>&- || true
} 9>"$prefix.lock"

exec wine "$@"
