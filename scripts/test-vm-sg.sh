#!/usr/bin/env bash
# The /dev/sgN provider through a real kernel: boots Debian's kernel in a
# virtual machine (qemu, TCG: no KVM needed, no module is loaded on this
# machine) with an initramfs of busybox, the SCSI target modules and our
# binaries; scripts/vm-sg-init.sh runs the checks inside and reports them on
# the serial console.
#
#   scripts/test-vm-sg.sh [BUILD_DIR]
#
# The kernel package is downloaded (apt-get download) once and pruned to the
# kernel image and the modules the machine needs, in BUILD_DIR/vm-sg; udev is
# unpacked beside it, to apply the tools package's rule in the machine. Without qemu-system-x86_64, a
# static busybox or the kernel package the test is skipped, loudly.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(realpath "${1:-build}")
cache=$build/vm-sg
timeout_seconds=${VM_TIMEOUT:-600}

skip() {
  echo "######################################################################"
  echo "### SKIPPED: the /dev/sgN test in a virtual machine did not run:"
  echo "### $*"
  echo "######################################################################"
  exit 0
}

command -v qemu-system-x86_64 >/dev/null || skip "qemu-system-x86_64 is missing (package qemu-system-x86)"
busybox=$(command -v busybox || true)
[ -n "$busybox" ] && ! ldd "$busybox" >/dev/null 2>&1 || skip "no static busybox (package busybox-static)"
binaries=("$build/tools/dslrsim/dslrsim" "$build/tools/dslrctl/dslrctl"
          "$build/examples/host_session" "$build/tests/device_loss_check")
for binary in "${binaries[@]}"; do
  [ -x "$binary" ] || { echo "test-vm-sg: $binary is not built" >&2; exit 1; }
done

# Debian's current kernel, as the linux-image-amd64 metapackage names it.
# Of its package only the kernel image and the modules the machine loads are
# kept (a few MB instead of some 400 MB), and older kernels are dropped, so
# that the build folder stays small.
mkdir -p "$cache"
package=$(apt-cache depends linux-image-amd64 2>/dev/null |
          awk '/Depends: linux-image-[0-9]/ { print $2; exit }')
[ -n "$package" ] || skip "apt-cache does not know linux-image-amd64"
kernel_dir=$cache/$package

