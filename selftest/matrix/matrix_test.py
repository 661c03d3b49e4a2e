#!/usr/bin/env python3
"""matrix_test.py QUORLE PLUGINS [TEST...]: runs of `quorle matrix`, and of what it writes. PLUGINS is the folder of the
plugins of the self-tests; a TEST is a unittest name. QUORLE_MATRIX_KILLS: how often a run is killed; 12 unless set."""
import json
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

QUORLE = PLUGINS = None

RAM = '[[mount]]\nname = "ram"\ndevice = "RAM:"\n'
BAD = '[[mount]]\nname = "bad"\nmount = "DH0=ram,deviate=delete-open-file"\ndevice = "DH0:"\n'
NI = '[[setting]]\nname = "ni"\nwords = "NI"\n'
PLAIN = '[[setting]]\nname = "plain"\n'
ONE_GROUP = '[[setting]]\nname = "delete"\nwords = "TN 10"\n'


class MatrixTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = os.path.realpath(folder.name)
        self.cells = self.path("matrix-cells")

    def path(self, *names):
        return os.path.join(self.folder, *names)

    def write(self, text, name="matrix.toml"):
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(text)

    def command(self, *arguments):
        return [QUORLE, "matrix", *arguments, "matrix.toml"]

    def run_in(self, *words, folder=None):
        run = subprocess.run(words, check=False, timeout=500, cwd=folder or self.folder, stdin=subprocess.DEVNULL,
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        return run.returncode, run.stdout.decode(), run.stderr.decode()

    def matrix(self, *arguments):
        return self.run_in(*self.command(*arguments))

    def ids(self, *arguments):
        status, output, errors = self.matrix(*arguments, "--list")
        self.assertEqual((status, errors), (0, ""))
        return output.splitlines()

    def files(self):
        """The event files of the cells, with what is seen when one is written again."""
        found = {}
        for name in os.listdir(self.cells):
            if name.endswith(".jsonl"):
                state = os.stat(os.path.join(self.cells, name))
                found[name] = (state.st_ino, state.st_mtime_ns, state.st_size)
        return found

    def events(self, cell_id):
        with open(os.path.join(self.cells, cell_id.replace("/", ".") + ".jsonl"), encoding="utf-8") as file:
            return [json.loads(line) for line in file]

    def strangers(self):
        """What the folder has beside event files and the page."""
        return [name for name in os.listdir(self.cells) if not name.endswith(".jsonl") and name != "matrix.html"]


class Files(MatrixTest):
    def assert_refused(self, text, line):
        self.write(text)
        self.assertEqual(self.matrix(), (20, "", f"quorle: {line}\n"))
        self.assertFalse(os.path.exists(self.cells), "something was run")

    def test_a_wrong_file_runs_nothing(self):
        self.assert_refused(RAM + "sed = 1\n", 'matrix.toml:4: "sed" is no key; there are name, mount, device, resource')
        self.assert_refused(RAM + RAM, 'matrix.toml:5: the mount "ram" is there twice, at first in line 1')
        self.assert_refused(RAM + "[[exclude]]\nmount = \"ram\"\n", "matrix.toml:1: there is no cell to run")
        self.write("x = [")
        status, output, errors = self.matrix()
        self.assertEqual((status, output), (20, ""))
        self.assertRegex(errors, r"\Aquorle: matrix.toml:1: .+\n\Z")

    def test_a_file_of_expectations_that_is_wrong(self):
        self.assert_refused('expect = "none.toml"\n' + RAM, "cannot read ./none.toml: No such file or directory")
        self.write('[[expect]]\ncheck = "Lock.None"\n', "quorle.toml")
        self.write('expect = "quorle.toml"\n' + RAM)
        status, output, errors = self.matrix()
        self.assertEqual((status, output), (20, ""))
        self.assertRegex(errors, r"\Aquorle: ./quorle.toml:\d: .*\n\Z")
        self.assertFalse(os.path.exists(self.cells))

    def test_words(self):
        self.write(RAM)
        for words, line in (((), "one file is needed: quorle matrix [options] FILE"),
                            (("--shard", "3/2", "matrix.toml"), '--shard: "3/2" is not one of several shards such as 2/8'),
                            (("--jobs", "0", "matrix.toml"), '--jobs: "0" is not a number, 1 to 1024'),
                            (("--list", "--ctest", "x", "matrix.toml"), "--cell, --list and --ctest exclude each other"),
                            (("--cell", "ram/x", "matrix.toml"), 'there is no cell "ram/x" here; --list lists them')):
            self.assertEqual(self.run_in(QUORLE, "matrix", *words), (20, "", f"quorle: matrix: {line}\n"))


class Cells(MatrixTest):
    def test_every_cell_has_its_file(self):
        self.write(RAM + PLAIN + NI + '[explore]\nseeds = "1..2"\noptions = "--calls 10"\n')
        self.assertEqual(self.ids(), ["ram/plain/standard", "ram/plain/explore-1", "ram/plain/explore-2",
                                      "ram/ni/standard", "ram/ni/explore-1", "ram/ni/explore-2"])
        status, output, errors = self.matrix()
        self.assertEqual((status, errors), (0, ""))
        self.assertRegex(output, r"\A6 cells: 6 as expected, 0 not; [0-9.]+ seconds\npage: .*/matrix-cells/matrix.html\n\Z")
        for cell in self.ids():
            events = self.events(cell)
            self.assertEqual((events[0]["event"], events[-2]["event"], events[-1]["event"]), ("run", "end", "cell"))
            self.assertEqual((events[-1]["id"], events[-1]["status"]), (cell, 0))
        self.assertEqual(self.events("ram/ni/standard")[0]["words"], "NI")
        self.assertEqual(self.strangers(), [])
        with open(self.path("matrix-cells", "matrix.html"), encoding="utf-8") as file:
            page = file.read()
        self.assertIn("a search: 1 sequence", page)
        self.assertIn(">As expected.<", page)

    def test_the_example_of_the_page(self):
        page = os.path.join(os.path.dirname(__file__), "..", "..", "docs", "matrix.md")
        with open(page, encoding="utf-8") as file:
            self.write(re.search(r"```toml\n(.*?)```", file.read(), re.S).group(1))
        self.write("", "quorle.toml")
        self.assertEqual(len(self.ids()), 14)
        status, output, errors = self.matrix()
        self.assertEqual((status, errors), (0, ""), output)
        self.assertEqual(len(self.files()), 14)

    def test_what_is_not_as_expected(self):
        self.write(RAM + BAD + PLAIN)
        status, output, errors = self.matrix()
        self.assertEqual((status, errors), (10, ""))
        self.assertRegex(output, r"\Anot as expected: bad/plain/standard\n2 cells: 1 as expected, 1 not; ")
        # The same again, though nothing is run.
        before = self.files()
        status, output, errors = self.matrix()
        self.assertEqual((status, errors, self.files()), (10, "", before))
        self.assertRegex(output, r"\Anot as expected: bad/plain/standard\n2 cells: 1 as expected, 1 not; 2 from an earlier time; ")
        self.matrix("--failed")
        after = self.files()
        self.assertEqual({name for name in before if before[name] != after[name]}, {"bad.plain.standard.jsonl"})

    def test_expectations_are_held_to_what_was_run_before(self):
        self.write(BAD + PLAIN)
        self.assertEqual(self.matrix()[0], 10)
        self.write('expect = "quorle.toml"\n' + BAD + PLAIN)
        self.write('[[expect]]\ncheck = "Delete.OpenFile"\nverdict = "fail"\nreason = "known"\n', "quorle.toml")
        self.assertEqual(self.matrix()[0], 0, "other words are another run")
        before = self.files()
        self.write('[[expect]]\ncheck = "Delete.OpenFile"\nverdict = "warn"\nreason = "wrong"\n', "quorle.toml")
        self.assertEqual((self.matrix()[0], self.files()), (10, before))

    def test_a_search_that_finds_something(self):
        self.write('catalogues = []\n[[mount]]\nname = "bad"\nmount = "DH0=ram,deviate=position-one-more"\ndevice = "DH0:"\n'
                   '[explore]\nseeds = "1..3"\n')
        status, output, _ = self.matrix()
        self.assertEqual(status, 10)
        self.assertIn("not as expected: bad/plain/explore-1\n", output)
        _, report, _ = self.run_in(QUORLE, "report", self.path("matrix-cells", "bad.plain.explore-1.jsonl"))
        self.assertIn("difference get-file-position-value: ", report)
        with open(self.path("matrix-cells", "matrix.html"), encoding="utf-8") as file:
            self.assertIn("difference get-file-position-value: ", file.read())

    def test_a_cell_that_does_not_end(self):
        self.write(f'[[mount]]\nname = "hangs"\nmount = "DH0=plugin:{PLUGINS}/rogue_plugin.so,in=FSLock,how=hang,limit=600"\n'
                   'device = "DH0:"\n[[limit]]\nmount = "hangs"\nseconds = 1\n' + RAM)
        status, output, errors = self.matrix()
        self.assertEqual((status, errors), (10, ""), output)
        self.assertIn("not as expected: hangs/plain/standard, which did not end within 1 second\n", output)
        self.assertEqual(self.events("hangs/plain/standard")[-1]["how"], "did not end within 1 second")
        self.assertEqual(self.events("ram/plain/standard")[-1]["status"], 0)
        _, report, _ = self.run_in(QUORLE, "report", self.path("matrix-cells", "hangs.plain.standard.jsonl"))
        self.assertIn("the cell did not end within 1 second", report)

    def test_a_cell_that_cannot_be_run(self):
        self.write(RAM + '[[mount]]\nname = "none"\nmount = "DH0=plugin:./none.so"\ndevice = "DH0:"\n')
        status, output, errors = self.matrix()
        self.assertEqual(status, 20)
        self.assertRegex(errors, r"\Aquorle: matrix: none/plain/standard could not be run: .*none.so.*\n\Z")
        self.assertIn("2 cells: 1 as expected, 0 not, 1 could not be run; ", output)
        self.assertEqual(set(self.files()), {"ram.plain.standard.jsonl"})

    def test_names_are_seen_from_the_folder_of_the_file(self):
        shutil.copy(os.path.join(PLUGINS, "ram_plugin.so"), self.path("my.so"))
        self.write('[[mount]]\nname = "my"\nmount = "DH0=plugin:./my.so"\ndevice = "DH0:"\n')
        os.mkdir(self.path("elsewhere"))
        status, _, errors = self.run_in(QUORLE, "matrix", "--out", "out", "../matrix.toml", folder=self.path("elsewhere"))
        self.assertEqual((status, errors), (0, ""))
        self.assertIn("my.plain.standard.jsonl", os.listdir(self.path("elsewhere", "out")))

    def test_a_resource_is_used_by_one_cell_at_a_time(self):
        # A cell that finds the directory in use makes it known, since the next could not make it.
        setting = ('[[setting]]\nname = "%s"\nwords = "TN 10"\noptions = ["--after-group", "mkdir busy || touch clash; '
                   'sleep 0.2; rmdir busy"]\n')
        settings = "".join(setting % name for name in "abcd")
        self.write(RAM + 'resource = "disk"\n' + settings)
        self.assertEqual(self.matrix("--jobs", "4")[0], 0)
        self.assertFalse(os.path.exists(self.path("clash")))
        self.write(RAM + settings)
        shutil.rmtree(self.cells)
        self.matrix("--jobs", "4")
        self.assertTrue(os.path.exists(self.path("clash")), "the test sees nothing")

    def test_cells_are_left_out_and_taken_in(self):
        self.write(RAM + BAD + PLAIN + NI + '[explore]\nseeds = "1..2"\n[[exclude]]\nsetting = "ni"\n[[exclude]]\n'
                   'run = "explore-*"\n[[include]]\nmount = "ram"\nsetting = "ni"\nrun = "explore-2"\n')
        self.assertEqual(self.ids(), ["ram/plain/standard", "ram/ni/explore-2", "bad/plain/standard"])


class Killed(MatrixTest):
    """A matrix that is killed at any moment, and begun again."""

    CELLS = 150

    def setUp(self):
        super().setUp()
        self.write(f'catalogues = []\n{RAM}[explore]\nseeds = "1..{self.CELLS}"\noptions = "--calls 30"\n')

    def wait_for_files(self, run, number):
        while run.poll() is None and (not os.path.isdir(self.cells) or len(self.files()) < number):
            time.sleep(0.005)
        self.assertIsNone(run.returncode, "it has ended")

    def assert_kept(self, before):
        after = self.files()
        self.assertEqual({name: after.get(name) for name in before}, before, "a finished cell was lost or run twice")
        return after

    def test_killed_and_begun_again(self):
        dice = random.Random(os.getpid())
        files = {}
        stopped = 0
        for _ in range(int(os.environ.get("QUORLE_MATRIX_KILLS", "12"))):
            with subprocess.Popen(self.command(), cwd=self.folder, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE) as run:
                time.sleep(dice.uniform(0, 0.4))
                run.kill()
                errors = run.stderr.read().decode()
            self.assertEqual(errors, "")
            stopped += run.returncode == -signal.SIGKILL
            if os.path.isdir(self.cells):
                files = self.assert_kept(files)
                for name in files:
                    with open(os.path.join(self.cells, name), encoding="utf-8") as file:
                        lines = file.read().splitlines()
                    self.assertEqual(json.loads(lines[-1])["event"], "cell", name)
                if len(files) == self.CELLS:  # nothing is left to be killed
                    shutil.rmtree(self.cells)
                    files = {}
        self.assertGreater(stopped, 0)
        status, output, errors = self.matrix()
        self.assertEqual((status, errors), (0, ""), output)
        self.assertIn(f"{self.CELLS} cells: {self.CELLS} as expected, 0 not; ", output)
        self.assertEqual(len(self.assert_kept(files)), self.CELLS)
        self.assertEqual(self.strangers(), [])

    def test_a_part_whose_run_has_ended_is_not_run_again(self):
        self.assertEqual(self.matrix()[0], 0)
        name = "ram.plain.explore-7.jsonl"
        with open(os.path.join(self.cells, name), encoding="utf-8") as file:
            lines = file.read().splitlines(True)
        os.remove(os.path.join(self.cells, name))
        for part, number in (("7", len(lines) - 1), ("8", 1)):
            with open(os.path.join(self.cells, f".ram.plain.explore-{part}.jsonl.1.part"), "w", encoding="utf-8") as file:
                file.writelines(lines[:number])
        status, output, _ = self.matrix()
        self.assertEqual(status, 0)
        self.assertIn(f"; {self.CELLS} from an earlier time; ", output)
        with open(os.path.join(self.cells, name), encoding="utf-8") as file:
            self.assertEqual(file.read().splitlines(True), lines)
        self.assertEqual(self.strangers(), [])

    def test_a_file_that_is_not_whole_is_run_again(self):
        self.assertEqual(self.matrix()[0], 0)
        name = os.path.join(self.cells, "ram.plain.explore-7.jsonl")
        with open(name, "rb+") as file:
            file.truncate(os.path.getsize(name) - 3)
        self.assertIn(f"; {self.CELLS - 1} from an earlier time; ", self.matrix()[1])

    def test_interrupted(self):
        with subprocess.Popen(self.command(), cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE) as run:
            self.wait_for_files(run, 3)
            run.send_signal(signal.SIGINT)
            output, errors = run.communicate(timeout=60)
        files = self.files()
        self.assertEqual(run.returncode, 10, output)
        self.assertEqual(errors.decode(), f"quorle: matrix: interrupted; {self.CELLS - len(files)} of {self.CELLS} cells are left, "
                                          "with which the same command goes on\n")
        self.assertEqual(self.strangers(), [])
        self.assertEqual(self.matrix()[0], 0)
        self.assertEqual(len(self.assert_kept(files)), self.CELLS)

    def test_two_at_once_are_kept_apart(self):
        with subprocess.Popen(self.command(), cwd=self.folder, stdout=subprocess.DEVNULL) as run:
            self.wait_for_files(run, 1)
            run.send_signal(signal.SIGSTOP)
            status, _, errors = self.matrix()
            run.send_signal(signal.SIGCONT)
        self.assertEqual((status, errors), (20, f"quorle: {self.cells}: another quorle matrix is at work in this folder\n"))
        self.assertEqual(run.returncode, 0)


class Joined(MatrixTest):
    def test_shards_are_all_cells_once(self):
        self.write(RAM + PLAIN + NI + '[explore]\nseeds = "1..40"\noptions = "--calls 5"\n')
        everything = self.ids()
        shards = [self.ids("--shard", f"{number}/3") for number in (1, 2, 3)]
        self.assertEqual(sorted(sum(shards, [])), sorted(everything))
        self.assertTrue(all(len(shard) > 10 for shard in shards), shards)
        for number in (1, 2, 3):
            self.assertEqual(self.matrix("--shard", f"{number}/3")[0], 0)
        self.assertEqual(len(self.files()), len(everything))
        status, report, _ = self.run_in(QUORLE, "report", *(os.path.join(self.cells, name) for name in sorted(self.files())))
        self.assertEqual(status, 0)
        self.assertEqual(report.count("a search: 1 sequence"), 80)

    def test_gnu_parallel_on_two_machines(self):
        """The recipe of docs/matrix.md, with its very words."""
        if shutil.which("parallel") is None:
            self.skipTest("no GNU parallel")
        with open(os.path.join(os.path.dirname(__file__), "..", "..", "docs", "matrix.md"), encoding="utf-8") as file:
            recipe = re.search(r"<!-- two machines -->\n\n((?:    .*\n)+)", file.read()).group(1)
        self.write(RAM + PLAIN + NI)
        script = "".join(line[4:] for line in recipe.splitlines(True))
        run = subprocess.run(["sh", "-e", "-c", script], check=False, cwd=self.folder, timeout=300, stdin=subprocess.DEVNULL,
                             env={**os.environ, "PATH": os.path.dirname(QUORLE) + ":" + os.environ["PATH"]})
        self.assertEqual(run.returncode, 0)
        files = [name for number in "12" for name in os.listdir(self.path("machine" + number)) if name.endswith(".jsonl")]
        self.assertEqual(sorted(files), ["ram.ni.standard.jsonl", "ram.plain.standard.jsonl"])
        with open(self.path("all.html"), encoding="utf-8") as file:
            self.assertIn(", 2 runs.", file.read())


class Ctest(MatrixTest):
    def ctest(self, *arguments):
        return self.run_in("ctest", "--test-dir", self.path("build"), *arguments)

    def test_a_project(self):
        self.write('seconds = 40\n' + RAM + BAD + 'resource = "disk"\n' + ONE_GROUP + NI +
                   '[explore]\nseeds = "1..2"\noptions = "--calls 10"\n[[exclude]]\nmount = "bad"\nrun = "explore-*"\n')
        self.assertEqual(self.matrix("--ctest", "project"), (0, "", ""))
        status, output, errors = self.run_in("cmake", "-S", "project", "-B", "build")
        self.assertEqual(status, 0, output + errors)
        _, output, _ = self.ctest("--show-only=json-v1")
        tests = {test["name"]: {item["name"]: item["value"] for item in test["properties"]}
                 for test in json.loads(output)["tests"]}
        self.assertEqual(sorted(tests), sorted(self.ids()))
        self.assertEqual(set(tests["bad/ni/standard"]["LABELS"]), {"bad", "ni", "standard"})
        self.assertEqual(set(tests["ram/ni/explore-2"]["LABELS"]), {"ram", "ni", "explore"})
        self.assertEqual(tests["bad/ni/standard"]["RESOURCE_LOCK"], ["disk"])
        self.assertEqual(tests["bad/ni/standard"]["TIMEOUT"], 55)
        status, output, _ = self.ctest("-j2", "--output-junit", self.path("junit.xml"))
        self.assertEqual(status, 8, output)
        self.assertIn("75% tests passed, 2 tests failed out of 8", output)
        self.cells = self.path("build", "cells")
        self.assertEqual(len(self.files()), 8)
        before = self.files()
        self.assertIn("0% tests passed, 2 tests failed out of 2", self.ctest("--rerun-failed")[1])
        after = self.files()
        self.assertEqual({name for name in before if before[name] != after[name]},
                         {"bad.delete.standard.jsonl", "bad.ni.standard.jsonl"})
        self.assertIn("succeeded, but should have failed", self.ctest("--rerun-failed", "--output-on-failure")[1])
        self.assertTrue(os.path.getsize(self.path("junit.xml")) > 0)
        self.assertIn("100% tests passed", self.ctest("-L", "explore")[1])


if __name__ == "__main__":
    QUORLE, PLUGINS = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
