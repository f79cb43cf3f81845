#compdef @program@
# Made from the --help of @program@.

_r8_scenarios() {
    local -a names
    names=(${${(f)"$(vboard --list 2>/dev/null)"}%% *})
    compadd -a names
    _files -g '*.toml'
}

# The units in the folder of the records, as their folders name them: %XX is a byte.
_r8_units() {
    local results=${(Q)opt_args[--results]:-results} folder
    local -a names
    for folder in $results/*(N/:t); do
        [[ $folder =~ '^[A-Za-z0-9_+=%-]+$' ]] || continue
        names+=("$(printf '%b' "${folder//\%/\\x}")")
    done
    compadd -a names
}

# With their numbers.
_r8_attempts() {
    local results=${(Q)opt_args[--results]:-results} folder
    local -a names
    for folder in $results/*/<->(N/); do
        [[ ${folder:h:t} =~ '^[A-Za-z0-9_+=%-]+$' ]] || continue
        names+=("$(printf '%b' "${${folder:h:t}//\%/\\x}")/$((10#${folder:t}))")
    done
    compadd -a names
}

local context state line
typeset -A opt_args
_arguments -C -S @first@ && return
[[ $state != rest ]] || case $words[1] in
@cases@
    esac
