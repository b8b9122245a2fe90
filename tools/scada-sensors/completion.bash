# bash completion for scada-sensors

# Finds the command, for db with its operation, among the words before the current one.
_scada_sensors_command() {
    local i
    command=
    for ((i = 1; i < cword; i++)); do
        case ${words[i]} in
            --default-dir | --custom-dir | --staging-dir | --map | --socket | --db | --log-level) ((i++)) ;;
            --storage | --as | --count | --timeout) ((i++)) ;;
            -*) ;;
            *)
                command+=${command:+ }${words[i]}
                [[ $command == db ]] || return
                ;;
        esac
    done
}

_scada_sensors_options() {
    case $command in
        "") echo --version ;;
        list) echo --storage ;;
        install) echo --allow-overwrite --dry-run ;;
        remove) echo --all --yes ;;
        "db get") echo --as ;;
        "db pop") echo --timeout ;;
        watch) echo --count --timeout ;;
    esac
    echo --default-dir --custom-dir --staging-dir --map --socket --db --json --log-level --help
}

_scada_sensors() {
    local cur prev words cword split command offered
    _init_completion -s || return
    _scada_sensors_command
    case $prev in
        --default-dir | --custom-dir | --staging-dir) _filedir -d && return ;;
        --map | --socket) _filedir && return ;;
        --db | --count | --timeout) return ;;
        --log-level) offered="off error warning debug trace" ;;
        --storage) offered="both default custom" ;;
        --as) offered="float bool int32 uint32" ;;
        *)
            case $cur:$command in
                -*) offered=$(_scada_sensors_options) ;;
                *:) offered="list show check sensors resolve install remove db watch" ;;
                *:db) offered="get set expire push pop" ;;
                *:check | *:install) _filedir -d && return ;;
            esac
            ;;
    esac
    COMPREPLY=($(compgen -W "$offered" -- "$cur"))
} && complete -F _scada_sensors scada-sensors
