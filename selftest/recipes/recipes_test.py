#!/usr/bin/python3
"""recipes_test.py SOURCES BUILD CC [TEST...]: takes the recipes from docs/ci.md and runs them as a CI would, over an
example that an author could have written. Status 77: something that they need is not here."""
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


def recipes(page):
    """The files of the page by name: each stands in a fenced block that says it."""
    with open(page, encoding="utf-8") as file:
        return dict(re.findall(r"^```\w+ (\S+)\n(.*?)^```$", file.read(), re.M | re.S))


class Recipes(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.recipes = recipes(os.path.join(SOURCES, "docs/ci.md"))
        cls.installed = tempfile.TemporaryDirectory()
        subprocess.run(["cmake", "--install", BUILD, "--prefix", cls.installed.name], check=True,
                       stdout=subprocess.DEVNULL)
        packages = [folder for folder, _, files in os.walk(cls.installed.name) if "quorle.pc" in files]
        tools = os.path.join(cls.installed.name, "tools")
        os.mkdir(tools)
        os.symlink(shutil.which(CC), os.path.join(tools, "cc"))
        cls.environment = {**os.environ, "PKG_CONFIG_PATH": packages[0],
                           "PATH": f"{tools}:{cls.installed.name}/bin:{os.environ['PATH']}"}

    @classmethod
    def tearDownClass(cls):
        cls.installed.cleanup()

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        shutil.copy(os.path.join(SOURCES, "examples/complete_handler.c"), self.path("myfs.c"))
        for name, text in self.recipes.items():
            os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
            with open(self.path(name), "w", encoding="utf-8") as file:
                file.write(text)

    def path(self, name):
        return os.path.join(self.folder, name)

    def content(self, name):
        with open(self.path(name), encoding="utf-8") as file:
            return file.read()

    def replace(self, name, old, new):
        text = self.content(name)
        self.assertIn(old, text)
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(text.replace(old, new))

    def shell(self, script, **environment):
        return subprocess.run(["sh", "-e", "-c", script], cwd=self.folder, env={**self.environment, **environment},
                              text=True, check=False, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, timeout=60)

    def bless(self):
        """The file of expectations as the page says, its reasons written."""
        made = self.shell(self.content("first.sh"))
        self.assertEqual(made.returncode, 0, made.stderr)
        self.replace("quorle.toml", '"TODO"', '"not yet"')

    def test_the_page_has_all_recipes(self):
        self.assertEqual(sorted(self.recipes),
                         [".github/workflows/filesystem.yml", ".github/workflows/quorle.yml", ".gitlab-ci.yml", "ci.sh", "first.sh"])

    def test_the_script_is_green_with_known_failures(self):
        self.bless()
        run = self.shell("sh ci.sh")
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertRegex(run.stderr, r"^108 checks: .* failed \(\d+ known\)|^108 checks: ")
        self.assertIn("Lock() tests passed.", self.content("results/console.txt"))
        self.assertIn("<html", self.content("results/report.html"))
        tests = list(xml.parse(self.path("results/junit.xml")).iter("testcase"))
        self.assertEqual(len(tests), 108)
        skipped = [test.find("skipped").get("message") for test in tests if test.find("skipped") is not None]
        self.assertTrue([message for message in skipped if "not yet" in (message or "")])
        self.assertFalse([test for test in tests if test.find("failure") is not None])

    def test_a_new_failure_turns_it_red(self):
        self.bless()
        self.replace("ci.sh", "DH0=plugin:./myfs.so", "DH0=plugin:./myfs.so,deviate=delete-open-file")
        run = self.shell("sh ci.sh")
        self.assertEqual(run.returncode, 10, run.stderr)
        self.assertIn("\nDelete.OpenFile: fail\n", run.stderr)
        failures = [test.get("name") for test in xml.parse(self.path("results/junit.xml")).iter("testcase")
                    if test.find("failure") is not None]
        self.assertEqual(len(failures), 1)
        self.assertIn("OpenFile", failures[0])

    def test_a_known_failure_that_is_gone_turns_it_red(self):
        self.bless()
        with open(self.path("quorle.toml"), "a", encoding="utf-8") as file:
            file.write('\n[[expect]]\ncheck = "Lock.MissingObject"\nverdict = "fail"\nreason = "issue 12"\n')
        run = self.shell("sh ci.sh")
        self.assertEqual(run.returncode, 10, run.stderr)
        self.assertIn("\nLock.MissingObject: pass\n", run.stderr)

    def test_a_handler_that_does_not_build_is_no_run(self):
        self.bless()
        with open(self.path("myfs.c"), "a", encoding="utf-8") as file:
            file.write("this is no C\n")
        self.assertNotIn(self.shell("sh ci.sh").returncode, (0, 10))

    def workflow(self, summary):
        """Runs the steps of the GitHub workflow; the status of the job."""
        job = yaml.safe_load(self.content(".github/workflows/filesystem.yml"))["jobs"]["conformance"]
        failed = False
        for step in job["steps"]:
            if "run" in step and (not failed or step.get("if") == "always()"):
                failed |= self.shell(step["run"], GITHUB_STEP_SUMMARY=summary).returncode != 0
        uploads = [step["with"]["path"] for step in job["steps"] if "upload-artifact" in step.get("uses", "")]
        self.assertEqual(uploads, ["results/"])
        self.assertTrue(os.path.exists(self.path("results/events.jsonl")))
        return failed

    def test_the_github_workflow(self):
        self.bless()
        summary = self.path("step-summary.md")
        with open(summary, "w", encoding="utf-8") as file:
            file.write("# An earlier step\n")
        self.assertFalse(self.workflow(summary))
        text = self.content("step-summary.md")
        self.assertTrue(text.startswith("# An earlier step\n"))
        self.assertIn("108 checks", text)
        self.assertNotIn("Delete.OpenFile", text)

    def test_the_github_workflow_that_fails_shows_why(self):
        self.bless()
        self.replace("ci.sh", "DH0=plugin:./myfs.so", "DH0=plugin:./myfs.so,deviate=delete-open-file")
        summary = self.path("step-summary.md")
        self.assertTrue(self.workflow(summary))
        self.assertIn("Delete.OpenFile", self.content("step-summary.md"))

    def test_the_gitlab_job(self):
        self.bless()
        job = yaml.safe_load(self.content(".gitlab-ci.yml"))["conformance"]
        for line in job["script"]:
            run = self.shell(line)
            self.assertEqual(run.returncode, 0, run.stderr)
        self.assertEqual(job["artifacts"]["when"], "always")
        self.assertTrue(all(os.path.isdir(self.path(path)) for path in job["artifacts"]["paths"]))
        tests = xml.parse(self.path(job["artifacts"]["reports"]["junit"])).iter("testcase")
        self.assertEqual(len(list(tests)), 108)


if __name__ == "__main__":
    SOURCES, BUILD, CC = sys.argv[1:4]
    unittest.main(argv=[sys.argv[0], *sys.argv[4:]])
