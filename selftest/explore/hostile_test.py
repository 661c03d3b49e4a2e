#!/usr/bin/env python3
"""hostile_test.py QUORLE PLUGINS [TEST...]: `quorle explore` over handlers that crash, hang, lie or forget, over
volumes that are full or somebody's, and runs that are interrupted or killed. QUORLE_KILLS says how many."""
import os
import random
import re
import signal
import subprocess
import sys
import time
import unittest

import explore_test
from explore_test import ExploreTest

DIFFERENCE = re.compile(r"^difference (\S+)  \(seed \d+, \d+ calls, shrunk to (\d+)", re.MULTILINE)


class HostileTest(ExploreTest):
    def plugin(self, name, keys):
        return f"DH0=plugin:{explore_test.PLUGINS}/{name}.so,{keys}"

    def rogue(self, keys):
        return self.plugin("rogue_plugin", keys)

    def differences(self, output):
        """The ids, and to how many calls each was shrunk."""
        return {id: int(calls) for id, calls in DIFFERENCE.findall(output)}

    def assert_replays(self, mount, id):
        """The file of a difference shows it, and shows nothing over RAM:."""
        name = f"out/difference-{id}.calls"
        self.assertEqual(self.quorle("replay", "--mount", mount, name, "DH0:")[0], 10, name)
        self.assertEqual(self.quorle("replay", name, "RAM:")[0], 0, name)


class Hostile(HostileTest):
    def assert_ends(self, keys, how, seeds="1..3", id=None, replays=True):
        """A search over a handler that ends finds that and nothing else. One that counts its calls ends elsewhere in
        a replay, which makes others."""
        mount = self.rogue(keys)
        status, output, errors = self.explore("--mount", mount, "--seeds", seeds, "--out", "out", "DH0:")
        self.assertEqual((status, errors), (10, ""), output)
        found = self.differences(output)
        # One that counts its calls may end behind another one of ours in each sequence.
        self.assertTrue(len(found) == 1 or found and not replays, output)
        for found_id, calls in found.items():
            self.assertRegex(found_id, id or "-ends-handler$")
            self.assertLessEqual(calls, 8)
        self.assertIn(f"  {how} (rule: handler-lives)\n", output)
        self.assertEqual(self.counts(output)[0], 3)
        if replays:
            self.assert_replays(mount, found_id)

    def test_a_crash(self):
        self.assert_ends("in=FSRename,how=signal", "ended by signal 11 (SIGSEGV) in FSRename()", id="^rename-ends-handler$")

    def test_a_crash_in_what_many_calls_need(self):
        self.assert_ends("in=FSLock,how=signal,at=7", "ended by signal 11 (SIGSEGV) in FSLock()", replays=False)

    def test_a_crash_where_something_is_given_back(self):
        self.assert_ends("in=FSUnLock,how=signal,at=9", "ended by signal 11 (SIGSEGV) in FSUnLock()", replays=False)

    def test_an_exit_while_the_traits_are_found(self):
        # What it ended on is no trait.
        self.assert_ends("in=FSSetComment,how=exit", "exited with status 3 in FSSetComment()")

    def test_a_hang(self):
        self.assert_ends("in=FSRename,how=hang,limit=1", "did not answer within 1 second in FSRename()",
                         id="^rename-ends-handler$")

    def test_nonsense_in_place_of_an_answer(self):
        for how in "garbage", "zeroes", "length", "short", "number":
            self.assert_ends(f"in=FSLock,how={how},at=5", "gave a reply without shape in FSLock()", replays=False)

    def test_a_handler_that_asks_without_end(self):
        self.assert_ends("in=FSDelete,how=ask,limit=1", "did not answer within 1 second in FSDelete()")

    def test_lies(self):
        for keys in "in=FSRead,how=more", "in=FSWrite,how=more":
            for isolate in "", ",isolate=no":
                mount = self.rogue(keys + isolate)
                status, output, _ = self.explore("--mount", mount, "--seeds", "1..3", "--out", "out", "DH0:")
                self.assertEqual(status, 10, output)
                found = self.differences(output)
                self.assertTrue(found, output)
                self.assertLessEqual(max(found.values()), 8, output)
                # A tree of a file of calls is not read as far as that of a search.
                self.assertIn(10, [self.quorle("replay", "--mount", mount, f"out/difference-{id}.calls", "DH0:")[0]
                                   for id in found])

    def test_scans_without_an_end(self):
        for how in "again", "fresh":
            for isolate in "", ",isolate=no":
                mount = self.rogue(f"in=FSExamineDir,how={how}{isolate}")
                status, output, _ = self.explore("--mount", mount, "--seeds", "1..10", "--out", "out", "DH0:")
                self.assertEqual((status, self.counts(output)[0]), (10, 10), output)
                found = self.differences(output)
                self.assertEqual(found.get("open-tree-left"), 1, output)
                self.assert_replays(mount, "open-tree-left")

    def test_a_handler_that_forgets_what_was_there(self):
        mount = self.plugin("image_plugin", "image=" + self.path("image") + ",lose=content")
        status, output, _ = self.explore("--mount", mount, "--seed", "1", "--remount", "each", "--out", "out", "DH0:")
        self.assertEqual(status, 10)
        found = self.differences(output)
        self.assertLessEqual(found.get("remount-size", 99), 8, output)
        self.assert_replays(mount, "remount-size")

    @unittest.skipIf("QUORLE_SANITIZE" in os.environ, "a sanitizer has a line of its own")
    def test_a_crash_in_the_program_itself_says_in_which_sequence(self):
        mount = self.rogue("in=FSRename,how=crash,isolate=no")
        status, output, errors = self.explore("--mount", mount, "--seeds", "1..20", "DH0:")
        self.assertEqual(status, -signal.SIGSEGV, output)
        self.assertRegex(errors, r"\Aquorle: DH0: the program crashed, seed \d+; a handler in its own process is its end, "
                         r"without isolate=no that is a difference\n\Z")
        seed = re.search(r"seed (\d+)", errors).group(1)
        mount = mount.replace(",isolate=no", "")
        self.assertIn("rename-ends-handler", self.differences(self.explore("--mount", mount, "--seed", seed, "DH0:")[1]))

    def test_a_hang_in_the_program_itself_says_in_which_sequence(self):
        mount = self.rogue("in=FSRename,how=hang,isolate=no")
        status, _, errors = self.explore("--mount", mount, "--limit", "1", "--seeds", "1..20", "DH0:")
        self.assertEqual(status, 20)
        self.assertRegex(errors, r"\Aquorle: DH0: the handler did not return within \d seconds?, seed \d+; "
                         r"it is in the tester's own process, which ends\n\Z")


