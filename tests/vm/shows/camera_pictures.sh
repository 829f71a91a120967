# The camera's pictures follow brightness, contrast, saturation, exposure and the rate asked for.

plug_in webcam Webcam
v4l2-ctl -d "$node" --stream-mmap --stream-count=10 --stream-to=/tmp/ten >/dev/null 2>&1
vm-picture 160 120 </tmp/ten >/tmp/looks
expect 10 "$(wc -l </tmp/looks)"
expect 1 "$(sort -u /tmp/looks | wc -l)"
wait_for said webcam 'stopped after 10 pictures'
expect_between 126 129 "$(seen y)"
spread=$(seen spread)

look "$node" 160 120 brightness=40
expect_between 165 169 "$(seen y)"
look "$node" 160 120 brightness=-40
expect_between 86 89 "$(seen y)"
look "$node" 160 120 brightness=0,contrast=16
expect_between $((${spread%.*} / 2 - 1)) $((${spread%.*} / 2 + 2)) "$(seen spread)"
look "$node" 160 120 contrast=32,saturation=0
expect 0.0 "$(seen colour)"
look "$node" 160 120 saturation=128
expect 80.0 "$(seen colour)"
v4l2-ctl -d "$node" -c auto_exposure=1
look "$node" 160 120 exposure_time_absolute=100
expect_between 62 65 "$(seen y)"
tell webcam change privacy 1
wait_for said webcam 'change privacy 1: done'
look "$node" 160 120 sharpness=4
expect 0.0 "$(seen spread)"

v4l2-ctl -d "$node" -p 15 >/dev/null
look "$node" 160 120 sharpness=3
expect 'interval 666666' "$(grep interval /tmp/webcam.log | tail -n 1)"
