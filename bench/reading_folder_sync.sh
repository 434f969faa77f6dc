#!/usr/bin/env bash
# `lumivale folder sync` against a stand-in tablet, each case beside the bare adb it stands
# for: the first copy of BENCH_FILES files (2,000 unless said) of 100 KB against one
# `adb push` of the folder, a sync with nothing changed against one `adb shell find -printf`
# listing of the tablet folder, and a sync with one file changed. Prints times, ratios and
# how many tablet commands each sync makes, and how many of them started adb. Uses the bench preset's builds, made when missing.
set -euo pipefail
cd "$(dirname "$0")/.."

files=${BENCH_FILES:-2000}
again=${BENCH_RUNS:-7}
quick=${BENCH_QUICK_RUNS:-21}
# shellcheck source=bench/bench_programs.sh
source bench/bench_programs.sh

# shellcheck source=bench/standin_session.sh
source bench/standin_session.sh
export LUMIVALE_CONFIG_DIR=$work/config LUMIVALE_STANDIN_ONLY=1
serial=$LUMIVALE_STANDIN_SERIAL

# shellcheck source=bench/counted_adb.sh
source bench/counted_adb.sh

mkdir -p "$work/Reading"
for i in $(seq -w 1 "$files"); do
  head -c 102400 /dev/urandom >"$work/Reading/file-$i.bin"
done

now() { date +%s.%N; }
since() { echo "$(now) $1" | awk '{ print $1 - $2 }'; }
ratio() { echo "$1 $2" | awk '{ printf "%.2f", $1 / $2 }'; }
# timed COMMAND...: the seconds it took, its output dropped
timed() {
  local start
  start=$(now)
  "$@" >/dev/null
  since "$start"
}
# sync_runs: seconds of one `lumivale folder sync`, and its tablet commands counted into $runs
sync_runs() {
  : >"$work/adb-runs"
  : >"$tablet_services"
  seconds=$(timed "$lumivale" folder sync)
  runs="$(wc -l <"$tablet_services") tablet commands ($(wc -l <"$work/adb-runs") started adb)"
}

tablet_folder="/sdcard/Documents/From Mac"
adb -s "$serial" shell mkdir -p /sdcard/Documents
# The first run asks adb for its version, which is then remembered.
"$lumivale" folder choose "$work/Reading" >/dev/null

# median VALUES...: the middle one (the upper of the two middle ones for an even count)
median() { printf '%s\n' "$@" | sort -g | awk '{ v[NR] = $1 } END { print v[int(NR / 2) + 1] }'; }

# The first copy, each time onto a tablet without the folder and with no record of it, taken
# turn about with the bare push it is measured against.
pushes=() firsts=()
for _ in $(seq "$again"); do
  pushes+=("$(timed adb -s "$serial" push "$work/Reading" /sdcard/Documents/)")
  adb -s "$serial" shell rm -r /sdcard/Documents/Reading
  adb -s "$serial" shell rm -rf "'$tablet_folder'"
  rm -rf "$work/config/Reading folder"
  sync_runs
  firsts+=("$seconds")
  first_runs=$runs
done
raw_push=$(median "${pushes[@]}") first=$(median "${firsts[@]}")

# The quick cases, taken more often (their bare listing alone varies by half): a sync with
# nothing changed turn about with the bare listing, then one with one file changed.
lists=() unchangeds=() ones=()
for _ in $(seq "$quick"); do
  lists+=("$(timed adb -s "$serial" shell find "'$tablet_folder/'" -printf "'%M|%s|%T@|'" -print0)")
  sync_runs
  unchangeds+=("$seconds")
  unchanged_runs=$runs
done
for _ in $(seq "$quick"); do
  head -c 102400 /dev/urandom >"$work/Reading/file-$(printf '%0*d' ${#files} 7).bin"
  sync_runs
  ones+=("$seconds")
  one_runs=$runs
done
raw_list=$(median "${lists[@]}") unchanged=$(median "${unchangeds[@]}") one=$(median "${ones[@]}")

echo "lumivale folder sync on the stand-in ($(nproc) cores, $files files of 100 KB, medians of $again first copies and of $quick others)"
printf '  first copy        %6.2f s   bare adb push of the folder %6.2f s   ratio %s   %s\n' \
  "$first" "$raw_push" "$(ratio "$first" "$raw_push")" "$first_runs"
printf '  nothing changed   %6.3f s   bare find -printf listing   %6.3f s   ratio %s   %s\n' \
  "$unchanged" "$raw_list" "$(ratio "$unchanged" "$raw_list")" "$unchanged_runs"
printf '  one file changed  %6.3f s   %s\n' "$one" "$one_runs"
