# sensorcam on a USB camera, in a tree as a service manager makes it: what is set arrives at the device, outlives a restart
# and the device's absence, and is put back when another program has changed it.

make_tree
# run COMMAND...: at the camera that runs.
run() {
    in_tree sensorcam --in-place exec "$@"
}
runs() {
    run 'get brightness' >/tmp/answer
}

plug_in webcam Webcam
v4l2-ctl -d "$node" -c contrast=20
sensorcam devices >/tmp/list

expect_line "^  Webcam, $node, uvcvideo$" /tmp/list
identity=$(sensorcam devices --identity "$node")
expect 1d6b-0105-0001 "$identity"
expect '{"ok":true,"identity":"1d6b-0105-0001"}' "$(sensorcam --json devices --identity "$node")"

in_tree sensorcam --in-place --device "$node" exec 'set brightness=80' save 'get contrast' >/tmp/answer
cat /tmp/answer
expect 'device' "$(cat "$tree/state/model")"
expect_line "^camera = $identity$" "$tree/state/board"
expect generations/1 "$(readlink "$tree/state/current")"
expect 38 "$(value_of "$node" brightness)"

# The daemon knows its device from the state folder.
vm-notify /run/notify >/tmp/notify.log &
wait_for test -S /run/notify
v4l2-ctl -d "$node" -c brightness=0
in_tree env NOTIFY_SOCKET=/run/notify sensorcam --in-place daemon >/tmp/daemon.log 2>&1 &
daemon=$!
wait_for said notify READY=1
expect 38 "$(value_of "$node" brightness)" # ready means applied
expect_line '^STATUS=everything is applied$' /tmp/notify.log
wait_for test -S "$tree/state/shell.socket"
wait_for runs
expect_line 'KEY_BRIGHTNESS = 80' /tmp/answer
run 'set brightness=20' save
wait_for holds brightness -38

v4l2-ctl -d "$node" -c brightness=5
wait_for holds brightness -38 # the other program's is put back

tell webcam unplug
wait_for test ! -e "$node"
run 'set brightness=90' save
tell webcam plug
wait_for node_of Webcam
wait_for holds brightness 51

# It sleeps but for the library's turn and the camera's look, once a second each, and has little memory of its own.
process=$(pidof sensorcam)
sleep 15
before=$(wakes "$process")
sleep 60
after=$(wakes "$process")
echo "wake-ups in a minute: $((after - before))"
expect_between 0 150 $((after - before))
own=$(awk '/^Anonymous/ { print $2 }' "/proc/$process/smaps_rollup")
echo "memory of its own: $own KiB"
expect_between 0 8192 "$own"
kill "$process"
status=0
wait "$daemon" || status=$?
cat /tmp/daemon.log
expect 0 "$status"
v4l2-ctl -d "$(node_of Webcam)" -c brightness=0
in_tree sensorcam --in-place exec 'get brightness' >/tmp/answer
expect_line 'KEY_BRIGHTNESS = 90' /tmp/answer
