# shellcheck shell=bash
# Sourced by the tests of packages: small Debian systems of their own, made by debootstrap from the mirror that this
# machine's apt uses. A system is made once, in FOLDER, and copied for each use. Status 77: that cannot be done here.

skip() {
  echo "SKIPPED: $*"
  exit 77
}

# the_mirror: where this machine's apt has the packages of Debian from.
the_mirror() {
  # shellcheck disable=SC2016  # apt's own variables
  apt-get indextargets --format '$(ORIGIN) $(LABEL) $(REPO_URI)' 'Created-By: Packages' |
    sed -n 's/^Debian Debian \(.*\)$/\1/p' | head -n 1
}

# make_system FOLDER SUITE [PACKAGE...]: the folder of a system with nothing but what debootstrap calls minbase, and
# these packages.
make_system() {
  local folder=$1 suite=$2 mirror system
  shift 2
  system=$folder/$suite$(printf -- '-%s' "$@")
  [ $# -gt 0 ] || system=$folder/$suite
  if [ ! -e "$system.complete" ]; then
    rm -rf -- "$system"
    mkdir -p "$folder"
    if [ $# -eq 0 ]; then
      mirror=$(the_mirror)
      [ -n "$mirror" ] || return 1
      debootstrap --variant=minbase "$suite" "$system" "$mirror" >"$system.log" 2>&1 || return 1
    else
      make_system "$folder" "$suite" >/dev/null || return 1
      cp -a "$folder/$suite" "$system" || return 1
      { in_system "$system" apt-get update && in_system "$system" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y --no-install-recommends "$@"; } >"$system.log" 2>&1 || return 1
    fi
    touch "$system.complete"
  fi
  printf '%s\n' "$system"
}

# in_system SYSTEM COMMAND...: runs it there, with the kernel's file systems that are gone with it.
in_system() {
  # shellcheck disable=SC2016  # for the inner shell
  unshare --mount --pid --fork --kill-child sh -c '
    mount -t proc proc "$1/proc" && mount -t tmpfs tmpfs "$1/dev/shm" 2>/dev/null
    system=$1
    shift
    exec env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 chroot "$system" "$@"' sh "$@"
}

# can_make_systems: else the test ends here.
can_make_systems() {
  [ "$(id -u)" -eq 0 ] || skip 'a system of its own needs root'
  command -v debootstrap >/dev/null || skip 'no debootstrap here'
  unshare --mount --pid --fork true 2>/dev/null || skip 'this root cannot mount'
}

# files_of SYSTEM: each file with its kind, rights, size and, of a link, what it leads to; without what a packet manager
# remembers of what it did.
files_of() {
  (cd "$1" && find . -xdev \( -path ./proc -o -path ./sys -o -path ./dev -o -path ./tmp -o -path ./var/log -o -path ./var/cache \
    -o -path ./var/lib/apt -o -path './var/lib/dpkg/status*' -o -path './var/lib/dpkg/available*' \) -prune \
    -o \( -type d -printf '%p %y %m\n' -o -printf '%p %y %m %s %l\n' \)) | LC_ALL=C sort
}
