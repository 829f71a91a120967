# The camera's controls are listed, set and read, also after the camera itself changed one; a value that it has not is clamped
# or refused, as the driver does.

plug_in webcam Webcam
v4l2-ctl -d "$node" -l >/tmp/controls
expect 21 "$(grep -c ' 0x00' /tmp/controls)"
expect_line 'brightness 0x00980900 (int) *: min=-64 max=64 step=1 default=0 value=0$' /tmp/controls
expect_line 'exposure_time_absolute 0x009a0902 (int) *: min=1 max=3333 step=1 default=200 value=200 flags=inactive$' /tmp/controls
expect_line 'tilt_absolute 0x009a0909 (int) *: min=-36000 max=36000 step=3600 default=0 value=0$' /tmp/controls
expect_line 'auto_exposure 0x009a0901 (menu) *: min=0 max=3 default=3 value=3' /tmp/controls

v4l2-ctl -d "$node" -c brightness=20
expect 20 "$(value_of "$node" brightness)"
wait_for said webcam 'brightness = 20'

v4l2-ctl -d "$node" -c tilt_absolute=-7200
wait_for said webcam 'pan = 0'
wait_for said webcam 'tilt = -7200'

v4l2-ctl -d "$node" -c brightness=99
expect 64 "$(value_of "$node" brightness)"
expect 'Permission denied' "$(refusal "$node" exposure_time_absolute=100)"
v4l2-ctl -d "$node" -c auto_exposure=1
v4l2-ctl -d "$node" -c exposure_time_absolute=100
wait_for said webcam 'exposure_time = 100'
expect 'Numerical result out of range' "$(refusal "$node" power_line_frequency=3)"

tell webcam change zoom 300
wait_for said webcam 'change zoom 300: done'
expect 300 "$(value_of "$node" zoom_absolute)"
expect 'Permission denied' "$(refusal "$node" privacy=1)"
