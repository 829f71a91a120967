# A control that stalls keeps its value, whether or not the camera says why; one that hangs holds its caller for the driver's
# five seconds. Afterwards the camera is as it was.

plug_in webcam Webcam
tell webcam stall contrast
wait_for said webcam 'stall contrast: done'
expect 'Broken pipe' "$(refusal "$node" contrast=5)"
wait_for said webcam 'stalled contrast'
tell webcam stall contrast 1 # not ready
wait_for said webcam 'stall contrast 1: done'
expect 'Device or resource busy' "$(refusal "$node" contrast=5)"
expect 32 "$(value_of "$node" contrast)"

tell webcam hang gain
wait_for said webcam 'hang gain: done'
began=$(cut -d . -f 1 /proc/uptime)
expect 'Connection timed out' "$(refusal "$node" gain=5)"
expect_between 5 7 $(($(cut -d . -f 1 /proc/uptime) - began))
wait_for said webcam 'hung gain'

tell webcam heal
wait_for said webcam 'heal: done'
expect '' "$(refusal "$node" contrast=5)"
expect '' "$(refusal "$node" gain=5)"
wait_for said webcam 'gain = 5'
