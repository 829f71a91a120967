# What another program sets at the camera is put back, and given up against one that does not stop; or it is taken over, or
# left.

make_tree
plug_in webcam Webcam
start_camera --device "$node"
ask set brightness=80
ask save
wait_for holds brightness 38
for value in 1 2 3 4 5 6; do
    v4l2-ctl -d "$node" -c brightness=$value
    wait_for holds brightness 38
done
v4l2-ctl -d "$node" -c brightness=7
wait_for stands BRIGHTNESS overruled
expect 7 "$(value_of "$node" brightness)"
end_camera

start_camera --device "$node" --others take-over
wait_for holds brightness 38
v4l2-ctl -d "$node" -c brightness=-38
wait_for has brightness 20
end_camera

start_camera --device "$node" --others leave
wait_for holds brightness 38
v4l2-ctl -d "$node" -c brightness=7
wait_for stands BRIGHTNESS overruled
ask set contrast=25
wait_for holds contrast 16
expect 7 "$(value_of "$node" brightness)"
ask set brightness=20
wait_for holds brightness -38
