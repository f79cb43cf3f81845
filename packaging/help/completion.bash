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

# The units in the folder of the records, as their folders name them: %XX is a byte. With a word, their attempts.
__@program@_units() {
    local results=results folder name number i
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
        [[ -n ${1:-} ]] || { __@program@_offer "$name"; continue; }
        for number in "$folder"[0-9]*/; do
            number=${number%/}
            [[ ! ${number##*/} =~ ^[0-9]+$ ]] || __@program@_offer "$name/$((10#${number##*/}))"
        done
    done
}

__@program@_complete() {
    case $1 in
        '(') ;;
        '('*) __@program@_offer $(printf %s "${1:1:-1}") ;;
        scenarios) __@program@_scenarios; __@program@_complete files ;;
        units) __@program@_units ;;
        attempts) __@program@_units attempts ;;
        files) compopt -o filenames; mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$cur") ;;
    esac
}

# Sets values to what the option takes, empty for one that takes nothing.
__@program@_values_of() {
    values=''
    case $1 in
@values@
    esac
}

__@program@() {
    local cur=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} subcommand='' words='' values='' i
    local -a positionals=()
    local place=0
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; i++)); do
        # Behind "--" is another program's command.
        [[ ${COMP_WORDS[i]} != -- ]] || { __@program@_complete files; return; }
        __@program@_values_of "${COMP_WORDS[i]}"
        if [[ -n $values ]]; then
            [[ ${COMP_WORDS[++i]} != = ]] || ((++i))
        elif [[ -z $subcommand && " @subcommands@ " == *" ${COMP_WORDS[i]} "* ]]; then
            subcommand=${COMP_WORDS[i]}
        elif [[ ${COMP_WORDS[i]} != -* ]]; then
            ((++place))
        fi
    done
    if [[ $cur == = ]]; then
        cur=''
    elif [[ $before == = ]]; then
        before=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    __@program@_values_of "$before"
    [[ -z $values ]] || { __@program@_complete "$values"; return; }
    case $subcommand in
@cases@
    esac
    [[ $cur == -* || place -ge ${#positionals[@]} ]] || { __@program@_complete "${positionals[place]}"; return; }
    __@program@_offer $words
}

complete -F __@program@ @program@
