# Sourced by the simulated Android commands: the tablet's state lives in files
# under /data/standin, so it survives restarts and tests can read it directly.
STATE=/data/standin

# state_get NAME DEFAULT: the stored value, or DEFAULT when none is stored.
state_get() {
  if [ -f "$STATE/$1" ]; then
    cat "$STATE/$1"
  else
    print -r -- "$2"
  fi
}

# state_set NAME VALUE: stores VALUE whole (written aside, then renamed).
state_set() {
  mkdir -p "$(dirname "$STATE/$1")" && print -r -- "$2" >"$STATE/$1.new" &&
    mv -f "$STATE/$1.new" "$STATE/$1"
}

state_clear() {
  rm -f "$STATE/$1"
}

# log_input LINE: appends to the input log that tests read.
log_input() {
  mkdir -p "$STATE" && print -r -- "$*" >>"$STATE/input.log"
}

# valid_name TEXT: a key or property name that is safe as a file name.
valid_name() {
  case $1 in
  '' | .* | */*) return 1 ;;
  esac
  return 0
}

# The LV-1 panel.
PHYSICAL_SIZE=1404x1872
PHYSICAL_DENSITY=300
