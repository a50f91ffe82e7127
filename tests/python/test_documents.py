"""Runs the Python of the documents, block by block, and compares what it prints with the block behind it."""

import io
import os
import re
import unittest
from contextlib import redirect_stdout
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
FENCED = re.compile(r"^```python\n(.*?)^```\n(?:\n```\n(.*?)^```\n)?", re.MULTILINE | re.DOTALL)


class Documents(unittest.TestCase):
    def test_python_page(self) -> None:
        text = (ROOT / "docs" / "python.md").read_text(encoding="utf-8")
        os.chdir(ROOT)
        names: dict = {}
        blocks = FENCED.findall(text)
        self.assertGreaterEqual(len(blocks), 5)
        for code, shown in blocks:
            printed = io.StringIO()
            with redirect_stdout(printed):
                exec(code, names)
            self.assertEqual(printed.getvalue(), shown, code)

    def test_package_docstring(self) -> None:
        import doctest

        import qzlp

        result = doctest.testmod(qzlp)
        self.assertGreater(result.attempted, 0)
        self.assertEqual(result.failed, 0)


if __name__ == "__main__":
    unittest.main()
