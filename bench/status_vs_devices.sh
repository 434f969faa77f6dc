#!/usr/bin/env bash
# `lumivale status` against `adb devices -l`, the listing it is built on: both run
# BENCH_RUNS times (default 200), interleaved, against a stand-in tablet with a warm
# adb server; prints each median and their ratio (the goal is at most 1.2).
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

status_times=()
devices_times=()
for _ in $(seq "$runs"); do
  status_times+=("$(elapsed "$lumivale" status)")
  devices_times+=("$(elapsed adb devices -l)")
done

median() { printf '%s\n' "$@" | sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
status_median=$(median "${status_times[@]}")
devices_median=$(median "${devices_times[@]}")

echo "lumivale status against adb devices -l, warm server, $runs runs each ($(nproc) cores)"
printf '  adb devices -l    median %6d us\n' "$devices_median"
printf '  lumivale status   median %6d us\n' "$status_median"
printf '  ratio             %.2f (goal: at most 1.20)\n' \
  "$(echo "$status_median $devices_median" | awk '{ print $1 / $2 }')"
