#!/usr/bin/env bash
# Completion of tracectl for bash, which sources this file. Commands and options are those of --help; the names of units
# are asked from the host, if there is one.

# _tracectl_first SECTION [COMMAND]: the first words of the lines in a section of the help.
_tracectl_first()
{
    local section="$1" line inside=false
    shift
    while IFS= read -r line; do
        if [[ $line == "$section:" ]]; then
            inside=true
        elif [[ $line != '  '* ]]; then
            inside=false
        elif $inside && [[ $line =~ ^'  '([^ ]+) ]]; then
            printf '%s\n' "${BASH_REMATCH[1]//,/$'\n'}"
        fi
    done < <("$program" "$@" --help 2>/dev/null)
}

# _tracectl_offer: the lines of standard input that go on as the current word does.
_tracectl_offer()
{
    local line
    while IFS= read -r line; do
        if [[ $line == "$current"* ]]; then
            COMPREPLY+=("$(printf '%q' "$line")")
        fi
    done
}

_tracectl()
{
    local program="${COMP_WORDS[0]}" current="${COMP_WORDS[COMP_CWORD]}" previous="${COMP_WORDS[COMP_CWORD - 1]}"
    local command="" index place=0 host=()
    COMPREPLY=()
    for ((index = 1; index < COMP_CWORD; index++)); do
        case "${COMP_WORDS[index]}" in
        --socket)
            host=(--socket "${COMP_WORDS[index + 1]}")
            index=$((index + 1))
            ;;
        --for | --severity | --grep | --last | --ring | --every | --looks) index=$((index + 1)) ;;
        -?*) ;;
        *) if [[ -z $command ]]; then command="${COMP_WORDS[index]}"; else place=$((place + 1)); fi ;;
        esac
    done
    case "$previous" in
    --socket | --ring)
        compopt -o filenames 2>/dev/null || true # outside of a completion
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
        ;;
    --severity) _tracectl_offer < <(printf '%s\n' m w e) && return ;;
    --for) _tracectl_offer < <(printf '%s\n' 1m 10m 1h 8h ever) && return ;;
    --grep | --last | --every | --looks) return ;;
    esac
    if [[ -z $command && $current == -* ]]; then
        _tracectl_offer < <(_tracectl_first Options)
    elif [[ -z $command ]]; then
        _tracectl_offer < <(_tracectl_first Commands)
    elif [[ $current == -* ]]; then
        _tracectl_offer < <(_tracectl_first Options "$command" && printf '%s\n' --socket)
    elif [[ $place -eq 0 && -n $(_tracectl_first Positionals "$command") ]]; then
        _tracectl_offer < <("$program" "${host[@]}" list --names 2>/dev/null)
    elif [[ $place -eq 1 && $command == set ]]; then
        _tracectl_offer < <(printf '%s\n' mwe we e +m +w +e)
    fi
}

complete -F _tracectl tracectl
