# The installed sample service from its start to its removal.
. "$3/manager.sh"
unit='norqstd\x20sample.service'
"$2" -i
sed -i '/^Requires=\|^After=/d' "$NORQSTD_UNIT_DIRECTORY/$unit" # of which there are none here
mkdir "$NORQSTD_UNIT_DIRECTORY/$unit.d"
printf '[Service]\nEnvironment=SAMPLE=legacy NORQSTD_DEBUG_OUTPUT=%s/log\nWatchdogSec=10\n' "$1" \
    >"$NORQSTD_UNIT_DIRECTORY/$unit.d/sample.conf"
systemctl --user daemon-reload
systemctl --user start "$unit"
first=$(show MainPID)
[ "$first" != 0 ]
becomes StatusText Running
told=$(show WatchdogTimestampMonotonic)
i=0
until [ "$(show WatchdogTimestampMonotonic)" != "$told" ]; do # it is kept alive
    i=$((i + 1))
    [ $i -lt 200 ] || { echo 'no sign of life'; exit 1; }
    sleep 0.1 # between two looks
done
systemctl --user kill --kill-who=main -s RTMIN+2 "$unit"
becomes StatusText Paused
systemctl --user kill --kill-who=main -s RTMIN+3 "$unit"
becomes StatusText Running
/bin/kill -q 201 -s RTMIN+1 "$first"
systemctl --user reload "$unit"
systemctl --user restart "$unit"
[ "$(show MainPID)" != "$first" ]
becomes StatusText Running
systemctl --user stop "$unit"
[ "$(show ActiveState) $(show Result)" = "inactive success" ]
"$2" -u
[ ! -e "$NORQSTD_UNIT_DIRECTORY/$unit" ]
cat "$1/log"
