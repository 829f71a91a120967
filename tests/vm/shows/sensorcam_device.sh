# sensorcam on a USB camera, in a tree as a service manager makes it: what is set arrives at the device, outlives a restart
# and the device's absence, and is put back when another program has changed it.

camera=/camera
mkdir -p $camera/proc $camera/sys $camera/dev $camera/state/tmp $camera/tmp
for folder in bin etc lib lib64 root run usr work; do
    [ -d /$folder ] && mkdir -p $camera/$folder
done
ln -s /state/current/mnt $camera/mnt
ln -s /state/current/hd1 $camera/hd1

# in_tree ARGUMENT...: sensorcam there. Each has mounts of its own.
in_tree() {
    # shellcheck disable=SC2016
    unshare -m sh -c '
        for folder in /camera/*; do
            name=${folder#/camera/}
            case $name in
            mnt | hd1 | state) ;;
            tmp) mount --bind /camera/state/tmp /camera/tmp ;;
            *) mount --rbind "/$name" "$folder" ;;
            esac
        done
        exec chroot /camera sensorcam --in-place "$@"' sh "$@"
}
# run COMMAND...: at the camera that runs.
run() {
    in_tree exec "$@"
}
runs() {
    run 'get brightness' >/tmp/answer
}
holds() {
    [ "$(value_of "$(node_of Webcam)" "$1")" = "$2" ]
}

plug_in webcam Webcam
v4l2-ctl -d "$node" -c contrast=20
sensorcam devices >/tmp/list

expect_line "^  Webcam, $node, uvcvideo$" /tmp/list
identity=$(sensorcam devices --identity "$node")
expect 1d6b-0105-0001 "$identity"
expect '{"ok":true,"identity":"1d6b-0105-0001"}' "$(sensorcam --json devices --identity "$node")"

in_tree --device "$node" exec 'set brightness=80' save 'get contrast' >/tmp/answer
cat /tmp/answer
expect 'device' "$(cat $camera/state/model)"
expect_line "^camera = $identity$" $camera/state/board
expect generations/1 "$(readlink $camera/state/current)"
expect 38 "$(value_of "$node" brightness)"

# The daemon knows its device from the state folder.
in_tree daemon >/tmp/daemon.log 2>&1 &
daemon=$!
wait_for test -S $camera/state/shell.socket
wait_for runs
expect_line 'KEY_BRIGHTNESS = 80' /tmp/answer
grep -E '^(Vm|Rss|voluntary)' /proc/"$(pidof sensorcam)"/status
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

before=$(sed -n 's/^voluntary_ctxt_switches:[^0-9]*//p' /proc/"$(pidof sensorcam)"/task/*/status | awk '{ n += $1 } END { print n }')
sleep 60
after=$(sed -n 's/^voluntary_ctxt_switches:[^0-9]*//p' /proc/"$(pidof sensorcam)"/task/*/status | awk '{ n += $1 } END { print n }')
echo "wake-ups in a minute: $((after - before))"
cat /proc/"$(pidof sensorcam)"/smaps_rollup
kill "$(pidof sensorcam)"
wait "$daemon" || true
cat /tmp/daemon.log
v4l2-ctl -d "$(node_of Webcam)" -c brightness=0
in_tree exec 'get brightness' >/tmp/answer
expect_line 'KEY_BRIGHTNESS = 90' /tmp/answer
