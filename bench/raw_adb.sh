#!/usr/bin/env bash
# The ceilings our own transfers are measured against: raw `adb push` and
# `adb pull` of one file (1 GiB unless BENCH_SIZE_MIB says otherwise) through
# a stand-in tablet, and `adb shell true` round trips per second.
# Uses the optimised stand-in of the bench preset, built when missing.
set -euo pipefail
cd "$(dirname "$0")/.."

size_mib=${BENCH_SIZE_MIB:-1024}
round_trips=${BENCH_ROUND_TRIPS:-300}
export LUMIVALE_STANDIN_BIN=${LUMIVALE_STANDIN_BIN:-build/bench/standin/lumivale-standin}
if [ ! -x "$LUMIVALE_STANDIN_BIN" ]; then
  cmake --preset bench >/dev/null
  cmake --build --preset bench --target lumivale-standin
fi

# shellcheck source=bench/standin_session.sh
source bench/standin_session.sh
serial=$LUMIVALE_STANDIN_SERIAL

now() { date +%s.%N; }
# rate MIB SECONDS: MB/s (10^6 bytes per second), as adb itself reports.
rate() { echo "$1 $2" | awk '{ printf "%.0f", $1 * 1048576 / $2 / 1000000 }'; }

head -c "$((size_mib * 1048576))" /dev/urandom >"$work/source.bin"

start=$(now)
adb -s "$serial" push "$work/source.bin" /data/local/tmp/bench.bin >/dev/null
push_seconds=$(echo "$(now) $start" | awk '{ print $1 - $2 }')

start=$(now)
adb -s "$serial" pull /data/local/tmp/bench.bin "$work/pulled.bin" >/dev/null
pull_seconds=$(echo "$(now) $start" | awk '{ print $1 - $2 }')
cmp -s "$work/source.bin" "$work/pulled.bin" || { echo "raw_adb: the pulled file differs" >&2; exit 1; }

start=$(now)
for _ in $(seq "$round_trips"); do adb -s "$serial" shell true; done
shell_seconds=$(echo "$(now) $start" | awk '{ print $1 - $2 }')

echo "raw adb through the stand-in ($(nproc) cores, adb $(adb version | awk 'NR == 2 { print $2 }'))"
printf '  push %5d MiB   %6.2f s   %5s MB/s\n' "$size_mib" "$push_seconds" "$(rate "$size_mib" "$push_seconds")"
printf '  pull %5d MiB   %6.2f s   %5s MB/s\n' "$size_mib" "$pull_seconds" "$(rate "$size_mib" "$pull_seconds")"
printf '  shell true x%d  %6.2f s   %5.0f round trips/s\n' "$round_trips" "$shell_seconds" \
  "$(echo "$round_trips $shell_seconds" | awk '{ print $1 / $2 }')"
