#!/bin/bash
# What the tools show on a simulated HANA host: demo.sh PROGRAM_FOLDER [HOST_FILE]
set -euo pipefail
programs=$1

# show INPUT PROGRAM ARGUMENT...: the command as one would type it, and what it prints.
show() {
    local input=$1
    shift
    printf '\n$ %s%s\n' "${input:+echo $input | }" "$*"
    printf '%s' "$input" | "$programs/$1" "${@:2}"
}

show Manager1 gustaikrum-report --password-file=-

# Another host has other instances, which nobody asked to be stopped.
[ -z "${2-}" ] || exit 0
# An ordinary user's sandbox may have that user alone, and nobody there can become the system's administrator.
if [ "$(awk '{users += $3} END {print users}' /proc/self/uid_map)" = 1 ]; then
    printf '\nStopping and starting need a second user, whom this sandbox has not: run this as root to see them.\n'
    exit 0
fi
show "" gustaikrum-instance stop HXE HDB90
show "" gustaikrum-instance start HXE HDB90
show Manager1 gustaikrum-instance stop HXE HDB90 TEN1 --password-file=-
show Manager1 gustaikrum-instance start HXE HDB90 TEN1 --password-file=-
