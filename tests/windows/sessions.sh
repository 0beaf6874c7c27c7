# Session files as logind writes them; what reads and watches them is the system's library.
[ "$(id -u)" = 0 ] && mount -t tmpfs tmpfs /run || exit 77
mkdir -p /run/systemd/sessions
mkfifo "$1/lines"
export NOTIFY_SOCKET="$1/nobody" NORQSTD_DEBUG_OUTPUT="$1/log"
session() { # NAME CLASS REMOTE
    printf 'UID=0\nUSER=root\nACTIVE=1\nSTATE=active\nREMOTE=%s\nTYPE=tty\nCLASS=%s\n' "$3" "$2" >/run/systemd/new
    mv /run/systemd/new "/run/systemd/sessions/$1"
}
expect() {
    IFS= read -r line <&3
    [ "$line" = "$1" ] || { echo "'$line', not '$1'"; kill $service; exit 1; }
}

session 4 user 0 # before the service, and not told
"$2" >"$1/lines" &
service=$!
exec 3<"$1/lines"
expect onStart
i=0
until grep -q inotify /proc/$service/fdinfo/* && grep -q '^7 ' /proc/$service/syscall; do # it watches, and polls
    i=$((i + 1))
    [ $i -lt 200 ] || { echo 'it does not watch'; kill $service; exit 1; }
    sleep 0.1 # between two looks
done
session 5 user 1
expect 'logon root 1 5'
expect 'remote root 1 5'
session c7 user 0
expect 'logon root 1 2147483655'
session 8 greeter 0
rm /run/systemd/sessions/5
expect 'logoff root 1 5'
kill $service
expect onStop
wait $service
