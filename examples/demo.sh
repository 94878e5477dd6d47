#!/bin/bash
# What the example programs show on a simulated HANA host: demo.sh PROGRAM_FOLDER [HOST_FILE]
set -euo pipefail
programs=$1

# show INPUT PROGRAM ARGUMENT...: the command as one would type it, and what it prints.
show() {
    local input=$1
    shift
    printf '\n$ %s%s\n' "${input:+echo $input | }" "$*"
    printf '%s' "$input" | "$programs/$1" "${@:2}"
}

show Manager1 host_report --password-file -

# Another host has other instances, which nobody asked to be stopped.
[ -z "${2-}" ] || exit 0
show "" instance_tool stop HXE HDB90
show "" instance_tool start HXE HDB90
show Manager1 instance_tool stop HXE HDB90 TEN1 --password-file -
show Manager1 instance_tool start HXE HDB90 TEN1 --password-file -
