# Shared by the scripts of this folder, which source it: set-up, headings, building.
#
# Nothing here asks a question or reads standard input, except for sudo's password. If everything is
# installed, a set-up costs one dpkg-query.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
jobs=$(nproc)
# Tests mostly wait, so more of them can run at a time.
test_jobs=$((2 * jobs))

# ccache needs these settings for precompiled headers. In CI each run has another folder: ccache
# then compares relative paths and ignores the folder, so that it can use objects of another clone.
# Debug information may then name that clone's folder.
export CCACHE_SLOPPINESS=${CCACHE_SLOPPINESS:-pch_defines,time_macros}
if [[ ${CI:-} == true ]]; then
    export CCACHE_BASEDIR=${CCACHE_BASEDIR:-$root} CCACHE_NOHASHDIR=${CCACHE_NOHASHDIR:-1}
fi

if [[ -t 1 && -z ${NO_COLOR:-} ]]; then
    bold=$'\e[1m' red=$'\e[31m' green=$'\e[32m' plain=$'\e[0m'
else
    bold='' red='' green='' plain=''
fi

heading() { printf '%s== %s%s\n' "$bold" "$*" "$plain"; }
die() {
    printf '%s%s%s\n' "$red" "$1" "$plain" >&2
    shift
    for line in "$@"; do printf '  %s\n' "$line" >&2; done
    exit 1
}

# listed_packages LIST...: the packages in files of scripts/packages, one a line. A line "@NAME"
# there includes the packages of another list.
listed_packages() {
    local list line
    for list in "$@"; do
        while IFS= read -r line; do
            line=${line%%#*}
            line=${line//[[:space:]]/}
            case $line in
            '') ;;
            @*) listed_packages "${line#@}" ;;
            *) printf '%s\n' "$line" ;;
            esac
        done <"scripts/packages/$list"
    done
}

