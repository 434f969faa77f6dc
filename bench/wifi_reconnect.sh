#!/usr/bin/env bash
# Wi-Fi coming back: a stand-in set up for Wi-Fi over its cable, then the cable let go.
# BENCH_ROUNDS times (default 20) its Wi-Fi side sleeps and comes back on its port, adb
# having let go of it, and the time is taken from its return until `lumivale warmth`
# answers over Wi-Fi again, after one reconnect round (`lumivale wifi connect`, what
# `lumivale wifi watch` runs every 30 seconds and when the network changes). Prints the
# median and the spread.
# Uses the optimised build of the bench preset, built when missing. Needs root.
set -euo pipefail
cd "$(dirname "$0")/.."

rounds=${BENCH_ROUNDS:-20}
# shellcheck source=bench/bench_programs.sh
source bench/bench_programs.sh
# shellcheck source=bench/standin_session.sh
source bench/standin_session.sh
data=${LUMIVALE_STANDIN_STATE:-${TMPDIR:-/tmp}/lumivale-standins}/$standin_name/data
control() { scripts/standin control --name "$standin_name" "$@" >/dev/null; }

export LUMIVALE_CONFIG_DIR=$work
"$lumivale" use --clear >/dev/null
"$lumivale" config set wifiAllowUnencrypted true >/dev/null
# Remembered for an account: set up as if one were signed in.
sed -i '0,/{/s//{\n  "userId": "bench",/' "$work/config.json"
# Its Wi-Fi side listens on loopback: that is its address on the network.
adb -s "$LUMIVALE_STANDIN_SERIAL" shell \
  'mkdir -p /data/standin/wifi && echo 127.0.0.1 > /data/standin/wifi/address'
"$lumivale" wifi setup >/dev/null
wifi=127.0.0.1:$(cat "$data/wifi-port")
adb disconnect "$LUMIVALE_STANDIN_SERIAL" >/dev/null
"$lumivale" warmth >/dev/null

times=()
for _ in $(seq "$rounds"); do
  control fault sleep=keep-port
  adb disconnect "$wifi" >/dev/null
  control clear sleep
  start=$EPOCHREALTIME
  "$lumivale" wifi connect >/dev/null
  "$lumivale" warmth >/dev/null
  end=$EPOCHREALTIME
  times+=($(((${end/./} - ${start/./}) / 1000)))
done

sorted=$(printf '%s\n' "${times[@]}" | sort -n)
median=$(echo "$sorted" | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }')
echo "Wi-Fi side back to lumivale warmth answering over Wi-Fi, $rounds rounds ($(nproc) cores)"
printf '  median %5d ms   fastest %5d ms   slowest %5d ms\n' "$median" \
  "$(echo "$sorted" | head -1)" "$(echo "$sorted" | tail -1)"
