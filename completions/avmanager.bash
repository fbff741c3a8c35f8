# shellcheck shell=bash
# Completes the command line of avmanager(8) in bash: a command, then the options that it takes and
# that are not there yet, then their values. Needs nothing else; works beside bash-completion.
#
# The line is split here and not by bash, which cuts words at each of COMP_WORDBREAKS: at the "="
# before a value, unless the user has changed that. Nothing of the line is run, and only a
# variable that the server's folder begins with is expanded.

# Splits a text into the array `words` of the caller, quotes and backslashes taken away. The last
# word is the one that the text ends in: empty after a blank. `quote` is the one that is open there.
_avmanager_split() {
    local text=$1 char i
    words=('')
    quote=''
    for ((i = 0; i < ${#text}; i++)); do
        char=${text:i:1}
        if [[ -n $quote && $char == "$quote" ]]; then
            quote=''
        elif [[ $char == \\ && $quote != \' ]]; then
            ((++i))
            char=${text:i:1}
            # In double quotes it is an ordinary character in front of most others.
            [[ $quote != \" || $char == [\"\\\$\`] ]] || words[-1]+=\\
            words[-1]+=$char
        elif [[ -z $quote && $char == [\"\'] ]]; then
            quote=$char
        elif [[ -z $quote && $char == [[:blank:]] ]]; then
            [[ -z ${words[-1]} ]] || words+=('')
        else
            words[-1]+=$char
        fi
    done
}

# Prints the folders, files or programs whose path begins with a text, each with a NUL byte at its
# end. In a subshell, because the user's settings for patterns must not show: no patterns at all, or
# others. (Unsetting GLOBIGNORE ends dotglob, too.)
_avmanager_paths() (
    set +f
    unset GLOBIGNORE
    for path in "$2"*; do
        case $1 in
            programs) [[ ! -f $path || ! -x $path ]] || printf '%s\0' "${path##*/}" ;;
            *)
                if [[ -d $path ]]; then
                    printf '%s/\0' "$path"
                elif [[ $1 == files && -e $path ]]; then
                    printf '%s\0' "$path"
                fi
                ;;
        esac
    done
)

# Sets `found` to what can stand in the place of an option's value, of which a part is typed.
_avmanager_values() {
    local option=$1 typed=$2 kind=files word
    # A plain name could hide the user's variable.
    local _folder='' name='[A-Za-z_][A-Za-z_0-9]*'
    case $option in
        --no-daemon) found=(1) && return ;;
        --kav-dir) kind=folders ;;
        --service)
            for word in "${others[@]}"; do
                [[ $word != --kav-dir=* ]] || _folder=${word#*=}
            done
            # Sought as it was typed: in single quotes it is no variable.
            if [[ $COMP_LINE =~ [[:blank:]]\"?--kav-dir=\"?(\$($name|\{$name\})) ]]; then
                name=${BASH_REMATCH[2]//[\{\}]}
                _folder=${_folder/#"${BASH_REMATCH[1]}"/"${!name-}"}
            fi
            [[ -n $_folder ]] || return
            kind=programs typed=$_folder/bin/$typed
            ;;
    esac
    mapfile -d '' found < <(_avmanager_paths "$kind" "$typed" 2>/dev/null)
}

# Sets `found` to the options with a value that a command takes and that are not there yet.
_avmanager_options() {
    local option word
    for option in $1; do
        for word in "${others[@]}"; do
            [[ $word != "$option="?* ]] || continue 2
        done
        [[ $option == --no-daemon ]] && found+=("$option=1") || found+=("$option=")
    done
}

# Sets COMPREPLY to those of `found` that go on from `current`, without the part of them that
# readline keeps. Where a path stands alone, readline itself quotes it and adds a folder's slash.
_avmanager_reply() {
    local kept=$1 paths=$2 word
    [[ -n $kept ]] || paths=''
    for word in "${found[@]}"; do
        [[ $word == "$current"* ]] || continue
        word=${word#"$kept"}
        [[ -z $paths || $kept != "$option=" ]] || word=${word%/}
        [[ -n $paths || -n $quote ]] || printf -v word %q "$word"
        COMPREPLY+=("$word")
    done
    [[ -z $paths ]] || compopt -o filenames 2>/dev/null
    [[ ${#COMPREPLY[@]} -ne 1 || ${COMPREPLY[0]} != *[=/] ]] || compopt -o nospace 2>/dev/null
}

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
    local words others current kept paths='' quote='' command='' option='' word value found=()
    local line=${COMP_LINE:0:COMP_POINT}
    # What readline replaces. Where that is empty, wrappers of bash-completion, as for sudo, tell the
    # "=" in front of it.
    local replaced=${2#[=:]}

    _avmanager_split "x${COMP_LINE:COMP_POINT}"
    others=("${words[@]:1}")
    _avmanager_split "${line%"$replaced"}"
    kept=${words[-1]}
    _avmanager_split "$line"
    current=${words[-1]}
    others+=("${words[@]:1:${#words[@]}-2}")

    for word in "${others[@]}"; do
        [[ $word != -h ]] || command=--help
        for option in "${!takes[@]}"; do
            [[ $word != "$option" ]] || command=$option
        done
    done
    COMPREPLY=()
    # Behind a redirection is a file, not a word of the command. Readline finds it.
    [[ $3 != [\<\>]* ]] || { compopt -o default 2>/dev/null; return 0; }
    if [[ $current == --*=* ]]; then
        option=${current%%=*} value=${current#*=}
        [[ " ${takes[${command:-none}]-${takes[*]}} " == *" $option "* ]] || return 0
        # Behind the "=" neither the shell nor the program takes it for the home folder.
        [[ $value != \~/* || $kept == *\~* ]] || value=$HOME/${value#*/}
        current=$option=$value
        [[ $option == --service || $option == --no-daemon ]] || paths=yes
        _avmanager_values "$option" "$value"
        found=("${found[@]/#/$option=}")
    elif [[ -z $command ]]; then
        found=("${!takes[@]}")
    else
        _avmanager_options "${takes[$command]}"
    fi
    _avmanager_reply "$kept" "$paths"
}
complete -F _avmanager avmanager
