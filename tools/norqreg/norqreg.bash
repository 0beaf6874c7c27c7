# bash completion of norqreg, which is asked for commands, options, keys and values.

_norqreg_plain() { # WORD: without the shell's quoting
    local quote=${1:0:1}
    case $quote in
    \' | \") printf '%s' "${1:1}" | sed "s/$quote\$//" ;;
    *) printf '%s' "$1" | sed 's/\\\(.\)/\1/g' ;;
    esac
}

_norqreg() {
    local words=() word replies i
    for ((i = 1; i <= COMP_CWORD; ++i)); do
        words+=("$(_norqreg_plain "${COMP_WORDS[i]}")")
    done
    word=${COMP_WORDS[COMP_CWORD]}
    COMPREPLY=()
    if ! replies=$("${COMP_WORDS[0]}" complete "${words[@]}" 2>/dev/null); then
        compopt -o default 2>/dev/null # a file
        return 0
    fi
    [ -n "$replies" ] || return 0
    mapfile -t COMPREPLY <<<"$replies"
    case $word in
    [\'\"]*) ;;
    *) mapfile -t COMPREPLY < <(printf '%q\n' "${COMPREPLY[@]}") ;;
    esac
    case ${COMPREPLY[0]} in
    *[/\\]) compopt -o nospace 2>/dev/null ;; # it goes on below this key
    esac
    return 0
}

complete -F _norqreg norqreg
