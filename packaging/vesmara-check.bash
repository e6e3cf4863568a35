# Completion of vesmara-check for bash.
_vesmara_check() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} option=
    # bash splits at the equals sign: the option then stands one or two words before.
    if [ "$word" = = ]; then
        option=$before
        word=
    elif [ "$before" = = ]; then
        option=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    case $option in
        --directory)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -d -- "$word")
            ;;
        --mtab)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -f -- "$word")
            ;;
        *)
            compopt -o nospace 2>/dev/null
            mapfile -t COMPREPLY < <(
                compgen -W '--directory= --mtab=' -- "$word"
                compgen -W '--json --quiet --help --version' -S ' ' -- "$word"
            )
            ;;
    esac
}
complete -F _vesmara_check vesmara-check
