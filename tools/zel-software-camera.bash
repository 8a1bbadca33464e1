# Completion of zel-software-camera for bash: the command that it runs is completed as if it stood alone.

_zel_software_camera() {
  if [ "$COMP_CWORD" -gt 1 ] && declare -F _command_offset >/dev/null; then
    _command_offset 1
  elif [ "$COMP_CWORD" -eq 1 ]; then
    mapfile -t COMPREPLY < <(compgen -c -- "${COMP_WORDS[1]}")
  fi
}

complete -o default -F _zel_software_camera zel-software-camera
