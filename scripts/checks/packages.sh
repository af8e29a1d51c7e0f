# What CPack makes of a build, unpacked somewhere and used by hosts.
# shellcheck shell=bash

# make_packages PRESET GENERATOR...: the packages of a build, alone in its folder packages.
make_packages() {
    local dir=$root/build/$1 generator
    shift
    rm -rf "$dir/packages"
    for generator in "$@"; do
        (cd "$dir" && cpack -G "$generator") || return
    done
}

# unpack_archives PRESET: each archive in a folder unpacked/SUFFIX; all have the same files.
unpack_archives() {
    local dir=$root/build/$1/unpacked archive suffix
    rm -rf "$dir"
    for archive in "$root/build/$1"/packages/ztkagentlib-*.{tar.gz,zip}; do
        [[ -e $archive ]] || continue
        suffix=${archive##*.}
        mkdir -p "$dir/made-$suffix"
        (cd "$dir/made-$suffix" && cmake -E tar xf "$archive") || return
        mv "$dir/made-$suffix"/* "$dir/$suffix"
        (cd "$dir/$suffix" && find . -type f | sort) >"$dir/$suffix.txt"
        diff "$dir/gz.txt" "$dir/$suffix.txt" || return
    done
    cat "$dir/gz.txt"
}

# The archive for Linux.
check_archive_linux() {
    local prefix=$root/build/linux/unpacked/gz
    make_packages linux TGZ && unpack_archives linux && build_consumers linux "$prefix" &&
        run_consumers linux "$prefix" && check_other_target "$prefix" Windows 64 "Linux, 64 bit"
}

# check_archives_windows PRESET: the 32-bit program is built only.
check_archives_windows() {
    local preset=$1 prefix=$root/build/$1/unpacked/zip bits=64
    make_packages "$preset" TGZ ZIP && unpack_archives "$preset" && check_needed_dlls "$prefix/bin" &&
        build_consumers "$preset" "$prefix" || return
    if [[ $preset == windows-x64 ]]; then
        under_wine run_consumers "$preset" "$prefix" || return
    else
        bits=32
        check_other_target "$prefix" Windows 64 "Windows, 32 bit" || return
    fi
    check_other_target "$prefix" Linux "$bits" "Windows, $bits bit"
}

# The packages for Debian but the one for debuggers, unpacked into one root as an installation would: a host is built against them
# with CMake and with pkg-config, and the library's package alone is enough to run it or to load the
# library by the name that has no version.
check_debian_packages() {
    local dir=$root/build/linux deb twice
    make_packages linux DEB || return
    rm -rf "$dir/debian-root" "$dir/debian-runtime"
    for deb in "$dir"/packages/*.deb; do
        dpkg-deb --info "$deb" && dpkg-deb --extract "$deb" "$dir/debian-root" || return
    done
    dpkg-deb --extract "$dir"/packages/libztkagentlib64-[0-9]*.deb "$dir/debian-runtime" || return
    twice=$(for deb in "$dir"/packages/*.deb; do dpkg-deb --contents "$deb"; done |
        awk '!/^d/ { print $6 }' | sort | uniq -d)
    if [[ -n $twice ]]; then
        echo "in two packages: $twice"
        return 1
    fi
    check_debian_fields && check_debian_consumer "$dir/debian-root/usr" "$dir/debian-runtime/usr/lib"
}

# What the packages say that they need.
check_debian_fields() {
    local packages=$root/build/linux/packages version code=0
    version=$(dpkg-deb --field "$packages"/libztkagentlib-dev_*.deb Version)
    dpkg-deb --field "$packages"/libztkagentlib64-[0-9]*.deb Depends | grep -E 'libc6 .*libexpat1 .*libstdc\+\+6' || {
        echo "the library's package does not depend on what the library needs"
        code=1
    }
    dpkg-deb --field "$packages"/libztkagentlib-dev_*.deb Depends | grep -E "^libztkagentlib64-[0-9]+ \(= $version\)" || {
        echo "the development package does not depend on the library's"
        code=1
    }
    if [[ $(dpkg-deb --field "$packages"/*-dbgsym_*.ddeb Build-Ids) != "$(build_id "$root/build/linux/debian-root")" ]]; then
        echo "the package for debuggers is for another library"
        code=1
    fi
    return "$code"
}

# build_id ROOT: what debuggers know the library by that is installed there.
build_id() { LC_ALL=C readelf --notes "$1/usr/lib/libZtkAgentLib64.so" | sed -n 's/.*Build ID: //p'; }

# check_debian_consumer PREFIX LIBRARY_FOLDER
check_debian_consumer() {
    local program=$root/build/linux/debian-consumer flags
    build_consumers linux "$1" && run_consumers linux "$1" || return
    flags=$(PKG_CONFIG_PATH=$1/lib/pkgconfig pkg-config --cflags --libs ZtkAgentLib) || return
    echo "flags: $flags"
    # shellcheck disable=SC2086  # the flags are several words
    g++ -std=c++20 -o "$program" "$root/tests/consumer/main.cpp" $flags &&
        LD_LIBRARY_PATH=$2 "$program" || return
    echo '#include <dlfcn.h>
        int main() { return dlopen("libZtkAgentLib64.so", RTLD_NOW) == nullptr; }' |
        g++ -x c++ - -o "$program" && LD_LIBRARY_PATH=$2 "$program" || {
        echo "the library's package does not let a host load libZtkAgentLib64.so"
        return 1
    }
    # The documentation has the examples as a project that builds.
    rm -rf "$root/build/linux/debian-examples"
    cmake -G Ninja -S "$1"/share/doc/ZtkAgentLib/examples -B "$root/build/linux/debian-examples" \
        -DCMAKE_PREFIX_PATH="$1" && cmake --build "$root/build/linux/debian-examples" --target ztk_search
}

# The preset for installations asks for nothing that only the tests need.
check_install_preset() {
    (cd "$root" && cmake --preset install -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON &&
        ! ninja -C build/install -t targets all | grep -E '_test: ')
}

# The recipes for other package managers name the version and the files that there are.
check_recipes() {
    cmake -DBUILD="$root/build/linux" -P "$root/packaging/check.cmake"
}
