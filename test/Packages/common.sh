# shellcheck shell=bash
# What the trials of the Debian packages share. They run as root inside a Debian that nobody else uses.

set -eu

# Every file of the system except what belongs to the package manager and to nobody.
list_files()
{
    find / \( -path /proc -o -path /sys -o -path /dev -o -path /tmp -o -path /run -o -path "$PWD" -o \
        -path '/var/lib/apt' -o -path '/var/lib/dpkg' -o -path '/var/cache' -o -path '/var/log' \) -prune -o \
        -printf '%y %m %p\n' | sort
}

expect_nothing_left()
{
    list_files >/tmp/after
    if ! diff /tmp/before /tmp/after; then
        echo 'error: removing the packages left other files than there were before'
        exit 1
    fi
    if dpkg-query -W -f '${Package} ${Status}\n' '*qbase*' quirl 2>/dev/null | grep -v 'not-installed'; then
        echo 'error: the package manager still knows the packages'
        exit 1
    fi
}

# expect TEXT COMMAND...: what the command prints has to contain the text.
expect()
{
    local text=$1 output
    shift
    output=$("$@" 2>&1) || {
        echo "$output"
        echo "error: $* failed"
        exit 1
    }
    if [[ $output != *"$text"* ]]; then
        echo "$output"
        echo "error: $* did not print: $text"
        exit 1
    fi
}

install()
{
    apt-get install --yes --no-install-recommends "$@"
}
