#!/usr/bin/env bash
# Runs an app test on an X server of its own (Xvfb, through the xcb platform) inside
# a private D-Bus session with an unlocked keyring of its own, so it never touches the
# user's display, session bus or keyring.
set -u
here=$(dirname "$0")
if ! command -v xvfb-run >/dev/null; then
  echo "run_app_test: xvfb-run is not installed (scripts/setup installs it)" >&2
  exit 1
fi
exec "$here/../../tests/integration/account/with_secret_service.sh" \
  xvfb-run -a -s "-screen 0 1280x800x24 -nolisten tcp" "$@" -platform xcb
