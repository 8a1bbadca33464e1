#!/usr/bin/env python3
"""Runs the commands of a page word by word: run_page.py PAGE.

A Markdown page: every ```sh block is one step. What it prints, standard error included, must match the ```text block
that follows it, if one does; "…" there stands for any text, and on a line of its own for any lines. A file whose block
is headed <!-- file: NAME --> is written first. A step headed

    <!-- keys: "text" Enter, "other text" Ctrl-C -->

runs on a terminal, where each key is pressed when the text before it has been shown.

A manual page: every .EX block is a step.

All steps run in one new folder, in order, and must succeed. What needs another machine or a screen finds a program of
the folder stand_ins in its place, and a screen that shows nothing.
"""

import os
import re
import subprocess
import sys
import tempfile

from terminal import Terminal

KEYS = {"Enter": "\n", "Ctrl-C": "\x03"}
BLOCK = re.compile(
    r"(?:^<!-- (?P<head>file|keys): (?P<detail>[^\n]*) -->\n\n?)?^```(?P<kind>\w+)\n(?P<text>.*?)^```$",
    re.MULTILINE | re.DOTALL)
EXAMPLE = re.compile(r"^\.EX\n(.*?)^\.EE$", re.MULTILINE | re.DOTALL)


class Step:
    def __init__(self, text, keys=""):
        self.text = text
        self.keys = [(shown, KEYS.get(key, key)) for shown, key in re.findall(r'"(.*?)" (\S+?)(?:,|$)', keys)]
        self.expected = None


def files_and_steps(page):
    """The page's files and steps in their order."""
    with open(page, encoding="utf-8") as opened:
        text = opened.read()
    if not page.endswith(".md"):
        return [Step(example.replace("\\-", "-").replace("\\e", "\\")) for example in EXAMPLE.findall(text)]
    items = []
    for block in BLOCK.finditer(text):
        if block["head"] == "file":
            items.append((block["detail"], block["text"]))
        elif block["kind"] == "sh":
            items.append(Step(block["text"], block["detail"] or ""))
        elif block["kind"] == "text" and items:
            items[-1].expected = block["text"]
    return items


def pattern(expected):
    lines = []
    for line in expected.splitlines():
        if line.strip() == "…":
            lines.append(r"(?:.*\n)*?")
        else:
            lines.append(".*?".join(re.escape(part) for part in line.split("…")) + "\n")
    return "".join(lines)


def shown_by(step, folder):
    # A step sees what earlier ones exported.
    exports = folder + ".exports"
    script = f"[ ! -f {exports} ] || . {exports}\n{step.text}\nexport -p > {exports}\n"
    command = ["bash", "-e", "-u", "-o", "pipefail", "-c", script]
    if step.keys:
        terminal = Terminal(command, dict(os.environ), folder)
        position = 0
        for text, key in step.keys:
            position = terminal.wait_for(text, position)
            terminal.send(key)
        return terminal.finish(), terminal.shown
    run = subprocess.run(command, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                         stderr=subprocess.STDOUT, check=False)
    return run.returncode, run.stdout.decode()


def run_step(step, folder):
    status, shown = shown_by(step, folder)
    if status != 0:
        sys.exit(f"status {status} of\n{step.text}\nwhich printed\n{shown}")
    if step.expected is not None and not re.fullmatch(pattern(step.expected), shown):
        sys.exit(f"{step.text}\nprinted\n{shown}\nbut the page says\n{step.expected}")


def main():
    items = files_and_steps(sys.argv[1])
    if not items:
        sys.exit(f"{sys.argv[1]} has no commands")
    stand_ins = os.path.join(os.path.dirname(os.path.abspath(__file__)), "stand_ins")
    os.environ["PATH"] = stand_ins + ":" + os.environ["PATH"]
    os.environ.update(SDL_VIDEODRIVER="dummy", SDL_AUDIODRIVER="dummy")
    with tempfile.TemporaryDirectory() as parent:
        folder = os.path.join(parent, "steps")
        os.mkdir(folder)
        for item in items:
            if isinstance(item, Step):
                run_step(item, folder)
            else:
                with open(os.path.join(folder, item[0]), "w", encoding="utf-8") as opened:
                    opened.write(item[1])
    print(f"{len(items)} steps and files of {sys.argv[1]}")


main()
