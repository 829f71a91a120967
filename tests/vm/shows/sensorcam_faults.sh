# Nobody who sets a key waits for a camera that stalls or hangs: the key says how it stands, and is applied when the camera
# is well again.

# at_once COMMAND: within a fifth of a second
at_once() {
    read -r began _ </proc/uptime
    ask "$@"
    read -r ended _ </proc/uptime
    took=$((${ended%.*}${ended#*.} - ${began%.*}${began#*.}))
    echo "after $took hundredths of a second"
    expect_between 0 20 $took
}

make_tree
plug_in webcam Webcam
start_camera --device "$node"
tell webcam stall contrast
wait_for said webcam 'stall contrast: done'
at_once set contrast=25
wait_for stands CONTRAST stalled
at_once set brightness=80
wait_for holds brightness 38 # the others are as ever
tell webcam heal
wait_for holds contrast 16
wait_for stands CONTRAST ''

tell webcam hang sharpness
wait_for said webcam 'hang sharpness: done'
at_once set sharpness=100
wait_for said webcam 'hung sharpness'
at_once set brightness=20 contrast=50
wait_for stands SHARPNESS stalled
has sharpness 100
tell webcam heal
wait_for holds sharpness 7
wait_for holds brightness -38
wait_for holds contrast 32
wait_for stands SHARPNESS ''
