#!/bin/sh
# deb_test.sh FOLDER: installs the Debian packages of the folder into a fresh root, uses them there,
# purges them, and checks that nothing is left. The root has this machine's files of the packages that
# ours need, and of no others. So the test needs no network, and it fails when a dependency is missing.
set -eu
[ "$(id -u)" -eq 0 ] || exec unshare -rm "$0" "$@"
debs=$(cd "$1" && pwd)
tests=$(cd "$(dirname "$0")" && pwd)
root=$(mktemp -d -p "$debs")
unset LD_LIBRARY_PATH
# Bytecode of Python's own modules would count as left behind.
export LC_ALL=C PATH=/usr/sbin:/usr/bin:/sbin:/bin PYTHONDONTWRITEBYTECODE=1

remove_root() {
    umount "$root/dev/null" 2>/dev/null || true
    rm -rf "$root"
}
trap remove_root EXIT
trap 'exit 1' HUP INT TERM

fail() {
    echo "$1"
    exit 1
}

# needed PACKAGE...: these and all that they need, of what is installed here.
needed() {
    # shellcheck disable=SC2046  # a list of words
    dpkg-query -W -f '${db:Status-Status} ${binary:Package}\n' $(
        apt-cache depends --recurse --installed --no-recommends --no-suggests --no-conflicts \
            --no-breaks --no-replaces --no-enhances "$@" | sed -n 's/^[a-z0-9].*/&/p' | sort -u
    ) 2>/dev/null | sed -n 's/^installed //p'
}

# needed_by DEB...: what the packages need, without each other.
needed_by() {
    for deb; do dpkg-deb -f "$deb" Depends; done | sed 's/([^)]*)//g; s/|[^,]*//g' | tr ', ' '\n\n' |
        grep -v 'tmsg\|^$' | sort -u
}

# provide PACKAGE...: puts them and all that they need into the root, as installed.
provide() {
    for package in $(needed "$@"); do
        ! grep -qx "$package" "$root/provided" || continue
        echo "$package" >>"$root/provided"
        dpkg-query -L "$package" | grep -v '^/\.$\|^/usr/share/\(doc\|locale\|man\)/\|^package diverts\|^diverted' |
            sed 's|^/||' >>"$root/files"
        { dpkg-query -s "$package" && echo; } >>"$root/var/lib/dpkg/status"
        for file in "/var/lib/dpkg/info/$package".* "/var/lib/dpkg/info/${package%:*}".*; do
            [ ! -e "$file" ] || cp "$file" "$root/var/lib/dpkg/info/"
        done
    done
    tar -C / -c --no-recursion --ignore-failed-read -T "$root/files" 2>/dev/null |
        tar -x -C "$root" --no-same-owner --keep-directory-symlink
    : >"$root/files"
    chroot "$root" ldconfig
}

list() {
    (cd "$root" && find . -path ./var/lib/dpkg -prune -o -path ./var/log -prune -o -path ./work -prune -o -print) |
        sort
}

# purged PACKAGE...: without them the root is as it was before.
purged() {
    chroot "$root" dpkg --purge "$@" >"$root/work/log" || fail "$(cat "$root/work/log")"
    list | diff "$root/work/before" - || fail "these files are left"
    ! chroot "$root" dpkg-query -W '*tmsg*' 2>/dev/null | grep . || fail "these packages are left"
}

# installed DEB...: dpkg finds all that they depend on.
installed() {
    list >"$root/work/before"
    for deb; do cp "$deb" "$root/work/"; done
    (cd "$root" && chroot . sh -c 'dpkg -i /work/*.deb') >"$root/work/log" 2>&1 || fail "$(cat "$root/work/log")"
}

names() {
    for deb; do dpkg-deb -f "$deb" Package; done
}

mkdir -p "$root/dev" "$root/etc" "$root/tmp" "$root/work" "$root/var/lib/dpkg/info" \
 "$root/var/lib/dpkg/updates" "$root/var/log"
for link in bin sbin lib lib32 lib64 libx32; do
    [ ! -L /$link ] || { mkdir -p "$root/usr/$link" && cp -P /$link "$root/"; }
done
mknod -m 666 "$root/dev/null" c 1 3 2>/dev/null ||
    { : >"$root/dev/null" && mount --bind /dev/null "$root/dev/null"; }
cp /var/lib/dpkg/info/format "$root/var/lib/dpkg/info/"
: >"$root/provided"

# What a machine needs that only runs programs.
run_time=$(ls "$debs"/libtmsg[0-9]*.deb "$debs"/libtmsg-nats[0-9]*.deb "$debs"/tmsg_*.deb | grep -v dbgsym)
# shellcheck disable=SC2046,SC2086  # lists of words
{
    provide dpkg dash coreutils diffutils libc-bin sed tar $(needed_by $run_time)
    installed $run_time
    version=$(chroot "$root" tmsg --version)
    converted=$(echo 'response {struct {} struct {count {int32_t 3}}}' | chroot "$root" tmsg convert --from tcl --to json)
    purged $(names $run_time)
}
[ "$version" = "tmsg $(dpkg-deb -f "$debs"/tmsg_*.deb Version | sed "s/-.*//")" ] || fail "the program is $version"
case $converted in
    *count*3*) ;;
    *) fail "the program says $converted" ;;
esac

# What a machine needs that builds programs.
# shellcheck disable=SC2012,SC2046,SC2086
{
    all=$(ls "$debs"/*.deb)
    provide g++ cmake make pkg-config $(needed_by $all)
    cp -R "$tests/stranger" "$tests/pkg_config.sh" "$root/work/"
    installed $all
    chroot "$root" sh -euc '
        for nats in OFF ON; do
            cmake -S /work/stranger -B /work/build$nats -DSTRANGER_USES_NATS=$nats \
                -DCMAKE_CXX_COMPILER=g++ -DCMAKE_BUILD_TYPE=Debug
            cmake --build /work/build$nats
            /work/build$nats/stranger
        done
        modules=$(echo /usr/lib/*/pkgconfig)
        /work/pkg_config.sh "$modules" tmsg /work/stranger/main.cpp /work/stranger1 g++ -std=c++17
        /work/pkg_config.sh "$modules" tmsg-nats /work/stranger/nats.cpp /work/stranger2 g++ -std=c++17
        [ -z "$(dpkg-query -W python3-tmsg 2>/dev/null)" ] || python3 -c "import tmsg"
    ' >"$root/work/log" 2>&1 || fail "$(cat "$root/work/log")"
    "$tests/../documents/links.sh" "$root/usr/share/doc/libtmsg-dev" || fail "links lead nowhere"
    for symbols in "$root"/usr/lib/debug/.build-id/*/*.debug; do
        [ -e "$symbols" ] || fail "there are no debug symbols"
    done
    purged $(names $all)
}
echo "$(echo "$all" | wc -l) packages: used and purged"
