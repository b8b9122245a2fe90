# bash completion for scada-sensors
_scada_sensors() {
    local current previous words cword
    _init_completion || return
    current=${words[cword]} previous=${words[cword - 1]}
    case $previous in
        --default-dir | --custom-dir | --staging-dir | install | check)
            _filedir -d
            return
            ;;
        --map | --socket)
            _filedir
            return
            ;;
        --log-level) COMPREPLY=($(compgen -W "off error warning debug trace" -- "$current")) && return ;;
        --storage) COMPREPLY=($(compgen -W "both default custom" -- "$current")) && return ;;
        --as) COMPREPLY=($(compgen -W "float bool int32 uint32" -- "$current")) && return ;;
        db) COMPREPLY=($(compgen -W "get set expire push pop" -- "$current")) && return ;;
    esac
    if [[ $current == -* ]]; then
        COMPREPLY=($(compgen -W "--default-dir --custom-dir --staging-dir --map --socket --db --json --log-level
            --storage --allow-overwrite --dry-run --all --yes --as --count --timeout --help --version" -- "$current"))
        return
    fi
    COMPREPLY=($(compgen -W "list show check sensors resolve install remove db watch" -- "$current"))
} && complete -F _scada_sensors scada-sensors
