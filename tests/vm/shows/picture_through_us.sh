# The picture of a camera as the service gives it: encoded, shared by two readers, at the rate that is wished. It ends with
# a reason when the camera is pulled out, falls silent or breaks its pictures, and can be opened again.

# ask WORD...: has vm-frames do that, and sets answer to its next line.
ask() {
    local before
    before=$(wc -l </tmp/frames.log)
    tell frames "$@"
    wait_for answered "$before"
    answer=$(tail -n +$((before + 1)) /tmp/frames.log | head -n 1)
}
answered() {
    [ "$(wc -l </tmp/frames.log)" -gt "$1" ]
}

# shown WHAT: a number of the last answer, by its name
shown() {
    echo "$answer" | tr ' ' '\n' | grep -x -A 1 "$1" | tail -n 1
}

# streams NODE: does another program get pictures?
streams() {
    rm -f /tmp/other
    v4l2-ctl -d "$1" --stream-mmap --stream-count=1 --stream-to=/tmp/other
    test -s /tmp/other
}

# Of the kernel's test camera, which gives many formats and sizes.
start frames vm-frames "$(node_of vivid-000-vid-cap)"
wait_for test -e /tmp/frames.log
ask open a
expect 'open a: done' "$answer"
ask read a 3
echo "$answer"
expect_between 3 100 "$(shown frame)"
expect_between 1 254 "$(shown green)"
ask close a

plug_in webcam Webcam
v4l2-ctl -d "$node" -c auto_exposure=1,exposure_time_absolute=200,gain=50
ask node "$node"
ask set-rate 30
expect 'set-rate 30: done' "$answer"
# That leaves the stream to anybody.
wait_for streams "$node"
ask open a
expect 'open a: done' "$answer"
ask read a 2
echo "$answer"
expect_line 'a frame [2-9] 160x120 rate 30 exposure 0.0200 gain 30.0' /tmp/frames.log
expect_between 90 255 "$(shown blue)"
bright=$(shown green)
ask open b
ask read b 1
expect_between 1 3 "$(shown frame)" # of its own, and the newest
ask read a 2
expect_between 3 1000 "$(shown frame)"
ask exposure
expect 'exposure 0.0200 s gain 30.0 dB' "$answer"

# The picture follows the controls of another program.
v4l2-ctl -d "$node" -c brightness=-40
ask read a 30
expect_between 0 $((bright - 30)) "$(shown green)"

# Others get the stream neither before nor while its rate is changed.
expect 'VIDIOC_REQBUFS returned -1 (Device or resource busy)' \
    "$(v4l2-ctl -d "$node" --stream-mmap --stream-count=1 2>&1 | tr -d '\t' | grep REQBUFS)"
ask set-rate 15
expect 'set-rate 15: Device or resource busy' "$answer"
ask rate 15
ask read a 20
expect 15 "$(shown rate)"
ask set-rate 15
expect 'set-rate 15: done' "$answer"
expect 'interval 666666' "$(grep interval /tmp/webcam.log | tail -n 1)"

# It is free when nobody reads, and then another program's stream is in our way.
ask close a
ask close b
wait_for streams "$node"
v4l2-ctl -d "$node" --stream-mmap --stream-count=1000000 >/dev/null 2>&1 &
other=$!
busy() {
    ask open a
    expect_failure test "$answer" = 'open a: done'
    [ "$answer" = 'open a: another program takes the pictures of this camera: end it there, and they come here again' ]
}
sleep 1
busy || fail "$answer"
kill "$other"
wait "$other" || true
ask open a
expect 'open a: done' "$answer"

# Pulled out while it is read, and plugged in again.
tell frames read a 1000000
tell webcam unplug
wait_for said frames 'read a 1000000: the camera was unplugged'
ask open a
expect 'open a: the camera is not plugged in' "$answer"
tell webcam plug
wait_for node_of Webcam
ask node "$(node_of Webcam)"
ask open a
ask read a 3
expect_between 3 100 "$(shown frame)"

# No pictures come; of those that break off the driver gives none.
for fault in pause tear; do
    tell webcam $fault
    ask read a 1000000
    expect 'read a 1000000: the camera has given no picture for 4 s' "$answer"
    tell webcam heal
    ask open a
    ask read a 3
    expect_between 90 255 "$(shown blue)"
done
ask close a

# A camera that compresses its pictures itself, and breaks them.
plug_in compressing Compressing
ask node "$node"
ask open a
ask read a 2
echo "$answer"
expect_line 'a frame [2-9] 160x120 rate 15 .* red 200 green 100 blue 50' /tmp/frames.log
ask save a /tmp/saved.jpg
grep -q "$(printf '\377\304')" /cameras/scene.jpg && fail 'the camera gives its tables'
expect $(($(wc -c </cameras/scene.jpg) + 420)) "$(wc -c </tmp/saved.jpg)"
tell compressing tear
ask read a 1000000
expect 'read a 1000000: the camera has given only broken pictures for 4 s' "$answer"
tell compressing heal
ask open a
ask read a 2
