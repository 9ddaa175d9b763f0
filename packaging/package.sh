#!/bin/sh
# package.sh VERSION FOLDER: builds the Debian packages of this version in FOLDER/tree, from a copy of
# the sources, and leaves them in FOLDER. The sources stay as they are.
set -eu
version=$1
mkdir -p "$2"
folder=$(cd "$2" && pwd)
cd "$(dirname "$0")/.."
tree=$folder/tree
rm -rf "$tree" "$folder"/*.deb "$folder"/*.buildinfo "$folder"/*.changes
mkdir "$tree"
tar -c --exclude=./build --exclude=./.git . | tar -x -C "$tree"

# Before 1.0 the minor version is a part of the soname.
soversion=${version%%.*}
[ "$soversion" -gt 0 ] || soversion=${version%.*}

# The names of the packages and of the symbols contain the soname.
cp -R "$tree/packaging/debian" "$tree/debian"
cd "$tree/debian"
sed "s/@SOVERSION@/$soversion/" control.in >control
rm control.in
for library in libtmsg libtmsg-nats; do
    mv $library.install "$library$soversion.install"
    {
        echo "$library.so.$soversion $library$soversion #MINVER#"
        sed 's/^\(.*\) \(.*\)/ \1@Base \2/' "../tests/abi/$library.symbols"
    } >"$library$soversion.symbols.amd64"
done
changed=$(stat -c %Y ../CHANGELOG.md)
cat >changelog <<END
tmsg ($version-1) unstable; urgency=medium

  * CHANGELOG.md tells what changed.

 -- tmsg developers <tmsg@tmsg.invalid>  $(LC_ALL=C date -u -R -d "@$changed")
END

cd ..
DEB_BUILD_OPTIONS="${DEB_BUILD_OPTIONS-} nocheck parallel=$(nproc)" dpkg-buildpackage -b -us -uc
