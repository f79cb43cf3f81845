# Other ways to start the tool than by its name: what only a real kernel can show. Sourced by emulated/init; each
# stands in front of the tool's command.

# untilStopped: no tool; somebody else may start it
untilStopped() {
    while [ ! -e /tmp/stop ]; do sleep 1; done
}

# signalled SECONDS SIGNAL COMMAND...: as a terminal or a supervising process does it, to each process of the tool
signalled() {
    after=$1 signal=$2
    shift 2
    (sleep "$after"; kill "-$signal" $(pidof r8)) </dev/null >/dev/null 2>&1 &
    helpers="$helpers $!"
    "$@"
}

# measured COMMAND...: what it cost goes to the host
measured() {
    tools measure /tmp/figures "$@"
}

# controlForAll COMMAND...: the control device's node lets everybody in
controlForAll() {
    chmod 666 /dev/zorio
    "$@"
}

# ordinaryUser COMMAND...
ordinaryUser() {
    program=/bin/$1
    shift
    start-stop-daemon -S -c user -x "$program" -- "$@"
}

# descriptorsClosed COMMAND...: its lines are lost, its requests show
descriptorsClosed() {
    "$@" <&- >&- 2>&-
}

# sessionLeader COMMAND...: without a terminal; the first that it opens would become its own
sessionLeader() {
    setsid "$@" &
    wait $!
}

# noMountPoint COMMAND...: no directory /mnt
noMountPoint() {
    umount /mnt
    rmdir /mnt
    "$@"
}

# mountedBySomebody NAME PLACE COMMAND...: that disk is in use there
mountedBySomebody() {
    mkdir -p "$2"
    mount -t vfat "/dev/$1" "$2"
    place=$2
    shift 2
    "$@"
    ended=$?
    grep -q " $place " /proc/mounts && echo "still mounted" || echo "no longer mounted"
    umount "$place" 2>/dev/null
    return $ended
}

# busyStick NAME COMMAND...: somebody has it mounted where the tool would, and works there
busyStick() {
    mkdir "/mnt/$1"
    mount -t vfat "/dev/$1" "/mnt/$1"
    (cd "/mnt/$1" && exec sleep 1000) </dev/null >/dev/null 2>&1 &
    worker=$! name=$1
    shift
    "$@"
    ended=$?
    grep -q " /mnt/$name " /proc/mounts && echo "still mounted" || echo "no longer mounted"
    kill $worker
    wait $worker
    umount "/mnt/$name" 2>/dev/null
    return $ended
}

# settled SECONDS COMMAND...: what is left over is looked at so much later
settled() {
    later=$1
    shift
    "$@"
    ended=$?
    sleep "$later"
    return $ended
}

# stuckReader COMMAND...: somebody has the pipe open and does not read, and it is full
stuckReader() {
    exec 9<>/var/r8.fifo
    dd if=/dev/zero of=/var/r8.fifo bs=4096 count=16 2>/dev/null
    "$@" 9>&-
}

# leavingReader BYTES COMMAND...: somebody reads so much and goes
leavingReader() {
    (exec head -c "$1" /var/r8.fifo >/dev/null) &
    leaving=$! helpers="$helpers $!"
    shift
    until grep -q wait_for_partner "/proc/$leaving/wchan"; do usleep 50000; done
    "$@"
}

serialCard() {
    for entry in /sys/bus/pci/devices/*; do
        read -r vendor <"$entry/vendor"
        read -r device <"$entry/device"
        [ "$vendor:$device" != 0x1b36:0x0004 ] || echo "${entry##*/}"
    done
}

# hangsUp SECONDS COMMAND...: then the serial ports lose their hardware
hangsUp() {
    after=$1
    shift
    (sleep "$after"; serialCard >/sys/bus/pci/drivers/serial/unbind) </dev/null >/dev/null 2>&1 &
    helpers="$helpers $!"
    "$@"
}

# bindPorts: brings them back
bindPorts() {
    [ -e "/sys/bus/pci/drivers/serial/$(serialCard)" ] || serialCard >/sys/bus/pci/drivers/serial/bind
}
