# Sourced by ./check after scripts/packages.sh: what counts as passed, as failed and as skipped.

passed=0
failed=0
skipped=
SECONDS=0

# minutes SECONDS: as they are read.
minutes() { printf '%d:%02d' $(($1 / 60)) $(($1 % 60)); }

# processor_seconds: what this shell and all that it waited for have used of the processors.
processor_seconds() {
  local stat
  read -r stat <"/proc/$$/stat"
  # The name comes before the last bracket, and may hold anything. Linux counts hundredths of a second here.
  # shellcheck disable=SC2086  # a list of numbers
  set -- ${stat##*) }
  echo $(((${12} + ${13} + ${14} + ${15}) / 100))
}

# said NAME: the heading of a check, with the time since the start, and that of the processors.
said() { printf '\n== %s (%s, processors %s)\n' "$1" "$(minutes "$SECONDS")" "$(minutes "$(processor_seconds)")"; }

# skip NAME [REASON]: a check that cannot be made here.
skip() {
  printf 'SKIPPED: %s\n' "$1${2:+: $2}"
  skipped="$skipped${skipped:+; }$1"
}

# step NAME COMMAND...: one check. A command that ends with 77 could not make it and says why.
step() {
  local name=$1 status
  shift
  said "$name"
  "$@"
  status=$?
  case $status in
    0) passed=$((passed + 1)) ;;
    77) skip "$name" ;;
    *)
      failed=$((failed + 1))
      printf 'FAILED: %s\n' "$name"
      ;;
  esac
}

# built PRESET [ARGUMENT...]: configures with the arguments and builds, and shows the end of what was
# said when that fails.
built() {
  local log status=0
  log=$(mktemp) || return 1
  if ! { configure "$@" && cmake --build --preset "$1"; } >"$log" 2>&1; then
    tail -n 60 "$log"
    status=1
  fi
  rm -f -- "$log"
  return "$status"
}

# suite NAME PRESET [ARGUMENT...]: builds a preset and counts each test of it.
suite() {
  local name=$1 preset=$2 work good bad status
  said "$name"
  if ! built "${@:2}"; then
    printf 'FAILED: %s does not build\n' "$name"
    failed=$((failed + 1))
    return
  fi
  work=$(mktemp -d) || return 1
  ctest --preset "$preset" -j "$(nproc)" --output-junit "$work/report" >"$work/log" 2>&1
  status=$?
  if ! scripts/test_report "$work/report" >"$work/read" 2>>"$work/log"; then
    tail -n 60 "$work/log"
    printf 'FAILED: %s ran no test\n' "$name"
    failed=$((failed + 1))
  else
    { read -r good bad && cat; } <"$work/read"
    passed=$((passed + good))
    failed=$((failed + bad))
    if [ "$status" -ne 0 ] && [ "$bad" -eq 0 ]; then
      tail -n 60 "$work/log"
      printf 'FAILED: %s: ctest ended with %s\n' "$name" "$status"
      failed=$((failed + 1))
    fi
  fi
  rm -rf -- "$work"
}

# summary: the last lines of all. Fails when a check failed, and when none was made.
summary() {
  printf '\nTook %s, of the processors %s.\n' "$(minutes "$SECONDS")" "$(minutes "$(processor_seconds)")"
  [ -z "$skipped" ] || printf 'Skipped here: %s\n' "$skipped"
  printf '%s passed, %s failed\n' "$passed" "$failed"
  [ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
}
