# Sourced by the whole-command benchmarks after standin_session.sh: the adb that lumivale
# finds through ANDROID_HOME notes each run's command (push, shell, ...) in $work/adb-runs,
# then hands over to the real one. The stand-in notes each service adb opens on it (a shell
# command, a file transfer) in $tablet_services, whether adb was started for it or its
# server was asked directly.
tablet_services=${LUMIVALE_STANDIN_STATE:-${TMPDIR:-/tmp}/lumivale-standins}/$standin_name/data/services
mkdir -p "$work/sdk/platform-tools"
cat >"$work/sdk/platform-tools/adb" <<ADB
#!/bin/sh
if [ "\$1" = -s ]; then echo "\$3" >>"$work/adb-runs"; else echo "\$1" >>"$work/adb-runs"; fi
exec $(command -v adb) "\$@"
ADB
chmod +x "$work/sdk/platform-tools/adb"
export ANDROID_HOME=$work/sdk
