#!/usr/bin/env python3
"""Presses Tab in a real shell: completion_test.py bash|zsh|fish FOLDER, the folder holding the completions."""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest

from terminal import Terminal

FOLDER = os.path.abspath(sys.argv.pop())
SHELL = sys.argv.pop()
ENVIRONMENT = {"PATH": os.environ["PATH"], "HOME": "/nonexistent", "TERM": "dumb", "LC_ALL": "C.UTF-8"}
FRAMES = os.path.exists(f"{FOLDER}/bash/zel-frames")
COMMANDS = ["list", "stats", "check", "repair", "cut", "frame", "mux", "compare", "watch"]


class Shell:
    """An interactive bash or zsh in which Ctrl-G prints the command line and clears it."""

    START = {
        "bash": (
            ["bash", "--norc", "--noprofile", "-i"],
            "PS1='' PS2=''; bind 'set enable-bracketed-paste off' 'set show-all-if-ambiguous on'"
            " 'set completion-query-items 0' 'set page-completions off' 'set bell-style none'\n"
            "show() { printf '<%s>\\n' \"$READLINE_LINE\"; READLINE_LINE=; }; bind -x '\"\\C-g\": show'\n"
            f". {FOLDER}/bash/zel-client; [ ! -e {FOLDER}/bash/zel-frames ] || . {FOLDER}/bash/zel-frames\n",
        ),
        "zsh": (
            ["zsh", "-f", "-i"],
            f"unsetopt zle_bracketed_paste prompt_cr prompt_sp beep; PS1='' LISTMAX=1000; fpath=({FOLDER}/zsh $fpath)\n"
            "autoload -Uz compinit && compinit -u -D\n"
            "show() { zle -I; print -r -- \"<$BUFFER>\"; BUFFER=; }; zle -N show; bindkey '^G' show\n",
        ),
    }

    def __init__(self, folder):
        command, setup = self.START[SHELL]
        self.terminal = Terminal(command, ENVIRONMENT, folder)
        self.terminal.send(setup + "echo rea''dy\n")
        self.position = self.terminal.wait_for("ready\n")

    def complete(self, line):
        """What the line `line` has become and what was listed, after Tab."""
        self.terminal.send(line + "\t\x07")
        begin = self.terminal.wait_for("<", self.position)
        end = self.terminal.wait_for(">\n", begin)
        listed = self.terminal.shown[self.position : begin - 1]
        self.position = end
        return self.terminal.shown[begin : end - 2], listed.split()

    def close(self):
        self.terminal.send("exit\n")
        self.terminal.finish()


