#!/usr/bin/env python3
"""quorle report, run as people run it: its formats, its files, and what it does with files that are wrong.
QUORLE names the program."""
import json
import os
import resource
import subprocess
import unittest

from make_events import write_runs
from report_case import END, EXPECTATIONS, QUORLE, RUN, ReportCase, check

FORMATS = ("--summary", "--tap", "--junit", "--markdown", "--html")
BEGINNINGS = {"--summary": "", "--tap": "TAP version 14\n", "--junit": '<?xml version="1.0"', "--markdown": "## ",
              "--html": "<!DOCTYPE html>"}


class FormatsTest(ReportCase):
    def test_each_format_on_standard_output_and_in_a_file(self):
        events = self.write("run.jsonl", RUN, check("Lock.A", "fail"), END)
        for name in FORMATS:
            with self.subTest(name):
                text = self.read(name, events)
                self.assertTrue(text.startswith(BEGINNINGS[name]))
                self.assertIn("Lock.A", text)
                self.assertEqual(self.read("-o", self.folder / "out", name, events), "")
                self.assertEqual((self.folder / "out").read_text(), text)
        self.assertEqual(self.read(events), self.read("--summary", events))

    def test_the_status_is_that_of_the_report_not_of_the_runs(self):
        events = self.write("run.jsonl", RUN, check("Lock.A", "fail"))
        self.assertEqual(self.report(events).returncode, 0)

    def test_what_is_expected_is_read_from_a_file(self):
        path = write_runs(self.folder / "runs", 3)[2]
        self.assertIn("CreateSoftLink.LinkToFile: unsupported", self.read(path))
        self.assertNotIn("CreateSoftLink.LinkToFile: unsupported", self.read("--expect", EXPECTATIONS, path))

    def test_texts_of_a_handler_move_no_cursor(self):
        events = self.write("run.jsonl", RUN, check("Lock.A", "fail", diagnostics=[
            {"class": "ERROR", "text": "\x1b]0;x\x07\x9b2J\u0085"}]), END)
        for name in FORMATS:
            text = self.read(name, events)
            self.assertEqual([c for c in text if c != "\n" and (c < " " or "\x7f" <= c <= "\x9f")], [], name)

    def test_a_page_says_once_what_a_check_is_about(self):
        paths = write_runs(self.folder / "runs", 50)
        one, many = self.read("--html", paths[0]), self.read("--html", *paths)
        self.assertEqual(one.count("Where authors go wrong"), many.count("Where authors go wrong"))


class WrongWordsTest(ReportCase):
    def refused(self, *words):
        done = self.report(*words)
        self.assertEqual((done.returncode, done.stdout), (20, b""), words)
        self.assertEqual(done.stderr.count(b"\n"), 1, done.stderr)
        return done.stderr.decode().rstrip("\n")

    def test_help(self):
        text = self.read("--help")
        for name in (*FORMATS, "--expect", "-o"):
            self.assertIn(name, text)

    def test_wrong_words(self):
        events = self.write("run.jsonl", RUN, END)
        self.assertIn("EVENTS", self.refused())
        self.assertIn("one format", self.refused("--tap", "--html", events))
        self.assertIn("--pdf", self.refused("--pdf", events))
        self.assertIn("--output", self.refused(events, "-o"))


