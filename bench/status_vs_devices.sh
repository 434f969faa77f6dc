#!/usr/bin/env bash
# `lumivale status -q` (the state alone) against `adb devices -l`, the listing it is built
# on, and `lumivale status` (state and screen) against that listing followed by an `adb
# shell` of the same screen reading: each runs BENCH_RUNS times (default 200), interleaved,
# against a stand-in tablet with a warm adb server; prints each median and the two ratios
# (the goal is at most 1.2).
# Uses the optimised build of the bench preset, built when missing.
set -euo pipefail
cd "$(dirname "$0")/.."

runs=${BENCH_RUNS:-200}
# shellcheck source=bench/bench_programs.sh
source bench/bench_programs.sh

name=bench-status-$$
config=$(mktemp -d "${TMPDIR:-/tmp}/lumivale-bench-config.XXXXXX")
cleanup() {
  scripts/standin down --name "$name" >/dev/null 2>&1 || true
  rm -rf "$config"
}
trap cleanup EXIT
eval "$(scripts/standin up --name "$name" 2>/dev/null)"
export LUMIVALE_CONFIG_DIR=$config

# Warm up: the server is running, the settings file and the adb check are written.
"$lumivale" status >/dev/null
adb devices -l >/dev/null

# Microseconds taken by one run of the command given.
elapsed() {
  local start=$EPOCHREALTIME
  "$@" >/dev/null
  local end=$EPOCHREALTIME
  echo $(((${end/./} - ${start/./})))
}

serial=$LUMIVALE_STANDIN_SERIAL
screen_reading='echo @@power; dumpsys power; echo @@policy; dumpsys window policy'
devices_then_screen() {
  adb devices -l && adb -s "$serial" shell "$screen_reading"
}

quiet_times=() devices_times=() status_times=() both_times=()
for _ in $(seq "$runs"); do
  quiet_times+=("$(elapsed "$lumivale" status -q)")
  devices_times+=("$(elapsed adb devices -l)")
  status_times+=("$(elapsed "$lumivale" status)")
  both_times+=("$(elapsed devices_then_screen)")
done

median() { printf '%s\n' "$@" | sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
ratio() { echo "$1 $2" | awk '{ printf "%.2f", $1 / $2 }'; }
quiet=$(median "${quiet_times[@]}")
devices=$(median "${devices_times[@]}")
status=$(median "${status_times[@]}")
both=$(median "${both_times[@]}")

echo "lumivale status, warm server, $runs interleaved runs each ($(nproc) cores); medians:"
printf '  adb devices -l                      %6d us\n' "$devices"
printf '  lumivale status -q                  %6d us   ratio %s (goal: at most 1.20)\n' \
  "$quiet" "$(ratio "$quiet" "$devices")"
printf '  adb devices -l + adb shell (screen) %6d us\n' "$both"
printf '  lumivale status                     %6d us   ratio %s (goal: at most 1.20)\n' \
  "$status" "$(ratio "$status" "$both")"
