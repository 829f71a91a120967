# Without a light sensor the camera's own exposure says when it is night, while somebody reads the picture; whoever leaves
# changes nothing.

make_tree
ip link set lo up
run() {
    in_tree sensorcam --in-place exec "$@"
}
# colour VALUE: does the camera hold that saturation?
colour() {
    [ "$(value_of "$(node_of Exposing)" saturation)" = "$1" ]
}

date -s 12:00:00
plug_in exposing Exposing
in_tree sensorcam --in-place --device "$node" --light exposure serve --port 8099 >/tmp/serve.log 2>&1 &
wait_for test -S "$tree/state/shell.socket"
wait_for run 'set dn_mode=0 delay=0 dtn_thr=50 ntd_thr=200 saturation=50'
wait_for colour 64

# Nobody reads: however it exposes, it is day by the times.
tell exposing change exposure_time 3000
sleep 3
colour 64 || fail 'it became night though nobody reads the picture'

wget -q -O /dev/null http://127.0.0.1:8099/api/stream.mjpg &
reader=$!
wait_for colour 0
expect_line '^[0-9.]* 33.33 0$' "$tree/state/light" # 10 lx s in 0.3 s
tell exposing change exposure_time 100
wait_for colour 64
tell exposing change exposure_time 3000
wait_for colour 0

kill $reader
wait $reader || true
tell exposing change exposure_time 100
sleep 3
cat "$tree/state/light"
expect '-' "$(tail -n 1 "$tree/state/light" | cut -d ' ' -f 2)"
colour 0 || fail 'it became day though nobody reads the picture'
