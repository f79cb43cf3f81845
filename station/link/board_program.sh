# What the station runs on the board: sh -c PROGRAM r8-station TOKEN PIPE SILENCE LIMIT MODE SHA256 TOOL ARGUMENT...
# Needs a POSIX shell, /proc, mkfifo, sleep, grep and readlink. Holds no single quote, so that the station can put it between two.
# TOKEN    marks our own lines on standard error: "r8-station TOKEN WORD...", wherever in the stream they begin
# SILENCE  seconds without a line on standard input after which the tool is ended, as at its end
# LIMIT    seconds that the tool may run, 0 for any
# MODE     board: we must be root and no such tool may run already; shared: neither is asked for
# SHA256   what the sum of the tool has to be where the board can tell it; empty: any
# Records go to standard output, all that the tool prints to standard error. The last line tells how it ended.
token=$1 pipe=$2 silence=$3 limit=$4 mode=$5 wanted=$6
shift 6
tool="" copier="" killer="" guard="" reader="" why="" made=""

mark() { printf "r8-station %s %s\n" "$token" "$*" >&6; }
refuse() { mark refused "$@"; exit 120; }
removePipe() { [ -z "$made" ] || rm -f "$pipe"; }

# PID: the seconds that it has lived, from the boot time in hundredths that is the 22nd field of its stat.
age() {
    read -r up rest </proc/uptime
    read -r stat <"/proc/$1/stat" || return 0
    set -- ${stat##*) }
    seconds=$((${up%%.*} - ${20} / 100))
}

# Who else has the pipe open. Not to be called in a child, which would be somebody else.
findHolders() {
    holders=""
    for entry in /proc/[0-9]*/fd/*; do
        [ "$entry" -ef "$pipe" ] || continue
        pid=${entry#/proc/} pid=${pid%%/*}
        case " $$ $holders" in *" $pid "*) ;; *) holders="$holders$pid " ;; esac
    done
}
# Who runs the tool, or the one that lay there before another was brought.
findTools() {
    for entry in /proc/[0-9]*/exe; do
        [ "$entry" -ef "$file" ] || [ "$(readlink "$entry" 2>/dev/null)" = "$file (deleted)" ] || continue
        pid=${entry#/proc/} holders="$holders${pid%/exe} "
    done
}
refuseBusy() {
    for pid in $holders; do
        seconds=0
        age "$pid" 2>/dev/null
        refuse busy "$pid $seconds"
    done
}

# A shell takes a program that the kernel does not know for a script; so we look at the machine in its header.
byte() { dd if="$1" bs=1 skip="$2" count="$3" 2>/dev/null; }
checkTool() {
    case $1 in */*) file=$1 ;; *) file=$(command -v "$1") ;; esac
    [ -f "$file" ] || refuse no-tool "$1"
    [ -x "$file" ] || refuse not-executable "$file"
    case $(byte "$file" 0 4) in
        "#!"*) ;;
        ?ELF) [ "$(byte "$file" 18 1)" = "$(byte /proc/$$/exe 18 1)" ] || refuse other-machine "$file" ;;
        *) refuse no-program "$file" ;;
    esac
}
makePipe() {
    [ ! -L "$pipe" ] || refuse pipe-taken "$pipe"
    if [ -e "$pipe" ]; then
        [ -p "$pipe" ] || refuse pipe-taken "$pipe"
        return 0
    fi
    made=yes
    mkfifo -m 600 "$pipe" || { status=$? made=""; refuse no-pipe "$status $pipe"; }
}

# Ends a helper of ours and its sleep. By a signal that nobody traps before: a shell forgets those that come
# while its new child still has the traps of its parent.
finish() {
    kill -VTALRM "$1"
    await "$1"
}
# The guard goes last: our last words may find no reader.
leave() {
    [ -z "$guard" ] || finish $guard
    removePipe
}
finishable() { finished="" && trap "finished=yes" VTALRM; }
# The tool and all that it started, known by its environment.
findFamily() {
    family=""
    for entry in $(grep -ls "R8_STATION_RUN=$token" /proc/[0-9]*/environ); do
        entry=${entry#/proc/} family="$family${entry%/environ} "
    done
}
# Sleeps so that a signal does not wait for its end. A helper that is to finish does so here, where it knows all of
# its children.
nap() {
    sleep "$1" 4<&- &
    while [ -z "$finished" ] && wait $!; [ $? -gt 128 ]; do :; done
    [ -z "$finished" ] || { kill $! $reader; exit; }
}
endTool() {
    finishable
    kill -TERM $tool
    nap 2
    kill -KILL $tool
}
startKiller() {
    [ -n "$killer" ] || { { exec >/dev/null 3<&- 4<&- 6>&-; endTool; } & killer=$!; }
}
# The reason, from the guard or from whoever sends us a signal: the first one counts. A shell runs a trap between any
# two commands, even of another trap; so the reason is taken in one command, and what follows is done only once.
# Nobody listens any more after silence.
stop() {
    why=${why:-$1} interrupted=yes
    trap "interrupted=yes" HUP INT TERM USR2 ALRM
    trap "interrupted=yes; kill -KILL \$copier" USR1
    [ "$1" != silence ] || kill -KILL $copier
    [ -z "$tool" ] || startKiller
}
# PID: its status. A signal ends a wait early; a second wait for the same process gives 127.
await() {
    interrupted=""
    wait "$1"
    status=$?
    while [ -n "$interrupted" ]; do
        interrupted=""
        wait "$1"
        again=$?
        [ $again = 127 ] || status=$again
    done
}

# Sees to the end of the tool when the station, the time, the copier or our main process is gone.
guardRun() {
    # A redirection of the call would keep them open elsewhere. The reading end tells who comes meanwhile that the pipe
    # is still ours, and lets the copier see its end.
    exec >/dev/null 4<"$pipe" 6>&-
    finishable
    trap "silent=0" USR1
    trap "silent=\$silence" USR2
    silent=0 seconds=0
    read -r self rest </proc/self/stat
    { while read -r line && kill -USR1 "$self"; do :; done; kill -USR2 "$self" || kill -TERM $$; } <&3 4<&- &
    reader=$!
    exec 3<&-
    while nap 1; read -r self name state parent rest </proc/self/stat; [ "$parent" = $$ ]; do
        silent=$((silent + 1)) seconds=$((seconds + 1))
        [ $silent -le "$silence" ] || kill -USR1 $$
        [ $silent -le $((silence + 5)) ] || kill -KILL $$
        [ "$limit" = 0 ] || [ $seconds -lt "$limit" ] || kill -ALRM $$
        state=""
        read -r self name state rest <"/proc/$copier/stat"
        case $state in "" | Z) kill -USR2 $$ ;; esac
    done
    kill -KILL $copier
    findFamily
    kill -TERM $family
    nap 2
    while findFamily; [ -n "$family" ]; do kill -KILL $family; done
    removePipe
    kill $reader
}

trap leave EXIT
trap "exit 121" HUP INT TERM
trap : PIPE # ignoring it would be handed down to the tool
exec 3<&0 </dev/null 6>&2
mark kernel "$(uname -r)"
[ "$mode" = shared ] || [ "$(id -u)" = 0 ] || refuse not-root "$(id -u)"
checkTool "$1"
if sum=$(sha256sum <"$file" 2>/dev/null); then
    mark sha256 "${sum%% *}"
    [ -z "$wanted" ] || [ "$wanted" = "${sum%% *}" ] || refuse other-tool "$file"
fi
makePipe
exec 4<>"$pipe"
[ -p "$pipe" ] || { [ -s "$pipe" ] || rm -f "$pipe"; refuse pipe-taken "$pipe"; } # gone meanwhile, so we made a file
findHolders
[ -z "$holders" ] || made="" # the pipe is theirs now, whoever made it
[ "$mode" = shared ] || findTools
refuseBusy

trap "stop signal" HUP INT TERM
trap "stop silence" USR1
trap "stop copier" USR2
trap "stop timeout" ALRM
exec 5<"$pipe" 2>/dev/null # some shells comment on the end of their children
cat <&5 3<&- 4<&- 5<&- 6>&- &
copier=$!
exec 5<&-
guardRun & # first, so that there is no moment at which the tool has none
guard=$!
{
    export R8_STATION_RUN="$token"
    read -r self rest </proc/self/stat
    mark started "$self" # by the process that becomes the tool: whatever it prints comes later
    exec "$@" </dev/null >&6 2>&6 3<&- 4<&- 6>&-
} &
tool=$!
[ -z "$why" ] || startKiller # a signal that came before we knew whom to end

await $tool
code=$status tool=""
trap "interrupted=yes" USR2
[ -z "$killer" ] || finish $killer
exec 4<&- # the copier sees the end once it has handed on everything
findFamily
[ -z "$family" ] || { mark left $family; kill -KILL $family; }
await $copier
[ $status = 0 ] || [ -n "$why" ] || why=copier
[ -z "$why" ] || mark ended "$why"
case $code in
    126 | 127) refuse not-started "$code" ;;
    1[3-8]? | 129 | 19[0-2]) mark signal $((code - 128)) ;;
    *) mark exit "$code" ;;
esac
[ -z "$why" ] || exit 121
exit "$code"