class Volumes(HostileTest):
    def test_a_full_one_is_no_difference(self):
        for size in 8192, 40960, 131072:
            status, output, errors = self.explore("--mount", f"DH0=ram,size={size}", "--seeds", "1..100", "DH0:")
            self.assertEqual((status, errors), (0, ""), output)
            self.assertEqual(self.counts(output)[0], 100)
            self.assertNotIn("-limit", output)

    def test_what_cannot_be_worked_on_is_refused(self):
        self.assert_refused("explore: no file can be made in DH0:, error 221", "--mount", "DH0=ram,size=4096", "DH0:")
        self.assert_refused("explore: no file can be made in DH0:, error 214", "--mount",
                            "DH0=ram,state=write-protected", "DH0:")

    def test_somebodys_objects_are_looked_at(self):
        os.mkdir(self.path("volume"))
        self.write("my own", "volume/mine")
        arguments = ["--mount", "DH0=dir:" + self.path("volume") + ",scratch=no", "--seeds", "1..1", "--calls", "3", "DH0:"]
        status, output, errors = self.explore("--after-run", "true", *arguments)
        self.assertEqual((status, errors), (0, ""), output)
        for command, line in (("echo more >>volume/mine", "mine has "), ("rm volume/mine", "mine is missing"),
                              ("echo >volume/other", "other is new")):
            status, output, _ = self.explore("--after-run", command, *arguments)
            self.assertEqual(status, 10)
            self.assertIn("DH0: is not as it was: " + line, output)
            self.write("my own", "volume/mine")

    def test_what_is_there_is_named(self):
        os.makedirs(self.path("volume/quorle-explore"))
        for i in range(30):
            self.write("", f"volume/f{i:02}")
        output = self.explore("--mount", "DH0=dir:" + self.path("volume"), "--seeds", "1..1", "--calls", "1", "DH0:")[1]
        names = ", ".join(f'"f{i:02}"' for i in range(20))
        self.assertEqual(output.splitlines()[0], f'DH0: is not empty, there is {names} and 11 more; '
                         'worked in "quorle-explore-2", what is there is left alone')


