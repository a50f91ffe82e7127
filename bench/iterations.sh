#!/usr/bin/env bash
# Iterations of the interior-point method beside those of Clp's barrier method, model by model in one run.
#
#   iterations.sh QZLP FOLDER [options of qzlp]
#
# One tab-separated line a model: its name, our status and iterations, Clp's iterations. Behind them the geometric means
# over the models on which both counted some. Clp runs as `clp MODEL -crossover off -barrier`; its count is the number
# on the last line of its table.
set -euo pipefail

[ "$#" -ge 2 ] || { sed -n '2,9s/^# \{0,1\}//p' "$0" >&2; exit 2; }
qzlp=$1 folder=$2
shift 2
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

field() { sed -n "s/.*\"$1\": *\([-0-9]*\).*/\1/p" "$work/answer.json" | head -n 1; }

printf 'model\tstatus\titerations\tclp\n'
for model in "$folder"/*.mps*; do
  unpack "$model"
  "$qzlp" --json "$@" "$model" >"$work/answer.json" || true
  theirs=$(clp "$work/model.mps" -crossover off -barrier 2>/dev/null | awk '$2 == "Primal" { n = $1 } END { print n + 0 }')
  printf '%s\t%s\t%s\t%s\n' "$(basename "$model")" "$(field status)" "$(field iterations)" "$theirs"
done | tee "$work/table"
awk -F '\t' 'NR > 1 && $3 > 0 && $4 > 0 { ours += log($3); theirs += log($4); n++ }
  END { printf "geometric means over %d models: %.2f, Clp %.2f\n", n, exp(ours / n), exp(theirs / n) }' "$work/table"
