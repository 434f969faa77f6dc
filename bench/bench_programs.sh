# Sourced by the whole-command benchmarks, from the repository root: $lumivale and
# $LUMIVALE_STANDIN_BIN, the bench preset's optimised builds unless LUMIVALE_BIN and
# LUMIVALE_STANDIN_BIN name others, built when missing.
lumivale=${LUMIVALE_BIN:-build/bench/cli/lumivale}
export LUMIVALE_STANDIN_BIN=${LUMIVALE_STANDIN_BIN:-build/bench/standin/lumivale-standin}
if [ ! -x "$lumivale" ] || [ ! -x "$LUMIVALE_STANDIN_BIN" ]; then
  cmake --preset bench >/dev/null
  cmake --build --preset bench --target lumivale lumivale-standin
fi
