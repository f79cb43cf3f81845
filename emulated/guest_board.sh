# The procedures that make a scenario's board out of the machine, one case after the other. Sourced by emulated/init.
# A process costs the emulated machine some 10 ms, so they start few.

# port NAME: the node of the channel to the host with this name
port() {
    for entry in /sys/class/virtio-ports/*; do
        read -r name <"$entry/name"
        [ "$name" != "$1" ] || echo "/dev/${entry##*/}"
    done
}

portIsThere() {
    [ -e "$(port "$1")" ]
}

say() {
    echo "$*" >&5
}

# await COMMAND...: until it succeeds; a device takes a while to come up
await() {
    tries=0
    until "$@"; do
        tries=$((tries + 1))
        [ $tries -lt 600 ] || { say "gave up waiting: $*"; return 1; }
        usleep 50000
    done
}

# node NODE CLASS/NAME: (again) the node of the device that sysfs has there
node() {
    await test -e "/sys/class/$2/dev" || return
    IFS=: read -r major minor <"/sys/class/$2/dev"
    rm -f "$1"
    mknod -m 600 "$1" "${3:-c}" "$major" "$minor"
}

# switchOn: what every case needs, once
switchOn() {
    mkdir -p /named
    device "$(port control)" zorio 2>/dev/console 5>&- 6>&- 7>&- &
    device "$(port clock)" clock 2>/dev/console 5>&- 6>&- 7>&- &
    untouched=$(stty -F /dev/ttyS1 -g)
    dd if=/dev/zero of=/silent bs=1M count=1 2>/dev/null
    losetup /dev/loop0 /silent
}

# processesOf PROGRAM: their numbers
processesOf() {
    ls -l /proc/[0-9]*/exe 2>/dev/null | sed -n "s,.* /proc/\([0-9]*\)/exe -> $1\$,\1,p"
}

# drainPorts: nothing of an earlier case is in them, and their attributes are a fresh port's
drainPorts() {
    for node in /dev/ttyS1 /dev/ttyS3; do
        stty -F $node raw -echo
        timeout 0.3 cat $node >/dev/null &
    done 2>/dev/null
    usleep 400000
    for node in /dev/ttyS1 /dev/ttyS3; do
        stty -F $node "$untouched"
    done
}

# resetBoard: takes away what the case before had, and brings back what it had not
resetBoard() {
    for process in $(processesOf /bin/r8) $(processesOf /vidapp) $helpers; do
        kill -9 "$process" 2>/dev/null
    done
    helpers="" reader="" closedInput=no
    exec 9>&-
    mkdir -p /mnt
    while read -r device place type; do
        case $place in
            /mnt/*) umount "$place" ;;
        esac
    done </proc/mounts
    ! grep -q ' /mnt ' /proc/mounts || umount /mnt
    rm -rf /var/r8.fifo /dev/ms* /dev/sd* /dev/esd* /named/* /tmp/figures
    bindPorts
    node /dev/zorio cuse/zorio
    node /dev/rtc0 rtc/rtc0
    node /dev/ttyS1 tty/ttyS1
    node /dev/ttyS3 tty/ttyS3
    drainPorts
}

# diskOf PART: the kernel's name of the disk whose path in sysfs has this part, or whose USB serial it is
diskOf() {
    for entry in /sys/block/sd*; do
        path=$(readlink -f "$entry/device")
        case $path in
            */usb*)
                read -r serial <"${path%%/host*}/../serial"
                [ "$serial" = "$1" ] || continue
                ;;
            */"$1"/*) ;;
            *) continue ;;
        esac
        echo "${entry##*/}"
    done
}

diskIsThere() {
    [ -n "$(diskOf "$1")" ]
}

# disk PART NAME PARTITIONS: the board's kernel has names of its own for its disks
disk() {
    await diskIsThere "$1" || return
    kernelName=$(diskOf "$1")
    number=0
    while [ $number -le "$3" ]; do
        suffix=$number
        [ $number != 0 ] || suffix=""
        node "/named/$2$suffix" "block/$kernelName$suffix" b
        number=$((number + 1))
    done
}

# silentDisk NAME: a disk that knows no ATA commands
silentDisk() {
    node "/named/$1" block/loop0 b
}

# disksDone: from here on "/dev" shows the board's names only
disksDone() {
    rm -f /dev/sd*
    [ -z "$(ls /named)" ] || mv /named/* /dev/
}

# mice COUNT, usb3 yes|no: until what was plugged in or pulled out shows
mice() {
    await hasMice "$1"
}

hasMice() {
    wanted=$1
    set -- /dev/input/mouse*
    [ -e "$1" ] || shift # the pattern itself: there is none
    [ $# = "$wanted" ]
}

usb3() {
    await showsUsb3 "$1"
}

showsUsb3() {
    if [ -e /sys/bus/usb/devices/4-1 ]; then [ "$1" = yes ]; else [ "$1" = no ]; fi
}

# mountPoints BLOCKS FREE: a file system for /mnt, of which so many blocks of 4096 bytes are free
mountPoints() {
    mount -t tmpfs -o "size=$(($1 * 4))k" mountPoints /mnt
    dd if=/dev/zero of=/mnt/.used bs=4096 count=$(($1 - $2)) 2>/dev/null
}

interfaceOf() {
    for entry in /sys/class/net/*; do
        read -r found <"$entry/address"
        [ "$found" != "$1" ] || echo "${entry##*/}"
    done
}

