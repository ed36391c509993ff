# Completion for korvane-batch in bash. Commands and options are those that the program itself names in --help.

# _korvane_batch_terms COMMAND...: the terms of the help, one a line: "-o,--output DIR", "detect".
_korvane_batch_terms() {
    "$@" --help 2>/dev/null | sed -n 's/^  \([^ ].*\)$/\1/p'
}

_korvane_batch() {
    local cur prev words cword
    _init_completion || return
    local program=${words[0]} command=
    ((cword > 1)) && command=${words[1]}
    if [[ -z $command ]]; then
        local names
        names=$(_korvane_batch_terms "$program" | sed 's/[ ,].*//; s/^-h$/--help/')
        mapfile -t COMPREPLY < <(compgen -W "$names" -- "$cur")
        return
    fi
    local terms term
    terms=$(_korvane_batch_terms "$program" "$command")
    if [[ $prev == -* ]]; then
        term=$(sed -n "s/^\(.*,\)\{0,1\}$prev\(,[^ ]*\)\{0,1\} \(.*\)/\3/p" <<<"$terms" | head -n 1)
        case $term in
            FILE* | PLACE* | "folder|FILE"*) _filedir; return ;;
            DIR*) _filedir -d; return ;;
            *:\{*\}*)
                term=${term#*:\{}
                mapfile -t COMPREPLY < <(compgen -W "$(sed 's/}.*//; s/->[0-9]*//g; s/,/ /g' <<<"$term")" -- "$cur")
                return ;;
            N\ * | NM\ * | NUMBER\ * | SECONDS\ * | GLOB\ * | NAME,* | X,* | [0-9]*) return ;;
        esac
    fi
    if [[ $cur == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(sed 's/ .*//; /^-/!d; s/,/ /g' <<<"$terms")" -- "$cur")
        return
    fi
    # What is merged are tables and folders.
    if [[ $command == merge ]]; then
        _filedir
        return
    fi
    _filedir '@(tif|tiff)'
} &&
    complete -F _korvane_batch korvane-batch