class WrongFilesTest(ReportCase):
    def refused(self, *words, **settings):
        """What is said when nothing can be reported; nothing is left in the folder."""
        before = sorted(self.folder.iterdir())
        done = self.report(*words, **settings)
        self.assertEqual(done.returncode, 20)
        self.assertEqual(done.stderr.count(b"\n"), 1, done.stderr)
        self.assertEqual(sorted(self.folder.iterdir()), before)
        return done.stderr.decode().rstrip("\n")

    def test_a_torn_file_is_a_run_that_was_cut_off(self):
        whole = json.dumps(check("Lock.B")).encode()
        for cut in (1, len(whole) // 2, len(whole)):
            events = self.write("torn.jsonl", RUN, check("Lock.A"), whole[:cut])
            text = self.read(events)
            self.assertIn("1 check: 1 passed\n", text)
            self.assertIn("the run was cut off after Lock.A: 1 check has its verdict\n", text)
            for name in FORMATS:
                self.assertIn("cut off", self.read(name, events))

    def test_files_that_are_no_event_stream(self):
        good = self.write("good.jsonl", RUN, END)
        cases = {
            "empty": (b"", ": it holds no run"),
            "foreign": (b"GIF89a\n", ":1: no event: it is no JSON"),
            "json": (b'{"a": 1}\n', ':1: no event: "event" is missing'),
            "headless": (b'{"event": "end"}\n', ':1: no event stream: the first event is not "run"'),
            "newer": (b'{"event": "run", "version": 2}\n', ":1: it is version 2 of the event stream; this program reads version 1"),
            "late": (json.dumps(RUN).encode() + b'\n{"event": "check", "id": 7}\n', ':2: no event: "id" is no text'),
            "deep": (b'[' * 100000 + b'\n', ":1: no event: it holds more than any event"),
        }
        for name, (content, problem) in cases.items():
            with self.subTest(name):
                path = self.write(name, content)
                self.assertEqual(self.refused("-o", self.folder / "out", good, path), f"quorle: {path}{problem}")

    def test_files_that_cannot_be_read(self):
        self.assertEqual(self.refused(self.folder / "none"), f"quorle: cannot read {self.folder}/none: No such file or directory")
        self.assertEqual(self.refused(self.folder), f"quorle: cannot read {self.folder}: Is a directory")

    def test_expectations_that_cannot_be_read(self):
        events = self.write("run.jsonl", RUN, END)
        path = self.write("q.toml", b'[[expect]]\ncheck = "No.Such"\nverdict = "fail"\nreason = "r"\n')
        self.assertTrue(self.refused("--expect", path, events).startswith(f"quorle: {path}:2:"))

    def test_large_files_take_no_more_memory_than_what_they_hold(self):
        def limit():
            # A sanitizer takes more room for itself than there is.
            if not sanitized:
                resource.setrlimit(resource.RLIMIT_AS, (100 << 20, 100 << 20))
        sanitized = "QUORLE_SANITIZE" in os.environ
        hollow = self.folder / "hollow"
        with open(hollow, "wb") as file:
            file.truncate(1 << 30)
        said = self.refused(hollow, preexec_fn=limit)
        self.assertEqual(said, f"quorle: {hollow}:1: no event stream: the line is larger than any event")
        # More than the limit of events that this version does not know, through a pipe.
        pipe = self.folder / "pipe"
        os.mkfifo(pipe)
        with subprocess.Popen([QUORLE, "report", pipe], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              preexec_fn=limit) as reader:
            block = (json.dumps({"event": "weather", "text": "x" * 1000}).encode() + b"\n") * 1000
            with open(pipe, "wb") as file:
                file.write(json.dumps(RUN).encode() + b"\n" + json.dumps(check("Lock.A")).encode() + b"\n")
                for _ in range((15 << 20 if sanitized else 150 << 20) // len(block)):
                    file.write(block)
                file.write(json.dumps(END).encode() + b"\n")
            text, errors = reader.communicate()
        self.assertEqual((reader.returncode, errors), (0, b""))
        self.assertIn(b"1 check: 1 passed\n", text)

    def test_output_that_cannot_be_written(self):
        events = self.write("run.jsonl", RUN, check("Lock.A"), END)
        missing = self.folder / "none" / "out"
        self.assertEqual(self.refused("-o", missing, events), f"quorle: cannot write {missing}: No such file or directory")
        self.assertEqual(self.refused("-o", "/dev/full", events), "quorle: cannot write /dev/full: No space left on device")
        with open("/dev/full", "wb") as full:
            done = subprocess.run([QUORLE, "report", "--html", events], stdout=full, stderr=subprocess.PIPE, check=False)
        self.assertEqual(done.returncode, 20)
        self.assertEqual(done.stderr.count(b"\n"), 1, done.stderr)

    def test_a_full_disk_leaves_the_older_report(self):
        volume = self.folder / "small"
        volume.mkdir()
        mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64k", "quorle", volume], capture_output=True, check=False)
        if mounted.returncode != 0:
            self.skipTest("a small volume cannot be mounted here")
        self.addCleanup(subprocess.run, ["umount", volume], check=True)
        (volume / "out").write_text("older")
        paths = write_runs(self.folder / "runs", 20)
        done = self.report("--html", "-o", volume / "out", *paths)
        self.assertEqual((done.returncode, done.stderr.decode()), (20, f"quorle: cannot write {volume}/out: No space left on device\n"))
        self.assertEqual([path.name for path in volume.iterdir()], ["out"])
        self.assertEqual((volume / "out").read_text(), "older")

    def test_names_of_any_bytes(self):
        path = os.fsencode(self.folder) + b"/a\xff\x1b .jsonl"
        with open(path, "wb") as file:
            file.write(json.dumps(RUN).encode() + b"\n" + json.dumps(END).encode() + b"\n")
        for name in FORMATS:
            # TAP and Markdown escape the backslash.
            text = self.read(name, path, path).replace("\\\\", "\\").replace("&#92;", "\\")
            self.assertIn("a\\xff\\x1b ", text, name)


if __name__ == "__main__":
    unittest.main()
