# Controls of the maker's own are there once they are mapped: a mirror, which the pictures follow, and a menu with bad names.

plug_in own Own
vm-map "$node"
v4l2-ctl -d "$node" -L >/tmp/controls
expect_line 'horizontal_flip 0x00980914 (bool) *: default=0 value=0' /tmp/controls
expect_line 'scene 0x009819f0 (menu) *: min=0 max=4 default=0 value=0 (Plain)' /tmp/controls
expect 1 "$(grep -c "$(printf '1: Caf\351$')" /tmp/controls)"
expect 1 "$(grep -c "$(printf '2: <b>&"\001\t$')" /tmp/controls)"
expect 1 "$(grep -c "$(printf 'here, is: \303$')" /tmp/controls)"

look "$node" 160 120 horizontal_flip=0
left=$(seen left) right=$(seen right)
look "$node" 160 120 horizontal_flip=1
expect "$left" "$(seen right)"
expect "$right" "$(seen left)"

v4l2-ctl -d "$node" -c scene=3
wait_for said own 'scene = 3'
