# bash completion for corvane (Corvane)
_corvane() {
    local cur prev
    COMPREPLY=()
    cur=${COMP_WORDS[COMP_CWORD]}
    prev=${COMP_WORDS[COMP_CWORD - 1]}
    case $prev in
        --journal | --screenshot)
            mapfile -t COMPREPLY < <(compgen -f -- "$cur")
            return
            ;;
        --result)
            mapfile -t COMPREPLY < <(compgen -W 'left right base' -f -- "$cur")
            return
            ;;
        --close-tab | --finish-merge)
            return
            ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W '--journal --list --close-tab --finish-merge --resolved
        --unresolved --result --quit --version --screenshot -h --help' -- "$cur")
}
complete -o filenames -F _corvane corvane Corvane
