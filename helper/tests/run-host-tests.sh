#!/usr/bin/env bash
# Runs the committed helper dex on the host JVM (turned into a jar by enjarify, with
# Android's own org.json) and the host tests against it. Exits 77 when those tools are missing.
set -euo pipefail
helper=$(cd "$(dirname "$0")/.." && pwd)
json_jar=/usr/share/java/com.android.json.jar
for tool in enjarify javac java; do
  command -v $tool >/dev/null || { echo "run-host-tests: $tool is missing: run scripts/setup" >&2; exit 77; }
done
[ -f $json_jar ] || { echo "run-host-tests: $json_jar is missing: run scripts/setup" >&2; exit 77; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# enjarify runs on the first python3 on PATH: Debian's, which has it.
PATH=/usr/bin:$PATH enjarify --force -o "$work/helper.jar" "$helper/lumivale-clip.dex" >/dev/null
helper_classpath=$work/helper.jar:$json_jar
find "$helper/tests/host" -name '*.java' >"$work/sources.list"
javac -encoding UTF-8 -nowarn -cp "$helper_classpath" -d "$work/classes" @"$work/sources.list"
java -cp "$work/classes:$helper_classpath" com.lumivale.clip.HostTests "$helper_classpath"