interfaceIsThere() {
    [ -n "$(interfaceOf "$1")" ]
}

# network ADDRESS,NAME,LINK...: the cards with these addresses get these names, come up, and their links settle as
# the host has set them, 1 or 0; the others are put away, for the names are the board's
network() {
    for number in 1 2 3; do
        address=52:54:00:00:00:0$number
        await interfaceIsThere "$address" || return
        case " $* " in
            *" $address,$(interfaceOf "$address"),"*) continue ;; # up already
        esac
        ip link set "$(interfaceOf "$address")" down
        ip link set "$(interfaceOf "$address")" name parked$number
    done
    for card in "$@"; do
        address=${card%%,*} link=${card##*,} name=${card#*,}
        name=${name%,*}
        ip link set "$(interfaceOf "$address")" name "$name"
        grep -qs "$link" "/sys/class/net/$name/carrier" || ip link set "$name" down # looks at its link anew
        ip link set "$name" up
    done
    for card in "$@"; do # they settle side by side
        link=${card##*,} name=${card#*,}
        await grep -q "$link" "/sys/class/net/${name%,*}/carrier"
    done
}

# duplex NAME full|half: of a card at 100 Mb/s
duplex() {
    tools duplex "$1" "$2" || say "gave up: $1 takes no duplex"
}

# systemClock SECONDS: behind the clock chip by so much
systemClock() {
    [ ! -e /dev/rtc0 ] || tools clock "$1" || say "gave up: no clock"
}

# sshServer KEY: lets whoever has that key in as root
sshServer() {
    await interfaceIsThere 52:54:00:00:00:10 || return
    ip link set "$(interfaceOf 52:54:00:00:00:10)" name service
    ip link set service up
    ip address add 10.0.2.15/24 dev service
    mkdir -p /root/.ssh /etc/dropbear
    echo "$1" >/root/.ssh/authorized_keys
    chmod -R go= /root
    dropbear -R -s -E 2>/dev/console 5>&- 6>&- 7>&-
    say "root may come in with ssh"
}

# mainApplication: the process that the tool looks for and ends
mainApplication() {
    (cd / && exec ./vidapp -d 5>&- 6>&- 7>&-) &
    await runsAlready /vidapp
}

runsAlready() {
    [ -n "$(processesOf "$1")" ]
}

# reportPipe yes|no: the tool's named pipe, with or without somebody who reads it
reportPipe() {
    mkfifo /var/r8.fifo
    [ "$1" = yes ] || return
    exec 8>"$(port records)"
    (exec 5>&- 6>&- 7>&- cat /var/r8.fifo >&8) &
    reader=$! helpers="$helpers $!"
    exec 8>&-
    await grep -q wait_for_partner "/proc/$reader/wchan" # it is in open(2), for which the tool needs it
}

# run COMMAND...: the tool; then what it left behind
run() {
    say started
    if [ "$closedInput" = yes ]; then
        "$@" </dev/null >&6 2>&7 5>&- 6>&- 7>&-
    else
        "$@" <&6 >&6 2>&7 5>&- 6>&- 7>&-
    fi
    status=$?
    [ -z "$reader" ] || await readerEnded || kill "$reader"
    leftOvers
    [ ! -f /tmp/figures ] || while read -r figure; do say "figure $figure"; done </tmp/figures
    say "ended $status"
}

# It ends when nobody has the pipe open for writing any more.
readerEnded() {
    ! kill -0 "$reader" 2>/dev/null || grep -q '^State:.*Z' "/proc/$reader/status" 2>/dev/null
}

leftOvers() {
    if grep -q ' /mnt/' /proc/mounts; then say "left a mount: $(grep ' /mnt/' /proc/mounts)"; fi
    [ -z "$(processesOf /vidapp)" ] && say "the main application is gone" || say "the main application lives"
    for process in $(processesOf /bin/r8); do
        say "left a process: $process"
    done
    for status in $(grep -l '^State:.*Z' /proc/[0-9]*/status 2>/dev/null); do
        [ "$status" = "/proc/$reader/status" ] || say "left a zombie: $status"
    done
    ls -l /proc/[0-9]*/fd/ 2>/dev/null | grep -o '/dev/ttyS.*' | while read -r node; do
        say "left a port open: $node"
    done
}
