# Dusk puts scheme 1 in force and dawn scheme 0, once each, by the light sensor: what each of them holds arrives at the
# camera, and sensorcam says by what its schemes go.

make_tree
# light LUX...: each for longer than from one look at the light to the next
light() {
    for lux in "$@"; do
        i2cset -f -y 0 0x1c 0x0c $((lux * 10000 / 742)) w
        usleep 1100000
    done
}
light 300
echo al3010 0x1c >/sys/bus/i2c/devices/i2c-0/new_device
# sent: how often the camera was sent another brightness
sent() {
    grep -c '^brightness = ' /tmp/webcam.log || true
}

plug_in webcam Webcam
start_camera --device "$node" --light auto --schemes-by light
ask schemes
case $answer in *'"byDayAndNight":true'*) ;; *) fail "the schemes do not go by light" ;; esac
ask mode manual
ask scheme 1
ask set brightness=20
ask save
ask mode auto
wait_for holds brightness 0
before=$(sent)

light 100 30 15 23 18 25 12 9 8 5 3 2 2
wait_for holds brightness -38
ask status
case $answer in *'"scheme":1,'*) ;; *) fail "scheme 1 is not in force" ;; esac
expect $((before + 1)) "$(sent)"

light 5 30 40 55 65 50 70 45 80 100 150 200 200 200 200
wait_for holds brightness 0
ask status
case $answer in *'"scheme":0,'*) ;; *) fail "scheme 0 is not in force" ;; esac
expect $((before + 2)) "$(sent)"
