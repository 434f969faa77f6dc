#!/usr/bin/env bash
# Given the committed source, helper/build-dex must make exactly the committed dex.
set -euo pipefail
helper=$(cd "$(dirname "$0")/.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0
"$helper/build-dex" "$work/rebuilt.dex" || status=$?
[ $status -eq 0 ] || exit $status
if ! cmp -s "$work/rebuilt.dex" "$helper/lumivale-clip.dex"; then
  echo "helper/lumivale-clip.dex is not what helper/build-dex makes from helper/src:" \
    "run helper/build-dex and commit the dex" >&2
  exit 1
fi
echo "the committed dex is what helper/build-dex makes ($(sha256sum "$work/rebuilt.dex" | cut -c1-64))"
