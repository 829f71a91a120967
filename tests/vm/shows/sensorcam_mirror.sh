# The pictures of the kernel's test camera are mirrored by the key.

make_tree
node=$(node_of vivid-000-vid-cap)
v4l2-ctl -d "$node" -v width=320,height=180,pixelformat=YUYV >/dev/null
v4l2-ctl -d "$node" -c osd_text_mode=2,test_pattern=0 >/dev/null # colour bars, and no text over them
start_camera --device "$node"
is_flipped() {
    [ "$(value_of "$node" horizontal_flip)" = "$1" ]
}

look "$node" 320 180
left=$(seen left) right=$(seen right)
expect_between $((${right%.*} + 20)) 255 "$left"
ask set mirror=horizontal
wait_for is_flipped 1
look "$node" 320 180
expect_between $((${right%.*} - 3)) $((${right%.*} + 4)) "$(seen left)"
expect_between $((${left%.*} - 3)) $((${left%.*} + 4)) "$(seen right)"

ask set mirror=off
wait_for is_flipped 0
look "$node" 320 180
expect "$left" "$(seen left)"
