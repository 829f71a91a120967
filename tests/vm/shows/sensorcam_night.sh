# Dusk and dawn move filter and lamp once each, however the light flickers about the thresholds. Pulled out and plugged in
# again, both are as they were within half a second.

# The kernel may give its chip another number when it comes back, so that the filter is named by the label.
bridge_is_there() {
    [ -n "$(ls /sys/bus/gpio/devices)" ]
}
bridge_is_gone() {
    ! bridge_is_there
}

make_tree
start hid vm-hid
hid=$!
wait_for bridge_is_there
wait_for test -e /sys/class/leds/luxafor0:red:led0/brightness
# light LUX...: each for longer than from one look at the light to the next
light() {
    for lux in "$@"; do
        i2cset -f -y 0 0x1c 0x0c $((lux * 10000 / 742)) w
        usleep 1100000
    done
}
light 300
echo al3010 0x1c >/sys/bus/i2c/devices/i2c-0/new_device
# moves LINE: how often hid has said something of it, since the filter was first put in: until then the chip has it out
moves() {
    sed '1,/^line 3 = 1$/d' /tmp/hid.log | grep -c "^$1" || true
}

plug_in webcam Webcam
start_camera --device "$node" --light auto --lamp near=luxafor0:red:led0 --filter cp2112_gpio:3
ask set dn_mode=0 delay=5 dtn_thr=20 ntd_thr=60 ir_auto_strg_near=100
wait_for said hid 'line 3 = 1'

light 100 50 30 22 15 23 10 24 18 17 25 5 12 22 9 26 15 8
expect 0 "$(moves line)"
wait_for said hid 'lamp 1 = 255 0 0'
expect 'line 3 = 0' "$(grep '^line' /tmp/hid.log | tail -n 1)"
wait_for holds saturation 0

light 5 2 1 30 40 55 65 50 70 45 80 90 58 75 52 61 50 70
expect 1 "$(moves line)"
expect 1 "$(moves lamp)"

# replug_hid LAMP LINE: what hid, new, is to be told
replug_hid() {
    kill "$hid"
    wait "$hid" || true
    wait_for stands IR_AUTO_STRG_NEAR lost
    wait_for bridge_is_gone
    start hid vm-hid
    hid=$!
    until bridge_is_there && [ -e /sys/class/leds/luxafor0:red:led0/brightness ]; do
        usleep 5000
    done
    hundredths
    began=$now
    until said hid "$1" && said hid "$2"; do
        usleep 5000
        hundredths
        [ $((now - began)) -lt 1000 ] || fail "$(cat /tmp/hid.log)"
    done
    hundredths
    echo "lamp and filter after $((now - began)) hundredths of a second"
    expect_between 0 50 $((now - began))
}
hundredths() {
    read -r up _ </proc/uptime
    now=${up%.*}${up#*.}
}
replug_hid 'lamp 1 = 255 0 0' 'line 3 = 0'
wait_for stands IR_AUTO_STRG_NEAR ''
light 100
wait_for holds saturation 64
wait_for said hid 'line 3 = 1'
cat /tmp/hid.log
expect 'line 3 = 1' "$(grep '^line' /tmp/hid.log | tail -n 1)"
expect 2 "$(grep -c '^line' /tmp/hid.log)"
expect 2 "$(grep -c '^lamp' /tmp/hid.log)"
expect 'lamp 1 = 0 0 0' "$(grep '^lamp' /tmp/hid.log | tail -n 1)"
expect_line '^[0-9.]* [0-9.]* 1$' $tree/state/light # what the light was while the lamp shone

# The light costs no more than its looks, once a second.
process=$(pidof sensorcam)
sleep 15
before=$(wakes "$process")
sleep 20
after=$(wakes "$process")
echo "wake-ups in 20 seconds: $((after - before))"
expect_between 0 75 $((after - before))
