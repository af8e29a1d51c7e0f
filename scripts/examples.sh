# The example programs as the scripts run them: an agent, its peer, the debuggee. Used after lib.sh.
# shellcheck shell=bash

work_dir=
agent_pid=

# program SIDE NAME: the command that runs one of the example programs, in the array command. SIDE is
# linux, or wine for the Windows build.
program() {
    if [[ $1 == wine ]]; then
        command=("$root/scripts/wine-run" "$root/build/windows-x64/bin/$2.exe")
    else
        command=("$root/build/linux/bin/$2")
    fi
}

# build_programs SIDES: installs what is missing, and builds the programs for each of the sides.
build_programs() {
    if [[ $1 == *linux* ]]; then
        "$root/scripts/setup" build
        step "linux: build" build linux agent peer debuggee
    fi
    if [[ $1 == *wine* ]]; then
        "$root/scripts/setup" build windows
        step "windows-x64: build" build windows-x64 agent peer debuggee
        "$root/scripts/wine-run" --setup
    fi
}

# start_agent SIDE ARGUMENT...: in work_dir; it writes its port to the file "port" there once it listens.
start_agent() {
    program "$1" agent
    rm -f "$work_dir/port"
    (cd "$work_dir" && exec "${command[@]}" --port 0 --port-file port "${@:2}") </dev/null &
    agent_pid=$!
}

# await_agent: returns when the agent listens.
await_agent() {
    local tries=0
    until [[ -s $work_dir/port ]]; do
        kill -0 "$agent_pid" 2>/dev/null || die "the agent ended before it listened"
        ((++tries < 300)) || die "the agent does not listen"
        sleep 0.1
    done
}

# place_debuggee SIDE: in work_dir, so that the name is the same for each of the sides.
place_debuggee() {
    program "$1" debuggee
    cp "${command[-1]}" "$work_dir/"
}

# stop_agent: ends it, if there is one.
stop_agent() {
    [[ -n $agent_pid ]] || return 0
    kill "$agent_pid" 2>/dev/null || true
    wait "$agent_pid" 2>/dev/null || true
    agent_pid=
}
