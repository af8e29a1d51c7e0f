# The checks of scripts/test that are neither a build nor a test program. Each prints what is wrong and
# returns nonzero; each runs as a step of its own.
# shellcheck shell=bash

cxx_files() {
    (cd "$root" && find bench examples fuzz include src tests -name '*.h' -o -name '*.cpp' | sort)
}

check_format() { (cd "$root" && cxx_files | xargs clang-format --dry-run -Werror); }

# Every include keeps to the table of rooms in docs/design.md.
check_rooms() {
    (cd "$root" && find src include/ztk -name '*.h' -o -name '*.cpp' | sort |
        xargs awk -f scripts/rooms.awk docs/design.md)
}

# Analyses the library and the examples with the flags of the clang build. The tests are left out: the
# framework's macros cost minutes and hide what is ours.
check_tidy() {
    cd "$root" || return
    cmake --preset linux-clang >/dev/null || return
    find src examples -name '*.cpp' -not -path '*/windows/*' -not -name '*_windows.cpp' | sort |
        xargs -P "$(nproc)" -n 2 clang-tidy --quiet -p build/linux-clang 2>&1 |
        { grep -v ' warnings\? generated\.$' || true; }
}

# Every public header is complete by itself; without the flag for 16-bit wide characters the first one
# that matters stops the compiler with a message that names it.
check_headers() {
    cd "$root/include" || return
    local header output code=0
    while read -r header; do
        g++ -std=c++20 -fshort-wchar -Wall -Wextra -Wpedantic -Werror -I. -fsyntax-only -x c++ \
            -include "$header" /dev/null || code=1
    done < <(find ztk -name '*.h' -not -name windows.h -not -name windows_com.h | sort)
    if output=$(g++ -std=c++20 -I. -fsyntax-only -x c++ -include ztk/ztk.h /dev/null 2>&1); then
        echo "ztk/ztk.h compiles without -fshort-wchar"
        code=1
    elif [[ $output != *"compile with -fshort-wchar"* ]]; then
        echo "ztk/ztk.h fails without -fshort-wchar, but not with its own message:"
        echo "$output"
        code=1
    fi
    return "$code"
}

# library_of TARGET: the built library whose exported names scripts/exports/TARGET.txt lists.
library_of() {
    case "$1" in
        linux-x64) echo "$root/build/linux/lib/libZtkAgentLib64.so" ;;
        windows-x64) echo "$root/build/windows-x64/bin/ZtkAgentLib64.dll" ;;
        windows-x86) echo "$root/build/windows-x86/bin/ZtkAgentLib32.dll" ;;
    esac
}

# exported_names TARGET: one demangled name a line, without duplicates.
exported_names() {
    local library
    library=$(library_of "$1")
    if [[ $library == *.so ]]; then
        nm --dynamic --defined-only --format=posix "$library" | cut -d ' ' -f 1
    else
        # The rows of the table of export names: "[  12] _ZN3ZTK...".
        x86_64-w64-mingw32-objdump -p "$library" |
            sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/s/^[[:space:]]*\[ *[0-9]*\] //p'
    fi | c++filt | LC_ALL=C sort -u
}

check_exports() {
    diff -u "$root/scripts/exports/$1.txt" <(exported_names "$1") || {
        echo "The exported names changed. If that is meant: scripts/test --update-exports"
        return 1
    }
}

update_exports() {
    local target
    mkdir -p "$root/scripts/exports"
    for target in linux-x64 windows-x64 windows-x86; do
        if [[ -e $(library_of "$target") ]]; then
            exported_names "$target" >"$root/scripts/exports/$target.txt"
            say "scripts/exports/$target.txt: $(wc -l <"$root/scripts/exports/$target.txt") names"
        else
            say "scripts/exports/$target.txt: left as it is, there is no build of it"
        fi
    done
}

# The C library's wide functions and the C++ library's wide strings take 32-bit characters.
wide_functions='^(wcs|wmem|wcto|wcrtomb|wctomb|wctob|btowc|mbrtowc|mbtowc|mbs(n)?rtowcs|mbstowcs|v?f?wprintf'
wide_functions+='|v?swprintf|v?f?wscanf|v?swscanf|fputw|fgetws|putw|getwc|ungetwc|fwide|open_wmemstream|isw'
wide_functions+='|tow(lower|upper|ctrans)|__wcs|__isoc99_.*wscanf|__.*wprintf_chk|__wmem)|char_traitsIw'