# unpack_syslog_ng: syslog-ng as build/daemons/syslog-ng, for tests. Its package can't be installed
# beside another syslog daemon, so it is only unpacked in that folder. A Debian without it reports
# that, and the test stays disabled.
unpack_syslog_ng() {
    local root=$PWD/build/daemons
    [[ ! -x $root/syslog-ng ]] || return 0
    ! command -v syslog-ng >/dev/null || return 0
    command -v dpkg-deb >/dev/null || return 0
    rm -rf "$root"
    mkdir -p "$root"
    (cd "$root" && apt-get -q download syslog-ng-core libivykis0 libnet1 &&
        for package in *.deb; do dpkg-deb -x "$package" .; done) >"$root/log" 2>&1 || {
        echo "syslog-ng could not be had; its test is left out: $root/log" >&2
        return 0
    }
    local modules=("$root"/usr/lib/syslog-ng/[0-9]*)
    cat >"$root/syslog-ng" <<EOF
#!/bin/sh
LD_LIBRARY_PATH=$root/usr/lib/syslog-ng:\$(echo $root/usr/lib/*-linux-gnu) \\
    exec $root/usr/sbin/syslog-ng --module-path=${modules[0]} "\$@"
EOF
    chmod +x "$root/syslog-ng"
}

# missing_packages LIST...: those that are not installed, on one line.
missing_packages() {
    local installed
    # dpkg-query prints a package's plain name, even if the request has an architecture.
    installed=$(dpkg-query -W -f='${db:Status-Status} ${Package}\n' 2>/dev/null |
        sed -n 's/^installed //p')
    comm -23 <(listed_packages "$@" | sort -u) <(sort -u <<<"$installed") | tr '\n' ' '
}

# install_packages LIST...: installs the missing packages of the lists, and nothing else. Before
# that it reports how many packages it installs, including dependencies, and their size.
install_packages() {
    [[ ${CI:-} != true ]] || set -- "$@" ci
    command -v dpkg-query >/dev/null || {
        echo "This is no Debian system: these packages are taken to be there:" \
            "$(listed_packages "$@" | sort -u | tr '\n' ' ')" >&2
        return 0
    }
    local missing
    missing=$(missing_packages "$@")
    missing=${missing% }
    [[ -n $missing ]] || return 0
    local by_hand="apt-get update && apt-get install --no-install-recommends $missing"
    local as_root=()
    if [[ $EUID -ne 0 ]]; then
        command -v sudo >/dev/null || die "Packages are missing, and there is no sudo here." \
            "As root: $by_hand"
        # Without a terminal for a password, sudo must not ask for one.
        if [[ -t 0 ]]; then as_root=(sudo); else as_root=(sudo -n); fi
    fi
    local apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8
        apt-get -q -o DPkg::Lock::Timeout=300)
    # shellcheck disable=SC2206 # a list of words
    local install=(install --no-install-recommends $missing)
    heading "Packages are missing: reading the lists of what there is"
    "${apt[@]}" update </dev/null || die "The lists of packages could not be read." \
        "As root: $by_hand"
    # With --assume-no it prints its figures and then fails.
    local plan count size
    plan=$("${apt[@]}" --assume-no "${install[@]}" 2>&1 </dev/null || true)
    count=$(sed -n 's/.* \([0-9]*\) newly installed.*/\1/p' <<<"$plan")
    size=$(sed -n 's/^After this operation, \(.*\) of additional disk space.*/\1/p' <<<"$plan")
    heading "Installing ${count:-?} packages, ${size:-? MB} on the disk, for: $missing"
    "${apt[@]}" -y "${install[@]}" </dev/null || die "The packages could not be installed." \
        "As root: $by_hand"
}

# needs_own FOLDER: in the tree; it need not exist.
needs_own() {
    [[ ! -e $1 || -w $1 ]] || die "The folder $root/$1 belongs to another user." \
        "Remove it, or work in a clone of your own."
}

# configure PRESET: once, and again after packages were installed or removed, because CMake
# remembers what it didn't find. Changes of CMake's own files are noticed during the build.
configure() {
    needs_own build
    local made=build/$1/configured
    [[ -f build/$1/build.ninja && $made -nt /var/lib/dpkg/status && $made -nt CMakePresets.json ]] &&
        return 0
    local output
    output=$(cmake --preset "$1" 2>&1) || {
        printf '%s\n' "$output" >&2
        die "Configuring the preset $1 failed."
    }
    grep '^-- plinth: ' <<<"$output" || true
    touch "$made"
}

# alone PRESET COMMAND...: runs it while no other script configures or builds the preset.
alone() {
    local preset=$1
    shift
    mkdir -p build
    if [[ ! -w build ]]; then
        "$@" # fails, and reports why
        return
    fi
    (
        flock 9
        "$@"
    ) 9>"build/.$preset.lock"
}

# build PRESET [TARGET...]: configures if necessary. Beside other steps it has a low priority,
# because tests measure time.
build() { alone "$1" build_alone "$@"; }
build_alone() {
    local preset=$1
    shift
    configure "$preset"
    nice -n "${PLINTH_NICE:-0}" cmake --build "build/$preset" -j "$jobs" ${1:+--target "$@"} 9>&- ||
        die "The build of the preset $preset failed." \
            "Again: cmake --build build/$preset ${1:+--target $*}"
}

# skipped_tests PRESET: what the last run of ctest has skipped, and what each test needs.
skipped_tests() {
    local log=build/$1/Testing/Temporary/LastTest.log
    [[ -f $log ]] || return 0
    awk '/^[0-9]+\/[0-9]+ Testing: / { test = $3 }
        /needs .* \(Debian: .*\)$/ { sub(/.*needs /, "needs "); print "  " test ": " $0 }' \
        "$log" | sort -u
}

# fill_in DOCUMENT NAME: replaces the text between the lines "<!-- NAME: by SCRIPT -->" and
# "<!-- end of NAME -->" by standard input.
fill_in() {
    local document=$1 name=$2 text
    text=$(cat)
    grep -q "^<!-- $name: by " "$document" && grep -qF "<!-- end of $name -->" "$document" ||
        die "$document has no place for $name."
    awk -v name="$name" -v text="${text//\\/\\\\}" '
        $0 == "<!-- end of " name " -->" { inside = 0 }
        !inside { print }
        index($0, "<!-- " name ": by ") == 1 { print text; inside = 1 }' "$document" >"$document.new"
    mv "$document.new" "$document"
}

# The same as in CMakePresets.json, for programs that ctest doesn't start.
sanitizer_options() {
    export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
    export ASAN_OPTIONS=halt_on_error=1:detect_stack_use_after_return=1:intercept_tls_get_addr=0
    export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
}
