# Sourced by the whole-command benchmarks, from the repository root: starts a stand-in
# tablet of the benchmark's own (its adb environment exported, LUMIVALE_STANDIN_SERIAL
# among it) and a scratch folder $work, and removes both when the script exits.
work=$(mktemp -d "${TMPDIR:-/tmp}/lumivale-bench.XXXXXX")
standin_name=bench-$$
cleanup() {
  scripts/standin down --name "$standin_name" >/dev/null 2>&1 || true
  rm -rf "$work"
}
trap cleanup EXIT
eval "$(scripts/standin up --name "$standin_name" 2>/dev/null)"
