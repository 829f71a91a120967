# The kernel's own test camera: its controls are listed, and its pictures follow them, the mirror too.

node=$(node_of vivid-000-vid-cap)
v4l2-ctl -d "$node" -l >/tmp/controls
expect_line 'brightness 0x00980900 (int) *: min=0 max=255 step=1 default=128 value=128' /tmp/controls
expect_line 'horizontal_flip 0x00980914 (bool) *: default=0 value=0' /tmp/controls
expect_line ' gain 0x00980913 .*flags=inactive, volatile' /tmp/controls
expect_between 60 80 "$(grep -c ' 0x00' /tmp/controls)"

v4l2-ctl -d "$node" -v width=320,height=180,pixelformat=YUYV >/dev/null
v4l2-ctl -d "$node" -c osd_text_mode=2,test_pattern=0 >/dev/null # colour bars, and no text over them
look "$node" 320 180 osd_text_mode=2
plain_y=$(seen y) plain_left=$(seen left) plain_right=$(seen right)
expect_between 40 60 "$(seen colour)"

look "$node" 320 180 brightness=192
expect_between $((${plain_y%.*} + 30)) 255 "$(seen y)"

look "$node" 320 180 brightness=128,saturation=0
expect_between 0 1 "$(seen colour)"

look "$node" 320 180 saturation=128,horizontal_flip=1
expect_between $((${plain_right%.*} - 3)) $((${plain_right%.*} + 4)) "$(seen left)"
expect_between $((${plain_left%.*} - 3)) $((${plain_left%.*} + 4)) "$(seen right)"

v4l2-ctl -d "$node" -c horizontal_flip=0
