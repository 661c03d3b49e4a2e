#!/usr/bin/env python3
"""events_test.py QUORLE PLUGINS [TEST...]: runs of the program whose events are read, as another program would
read them. PLUGINS is the folder of the plugins of the self-tests; a TEST is a unittest name."""
import json
import os
import random
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest

QUORLE = PLUGINS = None


def run(*arguments, **how):
    """The run that ended: returncode, stdout and stderr as texts."""
    how.setdefault("stdin", subprocess.DEVNULL)
    return subprocess.run([QUORLE, "--no-delay", *arguments], timeout=100, check=False, text=True,
                          encoding="latin-1", stdout=subprocess.PIPE, stderr=subprocess.PIPE, **how)


class EventsTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.events = self.path("events")

    def path(self, name):
        return os.path.join(self.folder, name)

    def read(self, path=None):
        """The events of a file, each of whose lines must be whole."""
        with open(path or self.events, encoding="utf-8") as file:
            text = file.read()
        self.assertTrue(text.endswith("\n"), text[-200:])
        return [json.loads(line) for line in text.splitlines()]

    def record(self, *arguments):
        self.run_ = run("--events", self.events, *arguments)
        return self.read()

    @staticmethod
    def of(kind, events):
        return [event for event in events if event["event"] == kind]

    def verdicts(self, events):
        """What the checks have come to, those that were not selected left out."""
        return {check["id"]: check["verdict"] for check in self.of("check", events)
                if check.get("why") != "not selected"}

    @staticmethod
    def rogue(keys):
        return ("--mount", f"DH0=plugin:{PLUGINS}/rogue_plugin.so,{keys}", "DH0:")


