# bash completion for h265ps. Verbs and options are those that --help tells, so that nothing here has to follow them.

_h265ps_verbs()
{
    h265ps --help 2>/dev/null | awk '/^Verbs:/ {inside = 1; next} /^[^ ]/ {inside = 0} inside && /^  [a-z]/ {print $1}'
}

_h265ps_options() # [VERB]
{
    h265ps "$@" --help 2>/dev/null | grep -oE '^  (-[a-zA-Z],)?--[a-z][a-z0-9-]*' | grep -oE -- '--.*'
}

_h265ps()
{
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} verb=()
    if [[ $COMP_CWORD -gt 1 ]] && _h265ps_verbs | grep -qxF -- "${COMP_WORDS[1]}"; then
        verb=("${COMP_WORDS[1]}")
    fi
    COMPREPLY=()
    case $previous in
    --type) mapfile -t COMPREPLY < <(compgen -W "vps sps pps" -- "$word"); return ;;
    --reader) mapfile -t COMPREPLY < <(compgen -W "rbsp decoder" -- "$word"); return ;;
    --as) mapfile -t COMPREPLY < <(compgen -W "hvcc sprop annexb hex" -- "$word"); return ;;
    --id | --log-level | --track | --jobs | --hex | --base64) return ;;
    esac
    if [[ $word == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(_h265ps_options "${verb[@]}")" -- "$word")
        return
    fi
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$word"; [[ $COMP_CWORD -ne 1 ]] || compgen -W "$(_h265ps_verbs)" -- "$word")
}
complete -F _h265ps h265ps
