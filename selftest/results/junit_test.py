#!/usr/bin/python3
"""What a JUnit report has is what the events have: read by junitparser, and valid by what CI servers take.
QUORLE names the program. Ends with 77 where the readers are not here."""
import shutil
import subprocess
import sys
import unittest

try:
    import junitparser
except ImportError:
    print("junitparser is not here")
    sys.exit(77)
if shutil.which("xmllint") is None:
    print("xmllint is not here")
    sys.exit(77)

from make_events import write_runs
from report_case import END, EXPECTATIONS, HERE, RUN, ReportCase, check, checks_of

FINE = ("pass", "warn")


def expected_state(event, known=(), surprises=()):
    if event["id"] in known or event["verdict"] == "skipped":
        return "skipped"
    if event["id"] in surprises:
        return "failure"
    if event["verdict"] == "blocked":
        return "error"
    return "passed" if event["verdict"] in FINE else "failure"


def state_of(case):
    kinds = {junitparser.Skipped: "skipped", junitparser.Error: "error", junitparser.Failure: "failure"}
    if not case.result:
        return "passed"
    (result,) = case.result
    return kinds[type(result)]


class JunitTest(ReportCase):
    def suites(self, *words):
        path = self.folder / "report.xml"
        self.read("--junit", "-o", path, *words)
        valid = subprocess.run(["xmllint", "--noout", "--schema", HERE / "junit.xsd", path],
                               capture_output=True, text=True, check=False)
        self.assertEqual(valid.returncode, 0, valid.stderr)
        return list(junitparser.JUnitXml.fromfile(str(path)))

    def compare(self, suite, events, known=(), surprises=()):
        cases = list(suite)
        self.assertEqual([case.name for case in cases], [event["id"] for event in events])
        states = [expected_state(event, known, surprises) for event in events]
        self.assertEqual([state_of(case) for case in cases], states)
        self.assertEqual((suite.tests, suite.failures, suite.errors, suite.skipped),
                         (len(states), states.count("failure"), states.count("error"), states.count("skipped")))
        for case, event in zip(cases, events):
            for line in event["diagnostics"]:
                text = f"{line['class']}: {line['text']}"
                self.assertIn(text, case.system_out)
                if state_of(case) in ("failure", "error"):
                    self.assertIn(text, case.result[0].text)

    def test_twelve_runs_are_twelve_suites(self):
        paths = write_runs(self.folder / "runs", 12)
        suites = self.suites(*paths)
        self.assertEqual([suite.name for suite in suites], [path.stem for path in paths])
        for suite, path in zip(suites, paths):
            self.compare(suite, checks_of(path))
        states = {state_of(case) for suite in suites for case in suite}
        self.assertEqual(states, {"passed", "failure", "error"})

    def test_known_failures_are_skipped_with_their_reason(self):
        path = write_runs(self.folder / "runs", 3)[2]
        (suite,) = self.suites("--expect", EXPECTATIONS, path)
        events = checks_of(path)
        known = [event["id"] for event in events if event["id"].startswith("CreateSoftLink.")]
        self.assertEqual(len(known), 2)
        self.compare(suite, events, known, ["Rename.DirectoryLoop"])
        by_name = {case.name: case for case in suite}
        self.assertEqual(by_name[known[0]].result[0].message, "FAT has no links | #12 \\ <b>")
        surprise = by_name["Rename.DirectoryLoop"].result[0]
        self.assertEqual(surprise.type, "surprise-pass")
        self.assertIn("expects fail (moves a directory into itself)", surprise.message)

    def test_what_is_wrong_with_a_run_is_a_failure(self):
        path = self.write("cut.jsonl", RUN, check("Lock.A"),
                          {"event": "left-behind", "id": "Lock.A", "object": "FILE01", "code": 202},
                          {"event": "complaint", "id": "", "text": "never freed: a lock"})
        (suite,) = self.suites(path)
        self.assertEqual([(case.name, state_of(case)) for case in suite],
                         [("Lock.A", "passed"), ("Lock.A left-behind", "failure"), ("run complaint", "failure"),
                          ("run cut-off", "failure")])
        self.assertEqual(suite.failures, 3)

    def test_any_text_is_xml(self):
        odd = "".join(chr(code) for code in range(0x100)) + "\ufffe\uffff\u2028]]><b a='\"'>&amp;\U0001f600"
        path = self.write("odd.jsonl", {**RUN, "device": odd},
                          check("Lock.A", "fail", diagnostics=[{"class": "ERROR", "text": odd}]), END)
        (suite,) = self.suites(path)
        (case,) = suite
        shown = "".join(c if " " <= c != "\x7f" and not "\x80" <= c <= "\x9f" and c not in "\ufffe\uffff"
                        else "".join(f"\\x{byte:02x}" for byte in c.encode()) for c in odd)
        self.assertEqual(case.system_out, "ERROR: " + shown)
        self.assertIn({"device": shown}.items(), [{prop.name: prop.value}.items() for prop in suite.properties()])

    def test_times_have_three_decimals_however_long(self):
        path = self.write("slow.jsonl", RUN, check("Lock.A", us=1234567890123), check("Lock.B", us=-5), END)
        (suite,) = self.suites(path)
        self.assertEqual([case.time for case in suite], [1234567.890, 0.0])


if __name__ == "__main__":
    unittest.main()
