# bash completion for pellora

_pellora() {
  local word=${COMP_WORDS[COMP_CWORD]}
  case $word in
    -*) COMPREPLY=($(compgen -W "--headless --add-url --version --help" -- "$word")) ;;
    *)
      compopt -o filenames
      COMPREPLY=($(compgen -f -X '!*.@(meta4|txt)' -- "$word") $(compgen -d -- "$word"))
      ;;
  esac
}

complete -F _pellora pellora
