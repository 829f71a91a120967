# tests/hardware on the USB camera, as if it were somebody's: every claim holds, and the camera is left as it was, also when
# the script is ended in the middle.

plug_in webcam Webcam
v4l2-ctl -d "$node" -c contrast=20,auto_exposure=1,exposure_time_absolute=77,focus_automatic_continuous=0
v4l2-ctl -d "$node" -c focus_absolute=500 --set-parm=15
state_of() {
    v4l2-ctl -d "$(node_of Webcam)" -L --get-parm --get-fmt-video
}
state_of >/tmp/before

hardware --device "$node" --sensorcam outside --replug >/tmp/said &
script=$!
left=600
until grep -q 'pull the' /tmp/said || [ "$left" = 0 ]; do
    left=$((left - 1))
    usleep 100000
done
tell webcam unplug
wait_for grep -q 'put it in' /tmp/said
tell webcam plug
wait "$script" || fail "$(cat /tmp/said)"
grep -v '=.*: ' /tmp/said
state_of | diff /tmp/before -

hardware --device "$(node_of Webcam)" --sensorcam outside >/tmp/said &
script=$!
wait_for grep -q contrast=100 /tmp/said
kill "$script"
status=0
wait "$script" || status=$?
expect 143 "$status"
state_of | diff /tmp/before -
