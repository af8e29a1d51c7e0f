# Hosts outside this project's build, which find the library as any host does.
# shellcheck shell=bash

# install_fresh PRESET: an installation in an empty folder, moved after it was made.
install_fresh() {
    local prefix=$root/build/$1/consumer-prefix
    rm -rf "$prefix" "$prefix.made"
    cmake --install "$root/build/$1" --prefix "$prefix.made" >/dev/null || return
    mv "$prefix.made" "$prefix"
    (cd "$prefix" && find . -type f | sort)
}

# build_consumers PRESET PREFIX: builds tests/consumer against an installation.
build_consumers() {
    local preset=$1 dir=$root/build/$1/consumer compiler=(-DCMAKE_CXX_COMPILER=g++)
    if [[ $preset == windows-* ]]; then
        compiler=(-DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchains/$preset.cmake")
    fi
    rm -rf "$dir"
    cmake -G Ninja -S "$root/tests/consumer" -B "$dir" -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_PREFIX_PATH="$2" "${compiler[@]}" && cmake --build "$dir"
}

# run_consumers PRESET PREFIX: runs what was built. A Windows program has nothing but the installed bin
# folder to find DLLs in, so a DLL that the installation lacks stops it.
run_consumers() {
    local preset=$1 bin=$2/bin program
    for program in "$root/build/$preset"/consumer/{consumer,large_body}; do
        case "$preset" in
            linux) "$program" || return ;;
            windows-x64) WINEPATH="Z:${bin//\//\\}" "$root/scripts/wine-run" "$program.exe" || return ;;
        esac
    done
}

# under_wine COMMAND...: runs a command that runs programs under Wine, in the prefix of the tests.
under_wine() {
    local code=0
    export WINEPREFIX=$root/build/windows-x64/wine
    "$root/scripts/wine-run" --setup
    "$@" || code=$?
    "$root/scripts/wine-run" --cleanup
    return "$code"
}

# check_other_target PREFIX SYSTEM BITS INSTALLED: a project for that system is told what the
# installation is for.
check_other_target() {
    local script=$root/build/find-package.cmake output
    echo 'find_package(ZtkAgentLib CONFIG REQUIRED)' >"$script"
    output=$(cmake -DCMAKE_SYSTEM_NAME="$2" -DCMAKE_SIZEOF_VOID_P=$(($3 / 8)) -DCMAKE_PREFIX_PATH="$1" \
        -P "$script" 2>&1) && echo "is found for $2, $3 bit" && return 1
    grep -q "for $4 (this project is built for $2, $3 bit)" <<<"$(tr -s ' \n' ' ' <<<"$output")" && return
    echo "found for another target, the package does not say what it is for:"
    echo "$output"
    return 1
}

# It holds no DLL that nobody needs.
check_needed_dlls() {
    local dll needed code=0
    needed=$(for dll in "$1"/*.dll; do x86_64-w64-mingw32-objdump -p "$dll"; done |
        sed -n 's/.*DLL Name: //p' | sort -u)
    for dll in "$1"/*.dll; do
        dll=$(basename "$dll")
        if [[ $dll != ZtkAgentLib* ]] && ! grep -qx "$dll" <<<"$needed"; then
            echo "$dll is installed, but nothing needs it"
            code=1
        fi
    done
    return "$code"
}
