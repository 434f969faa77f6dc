#!/usr/bin/env bash
# `lumivale setting list` against a stand-in tablet: wall time per run, and how many
# tablet commands (and adb runs) each one makes. BENCH_RUNS runs (default 20).
# Uses the bench preset's lumivale and stand-in, built when missing.
set -euo pipefail
cd "$(dirname "$0")/.."

runs=${BENCH_RUNS:-20}
# shellcheck source=bench/bench_programs.sh
source bench/bench_programs.sh

# shellcheck source=bench/standin_session.sh
source bench/standin_session.sh
export LUMIVALE_CONFIG_DIR=$work/config LUMIVALE_STANDIN_ONLY=1

# shellcheck source=bench/counted_adb.sh
source bench/counted_adb.sh

# The first run also asks adb for its version, which is then remembered.
"$lumivale" setting list >/dev/null
: >"$work/adb-runs"
: >"$tablet_services"

now() { date +%s.%N; }
start=$(now)
for _ in $(seq "$runs"); do "$lumivale" setting list >/dev/null; done
seconds=$(echo "$(now) $start" | awk '{ print $1 - $2 }')

commands=$(wc -l <"$tablet_services")
adb_runs=$(wc -l <"$work/adb-runs")
echo "lumivale setting list on the stand-in ($(nproc) cores, $runs runs)"
printf '  %6.1f ms per run   %s tablet commands per run, %s adb runs\n' \
  "$(echo "$seconds $runs" | awk '{ print $1 * 1000 / $2 }')" \
  "$(echo "$commands $runs" | awk '{ print $1 / $2 }')" \
  "$(echo "$adb_runs $runs" | awk '{ print $1 / $2 }')"
