# The programs that the README and the start page show: put together as they stand there, built as they
# say, and run with a peer. Only the port is another one, since theirs may be taken.
# shellcheck shell=bash

# page_block PAGE LANGUAGE WORDS: the page's first block of that language with these words in it.
page_block() {
    awk -v language="$2" -v words="$3" '
        /^```/ {
            if (inside && wanted && index(block, words) > 0) { printf "%s", block; found = 1; exit }
            inside = !inside
            wanted = $0 == "```" language
            block = ""
            next
        }
        inside { block = block $0 "\n" }
        END { exit !found }
    ' "$root/$1" || {
        echo "$1 has no block of $2 with: $3" >&2
        return 1
    }
}

# A port that nobody listens on, below those that the system hands out by itself.
free_port() {
    local port
    while port=$((20000 + RANDOM % 12000)) && is_listening "$port"; do :; done
    echo "$port"
}

# is_listening PORT: the state 0A in the system's table is that of a listener.
is_listening() {
    grep -q "$(printf ':%04X [0-9A-F]*:0000 0A ' "$1")" /proc/net/tcp /proc/net/tcp6 2>/dev/null
}

# run_with_peer PORT ANSWER PEER COMMAND...: runs the command in the background until it listens, then
# the peer's script. Both succeed, and the script prints the answer.
run_with_peer() {
    local port=$1 expected=$2 peer=$3 agent answer='' tries
    shift 3
    timeout 120 "$@" &
    agent=$!
    for ((tries = 0; tries < 600; ++tries)); do
        is_listening "$port" && break
        kill -0 "$agent" 2>/dev/null || break
        sleep 0.1
    done
    answer=$(timeout 30 bash "$peer") || true
    if [[ $answer != "$expected" ]]; then
        echo "the peer got \"$answer\" for an answer instead of \"$expected\""
        kill "$agent" 2>/dev/null
        wait "$agent"
        return 1
    fi
    wait "$agent" && echo "the peer got $answer"
}

# check_page_program PAGE PRESET: uses a fresh installation.
check_page_program() {
    local page=$1 preset=$2 dir port prefix=$root/build/$2/consumer-prefix answer
    dir=$root/build/$preset/pages/$(basename "$page" .md)
    port=$(free_port)
    rm -rf "$dir"
    mkdir -p "$dir"
    install_fresh "$preset" >/dev/null && cd "$dir" || return
    sed -n '/^```cpp$/,/^```$/{/^```/!p}' "$root/$page" | sed "s/\b9000\b/$port/" >agent.cpp
    grep -q "\b$port\b" agent.cpp || {
        echo "the program on $page has no port 9000"
        return 1
    }
    case "$page" in
        README.md)
            printf 'exec 3<>/dev/tcp/127.0.0.1/%s\nprintf hello >&3\nhead -c 5 <&3\n' "$port" >peer.sh
            answer=hello
            ;;
        docs/index.md)
            page_block "$page" sh /dev/tcp | sed "s/\b9000\b/$port/" >peer.sh
            answer='<answer>42</answer>'
            ;;
    esac
    "build_on_$preset" "$page" "$prefix" &&
        case "$preset" in
            linux) run_with_peer "$port" "$answer" peer.sh ./run.sh ;;
            windows-x64) under_wine run_with_peer "$port" "$answer" peer.sh "$root/scripts/wine-run" agent.exe ;;
        esac
}

# build_on_linux PAGE PREFIX: the README's commands for pkg-config, or the start page's for CMake; leaves
# run.sh, which runs the program.
build_on_linux() {
    case "$1" in
        README.md)
            # The last line runs the program.
            page_block "$1" sh pkg-config | sed "s:/opt/ztk:$2:g" >commands.sh
            [[ $(tail -n 1 commands.sh) == ./agent ]] || {
                echo "the last of these commands does not run the agent:"
                cat commands.sh
                return 1
            }
            sed '$d' commands.sh >build.sh
            ;;
        docs/index.md)
            page_block "$1" cmake 'project(Agent' >CMakeLists.txt
            page_block "$1" sh '-B build' | sed "s:/opt/ztk:$2:g" >build.sh
            echo build/agent >commands.sh
            ;;
    esac
    printf '#!/bin/sh\nexec %s\n' "$(tail -n 1 commands.sh)" >run.sh
    chmod +x run.sh
    cat build.sh
    CXXFLAGS='-Wall -Wextra -Werror' bash -e build.sh
}

# build_on_windows-x64 PAGE PREFIX
build_on_windows-x64() {
    local flags
    flags=$(PKG_CONFIG_PATH=$2/lib/pkgconfig pkg-config --cflags --libs ZtkAgentLib) || return
    # shellcheck disable=SC2086  # the flags are several words
    x86_64-w64-mingw32-g++-posix -std=c++20 -Wall -Wextra -Werror agent.cpp $flags -o agent.exe &&
        cp "$2"/bin/*.dll .
}

# check_recipes_page PRESET: the program of docs/recipes.md, which is a peer of its own.
check_recipes_page() {
    local preset=$1 dir=$root/build/$1/pages/recipes prefix=$root/build/$1/consumer-prefix
    rm -rf "$dir"
    mkdir -p "$dir"
    install_fresh "$preset" >/dev/null && cd "$dir" || return
    sed -n '/^```cpp$/,/^```$/{/^```/!p}' "$root/docs/recipes.md" >agent.cpp
    if [[ $preset == windows-x64 ]]; then
        build_on_windows-x64 docs/recipes.md "$prefix" &&
            under_wine timeout 120 "$root/scripts/wine-run" agent.exe
    else
        page_block README.md sh pkg-config | sed "s:/opt/ztk:$prefix:g" >run.sh
        CXXFLAGS='-Wall -Wextra -Werror' timeout 120 bash -e run.sh
    fi
}
