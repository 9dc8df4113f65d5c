# Shared by the scripts of this folder, which source it: set-up, headings, building.
#
# Nothing here asks a question or reads standard input. A set-up that finds everything in place
# costs one dpkg-query.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
jobs=$(nproc)
# Tests wait more than they compute.
test_jobs=$((2 * jobs))

# What a precompiled header needs of ccache. In CI the folder of the clone differs from run to run:
# ccache then compares relative paths and leaves the folder out, so that what another clone compiled
# is of use. Debug information may then name the other clone's folder.
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

# The packages of packages.txt that are not installed, on one line.
missing_packages() {
    local wanted installed
    wanted=$(sed -e 's/#.*//' -e 's/[[:space:]]//g' -e '/^$/d' scripts/packages.txt)
    # dpkg-query knows a package by its plain name, also if it was asked for with an architecture.
    installed=$(dpkg-query -W -f='${db:Status-Status} ${Package}\n' 2>/dev/null |
        sed -n 's/^installed //p')
    comm -23 <(sort -u <<<"$wanted") <(sort -u <<<"$installed") | tr '\n' ' '
}

# Installs what is missing, and nothing else.
install_packages() {
    command -v dpkg-query >/dev/null || {
        echo "This is no Debian system: the packages of scripts/packages.txt are taken to be there." >&2
        return 0
    }
    local missing
    missing=$(missing_packages)
    [[ -n ${missing// /} ]] || return 0
    heading "Installing: $missing"
    local as_root=()
    if [[ $EUID -ne 0 ]]; then
        command -v sudo >/dev/null || die "Packages are missing, and there is no sudo here." \
            "As root: apt-get install --no-install-recommends $missing"
        # Where nobody can type a password, sudo is told not to ask for one.
        if [[ -t 0 ]]; then as_root=(sudo); else as_root=(sudo -n); fi
    fi
    local apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive
        apt-get -q -y -o DPkg::Lock::Timeout=300)
    # shellcheck disable=SC2086 # a list of words
    { "${apt[@]}" update && "${apt[@]}" install --no-install-recommends $missing; } </dev/null ||
        die "The packages could not be installed." \
            "As root: apt-get update && apt-get install --no-install-recommends $missing"
}

# configure PRESET: once; CMake itself sees later changes when it builds.
configure() {
    if [[ -e build && ! -w build ]]; then
        die "The folder $root/build belongs to another user." \
            "Remove it, or work in a clone of your own."
    fi
    [[ -f build/$1/build.ninja ]] && return 0
    local output
    output=$(cmake --preset "$1" 2>&1) || {
        printf '%s\n' "$output" >&2
        die "Configuring the preset $1 failed."
    }
}

# alone PRESET COMMAND...: while no other script configures or builds the preset.
alone() {
    local preset=$1
    shift
    mkdir -p build
    if [[ ! -w build ]]; then
        "$@" # fails, and says why
        return
    fi
    (
        flock 9
        "$@"
    ) 9>"build/.$preset.lock"
}

# build PRESET [TARGET...]: configures if need be. Beside other steps it leaves the processors to
# tests, which measure time.
build() { alone "$1" build_alone "$@"; }
build_alone() {
    local preset=$1
    shift
    configure "$preset"
    nice -n "${PLINTH_NICE:-0}" cmake --build "build/$preset" -j "$jobs" ${1:+--target "$@"} 9>&- ||
        die "The build of the preset $preset failed." \
            "Again: cmake --build build/$preset ${1:+--target $*}"
}

# fill_in DOCUMENT NAME: what stands between the lines "<!-- NAME: by SCRIPT -->" and
# "<!-- end of NAME -->" becomes standard input.
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

# For programs that ctest doesn't start: as in CMakePresets.json, where it finds them.
sanitizer_options() {
    export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
    export ASAN_OPTIONS=halt_on_error=1:detect_stack_use_after_return=1:intercept_tls_get_addr=0
    export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
}

# The largest file of the checkout, or of the folder if it is none.
largest_file() {
    { git ls-files -z 2>/dev/null || find . -path ./build -prune -o -path ./.git -prune -o -type f -print0; } |
        xargs -0 -r stat --printf='%s %n\n' 2>/dev/null | sort -n | tail -n 1 | cut -d' ' -f2-
}
