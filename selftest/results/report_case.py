"""What the tests of `quorle report` in Python share."""
import json
import os
import pathlib
import subprocess
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
EXPECTATIONS = HERE / "expectations.toml"
QUORLE = os.environ["QUORLE"]


class ReportCase(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def write(self, name, *events):
        """An event file of these events, each an object or the bytes of a line."""
        path = self.folder / name
        with open(path, "wb") as file:
            for event in events:
                file.write(event if isinstance(event, bytes) else json.dumps(event).encode() + b"\n")
        return path

    def report(self, *words, **settings):
        words = [word if isinstance(word, bytes) else str(word) for word in words]
        return subprocess.run([QUORLE, "report", *words], capture_output=True, check=False, timeout=120, **settings)

    def read(self, *words):
        """The text of a report that is written."""
        done = self.report(*words)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return done.stdout.decode()


def checks_of(path):
    events = [json.loads(line) for line in pathlib.Path(path).read_text().splitlines()]
    return [event for event in events if event["event"] == "check"]


RUN = {"event": "run", "version": 1, "program": "53.24", "device": "DH0:", "words": "NI",
       "arguments": ["--mount", "DH0=ram", "DH0:", "NI"], "port": "vector", "handler": "ram",
       "time": "2026-11-21T19:00:00Z"}
END = {"event": "end", "result": 0, "checks": {}, "us": 1600}


def check(name, verdict="pass", **more):
    return {"event": "check", "id": name, "catalogue": "standard", "row": 24, "number": 1, "verdict": verdict,
            "result": 10 if verdict == "fail" else 0, "calls": [1, 2], "us": 41, "diagnostics": [], **more}
