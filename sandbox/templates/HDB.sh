#!/bin/sh
# Starts and stops the servers of @SID@ @INSTANCE@, as the instance's administrator.

test -z "$SANDBOX_NO_OVERRIDE" && test -x @DIR@/HDB.override && exec @DIR@/HDB.override "$@"
unset SANDBOX_NO_OVERRIDE

echo "uid=$(id -u) gid=$(id -g) groups=$(id -G) LD_LIBRARY_PATH=$LD_LIBRARY_PATH" \
    "HDB_START_TIMEOUT=$HDB_START_TIMEOUT HDB_STOP_TIMEOUT=$HDB_STOP_TIMEOUT arguments=$*" >>@STATE@/@INSTANCE@.runs
chmod -f 0666 @STATE@/@INSTANCE@.runs

sapcontrol="/usr/sap/@SID@/SYS/exe/hdb/sapcontrol -prot NI_HTTP -nr @NUMBER@ -function"

running() {
    pid=$(cat "@STATE@/@INSTANCE@.$1.pid" 2>/dev/null) && kill -0 "$pid" 2>/dev/null
}

report() {
    printf '\n%s\n%s\n%s\n' "$(date '+%d.%m.%Y %H:%M:%S')" "$1" "$2"
}

fail_if_told() {
    test -s @STATE@/@INSTANCE@.failure || return 0
    report "$1" "FAIL: $(cat @STATE@/@INSTANCE@.failure)"
    exit 1
}

start() {
    printf 'StartService\nImpromptu CCC initialization by '"'"'rscpCInit'"'"'.\n  See SAP note 1266393.\n'
    running sapstartsrv || @DIR@/exe/sapstartsrv pf=@PROFILE@ -D -u @USER@ || exit 1
    printf 'OK\nOK\nStarting instance using: %s StartWait 2700 2\n' "$sapcontrol"
    report Start OK
    sleep 0.1
    fail_if_told StartWait
    while read -r server port; do
        running "$server" && continue
        @DIR@/exe/"$server" -port "$port" </dev/null || {
            report StartWait "FAIL: process $server not running"
            exit 1
        }
    done <@STATE@/@INSTANCE@.servers
    report StartWait OK
}

stop() {
    echo "hdbdaemon will wait maximal 300 seconds for NewDB services finishing."
    echo "Stopping instance using: $sapcontrol Stop 400"
    report Stop OK
    echo "Waiting for stopped instance using: $sapcontrol WaitforStopped 600 2"
    sleep 0.1
    fail_if_told WaitforStopped
    while read -r server port; do
        running "$server" && kill "$pid"
        while running "$server"; do sleep 0.02; done
    done <@STATE@/@INSTANCE@.servers
    report WaitforStopped OK
    echo "hdbdaemon is stopped."
}

case "$1" in
start) start ;;
stop) stop ;;
restart) stop && start ;;
*)
    echo "Usage: HDB { start | stop | restart }" >&2
    exit 1
    ;;
esac