# Copies module NAME and what it depends on (each .ko names its dependencies
# in its modinfo section) from the unpacked tree to OUT, dependencies first.
declare -A selected=()
select_module() {  # modules-tree, out, name
  local tree=$1 out=$2 name=$3 file dependency
  [ -n "${selected[$name]:-}" ] && return
  selected[$name]=1
  file=$(find "$tree/kernel" \( -name "$name.ko" -o -name "${name//_/-}.ko" \
                              -o -name "${name//-/_}.ko" \) | head -n 1)
  [ -n "$file" ] || { echo "test-vm-sg: module $name not in $package" >&2; exit 1; }
  for dependency in $(tr '\0' '\n' <"$file" | sed -n 's/^depends=//p' | tr ',' ' '); do
    select_module "$tree" "$out" "$dependency"
  done
  cp "$file" "$out/$name.ko"
  echo "$name" >>"$out/order"
}
if [ ! -f "$kernel_dir/vmlinuz" ]; then
  rm -rf "$cache"/linux-image-* "$cache"/*.deb
  unpacked=$cache/unpacked
  (cd "$cache" && apt-get download "$package" >/dev/null 2>&1) || skip "cannot download $package"
  dpkg-deb -x "$cache/$package"_*.deb "$unpacked"
  rm -f "$cache/$package"_*.deb
  mkdir -p "$kernel_dir.part/modules"
  tree=$(echo "$unpacked"/lib/modules/*)
  for module in configfs scsi_common scsi_mod crc-t10dif uio target_core_mod target_core_user \
                tcm_loop sg; do
    select_module "$tree" "$kernel_dir.part/modules" "$module"
  done
  cp "$unpacked"/boot/vmlinuz-* "$kernel_dir.part/vmlinuz"
  rm -rf "$unpacked"
  mv "$kernel_dir.part" "$kernel_dir"
fi
vmlinuz=$kernel_dir/vmlinuz

# udev, to apply the camera's rule inside the machine as an installed system
# does; unpacked once with the libraries it needs that this machine lacks.
udev_version=$(apt-cache policy udev 2>/dev/null | awk '/Candidate:/ { print $2 }')
udev_dir=$cache/udev-$udev_version
if [ -n "$udev_version" ] && [ ! -d "$udev_dir" ]; then
  rm -rf "$cache"/udev-*
  mkdir -p "$udev_dir.part"
  if (cd "$udev_dir.part" && apt-get download udev libkmod2 libacl1 libblkid1 libcap2 libselinux1 \
        libudev1 libpcre2-8-0 >/dev/null 2>&1); then
    for deb in "$udev_dir.part"/*.deb; do dpkg-deb -x "$deb" "$udev_dir.part/root"; done
    rm -f "$udev_dir.part"/*.deb
    mv "$udev_dir.part" "$udev_dir"
  else
    rm -rf "$udev_dir.part"
  fi
fi
[ -x "$udev_dir/root/bin/udevadm" ] || skip "cannot download udev"

root=$cache/root
rm -rf "$root"
mkdir -p "$root"/{bin,dev,proc,sys,tmp,data,run,lib/systemd,usr/lib/udev/rules.d,usr/lib/x86_64-linux-gnu}
cp "$busybox" "$root/bin/busybox"
cp scripts/vm-sg-init.sh "$root/init"
cp -r "$kernel_dir/modules" "$root/modules"
cp packaging/60-vkrnq402-camera.rules "$root/usr/lib/udev/rules.d/"
cp "$udev_dir/root/bin/udevadm" "$root/bin/"
ln -s /bin/udevadm "$root/lib/systemd/systemd-udevd"
udev_libs=$udev_dir/root/lib/x86_64-linux-gnu:$udev_dir/root/usr/lib/x86_64-linux-gnu
for library in $(LD_LIBRARY_PATH=$udev_libs ldd "$udev_dir/root/bin/udevadm" | grep -o '/[^ ]*'); do
  case "$library" in
    "$udev_dir"/*) cp -L "$library" "$root/usr/lib/x86_64-linux-gnu/" ;;
    *) cp --parents -L "$library" "$root/" ;;
  esac
done

# Our binaries with the shared libraries they load: the system's at their
# own paths, our library in /usr/lib, since the build folder's path (found
# through the binaries' run path) may lie under /tmp, which the machine
# mounts afresh.
mkdir -p "$root/usr/lib"
for binary in "${binaries[@]}"; do
  cp "$binary" "$root/bin/"
  for library in $(ldd "$binary" | grep -o '/[^ ]*'); do
    case "$library" in
      "$build"/*) cp -L "$library" "$root/usr/lib/" ;;
      *) cp --parents -L "$library" "$root/" ;;
    esac
  done
done
head -c 1500000 /dev/urandom >"$root/data/RND_0001.JPG"

(cd "$root" && find . | "$busybox" cpio -o -H newc 2>/dev/null) | gzip -1 >"$cache/initrd.gz"

echo "test-vm-sg: booting $package under qemu (TCG), at most ${timeout_seconds}s"
log=$cache/console.log
started=$(date +%s)
timeout "$timeout_seconds" qemu-system-x86_64 -machine accel=tcg -cpu max -m 1024 -smp 1 \
  -nographic -no-reboot -kernel "$vmlinuz" -initrd "$cache/initrd.gz" \
  -append "console=ttyS0 panic=-1 quiet loglevel=3" >"$log" 2>&1 || true
echo "test-vm-sg: the machine ran $(($(date +%s) - started))s; console in $log"

grep -a 'VMTEST' "$log" | tr -d '\r'
if ! grep -aq 'VMTEST DONE failures=0' "$log"; then
  echo "test-vm-sg: FAILED (the console's last lines:)"
  tail -n 40 "$log" | tr -d '\r'
  exit 1
fi
echo "test-vm-sg: every check passed"
