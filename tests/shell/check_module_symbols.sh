#!/bin/sh
# check_module_symbols.sh NM MODULE MAP: the module exports exactly the names that its map lists, and takes no memory from
# the C heap: neither malloc and its kin nor the operators new and delete are imported.
set -eu
nm=$1 module=$2 map=$3

wanted=$(sed -n '/global:/,/local:/p' "$map" | grep -o '[A-Za-z_][A-Za-z0-9_]*;' | tr -d ';' | sort)
exported=$("$nm" -D --defined-only "$module" | awk '{ print $3 }' | sort)
if [ "$wanted" != "$exported" ]; then
  echo "exported:" $exported
  echo "expected:" $wanted
  exit 1
fi

heap=$("$nm" -D --undefined-only "$module" | awk '{ print $2 }' | sed 's/@.*//' |
       grep -E '^(malloc|calloc|realloc|reallocarray|free|aligned_alloc|posix_memalign|memalign|strdup|_Zn[wa].*|_Zd[la].*|__cxa_throw|__cxa_allocate_exception)$' || true)
if [ -n "$heap" ]; then
  echo "imported:" $heap
  exit 1
fi
