# sensorcam in the private tree that bubblewrap makes: the process outside hands the devices in, anew after each replug.

export HOME=/run
state=$HOME/.local/state/sensorcam/devices/1d6b-0105-0001

plug_in webcam Webcam
outside --device "$node" exec 'set brightness=80' save
expect 38 "$(value_of "$node" brightness)"
expect generations/1 "$(readlink $state/current)"

bridge_is_there() {
    [ -n "$(ls /sys/bus/gpio/devices)" ]
}
bridge_is_gone() {
    ! bridge_is_there
}
start hid vm-hid
hid=$!
wait_for bridge_is_there
wait_for test -e /sys/class/leds/luxafor0:red:led0/brightness
outside --device 0001 --lamp near=luxafor0:red:led0 --filter cp2112_gpio:3 daemon &
wait_for test -S $state/shell.socket
outside --state $state exec 'set brightness=20' save
wait_for holds brightness -38
v4l2-ctl -d "$node" -c brightness=5
wait_for holds brightness -38
tell webcam unplug
wait_for test ! -e "$node"
outside --device 1d6b-0105-0001 exec 'set brightness=90' save # known by its folder
tell webcam plug
wait_for node_of Webcam
wait_for holds brightness 51

wait_for grep '^line 3' /tmp/hid.log
line=$(grep '^line 3' /tmp/hid.log | tail -n 1)
kill "$hid"
wait "$hid" || true
wait_for bridge_is_gone
start hid vm-hid
wait_for said hid "$line"
