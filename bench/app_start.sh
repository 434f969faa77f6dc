#!/usr/bin/env bash
# lumivale-app from being started to its window drawn for the first time (the app says
# "first paint" when LUMIVALE_MARK_FIRST_PAINT is set), BENCH_RUNS times (default 20),
# median and range; then its memory at rest: VmRSS once it has found the stand-in tablet
# and read what the panes show, then sat idle for BENCH_REST seconds (default 10).
# Runs on an X server of its own (Xvfb) in a private D-Bus session with a keyring, as the
# app tests do, against a stand-in tablet. Uses the bench preset's optimised builds,
# built when missing (LUMIVALE_APP_BIN and LUMIVALE_STANDIN_BIN name others). Needs root.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ -z "${LUMIVALE_BENCH_INSIDE:-}" ]; then
  app=${LUMIVALE_APP_BIN:-build/bench/app/lumivale-app}
  export LUMIVALE_STANDIN_BIN=${LUMIVALE_STANDIN_BIN:-build/bench/standin/lumivale-standin}
  if [ ! -x "$app" ] || [ ! -x "$LUMIVALE_STANDIN_BIN" ]; then
    cmake --preset bench >/dev/null
    cmake --build --preset bench --target lumivale-app lumivale-standin
  fi
  export LUMIVALE_BENCH_INSIDE=1 LUMIVALE_APP_BIN=$(realpath "$app")
  exec tests/integration/account/with_secret_service.sh \
    xvfb-run -a -s "-screen 0 1280x800x24 -nolisten tcp" "$0" "$@"
fi

runs=${BENCH_RUNS:-20}
rest=${BENCH_REST:-10}
app=$LUMIVALE_APP_BIN
# shellcheck source=bench/standin_session.sh
source bench/standin_session.sh
export LUMIVALE_CONFIG_DIR=$work/config XDG_CACHE_HOME=$work/cache LUMIVALE_STANDIN_ONLY=1

# Starts the app with its standard output on coprocess APP; stops when it said "first
# paint" (or gave up after a minute).
start_app() {
  coproc APP { LUMIVALE_MARK_FIRST_PAINT=1 exec "$app" -platform xcb 2>/dev/null; }
  local said=""
  read -r -t 60 said <&"${APP[0]}" || true
  [ "$said" = "first paint" ] || { echo "app_start: the app never said it was drawn" >&2; exit 1; }
}

stop_app() {
  kill "$APP_PID" 2>/dev/null || true
  wait "$APP_PID" 2>/dev/null || true
}

# The first start writes the settings and finds adb; the runs after it start as a user's do.
start_app
stop_app

times=()
for _ in $(seq "$runs"); do
  begin=$EPOCHREALTIME
  start_app
  end=$EPOCHREALTIME
  stop_app
  times+=($(((${end/./} - ${begin/./}) / 1000)))
done
sorted=$(printf '%s\n' "${times[@]}" | sort -n)
median=$(echo "$sorted" | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }')

start_app
sleep "$rest"
rss=$(awk '/^VmRSS/ { print $2 }' "/proc/$APP_PID/status")
peak=$(awk '/^VmHWM/ { print $2 }' "/proc/$APP_PID/status")
stop_app

echo "lumivale-app against a stand-in tablet, Xvfb, $runs runs ($(nproc) cores):"
printf '  start to first drawn window   median %5d ms   (fastest %d, slowest %d)\n' \
  "$median" "$(echo "$sorted" | head -1)" "$(echo "$sorted" | tail -1)"
printf '  memory at rest after %ss      VmRSS %6d KiB   (peak %d KiB)\n' "$rest" "$rss" "$peak"
