# Pulled out in the middle of a switch of schemes and plugged in again when yet another one is in force, the camera has all
# of that one within half a second. A board that was changed while the camera is away waits for it, and does not end the
# program again and again.

make_tree
date -s 12:00:00
plug_in webcam Webcam
start_camera --device "$node"
ask window 0 on 06:00-20:00
ask window 1 on 20:00-24:00
ask window 2 on 00:00-06:00
ask mode manual
ask scheme 1
ask set brightness=20 contrast=100 saturation=100
ask save
ask scheme 2
ask set brightness=80 contrast=25 saturation=25 sharpness=100 expose_mode=manual fix_shutter=6 mz_position=20000 sensor_fps=15
ask save
ask mode auto
wait_for holds brightness 0
wait_for holds contrast 32

tell webcam unplug-at contrast
wait_for said webcam 'unplug-at contrast: done'
date -s 19:59:58
wait_for test ! -e "$node"
expect_line '^brightness = -38$' /tmp/webcam.log # before contrast's turn
date -s 23:59:58
rate_is_sent() { # a look after the other values
    ask explain sensor_fps
    case $answer in *'"onSensor":15'*) ;; *) return 1 ;; esac
}
wait_for has brightness 80
wait_for rate_is_sent

# Without a process of its own, which would take as long as what is measured.
is_back() {
    for entry in /sys/class/video4linux/video*; do
        read -r name <"$entry/name"
        read -r index <"$entry/index"
        node=/dev/${entry##*/}
        if [ "$name $index" = 'Webcam 0' ] && [ -e "$node" ]; then
            return
        fi
    done
    return 1
}
hundredths() {
    read -r up _ </proc/uptime
    now=${up%.*}${up#*.}
}
values() {
    v4l2-ctl -d "$node" -C brightness,contrast,saturation,sharpness,auto_exposure,exposure_time_absolute,zoom_absolute -P |
        sed -n 's/^[a-z_]*: \([-0-9]*\).*/\1/p; s/.*Frames per second: //p' | tr '\n' ' '
}
tell webcam heal
tell webcam plug
until is_back; do
    usleep 5000
done
hundredths
began=$now
until [ "$(values)" = '38 16 32 7 1 200 461 15.000 (15/1) ' ]; do
    hundredths
    [ $((now - began)) -lt 1000 ] || fail "$(values)"
done
hundredths
echo "all of the scheme after $((now - began)) hundredths of a second"
expect_between 0 50 $((now - began))

end_camera
tell webcam unplug
wait_for test ! -e "$node"
start hid vm-hid
wait_for test -e /sys/class/leds/luxafor0:red:led0/brightness
start_camera --device 1d6b-0105-0001 --lamp near=luxafor0:red:led0
expect_line 'the board has changed' /tmp/sensorcam.notices
sleep 5 # longer than the service manager waits before it starts one again
ask get brightness
tell webcam plug
wait "$camera" && fail 'the camera should have ended'
start_camera --device 1d6b-0105-0001
ask get ir_switch
