#!/bin/sh
# The Debian package in a bare root: debian.sh CPACK BUILD. The root knows no packages but those that this one depends
# on, and holds nothing but their libraries; there it is installed, runs the first session, and is removed.
set -eu
PATH=$PATH:/usr/sbin:/sbin
as_root=""
[ "$(id -u)" = 0 ] || as_root="unshare --map-root-user"
for tool in dpkg dpkg-deb dpkg-shlibdeps chroot $as_root; do
  [ "${tool#-}" != "$tool" ] || command -v "$tool" > /dev/null || { echo "skipped: there is no $tool"; exit 77; }
done
$as_root chroot / true 2> /dev/null || { echo "skipped: chroot is not allowed here"; exit 77; }

work=$2/debian-test
root=$work/root
status=$root/var/lib/dpkg/status
rm -rf "$work"
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates"
"$1" --config "$2/CPackConfig.cmake" -B "$work" > "$work/cpack.log" || { cat "$work/cpack.log"; exit 1; }
package=$(ls "$work"/*.deb)

names() { tr ',' '\n' | sed 's/[|(:].*//'; }
# borrow PACKAGE...: these packages of the machine, and what they depend on in turn.
borrow() {
  for name in "$@"; do
    ! grep -qx "Package: $name" "$status" || continue
    { dpkg-query -s "$name"; echo; } >> "$status"
    dpkg -L "$name" | grep '\.so\(\.\|$\)' | tar -C / --no-recursion -chf - -T - | tar -C "$root" -xf -
    borrow $(dpkg-query -W -f '${Depends}' "$name" | names)
  done
}
touch "$status"
borrow $(dpkg-deb -f "$package" Depends | names)
held() { (cd "$root" && find . -path ./var -prune -o -print | sort) > "$work/$1"; }
manage() { $as_root dpkg --root="$root" --log="$work/dpkg.log" --force-unsafe-io "$@" > "$work/dpkg.out"; }

held before
manage --install "$package"
mv "$root/usr/share/doc/qvtx/examples/iris.dat" "$root"
$as_root chroot "$root" /usr/bin/qvtx --init
echo ng 30 cc mp m 2 ag dd sm map xt y | $as_root chroot "$root" /usr/bin/qvtx --strict --data iris > "$work/report"
grep -q 'Mapping: Curvilinear Component Analysis, 2 dimensions' "$work/report"
[ -s "$root/map.mbf" ]
[ -s "$root/usr/share/man/man1/qvtx.1" ]
rm "$root"/iris.dat "$root"/map.* "$root"/Qvtx.prf "$root"/default.*
manage --remove qvtx
held after
diff "$work/before" "$work/after"
