# A USB camera's pictures follow the keys that are set through sensorcam.

make_tree
plug_in webcam Webcam
start_camera --device "$node"

# shows KEY=VALUE... CONTROL VALUE: the keys are set, and pictures are taken when the camera has that
shows() {
    ask set "$1"
    wait_for holds "$2" "$3"
    look "$node" 160 120
}

look "$node" 160 120
expect_between 126 129 "$(seen y)"
spread=$(seen spread)
shows brightness=80 brightness 38
expect_between 162 168 "$(seen y)"
shows brightness=20 brightness -38
expect_between 86 92 "$(seen y)"
shows 'brightness=50 contrast=25' contrast 16
expect_between $((${spread%.*} / 2 - 1)) $((${spread%.*} / 2 + 2)) "$(seen spread)"
shows 'contrast=50 saturation=0' saturation 0
expect 0.0 "$(seen colour)"
shows saturation=100 saturation 128
expect 80.0 "$(seen colour)"
shows 'saturation=50 expose_mode=manual fix_shutter=8' exposure_time_absolute 100
expect_between 62 65 "$(seen y)"

# So do those that it encodes. snapshot: sets green, of the last one
snapshot() {
    ask snapshot /run/snapshot.jpg
    echo 'colours /run/snapshot.jpg' | vm-frames "$node" >/tmp/colours
    cat /tmp/colours
    green=$(sed -n 's/^colours .* green \([0-9]*\) .*/\1/p' /tmp/colours)
}
snapshot
dark=$green
ask set fix_shutter=6
wait_for holds exposure_time_absolute 200
snapshot
expect_between $((dark + 40)) 255 "$green"
