# Two light sensors, one that gives a raw value and a scale and one that gives light, show what their registers hold. A
# driver reads what anybody writes into the registers of the stub.

bus=/sys/bus/i2c/devices/i2c-0
i2cset -f -y 0 0x1c 0x0c 4000 w
echo al3010 0x1c >$bus/new_device
i2cset -f -y 0 0x10 0x53 0x32 b # its identity
echo cm3232 0x10 >$bus/new_device

sensor() {
    dirname "$(grep -lx "$1" /sys/bus/iio/devices/*/name)"
}
raw=$(sensor al3010)
expect 4000 "$(cat "$raw/in_illuminance_raw")"
expect 0.074200 "$(cat "$raw/in_illuminance_scale")"
i2cset -f -y 0 0x1c 0x0c 100 w
expect 100 "$(cat "$raw/in_illuminance_raw")"

light=$(sensor cm3232)
expect 0 "$(cat "$light/in_illuminance_input")"
i2cset -f -y 0 0x10 0x50 10000 w
expect_between 1 65535 "$(cat "$light/in_illuminance_input")"
