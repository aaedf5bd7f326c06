# Bash completion of tracehost: source this file, or put it into /usr/share/bash-completion/completions/tracehost.
_tracehost() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} words=
    COMPREPLY=()
    case $previous in
        --format) words="tdf raw" ;;
        --timestamp-prescale) words="1 4 16 64" ;;
        --clock | --prescaler) words="auto" ;;
        --port | --firmware | --seconds | --bytes | --cpu) return ;;
        --board | --options | --output | --plugin)
            mapfile -t COMPREPLY < <(compgen -f -- "$word")
            return
            ;;
    esac
    if [[ -z $words ]]; then
        if ((COMP_CWORD == 1)); then
            words="record ports options info script --help --version"
        else
            case ${COMP_WORDS[1]} in
                record)
                    words="--board --cpu --options --port --clock --prescaler --timestamp-prescale --firmware --seconds
                        --bytes --output --format --demo --plugin --help"
                    ;;
                options) words="--output --plugin --help" ;;
                ports) words="--plugin --help" ;;
                script) words="--board --plugin --help" ;;
                info) words="--plugin --help" ;;
            esac
            if [[ $word != -* && ${COMP_WORDS[1]} =~ ^(info|script)$ ]]; then
                mapfile -t COMPREPLY < <(compgen -f -- "$word")
                return
            fi
        fi
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -o filenames -F _tracehost tracehost
