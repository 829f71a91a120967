# shellcheck shell=dash disable=SC2154
# Run by ./bench in the virtual machine of tests/vm: the service of real cameras on two drivers, v4l2-ctl doing the same,
# and what four cameras cost, each with a daemon in a tree of its own.

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

tell webcam unplug
wait_for test ! -e "$node"
ready=''
for number in 1 2 3 4; do
    sed "s/^product .*/product Webcam$number/; s/^serial .*/serial 000$number/" /cameras/webcam >"/cameras/webcam$number"
    plug_in "webcam$number" "Webcam$number"
    tree=/camera/$number # a tree shows none of the others
    make_tree
    in_tree sensorcam --in-place --device "$node" exec 'set brightness=80' save >/tmp/answer
    notices=/tmp/notices$number
    mkfifo "$notices"
    vm-notify "/run/notify$number" 1<>"$notices" & # a pipe open both ways waits for nobody
    wait_for test -S "/run/notify$number"
    # shellcheck disable=SC2016
    in_tree env NOTIFY_SOCKET="/run/notify$number" sh -c '
        read -r now idle </proc/uptime
        echo "$now" >/tmp/began
        exec sensorcam --in-place daemon' &
    grep -qx READY=1 "$notices"
    ready="$ready $((10 * ($(hundredths) - $(tr -d . <"$tree/state/tmp/began"))))"
    expect 38 "$(value_of "$node" brightness)"
done
echo "uvcvideo, four daemons, one started after the other, start to ready in ms, each:$ready"

# Of each daemon a line: how often it woke up, what its threads had of the processor in ns, memory of its own in KiB.
daemons() {
    local process
    for process in $(pidof sensorcam); do
        echo "$(wakes "$process")" \
            "$(awk '{ n += $1 } END { printf "%.0f", n }' "/proc/$process"/task/*/schedstat)" \
            "$(awk '/^Anonymous/ { print $2 }' "/proc/$process/smaps_rollup")"
    done
}
sleep 15 # what follows a start is over
daemons >/tmp/before
sleep 60
daemons >/tmp/after
expect 4 "$(wc -l </tmp/after)"
paste -d ' ' /tmp/before /tmp/after | awk '
    { wakes = wakes " " $4 - $1; busy += $5 - $2; each = each " " $6; own += $6; missed = missed || $6 > 8192 }
    END {
        printf "uvcvideo, four daemons at rest, processor time in a minute: %.1f ms\n", busy / 1e6
        printf "uvcvideo, four daemons at rest, wake-ups in a minute, each:%s\n", wakes
        printf "uvcvideo, four daemons at rest, memory of their own: %d KiB, each:%s, target 8192, %s\n",
            own, each, missed ? "MISSED" : "met"
        exit missed
    }' || missed=yes
expect no "$missed" # no target is missed
