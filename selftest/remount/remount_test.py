#!/usr/bin/env python3
"""remount_test.py QUORLE PLUGINS SOURCES [TEST...]: runs of the program that mount the device again between the
groups. PLUGINS is the folder of the plugins of the self-tests, SOURCES this one; a TEST is a unittest name."""
import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest

QUORLE = PLUGINS = SOURCES = None

EACH = ["--no-delay", "--remount", "each"]
ROOT = ("root", "", 0, 0, 0, (100, 200, 300), "the root", "")
TREE = [("file", "NOTE", 1, 5, 6, (17000, 10, 20), "a note", "hello world"),
        ("directory", "DIR", 0, 0, 0, (17000, 11, 21), "", ""),
        ("file", "DIR/B", 0, 0, 0, (17000, 12, 22), "", "bbb"),
        ("soft", "SOFT", 0, 0, 0, (17000, 13, 23), "", "NOTE"),
        ("link", "HARD", 0, 0, 0, (0, 0, 0), "", "NOTE")]


def text(value):
    return "-" + value.encode("latin-1").hex()


def image(objects):
    """The content of an image as image_plugin.cpp describes it."""
    lines = [f"QIMG whole {len(objects)} Image\n"]
    for kind, path, protection, owner, group, date, comment, content in objects:
        lines.append(f"{kind} {text(path)} {protection} {owner} {group} {date[0]} {date[1]} {date[2]} "
                     f"{text(comment)} {text(content)}\n")
    return "".join(lines)


def without_moments(line):
    """A line of a trace without the moments that it shows, one of which DateStamp() leaves as the error code."""
    line = re.sub(rb'"days":\d{5},"minutes":\d+,"ticks":\d+', rb'"days":"now"', line)
    return re.sub(rb'"ioerr":\d{4,}', rb'"ioerr":"now"', line)


class RemountTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def content(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def events(self, kind=None):
        """The events of the last run, or those of one kind without it."""
        events = [json.loads(line) for line in self.content("events").splitlines()]
        if kind is None:
            return events
        return [{key: value for key, value in event.items() if key != "event"}
                for event in events if event["event"] == kind]

    def run_tester(self, *arguments, mount="ram", **how):
        """The run over DH0: mounted as `mount`, with events."""
        return subprocess.run([QUORLE, "--events", self.path("events"), "--mount", f"DH0={mount}", *arguments],
                              check=False, timeout=250, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, **how)

    def plugin(self, name, **keys):
        return ",".join([f"plugin:{PLUGINS}/{name}_plugin.so"] + [f"{key}={value}" for key, value in keys.items()])

    def image_plugin(self, **keys):
        with open(self.path("image"), "w", encoding="ascii") as file:
            file.write(image([ROOT, *TREE]))
        return self.plugin("image", image=self.path("image"), **keys)

    def verdicts(self):
        """How many checks have which verdict, and the causes of those that are blocked."""
        counts = self.events("end")[0]["checks"]
        causes = {check.get("cause") for check in self.events("check") if check["verdict"] == "blocked"}
        return {name: count for name, count in counts.items() if count}, causes


class Checks(RemountTest):
    """A check of the further catalogue mounts the device again itself."""

    FLUSH = ["--catalogue", "further", "--select", "Further.Flush.WrittenIsThereAgain"]

    def test_a_plugin_is_mounted_again_only_when_that_is_asked_for(self):
        run = self.run_tester("--no-delay", *self.FLUSH, "DH0:", mount=self.image_plugin())
        self.assertEqual((run.returncode, run.stderr), (0, b""))
        self.assertIn(b"\"DH0:\" was not mounted again", run.stdout)
        run = self.run_tester(*EACH, *self.FLUSH, "DH0:", mount=self.image_plugin())
        self.assertEqual((run.returncode, run.stderr), (0, b""))
        self.assertNotIn(b"mounted again", run.stdout)

    def test_a_volume_that_is_not_mounted_again_blocks_what_comes(self):
        run = self.run_tester("--no-delay", "--catalogue", "further", "--select", "Further.Flush.*,Further.Inhibit.*",
                              "DH0:", mount="ram,deviate=remount-refused")
        self.assertEqual(run.returncode, 10)
        self.assertIn(b"(Flush.WrittenIsThereAgain): DH0: mounting again failed: the deviation remount-refused",
                      run.stderr)
        counts, causes = self.verdicts()
        self.assertEqual((counts["pass"], counts["fail"], counts["blocked"]), (2, 1, 5))
        self.assertEqual(causes, {"Further.Flush.WrittenIsThereAgain"})


class Unseen(RemountTest):
    """The tester, its calls and its console do not see that the device is mounted again."""

    def calls(self, name, with_ids):
        lines = [without_moments(line) for line in self.content(name).splitlines()]
        return lines if with_ids else [re.sub(rb'"objectid":\d+', b"", line) for line in lines]

    def compare(self, mount, device="DH0:", status=0, with_ids=True):
        """Compares a run with and without; `mount` is how, or makes it each time."""
        make = mount if callable(mount) else lambda: mount
        plain = self.run_tester("--no-delay", "--trace", self.path("plain"), device, mount=make())
        again = self.run_tester(*EACH, "--trace", self.path("again"), device, mount=make())
        self.assertEqual(again.stderr, b"")
        self.assertEqual(again.stdout, plain.stdout)
        self.assertEqual((plain.returncode, again.returncode), (status, status))
        plain, again = self.calls("plain", with_ids), self.calls("again", with_ids)
        self.assertGreater(len(plain), 1000)
        self.assertEqual(len(again), len(plain))
        for number, line in enumerate(plain):
            self.assertEqual(again[number], line, number + 1)
        groups = [group["id"] for group in self.events("group") if group["verdict"] != "note"]
        self.assertGreater(len(groups), 30)
        self.assertEqual(self.events("remount"), [{"id": group, "ok": True, "text": ""} for group in groups])

    def test_memory_by_functions_and_by_packets(self):
        for port in ("vector", "packet"):
            with self.subTest(port=port):
                self.compare(f"ram,port={port}")

    def test_the_device_that_is_always_there(self):
        self.compare("ram", device="RAM:")

    def test_a_directory_of_the_host(self):
        os.mkdir(self.path("volume"))
        # It has no hard links to directories.
        self.compare(f"dir:{self.path('volume')},metadata=file", status=10, with_ids=False)

    def test_a_plugin_in_this_process_keeps_what_it_has_in_memory(self):
        self.compare(self.plugin("ram", isolate="no"))

    def test_a_plugin_that_is_another_process_each_time(self):
        self.compare(self.image_plugin, with_ids=False)
        objects = self.content("image").splitlines()[2:]
        self.assertEqual(objects, image([ROOT, *TREE]).encode().splitlines()[2:])

    def test_a_layer_is_put_over_it_again(self):
        # The last group is the one that notices it.
        groups = ["DH0:", "FTN=6", "LTN=10"]
        plain = self.run_tester("--no-delay", *groups, mount="ram,deviate=delete-open-file")
        again = self.run_tester(*EACH, *groups, mount="ram,deviate=delete-open-file")
        self.assertIn(b"ERROR: Delete", plain.stdout)
        self.assertEqual((again.stdout, again.stderr), (plain.stdout, plain.stderr))
        self.assertEqual((plain.returncode, again.returncode), (10, 10))
        self.assertGreater(len(self.events("remount")), 3)

    def test_selected_checks_and_repeated_runs(self):
        said = self.run_tester(*EACH, "--repeat", "2", "--select", "Lock.*,Rename.TakenName", "DH0:")
        self.assertEqual((said.returncode, said.stderr), (0, b""))
        self.assertEqual([event["id"] for event in self.events("remount")], ["Lock", "Rename"] * 2)


class Trees(RemountTest):
    """What a volume lost when it was mounted again is named."""

    def difference(self, **keys):
        said = self.run_tester(*EACH, "DH0:", "TN=24", mount=self.image_plugin(**keys))
        self.assertEqual(said.returncode, 10)
        [event] = self.events("remount")
        self.assertEqual((event["id"], event["ok"]), ("Lock", False))
        self.assertEqual(said.stderr.decode(), f"quorle: test 24 (Lock): {event['text']}\n")
        self.assertEqual([group["verdict"] for group in self.events("group")], ["pass"])
        return event["text"].removeprefix("DH0: the tree differs after mounting again: ")

    def test_each_loss_is_named(self):
        expected = {
            "comment": 'HARD has the comment "", it was "a note", and 2 other differences',
            "protection": "HARD has the protection 0x00000000, it was 0x00000001, and 1 other difference",
            "owner": "HARD has the owner 0, it was 5, and 1 other difference",
            "group": "HARD has the group 0, it was 6, and 1 other difference",
            "content": "DIR/B has the size 0, it was 3, and 2 other differences",
            "byte": "DIR/B has another content, and 2 other differences",
            "target": 'SOFT leads to "elsewhere", it was "NOTE"',
            "link": "NOTE has the link count 1, it was 2, and 1 other difference",
            "name": 'the volume is called "Lost", it was called "Image"',
            "file": "HARD is missing, and 1 other difference",
            "directories": "DIR/B is missing",
            "file+": "strange is new",
        }
        for what, line in expected.items():
            with self.subTest(what=what):
                self.assertEqual(self.difference(lose=what), line)

    def test_a_lost_date_is_named(self):
        self.assertTrue(self.difference(lose="date").startswith("DIR has the date 0/0/0, it was 17000/11/21, and "))

    def test_one_loss_is_named_once(self):
        """What was lost is the tree from then on."""
        once = self.path("once")
        said = self.run_tester(*EACH, "--after-group",
                               f'rm -f {once}; [ "$QUORLE_GROUP" = Lock ] || : > {once}', "DH0:", "FTN=22", "LTN=26",
                               mount=self.image_plugin(lose="target", lose_in=once))
        self.assertEqual(said.returncode, 10)
        bad = [event["id"] for event in self.events("remount") if not event["ok"]]
        self.assertEqual(len(bad), 1)

    def test_a_plugin_in_memory_alone_loses_its_tree(self):
        # The root is made again, a moment later.
        said = self.run_tester(*EACH, "--after-group", "sleep 0.1", "DH0:", "TN=7", mount=self.plugin("ram"))
        self.assertIn(b"the tree differs after mounting again: the root has the date", said.stderr)
        self.assertEqual(said.returncode, 10)

    def test_of_a_large_tree_a_part_is_compared(self):
        os.mkdir(self.path("volume"))
        for number in range(2500):
            with open(self.path(f"volume/{number}"), "w", encoding="ascii") as file:
                file.write("x")
        said = self.run_tester(*EACH, "DH0:", "FTN=22", "LTN=24", mount=f"dir:{self.path('volume')},metadata=file")
        line = "DH0: 2000 objects of the tree were compared, there are more"
        [first, *rest] = said.stderr.decode().splitlines()
        self.assertRegex(first, re.escape(line) + "$")
        self.assertEqual(rest, [])
        self.assertEqual({(event["ok"], event["text"]) for event in self.events("remount")}, {(True, line)})
        self.assertEqual(said.returncode, 0)


class Failures(RemountTest):
    """A handler that cannot be mounted again, or ends meanwhile."""

    def test_damage_that_no_check_sees_is_found_after_the_group_that_did_it(self):
        plain = self.run_tester("--no-delay", "DH0:", mount=self.image_plugin(damage="yes"))
        self.assertEqual((plain.returncode, plain.stderr), (0, b""))
        said = self.run_tester(*EACH, "DH0:", mount=self.image_plugin(damage="yes"))
        text = "DH0: mounting again failed: the root block of the image is damaged"
        self.assertEqual(said.stderr.decode(), f"quorle: test 5 (ChangeFileSize): {text}\n")
        self.assertEqual(said.returncode, 10)
        good = ["ChangeLockMode", "ChangeFileMode", "ChangeFilePosition"]
        self.assertEqual(self.events("remount"), [{"id": group, "ok": True, "text": ""} for group in good] +
                         [{"id": "ChangeFileSize", "ok": False, "text": text}])
        counts, causes = self.verdicts()
        self.assertEqual(set(counts), {"pass", "blocked"})
        self.assertEqual(causes, {"ChangeFileSize"})

    def test_a_handler_that_refuses_to_be_mounted_again(self):
        said = self.run_tester(*EACH, "DH0:", "FTN=24", "LTN=26",
                               mount=self.plugin("rogue", once=self.path("once")))
        self.assertEqual(said.stderr, b"quorle: test 24 (Lock): DH0: mounting again failed: it was mounted once before\n")
        self.assertEqual(said.returncode, 10)
        self.assertEqual([event["id"] for event in self.events("remount")], ["Lock"])

    def test_the_same_without_a_process_of_its_own(self):
        said = self.run_tester(*EACH, "DH0:", "FTN=24", "LTN=26",
                               mount=self.plugin("rogue", once=self.path("once"), isolate="no"))
        self.assertEqual(said.stderr, b"quorle: test 24 (Lock): DH0: mounting again failed: it was mounted once before\n")
        self.assertEqual(said.returncode, 10)

    def lines(self, said):
        """The lines of standard error without what a debugger would know."""
        lines = [line.split("; #0")[0] for line in said.stderr.decode().splitlines()]
        return [line for line in lines if not line.startswith("quorle:   #")]

    def test_a_handler_that_does_not_come_back(self):
        said = self.run_tester(*EACH, "DH0:", "FTN=24", "LTN=26", mount=self.plugin(
            "rogue", **{"in": "Mount"}, how="hang", turns=self.path("turns"), limit=1))
        self.assertEqual(self.lines(said), [
            "quorle: test 24 (Lock): DH0: mounting again failed: "
            "the handler process did not answer within 1 second in Mount()"])
        self.assertEqual(said.returncode, 10)
        said = self.run_tester("--after-group", ":", "--no-delay", "DH0:", "FTN=24", "LTN=26", mount=self.plugin(
            "rogue", **{"in": "Unmount"}, how="hang", turns=self.path("turns"), limit=1))
        # The second one is gone, and a third one is mounted.
        self.assertEqual(self.lines(said), [
            "quorle: handler process of DH0: did not answer within 1 second in Unmount(), test 26 (Open)"])
        self.assertEqual(said.returncode, 10)
        counts, _ = self.verdicts()
        self.assertNotIn("blocked", counts)
        self.assertTrue(all(event["ok"] for event in self.events("remount")))

    def test_one_in_this_process_that_does_not_come_back_ends_the_program(self):
        said = self.run_tester(*EACH, "--limit", "1", "DH0:", "TN=24", mount=self.plugin(
            "rogue", **{"in": "Unmount"}, how="hang", isolate="no"))
        self.assertEqual(said.stderr, b"quorle: DH0: the handler did not return within 1 second, test 24 (Lock); "
                                      b"it is in the tester's own process, which ends\n")
        self.assertEqual(said.returncode, 20)

    def test_a_handler_that_ended_in_the_group(self):
        for restart, remounts in (("yes", [{"id": "Lock", "ok": True, "text":
                                            "DH0: the tree was not compared, the handler had ended"}]),
                                  ("no", [])):
            with self.subTest(restart=restart):
                said = self.run_tester(*EACH, "--after-group", "echo command", "DH0:", "TN=24", mount=self.plugin(
                    "rogue", **{"in": "FSOpen"}, how="signal", restart=restart))
                self.assertEqual(said.stderr.count(b"command\n"), 1)
                self.assertEqual(said.returncode, 10)
                self.assertEqual(self.events("remount"), remounts)

    def test_a_handler_that_ends_while_its_tree_is_looked_at(self):
        # The group Lock calls it not at all: whoever looks at the tree does.
        before = {"in": "FSExamineLock", "how": "signal"}
        after = {**before, "turns": self.path("turns")}
        for keys, last, is_fine, text in (
                (before, 24, True, "DH0: the tree was not compared, the handler had ended"),
                (after, 26, False, "DH0: the handler ended after mounting again")):
            with self.subTest(text=text):
                said = self.run_tester(*EACH, "DH0:", "FTN=24", f"LTN={last}", mount=self.plugin("rogue", **keys))
                self.assertEqual(self.lines(said)[0],
                                 "quorle: handler process of DH0: ended by signal 11 (SIGSEGV) in FSExamineLock(), "
                                 "test 24 (Lock); started again for the next test")
                event = self.events("remount")[0]
                self.assertEqual((event["id"], event["ok"], event["text"]), ("Lock", is_fine, text))
                self.assertEqual(said.returncode, 10)
                counts, _ = self.verdicts()
                self.assertNotIn("blocked", counts)


    def test_a_tree_that_takes_too_long_is_not_compared(self):
        said = self.run_tester(*EACH, "--limit", "1", "DH0:", "FTN=24", "LTN=26", mount=self.image_plugin(slow="yes"))
        line = ("quorle: test {}: the handler took more than 1 second (--limit); the calls that are left fail")
        self.assertEqual(said.stderr.decode().splitlines(), [line.format("24 (Lock)"), line.format("26 (Open)")])
        self.assertEqual([(event["id"], event["ok"], event["text"]) for event in self.events("remount")],
                         [(group, True, "DH0: the tree was not compared, the handler took too long")
                          for group in ("Lock", "Open")])
        counts, _ = self.verdicts()
        self.assertEqual(set(counts), {"pass", "skipped"})
        self.assertEqual(said.returncode, 10)


class Commands(RemountTest):
    """--after-group and --after-run."""

    def test_a_command_after_each_group(self):
        said = self.run_tester("--no-delay", "--after-group", 'echo "$QUORLE_GROUP of $QUORLE_DEVICE"', "DH0:",
                               "FTN=36", "LTN=40")
        groups = [group["id"] for group in self.events("group") if group["verdict"] != "note"]
        self.assertGreater(len(groups), 2)
        self.assertEqual(said.stderr.decode(), "".join(f"{group} of DH0:\n" for group in groups))
        self.assertEqual(said.returncode, 0)
        self.assertEqual([event["id"] for event in self.events("remount")], groups)

    def failure(self, command, *arguments):
        said = self.run_tester("--no-delay", "--after-group", command, *arguments, "DH0:", "TN=24")
        self.assertEqual(said.returncode, 10)
        [event] = self.events("remount")
        self.assertEqual((event["id"], event["ok"]), ("Lock", False))
        *printed, last = said.stderr.decode().splitlines()
        self.assertEqual(last, f"quorle: test 24 (Lock): {event['text']}")
        return printed, event["text"].removeprefix("DH0: the command of --after-group ")

    def test_its_failures(self):
        self.assertEqual(self.failure("exit 3"), ([], "exited with status 3"))
        self.assertEqual(self.failure("echo first; echo; echo 'bad block ' >&2; echo; exit 1"),
                         (["first", "", "bad block ", ""], 'exited with status 1: "bad block"'))
        self.assertEqual(self.failure("printf torn; exit 2")[1], 'exited with status 2: "torn"')
        self.assertEqual(self.failure("kill -KILL $$"), ([], "ended by signal 9 (SIGKILL)"))
        self.assertEqual(self.failure("/nowhere/to/be/found 2> /dev/null"), ([], "exited with status 127"))
        printed, how = self.failure("yes | head -c 3000000; exit 4")
        self.assertEqual(printed, ["y"] * 1500000)
        self.assertEqual(how, 'exited with status 4: "y"')

    def test_it_has_its_time_and_its_children_too(self):
        marker = self.path("alive")
        loop = f"while :; do date > {marker}; sleep 0.1; done"
        printed, how = self.failure(f"echo begins; setsid sh -c '{loop}' & {loop}", "--limit", "1")
        self.assertEqual((printed, how), (["begins"], 'did not end within 1 second: "begins"'))
        self.assert_still(marker)

    def test_what_it_leaves_running_is_ended(self):
        marker = self.path("alive")
        said = self.run_tester("--no-delay", "--after-group",
                               f"setsid sh -c 'while :; do date > {marker}; sleep 0.1; done' & exit 0",
                               "DH0:", "TN=24")
        self.assertEqual((said.returncode, said.stderr), (0, b""))
        self.assert_still(marker)

    def assert_still(self, marker):
        """Nobody writes the file any more."""
        if os.path.exists(marker):
            os.remove(marker)
        time.sleep(0.5)
        self.assertFalse(os.path.exists(marker))

    def test_what_it_is_given(self):
        reader, writer = os.pipe()
        self.addCleanup(os.close, reader)
        said = self.run_tester("--trace", self.path("trace"), "--no-delay", "--after-group",
                               "cat; ls /proc/self/fd; trap | grep -c .; exit 0", "DH0:", "TN=24", pass_fds=[writer])
        os.close(writer)
        # Its three, and the folder that ls reads.
        self.assertEqual(said.stderr, b"0\n1\n2\n3\n0\n")
        self.assertNotIn(b"0\n1\n2\n", said.stdout)

    def test_a_signal_that_this_program_ignores_is_not_ignored_there(self):
        self.assertEqual(self.failure("kill -PIPE $$")[1], "ended by signal 13 (SIGPIPE)")

    def test_the_device_is_unmounted_meanwhile(self):
        said = self.run_tester("--no-delay", "--after-group", f"cat {self.path('image')} | head -n 1; "
                               f"{SOURCES}/check_image {self.path('image')}", "DH0:", "TN=24",
                               mount=self.image_plugin())
        self.assertEqual(said.stderr, b"QIMG whole 6 Image\n")
        self.assertEqual(said.returncode, 0)

    def test_a_check_of_the_image_finds_the_group_that_damaged_it(self):
        check = f"{SOURCES}/check_image {self.path('image')}"
        said = self.run_tester("--no-delay", "--after-group", check, "DH0:", mount=self.image_plugin(damage="yes"))
        bad = [event for event in self.events("remount") if not event["ok"]]
        self.assertEqual([event["id"] for event in bad], ["ChangeFileSize"])
        self.assertIn('the command of --after-group exited with status 4: "', bad[0]["text"])
        self.assertIn('the root block says "elohw""; DH0: mounting again failed: ', bad[0]["text"])
        self.assertEqual(said.returncode, 10)
        said = self.run_tester("--no-delay", "--after-run", check, "DH0:", mount=self.image_plugin(damage="yes"))
        self.assertEqual([(event["id"], event["ok"]) for event in self.events("remount")], [("", False)])
        self.assertEqual(said.returncode, 10)

    def test_a_command_after_the_run(self):
        said = self.run_tester("--no-delay", "--after-run", 'echo "[$QUORLE_GROUP] $QUORLE_DEVICE"', "DH0:", "TN=24")
        self.assertEqual((said.returncode, said.stderr), (0, b"[] DH0:\n"))
        self.assertEqual(self.events("remount"), [])
        said = self.run_tester("--no-delay", "--repeat", "2", "--after-run", "echo bad; exit 3", "DH0:", "TN=24")
        line = 'DH0: the command of --after-run exited with status 3: "bad"'
        self.assertEqual(said.stderr.decode(), f"bad\nquorle: {line}\n" * 2)
        self.assertEqual(said.returncode, 10)
        self.assertEqual(self.events("remount"), [{"id": "", "ok": False, "text": line}] * 2)
        self.assertEqual(self.events()[-1]["event"], "end")
        said = self.run_tester("--no-delay", "--after-run", "echo ran", "NONE:")
        self.assertEqual((said.returncode, said.stderr), (20, b""))

    def test_a_failure_is_a_finding_of_the_group_in_reports(self):
        said = self.run_tester("--no-delay", "--summary", "--after-group", "exit 3", "DH0:", "TN=24")
        self.assertIn(b"Lock", said.stderr)
        self.assertIn(b"DH0: the command of --after-group exited with status 3", said.stderr.split(b"\n", 1)[1])
        report = subprocess.run([QUORLE, "report", "--tap", self.path("events")], check=False,
                                stdout=subprocess.PIPE, timeout=60)
        self.assertRegex(report.stdout, rb"not ok \d+ - Lock remount")
        self.assertEqual(report.returncode, 0)

    def test_a_group_that_ends_the_run_has_its_turn(self):
        said = self.run_tester("--no-delay", "--after-group", "echo $QUORLE_GROUP", "DH0:", "AOE", "FTN=10",
                               mount="ram,deviate=delete-open-file")
        self.assertEqual(said.stderr, b"Delete\n")
        self.assertEqual([event["id"] for event in self.events("remount")], ["Delete"])


class KilledRuns(RemountTest):
    """Nothing outlives a run, however it ends."""

    def start(self, command, *arguments):
        process = subprocess.Popen([QUORLE, "--events", self.path("events"), "--no-delay", "--mount", "DH0=ram",
                                    "--after-group", command, *arguments, "DH0:", "FTN=24", "LTN=26"],
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.addCleanup(process.kill)
        return process

    def await_file(self, name):
        deadline = time.monotonic() + 60
        while not os.path.exists(self.path(name)):
            self.assertLess(time.monotonic(), deadline, name)
            time.sleep(0.02)

    def is_gone(self, number):
        try:
            os.kill(number, 0)
            return False
        except ProcessLookupError:
            return True

    def test_a_command_does_not_outlive_the_program(self):
        files = f"echo $$ > {self.path('shell')}; mv {self.path('shell')} {self.path('pid')}"
        process = self.start(f"setsid sleep 100 & echo $! > {self.path('child')}; {files}; sleep 100")
        self.await_file("pid")
        numbers = [int(self.content(name)) for name in ("pid", "child")]
        process.send_signal(signal.SIGKILL)
        process.communicate(timeout=60)
        deadline = time.monotonic() + 60
        while not all(self.is_gone(number) for number in numbers):
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.02)

    def test_a_break_goes_to_the_command_and_ends_the_run(self):
        process = self.start(f": > {self.path('there')}; exec sleep 100")
        self.await_file("there")
        process.send_signal(signal.SIGINT)
        output, errors = process.communicate(timeout=60)
        self.assertIn(b"BREAK ^C - Aborting...", output)
        self.assertEqual(errors, b"quorle: test 24 (Lock): DH0: the command of --after-group ended by signal 2 (SIGINT)\n"
                                 b"quorle: interrupted: 2 of 3 test groups were not run\n")
        self.assertEqual(process.returncode, 10)
        self.assertEqual([event["id"] for event in self.events("remount")], ["Lock"])

    def test_nothing_is_done_between_groups_once_the_run_is_interrupted(self):
        said = self.run_tester(*EACH, "--after-group", "echo ran", "--after-run", "echo over", "DH0:", "FTN=24",
                               "LTN=26", mount=self.plugin("rogue", **{"in": "FSUnLock"}, how="int"))
        self.assertEqual(said.stderr, b"quorle: interrupted: 2 of 3 test groups were not run\nover\n")
        self.assertEqual(self.events("remount"), [])
        self.assertEqual(said.returncode, 10)


if __name__ == "__main__":
    QUORLE, PLUGINS, SOURCES = sys.argv[1:4]
    unittest.main(argv=sys.argv[:1] + sys.argv[4:])
