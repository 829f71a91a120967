# shellcheck shell=dash disable=SC2154
# What the stages have in common, beside what they share with tests/vm.

# What tests/vm/guest/lib.sh expects of busybox.
usleep() {
    sleep "$(printf '0.%06d' "$1")"
}

# A unit that is masked or has ended is listed too as long as something wants it.
running_services() {
    systemctl list-units --no-legend --plain --state=active,activating,reloading,deactivating 'sensorcam@*' | wc -l
}

# ask LINE...: of the camera whose service runs
ask() {
    runuser -u sensorcam -- sensorcam --state "/var/lib/sensorcam/$camera" exec "$@"
}

# Has the camera said this after so many lines?
said_since() {
    tail -n "+$(($1 + 1))" /tmp/webcam.log | grep -qxF "$2"
}

# What a package could leave behind: every file but those that the machine itself writes as it runs.
files() {
    find / -xdev \( -path /package-test -o -path /tmp -o -path /var/tmp -o -path /var/log -o -path /var/cache \
        -o -path /var/backups -o -path /var/lib/dpkg -o -path /var/lib/systemd \) -prune -o -print | grep -v '^/etc/.*-$' | sort
    cut -d : -f 1 /etc/passwd /etc/group /etc/shadow
}