# The finished library and programs, and every object file of ours: the test programs also hold the
# framework's own code, which uses such functions.
check_wide_functions() {
    cd "$root/build/linux" || return
    local file names code=0
    while read -r file; do
        names=$({ nm --undefined-only --format=posix "$file" 2>/dev/null
            nm --dynamic --undefined-only --format=posix "$file" 2>/dev/null; } |
            cut -d ' ' -f 1 | sed 's/@.*//' | grep -E "$wide_functions" | sort -u) || continue
        echo "$file: $(tr '\n' ' ' <<<"$names")"
        code=1
    done < <(find . -name '*.o' -not -path '*/CMakeFiles/3*'
        find lib -name '*.so'
        find bin -type f -executable -not -name '*_test')
    return "$code"
}

# install_fresh PRESET: an installation in an empty folder, moved after it was made.
install_fresh() {
    local prefix=$root/build/$1/consumer-prefix
    rm -rf "$prefix" "$prefix.made"
    cmake --install "$root/build/$1" --prefix "$prefix.made" >/dev/null || return
    mv "$prefix.made" "$prefix"
    (cd "$prefix" && find . -type f | sort)
}

# build_consumer PRESET [CMAKE ARGUMENT...]: builds tests/consumer against the installation.
build_consumer() {
    local preset=$1 dir=$root/build/$1/consumer
    shift
    rm -rf "$dir"
    cmake -G Ninja -S "$root/tests/consumer" -B "$dir" -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_PREFIX_PATH="$root/build/$preset/consumer-prefix" "$@" && cmake --build "$dir"
}

check_consumer_cmake() {
    install_fresh linux && build_consumer linux -DCMAKE_CXX_COMPILER=g++ &&
        "$root/build/linux/consumer/consumer"
}

check_consumer_pkg_config() {
    install_fresh linux || return
    local prefix=$root/build/linux/consumer-prefix pc_dir program flags
    pc_dir=$(dirname "$(find "$prefix" -name ZtkAgentLib.pc)")
    program=$root/build/linux/consumer-pkg-config
    flags=$(PKG_CONFIG_PATH=$pc_dir pkg-config --cflags --libs ZtkAgentLib) || return
    echo "flags: $flags"
    # shellcheck disable=SC2086  # the flags are several words
    g++ -std=c++20 -o "$program" "$root/tests/consumer/main.cpp" $flags &&
        LD_LIBRARY_PATH=$(dirname "$pc_dir") "$program"
}

# check_page_program PAGE PRESET: the host program that a page shows, its pieces put together as they
# stand there, compiles and links.
check_page_program() {
    local page=$1 build=$root/build/$2 program command
    program=$build/$(basename "$page" .md)
    case "$2" in
        linux) command=(g++ -fshort-wchar "-L$build/lib") ;;
        windows-x64) command=(x86_64-w64-mingw32-g++-posix "-L$build/src") ;;
    esac
    sed -n '/^```cpp$/,/^```$/{/^```/!p}' "$root/$page" >"$program.cpp"
    command+=(-std=c++20 -Wall -Wextra -Werror "-I$root/include" -o "$program" "$program.cpp" -lZtkAgentLib64)
    if [[ $2 == windows-* ]]; then
        command+=(-lole32 -loleaut32 -lws2_32)
    fi
    "${command[@]}"
}

# The 64-bit program runs with nothing but the installed bin folder to find DLLs in, so a DLL that the
# installation lacks stops it; and it holds no DLL that nobody needs.
check_consumer_windows() {
    local preset=$1 bin=$root/build/$1/consumer-prefix/bin
    install_fresh "$preset" &&
        build_consumer "$preset" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchains/$preset.cmake" &&
        check_needed_dlls "$bin" || return
    if [[ $preset == windows-x64 ]]; then
        export WINEPREFIX=$root/build/$preset/wine
        "$root/scripts/wine-run" --setup
        local code=0
        WINEPATH="Z:${bin//\//\\}" "$root/scripts/wine-run" "$root/build/$preset/consumer/consumer.exe" ||
            code=$?
        "$root/scripts/wine-run" --cleanup
        return "$code"
    fi
}

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
