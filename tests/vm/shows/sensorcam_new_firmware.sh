# A camera comes back with other controls under the same name, as after an update of its firmware: the daemon ends and says
# so, and the next one has documents of the new camera, with the values that were saved and that it still has.

make_tree
asked() {
    in_tree sensorcam --in-place exec "$@" >/tmp/answer
}

plug_in webcam Webcam
in_tree sensorcam --in-place --device "$node" daemon >/tmp/daemon.log 2>&1 &
daemon=$!
wait_for test -S $tree/state/shell.socket
wait_for asked 'set brightness=80 sharpness=100' save
wait_for holds brightness 38
expect generations/1 "$(readlink $tree/state/current)"

tell webcam unplug
wait_for test ! -e "$node"
sed '/^control sharpness/d; /^control hue/d' /cameras/webcam >/cameras/updated
plug_in updated Webcam
status=0
wait "$daemon" || status=$?
cat /tmp/daemon.log
expect 3 "$status"
expect_line 'Webcam.* has other controls now; start its camera again$' /tmp/daemon.log
expect generations/1 "$(readlink $tree/state/current)"

in_tree sensorcam --in-place daemon >/tmp/daemon.log 2>&1 &
wait_for test -S $tree/state/shell.socket
wait_for asked 'get brightness'
cat /tmp/daemon.log
expect_line 'generation 2 follows 1: the device has other controls$' /tmp/daemon.log
expect generations/2 "$(readlink $tree/state/current)"
expect 'KEY_BRIGHTNESS = 80' "$(cat /tmp/answer)"
wait_for holds brightness 38
expect_failure asked 'get sharpness'
test -d $tree/state/generations/1
