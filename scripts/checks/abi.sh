# The binary interface of the library for Linux: exported functions, and the layouts of what they take
# and give. scripts/abi has it as it was at the last release of this major version.
# shellcheck shell=bash

abi_baseline=$root/scripts/abi/linux-x64.abi

# Describes the library's interface. Left out are types that no public header defines, and all that
# differs between two builds of the same interface.
describe_abi() {
    abidw --exported-interfaces-only --headers-dir "$root/include/ztk" --drop-private-types \
        --no-corpus-path --no-comp-dir-path --no-show-locs --no-parameter-names --no-elf-needed \
        --no-write-default-sizes --type-id-style hash "$(library_of linux-x64)"
}

check_abi() {
    local current=$root/build/linux/linux-x64.abi
    describe_abi >"$current" || {
        echo "abidw cannot read $(library_of linux-x64)"
        return 1
    }
    abidiff --no-added-syms "$abi_baseline" "$current" && return
    cat <<END

Programs that were compiled with an earlier release of this major version would break: above is what
they rely on, and what became of it. Additions pass; what is there keeps its name, its parameters, its
place in an object and its place among the virtual functions. So add a function beside the old one
instead of changing it, and keep new state out of public objects (CONTRIBUTING.md, "Versions").

If no program can notice (as with a private member's type that got another name, or a function at the
end of an interface that only the library implements), or if this is to become a new major version:
scripts/test --update-abi
END
    return 1
}

update_abi() {
    [[ -e $(library_of linux-x64) ]] || die "there is no build of the library: scripts/test linux"
    "$root/scripts/setup" checks
    mkdir -p "$(dirname "$abi_baseline")"
    # Moved into place when it is complete.
    describe_abi >"$abi_baseline.new" || die "abidw cannot read the library"
    mv "$abi_baseline.new" "$abi_baseline"
    say "scripts/abi/linux-x64.abi: $(grep -c '<elf-symbol ' "$abi_baseline") symbols"
}
