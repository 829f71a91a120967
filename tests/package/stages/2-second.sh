systemctl --no-pager; uname -a; systemctl is-system-running; journalctl -b -p warning --no-pager; systemd-analyze; systemd-analyze blame | head -20; modprobe vhci-hcd; modprobe uvcvideo; mount
