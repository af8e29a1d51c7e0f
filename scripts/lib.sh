# Shared by the scripts of this folder: places, messages, and steps with their log and their time.
# shellcheck shell=bash

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
log_dir=$root/build/logs
failed_steps=()

say() { printf '%s\n' "$*"; }

die() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# usage FILE: the comment at the head of a script.
usage() { sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$1"; }

# watch_log PID LOG LABEL: on a terminal, shows the last line of a running step's log in place.
watch_log() {
    local pid=$1 log=$2 label=$3 line
    [[ -t 1 ]] || return 0
    while kill -0 "$pid" 2>/dev/null; do
        line=$(tail -n 1 "$log" 2>/dev/null | tr -d '\r' | cut -c 1-"$((${COLUMNS:-80} - ${#label} - 8))")
        printf '\r\033[K    %s: %s' "$label" "$line"
        sleep 0.5
    done
    printf '\r\033[K'
}

# step LABEL COMMAND...: runs the command with its output in a log file and says how long it took. After
# a failure it shows the log, notes the label for the summary and returns the command's code. The test
# runner's summary and the counts of failed calls stay visible.
step() {
    local label=$1 log start code=0
    shift
    mkdir -p "$log_dir"
    log=$log_dir/$(tr -cs 'a-zA-Z0-9\n' '-' <<<"$label").log
    start=$SECONDS
    # A command that was started in the background would not get the terminal's Ctrl-C by itself.
    "$@" >"$log" 2>&1 </dev/null &
    local pid=$!
    trap 'kill "$pid" 2>/dev/null; exit 130' INT TERM
    watch_log "$pid" "$log" "$label"
    wait "$pid" || code=$?
    trap - INT TERM
    grep -E '^[0-9]+% tests passed|^[a-z]+ +[0-9]+ sites' "$log" || true
    if ((code == 0)); then
        say "    ok      $label ($((SECONDS - start)) s)"
        return 0
    fi
    say "    FAILED  $label ($((SECONDS - start)) s, exit code $code); the end of $log:"
    tail -n 120 "$log" | sed 's/^/    | /'
    failed_steps+=("$label")
    return "$code"
}

# check LABEL COMMAND...: a step whose failure does not keep the following ones from running.
check() { step "$@" || true; }

# build PRESET [TARGET...]: configures and builds; goes on after an error, so that the log has them all.
build() {
    local preset=$1
    shift
    (cd "$root" && cmake --preset "$preset" &&
        cmake --build --preset "$preset" ${1:+--target "$@"} -- -k 0)
}

# run_tests PRESET: the test programs of one build.
run_tests() { (cd "$root" && ctest --preset "$1"); }
