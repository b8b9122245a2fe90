# Prints the words that the completion file $1 offers for the command line of the further arguments, the last of which is the
# current word. The completion asks the scada-sensors in PATH.
source /usr/share/bash-completion/bash_completion
source "$1"
shift
compopt() { :; } # there is no completion in progress that it could configure
read -r _ _ function _ < <(complete -p scada-sensors)
COMP_WORDS=(scada-sensors "$@")
COMP_CWORD=$#
COMP_LINE=${COMP_WORDS[*]}
COMP_LINE=${COMP_LINE// = /=}
COMP_LINE=${COMP_LINE// : /:}
COMP_POINT=${#COMP_LINE}
"$function" scada-sensors "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
[ ${#COMPREPLY[@]} -eq 0 ] || printf '%s\n' "${COMPREPLY[@]}"
