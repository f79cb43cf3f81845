# bash completion for @program@, made from its --help

# Names come from folders and programs: they are compared and quoted here, for compgen would expand them as the shell's
# own text.
__@program@_offer() {
    local name
    for name in "$@"; do
        [[ $name != "$cur"* ]] || COMPREPLY+=("$(printf '%q' "$name")")
    done
}

__@program@_scenarios() {
    local names
    mapfile -t names < <(vboard --list 2>/dev/null | cut -d' ' -f1)
    __@program@_offer "${names[@]}"
}

# The units in the folder of the records, as their folders name them: %XX is a byte.
__@program@_units() {
    local results=results folder name i
    for ((i = 1; i < COMP_CWORD - 1; i++)); do
        [[ ${COMP_WORDS[i]} == --results ]] || continue
        results=${COMP_WORDS[i + 1]}
        [[ $results != = ]] || results=${COMP_WORDS[i + 2]}
    done
    for folder in "$results"/*/; do
        name=${folder%/}
        name=${name##*/}
        [[ $name =~ ^[A-Za-z0-9_+=%-]+$ ]] || continue
        printf -v name '%b' "${name//%/\\x}"
        __@program@_offer "$name"
    done
}

__@program@_complete() {
    case $1 in
        '(') ;;
        '('*) __@program@_offer $(printf %s "${1:1:-1}") ;;
        scenarios) __@program@_scenarios; __@program@_complete files ;;
        units) __@program@_units ;;
        files) compopt -o filenames; mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$cur") ;;
    esac
}

__@program@() {
    local cur=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} subcommand='' words='' positional='' values='' i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; i++)); do
        # Behind "--" is another program's command.
        [[ ${COMP_WORDS[i]} != -- ]] || { __@program@_complete files; return; }
        [[ -n $subcommand || " @subcommands@ " != *" ${COMP_WORDS[i]} "* ]] || subcommand=${COMP_WORDS[i]}
    done
    if [[ $cur == = ]]; then
        cur=''
    elif [[ $before == = ]]; then
        before=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    case $before in
@values@
    esac
    [[ -z $values ]] || { __@program@_complete "$values"; return; }
    case $subcommand in
@cases@
    esac
    [[ $cur == -* || -z $positional ]] || { __@program@_complete "$positional"; return; }
    __@program@_offer $words
}

complete -F __@program@ @program@
