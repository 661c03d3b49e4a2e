#!/usr/bin/python3
"""action_test.py SOURCES BUILD CC [TEST...]: runs the step of action.yml as a runner does, over an example that an author
could have written. Status 77: something that it needs is not here."""
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as xml

try:
    import yaml
except ImportError:
    print("SKIPPED: no python3-yaml")
    sys.exit(77)

SOURCES = BUILD = CC = None
NAME = "quorle-of-the-test-linux.tar.xz"
BUILD_COMMAND = "cc -shared -fPIC $(pkg-config --cflags quorle) myfs.c -o myfs.so"


class Action(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        with open(os.path.join(SOURCES, "action.yml"), encoding="utf-8") as file:
            cls.action = yaml.safe_load(file)
        cls.folder = tempfile.TemporaryDirectory()
        tree = os.path.join(cls.folder.name, "quorle")
        subprocess.run(["cmake", "--install", BUILD, "--strip", "--prefix", tree], check=True, stdout=subprocess.DEVNULL)
        subprocess.run(["tar", "--create", "--use-compress-program", "xz -0", "--file", NAME, "quorle"], check=True, cwd=cls.folder.name)
        with open(os.path.join(cls.folder.name, NAME + ".sha256"), "w", encoding="utf-8") as file:
            subprocess.run(["sha256sum", NAME], check=True, cwd=cls.folder.name, stdout=file)
        shutil.rmtree(tree)
        os.mkdir(os.path.join(cls.folder.name, "tools"))
        os.symlink(shutil.which(CC), os.path.join(cls.folder.name, "tools", "cc"))

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.workspace = os.path.join(folder.name, "work space")
        self.runner = os.path.join(folder.name, "runner")
        os.mkdir(self.workspace)
        os.mkdir(self.runner)
        shutil.copy(os.path.join(SOURCES, "examples/complete_handler.c"), os.path.join(self.workspace, "myfs.c"))

    def content(self, *path):
        with open(os.path.join(*path), encoding="utf-8") as file:
            return file.read()

    def outputs(self):
        return dict(line.split("=", 1) for line in self.content(self.runner, "output").splitlines())

    def run_step(self, **inputs):
        """The status of the step that runs, and what the log shows."""
        known = {name: row.get("default", "") for name, row in self.action["inputs"].items()}
        self.assertLessEqual(set(inputs), set(known))
        values = {**known, "archive": os.path.join(self.folder.name, NAME), **inputs}
        step = next(step for step in self.action["runs"]["steps"] if "run" in step)
        self.assertEqual(step["shell"], "bash")
        given = {name: re.sub(r"\$\{\{ inputs\.(\w+) \}\}", lambda found: values[found[1]], text)
                 for name, text in step["env"].items()}
        for name in ("output", "path", "env", "summary"):
            with open(os.path.join(self.runner, name), "w", encoding="utf-8"):
                pass
        files = {f"GITHUB_{variable}": os.path.join(self.runner, name)
                 for variable, name in (("OUTPUT", "output"), ("PATH", "path"), ("ENV", "env"), ("STEP_SUMMARY", "summary"))}
        environment = {**os.environ, **given, **files, "RUNNER_TEMP": self.runner, "GITHUB_ACTION_PATH": SOURCES,
                       "GITHUB_WORKSPACE": self.workspace,
                       "PATH": os.path.join(self.folder.name, "tools") + ":" + os.environ["PATH"]}
        run = subprocess.run(["bash", "--noprofile", "--norc", "-e", "-o", "pipefail", "-c", step["run"]], check=False,
                             cwd=self.workspace, env=environment, text=True, stdin=subprocess.DEVNULL,
                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=100)
        return run.returncode, run.stdout

    def bless(self):
        """The example's known failures."""
        run = subprocess.run(["bash", "-e", "-c", BUILD_COMMAND + "\nquorle --no-delay --mount DH0=plugin:./myfs.so "
                              "--bless quorle.toml DH0: >console.txt"], check=False, cwd=self.workspace, text=True,
                             stderr=subprocess.PIPE, timeout=100,
                             env={**os.environ, "PATH": os.path.join(self.runner, "quorle/bin") + ":"
                                  + os.path.join(self.folder.name, "tools") + ":" + os.environ["PATH"],
                                  "PKG_CONFIG_PATH": os.path.join(self.runner, "quorle/lib/pkgconfig")})
        self.assertEqual(run.returncode, 0, run.stderr)
        path = os.path.join(self.workspace, "quorle.toml")
        with open(path, encoding="utf-8") as file:
            text = file.read()
        with open(path, "w", encoding="utf-8") as file:
            file.write(text.replace('"TODO"', '"not yet"'))

    def test_all_that_is_said_is_there(self):
        with open(os.path.join(SOURCES, "docs/ci.md"), encoding="utf-8") as file:
            section = re.search(r"^\| input \|.*?^$", file.read(), re.M | re.S)[0]
        self.assertEqual(set(re.findall(r"^\| `(\w+)` \|", section, re.M)), set(self.action["inputs"]))
        step = next(step for step in self.action["runs"]["steps"] if "run" in step)
        used = {name for text in step["env"].values() for name in re.findall(r"inputs\.(\w+)", text)}
        upload = next(step for step in self.action["runs"]["steps"] if "uses" in step)
        used |= set(re.findall(r"inputs\.(\w+)", str(upload)))
        self.assertEqual(used, set(self.action["inputs"]))
        for row in self.action["outputs"].values():
            self.assertRegex(row["value"], rf"^\$\{{\{{ steps\.{step['id']}\.outputs\.\w+ \}}\}}$")

    def test_a_handler_with_known_failures_is_green(self):
        self.run_step(mount="RAM:=ram", device="RAM:")
        self.bless()
        # As the page says.
        with open(os.path.join(SOURCES, "docs/ci.md"), encoding="utf-8") as file:
            recipe = re.search(r"^```yaml \.github/workflows/quorle\.yml\n(.*?)^```$", file.read(), re.M | re.S)[1]
        steps = yaml.safe_load(recipe)["jobs"]["conformance"]["steps"]
        status, log = self.run_step(**next(step["with"] for step in steps if "/quorle@" in step["uses"]))
        self.assertEqual(status, 0, log)
        outputs = self.outputs()
        self.assertEqual(set(outputs), set(self.action["outputs"]))
        self.assertEqual(outputs["status"], "0")
        tests = list(xml.parse(os.path.join(self.workspace, outputs["junit"])).iter("testcase"))
        self.assertEqual(len(tests), 108)
        self.assertIn("<html", self.content(self.workspace, outputs["html"]))
        self.assertIn('"event":"end"', self.content(self.workspace, outputs["events"]))
        self.assertIn("108 checks", self.content(self.runner, "summary"))
        # What later steps get.
        folder = self.content(self.runner, "path").strip()
        self.assertTrue(os.access(os.path.join(folder, "quorle"), os.X_OK))
        self.assertIn("PKG_CONFIG_PATH=", self.content(self.runner, "env"))

    def test_a_failure_is_red(self):
        status, log = self.run_step(mount="DH0=ram,deviate=delete-open-file", device="DH0: TN=10", options="--limit '5'",
                                    results="what came out")
        self.assertEqual(status, 10, log)
        self.assertIn("::error::something is not as expected", log)
        self.assertEqual(self.outputs()["status"], "10")
        self.assertIn("Delete.OpenFile", self.content(self.runner, "summary"))
        self.assertIn("Delete.OpenFile", self.content(self.workspace, "what came out", "report.html"))

    def test_what_is_wrong_is_one_line(self):
        wrong = [({"mount": "DH0=floppy"}, "there was no run: what quorle says is above"),
                 ({"mount": "DH0=ram", "options": "--limit '5"}, "a quote has no end in options or device"),
                 ({"mount": "DH0=ram", "expect": "mine.toml"}, "there is no mine.toml"),
                 ({"mount": "DH0=plugin:./myfs.so", "build": "false"}, "the handler was not built"),
                 ({"mount": "DH0=ram", "archive": "missing.tar.xz"}, "cannot get missing.tar.xz")]
        for inputs, text in wrong:
            with self.subTest(text=text):
                status, log = self.run_step(**inputs)
                self.assertEqual((status, re.findall("^::error::(.*)$", log, re.M)), (20, [text]), log)
                self.assertEqual(self.outputs(), {"status": "20"})

    def test_another_archive_is_not_unpacked(self):
        shutil.copy(os.path.join(self.folder.name, NAME + ".sha256"), self.workspace)
        with open(os.path.join(self.workspace, NAME), "wb") as file:
            file.write(b"somebody's")
        status, log = self.run_step(mount="DH0=ram", archive=NAME)
        self.assertEqual(status, 20)
        self.assertIn(f"::error::{NAME} is not what its .sha256 says\n", log)
        self.assertFalse(os.path.exists(os.path.join(self.runner, "quorle", "bin")))


if __name__ == "__main__":
    SOURCES, BUILD, CC = sys.argv[1:4]
    unittest.main(argv=[sys.argv[0], *sys.argv[4:]])
