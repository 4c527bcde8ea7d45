# shellcheck shell=bash
# What script/windows-root and script/debian-root share: roots are folders that hold another system, made once per
# machine. Source it after script/common.sh.

# shellcheck disable=SC2034 # the scripts use it
roots=${XDG_CACHE_HOME:-$HOME/.cache}/qbase

say()
{
    echo "$*" >&2
}

# The mirror and the release of the archive that this machine's own packages come from.
main_archive()
{
    debian_sources deb | awk '$4 !~ /-/ { print $3, $4; exit }'
}

# Whether a folder may hold devices that work and programs that run, as the root of a system does.
can_hold_system()
{
    local trial=$1/trial
    rm -f "$trial" && mknod "$trial" c 1 3 2>/dev/null && echo >"$trial" || return
    rm -f "$trial" && printf '#!/bin/sh\n:\n' >"$trial" && chmod +x "$trial" && "$trial" && rm -f "$trial"
} 2>/dev/null

# Calls refuse, which ends the script, where roots cannot be made. $1 is where the next one would be.
require_roots()
{
    ((EUID == 0)) || refuse 'only root can make a root folder of another system'
    [[ $(uname -m) =~ ^(x86_64|i.86)$ ]] || refuse "a $(uname -m) processor does not run its programs"
    command -v debootstrap >/dev/null || refuse 'debootstrap is not installed'
    unshare --mount --pid --fork true 2>/dev/null || refuse 'the system lets nobody make mounts of their own'
    mkdir -p "$1" || refuse "$1 cannot be made"
    can_hold_system "$1" || refuse "$1 cannot hold devices and programs"
}

# install_base FOLDER DEBOOTSTRAP ARGUMENT...: a bare Debian of the machine's own release.
install_base()
{
    local folder=$1 mirror release
    shift
    read -r mirror release < <(main_archive)
    if [[ -z ${release:-} ]]; then
        say 'apt reads no archive of Debian'
        return 1
    fi
    rm -rf "$folder"
    mkdir -p "$folder" || return 1
    debootstrap --variant=minbase "$@" "$release" "$folder" "$mirror" >&2 || {
        tail -n 5 "$folder/debootstrap/debootstrap.log" >&2
        return 1
    }
    rm -f "$folder"/var/cache/apt/archives/*.deb
    echo '127.0.0.1 localhost' >"$folder/etc/hosts"
}
