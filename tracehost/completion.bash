# Bash completion of tracehost: source this file, or put it into /usr/share/bash-completion/completions/tracehost.
# Commands, options and their words are taken from tracehost's own help.
_tracehost() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} help type words
    COMPREPLY=()
    if ((COMP_CWORD == 1)); then
        help=$("${COMP_WORDS[0]}" --help 2>/dev/null)
        words=$(sed -n -e '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p' -e 's/^  \(-.,\)\{0,1\}\(--[a-z-]*\).*/\2/p' <<<"$help")
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
        return
    fi
    help=$("${COMP_WORDS[0]}" "${COMP_WORDS[1]}" --help 2>/dev/null)
    if [[ $previous == --* ]]; then
        type=$(sed -n "s/^  $previous \([^ ]\{1,\}\).*/\1/p" <<<"$help")
        case $type in
            *"|"*) mapfile -t COMPREPLY < <(compgen -W "$(tr '|' '\n' <<<"$type" | grep -v '^[A-Z]*$')" -- "$word") ;;
            FILE* | PATH* | TEXT*) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
        esac
        [[ -z $type ]] || return
    fi
    if [[ $word != -* && $help == *$'\n'"  FILE "* ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
        return
    fi
    if [[ ${COMP_WORDS[1]} == help ]]; then
        help=$("${COMP_WORDS[0]}" --help 2>/dev/null)
        words=$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p' <<<"$help")
    else
        words=$(sed -n 's/^  \(-.,\)\{0,1\}\(--[a-z-]*\).*/\2/p' <<<"$help")
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -o filenames -F _tracehost tracehost
