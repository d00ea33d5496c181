# Completion of vexosharing for bash: subcommands, options, and the values of options.

_vexosharing_words() {
  mapfile -t COMPREPLY < <(compgen -W "$1" -- "$2")
}

_vexosharing_files() {
  compopt -o filenames
  mapfile -t COMPREPLY < <(compgen -f -- "$1")
}

# The options of a subcommand.
_vexosharing_options() {
  local common='--help --json --database'
  local link='--project --owner --app --private-data --start --expire --uses --no-match-ip
    --title --redirect-type --redirect-uri --keep --password-stdin --password-file
    --generate-password --user --group'
  case $1 in
    create) echo "$common $link --qr" ;;
    share)
      link=${link/--project /}
      echo "$common ${link/--no-match-ip/--match-ip} --announce --qr --drop --max-bytes" \
        "--max-files"
      ;;
    list) echo "$common --project --owner --state --search --order --reverse --columns --page
      --page-size" ;;
    edit) echo "$common $link --match-ip --no-keep --enable --disable --unprotect --where-project
      --where-owner --where-state --where-search --dry-run --yes" ;;
    delete | revoke) echo "$common --project --owner --state --search --dry-run --yes" ;;
    log) echo "--help --json --since --page --page-size" ;;
    show | rotate | restore | stats) echo "$common" ;;
    check) echo "$common --repair" ;;
    transfer) echo "$common --from --to" ;;
    purge) echo "$common --owner --project --all" ;;
    visit) echo "--help --json --address --user --password-stdin" ;;
    backup) echo "$common --force" ;;
    export) echo "$common --with-secrets --force" ;;
    import) echo "$common --new-hash --keep-going" ;;
    block) echo "--help" ;;
    'block list' | 'block clear') echo "--help --json" ;;
    *) echo "--help" ;;
  esac
}

_vexosharing() {
  local subcommands='create share list show log edit delete revoke rotate transfer purge
    visit check backup restore export import block stats help'
  local word=${COMP_WORDS[COMP_CWORD]}
  local before=${COMP_WORDS[COMP_CWORD - 1]}
  local subcommand=${COMP_WORDS[1]}
  COMPREPLY=()
  # Where = breaks words, --name=value is three of them.
  if [[ $word == = ]]; then
    word=
  elif [[ $before == = && $COMP_CWORD -gt 2 ]]; then
    before=${COMP_WORDS[COMP_CWORD - 2]}
  fi

  if [[ $COMP_CWORD -eq 1 ]]; then
    _vexosharing_words "$subcommands --help --version" "$word"
    return
  fi
  case $before in
    --database | --password-file)
      _vexosharing_files "$word"
      return
      ;;
    --owner | --where-owner | --user | --from | --to)
      mapfile -t COMPREPLY < <(compgen -u -- "$word")
      return
      ;;
    --group)
      mapfile -t COMPREPLY < <(compgen -g -- "$word")
      return
      ;;
    --state | --where-state)
      _vexosharing_words 'usable not_started expired used_up disabled' "$word"
      return
      ;;
    --order)
      _vexosharing_words 'created hash project owner start expire uses' "$word"
      return
      ;;
    --columns)
      _vexosharing_words 'hash title project owner state starts expires uses protection' "$word"
      return
      ;;
    --redirect-type)
      _vexosharing_words 'none url_param always' "$word"
      return
      ;;
    --start | --expire)
      _vexosharing_words 'now never' "$word"
      return
      ;;
    --project | --where-project | --app | --private-data | --search | --where-search | --uses | \
      --max-bytes | --max-files | --title | --redirect-uri | --page | --page-size | --address | \
      --since)
      return
      ;;
  esac

  if [[ $subcommand == block && $COMP_CWORD -gt 2 ]]; then
    subcommand="block ${COMP_WORDS[2]}"
  fi
  if [[ $word == -* ]]; then
    _vexosharing_words "$(_vexosharing_options "$subcommand")" "$word"
    return
  fi
  case $subcommand in
    share | backup | restore | export | import) _vexosharing_files "$word" ;;
    help)
      if [[ $COMP_CWORD -eq 2 ]]; then _vexosharing_words "$subcommands" "$word"; fi
      ;;
    block) _vexosharing_words 'list clear' "$word" ;;
    visit)
      if [[ $COMP_CWORD -eq 3 ]]; then _vexosharing_words 'login check logout' "$word"; fi
      ;;
  esac
}

complete -F _vexosharing vexosharing
