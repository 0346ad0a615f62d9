# bash completion for pelloractl

_pelloractl_downloads() {
  local IFS=$'\n'
  COMPREPLY=($(compgen -W "$(pelloractl list 2>/dev/null | cut -f 8)" -- "$1"))
}

_pelloractl() {
  local commands="add list wait pause resume remove limit open zip quit"
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} options=
  if [ "$COMP_CWORD" -eq 1 ]; then
    COMPREPLY=($(compgen -W "$commands --help" -- "$word"))
    return
  fi
  case $before in
    -i | --input | -o | --output | --cookies)
      compopt -o filenames
      COMPREPLY=($(compgen -f -- "$word"))
      return
      ;;
    --folder | --to)
      compopt -o filenames
      COMPREPLY=($(compgen -d -- "$word"))
      return
      ;;
    --existing)
      COMPREPLY=($(compgen -W "number replace keep" -- "$word"))
      return
      ;;
    --on-duplicate)
      COMPREPLY=($(compgen -W "no yes" -- "$word"))
      return
      ;;
  esac
  case ${COMP_WORDS[1]} in
    add)
      options="--input --output --folder --user --password-stdin --checksum --referer --cookies --limit --later --at
        --on-duplicate --json"
      ;;
    list | limit) options="--json" ;;
    wait) options="--progress --timeout --json" ;;
    pause) options="--all" ;;
    zip) options="--to --existing --user --password-stdin --archive-password-stdin --json" ;;
  esac
  case $word in
    -*) COMPREPLY=($(compgen -W "$options --help" -- "$word")) ;;
    *)
      case ${COMP_WORDS[1]} in
        wait | pause | resume | remove | limit | open) _pelloractl_downloads "$word" ;;
        zip) [ "$COMP_CWORD" -eq 2 ] && COMPREPLY=($(compgen -W "list get" -- "$word")) ;;
      esac
      ;;
  esac
}

complete -F _pelloractl pelloractl
