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

# make_root RELEASE: prints the folder of a clean root, which is made where it is not there yet.
make_root() {
    local release=$1 root=$roots/$1 script=
    if [[ ! -d $root ]]; then
        mkdir -p "$roots"
        rm -rf --one-file-system "$root.new"
        # Releases that came after this machine's debootstrap are made as unstable is.
        [[ -e /usr/share/debootstrap/scripts/$release ]] || script=/usr/share/debootstrap/scripts/sid
        echo "Making a root of Debian $release in $root ..." >&2
        debootstrap --variant=minbase "$release" "$root.new" "$(mirror_of_this_machine)" \
            ${script:+"$script"} > "$roots/$release.log" 2>&1 ||
            { tail -n 5 "$roots/$release.log" >&2; return 1; }
        # As this machine fetches packages; a mirror that lags behind serves a trial as well.
        {
            apt-config dump | grep -E '^Acquire::[a-z]+::Proxy' || true
            echo 'Acquire::Check-Valid-Until "false";'
        } > "$root.new/etc/apt/apt.conf.d/90trial"
        mv "$root.new" "$root"
    fi
    cp -L /etc/resolv.conf "$root/etc/resolv.conf"
    echo "$root"
}

# in_root ROOT COMMAND...: mounts are seen by the command alone, and its processes end with it.
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
        exec chroot "$root" env -i HOME=/root LANG=C.UTF-8 DEBIAN_FRONTEND=noninteractive \
            PATH=/usr/sbin:/usr/bin:/sbin:/bin CCACHE_DIR=/var/cache/ccache "$@"
    ' bash "$root" "$@"
}

# copy_sources FOLDER: what git knows of, or would; what was built there before stays.
copy_sources() {
    mkdir -p "$1"
    find "$1" -mindepth 1 -maxdepth 1 ! -name 'build*' -exec rm -rf {} +
    git ls-files -z --cached --others --exclude-standard --deduplicate |
        tar --null --files-from=- --ignore-failed-read --create 2> /dev/null | tar -x -C "$1"
}
