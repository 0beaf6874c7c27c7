# A user manager of systemd in this mount namespace, for FOLDER ($1) and the sample service ($2). Ends with 77 where none
# can be started.
[ "$(id -u)" = 0 ] && [ -x /lib/systemd/systemd ] && command -v systemctl dbus-daemon >/dev/null || exit 77
exec 9<"$3/manager.sh" && flock 9 # one manager at a time: they would share their groups of processes
mount -t tmpfs tmpfs /run || exit 77
mkdir -p /run/systemd/system /run/user/0
chmod 700 /run/user/0
export HOME="$1" XDG_RUNTIME_DIR=/run/user/0 NORQSTD_UNIT_DIRECTORY="$1/.config/systemd/user"
unset DBUS_SESSION_BUS_ADDRESS XDG_CONFIG_HOME NOTIFY_SOCKET INVOCATION_ID
mkdir -p "$NORQSTD_UNIT_DIRECTORY"
/lib/systemd/systemd --user >"$1/systemd" 2>&1 9<&- &
manager=$!
trap '/bin/kill -s RTMIN+24 $manager; wait $manager || true' EXIT
i=0
until [ "$(systemctl --user is-system-running 2>/dev/null)" = running ]; do
    i=$((i + 1))
    [ $i -lt 100 ] && kill -0 $manager 2>/dev/null || exit 77
    sleep 0.1 # between two looks
done

show() { systemctl --user show --value -p "$1" "$unit"; }
becomes() { # PROPERTY VALUE
    i=0
    until [ "$(show "$1")" = "$2" ]; do
        i=$((i + 1))
        [ $i -lt 200 ] || { echo "$1 is $(show "$1"), not $2"; exit 1; }
        sleep 0.1 # between two looks
    done
}
