"""Puts the shared library into the package, and takes the version from the one place where it stands.

The library is the one that the environment variable QZLP_LIBRARY names, else the one of ./dev build. With
QZLP_LIBRARY=system none is put in: the package then loads the library that is installed in the system.
"""

import os
import re
import shutil
from pathlib import Path

from setuptools import setup
from setuptools.command.build_py import build_py
from setuptools.dist import Distribution

ROOT = Path(__file__).resolve().parent.parent
CHOSEN = os.environ.get("QZLP_LIBRARY", str(ROOT / "build/release/lib/libqzlp.so"))
BUNDLED = CHOSEN != "system"


def version() -> str:
    text = (ROOT / "CMakeLists.txt").read_text(encoding="utf-8")
    found = re.search(r"^project\(qzipsolve VERSION ([0-9.]+)", text, re.MULTILINE)
    if found is None:
        raise SystemExit(f"{ROOT}/CMakeLists.txt names no version")
    return found.group(1)


class BuildWithLibrary(build_py):
    def run(self) -> None:
        super().run()
        if not BUNDLED or self.editable_mode:
            return
        if not Path(CHOSEN).is_file():
            raise SystemExit(f"{CHOSEN} is missing: run ./dev build first, or name the library by QZLP_LIBRARY")
        shutil.copy(CHOSEN, Path(self.build_lib) / "qzlp" / "libqzlp.so")


class PlatformDistribution(Distribution):
    def has_ext_modules(self) -> bool:
        return BUNDLED


setup(version=version(), cmdclass={"build_py": BuildWithLibrary}, distclass=PlatformDistribution)
