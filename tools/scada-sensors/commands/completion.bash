# bash completion for scada-sensors: the tool itself knows its commands, options and the names on the device.
_scada_sensors() {
    # shellcheck disable=SC2034  # the function of bash-completion sets all four
    local cur prev words cword offered
    _init_completion -n : || return
    mapfile -t offered < <("${words[0]/#\~/$HOME}" --complete "${words[@]:1:cword-1}" "$cur" 2>/dev/null)
    cur=${cur#=}
    case ${offered[0]-} in
        directories) _filedir -d ;;
        files) _filedir ;;
        words)
            [ ${#offered[@]} -gt 1 ] || return
            mapfile -t COMPREPLY < <(printf '%q\n' "${offered[@]:1}")
            __ltrim_colon_completions "$cur"
            ;;
    esac
} && complete -F _scada_sensors scada-sensors
