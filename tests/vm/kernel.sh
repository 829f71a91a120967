# shellcheck shell=bash
# Sourced by what boots Debian's kernel in a virtual machine, after tools/common.sh, at the top of the tree. Sets
# cache and kernel; here is the folder of the script that sources it.

cache=$PWD/build/vm
kernel_parts=(drivers/{media,usb,hid,i2c,iio,virtio,nvdimm} fs/{autofs,ext4,jbd2} lib crypto)  # folders of its modules

# The package that linux-image-amd64 stands for; its name changes with every update of the kernel.
kernel_package() {
    apt-cache depends linux-image-amd64 2>/dev/null | sed -n 's/.*Depends: \(linux-image-.*\)/\1/p;' | head -n 1
}

# Sets kernel to the folder with vmlinuz and modules. Fetched once for each version of the kernel, and older ones removed.
# Without a network the one that is there already is good enough.
find_kernel() {
    mkdir -p "$cache"
    exec 9>"$cache/lock"
    flock 9
    local package
    package=$(kernel_package)
    if [ -n "$package" ] && [ "$(cat "$cache/$package/complete" 2>/dev/null)" = "${kernel_parts[*]}" ]; then
        kernel=$cache/$package
        return
    fi
    if [ -z "$package" ] || ! fetch_kernel "$package"; then
        # Package lists that are old, or none.
        if ! { apt_get update && package=$(kernel_package) && [ -n "$package" ] && fetch_kernel "$package"; }; then
            package=''
        fi
    fi
    if [ -z "$package" ]; then
        local present
        present=$(find "$cache" -mindepth 2 -maxdepth 2 -name complete | head -n 1)
        [ -n "$present" ] ||
            die "apt cannot fetch the kernel that linux-image-amd64 stands for, and none is in $cache." \
                "Is there a network, and is this Debian on amd64?"
        kernel=${present%/complete}
        say "the kernel of today cannot be fetched; ${kernel##*/} is taken"
        return
    fi
    kernel=$cache/$package
}

fetch_kernel() {
    local package=$1 new=$cache/new
    say "fetching $package"
    rm -rf "$new"
    mkdir -p "$new"
    (cd "$new" && apt-get -qq -o APT::Sandbox::User="$(id -un)" download "$package") >&2 || return 1
    local parts=('./boot/vmlinuz*' './lib/modules/*/modules.*') folder
    for folder in "${kernel_parts[@]}"; do
        parts+=("./lib/modules/*/kernel/$folder/*")
    done
    parts+=('./lib/modules/*/kernel/fs/mbcache.ko')
    dpkg --fsys-tarfile "$new/$package"_*.deb | tar -C "$new" -x --wildcards "${parts[@]}" || return 1
    rm "$new/$package"_*.deb
    # Loads of drivers depend on others that no show loads: that they are not here is no news.
    PATH=$PATH:/usr/sbin:/sbin depmod -b "$new" "${package#linux-image-}" 2>/dev/null || return 1
    echo "${kernel_parts[*]}" >"$new/complete"
    find "$cache" -maxdepth 1 -name 'linux-image-*' -exec rm -rf {} +
    mv "$new" "$cache/$package"
}

# place_driver ROOT FILE [OPTIONS]: says what is to be loaded, with its options; nothing if it was placed before.
declare -A placed=()
place_driver() {
    [ -z "${placed[$2]:-}" ] || return 0
    placed[$2]=yes
    cp "$2" "$1/drivers"
    echo "${2##*/} ${3:-}"
}

# Copies the drivers named in the file modules, and what they need, and writes down the order in which they are loaded.
# shellcheck disable=SC2154
place_drivers() {
    local root=$1 tree module options line needed i
    tree=$(echo "$kernel"/lib/modules/*)
    mkdir "$root/drivers"
    while read -r module options; do
        [[ $module == '' || $module == '#'* ]] && continue
        line=$(grep -E "/${module//[-_]/[-_]}\.ko:" "$tree/modules.dep") || die "the kernel has no driver $module"
        read -ra needed <<<"${line#*:}"
        for ((i = ${#needed[@]} - 1; i >= 0; i--)); do
            place_driver "$root" "$tree/${needed[i]}"
        done
        place_driver "$root" "$tree/${line%%:*}" "$options"
    done <"$here/modules" >"$root/drivers/order"
}
