#!/usr/bin/env python3
"""engines_test.py SOURCES BUILD CC QUORLE PACKER MINIMAL PROGRAMS [TEST...]: a handler with a defect behind three
conditions, built by the installed package for a fuzzing engine, which finds it; and single inputs. PACKER and
MINIMAL are plugins, PROGRAMS the folder of programs that take inputs. Status 77: there is no such engine here."""
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

SOURCES = BUILD = CC = QUORLE = PACKER = MINIMAL = PROGRAMS = None

HEAD = """cmake_minimum_required(VERSION 3.21)
project(packer C)
find_package(quorle 53 REQUIRED)
"""
PROJECT = HEAD + """quorle_add_explorer(packer_fuzz SOURCES {sources}/selftest/engines/tail_packer.c ENGINE {engine})
target_include_directories(packer_fuzz PRIVATE {sources})
file(GENERATE OUTPUT mutator CONTENT "${{QUORLE_AFL_MUTATOR}}")
"""
# So many inputs take about a minute where nothing else runs, and give the same chance where something does.
MOST_INPUTS = {"LibFuzzer": "1000000", "Afl": "400000"}
LOST = "change-file-size-tree-size"


class EngineTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        os.mkdir(self.path("corpus"))

    def path(self, *names):
        return os.path.join(self.folder, *names)

    def write(self, name, content):
        with open(self.path(name), "wb") as file:
            file.write(content)

    def run_here(self, *command, **environment):
        """The status and both outputs of a command in the folder of this test."""
        run = subprocess.run(command, check=False, cwd=self.folder, timeout=800, stdin=subprocess.DEVNULL,
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE, env={**os.environ, **environment})
        return run.returncode, run.stdout.decode("latin-1"), run.stderr.decode("latin-1")

    def explore(self, file, plugin):
        return self.run_here(QUORLE, "explore", "--choices", file, "--mount", f"DH0=plugin:{plugin},isolate=no", "DH0:")


class Inputs(EngineTest):
    """Each input is 200 calls at random, which differ over the minimal example."""

    def setUp(self):
        super().setUp()
        self.write("corpus/input", random.Random(1).randbytes(200 * 16))

    def run_input(self, program="minimal_input", **environment):
        return self.run_here(os.path.join(PROGRAMS, program), "corpus", "0", **environment)

    @staticmethod
    def difference(text):
        """What is shown of the first one, but for the command that shows it again."""
        return re.search(r"^difference .*?(?=^  again: )", text, re.M | re.S).group()

    def test_a_difference_ends_the_process_and_is_that_of_the_same_choices(self):
        status, _, errors = self.run_input(QUORLE_OUT="out", QUORLE_MOUNT="volume=Work")
        self.assertEqual(status, -signal.SIGABRT, errors)
        shown = self.difference(errors)
        name = shown.split()[1]
        again = f"  again: quorle replay --mount DH0=plugin:PLUGIN,volume=Work out/difference-{name}.calls DH0:\n"
        self.assertIn(shown + again, errors)
        status, output, _ = self.explore("corpus/input", MINIMAL)
        self.assertEqual(status, 10)
        self.assertEqual(self.difference(output), shown)
        status, _, _ = self.run_here(QUORLE, "replay", "--mount", f"DH0=plugin:{MINIMAL},volume=Work",
                                     f"out/difference-{name}.calls", "DH0:")
        self.assertEqual(status, 10)

    def test_an_expected_one_does_not(self):
        name = self.difference(self.run_input()[2]).split()[1]
        self.write("known.toml", f'[[difference]]\nid = "{name}"\nreason = "not yet"\n'.encode())
        status, _, errors = self.run_input(QUORLE_EXPECT="known.toml")
        self.assertEqual(status, 0, errors)
        self.assertIn("  expected: not yet\n", errors)

    def test_what_is_wrong_around_it_is_named_before_the_first_input(self):
        for environment, line in (
                ({"QUORLE_EXPECT": "none.toml"}, "cannot read none.toml: No such file or directory"),
                ({"QUORLE_OUT": "corpus/input/out"}, "cannot create the directory corpus/input/out: Not a directory"),
                ({"QUORLE_MOUNT": "volume"}, None)):
            status, _, errors = self.run_input(**environment)
            self.assertEqual(status, 20, errors)
            self.assertRegex(errors, r"\Aquorle: [^\n]+\n\Z")
            if line:
                self.assertEqual(errors, f"quorle: {line}\n")


class InstalledTest(EngineTest):
    def setUp(self):
        super().setUp()
        status, output, errors = self.run_here("cmake", "--install", BUILD, "--prefix", self.path("prefix"))
        self.assertEqual(status, 0, output + errors)

    def configure(self, project):
        self.write("CMakeLists.txt", project.encode())
        return self.run_here("cmake", "-S", ".", "-B", ".", f"-DCMAKE_C_COMPILER={CC}", "-DCMAKE_BUILD_TYPE=Release",
                             "-DCMAKE_PREFIX_PATH=" + self.path("prefix"))


