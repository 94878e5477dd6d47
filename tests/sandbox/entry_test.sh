#!/bin/bash
# How sandboxes are entered and left. Usage: entry_test.sh SANDBOX_PROGRAM
sandbox=$1
self=$(realpath "$0")
marker=9$RANDOM$$
failures=0

# expect STATUS WHAT COMMAND...
expect() {
    local wanted=$1 what=$2 status=0
    shift 2
    "$@" || status=$?
    [ "$status" = "$wanted" ] && return
    echo "FAILED: $what"
    failures=$((failures + 1))
}

runs() { pgrep -f "^sleep $marker\$" >/dev/null; }

# await PID: waits until its command runs or it has ended.
await() { until runs || ! kill -0 "$1" 2>/dev/null; do sleep 0.01; done; }

common() {
    expect 7 "the command's exit status passes through" "$sandbox" run --bare -- sh -c 'exit 7'
    expect 143 "a killing signal shows in the status" "$sandbox" run --bare -- sh -c 'kill -TERM $$'
    expect 127 "a program that is not there" "$sandbox" run --bare -- /nowhere/x 2>/dev/null
    expect 2 "a wrong call" "$sandbox" run --wrong 2>/dev/null
    expect 1 "a wrong host" "$sandbox" run --host <(echo 'system X') -- true 2>/dev/null
    while IFS='|' read -r host complaint; do
        expect 0 "it is told: $complaint" grep -qF "$complaint" <("$sandbox" run --host <(printf '%b' "$host") -- true 2>&1)
    done <<'HOSTS'
host a\nsystem HXE {\n instance 90\n tenent X\n}|line 4: unknown key 'tenent'; possible here: defaults, ini, 
system HXE {\n instance 9\n}|line 2: 'instance 9' is not a name of the form [0-9][0-9]
host a\n\nsystem HXE {|line 3: unmatched {
system HXE {\n instance 00\n}\nsystem ABC {\n instance 00\n}|line 2: instance number 00 is taken
HOSTS
    "$sandbox" run --bare -- sh -c "sleep $marker & setsid sleep $marker & sleep 0.1"
    expect 1 "what the command leaves behind ends with it" runs
}

private() {
    # Nothing is at stake if it can be: only times are set.
    expect 0 "files of the machine cannot be changed" "$sandbox" run --bare -- \
        sh -c 'touch /tmp/mark || exit 2; for f in / /etc /usr /usr/bin/env /run "$0"; do ! touch -c "$f" || exit 1; done' \
        "$self" 2>/dev/null
    "$sandbox" run -- sh -c "touch /tmp/mark && exec sleep $marker" &
    await $!
    expect 0 "two sandboxes do not meet, and each has the same ports" "$sandbox" run -- \
        sh -c 'test ! -e /tmp/mark && pgrep -cf "[H]DB90/exe/hdbindexserver" | grep -qx 1'
    kill -KILL $!
    for _ in $(seq 100); do runs && sleep 0.05; done
    expect 1 "nothing survives a killed sandbox" runs
}

# Root without the right to make namespaces, on a machine whose /usr and /etc may be written to.
plain() {
    local before
    before=$(cat /etc/passwd /etc/group /etc/hosts)
    expect 0 "nothing is said to be private" grep -q "one sandbox at a time" <("$sandbox" probe)
    common 2>/dev/null
    "$sandbox" run -- sleep "$marker" 2>/dev/null &
    await $!
    kill -KILL $!
    expect 0 "the next run removes what a killed one left" "$sandbox" run --bare -- \
        sh -c 'test ! -e /usr/sap/HXE && ! grep hxeadm /etc/passwd && ! pgrep -f "[H]DB90/exe"' 2>/dev/null
    "$sandbox" run -- sleep "$marker" 2>/dev/null &
    await $!
    kill -TERM $!
    wait $!
    expect 0 "an ended run leaves nothing" test ! -e /usr/sap
    expect 0 "the files of names are as before" test "$before" = "$(cat /etc/passwd /etc/group /etc/hosts)"
    mkdir -p /usr/sap/HXE
    expect 2 "a /usr/sap that is not the sandbox's is not touched" "$sandbox" run -- true 2>/dev/null
    expect 0 "nor removed" test -d /usr/sap/HXE
    exit $failures
}

if [ "${2-}" = plain ]; then
    mkdir /tmp/layers && mount -t tmpfs none /tmp/layers && cd /tmp/layers && mkdir upper work etc etc_work
    if ! mount -t overlay -o lowerdir=/usr,upperdir=upper,workdir=work none /usr; then
        echo "not run: the plain way, which takes one overlay more than this file system bears"
        exit 0
    fi
    rmdir /usr/sap || exit 1
    umount /etc/passwd /etc/group /etc/hosts
    mount -t tmpfs none /run || exit 1
    mount -t overlay -o lowerdir=/etc,upperdir=etc,workdir=etc_work none /etc || exit 1
    cd / || exit 1
    exec setpriv --bounding-set=-sys_admin --inh-caps=-sys_admin "$self" "$1" refused
fi
[ "${2-}" = refused ] && plain

common
way=$("$sandbox" probe)
[[ $way != *"private namespaces"* ]] || private
if [[ $way == *"as root"* ]]; then
    expect 0 "the plain way" "$sandbox" run --bare -- unshare --mount "$self" "$sandbox" plain
else
    echo "not run: the plain way, which takes root"
fi
exit $failures
