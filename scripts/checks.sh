# The checks of scripts/test that are neither a build nor a test program. Each prints what is wrong and
# returns nonzero; each runs as a step of its own. Here are those of the sources and of what leaves the
# library; those of what is installed are in files of their own.
# shellcheck shell=bash

source "$root/scripts/checks/abi.sh"
source "$root/scripts/checks/consumers.sh"
source "$root/scripts/checks/packages.sh"
source "$root/scripts/checks/pages.sh"

cxx_files() {
    (cd "$root" && find bench examples fuzz include src tests -name '*.h' -o -name '*.cpp' | sort)
}

check_format() { (cd "$root" && cxx_files | xargs clang-format --dry-run -Werror); }

# Every include keeps to the table of rooms in docs/design.md.
check_rooms() {
    (cd "$root" && find src include/ztk -name '*.h' -o -name '*.cpp' | sort |
        xargs awk -f scripts/rooms.awk docs/design.md)
}

# Analyses the library and the examples with the flags of the clang build, all files that it compiles. The
# tests are left out: the framework's macros cost minutes and hide what is ours.
check_tidy() {
    cd "$root" || return
    cmake --preset linux-clang >/dev/null || return
    sed -n "s|^ *\"file\": \"$root/\(.*\)\".*|\1|p" build/linux-clang/compile_commands.json |
        grep -E '^(src|examples)/' | sort -u |
        xargs -P "$(nproc)" -n 2 clang-tidy --quiet -p build/linux-clang 2>&1 |
        { grep -v ' warnings\? generated\.$' || true; }
}

# Every public header is complete by itself. Where a flag is missing or the installation is that of
# another target, the first one that matters stops the compiler with a message that says so.
check_headers() {
    cd "$root/include" || return
    local header code=0
    while read -r header; do
        g++ -std=c++20 -fshort-wchar -Wall -Wextra -Wpedantic -Werror -I. -fsyntax-only -x c++ \
            -include "$header" /dev/null || code=1
    done < <(find ztk -name '*.h' -not -name windows.h -not -name windows_com.h | sort)
    headers_refuse "compile with -fshort-wchar" "$root/include" -std=c++20 || code=1
    headers_refuse "compile with -std=c++20" "$root/include" -std=c++17 -fshort-wchar || code=1
    local installed=$root/build/headers-of-one-target
    rm -rf "$installed"
    mkdir -p "$installed"
    cp -r ztk "$installed"
    rm "$installed"/ztk/platform/windows*.h
    headers_refuse "installed for Linux" "$installed" -std=c++20 -fshort-wchar -D_WIN32 || code=1
    rm "$installed/ztk/platform/posix.h"
    headers_refuse "installed for Windows" "$installed" -std=c++20 -fshort-wchar || code=1
    return "$code"
}

# headers_refuse WORDS FOLDER FLAG...: the first error that the compiler shows has these words.
headers_refuse() {
    local words=$1 folder=$2 output
    shift 2
    output=$(LC_ALL=C g++ "$@" "-I$folder" -fsyntax-only -x c++ -include ztk/ztk.h /dev/null 2>&1 |
        grep -m 1 'error:') || true
    [[ $output == *"$words"* ]] && return
    echo "with $*, the first error has to say \"$words\", and is: $output"
    return 1
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
