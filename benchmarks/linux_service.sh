# shellcheck shell=sh disable=SC2154
# Run by ./bench in the virtual machine of tests/vm: the service of real cameras on two drivers, and v4l2-ctl doing the same.

plug_in webcam Webcam
(
    wait_for grep -q '^pull' /tmp/figures
    tell webcam unplug
    wait_for said webcam unplugged
    tell webcam plug
) &
missed=no
vm-service-cost "$node" replug >/tmp/figures || missed=yes
sed '/^pull/d; s/^/uvcvideo, /' /tmp/figures
vm-service-cost /dev/video0 >/tmp/figures || missed=yes
sed 's/^/vivid, /' /tmp/figures
hundredths() {
    tr -d . </proc/uptime | cut -d ' ' -f 1
}
begin=$(hundredths)
for value in 20 40 20 40 20 40 20 40 20 40; do
    v4l2-ctl -d /dev/video0 -c "brightness=$value,saturation=$value,contrast=$value"
done
echo "vivid, the switch by v4l2-ctl in a script: $((1000 * ($(hundredths) - begin))) us" # ten of them
expect no "$missed" # no target is missed