class Completion(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp()
        for name in ("capture one.mkv", "other.mkv"):
            open(os.path.join(self.folder, name), "w").close()
        os.mkdir(os.path.join(self.folder, "recordings"))

    def tearDown(self):
        shutil.rmtree(self.folder)


class Typed(Completion):
    """In bash and zsh."""

    def setUp(self):
        super().setUp()
        self.shell = Shell(self.folder)

    def tearDown(self):
        self.shell.close()
        super().tearDown()

    def becomes(self, typed, wanted):
        self.assertEqual(self.shell.complete(typed)[0], wanted)

    def lists(self, typed, *wanted):
        listed = self.shell.complete(typed)[1]
        for word in wanted:
            self.assertIn(word, listed)
        return listed

    # An option that is missing, or a flag with "=", would make a user think that it does not exist.
    def test_options(self):
        self.becomes("zel-client --forma", "zel-client --format=")
        self.becomes("zel-client --quie", "zel-client --quiet ")
        self.becomes("zel-client --debug.lumo.i", "zel-client --debug.lumo.intra_refresh=")
        self.becomes("zel-client 640 360 --extra", "zel-client 640 360 --extra_info ")

    # Choices must come behind "=", as a word of their own and behind a letter.
    def test_choices(self):
        self.becomes("zel-client --format=jp", "zel-client --format=jpeg ")
        self.becomes("zel-client --format=h26", "zel-client --format=h26")
        self.becomes("zel-client -t jp", "zel-client -t jpeg ")
        self.becomes("zel-client --buffer.strategy=ser", "zel-client --buffer.strategy=service ")
        self.lists("zel-client --lumo.gdr=", "off", "vertical", "horizontal")
        self.lists("zel-client --mirror=", "0", "1")

    # File names must not be split at their spaces, and a folder must not end the word.
    def test_files(self):
        self.becomes("zel-client --mkv=capt", "zel-client --mkv=capture\\ one.mkv ")
        self.becomes("zel-client -o oth", "zel-client -o other.mkv ")
        self.becomes("zel-client --output=recor", "zel-client --output=recordings/")

    # A number or a resolution is no file name.
    def test_nothing_to_complete(self):
        self.becomes("zel-client oth", "zel-client oth")
        self.becomes("zel-client --bitrate=o", "zel-client --bitrate=o")


    # Somebody who knows no command must be shown them all, and behind a command its own options.
    @unittest.skipUnless(FRAMES, "this build has no zel-frames")
    def test_commands(self):
        self.becomes("zel-frames sta", "zel-frames stats ")
        self.lists("zel-frames ", *COMMANDS)
        self.becomes("zel-frames --vers", "zel-frames --version ")
        self.becomes("zel-frames list --time", "zel-frames list --timestamps ")
        self.becomes("zel-frames stats --time", "zel-frames stats --time")
        self.becomes("zel-frames stats --forma", "zel-frames stats --format=")

    # What a command reads is a file, with the choices and files of its options as for the client.
    @unittest.skipUnless(FRAMES, "this build has no zel-frames")
    def test_values_of_commands(self):
        self.becomes("zel-frames stats capt", "zel-frames stats capture\\ one.mkv ")
        self.becomes("zel-frames list --csv oth", "zel-frames list --csv other.mkv ")
        self.becomes("zel-frames list --log=oth", "zel-frames list --log=other.mkv ")
        self.becomes("zel-frames list --format=jp", "zel-frames list --format=jpeg ")
        self.becomes("zel-frames list --format jp", "zel-frames list --format jpeg ")
        self.becomes("zel-frames list --fps=o", "zel-frames list --fps=o")
        self.becomes("zel-frames mux -o oth", "zel-frames mux -o other.mkv ")
        self.becomes("zel-frames oth", "zel-frames oth")


class TypedInBash(Typed):
    # The letters of a cluster: only the last one, and only with a value, says what comes next.
    def test_clusters(self):
        self.becomes("zel-client -qst jp", "zel-client -qst jpeg ")
        self.becomes("zel-client -b5t jp", "zel-client -b5t jp")

    # Behind "--" nothing is an option.
    def test_end_of_options(self):
        self.becomes("zel-client -- --forma", "zel-client -- --forma")

    # Choices as a separate word behind a long option.
    def test_separate_word(self):
        self.becomes("zel-client --format jp", "zel-client --format jpeg ")


class Asked(Completion):
    """Fish tells what it would offer."""

    def offers(self, line):
        script = f"source {FOLDER}/fish/{line.split()[0]}.fish; complete -C '{line}'"
        run = subprocess.run(["fish", "--no-config", "-c", script], env=ENVIRONMENT, cwd=self.folder,
                             stdout=subprocess.PIPE, text=True, check=True)
        return [offer.split("\t")[0] for offer in run.stdout.splitlines()]

    # The same cases as in the other shells.
    def test_offers(self):
        self.assertEqual(self.offers("zel-client --forma"), ["--format"])
        self.assertEqual(self.offers("zel-client --quie"), ["--quiet"])
        self.assertEqual(self.offers("zel-client --format=h26"), ["--format=h264", "--format=h265"])
        self.assertEqual(self.offers("zel-client -t jp"), ["jpeg"])
        self.assertEqual(self.offers("zel-client --mkv=oth"), ["--mkv=other.mkv"])
        self.assertEqual(self.offers("zel-client oth"), [])

    @unittest.skipUnless(FRAMES, "this build has no zel-frames")
    def test_commands(self):
        self.assertEqual(self.offers("zel-frames sta"), ["stats"])
        self.assertLessEqual(set(COMMANDS), set(self.offers("zel-frames ")))
        self.assertEqual(self.offers("zel-frames list --time"), ["--timestamps"])
        self.assertEqual(self.offers("zel-frames stats --time"), [])
        self.assertEqual(self.offers("zel-frames stats oth"), ["other.mkv"])
        self.assertEqual(self.offers("zel-frames list --log=oth"), ["--log=other.mkv"])
        self.assertEqual(self.offers("zel-frames list --format=jp"), ["--format=jpeg"])
        self.assertEqual(self.offers("zel-frames list --fps o"), [])


if __name__ == "__main__":
    if shutil.which(SHELL) is None:
        sys.exit(77)
    cases = {"bash": TypedInBash, "zsh": Typed, "fish": Asked}[SHELL]
    suite = unittest.defaultTestLoader.loadTestsFromTestCase(cases)
    sys.exit(not unittest.TextTestRunner().run(suite).wasSuccessful())