class Verdicts(EventsTest):
    """What a stream holds."""

    def test_a_run_that_passes(self):
        events = self.record("RAM:")
        self.assertEqual([events[0]["event"], events[1]["event"], events[-1]["event"]], ["run", "target", "end"])
        self.assertEqual(len(self.of("check", events)), events[-1]["checks"]["pass"] + events[-1]["checks"]["skipped"])
        self.assertEqual(len(self.of("group", events)), 47)
        self.assertEqual([group["row"] for group in self.of("group", events)], list(range(1, 48)))
        self.assertEqual(events[-1]["result"], 0)
        self.assertEqual(self.run_.stdout, run("RAM:").stdout, "the console is the same")
        self.assertEqual(self.run_.stderr, "")

    def test_the_first_events_describe_the_run(self):
        events = self.record("--mount", "DH0=ram,port=packet,volume=W\xf6rk", "DH0:", "NI", "TN=34")
        start, target = events[0], events[1]
        self.assertEqual((start["version"], start["device"], start["words"], start["port"], start["handler"]),
                         (1, "DH0:", "NI TN=34", "packet", "ram"))
        self.assertEqual(start["arguments"][-3:], ["DH0:", "NI", "TN=34"])
        self.assertRegex(start["time"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ$")
        self.assertEqual(target["dostype"], "0x444F5309")
        self.assertRegex(target["filesystem"], r"^ram-handler ")

    def test_the_device_is_named_as_the_tester_reads_it(self):
        for words in (["Ram Disk:", "TN=24", "NI"], ["NI", '"Ram Disk:"', "TN", "24"], ["DEVICE=Ram Disk:", "ni", "tn=24"]):
            start = self.record(*words)[0]
            self.assertEqual((start["device"], start["words"], start["port"], start["handler"]),
                             ("Ram Disk:", "NI TN=24", "vector", "ram"), words)

    def test_conditions_hold_for_a_device_with_a_blank(self):
        with open(self.path("q.toml"), "w", encoding="utf-8") as file:
            file.write('[[expect]]\ncheck = "Delete.OpenFile"\nverdict = "fail"\nwhen = { port = "packet" }\nreason = "r"\n')
        mount = ("--mount", "DH0=ram,port=packet,volume=My Disk,deviate=delete-open-file")
        self.assertEqual(run("--expect", self.path("q.toml"), *mount, "DH0:", "TN=10").returncode, 0)
        self.assertEqual(run("--expect", self.path("q.toml"), *mount, "My Disk:", "TN=10").returncode, 0)

    def test_what_a_check_says_is_there_in_full(self):
        events = self.record("--mount", "DH0=ram,deviate=delete-open-file", "DH0:", "TN=10")
        failed = [check for check in self.of("check", events) if check["verdict"] == "fail"]
        self.assertEqual([(check["id"], check["row"], check["number"], check["result"]) for check in failed],
                         [("Delete.OpenFile", 10, 1, 10)])
        self.assertEqual(failed[0]["diagnostics"], [
            {"class": "ERROR", "bold": True, "code": 0,
             "text": 'Delete("FILE01") succeeded, but should have failed, as it was in use.'}])
        self.assertEqual([(group["id"], group["verdict"], group["result"]) for group in self.of("group", events)],
                         [("Delete", "fail", 10)])
        self.assertEqual(events[-1]["result"], 10)

    def test_an_operation_that_is_missing_is_unsupported(self):
        events = self.record("--mount", f"DH0=plugin:{PLUGINS}/lacking_plugin.so,without=26", "DH0:", "TN=34")
        checks = [check for check in self.of("check", events) if check["row"] == 34]
        self.assertEqual({check["verdict"] for check in checks}, {"unsupported"})
        self.assertEqual([check.get("cause") for check in checks[1:]], ["Rename.RenamedFile"] * (len(checks) - 1))

    def test_complaints_name_their_check(self):
        events = self.record(*self.rogue("in=FSUnLock,how=keep"), "TN=24")
        complaints = self.of("complaint", events)
        self.assertTrue(complaints)
        self.assertIn("never freed: a lock", complaints[-1]["text"])
        self.assertEqual(self.run_.returncode, 10)


class Restarts(EventsTest):
    """A handler that ends costs its group at most."""

    def test_the_next_group_gets_another_process(self):
        events = self.record(*self.rogue("in=FSRename,how=signal"), "FTN=34")
        ended = self.of("handler-ended", events)
        self.assertEqual([{k: v for k, v in end.items() if k != "event"} for end in ended], [
            {"id": "Rename.RenamedFile", "call": "FSRename", "how": "signal 11 (SIGSEGV)", "restarted": True}])
        checks = [check for check in self.of("check", events) if check["row"] == 34]
        self.assertEqual([check["verdict"] for check in checks], ["fail"] + ["blocked"] * (len(checks) - 1))
        self.assertEqual({check.get("cause") for check in checks[1:]}, {"Rename.RenamedFile"})
        others = {check["verdict"] for check in self.of("check", events) if check["row"] > 34}
        self.assertEqual(others, {"pass", "skipped"})
        self.assertEqual(self.run_.returncode, 10)

    def test_without_it_every_group_is_blocked(self):
        events = self.record(*self.rogue("in=FSRename,how=signal,restart=no"), "FTN=34")
        checks = [check for check in self.of("check", events) if check["row"] >= 34]
        self.assertEqual([check["verdict"] for check in checks], ["fail"] + ["blocked"] * (len(checks) - 1))
        self.assertEqual([end["restarted"] for end in self.of("handler-ended", events)], [False])

    def test_a_group_that_takes_too_long_is_the_culprit(self):
        events = self.record("--limit", "1", *self.rogue("in=FSSetProtection,how=slow"), "TN=34")
        self.assertIn("took more than 1 second", self.run_.stderr)
        ended = self.of("handler-ended", events)
        self.assertEqual(len(ended), 1)
        self.assertEqual((ended[0]["how"], ended[0]["restarted"]), ("took more than 1 second", True))
        verdicts = self.verdicts(events)
        self.assertEqual(verdicts[ended[0]["id"]], "fail")


class Selections(EventsTest):
    """--select and --skip."""

    def test_the_console_speaks_of_what_was_selected_alone(self):
        events = self.record("--select", "Delete.OpenFile,Lock", "RAM:")
        self.assertRegex(self.run_.stdout, r"\]\n\n\x1b\[0mDelete\(\) tests passed\.\nLock\(\) tests passed\.\n\n$")
        self.assertEqual([group["id"] for group in self.of("group", events)], ["Delete", "Lock"])
        self.assertEqual([id for id in self.verdicts(events) if id.startswith("Delete")], ["Delete.OpenFile"])

    def test_skip_leaves_out(self):
        events = self.record("--skip", "Lock,*.RootDirectory", "RAM:")
        verdicts = self.verdicts(events)
        self.assertFalse([id for id in verdicts if id.startswith("Lock.") or id.endswith(".RootDirectory")])
        self.assertEqual(verdicts["Delete.OpenFile"], "pass")
        self.assertNotIn("\nLock() tests", self.run_.stdout)

    def test_beside_numbers_of_tests(self):
        events = self.record("--select", "*.RootDirectory", "RAM:", "TN=38")
        self.assertEqual(list(self.verdicts(events)), ["SetComment.RootDirectory"])
        nothing = run("--select", "Lock", "RAM:", "TN=38")
        self.assertEqual(nothing.returncode, 20)
        self.assertEqual(nothing.stderr, "quorle: none of the selected checks is in the selected tests: nothing was run\n")

    def test_a_pattern_that_fits_nothing(self):
        refused = run("--select", "Lock.MisingObject", "RAM:")
        self.assertEqual((refused.returncode, refused.stdout), (20, ""))
        self.assertEqual(refused.stderr,
                         'quorle: --select: no check is named "Lock.MisingObject"; is it Lock.MissingObject?\n')


class Failed(EventsTest):
    """--failed."""

    def test_what_failed_runs_again(self):
        mount = ("--mount", "DH0=ram,deviate=delete-open-file", "DH0:")
        self.record(*mount)
        again = self.path("again")
        said = run("--failed", self.events, "--events", again, *mount)
        self.assertEqual(said.returncode, 10)
        self.assertEqual(self.verdicts(self.read(again)), {"Delete.OpenFile": "fail"})

    def test_into_the_same_file(self):
        mount = ("--mount", "DH0=ram,deviate=delete-open-file", "DH0:")
        self.record(*mount)
        run("--failed", self.events, "--events", self.events, *mount)
        self.assertEqual(self.verdicts(self.read()), {"Delete.OpenFile": "fail"})

    def test_nothing_failed(self):
        self.record("RAM:", "TN=24")
        said = run("--failed", self.events, "RAM:")
        self.assertEqual((said.returncode, said.stdout), (0, ""))
        self.assertEqual(said.stderr, f"quorle: {self.events}: every check was as expected; there is nothing to run\n")

    def test_of_a_run_that_was_cut_off_the_rest_runs(self):
        lines = [json.dumps(event) for event in self.record("RAM:")]
        with open(self.events, "w", encoding="utf-8") as file:
            file.write("\n".join(lines[:100]) + '\n{"eve')
        seen = set(self.verdicts([json.loads(line) for line in lines[:100]]))
        again = self.path("again")
        run("--failed", self.events, "--events", again, "RAM:")
        rest = set(self.verdicts(self.read(again)))
        self.assertTrue(rest)
        self.assertFalse(rest & seen)

    def test_of_a_run_that_was_refused_everything_runs(self):
        self.record("NOWHERE:")
        again = self.path("again")
        said = run("--failed", self.events, "--events", again, "RAM:")
        self.assertEqual((said.returncode, said.stderr), (0, ""))
        self.assertEqual(len(self.of("group", self.read(again))), 33, "the rows with checks")

    def test_checks_of_another_version(self):
        start = {"event": "run", "version": 1}
        foreign = {"event": "check", "id": "Lock.Elsewhere", "verdict": "fail"}
        known = {"event": "check", "id": "Lock.MissingObject", "verdict": "fail"}
        line = f"quorle: {self.events}: this program has no check Lock.Elsewhere\n"
        for checks, status in (([foreign], 20), ([foreign, known], 0)):
            with open(self.events, "w", encoding="utf-8") as file:
                for event in (start, *checks, {"event": "end"}):
                    file.write(json.dumps(event) + "\n")
            said = run("--failed", self.events, "RAM:")
            self.assertEqual((said.returncode, said.stderr), (status, line))
            self.assertEqual(said.stdout == "", status == 20)

    def test_a_file_that_is_none(self):
        with open(self.events, "w", encoding="utf-8") as file:
            file.write("hello\n")
        said = run("--failed", self.events, "RAM:")
        self.assertEqual((said.returncode, said.stdout), (20, ""))
        self.assertEqual(said.stderr, f"quorle: {self.events}:1: no event: it is no JSON\n")


class Repeats(EventsTest):
    """--repeat."""

    def test_runs_follow_each_other_in_one_stream(self):
        events = self.record("--repeat", "3", "RAM:", "TN=24")
        self.assertEqual([event.get("repeat", 1) for event in self.of("run", events)], [1, 2, 3])
        self.assertEqual(len(self.of("end", events)), 3)
        self.assertEqual((self.run_.returncode, self.run_.stderr), (0, ""))
        self.assertEqual(self.run_.stdout, 3 * run("RAM:", "TN=24").stdout)

    def test_a_check_that_passes_and_fails_is_flaky(self):
        turns = self.path("turns")
        said = run("--repeat", "4", *self.rogue(f"turns={turns},in=FSRename,how=signal"), "TN=34")
        self.assertEqual(said.returncode, 10)
        flaky = said.stderr[said.stderr.index("flaky"):]
        self.assertTrue(flaky.startswith("flaky: Rename.RenamedFile\n  2 of 4 runs: pass\n  2 of 4 runs: fail: "), flaky)
        self.assertEqual(flaky.count("flaky: "), 6, "the rest of its group is blocked in two runs")

    def test_a_run_that_fails_each_time_is_not(self):
        said = run("--repeat", "2", "--mount", "DH0=ram,deviate=delete-open-file", "DH0:", "TN=10")
        self.assertEqual((said.returncode, said.stderr), (10, ""))

    def test_bad_numbers(self):
        for number in ("0", "-1", "x", "1000001"):
            said = run("--repeat", number, "RAM:")
            self.assertEqual((said.returncode, said.stdout), (20, ""))
            self.assertEqual(said.stderr, f'quorle: --repeat: "{number}" is not a number of runs, 1 to 1000000\n')
        said = run("--repeat", "2", "--trace", self.path("trace"), "RAM:")
        self.assertEqual((said.returncode, said.stderr),
                         (20, "quorle: --trace is of one run: it excludes --repeat\n"))


class ExitStatus(EventsTest):
    """What the exit status says beside the result of the tester."""

    def test_an_object_that_is_left_behind(self):
        events = self.record("--mount", "DH0=ram,deviate=delete-refused", "DH0:", "TN=22")
        self.assertEqual((self.run_.returncode, events[-1]["result"]), (10, 0), "the tester does not mind")
        left = self.of("left-behind", events)
        self.assertEqual({event["id"] for event in left}, {"GetFileSize.SizeAfterWrite", "GetFileSize.SizeAfterAppending"})
        self.assertEqual(left[0]["object"], "FILE01")
        self.assertIn('test left the object "FILE01" behind', self.run_.stdout)

    def test_a_refused_run(self):
        events = self.record("NOWHERE:")
        self.assertEqual(self.run_.returncode, 20)
        self.assertEqual([event["event"] for event in events], ["run", "end"])
        self.assertEqual(events[-1]["result"], 20)

    def test_an_interrupted_run(self):
        process = subprocess.Popen([QUORLE, "--events", self.events, "RAM:"], stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL)
        # Its first event: from then on the signal is the tester's, who waits half a second before his first test.
        deadline = time.monotonic() + 60
        while not (os.path.exists(self.events) and os.path.getsize(self.events)) and time.monotonic() < deadline:
            time.sleep(0.01)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(timeout=60), 10)
        checks = self.of("check", self.read())
        self.assertEqual(checks[-1].get("why"), "the run ended")


class Expected(EventsTest):
    """--expect and --bless of a whole run."""

    def test_a_surprise_pass_shows_the_entry_to_delete(self):
        entry = '[[expect]]\ncheck = "Lock.MissingObject"\nverdict = "fail"\nreason = "issue 12"\n'
        with open(self.path("q.toml"), "w", encoding="utf-8") as file:
            file.write("# Mine.\n" + entry)
        said = run("--expect", "q.toml", "RAM:", "TN=24", cwd=self.folder)
        self.assertEqual(said.returncode, 10)
        shown = "".join(f"    {line}\n" for line in entry.splitlines())
        self.assertEqual(said.stderr,
                         "Lock.MissingObject: pass\n"
                         "    passed, where q.toml:2 expects fail (issue 12); the entry to delete:\n" + shown +
                         "quorle: the run is not as q.toml says; --summary shows where\n")

    def test_a_file_of_expectations_does_not_make_up_for_what_is_lost(self):
        for option in ("--events", "--trace"):
            said = run(option, "/dev/full", "--bless", self.path("q.toml"), "RAM:", "TN=24")
            self.assertEqual(said.returncode, 10, option)


class Screens(EventsTest):
    """What people see on standard error."""

    def on_terminal(self, *arguments, **environment):
        """What the program sent to a terminal as its standard error; its output is elsewhere."""
        primary, secondary = os.openpty()
        with subprocess.Popen([QUORLE, "--no-delay", *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                              stderr=secondary, env={**os.environ, **environment}) as process:
            os.close(secondary)
            errors = b""
            while True:
                try:
                    errors += os.read(primary, 65536)
                except OSError:  # nobody has it open any more
                    break
        os.close(primary)
        return errors.decode().replace("\r\n", "\n")

    def test_a_run_on_a_terminal_ends_with_a_summary(self):
        text = self.on_terminal("--mount", "DH0=ram,deviate=delete-open-file", "DH0:", "TN=10")
        self.assertTrue(text.startswith("108 checks: "), text)
        self.assertIn("\x1b[1;31mDelete.OpenFile\x1b[0m: fail\n", text)
        self.assertIn("quorle --select Delete.OpenFile --no-delay --mount DH0=ram,deviate=delete-open-file DH0:", text)
        plain = self.on_terminal("--mount", "DH0=ram,deviate=delete-open-file", "DH0:", "TN=10", NO_COLOR="1")
        self.assertIn("\nDelete.OpenFile: fail\n", plain)
        self.assertNotIn("\x1b", plain)

    def test_the_command_of_the_summary_runs_the_check_alone(self):
        text = self.on_terminal("--mount", "DH0=ram,deviate=delete-open-file", "DH0:", NO_COLOR="1")
        command = re.search(r"^    quorle (.*)$", text, re.M)[1].split()
        events = self.record(*command)
        self.assertEqual(self.verdicts(events), {"Delete.OpenFile": "fail"})

    def test_options_decide(self):
        self.assertEqual(self.on_terminal("--no-summary", "RAM:"), "")
        self.assertEqual(run("RAM:").stderr, "")
        self.assertTrue(run("--summary", "RAM:").stderr.startswith("108 checks: "))
        both = run("--summary", "--no-summary", "RAM:")
        self.assertEqual((both.returncode, both.stderr), (20, "quorle: --summary and --no-summary exclude each other\n"))

    def test_a_run_that_takes_long_shows_where_it_is(self):
        slow = self.on_terminal("--no-summary", *self.rogue("in=FSSetProtection,how=slow"), "FTN=41")
        shown = re.findall(r"\r\x1b\[K(test \d+ \([\w.]+\))", slow)
        self.assertTrue(shown, slow)
        self.assertTrue(slow.endswith("\r\x1b[K"), "it is gone in the end")
        self.assertEqual(self.on_terminal("--no-summary", "RAM:"), "", "a short run shows nothing")


    def test_a_check_that_takes_long_is_shown_while_it_runs(self):
        # The only check of its group: it was there before the run took a second.
        stopped = self.on_terminal("--no-summary", *self.rogue("in=FSChangeLockMode,how=stopped"), "TN=2")
        self.assertIn("\r\x1b[Ktest 2 (ChangeLockMode.ExclusiveOnlyWhenAlone)", stopped)


class Catalogues(EventsTest):
    """--catalogue: which list of tests is run."""
    LOSES_LAST = ("--mount", "DH0=ram,deviate=scan-loses-last", "DH0:")
    NOTICES = ["Further.ExamineDir.HundredEntries", "Further.ExamineDir.ThousandsOfEntries",
               "Further.ExamineDir.DeletedDuringTheScan", "Further.ExamineDir.WalkThroughATree",
               "Further.ExamineDir.TwoScansAtOnce", "Further.ExamineDir.LinkIsShownAsLink"]

    def failed(self, events):
        return [check for check, verdict in self.verdicts(events).items() if verdict == "fail"]

    def test_without_the_option_the_47_are_run(self):
        events = self.record(*self.LOSES_LAST)
        self.assertEqual(self.run_.returncode, 0)
        self.assertNotIn("catalogue", self.of("run", events)[0])
        self.assertEqual({check["catalogue"] for check in self.of("check", events)}, {"standard"})

    def test_the_further_ones_have_numbers_of_their_own(self):
        events = self.record("--catalogue", "further", *self.LOSES_LAST, "TN=1")
        self.assertEqual(self.run_.returncode, 10)
        self.assertEqual(self.of("run", events)[0]["catalogue"], "further")
        self.assertEqual({check["catalogue"] for check in self.of("check", events)}, {"further"})
        self.assertEqual(self.of("group", events)[0]["id"], "Further.ExamineDir")
        self.assertEqual(self.failed(events), self.NOTICES)

    def test_all_are_two_runs_in_one_stream(self):
        events = self.record("--catalogue", "all", "--summary", *self.LOSES_LAST)
        self.assertEqual(self.run_.returncode, 10)
        self.assertEqual([event.get("catalogue") for event in self.of("run", events)], [None, "further"])
        self.assertEqual([event["result"] for event in self.of("end", events)], [0, 10])
        self.assertEqual(self.run_.stdout.count("Starting tests for Device Name= DH0:"), 2)
        # A summary for each.
        self.assertIn("108 checks: 107 passed, 1 skipped\n", self.run_.stderr)
        self.assertIn("\nFurther.ExamineDir.HundredEntries: fail\n", self.run_.stderr)

    def test_what_is_selected_decides_which_are_run(self):
        events = self.record("--catalogue", "all", "--select", "Further.ExamineDir.E*", "RAM:")
        self.assertEqual(len(self.of("run", events)), 1)
        self.assertEqual(self.verdicts(events), {"Further.ExamineDir.EmptyDirectory": "pass"})
        events = self.record("--catalogue", "all", "--select", "Lock,Further.ExamineDir.E*", "RAM:")
        self.assertEqual(len(self.of("run", events)), 2)

    def test_a_check_of_the_other_catalogue(self):
        outcome = run("--select", "Further.ExamineDir", "RAM:")
        self.assertEqual((outcome.returncode, outcome.stderr),
                         (20, 'quorle: --select: no check is named "Further.ExamineDir"; --catalogue all has it\n'))

    def test_what_failed_runs_again_in_its_catalogue(self):
        self.record("--catalogue", "all", "--skip", "Further.Refusals", *self.LOSES_LAST)
        events = self.record("--catalogue", "all", "--failed", self.events, *self.LOSES_LAST)
        self.assertEqual(len(self.of("run", events)), 1)
        self.assertEqual(list(self.verdicts(events)), self.NOTICES)

    def test_one_file_of_expectations_is_for_both(self):
        expected = self.path("expected.toml")
        known = ("--skip", "Further.Refusals", *self.LOSES_LAST)
        outcome = run("--catalogue", "all", "--bless", expected, *known)
        self.assertEqual(outcome.returncode, 0)
        with open(expected, encoding="utf-8") as file:
            text = file.read()
        self.assertEqual(re.findall('check = "(.*)"', text), self.NOTICES)
        with open(expected, "w", encoding="utf-8") as file:
            file.write(text.replace("TODO", "known"))
        for catalogue in ("standard", "further", "all"):
            words = known if catalogue != "standard" else self.LOSES_LAST
            outcome = run("--catalogue", catalogue, "--expect", expected, *words)
            self.assertEqual((outcome.returncode, outcome.stderr), (0, ""), catalogue)

    def test_reports_and_comparisons_take_both(self):
        self.record("--catalogue", "all", *self.LOSES_LAST)
        report = subprocess.run([QUORLE, "report", self.events], stdout=subprocess.PIPE, text=True, check=False)
        self.assertIn("vector port, further catalogue)", report.stdout)
        good = self.path("good")
        run("--catalogue", "all", "--events", good, "--mount", "DH0=ram", "DH0:")
        compare = subprocess.run([QUORLE, "compare", good, self.events], stdout=subprocess.PIPE, text=True, check=False)
        self.assertEqual(compare.returncode, 10)
        for check in self.NOTICES:
            self.assertIn(check, compare.stdout)

    def test_runs_that_are_repeated_are_compared_within_their_catalogue(self):
        outcome = run("--catalogue", "all", "--repeat", "2", "--mount", "DH0=ram", "DH0:")
        self.assertEqual((outcome.returncode, outcome.stderr), (0, ""))


class Destinations(EventsTest):
    """Where events go."""

    def test_a_descriptor(self):
        read_end, write_end = os.pipe()
        said = run("--events", f"fd:{write_end}", "RAM:", "TN=24", pass_fds=[write_end])
        os.close(write_end)
        with os.fdopen(read_end, encoding="utf-8") as file:
            events = [json.loads(line) for line in file]
        self.assertEqual((said.returncode, events[-1]["event"]), (0, "end"))

    def test_standard_error(self):
        said = run("--events", "fd:2", "RAM:", "TN=24")
        self.assertEqual(json.loads(said.stderr.splitlines()[0])["event"], "run")

    def test_what_is_no_descriptor_for_events(self):
        for name in ("fd:", "fd:x", "fd:0", "fd:1", "fd:-3", "fd:99999999999"):
            said = run("--events", name, "RAM:")
            self.assertEqual((said.returncode, said.stdout), (20, ""), name)
            self.assertEqual(said.stderr, f'quorle: --events: "{name}" is no descriptor for events: '
                                          "a number from 2, since 1 is the tester's own\n")
        said = run("--events", "fd:77", "RAM:")
        self.assertEqual((said.returncode, said.stdout, said.stderr),
                         (20, "", "quorle: cannot write to descriptor 77: Bad file descriptor\n"))
        with open(os.devnull, "rb") as source:
            number = source.fileno()
            said = run("--events", f"fd:{number}", "RAM:", pass_fds=[number])
        self.assertEqual(said.stderr, f"quorle: descriptor {number} is not open for writing\n")

    def test_a_missing_folder(self):
        said = run("--events", self.path("none/events"), "RAM:")
        self.assertEqual((said.returncode, said.stdout), (20, ""))
        self.assertEqual(said.stderr, f"quorle: cannot open the event file {self.path('none/events')}: "
                                      "No such file or directory\n")

    def test_a_full_disk(self):
        said = run("--events", "/dev/full", "RAM:", "TN=24")
        self.assertEqual(said.returncode, 10)
        self.assertEqual(said.stderr, "quorle: the events end here, their file cannot be written: "
                                      "No space left on device\n")
        self.assertEqual(said.stdout, run("RAM:", "TN=24").stdout)

    def test_a_wrong_mount_leaves_an_older_file_alone(self):
        with open(self.events, "w", encoding="utf-8") as file:
            file.write("older")
        said = run("--events", self.events, "--mount", "DH0=nothing", "DH0:")
        self.assertEqual(said.returncode, 20)
        with open(self.events, encoding="utf-8") as file:
            self.assertEqual(file.read(), "older")


class Lists(EventsTest):
    """--list-checks."""

    def test_every_check_has_its_line(self):
        said = run("--list-checks")
        rows = [line.split("\t") for line in said.stdout.splitlines()]
        checks = self.of("check", self.record("--catalogue", "all", "RAM:"))
        self.assertEqual([(row[0], row[1], int(row[2]), int(row[3])) for row in rows],
                         [(check["id"], check["catalogue"], check["row"], check["number"]) for check in checks])
        for catalogue in ("standard", "further"):
            of_catalogue = [row for row in rows if row[1] == catalogue]
            listed = run("--catalogue", catalogue).stdout.replace("\r", "")
            titles = dict(re.findall(r"^ *(\d+):   (.*)$", listed, re.M))
            self.assertEqual({row[2]: row[4] for row in of_catalogue}, {row[2]: titles[row[2]] for row in of_catalogue})


class Killed(EventsTest):
    """A run that is killed at any instant leaves every finished check in its stream."""

    def check_readers(self, events, lines):
        """Every reader takes what a killed run has left."""
        for words in (["report", "--summary"], ["report", "--tap"], ["report", "--junit"], ["report", "--markdown"],
                      ["report", "--html"], ["compare", self.events]):
            said = subprocess.run([QUORLE, *words, self.events], capture_output=True, check=False, timeout=60)
            if lines == 0:
                self.assertEqual((said.returncode, said.stderr),
                                 (20, f"quorle: {self.events}: it holds no run\n".encode()))
                continue
            self.assertEqual((said.returncode, said.stderr), (0, b""), words)
            if words == ["report", "--summary"] and events[-1]["event"] != "end":
                self.assertIn(b"the run was cut off ", said.stdout)

    def test_killed_at_random_instants(self):
        seed = 20261122
        chance = random.Random(seed)
        console = self.path("console")
        # How long a run takes changes with what else the machine does: where a run is at its end before it is killed
        # the next ones are killed sooner, else later. A run that is killed before it begins its stream leaves no
        # file: the file of the run before it must not be taken for it.
        began = time.monotonic()
        events = self.record("RAM:")
        whole = time.monotonic() - began
        torn = cut = unbegun = 0
        all_checks = {}
        for check in self.of("check", events):
            all_checks.setdefault(check["id"].split(".")[0], set()).add(check["id"])
        for number in range(int(os.environ.get("QUORLE_KILLED_RUNS", "300"))):
            os.remove(self.events)
            with open(console, "wb") as output:
                process = subprocess.Popen([QUORLE, "--no-delay", "--events", self.events, "RAM:"],
                                           stdin=subprocess.DEVNULL, stdout=output)
                time.sleep(chance.uniform(0, whole))
                process.kill()
                process.wait()
            with open(self.events, "ab+") as file:
                unbegun += file.seek(0, os.SEEK_END) == 0
                file.seek(0)
                *lines, rest = file.read().split(b"\n")
            torn += rest != b""
            events = [json.loads(line) for line in lines]
            was_cut = not events or events[-1]["event"] != "end"
            cut += was_cut
            whole *= 1.02 if was_cut else 0.96
            seen = set(self.verdicts(events))
            with open(console, encoding="latin-1") as file:
                finished = re.findall(r"^(?:\x1b\[0m)?(\w+)\(\) tests passed\.$", file.read(), re.M)
            for group in finished:
                self.assertLessEqual(all_checks[group], seen, f"run {number}, seed {seed}")
            if number % 20 == 0:
                self.check_readers(events, len(lines))
        print(f"{number + 1} runs killed: {cut} cut off, {unbegun} of them before their first line, "
              f"{torn} with a torn line")
        self.assertGreater(cut - unbegun, number // 20, "so many runs were killed in their midst")


if __name__ == "__main__":
    QUORLE, PLUGINS = (os.path.abspath(path) for path in sys.argv[1:3])
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