class Package(InstalledTest):
    def test_what_is_wrong_with_an_explorer_is_named(self):
        for arguments, line in (("", "quorle_add_explorer(TARGET SOURCES FILE... [ENGINE libfuzzer|afl])"),
                                ("AFL SOURCES a.c", "quorle_add_explorer(TARGET SOURCES FILE... [ENGINE libfuzzer|afl])"),
                                ("SOURCES a.c ENGINE honggfuzz",
                                 "quorle_add_explorer: ENGINE honggfuzz is not known; it is libfuzzer or afl")):
            status, _, errors = self.configure(HEAD + f"quorle_add_explorer(fuzz {arguments})\n")
            self.assertNotEqual(status, 0)
            self.assertIn(line, " ".join(errors.split()))

    def test_without_the_archive_it_is_a_package_for_handlers(self):
        """As it is installed for another processor."""
        for folder, _, names in os.walk(self.path("prefix")):
            for name in names:
                if name in ("quorle-explore.a", "quorle-afl-mutator.so", "QuorleExplorer.cmake", "quorle-compile-with"):
                    os.remove(os.path.join(folder, name))
        self.write("myfs.c", b"#include <quorle/handler.h>\n")
        status, output, errors = self.configure(
            HEAD + "add_library(myfs MODULE myfs.c)\ntarget_link_libraries(myfs PRIVATE quorle::handler)\n"
            "if(COMMAND quorle_add_explorer OR TARGET quorle::explore)\nmessage(FATAL_ERROR there)\nendif()\n")
        self.assertEqual(status, 0, output + errors)
        status, output, errors = self.run_here("cmake", "--build", ".")
        self.assertEqual(status, 0, output + errors)


class Search(InstalledTest):
    def build(self, engine):
        status, output, errors = self.configure(PROJECT.format(sources=SOURCES, engine=engine))
        self.assertEqual(status, 0, output + errors)
        status, output, errors = self.run_here("cmake", "--build", ".")
        self.assertEqual(status, 0, output + errors)
        # The plainest call, twice.
        self.write("corpus/plain", bytes(32))

    def assert_found(self, begun, file):
        """`file` is an input that shows the defect, in the engine's program and in quorle; so does what is written."""
        print(f"found after {time.monotonic() - begun:.0f} seconds", file=sys.stderr)
        status, _, errors = self.run_here(self.path("packer_fuzz"), file)
        self.assertNotEqual(status, 0)
        self.assertIn(f"difference {LOST}  (", errors)
        status, output, errors = self.explore(file, PACKER)
        self.assertEqual(status, 10, errors)
        self.assertIn(f"difference {LOST}  (", output)
        calls = self.path(f"difference-{LOST}.calls")
        replay = (QUORLE, "replay", "--mount")
        self.assertEqual(self.run_here(*replay, f"DH0=plugin:{PACKER}", calls, "DH0:")[0], 10)
        self.assertEqual(self.run_here(*replay, "DH0=ram", calls, "DH0:")[0], 0)


class LibFuzzer(Search):
    def test_it_finds_what_lies_behind_three_conditions(self):
        self.build("libfuzzer")
        begun = time.monotonic()
        status, _, errors = self.run_here("./packer_fuzz", "-seed=1", "-max_len=256", f"-runs={MOST_INPUTS['LibFuzzer']}",
                                          "-artifact_prefix=found-", "corpus")
        self.assertNotEqual(status, 0, errors[-2000:])
        found = [name for name in os.listdir(self.folder) if name.startswith("found-crash-")]
        self.assertEqual(len(found), 1, errors[-2000:])
        self.assertIn(f"difference {LOST}  (", errors)
        self.assert_found(begun, found[0])


class Afl(Search):
    def test_it_finds_what_lies_behind_three_conditions(self):
        self.build("afl")
        with open(self.path("mutator"), encoding="utf-8") as file:
            mutator = file.read()
        begun = time.monotonic()
        _, output, errors = self.run_here(
            "afl-fuzz", "-s", "1", "-E", MOST_INPUTS["Afl"], "-t", "10000", "-G", "128", "-i", "corpus", "-o", "found",
            "./packer_fuzz",
            AFL_CUSTOM_MUTATOR_LIBRARY=mutator, AFL_CUSTOM_MUTATOR_ONLY="1", AFL_BENCH_UNTIL_CRASH="1", AFL_NO_UI="1",
            AFL_NO_AFFINITY="1", AFL_FAST_CAL="1", AFL_SKIP_CPUFREQ="1", AFL_I_DONT_CARE_ABOUT_MISSING_CRASHES="1")
        crashes = self.path("found", "default", "crashes")
        found = [name for name in os.listdir(crashes) if name.startswith("id:")] if os.path.isdir(crashes) else []
        self.assertTrue(found, (output + errors)[-2000:])
        self.assert_found(begun, os.path.join(crashes, found[0]))


def missing(tests):
    """What of the engines of `tests` is not here, or None."""
    if "LibFuzzer" in tests:
        with tempfile.TemporaryDirectory() as folder:
            source = os.path.join(folder, "none.c")
            with open(source, "w", encoding="utf-8") as file:
                file.write("int LLVMFuzzerTestOneInput(const char *b, unsigned long n) { return b && n ? 0 : 0; }\n")
            for command in ("clang", *(f"clang-{version}" for version in range(19, 13, -1))):
                if shutil.which(command) and subprocess.run(
                        [command, "-fsanitize=fuzzer", source, "-o", os.path.join(folder, "none")],
                        check=False, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode == 0:
                    return None
        return "no clang with libFuzzer here"
    if "Afl" in tests and not (shutil.which("afl-clang-fast") and shutil.which("afl-fuzz")):
        return "no afl-clang-fast and afl-fuzz that can be run here"
    return None


if __name__ == "__main__":
    SOURCES, BUILD, CC, QUORLE, PACKER, MINIMAL, PROGRAMS = sys.argv[1:8]
    if reason := missing(sys.argv[8:]):
        print(f"SKIPPED: {reason}")
        sys.exit(77)
    unittest.main(argv=[sys.argv[0], *sys.argv[8:]])
