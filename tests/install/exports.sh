#!/usr/bin/env bash
# exports.sh LIBRARY HEADER: the library exports the functions that the header declares, and nothing else.
set -euo pipefail
exported=$(nm -D --defined-only "$1" | awk '$2 ~ /[A-Z]/ {print $3}' | sort)
declared=$(tr '\n' ' ' <"$2" | grep -oE 'QZLP_API [^;]*;' | grep -oE 'qzlp_[A-Za-z]+\(' | tr -d '(' | sort -u)
[ -n "$declared" ]
diff <(echo "$declared") <(echo "$exported") && echo "$(wc -l <<<"$declared") functions"
