#!/usr/bin/env bash
# What presolve leaves of each model, beside what Clp's presolve leaves of it, and what presolve does to the time, all in
# one run.
#
#   presolve.sh QZLP [--sizes] [--seconds S] FOLDER...
#
# One tab-separated line a model: its name and nonzeros; rows, columns and nonzeros that our strongest mode leaves, and
# those that Clp's presolve leaves; the ratio of the nonzeros, one added on both sides; status, iterations and seconds
# with presolve (the default mode) and without (mode 0, in which the solver's own reductions run). Behind them: on how
# many models ours are at most as many nonzeros and the geometric mean of the ratio; and the geometric means of the
# times with and without, over the models that both ways solve, by the model's nonzeros.
#
# --sizes leaves the timed solves out; a solve ends after S seconds (60). Clp runs as `clp MODEL -presolve on`; its sizes
# are those of the line "Presolve" of its log. A model that either presolve solves or refuses altogether shows "-" and
# does not count in the means of the sizes.
set -euo pipefail

usage() {
  sed -n '2,16s/^# \{0,1\}//p' "$0" >&2
  exit 2
}

[ "$#" -ge 2 ] || usage
qzlp=$1 timed=1 seconds=60
shift
while [ "$#" -gt 0 ]; do
  case "$1" in
    --sizes) timed=0 ;;
    --seconds) seconds=$2 && shift ;;
    -*) usage ;;
    *) break ;;
  esac
  shift
done
[ "$#" -ge 1 ] || usage
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Clp tells formats apart by the ending and takes no compressed file of every kind.
unpack() {
  case "$1" in
    *.bz2) bzcat "$1" ;;
    *.gz) zcat "$1" ;;
    *) cat "$1" ;;
  esac >"$work/model.mps"
}

none=$'-\t-\t-'

# Rows, columns and nonzeros.
our_size() {
  "$qzlp" --presolve 3 --max-iter 1 --print-level 1 "$work/model.mps" >"$work/ours" 2>&1 || true
  sed -n 's/.*Presolve: from .* elements to \([0-9]*\), \([0-9]*\), \([0-9]*\)\..*/\1\t\2\t\3/p' "$work/ours" | tail -n 1
}

their_size() {
  clp "$work/model.mps" -presolve on -maxIterations 0 -dualsimplex >"$work/theirs" 2>&1 || true
  sed -n 's/^Presolve \([0-9]*\) .* rows, \([0-9]*\) .* columns and \([0-9]*\) .*/\1\t\2\t\3/p' "$work/theirs" |
    head -n 1
}

model_nonzeros() { sed -n 's/^Problem .* columns and \([0-9]*\) elements.*/\1/p' "$work/theirs" | head -n 1; }

ratio() {
  awk -v ours="${1##*$'\t'}" -v theirs="${2##*$'\t'}" \
    'BEGIN { print ours == "-" || theirs == "-" ? "-" : sprintf("%.4f", (ours + 1) / (theirs + 1)) }'
}

field() { sed -n "s/.*\"$1\": *\([-0-9.e]*\).*/\1/p" "$work/answer.json" | head -n 1; }

# Status, iterations and seconds of a solve in the given mode.
timed_solve() {
  if [ "$timed" -eq 0 ]; then
    printf '%s' "$none"
    return
  fi
  "$qzlp" --json --threads 1 --time-limit "$seconds" --presolve "$1" "$work/model.mps" >"$work/answer.json" || true
  printf '%s\t%s\t%s' "$(field status)" "$(field iterations)" "$(field totalTime)"
}

printf 'model\tnonzeros\trows\tcolumns\tleft\tclpRows\tclpColumns\tclpLeft\tratio\t'
printf 'status\titerations\tseconds\tstatus0\titerations0\tseconds0\n'
for folder in "$@"; do
  for model in "$folder"/*.mps*; do
    unpack "$model"
    ours=$(our_size)
    theirs=$(their_size)
    ours=${ours:-$none} theirs=${theirs:-$none}
    printf '%s\t%s\t%s\t%s\t%s\t%s\t%s\n' "$(basename "$model")" "$(model_nonzeros)" "$ours" "$theirs" \
      "$(ratio "$ours" "$theirs")" "$(timed_solve -1)" "$(timed_solve 0)"
  done
done | tee "$work/table"

awk -F '\t' '
  $9 != "-" { n++; sum += log($9); if ($5 <= $8) fewer++ }
  ($10 == 1 || $10 == 15) && ($13 == 1 || $13 == 15) {
    class = $2 < 10000 ? "below 10,000" : $2 < 100000 ? "10,000 to 100,000" : "from 100,000"
    count[class]++; with[class] += log($12 + 0.001); without[class] += log($15 + 0.001)
  }
  END {
    if (n > 0) printf "nonzeros: at most as many as Clp on %d of %d models, geometric mean of the ratio %.4f\n", fewer, n, exp(sum / n)
    for (class in count)
      printf "seconds, %s nonzeros (%d models): with %.4f, without %.4f, ratio %.3f\n", class, count[class],
        exp(with[class] / count[class]), exp(without[class] / count[class]),
        exp((with[class] - without[class]) / count[class])
  }' "$work/table"
