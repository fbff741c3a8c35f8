# shellcheck shell=bash
# Completes the command line of avmanager(8) in bash: a command, then the options that it takes and
# that are not there yet, then their values. Needs nothing else; works beside bash-completion.
#
# Files and folders are readline's work, which knows quotes and variables. What stands in front of
# them is read here, with backslashes and without quotes, and nothing of it is run or expanded.
# So there is nothing offered
# - behind a quoted word with a blank in it, nor inside one;
# - in a value with a "=" or a ":", where readline cuts it;
# - in a value that begins with "~", which the shell leaves there as it is;
# - in any value, where COMP_WORDBREAKS has no "=";
# - for --service, when --kav-dir begins with a variable.
# Options behind the cursor do not count: they are offered again.

_avmanager() {
    local -A takes=(
        [--delete-file]="--file"
        [--check-install]="--kav-dir"
        [--start-service]="--kav-dir --service --config-file --service-pidfile --no-daemon"
        [--service-started]="--kav-dir --service --service-pidfile"
        [--kill-service]="--kav-dir --service --service-pidfile"
        [--restart-service]="--kav-dir --service --service-pidfile --config-file"
        [--config-file-content]="--file"
        [--save-to-config-file]="--file --config-file"
        [--help]=""
    )
    local IFS=$' \t\n' words word current command='' folder='' option found=()
    COMPREPLY=()
    # Behind a redirection is a file, not a word of the command.
    [[ $3 != [\<\>]* ]] || { compopt -o default 2>/dev/null; return 0; }

    # shellcheck disable=SC2162  # a blank with a backslash does not end a word
    read -a words <<<"${COMP_LINE:0:COMP_POINT}x"
    current=${words[-1]%x}
    unset 'words[-1]'
    for word in "${words[@]}"; do
        [[ $word != -h ]] || command=--help
        [[ -z ${takes[$word]+known} ]] || command=$word
        [[ $word != --kav-dir=* ]] || folder=${word#*=}
    done
    if [[ $current == --*=* ]]; then
        option=${current%%=*} current=${current#*=}
        [[ " ${takes[${command:-none}]-${takes[*]}} " == *" $option "* &&
            $current != *[=:]* && $current != \~* && $COMP_WORDBREAKS == *=* ]] || return 0
        case $option in
            --no-daemon) found=(1) ;;
            --kav-dir) compopt -o dirnames -o filenames -o nospace 2>/dev/null ;;
            --service)
                [[ -n $folder && $folder$current != *[\$\`]* ]] || return 0
                while read -r word; do
                    [[ ! -f $word || ! -x $word ]] || found+=("${word##*/}")
                done < <(compgen -f -- "$folder/bin/$current")
                ;;
            *) compopt -o default 2>/dev/null ;;
        esac
    elif [[ -z $command ]]; then
        found=("${!takes[@]}")
    else
        for option in ${takes[$command]}; do
            [[ " ${words[*]}" == *" $option="[^\ ]* ]] || found+=("$option=")
        done
        found=("${found[@]/#--no-daemon=/--no-daemon=1}")
    fi
    for word in "${found[@]}"; do
        [[ $word != "$current"* ]] || COMPREPLY+=("$word")
    done
    [[ ${#COMPREPLY[@]} -ne 1 || ${COMPREPLY[0]} != *= ]] || compopt -o nospace 2>/dev/null
}
complete -F _avmanager avmanager
