# bash completion for cvdiff
_cvdiff() {
    local cur prev
    COMPREPLY=()
    cur=${COMP_WORDS[COMP_CWORD]}
    prev=${COMP_WORDS[COMP_CWORD - 1]}
    case $prev in
        -l | --label | --UUID | --mark-changeset-as-closed | --relative-path | --filename)
            return
            ;;
        --output | --base)
            mapfile -t COMPREPLY < <(compgen -f -- "$cur")
            return
            ;;
        --file-status)
            mapfile -t COMPREPLY < <(compgen -W 'added removed' -- "$cur")
            return
            ;;
    esac
    if [[ $cur == -* ]]; then
        local options='--version -v --short-version --debug-version -h --help
            -w --wait -W --no-wait -l --label --no-stdin -s --snapshot -S --no-snapshot
            --diff --partial-changeset --UUID --relative-path --mark-changeset-as-closed
            --changeset --filelist --file-status --filename --merge --output --base'
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$cur")
        return
    fi
    mapfile -t COMPREPLY < <(compgen -f -- "$cur")
}
complete -o filenames -o bashdefault -F _cvdiff cvdiff
