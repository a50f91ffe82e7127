#!/usr/bin/env python3
"""run_commands.py PAGE PROGRAM SOURCE: runs the commands of a page of the documents and compares what they print.

A block fenced as `sh` is run by bash in a scratch folder that holds a copy of examples/, with the program qzlp on the
path; the blocks of a page run one after the other in the same folder. Every command must end with 0, unless the block
says `# exit code N` behind it. A block fenced as `output` right behind it is what the commands print. There a line
`...` stands for any lines and `...` in a line for any text; numbers agree when they differ by 2 % at most or are both
under 1e-6 in magnitude, so that other processors may round otherwise; all else is compared word by word.

A block fenced as `bash` holds chores of ./dev, which build or test as a whole and are not run here: each must be one
that ./dev help knows.
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

NUMBER = re.compile(r"[-+]?(?:\d+\.?\d*(?:[eE][-+]?\d+)?)")


def blocks(text):
    """Pairs of the language and the content of each fenced block."""
    return re.findall(r"^```([a-z]*)[^\n]*\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)


def same_number(shown, found):
    a, b = float(shown), float(found)
    return a == b or abs(a - b) <= 0.02 * max(abs(a), abs(b)) or max(abs(a), abs(b)) < 1e-6


def same_word(shown, found):
    """Words whose texts between the numbers are equal, and whose numbers agree."""
    if shown == found:
        return True
    if NUMBER.split(shown) != NUMBER.split(found):
        return False
    return all(map(same_number, NUMBER.findall(shown), NUMBER.findall(found)))


def same_words(shown, found):
    """Lists of words, where `...` in the first stands for any words."""
    if not shown:
        return not found
    if shown[0] == "...":
        return any(same_words(shown[1:], found[i:]) for i in range(len(found) + 1))
    return bool(found) and same_word(shown[0], found[0]) and same_words(shown[1:], found[1:])


def same_lines(shown, found):
    """Lists of lines, where a line `...` in the first stands for any lines. Iterative: logs may be long."""
    starts = {0}
    for line in shown:
        if line.strip() == "...":
            starts = set(range(min(starts, default=len(found) + 1), len(found) + 1))
        else:
            words = line.split()
            starts = {i + 1 for i in starts if i < len(found) and same_words(words, found[i].split())}
        if not starts:
            return False, line
    return (True, "") if len(found) in starts else (False, "(the end)")


def lines_of(text):
    return [line for line in text.split("\n") if line.strip()]


def run(script, folder, path):
    environment = dict(os.environ, PATH=path + os.pathsep + os.environ["PATH"], LC_ALL="C.UTF-8")
    return subprocess.run(["bash", "-c", script], cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=300)


def commands_of(block):
    """The commands of a block with the exit code of each, a line that ends in a backslash joined to the next."""
    commands = []
    for line in block.replace("\\\n", " ").split("\n"):
        if not line.strip():
            continue
        found = re.search(r"# exit code (\d+)$", line)
        commands.append((line, int(found.group(1)) if found else 0))
    return commands


def check_chores(block, source):
    chores = set(re.findall(r"^  ([a-z-]+)", subprocess.run([source / "dev", "help"], capture_output=True, text=True,
                                                            check=True).stdout, re.MULTILINE))
    for line in lines_of(block):
        if line.startswith("./dev ") and line.split()[1] not in chores:
            return f"./dev knows no such chore: {line}"
    return ""


def check_page(page, program, source, folder):
    """The number of commands that ran, and what went wrong."""
    shutil.copytree(source / "examples", folder / "examples")
    (folder / "build/release").mkdir(parents=True)
    (folder / "build/release/bin").symlink_to(program.parent)
    count, before = 0, None
    for language, block in blocks(page.read_text(encoding="utf-8")):
        if language == "bash":
            wrong = check_chores(block, source)
            if wrong:
                return count, wrong
        if language == "output" and before is not None:
            same, line = same_lines(lines_of(block), lines_of(before))
            if not same:
                return count, f"the page shows otherwise, from this line on: {line}\nThe output was:\n{before}"
        before = None
        if language != "sh":
            continue
        before = ""
        for command, code in commands_of(block):
            result = run(command, folder, str(program.parent))
            if result.returncode != code:
                return count, f"exit code {result.returncode} of: {command}\n{result.stdout}"
            before += result.stdout
            count += 1
    return count, ""


def main():
    page, program, source = (Path(word).resolve() for word in sys.argv[1:4])
    with tempfile.TemporaryDirectory() as folder:
        count, wrong = check_page(page, program, source, Path(folder))
    print(f"{page.name}: {count} commands ran")
    if wrong:
        sys.exit(wrong)


if __name__ == "__main__":
    main()
