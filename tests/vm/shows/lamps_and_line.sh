# Lamps and lines are set and read back, through the drivers of a USB lamp and a USB bridge.

start hid vm-hid
lamp=/sys/class/leds/luxafor0:red:led0
chip=/dev/gpiochip0
wait_for test -e $lamp/brightness
wait_for test -e $chip
expect 255 "$(cat $lamp/max_brightness)"

echo 77 >$lamp/brightness
wait_for said hid 'lamp 1 = 77 0 0'
expect 77 "$(cat $lamp/brightness)"
echo 1000 >$lamp/brightness
wait_for said hid 'lamp 1 = 255 0 0'
expect 255 "$(cat $lamp/brightness)"

gpioset $chip 3=1
wait_for said hid 'line 3 = 1'
gpioset $chip 3=0
expect 'line 3 = 0' "$(grep '^line 3' /tmp/hid.log | tail -n 1)"

expect 0 "$(gpioget $chip 4)"
tell hid input 4 1
wait_for said hid 'input 4 1: done'
expect 1 "$(gpioget $chip 4)"
