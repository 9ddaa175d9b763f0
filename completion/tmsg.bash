# Completion of tmsg(1) for bash: verbs, options, forms, and files elsewhere.

# Prints the options of a verb.
_tmsg_options() {
    local from='-f --from' output='-t --to --pretty --force' text=--max-text
    local limits='--max-depth --max-bytes --max-file --max-files --max-values --max-memory
        --max-unfinished --max-held'
    echo '-h --help'
    case $1 in
        '') echo '-V --version' && return ;;
        call) echo "$from $output $text $limits --chunk-size --timeout --repeat --parallel -d --data" ;;
        convert)
            echo "$from $output $text $limits --chunk-size --limit --seq --port --names-by-index --names"
            ;;
        check | diff | get | peek) echo "$from $limits" ;;
        inspect) echo "$from -t --to $limits" ;;
        serve) echo "$output $text $limits --port --listen --reply --fault --delay --idle --group" ;;
        set) echo "$from $output $limits --in-place" ;;
        tap) echo "-t --to $text $limits --listen --upstream --save --inbox-prefix" ;;
        help) ;;
        *) return ;;
    esac
    echo '-o --output -q --quiet --color'
}

# Prints the words that the option of a verb takes: nothing for any text, and "FILE" or "FOLDER".
_tmsg_values() {
    case $2 in
        -f | --from) echo 'auto chunks hex tcl typed-json wire' ;;
        -t | --to)
            [ "$1" != inspect ] || { echo 'html text' && return; }
            [ "$1" = tap ] || echo 'chunks wire'
            echo 'dump hex json tcl typed-json xml'
            ;;
        --color) echo 'auto always never' ;;
        -o | --output | --reply) echo FILE ;;
        --save) echo FOLDER ;;
    esac
}

# Tells whether the option is followed by a value.
_tmsg_takes_value() {
    case $1 in
        -h | --help | -V | --version | -q | --quiet | --pretty | --force | --names-by-index | --names | --in-place)
            return 1
            ;;
        --*=*) return 1 ;;
        -*) return 0 ;;
    esac
    return 1
}

_tmsg() {
    local current=${COMP_WORDS[COMP_CWORD]} verb='' option='' count=0 i word words
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        # bash gives the sign of --to=json as a word of its own.
        if [ "$word" = = ] && [ -n "$option" ]; then
            continue
        elif [ -n "$option" ]; then
            option=
        elif _tmsg_takes_value "$word"; then
            option=$word
        elif [[ $word != -?* ]]; then
            if [ -z "$verb" ]; then verb=$word; else ((++count)); fi
        fi
    done
    [ "$current" != = ] || current=

    if [ -n "$option" ]; then
        words=$(_tmsg_values "$verb" "$option")
    elif [[ $current == -* ]]; then
        words=$(_tmsg_options "$verb")
    elif [ -z "$verb" ] || [ "$verb" = help ]; then
        words='call check convert diff get help inspect peek serve set tap'
    elif [ "$verb" = serve ] || [ "$verb" = tap ] || { [ "$verb" = call ] && ((count == 0)); }; then
        return  # an address
    else
        words=FILE
    fi

    case $words in
        FILE) mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
        FOLDER) mapfile -t COMPREPLY < <(compgen -d -- "$current") ;;
        *) mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current") ;;
    esac
    [[ $words != FILE && $words != FOLDER ]] || compopt -o filenames 2>/dev/null
}

complete -F _tmsg tmsg
