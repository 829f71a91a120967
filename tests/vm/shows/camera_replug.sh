# A camera that is pulled out and plugged in again is a new one, with its defaults, and so is one that is pulled out while
# it is being set. Two cameras stand side by side.

plug_in webcam Webcam
v4l2-ctl -d "$node" -c brightness=20
tell webcam unplug
wait_for test ! -e "$node"
wait_for said webcam unplugged
tell webcam plug
wait_for node_of Webcam
again=$(node_of Webcam)
expect 0 "$(value_of "$again" brightness)"

tell webcam unplug-at contrast
wait_for said webcam 'unplug-at contrast: done'
expect_failure v4l2-ctl -d "$again" -c brightness=10 -c contrast=10
wait_for test ! -e "$again"
wait_for said webcam 'brightness = 10'
tell webcam heal
tell webcam plug
wait_for node_of Webcam

start plain vm-camera /cameras/plain
cheap() {
    grep -l '^Cheap' /sys/class/video4linux/video*/name
}
wait_for cheap
name=$(cheap | head -n 1)
expect 31 "$(head -c -1 "$name" | wc -c)"
expect "$(printf '\303')" "$(head -c -1 "$name" | tail -c 1)" # of a letter of two bytes
v4l2-ctl -d "/dev/$(basename "$(dirname "$name")")" -c red_balance=200
wait_for said plain 'blue_balance = 128'
wait_for said plain 'red_balance = 200'
