# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# To be sourced by scripts that need a clean Debian of some release: functions that make one with
# debootstrap, keep it, and run commands in it. They need root.

roots=${RF_SAR_ROOTS:-${XDG_CACHE_HOME:-$HOME/.cache}/rf_sar/roots}

need_root_and_debootstrap() {
    [[ $(id -u) -eq 0 ]] || { echo "$0: needs root, for debootstrap and chroot" >&2; exit 2; }
    command -v debootstrap > /dev/null ||
        { echo "$0: debootstrap is not installed; apt install debootstrap" >&2; exit 2; }
}

# The first mirror of Debian itself that apt of this machine is set up with.
mirror_of_this_machine() {
    apt-get indextargets --format '$(SITE)' 'Origin: Debian' 'Component: main' | head -n 1
}

# base_root RELEASE: prints the folder of a root that nothing has been installed in; it is made
# where it is not there yet, and kept.
base_root() {
    local release=$1 base=$roots/$1.base script=
    if [[ ! -d $base ]]; then
        mkdir -p "$roots"
        rm -rf --one-file-system "$base.new"
        # Releases that came after this machine's debootstrap are made as unstable is.
        [[ -e /usr/share/debootstrap/scripts/$release ]] || script=/usr/share/debootstrap/scripts/sid
        echo "Making a root of Debian $release in $base ..." >&2
        debootstrap --variant=minbase "$release" "$base.new" "$(mirror_of_this_machine)" \
            ${script:+"$script"} > "$roots/$release.log" 2>&1 ||
            { tail -n 5 "$roots/$release.log" >&2; return 1; }
        # As this machine fetches packages; a mirror that lags behind serves a trial as well.
        {
            apt-config dump | grep -E '^Acquire::[a-z]+::Proxy' || true
            echo 'Acquire::Check-Valid-Until "false";'
        } > "$base.new/etc/apt/apt.conf.d/90trial"
        cp -L /etc/resolv.conf "$base.new/etc/resolv.conf"
        mv "$base.new" "$base"
    fi
    echo "$base"
}

# kept_root RELEASE: prints the folder of a root that keeps what is installed and built in it.
kept_root() {
    local root=$roots/$1
    if [[ ! -d $root ]]; then
        rm -rf --one-file-system "$root.new"
        cp -a "$(base_root "$1")" "$root.new"
        mv "$root.new" "$root"
    fi
    cp -L /etc/resolv.conf "$root/etc/resolv.conf"
    echo "$root"
}

# in_root ROOT COMMAND...: in /src/rf_sar where that is there. Mounts are seen by the command alone,
# and its processes end with it.
in_root() {
    local root=$1
    shift
    # shellcheck disable=SC2016
    unshare --mount --pid --fork --kill-child --propagation private bash -ec '
        root=$1; shift
        mount -t proc proc "$root/proc"
        mount --rbind /dev "$root/dev"
        mount -t tmpfs tmpfs "$root/dev/shm"
        if [[ -n ${RF_SAR_BIND:-} ]]; then
            mkdir -p "$root/real_products"
            mount --bind "$RF_SAR_BIND" "$root/real_products"
        fi
        folder=/
        [[ ! -d $root/src/rf_sar ]] || folder=/src/rf_sar
        exec chroot "$root" env -i --chdir="$folder" HOME=/root LANG=C.UTF-8 \
            DEBIAN_FRONTEND=noninteractive PATH=/usr/sbin:/usr/bin:/sbin:/bin \
            CCACHE_DIR=/var/cache/ccache "$@"
    ' bash "$root" "$@"
}

# copy_sources ROOT: what git knows of, or would; what was built there before stays. A file that
# differs from the copy before is of now, whatever its own time is, so that it is built anew.
copy_sources() {
    local folder=$1/src/rf_sar new=$1/src/rf_sar.new
    rm -rf "$new"
    mkdir -p "$folder" "$new"
    git ls-files -z --cached --others --exclude-standard --deduplicate |
        tar --null --files-from=- --ignore-failed-read --create 2> /dev/null |
        tar --extract --touch --directory "$new"
    # shellcheck disable=SC2016
    (cd "$new" && find . -type f -exec bash -c 'for file; do
            if cmp -s "$file" "$0/$file"; then touch -r "$0/$file" "$file"; fi
        done' "$folder" {} +)
    find "$folder" -mindepth 1 -maxdepth 1 ! -name 'build*' -exec rm -rf {} +
    cp -a "$new/." "$folder"
    rm -rf "$new"
}
