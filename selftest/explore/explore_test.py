#!/usr/bin/env python3
"""explore_test.py QUORLE PLUGINS [TEST...]: runs of `quorle explore`, and of what it writes. PLUGINS is the folder of
the plugins of the self-tests; a TEST is a unittest name."""
import glob
import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import unittest

QUORLE = PLUGINS = None

SUMMARY = re.compile(r"^(\d+) sequences?, (\d+) pairs? of calls in \d+\.\d seconds \(\d+ a second\): "
                     r"(\d+) differences?, (\d+) expected, (\d+) notes?$")
POSITION = "DH0=ram,deviate=position-one-more"


class ExploreTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, text, name):
        with open(self.path(name), "wb") as file:
            file.write(text if isinstance(text, bytes) else text.encode())

    def content(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def quorle(self, *arguments):
        """The status and both outputs of a run in the folder of this test."""
        run = subprocess.run([QUORLE, *arguments], check=False, timeout=250, cwd=self.folder,
                             stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        return run.returncode, run.stdout.decode(), run.stderr.decode()

    def explore(self, *arguments):
        return self.quorle("explore", *arguments)

    def counts(self, output):
        """Of the last line: sequences, pairs of calls, differences, expected ones, notes."""
        last = SUMMARY.match(output.splitlines()[-1])
        self.assertTrue(last, output)
        return [int(number) for number in last.groups()]

    def assert_refused(self, line, *arguments):
        self.assertEqual(self.explore(*arguments), (20, "", f"quorle: {line}\n"))


class Searches(ExploreTest):
    def test_nothing_differs_over_memory(self):
        status, output, errors = self.explore("--seeds", "1..20", "RAM:")
        self.assertEqual((status, errors), (0, ""), output)
        sequences, pairs, *rest = self.counts(output)
        self.assertEqual((sequences, rest), (20, [0, 0, 0]))
        self.assertGreaterEqual(pairs, 20 * 200)

    def test_the_same_seed_gives_the_same_calls(self):
        first = self.explore("--seed", "7", "--trace", "trace", "RAM:")
        before = self.content("trace")
        again = self.explore("--seed", "7", "--trace", "trace", "RAM:")
        self.assertEqual([re.sub(r" in .* a second\)", "", output) for _, output, _ in (first, again)][0],
                         re.sub(r" in .* a second\)", "", again[1]))
        self.assertEqual(self.content("trace"), before)

    def test_shards_are_all_seeds_once(self):
        pairs = [self.counts(self.explore("--seeds", "1..9", "--calls", "20", "--shard", shard, "RAM:")[1])[:2]
                 for shard in ("1/3", "2/3", "3/3")]
        self.assertEqual([shard[0] for shard in pairs], [3, 3, 3])
        whole = self.counts(self.explore("--seeds", "1..9", "--calls", "20", "RAM:")[1])[:2]
        self.assertEqual([sum(numbers) for numbers in zip(*pairs)], whole)

    def test_a_difference_is_shown_and_shrunk(self):
        status, output, errors = self.explore("--mount", POSITION, "--seeds", "1..20", "DH0:")
        self.assertEqual((status, errors), (10, ""))
        self.assertRegex(output, r"""\Adifference get-file-position-value  \(seed \d+, \d+ calls, shrunk to 2\)
  1  Open\("a", MODE_NEWFILE\) = f1
  2  GetFilePosition\(f1\) = 1  +reference: 0
     then .*
  .* \(rule: value\)
  again: quorle explore --mount DH0=ram,deviate=position-one-more --seed \d+ DH0:
""")
        self.assertEqual(self.counts(output)[2:], [1, 0, 0])

    def test_choices_are_one_sequence(self):
        self.write(b"\0\0" * 8 * 5 + b"\xFF", "choices")
        status, output, _ = self.explore("--choices", "choices", "RAM:")
        self.assertEqual((status, self.counts(output)[0]), (0, 1))


class Files(ExploreTest):
    def test_a_difference_can_be_made_again(self):
        status, output, _ = self.explore("--mount", POSITION, "--seeds", "1..20", "--out", "new/out", "DH0:")
        self.assertEqual(status, 10)
        name = "new/out/difference-get-file-position-value"
        self.assertIn(f"  again: quorle replay --mount {POSITION} {name}.calls DH0:\n", output)
        self.assertEqual(sorted(os.listdir(self.path("new/out"))), [os.path.basename(name) + ending
                                                                    for ending in (".calls", ".trace")])
        status, output, _ = self.quorle("replay", "--mount", POSITION, name + ".calls", "DH0:")
        self.assertEqual((status, output.count("!")), (10, 1))
        status, output, _ = self.quorle("replay", name + ".calls", "RAM:")
        self.assertEqual((status, output.count("!")), (0, 0))
        operations = [json.loads(line)["op"] for line in self.content(name + ".trace").splitlines()]
        self.assertIn("GetFilePosition", operations)

    def test_what_only_a_look_shows_can_be_made_again(self):
        mount = "DH0=ram,deviate=resize-keeps-date"
        self.explore("--mount", mount, "--seeds", "1..20", "--out", "out", "DH0:")
        names = glob.glob(self.path("out/*-date.calls"))
        self.assertTrue(names)
        for name in names:
            self.assertEqual(self.quorle("replay", "--mount", mount, name, "DH0:")[0], 10, name)
            self.assertEqual(self.quorle("replay", name, "RAM:")[0], 0, name)

    def test_known_differences_do_not_fail(self):
        self.write('[[difference]]\nid = "get-file-position-value"\nreason = "it counts from 1"\n', "known.toml")
        status, output, _ = self.explore("--mount", POSITION, "--seeds", "1..20", "--expect", "known.toml",
                                         "--events", "events", "DH0:")
        self.assertEqual((status, self.counts(output)[2:]), (0, [0, 1, 0]))
        self.assertIn("  expected: it counts from 1\n", output)
        events = [json.loads(line) for line in self.content("events").splitlines()]
        self.assertEqual([event["event"] for event in events], ["run", "difference", "explore", "end"])
        run, difference, explore, end = events
        self.assertEqual((run["device"], run["handler"], run["arguments"][0]), ("DH0:", "ram", "explore"))
        self.assertEqual({key: difference[key] for key in ("id", "weight", "expected", "reason")},
                         {"id": "get-file-position-value", "weight": "error", "expected": True,
                          "reason": "it counts from 1"})
        self.assertEqual(len(difference["calls"]), 2)
        self.assertEqual((explore["sequences"], explore["differences"], explore["expected"]), (20, 0, 1))
        self.assertEqual(end["result"], 0)
        self.assertEqual(self.quorle("report", "events")[0], 0)

    def test_traits_are_held_to_an_earlier_file(self):
        arguments = ["--seeds", "1..2", "--traits", "traits"]
        self.assertEqual(self.explore(*arguments, "RAM:")[0], 0)
        before = self.content("traits")
        self.assertIn(b"name-limit 255\n", before)
        self.assertEqual(self.explore(*arguments, "RAM:")[0], 0)
        self.write(before.replace(b"name-limit 255", b"name-limit 30"), "traits")
        status, output, _ = self.explore(*arguments, "RAM:")
        self.assertEqual(status, 10)
        self.assertIn("trait differs from traits: name-limit", output)

    def test_coverage_adds_up(self):
        for _ in range(2):
            self.assertEqual(self.explore("--seeds", "1..5", "--coverage", "cells", "RAM:")[0], 0)
            counts = [int(line.split()[-1]) for line in self.content("cells").decode().splitlines()
                      if line and not line.startswith("#")]
        self.assertTrue(counts)
        self.assertTrue(all(count % 2 == 0 for count in counts))

    def test_wrong_ones_are_one_line(self):
        self.write("[[difference]]\nid = 1\n", "x")
        self.assert_refused('x:2: "id" is no text, or empty', "--expect", "x", "RAM:")
        for option in "--traits", "--coverage":
            self.write(b"\x7fELF\0\n", "x")
            status, output, errors = self.explore("--seeds", "1..1", option, "x", "RAM:")
            self.assertEqual((status, errors.count("\n"), errors.startswith("quorle: x")), (20, 1, True), errors)
        self.assert_refused("cannot read none: No such file or directory", "--choices", "none", "RAM:")
        self.assert_refused("cannot open the event file none/x: No such file or directory", "--events", "none/x", "RAM:")
        self.assert_refused("cannot create the directory x/y: Not a directory", "--out", "x/y", "RAM:")


class Options(ExploreTest):
    def test_wrong_ones_are_one_line(self):
        for words, line in (
                ([], "one device is needed: quorle explore [options] DEVICE"),
                (["RAM:", "NI"], "one device is needed: quorle explore [options] DEVICE"),
                (["--seed", "x", "RAM:"], '--seed: "x" is not a number, 0 to 9223372036854775807'),
                (["--seeds", "5..4", "RAM:"], '--seeds: "5..4" is not a range of seeds such as 1..1000'),
                (["--seconds", "0", "RAM:"], '--seconds: "0" is not a number, 1 to 31536000'),
                (["--shard", "3/2", "RAM:"], '--shard: "3/2" is not one of several shards such as 2/8'),
                (["--calls", "0", "RAM:"], '--calls: "0" is not a number, 1 to 100000'),
                (["--remount", "all", "RAM:"], '--remount: "all" is not known; it is each'),
                (["--out", "", "RAM:"], "--out: it needs a value"),
                (["--seed", "1", "--seeds", "1..2", "RAM:"], "--seed, --seeds and --choices exclude each other"),
                (["--repeat", "2", "RAM:"], "--repeat is not an option; --help lists them"),
                (["NIL:"], '"NIL:" is not a device with a filesystem, such as RAM:')):
            self.assert_refused("explore: " + line, *words)

    def test_help(self):
        status, output, errors = self.explore("--help")
        self.assertEqual((status, errors), (0, ""))
        self.assertIn("Usage: quorle explore [options] DEVICE\n", output)


class Devices(ExploreTest):
    def test_what_is_there_is_left_alone(self):
        os.makedirs(self.path("volume/quorle-explore"))
        self.write("my own", "volume/mine")
        status, output, errors = self.explore("--mount", "DH0=dir:" + self.path("volume"), "--seeds", "1..3", "--calls",
                                              "60", "DH0:")
        self.assertEqual(errors, "")
        self.assertEqual(output.splitlines()[0], 'DH0: is not empty, there is "mine", "quorle-explore"; worked in "quorle-explore-2", '
                         "what is there is left alone")
        self.assertNotIn("is not as it was", output)
        self.assertEqual(sorted(os.listdir(self.path("volume"))), ["mine", "quorle-explore"])
        self.assertEqual(self.content("volume/mine"), b"my own")
        self.assertIn(status, (0, 10))

    def test_a_handler_that_ends_is_started_again(self):
        mount = f"DH0=plugin:{PLUGINS}/rogue_plugin.so,in=FSRename,how=signal"
        status, output, errors = self.explore("--mount", mount, "--seeds", "1..20", "--out", "out", "DH0:")
        self.assertEqual((status, errors), (10, ""))
        self.assertIn("difference rename-ends-handler  (seed ", output)
        self.assertIn("shrunk to 1)\n  1  Rename(", output)
        self.assertIn("  ended by signal 11 (SIGSEGV) in FSRename() (rule: handler-lives)\n", output)
        self.assertEqual(self.counts(output)[0], 20)
        name = self.path("out/difference-rename-ends-handler.calls")
        self.assertEqual(self.quorle("replay", "--mount", mount, name, "DH0:")[0], 10)
        self.assertEqual(self.quorle("replay", name, "RAM:")[0], 0)

    def test_one_that_does_not_come_back_ends_the_search(self):
        mount = f"DH0=plugin:{PLUGINS}/rogue_plugin.so,in=FSRename,how=signal,restart=no"
        status, output, _ = self.explore("--mount", mount, "--seeds", "1..1000", "DH0:")
        self.assertEqual(status, 10)
        self.assertLess(self.counts(output)[0], 1000)

    def test_dates_are_those_of_the_search(self):
        status, output, errors = self.explore("--mount", f"DH0=plugin:{PLUGINS}/ram_plugin.so", "--seeds", "1..5", "DH0:")
        self.assertEqual((status, errors), (0, ""), output)

    def test_a_plugin_that_misbehaves(self):
        """Also what a deviation leaves alone, as record locks, reaches a handler in a process of its own."""
        found = [self.explore("--mount", f"DH0={handler},deviate=position-one-more", "--seeds", "1..5", "DH0:")
                 for handler in ("ram", f"plugin:{PLUGINS}/ram_plugin.so")]
        ids = [sorted({line.split()[1] for line in output.splitlines() if line.startswith("difference ")})
               for _, output, _ in found]
        self.assertIn("get-file-position-value", ids[0])
        self.assertEqual(ids[1], ids[0])
        self.assertEqual([errors for *_, errors in found], ["", ""])

    def test_remounts_and_commands(self):
        os.mkdir(self.path("volume"))
        # Without the key what an earlier mount has made is somebody's data, and stays.
        mount = "DH0=dir:" + self.path("volume") + ",scratch=no"
        arguments = ["--mount", mount, "--seeds", "1..2", "--calls", "10", "--remount", "each"]
        status, output, _ = self.explore(*arguments, "DH0:")
        self.assertEqual((status, self.counts(output)[0]), (0, 2), output)
        self.assertEqual(os.listdir(self.path("volume")), [])
        status, output, _ = self.explore(*arguments, "--after-run", "echo $QUORLE_DEVICE >>said; exit 3", "DH0:")
        self.assertEqual(status, 10)
        self.assertIn('  the command of --after-run exited with status 3 (rule: remount)\n', output)
        self.assertEqual(set(self.content("said").splitlines()), {b"DH0:"})

    def test_an_interrupted_search_reports_what_it_found(self):
        run = subprocess.Popen([QUORLE, "explore", "--mount", POSITION, "--seconds", "200", "DH0:"], cwd=self.folder,
                               stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        run.stdout.readline()
        run.send_signal(signal.SIGINT)
        output, errors = run.communicate(timeout=100)
        self.assertEqual((run.returncode, errors.decode()), (10, "quorle: explore: interrupted\n"))
        self.assertEqual(self.counts(output.decode())[2], 1)


if __name__ == "__main__":
    QUORLE, PLUGINS = sys.argv[1:3]
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
