# Prints what the completion file $1 offers for the command line of the further arguments, the last being the current word.
source /usr/share/bash-completion/bash_completion
source "$1"
shift
read -r _ _ function _ < <(complete -p scada-sensors)
COMP_WORDS=(scada-sensors "$@")
COMP_CWORD=$#
COMP_LINE=${COMP_WORDS[*]}
COMP_POINT=${#COMP_LINE}
"$function" scada-sensors "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}" 2>/dev/null
[ ${#COMPREPLY[@]} -eq 0 ] || printf '%s\n' "${COMPREPLY[@]}"
