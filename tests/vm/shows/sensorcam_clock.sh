# The machine's clock puts another scheme in force, and the picture changes.

make_tree
date -s 12:00:00
plug_in webcam Webcam
start_camera --device "$node"
ask window 0 on 06:00-20:00
ask window 1 on 20:00-24:00
ask mode manual
ask scheme 1
ask set brightness=20
ask save
ask mode auto
wait_for holds brightness 0
look "$node" 160 120
expect_between 126 129 "$(seen y)"

date -s 19:59:58
wait_for holds brightness -38
look "$node" 160 120
expect_between 86 92 "$(seen y)"

date -s 06:00:01
wait_for holds brightness 0
look "$node" 160 120
expect_between 126 129 "$(seen y)"
