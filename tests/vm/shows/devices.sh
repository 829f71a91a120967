# What is plugged in is told with what it takes; a camera is the same one at any port, and is heard of when it comes, goes
# and is used by somebody else; what cannot be had is told with what to do.

# listed REGEX: a camera of that identity
listed() {
    vm-devices >/tmp/list
    grep -qx "camera $1" /tmp/list
}

plug_in webcam Webcam
serial=1d6b-0105-0001
wait_for listed $serial
expect_line '^camera vivid-platform.vivid-000$' /tmp/list
expect_line "^  Webcam, $node, uvcvideo$" /tmp/list
expect_line '^  KEY_BRIGHTNESS  *Brightness  *0 to 100$' /tmp/list
expect_line '^  without a key: .*Hue' /tmp/list
expect 2 "$(grep -c '^camera' /tmp/list)" # its second node is none

# Another camera takes its port while it is away, and its node.
port=$(cat "/sys/class/video4linux/${node##*/}/device/../devpath")
start follow vm-devices follow "$node"
wait_for said follow "camera $node"
tell webcam unplug
wait_for said follow 'no camera'
start plain vm-camera /cameras/plain
wait_for listed "1d6b-0106_pvhci-hcd.0-$port"
tell webcam plug
wait_for node_of Webcam
again=$(node_of Webcam)
wait_for said follow "camera $again"
wait_for listed $serial
[ "$again" != "$node" ] || fail "it has the same node"
[ "$port" != "$(cat "/sys/class/video4linux/${again##*/}/device/../devpath")" ] || fail "it has the same port"

# Two that are alike differ by their ports.
start twin vm-camera /cameras/webcam
twins_are_listed() {
    listed "${serial}_pvhci-hcd.0-.*" && [ "$(grep -c "^camera ${serial}_pvhci-hcd.0-" /tmp/list)" = 2 ]
}
wait_for twins_are_listed
tell twin unplug
wait_for listed $serial

uses=$(grep -cxF used /tmp/follow.log || true)
used_again() {
    [ "$(grep -cxF used /tmp/follow.log)" -gt "$uses" ]
}
v4l2-ctl -d "$again" -c brightness=10
wait_for used_again
# shellcheck disable=SC2217 # it only holds the node open
sleep 1000 <"$again" &
user=$!
wait_for listed $serial
expect_line "^  in use by .*process $user (sleep)" /tmp/list
kill $user

mkdir -p /etc
echo 'video:x:44:' >/etc/group
printf 'root:x:0:0::/:/bin/sh\nanna:x:1000:1000::/:/bin/sh\n' >/etc/passwd
chgrp video "$again"
chmod 660 "$again"
su anna -c vm-devices >/tmp/list
rm /etc/group /etc/passwd
expect_line "^  you may not open $again: you are not in the group video; as root: usermod -aG video anna, then log in again$" /tmp/list
expect_line "^camera $serial$" /tmp/list

start hid vm-hid
wait_for test -e /dev/gpiochip0
wait_for test -e /sys/class/leds/luxafor0:red:led0/brightness
vm-devices >/tmp/list
expect_line '^lamp luxafor0:red:led0$' /tmp/list
expect_line '^  cp2112_gpio, lines 0 to 7$' /tmp/list
printf '%s\n' 'camera = 0001' 'lamp = near=luxafor0:red:led0' 'filter = cp2112_gpio:3' >/tmp/board
vm-devices describe /tmp/board >/tmp/description
expect Webcam "$(head -n 1 /tmp/description)"
expect_line '^uvcvideo 6\.' /tmp/description
expect_line '^Brightness = 10$' /tmp/description
expect_line '^luxafor0:red:led0 = 0$' /tmp/description
expect_line '^Infrared-cut filter$' /tmp/description

gpioset --mode=signal /dev/gpiochip0 3=1 &
in_use='line 3 of /dev/gpiochip0 is in use by gpioset'
is_in_use() {
    vm-devices describe /tmp/board | grep -qxF "$in_use"
}
wait_for is_in_use
sed -i 's/near=.*/near=lost/' /tmp/board
expect 'there is no lamp lost; sensorcam devices shows what there is' "$(vm-devices describe /tmp/board)"
sed -i 's/0001/nobody/' /tmp/board
vm-devices describe /tmp/board >/tmp/description || true
expect 'no camera is called nobody; there is:' "$(head -n 1 /tmp/description)"
