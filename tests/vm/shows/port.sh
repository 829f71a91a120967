# The service on real drivers is judged as a porter's is: on a USB camera and on the kernel's test camera.

# judge NODE: with the documents that sensorcam made for it
judge() {
    make_tree
    in_tree sensorcam --in-place --device "$1" exec 'get brightness'
    in_tree vm-port /state/board --documents --set --lens --limit 60 >/tmp/port || { cat /tmp/port; fail "$1"; }
    tail -n 1 /tmp/port
}

plug_in webcam Webcam
judge "$node"
judge "$(node_of vivid-000-vid-cap)"
