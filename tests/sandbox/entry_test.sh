#!/bin/bash
# How sandboxes are entered and left. Usage: entry_test.sh SANDBOX_PROGRAM
sandbox=$1
self=$(realpath "$0")
failures=0

check() {
    local what=$1
    shift
    "$@" || {
        echo "FAILED: $what"
        failures=$((failures + 1))
    }
}

# status_is STATUS COMMAND...
status_is() {
    local wanted=$1 status=0
    shift
    "$@" || status=$?
    [ "$status" = "$wanted" ]
}

runs() { pgrep -f "^sleep $1\$" >/dev/null; }

marker=9$RANDOM$$
common() {
    check "the command's exit status passes through" status_is 7 "$sandbox" run --bare -- sh -c 'exit 7'
    check "a killing signal shows in the status" status_is 143 "$sandbox" run --bare -- sh -c 'kill -TERM $$'
    check "a program that is not there is 127" status_is 127 "$sandbox" run --bare -- /nowhere/x 2>/dev/null
    check "a wrong call is 2" status_is 2 "$sandbox" run --wrong 2>/dev/null
    check "a wrong host is 1" status_is 1 "$sandbox" run --host <(echo 'system X') -- true 2>/dev/null
    check "a command without a host finds none" "$sandbox" run --bare -- test ! -e /usr/sap/sapservices
    check "a command finds the host" "$sandbox" run -- test -x /usr/sap/HXE/HDB90/exe/sapstartsrv
    "$sandbox" run -- sh -c "sleep $marker & setsid sleep $marker & sleep 0.1"
    check "what the command leaves behind ends with it" status_is 1 runs "$marker"
}

private() {
    # Each finds the same ports free, and a /tmp without the other's file; they overlap in time.
    local pids=() pid
    for _ in 1 2; do
        "$sandbox" run -- sh -c 'test ! -e /tmp/mark && touch /tmp/mark && sleep 0.5 &&
            pgrep -f "[H]DB90/exe/hdbindexserver" | wc -l | grep -qx 1' &
        pids+=($!)
    done
    for pid in "${pids[@]}"; do
        check "two sandboxes do not meet" wait "$pid"
    done
    "$sandbox" run --bare -- sleep "$marker" &
    pid=$!
    until runs "$marker"; do :; done
    kill -KILL "$pid"
    for _ in $(seq 100); do runs "$marker" && sleep 0.05; done
    check "nothing survives a killed sandbox" status_is 1 runs "$marker"
}

# Root without the right to make namespaces, on a machine whose /usr and /etc may be written to.
plain() {
    local before
    before=$(cat /etc/passwd /etc/group /etc/hosts)
    check "nothing is said to be private" grep -q "one sandbox at a time" <("$sandbox" probe)
    common 2>/dev/null
    "$sandbox" run -- sleep "$marker" 2>/dev/null &
    local pid=$!
    until runs "$marker"; do :; done
    kill -KILL $pid
    check "a killed run leaves its mark" test -e /usr/sap/.sandbox
    check "the next run removes what a killed one left" "$sandbox" run --bare -- \
        sh -c 'test ! -e /usr/sap/HXE && ! grep hxeadm /etc/passwd && ! pgrep -f "[H]DB90/exe"' 2>/dev/null
    "$sandbox" run -- sleep "$marker" 2>/dev/null &
    pid=$!
    until pgrep -P $pid -f "^sleep $marker|run --" >/dev/null; do :; done
    kill -TERM $pid
    wait $pid
    check "an ended run leaves nothing" test ! -e /usr/sap
    check "the files of names are as before" test "$before" = "$(cat /etc/passwd /etc/group /etc/hosts)"
    mkdir -p /usr/sap/HXE
    check "a /usr/sap that is not the sandbox's is not touched" status_is 2 "$sandbox" run -- true 2>/dev/null
    check "nor removed" test -d /usr/sap/HXE
    exit $failures
}

if [ "${2-}" = plain ]; then
    mkdir /tmp/layers && mount -t tmpfs none /tmp/layers && cd /tmp/layers && mkdir upper work etc etc_work
    mount -t overlay none -o lowerdir=/usr,upperdir=upper,workdir=work /usr && rmdir /usr/sap || exit 1
    umount /etc/passwd /etc/group /etc/hosts
    mount -t overlay none -o lowerdir=/etc,upperdir=etc,workdir=etc_work /etc || exit 1
    cd / || exit 1
    exec setpriv --bounding-set=-sys_admin --inh-caps=-sys_admin "$self" "$1" refused
fi
[ "${2-}" = refused ] && plain

common
case $("$sandbox" probe) in
*"private namespaces"*) private ;;
esac
case $("$sandbox" probe) in
*"as root"*) check "the plain way" "$sandbox" run --bare -- unshare --mount "$self" "$sandbox" plain ;;
*) echo "not run: the plain way, which takes root" ;;
esac
exit $failures
