# Completion for korvane in bash: TIFF files and folders.
_korvane() {
    # shellcheck disable=SC2034  # those that _init_completion sets
    local cur prev words cword
    _init_completion || return
    if [[ $cur == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W '--help --version' -- "$cur")
        return
    fi
    _filedir '@(tif|tiff)'
} &&
    complete -F _korvane korvane
