#!/usr/bin/env bash
# The /dev/sgN provider through a real kernel: boots Debian's kernel in a
# virtual machine (qemu, TCG: no KVM needed, no module is loaded on this
# machine) with an initramfs of busybox, the SCSI target modules and our
# binaries; scripts/vm-sg-init.sh runs the checks inside and reports them on
# the serial console.
#
#   scripts/test-vm-sg.sh [BUILD_DIR]
#
# The kernel package is downloaded (apt-get download) and unpacked with
# dpkg-deb -x into BUILD_DIR/vm-sg, once. Without qemu-system-x86_64, a
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
mkdir -p "$cache"
package=$(apt-cache depends linux-image-amd64 2>/dev/null |
          awk '/Depends: linux-image-[0-9]/ { print $2; exit }')
[ -n "$package" ] || skip "apt-cache does not know linux-image-amd64"
kernel_dir=$cache/$package
if [ ! -d "$kernel_dir" ]; then
  (cd "$cache" && rm -f ./*.deb && apt-get download "$package" >/dev/null 2>&1) ||
    skip "cannot download $package"
  dpkg-deb -x "$cache/$package"_*.deb "$kernel_dir.part" && mv "$kernel_dir.part" "$kernel_dir"
  rm -f "$cache/$package"_*.deb
fi
version=$(ls "$kernel_dir/lib/modules")
modules=$kernel_dir/lib/modules/$version
vmlinuz=$kernel_dir/boot/vmlinuz-$version

root=$cache/root
rm -rf "$root"
mkdir -p "$root"/{bin,dev,proc,sys,tmp,modules,data}
cp "$busybox" "$root/bin/busybox"
cp scripts/vm-sg-init.sh "$root/init"

# The modules with what they depend on (each .ko names its dependencies in
# its modinfo section), dependencies first.
declare -A loaded=()
order=()
add_module() {
  local name=$1 file dependency
  [ -n "${loaded[$name]:-}" ] && return
  loaded[$name]=1
  file=$(find "$modules/kernel" \( -name "$name.ko" -o -name "${name//_/-}.ko" \
                                 -o -name "${name//-/_}.ko" \) | head -n 1)
  [ -n "$file" ] || { echo "test-vm-sg: module $name not in $package" >&2; exit 1; }
  for dependency in $(tr '\0' '\n' <"$file" | sed -n 's/^depends=//p' | tr ',' ' '); do
    add_module "$dependency"
  done
  cp "$file" "$root/modules/$name.ko"
  order+=("$name")
}
for module in configfs scsi_common scsi_mod crc-t10dif uio target_core_mod target_core_user \
              tcm_loop sg; do
  add_module "$module"
done
printf '%s\n' "${order[@]}" >"$root/modules/order"

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