class Signals(HostileTest):
    def setUp(self):
        super().setUp()
        os.mkdir(self.path("volume"))

    def start(self, mount):
        return subprocess.Popen([explore_test.QUORLE, "explore", "--mount", mount, "--seconds", "200", "DH0:"],
                                cwd=self.folder, env={**os.environ, "XDG_STATE_HOME": self.path("state")},
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def test_what_was_found_is_reported(self):
        for mount in "DH0=dir:" + self.path("volume") + ",deviate=position-one-more", \
                     self.rogue("in=FSRename,how=signal"):
            for number in signal.SIGINT, signal.SIGTERM, signal.SIGHUP:
                run = self.start(mount)
                for line in run.stdout:
                    if line.startswith(b"difference "):
                        break
                run.send_signal(number)
                output, errors = run.communicate(timeout=100)
                self.assertEqual((run.returncode, errors.decode()), (10, "quorle: explore: interrupted\n"))
                self.assertGreaterEqual(self.counts(output.decode())[2], 1)
                self.assertEqual(os.listdir(self.path("volume")), [])

    def left(self):
        return {os.path.relpath(os.path.join(folder, name), self.path("volume"))
                for folder, folders, files in os.walk(self.path("volume")) for name in folders + files}

    def others(self):
        """Without what has a name of the handler's own: it was just being made or removed."""
        return {name for name in self.left()
                if not name.rsplit("/", 1)[-1].startswith(".quorle") and name != "mine"}

    def test_what_a_killed_one_leaves_is_named(self):
        mount = "DH0=dir:" + self.path("volume") + ",metadata=file"
        moments = random.Random(1)
        kills = int(os.environ.get("QUORLE_KILLS", "20"))
        left_something = 0
        for kill in range(kills):
            own = kill % 2 != 0
            if own:
                self.write("my own", "volume/mine")
            run = self.start(mount)
            run.stdout.readline()  # it works by now
            time.sleep(moments.random() / 2)
            run.kill()
            run.communicate()
            left = self.others()
            left_something += bool(left)
            next_run = subprocess.run([explore_test.QUORLE, "explore", "--mount", mount, "--seeds", "1..1", "--calls", "1",
                                       "DH0:"], check=False, cwd=self.folder, timeout=250, capture_output=True,
                                      env={**os.environ, "XDG_STATE_HOME": self.path("state")})
            said = (next_run.stdout + next_run.stderr).decode(errors="replace")
            for name in left:
                # What was just being made has a name of the handler's own.
                shown = name.rsplit("/", 1)[-1]
                self.assertTrue(shown in said or " more" in said, f"{name} left, and not named in {said}")
            for name in self.others():
                if os.path.lexists(self.path("volume/" + name)):
                    self.assertIn(name, said)
                    subprocess.run(["rm", "-rf", self.path("volume/" + name)], check=True)
            if own:
                self.assertEqual(self.content("volume/mine"), b"my own")
                os.remove(self.path("volume/mine"))
        self.assertGreater(left_something, 0)


class Torn(HostileTest):
    def test_files_are_refused_and_left_as_they_are(self):
        self.assertEqual(self.explore("--seeds", "1..2", "--coverage", "cells", "--traits", "traits", "RAM:")[0], 0)
        cells, traits = self.content("cells"), self.content("traits")
        calls = b"quorle-calls 1\nCreateDir(\"a\") => l1\n"
        for option, whole in ("--coverage", cells), ("--traits", traits), ("replay", calls):
            lines = whole.count(b"\n")
            for torn, line in ((whole[:-1], lines), (whole[:-2], lines), (b"\xff\0" + whole, 1), (whole + b"\x1b[2J\n", lines + 1),
                               (whole + b"x" * 100000 + b"\n", lines + 1)):
                if option == "replay" and torn == whole[:-1]:
                    continue  # a person may have left it out
                self.write(torn, "x")
                words = ["replay", "x", "RAM:"] if option == "replay" else ["explore", "--seeds", "1..1", option, "x", "RAM:"]
                status, _, errors = self.quorle(*words)
                self.assertEqual((status, errors.count("\n")), (20, 1), errors)
                self.assertRegex(errors, rf"\Aquorle: x:( line )?{line}: [ -~]+\n\Z")
                self.assertLess(len(errors), 300)
                self.assertEqual(self.content("x"), torn)
                self.assertEqual([name for name in os.listdir(self.folder) if name not in ("x", "cells", "traits")], [])


if __name__ == "__main__":
    explore_test.QUORLE, explore_test.PLUGINS = sys.argv[1:3]
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
