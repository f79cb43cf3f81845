# What the station runs on the board to bring a tool there: sh -c PROGRAM r8-station TOKEN FILE SHA256 BYTES SILENCE
# Needs a POSIX shell, cat, wc, chmod, mv, rm and sleep; sha256sum where it is there. Holds no single quote.
# Standard input is the tool. SILENCE: seconds without a byte of it after which we give up.
# Our own lines on standard error begin with "r8-station TOKEN": present, uploaded or unchecked is the last one of an
# upload that went well; refused REASON of one that did not. The old file stays until the new one is whole.
token=$1 file=$2 sum=$3 bytes=$4 silence=$5
part="$file.$token"
copier="" guard=""

mark() { printf "r8-station %s %s\n" "$token" "$*" >&2; }
refuse() { mark refused "$@"; exit 120; }
digest() { [ ! -f "$1" ] || sha256sum <"$1" 2>/dev/null; }
isThere() {
    digest=$(digest "$1")
    [ "${digest%% *}" = "$sum" ]
}
leave() {
    [ -z "$copier" ] || kill -KILL $copier 2>/dev/null
    [ -z "$guard" ] || kill $guard 2>/dev/null
    rm -f "$part"
}
# Ends the copier when nothing comes any more, or when our main process is gone.
watch() {
    silent=0 before=-1
    while
        sleep 1
        read -r self name state parent rest </proc/self/stat
        [ "$parent" = $$ ] && [ $silent -lt "$silence" ]
    do
        size=$(wc -c <"$part")
        silent=$((silent + 1))
        [ "$size" = "$before" ] || silent=0
        before=$size
    done
    kill -KILL $copier
    [ "$parent" = $$ ] || rm -f "$part"
}

mark kernel "$(uname -r)"
if isThere "$file" && [ -x "$file" ]; then
    mark present
    exit 0
fi
[ ! -d "$file" ] || refuse folder "$file"
trap leave EXIT
trap "exit 121" HUP INT TERM
: >"$part" || refuse not-written "$part"
exec 3<&0 # the shell gives its children in the background no input of its own
cat <&3 3<&- >"$part" &
copier=$!
exec 3<&-
watch >/dev/null 2>&1 &
guard=$!
wait $copier || refuse not-written "$part"
copier=""
size=$(wc -c <"$part")
[ "$size" -eq "$bytes" ] || refuse torn "$size"
isThere "$part" || [ -z "$digest" ] || refuse differs "$file"
chmod 755 "$part" && mv -f "$part" "$file" || refuse not-written "$file"
if isThere "$file"; then
    mark uploaded
elif [ -z "$digest" ] && [ "$(wc -c <"$file")" -eq "$bytes" ]; then
    mark unchecked
else
    refuse differs "$file"
fi
