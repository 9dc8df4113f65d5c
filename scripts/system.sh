# Sourced by scripts that try things in Debian systems of their own, after common.sh: makes such
# systems in a temporary folder, with debootstrap, and runs commands in them.
#
# It needs root, with the right to mount, and a mirror (PLINTH_DEBIAN_MIRROR, at first
# http://deb.debian.org/debian). It may be ended at any moment: all mounts are in a mount namespace
# of their own, the machine's /dev is not mounted, and removing the folder stays on its file system.

systems=$(mktemp -d)
chmod 755 "$systems" # the trial's users need access to it
running=
clean_up_systems() {
    # This ends everything in its process namespace, and then its mounts.
    if [[ -n $running ]] && kill -KILL "$running" 2>/dev/null; then wait "$running" || true; fi
    rm -rf --one-file-system "$systems"
}
trap clean_up_systems EXIT
trap 'exit 1' INT TERM HUP

# apart COMMAND...: runs it in a mount and a process namespace of its own. A signal can interrupt
# the wait for it.
apart() {
    unshare --mount --pid --fork --kill-child "$@" </dev/null &
    running=$!
    local status=0
    wait "$running" || status=$?
    running=
    return "$status"
}

# make_system NAME [PACKAGE,...]: a minimal Debian of this machine's release, with an empty /trial.
make_system() {
    local folder=$systems/$1 codename
    codename=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)
    heading "A minimal Debian ($codename) in $folder"
    apart debootstrap --variant=minbase ${2:+--include="$2"} "$codename" "$folder" \
        "${PLINTH_DEBIAN_MIRROR:-http://deb.debian.org/debian}" >"$systems/log" 2>&1 || {
        tail -n 5 "$systems/log" >&2
        die "debootstrap failed."
    }
    mkdir "$folder/trial"
}

# copy_system FROM TO, remove_system NAME
copy_system() { cp -a "$systems/$1" "$systems/$2"; }
remove_system() { rm -rf --one-file-system "${systems:?}/$1"; }

# shellcheck disable=SC2016 # the inner shell's variables
enter='
    set -e
    system=$1
    shift
    mount -t proc proc "$system/proc"
    mount -t tmpfs -o mode=755,nosuid tmpfs "$system/dev"
    cd "$system/dev"
    mknod -m 666 null c 1 3
    mknod -m 666 zero c 1 5
    mknod -m 666 full c 1 7
    mknod -m 666 random c 1 8
    mknod -m 666 urandom c 1 9
    mknod -m 666 tty c 5 0
    mkdir shm pts
    mount -t tmpfs -o mode=1777,nosuid,nodev tmpfs shm
    mount -t devpts -o newinstance,ptmxmode=666,mode=620 devpts pts
    ln -s pts/ptmx ptmx
    ln -s /proc/self/fd fd
    ln -s fd/0 stdin
    ln -s fd/1 stdout
    ln -s fd/2 stderr
    exec env -i PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
        HOME=/root TERM=dumb chroot "$system" "$@"'

# in_system NAME COMMAND...: runs it there as root.
in_system() {
    local name=$1
    shift
    apart bash -c "$enter" - "$systems/$name" "$@"
}
