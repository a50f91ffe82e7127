#!/usr/bin/env bash
# pip_install.sh PYTHON SOURCE LIBRARY: installs the package with pip into an environment of its own, without network,
# and solves with what was installed, with no help from where it was built.
set -euo pipefail
python=$1 source=$2 library=$3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
unset PYTHONPATH
export PIP_NO_INDEX=1 PIP_DISABLE_PIP_VERSION_CHECK=1 PIP_NO_CACHE_DIR=1

mkdir "$scratch/tree"
cp -r "$source/CMakeLists.txt" "$source/python" "$scratch/tree"
"$python" -m venv --system-site-packages "$scratch/env"

# Without a library there is nothing to put in, and the build says so.
if QZLP_LIBRARY=$scratch/none.so "$scratch/env/bin/pip" install --no-build-isolation "$scratch/tree/python" \
  >"$scratch/log" 2>&1; then
  echo "installed without a library" && exit 1
fi
grep -q "none.so is missing: run ./dev build first" "$scratch/log"

QZLP_LIBRARY=$library "$scratch/env/bin/pip" install --quiet --no-build-isolation "$scratch/tree/python"
rm -rf "$scratch/tree"
cd "$scratch"
env -u QZLP_LIBRARY "$scratch/env/bin/python" - <<'PYTHON'
import importlib.metadata
import pathlib

import qzlp
from qzlp import _library

assert pathlib.Path(_library.library._name).parent == pathlib.Path(qzlp.__file__).parent, _library.library._name
assert importlib.metadata.version("qzlp") == qzlp.__version__
assert (pathlib.Path(qzlp.__file__).parent / "py.typed").is_file()
result = qzlp.linprog([-6.0, -5.0], A_ub=[[3.0, 2.0], [1.0, 2.0]], b_ub=[24.0, 16.0])
assert abs(result.fun + 54.0) < 1e-6, result
print("qzlp", qzlp.__version__, "from", qzlp.__file__)
PYTHON
