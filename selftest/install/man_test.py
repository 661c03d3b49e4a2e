#!/usr/bin/env python3
"""man_test.py QUORLE PAGES TEST: the man pages in the folder PAGES, and the options of QUORLE. Status 77: there are no
pages, since scdoc is not here, or nothing that reads them."""
import os
import re
import shutil
import subprocess
import sys
import unittest

QUORLE = PAGES = None
# The page of each command that has options.
PAGE_OF = {"": "quorle.1", "report": "quorle-report.1", "explore": "quorle-explore.1", "replay": "quorle-explore.1",
           "matrix": "quorle-matrix.1"}
ALL = {"quorle.1", "quorle-report.1", "quorle-explore.1", "quorle-matrix.1", "quorle-handler.7"}


def path_of(page):
    return os.path.join(PAGES, page)


def run(*command, **changes):
    environment = {**os.environ, "LC_ALL": "C.UTF-8", "MANWIDTH": "200", **changes}
    done = subprocess.run(command, check=False, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, env=environment)
    return done.returncode, done.stdout.decode()


def plain(page):
    """The page as a terminal of 200 columns shows it, without bold."""
    status, text = run("man", "--no-hyphenation", "--no-justification", "-l", path_of(page), MAN_KEEP_FORMATTING="")
    assert status == 0, text
    return re.sub(".\b", "", text)


def help_options(command):
    """The options that --help lists, with the type of their value."""
    status, text = run(QUORLE, *([command] if command else []), "--help")
    assert status == 0, text
    return {name: value for names, value in re.findall(r"^  (-\S+)(?: (\S+))?(?:  .*)?$", text, re.M) for name in names.split(",")}


def page_options(text):
    """The options that are headings of a paragraph, with what stands behind the last of them."""
    found = {}
    for line in re.findall(r"^       (-.*)$", text, re.M):
        words = line.replace(",", "").split()
        names = [word for word in words if word.startswith("-")]
        found.update({name: "" if words[-1].startswith("-") else words[-1] for name in names})
    return found


class Lint(unittest.TestCase):
    def test_all_are_there(self):
        self.assertEqual(set(os.listdir(PAGES)), ALL)

    def test_man(self):
        for page in sorted(ALL):
            done = subprocess.run(["man", "--warnings", "-l", "-Tutf8", "-Z", path_of(page)], check=False,
                                  stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, env={**os.environ, "LC_ALL": "C.UTF-8"})
            self.assertEqual((done.returncode, done.stderr.decode()), (0, ""), page)

    def test_mandoc(self):
        for page in sorted(ALL):
            _, text = run("mandoc", "-T", "lint", "-W", "warning", path_of(page))
            # The paragraphs that scdoc begins where one has just begun.
            left = [line for line in text.splitlines() if "skipping paragraph macro: PP" not in line]
            self.assertEqual(left, [], page)


class Options(unittest.TestCase):
    maxDiff = None

    def test_page_and_help_agree(self):
        for page in sorted(set(PAGE_OF.values())):
            commands = [command for command, its in PAGE_OF.items() if its == page]
            options = {name: value for command in commands for name, value in help_options(command).items()}
            self.assertGreater(len(options), 5)
            shown = page_options(plain(page))
            self.assertEqual(set(shown), set(options), page)
            for name, value in options.items():
                self.assertEqual(bool(value), bool(shown[name]), f"{page}: {name} and its value")
                if value != "SPEC":  # the page shows what it consists of
                    self.assertEqual(shown[name], value, f"{page}: {name}")

    def test_no_option_is_named_that_is_not_there(self):
        known = {name for command in ("", "report", "compare", "import", "explain", "explore", "replay", "matrix", "completions")
                 for name in help_options(command)} | {"--cflags", "--help"}
        for page in sorted(ALL):
            named = set(re.findall(r"(?<![\w-])--[a-z][a-z-]*", plain(page)))
            self.assertEqual(named - known, set(), page)

    def test_replay_takes_what_its_page_says(self):
        sentence = re.search(r"quorle replay takes (.*?) alone", " ".join(plain("quorle-explore.1").split())).group(1)
        self.assertEqual(set(re.findall(r"--[a-z]+", sentence)), set(help_options("replay")))

    def test_every_command_is_named(self):
        _, text = run(QUORLE, "--help")
        commands = re.findall(r"^  quorle (\w+)", text, re.M)
        self.assertGreater(len(commands), 5)
        page = plain("quorle.1")
        for command in commands:
            self.assertRegex(page, rf"(?m)^       (?:.*, )?{command} ", command)
            self.assertEqual(run(QUORLE, command, "--help")[0], 0, command)


def main():
    global QUORLE, PAGES
    QUORLE, PAGES = os.path.abspath(sys.argv[1]), sys.argv[2]
    if not os.path.isdir(PAGES):
        print("SKIPPED: scdoc was not here when this was configured")
        sys.exit(77)
    for program in ("man", "mandoc"):
        if shutil.which(program) is None:
            print(f"SKIPPED: no {program}")
            sys.exit(77)
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])


if __name__ == "__main__":
    main()
