# shellcheck shell=dash disable=SC2154
# Installed on a machine that has never seen it, the package starts a service when a camera is plugged in, and what is set
# there arrives in the camera.

files >files-before
dpkg --install sensorcam.deb
[ "$(stat -c %a /usr/lib/sensorcam/root/state)" = 755 ] || fail "the skeleton is not as it should be"
expect 0 "$(running_services)"

plug_in webcam Webcam
camera=$(sensorcam devices --identity "$node")
echo "$camera" >camera
wait_for systemctl --quiet is-active "sensorcam@$camera"
systemctl show --property=StatusText "sensorcam@$camera"
systemd-analyze security --no-pager "sensorcam@$camera" | tail -n 1
systemd-analyze security --no-pager --threshold=20 "sensorcam@$camera" >/dev/null || fail "the service may do too much"
expect sensorcam "$(stat -c %U "/var/lib/sensorcam/$camera")"

ask 'set KEY_BRIGHTNESS=70' 'set KEY_SATURATION=80' save
expect_line '^brightness = ' /tmp/webcam.log
grep '^brightness = ' /tmp/webcam.log | tail -n 1 >brightness

# Back after it was unplugged, it is as it was.
lines=$(wc -l </tmp/webcam.log)
tell webcam unplug
wait_for test ! -e "$node"
wait_for said webcam unplugged
tell webcam plug
wait_for node_of Webcam
wait_for said_since "$lines" "$(cat brightness)"
