# Sourced by the whole-command benchmarks after standin_session.sh: the adb that lumivale
# finds through ANDROID_HOME notes each run's command (push, shell, ...) in $work/adb-runs,
# then hands over to the real one.
mkdir -p "$work/sdk/platform-tools"
cat >"$work/sdk/platform-tools/adb" <<ADB
#!/bin/sh
if [ "\$1" = -s ]; then echo "\$3" >>"$work/adb-runs"; else echo "\$1" >>"$work/adb-runs"; fi
exec $(command -v adb) "\$@"
ADB
chmod +x "$work/sdk/platform-tools/adb"
export ANDROID_HOME=$work/sdk
