#!/bin/bash
# enter_root.sh ROOT FOLDER COMMAND...: becomes COMMAND in the system below ROOT, in its FOLDER. Is to be started in mount
# and process namespaces of its own (unshare --mount --pid --fork): what is mounted here goes with them.
set -euo pipefail
root=$1 folder=$2
shift 2

mount -t proc proc "$root/proc"
mount -t tmpfs -o mode=755 dev "$root/dev"
for device in null zero full random urandom tty; do
  touch "$root/dev/$device"
  mount --bind "/dev/$device" "$root/dev/$device"
done
mkdir "$root/dev/pts" "$root/dev/shm"
mount -t devpts -o newinstance,ptmxmode=0666,mode=620 devpts "$root/dev/pts"
mount -t tmpfs -o mode=1777 shm "$root/dev/shm"
ln -s pts/ptmx "$root/dev/ptmx"
ln -s /proc/self/fd "$root/dev/fd"
for stream in 0:stdin 1:stdout 2:stderr; do ln -s "/proc/self/fd/${stream%:*}" "$root/dev/${stream#*:}"; done

exec env -i HOME=/root USER=root PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 TERM=dumb \
  chroot "$root" bash -c 'cd "$1" && shift && exec "$@"' bash "$folder" "$@"
