# Sourced by the scripts that scripts/package runs inside a separate Debian system, in /trial.
set -euo pipefail
export DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 HOME=/root
cd /trial

step() { printf -- '-- %s\n' "$*"; }
fail() {
    printf 'FAILED: %s\n' "$*" >&2
    exit 1
}
# expect WHAT WANTED GOT
expect() { [[ $3 == "$2" ]] || fail "$1: expected \"$2\", got \"$3\""; }
quietly() { "$@" >/trial/output 2>&1 || { cat /trial/output >&2; fail "$*"; }; }

# install_needs FILE...: the packages' dependencies other than each other, and programs that use
# them.
install_needs() {
    local dependencies
    step "What they need: compiler, CMake and the packages that ours depend on"
    quietly apt-get -q update
    quietly apt-get -q -y install --no-install-recommends g++ cmake make pkgconf libdw1 acl
    dependencies=$(apt-get -s install --no-install-recommends "${@/#/./}" |
        sed -n 's/^Inst \([^ ]*\).*/\1/p' | grep -v plinth || true)
    # shellcheck disable=SC2086 # a list of words
    [[ -z $dependencies ]] || quietly apt-get -q -y install --no-install-recommends $dependencies
}

# Everything in the system, except files that a start clears (/run), files that any package changes,
# and the trial's own files in /trial and /home.
inventory() {
    find / -xdev \( -path /proc -o -path /dev -o -path /run -o -path /trial -o -path /home \
        -o -path /var/log -o -path /var/cache -o -path '/var/lib/dpkg/*' -o -path '/var/lib/apt/*' \
        \) -prune -o -path /etc/ld.so.cache -o -name 'group-' -o -name 'gshadow-' \
        -o -printf '%M %u:%g %p %l\n' | sort
    cat /etc/passwd /etc/group
    find /var/lib/dpkg/info -name '*plinth*'
    ldconfig -p | grep plinth || true
}
