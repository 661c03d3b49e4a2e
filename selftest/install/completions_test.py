#!/usr/bin/env python3
"""completions_test.py QUORLE bash|zsh: completes command lines in that shell, at a terminal as a person does, with the
script that `quorle completions` prints. Status 77: the shell is not here."""
import os
import pty
import re
import select
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

QUORLE = SHELL = None
PROMPT = "ready> "
ALL = {"bash": "\x1b*", "zsh": "\x18*"}  # the key that inserts each candidate

START = {
    "bash": """\
PS1='{prompt}'
HISTFILE=
source {script}
""",
    "zsh": """\
PS1='{prompt}'
unsetopt prompt_sp prompt_cr always_last_prompt
unset zle_bracketed_paste
setopt no_auto_remove_slash
autoload -U compinit && compinit -u -D
source {script}
zle -C all complete-word _generic
zstyle ':completion:all::::' completer _all_matches _complete
zstyle ':completion:all:*' insert yes
zstyle ':completion:all:*' old-matches false
bindkey -e
bindkey '^X*' all
""",
}


class Terminal:
    """A shell at a terminal that knows the completions of the program."""

    def __init__(self, folder):
        script = os.path.join(folder, "script")
        with open(script, "wb") as file:
            file.write(subprocess.run([QUORLE, "completions", SHELL], check=True, stdout=subprocess.PIPE).stdout)
        start = os.path.join(folder, "start")
        with open(start, "w", encoding="ascii") as file:
            file.write(START[SHELL].format(prompt=PROMPT, script=script))
            # The words that the shell would start a program with.
            file.write("words() { printf '<%s>\\n' \"$@\"; echo done.; }\n")
        self.pid, self.terminal = pty.fork()
        if self.pid == 0:
            os.environ.update(PATH=os.path.dirname(QUORLE) + ":" + os.environ["PATH"], TERM="dumb", HOME=folder,
                              ZDOTDIR=folder, COLUMNS="1000", LINES="1000", INPUTRC="/dev/null")
            os.chdir(folder)
            shell = {"bash": ["bash", "--noprofile", "--norc", "-i"], "zsh": ["zsh", "-f", "-i"]}[SHELL]
            os.execvp(shell[0], shell)
        self.type(f". {start}\r", PROMPT)

    def type(self, keys, until):
        """Types the keys, and returns what is shown until the line that ends with this."""
        os.write(self.terminal, keys.encode())
        shown, end = "", time.monotonic() + 60
        while not shown.endswith(until):
            if not select.select([self.terminal], [], [], max(0, end - time.monotonic()))[0]:
                raise AssertionError(f"{SHELL} shows nothing more after {shown!r}")
            shown += os.read(self.terminal, 65536).decode(errors="replace").replace("\r", "")
        return shown

    def words(self, line, key="\t"):
        """The words of a command line after a key was pressed at its end."""
        shown = self.type(line + key + "\x01words \r", "done.\n" + PROMPT)
        return re.findall(r"^<(.*)>$", shown, re.M)

    def close(self):
        os.close(self.terminal)
        os.waitpid(self.pid, 0)


def options_of(*command):
    shown = subprocess.run([QUORLE, *command, "--help"], check=True, stdout=subprocess.PIPE).stdout.decode()
    return {name for line in re.findall(r"^  (-\S+)", shown, re.M) for name in line.split(",")}


class Completions(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = folder.name
        for name in ("unique.jsonl", "my handler.so"):
            with open(os.path.join(cls.folder, name), "wb"):
                pass
        os.mkdir(os.path.join(cls.folder, "directory"))
        cls.terminal = Terminal(cls.folder)
        cls.addClassCleanup(cls.terminal.close)

    def check(self, line, *words):
        self.assertEqual(self.terminal.words(line)[1:], list(words), line)

    def test_every_option_of_every_command(self):
        for command in ([], ["report"], ["explore"], ["replay"], ["matrix"], ["import"], ["compare"], ["explain"], ["completions"]):
            line = " ".join(["quorle", *command, "--"])
            offered = self.terminal.words(line, ALL[SHELL])[1 + len(command):]
            options = {name for name in options_of(*command) if name.startswith("--")} if command else options_of()
            options = options or {"--help"}
            self.assertEqual({word.rstrip("=") for word in offered}, options, line)

    def test_commands_and_devices(self):
        self.check("quorle compl", "completions")
        offered = self.terminal.words("quorle ", ALL[SHELL])[1:]
        for word in ("report", "explore", "completions", "RAM:", "ENV:"):
            self.assertIn(word, offered)
        self.check("quorle RA", "RAM:")
        self.check("quorle --no-delay RA", "--no-delay", "RAM:")
        self.check("quorle --mount DH0=ram --limit 5 DH", "--mount", "DH0=ram", "--limit", "5", "DH0:")
        self.check("quorle explore RA", "explore", "RAM:")
        self.check("quorle replay unique.jsonl RA", "replay", "unique.jsonl", "RAM:")

    def test_options_come_first(self):
        self.check("quorle RAM: AO", "RAM:", "AOE")
        self.check("quorle RAM: --no-del", "RAM:", "--no-del")
        self.check("quorle report unique.jsonl --jun", "report", "unique.jsonl", "--junit")

    def test_values(self):
        self.check("quorle --remount ea", "--remount", "each")
        self.check("quorle --remount=ea", "--remount=each")
        self.check("quorle --limit 5", "--limit", "5")
        self.check("quorle --events uni", "--events", "unique.jsonl")
        self.check("quorle --events=uni", "--events=unique.jsonl")
        self.check("quorle explore --out dir", "explore", "--out", "directory/")
        self.check("quorle report -o uni", "report", "-o", "unique.jsonl")
        self.check("quorle import uni", "import", "unique.jsonl")
        self.check("quorle compare unique.jsonl uni", "compare", "unique.jsonl", "unique.jsonl")
        self.check("quorle completions z", "completions", "zsh")

    def test_checks(self):
        self.check("quorle explain Rename.DirectoryL", "explain", "Rename.DirectoryLoop")
        self.check("quorle --select Lock,Rename.DirectoryL", "--select", "Lock,Rename.DirectoryLoop")
        self.assertIn("Lock", self.terminal.words("quorle explain Loc", ALL[SHELL]))

    def test_mounts(self):
        self.check("quorle --mount DH0=plu", "--mount", "DH0=plugin:")
        self.check("quorle --mount DH0=plugin:my", "--mount", "DH0=plugin:my handler.so")
        self.check("quorle --mount DH0=dir:dir", "--mount", "DH0=dir:directory/")


def main():
    global QUORLE, SHELL
    QUORLE, SHELL = os.path.abspath(sys.argv[1]), sys.argv[2]
    if shutil.which(SHELL) is None:
        print(f"SKIPPED: no {SHELL}")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])


if __name__ == "__main__":
    main()
