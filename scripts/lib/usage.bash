# Sourced by the scripts under scripts/: --help and -h print the script's header comment and
# exit 0; an option the script does not take is a usage error (exit 2). The caller says what it
# takes:
#   usage_check "SYNOPSIS" none "$@"          no arguments at all
#   usage_check "SYNOPSIS" max=N "$@"         up to N arguments, none of them an option
#   usage_check "SYNOPSIS" ctest "$@"         options ctest knows (the arguments go to ctest)

usage_print() {
  awk 'NR > 1 && /^#/ { sub(/^# ?/, ""); print; next } NR > 1 { exit }' "$0"
}

usage_fail() {
  echo "usage: $1   ($2; --help for more)" >&2
  exit 2
}

usage_check() {
  local synopsis=$1 kind=$2
  shift 2
  local arg
  for arg in "$@"; do
    case $arg in -h | --help) usage_print; exit 0 ;; esac
  done
  case $kind in
    none) [ $# -eq 0 ] || usage_fail "$synopsis" "it takes no arguments" ;;
    max=*)
      [ $# -le "${kind#max=}" ] || usage_fail "$synopsis" "too many arguments"
      for arg in "$@"; do
        case $arg in -*) usage_fail "$synopsis" "unknown option '$arg'" ;; esac
      done
      ;;
    ctest)
      # ctest itself ignores an option it does not know, so the list comes from its help.
      command -v ctest >/dev/null || return 0 # a fresh machine: install-deps brings it
      local known
      known=" $(ctest --help | grep -oE '^ +-{1,2}[A-Za-z][-A-Za-z0-9]*(, -{1,2}[A-Za-z][-A-Za-z0-9]*)?' |
        tr ',' '\n' | tr -d ' ' | tr '\n' ' ') "
      for arg in "$@"; do
        case $arg in
          -[0-9]* | [!-]*) ;; # a value, such as the regex after -L or the count after -j
          -*) [[ $known == *" ${arg%%=*} "* ]] || usage_fail "$synopsis" "unknown option '$arg'" ;;
        esac
      done
      ;;
  esac
}
