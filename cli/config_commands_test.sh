#!/bin/sh
# Runs `lumivale config` against a settings folder of its own: refusals leave the
# file as it was, accepted changes land in it. Usage: config_commands_test.sh LUMIVALE
set -u
lumivale=$1
LUMIVALE_CONFIG_DIR=$(mktemp -d)
export LUMIVALE_CONFIG_DIR
results=$LUMIVALE_CONFIG_DIR
trap 'rm -rf "$results"' EXIT
failures=0

fail() {
  echo "FAIL: $*"
  failures=$((failures + 1))
}

# expect STATUS ARGS...: runs lumivale, keeps its output in $out and $err.
expect() {
  wanted=$1
  shift
  "$lumivale" "$@" >"$results/out" 2>"$results/err"
  status=$?
  out=$(cat "$results/out")
  err=$(cat "$results/err")
  [ "$status" -eq "$wanted" ] || fail "lumivale $* exited $status, not $wanted ($err)"
}

expect 0 config path
[ "$out" = "$LUMIVALE_CONFIG_DIR/config.json" ] || fail "config path printed '$out'"

expect 0 config show --json
before=$(cat "$LUMIVALE_CONFIG_DIR/config.json")
[ "$out" = "$before" ] || fail "show --json differs from the file"

expect 2 config set portmarkBaseUrl http://portmark.example
case $err in
"lumivale: \"http://portmark.example\" cannot be used for portmarkBaseUrl."*) ;;
*) fail "refusal said '$err'" ;;
esac
[ "$(cat "$LUMIVALE_CONFIG_DIR/config.json")" = "$before" ] || fail "a refused change was written"

expect 2 config set adbEnabled yes
expect 2 config set colour blue
expect 2 config set adbEnabled

expect 0 config set portmarkBaseUrl "  http://127.0.0.1:8787 "
expect 0 config set wifiAfterPlugIn false
expect 0 config show --json
echo "$out" | grep -q '"portmarkBaseUrl": "http://127.0.0.1:8787",' || fail "endpoint not saved: $out"
echo "$out" | grep -q '"wifiAfterPlugIn": false,' || fail "boolean not saved: $out"

expect 0 config reset-endpoints
expect 0 config show
echo "$out" | grep -q '^portmarkBaseUrl *https://portmark.lumivale.example$' || fail "not reset: $out"
echo "$out" | grep -q '^wifiAfterPlugIn *false$' || fail "reset touched other settings: $out"

for command in "" path show set reset-endpoints; do
  expect 0 config $command --help
done

echo "{" >"$LUMIVALE_CONFIG_DIR/config.json"
expect 1 config set adbEnabled true
[ "$err" = "lumivale: config.json could not be read: it is not valid JSON" ] || fail "said '$err'"

# A settings folder that cannot be made (here, under a plain file: root may write anywhere)
# is named with the reason, not in the file library's words.
blocked=$results/plain/settings
echo "not a folder" >"$results/plain"
LUMIVALE_CONFIG_DIR=$blocked expect 1 config show
[ "$err" = "lumivale: could not create the folder $blocked: Not a directory" ] || fail "said '$err'"
LUMIVALE_CONFIG_DIR=$blocked LUMIVALE_LOG_DIR=$blocked/logs expect 1 use --clear
[ "$err" = "lumivale: could not create the folder $blocked: Not a directory" ] || fail "said '$err'"

[ "$failures" -eq 0 ]
