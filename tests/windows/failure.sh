# A service whose start fails.
. "$3/manager.sh"
unit=broken.service
printf '[Service]\nType=notify\nEnvironment=SAMPLE=start\nExecStart=%s\n' "$2" >"$NORQSTD_UNIT_DIRECTORY/$unit"
systemctl --user daemon-reload
! systemctl --user start "$unit"
[ "$(show ActiveState) $(show ExecMainStatus) $(show StatusErrno)" = "failed 2 13" ]
