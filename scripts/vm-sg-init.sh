#!/bin/busybox sh
# The virtual machine's init (see scripts/test-vm-sg.sh): loads the modules,
# makes the simulated camera a SCSI device with target_core_user and
# tcm_loop, checks it through /dev/sgN, prints every check as
# "VMTEST PASS|FAIL name" on the console and powers off.

/bin/busybox --install -s /bin
export PATH=/bin
mount -t proc proc /proc
mount -t sysfs sysfs /sys
mount -t devtmpfs devtmpfs /dev
mkdir -p /dev/shm && mount -t tmpfs tmpfs /dev/shm
mount -t tmpfs tmpfs /tmp
export TMPDIR=/tmp

failures=0
pass() { echo "VMTEST PASS $*"; }
fail() { echo "VMTEST FAIL $*"; failures=$((failures + 1)); }
check() {  # name, then the command that must succeed
  name=$1; shift
  if "$@" >/tmp/check.log 2>&1; then pass "$name"; else fail "$name"; cat /tmp/check.log; fi
}
finish() {
  echo "VMTEST DONE failures=$failures"
  poweroff -f
}

for module in $(cat /modules/order); do
  insmod "/modules/$module.ko" || fail "insmod $module"
done
mount -t configfs configfs /sys/kernel/config || fail "mount configfs"

# The user backstore "camera": dslrsim finds its UIO node by this name.
core=/sys/kernel/config/target/core/user_1/camera
mkdir -p $core
echo -n "dev_config=dslrsim/camera" > $core/control
echo -n "dev_size=1048576" > $core/control
echo -n 1 > $core/enable || { fail "enable the user backstore"; finish; }
dslrsim --tcmu camera >/tmp/dslrsim.log 2>&1 &
dslrsim_pid=$!

# The loopback fabric: a virtual SCSI host whose LUN 0 is the backstore.
loop=/sys/kernel/config/target/loopback/naa.5001405000000001
mkdir -p $loop/tpgt_1/lun/lun_0
echo -n naa.5001405000000002 > $loop/tpgt_1/nexus
ln -s $core $loop/tpgt_1/lun/lun_0/camera || { fail "link the LUN"; finish; }

# The SCSI scan of the new host can take a while on an emulated processor
# of a busy machine: a generous guard, left as soon as the node is there.
sg=
for attempt in $(seq 600); do
  for node in /sys/class/scsi_generic/sg*; do
    [ "$(cat $node/device/type 2>/dev/null)" = 6 ] && sg=/dev/${node##*/}
  done
  [ -n "$sg" ] && break
  sleep 0.2
done
[ -n "$sg" ] || { fail "a still-image device on /dev/sgN"; cat /tmp/dslrsim.log; ls /sys/class/scsi_generic; dmesg | tail -n 40; finish; }
pass "still-image device $sg: $(cat /sys/class/scsi_generic/${sg#/dev/}/device/vendor) $(cat /sys/class/scsi_generic/${sg#/dev/}/device/model)"

# A person outside the node's group is told which group to join.
mkdir -p /etc
printf 'root:x:0:0::/:/bin/sh\nuser:x:1000:1000::/tmp:/bin/sh\n' >/etc/passwd
printf 'root:x:0:\ndisk:x:6:\nuser:x:1000:\n' >/etc/group
chown root:disk $sg && chmod 660 $sg
check "permission error names the group" sh -c \
  "su -s /bin/sh user -c 'dslrctl --port $sg info' 2>&1 | grep \"belongs to group 'disk'\""
cat /tmp/check.log

# The tools package's udev rule, applied by udevd as on an installed system:
# the node goes to plugdev; a member runs dslrctl, anyone else is refused.
mount -t tmpfs tmpfs /run
printf 'root:x:0:0::/:/bin/sh\nuser:x:1000:1000::/tmp:/bin/sh\nphotographer:x:1001:1001::/tmp:/bin/sh\n' >/etc/passwd
printf 'root:x:0:\ndisk:x:6:\nplugdev:x:46:photographer\nuser:x:1000:\nphotographer:x:1001:\n' >/etc/group
/lib/systemd/systemd-udevd --daemon >/tmp/udevd.log 2>&1 || { fail "start udevd"; cat /tmp/udevd.log; }
udevadm trigger --subsystem-match=scsi_generic --action=add
udevadm settle --timeout=30
check "udev rule gives $sg to plugdev, mode 0660" sh -c "ls -l $sg | grep -q '^crw-rw---- .* root *plugdev '"
ls -l $sg
check "a user in plugdev runs dslrctl info" su -s /bin/sh photographer -c "dslrctl --port $sg info"
check "a user outside plugdev cannot" sh -c \
  "su -s /bin/sh user -c 'dslrctl --port $sg info' 2>&1 | grep \"belongs to group 'plugdev'\""
cat /tmp/check.log
udevadm control --exit

# info compared with the embedded camera; the clocks are read a moment apart.
dslrctl --port sim:vm info | grep -v '^Clock:' >/tmp/info.sim
dslrctl --port $sg info >/tmp/info.sg 2>&1
grep -v '^Clock:' /tmp/info.sg >/tmp/info.sg.noclock
check "dslrctl info the same as on sim:" cmp /tmp/info.sim /tmp/info.sg.noclock
cat /tmp/info.sg

check "host example (connect, settings, listing, downloads, close)" host_session $sg
check "settings round trip: set" dslrctl --port $sg config set iso 800
check "settings round trip: read back by a new connection" \
  sh -c "dslrctl --port $sg config get iso | grep -qx 'iso = ISO 800 (0x60)'"

mkdir -p /tmp/sg /tmp/sim /tmp/back
check "download" dslrctl --port $sg get ATA01:/DCIM/100VELOR/IMG_0001.JPG -o /tmp/sg
dslrctl --port sim:vm get ATA01:/DCIM/100VELOR/IMG_0001.JPG -o /tmp/sim >/dev/null
check "download byte for byte as on sim:" cmp /tmp/sg/IMG_0001.JPG /tmp/sim/IMG_0001.JPG
check "upload" dslrctl --port $sg put /data/RND_0001.JPG ATA02:/
check "upload downloaded again" dslrctl --port $sg get ATA02:/RND_0001.JPG -o /tmp/back
check "upload and download byte for byte" cmp /data/RND_0001.JPG /tmp/back/RND_0001.JPG
check "image event" sh -c "dslrctl --port $sg -v capture --download -o /tmp/shots 2>&1 |
  grep 'event 0x00000008 JPEG image held for the computer'"

# The camera leaves in the middle of a download: the LUN is taken from the
# fabric and the backstore removed.
device_loss_check $sg ATA01:/DCIM/100VELOR/RAW_0004.RVX >/tmp/loss.log 2>&1 &
loss_pid=$!
for attempt in $(seq 100); do
  grep -q ready /tmp/loss.log && break
  sleep 0.1
done
check "a second program is refused while one has the camera" \
  sh -c "! dslrctl --port $sg info"
cat /tmp/check.log
rm $loop/tpgt_1/lun/lun_0/camera
rmdir $loop/tpgt_1/lun/lun_0
rmdir $core
wait $loss_pid
cat /tmp/loss.log
check "device lost mid-transfer: 0x02000080, no-device flag lowered" \
  grep -Eq 'failed 0x[0-9A-F]{8} next 0x02000080 flag 0' /tmp/loss.log
for attempt in $(seq 50); do
  kill -0 $dslrsim_pid 2>/dev/null || break
  sleep 0.1
done
check "dslrsim saw the backstore go" grep -q 'was removed' /tmp/dslrsim.log
cat /tmp/dslrsim.log
finish
