# Completion of qzlp for bash. Installed as share/bash-completion/completions/qzlp.

_qzlp_models() {
  local pattern='.+\.(mps|qps|lp)(\.gz|\.bz2)?$' file
  compopt -o filenames 2>/dev/null
  while IFS= read -r file; do
    if [[ -d $file || ${file,,} =~ $pattern ]]; then COMPREPLY+=("$file"); fi
  done < <(compgen -f -- "$1")
}

_qzlp() {
  local word=${COMP_WORDS[COMP_CWORD]} before=''
  [[ $COMP_CWORD -gt 0 ]] && before=${COMP_WORDS[COMP_CWORD - 1]}
  COMPREPLY=()
  case $before in
    --method) mapfile -t COMPREPLY < <(compgen -W 'augmented normal' -- "$word") && return ;;
    --scaling) mapfile -t COMPREPLY < <(compgen -W 'standard row' -- "$word") && return ;;
    --presolve) mapfile -t COMPREPLY < <(compgen -W '-1 0 1 2 3' -- "$word") && return ;;
    --time-type) mapfile -t COMPREPLY < <(compgen -W '-1 0 1' -- "$word") && return ;;
    --print-level) mapfile -t COMPREPLY < <(compgen -W '0 1 2' -- "$word") && return ;;
    --debug-level) mapfile -t COMPREPLY < <(compgen -W '0 1 3 5 7 9' -- "$word") && return ;;
    --threads | --max-iter | --time-limit | --tol | --tol-primal | --tol-dual | --tol-optimality | --log-frequency)
      return ;;
    --log | --plot | --solution | --basis | --export-mps | --options)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      return
      ;;
  esac
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W '--help --version --method --presolve --scaling --crossover --threads --tol
      --tol-primal --tol-dual --tol-optimality --max-iter --time-limit --time-type --print-level --log-frequency
      --debug-level --quiet --json --log --plot --solution --basis --export-mps --options --show-options' -- "$word")
  else
    _qzlp_models "$word"
  fi
}

complete -F _qzlp qzlp
