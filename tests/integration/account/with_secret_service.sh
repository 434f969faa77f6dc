#!/usr/bin/env bash
# Runs a test program inside a private D-Bus session with its own unlocked
# gnome-keyring, so the keychain tests use a real Secret Service and never the
# user's own keyring. Where none can be started, the program still runs and its
# keychain tests skip, saying why.
set -u
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
export HOME="$home" XDG_DATA_HOME="$home/data" XDG_CONFIG_HOME="$home/config"
mkdir -p "$XDG_DATA_HOME" "$XDG_CONFIG_HOME"

if ! command -v dbus-run-session >/dev/null || ! command -v gnome-keyring-daemon >/dev/null; then
  LUMIVALE_TEST_NO_SECRET_SERVICE="dbus-run-session or gnome-keyring-daemon is not installed" \
    "$@"
  exit
fi

dbus-run-session -- bash -c '
  if printf "lumivale-tests" | gnome-keyring-daemon --unlock --components=secrets >/dev/null 2>&1; then
    export LUMIVALE_TEST_PRIVATE_SECRET_SERVICE=1
  else
    export LUMIVALE_TEST_NO_SECRET_SERVICE="gnome-keyring-daemon did not start"
  fi
  "$@"' with_secret_service "$@"
