# shellcheck shell=dash disable=SC2154
# What was set is there after a reboot and an upgrade; without the package nothing is left.

camera=$(cat camera)
expect 0 "$(running_services)"
plug_in webcam Webcam
wait_for systemctl --quiet is-active "sensorcam@$camera"
expect_line "^$(cat brightness)$" /tmp/webcam.log
ask 'get KEY_BRIGHTNESS' | grep -q '= 70' || fail "the brightness is lost"

before=$(systemctl show --property=MainPID "sensorcam@$camera")
dpkg --install sensorcam-newer.deb
wait_for systemctl --quiet is-active "sensorcam@$camera"
[ "$(systemctl show --property=MainPID "sensorcam@$camera")" != "$before" ] || fail "the old program still runs"
ask 'get KEY_BRIGHTNESS' | grep -q '= 70' || fail "the upgrade has lost the brightness"

# Somebody does not want it for this camera.
systemctl mask --now "sensorcam@$camera"
expect '' "$(systemctl list-units --no-legend --plain --state=failed 'sensorcam@*')"
tell webcam unplug
wait_for test ! -e "$node"
wait_for said webcam unplugged
tell webcam plug
wait_for node_of Webcam
udevadm settle
expect 0 "$(running_services)"
systemctl unmask "sensorcam@$camera"
systemctl start "sensorcam@$camera"

dpkg --remove sensorcam
expect 0 "$(running_services)"
[ -d "/var/lib/sensorcam/$camera" ] || fail "removing the package has taken the settings along"
dpkg --purge sensorcam
expect_failure id sensorcam
expect_failure systemctl cat "sensorcam@$camera"
files >files-after
diff files-before files-after
