#!/usr/bin/env python3
"""replay_test.py QUORLE PLUGINS PAGE OPERATIONS [TEST...]: runs of `quorle replay` over files of calls. PLUGINS is the
folder of the plugins of the self-tests, PAGE docs/explore.md, OPERATIONS the table of operations; a TEST is a unittest
name."""
import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import unittest

QUORLE = PLUGINS = PAGE = OPERATIONS = None

HEADER = "quorle-calls 1\n"
RENAME = HEADER + """\
# A refused call leaves what it named.
Open("a", MODE_NEWFILE) => f1
Write(f1, 300 bytes of 7) => 300
Open("b", MODE_NEWFILE) => f2
Close(f1) => TRUE
Close(f2) => TRUE
Rename("a", "b") => FALSE 203
tree
  "a" Type=FSO_TYPE_FILE FileSize=300 Content=300 bytes of 7
  "b" Type=FSO_TYPE_FILE FileSize=0 Content=""
Delete("a") => TRUE
Delete("b") => TRUE
"""


class ReplayTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, text, name="x.calls"):
        with open(self.path(name), "wb") as file:
            file.write(text if isinstance(text, bytes) else text.encode())

    def replay(self, *arguments, given=None):
        """The status and both outputs of a run in the folder of this test."""
        run = subprocess.run([QUORLE, "replay", *arguments], check=False, timeout=250, cwd=self.folder,
                             input=given, stdin=None if given is not None else subprocess.DEVNULL,
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        return run.returncode, run.stdout.decode(), run.stderr.decode()

    def calls(self, text, *arguments):
        self.write(text)
        return self.replay(*arguments, "x.calls", "DH0:")


class Expectations(ReplayTest):
    def test_a_remount_gives_everything_back(self):
        self.assertEqual(self.calls(HEADER + """\
Open("a", MODE_NEWFILE) => f1
Write(f1, "abc") => 3
remount
tree
  "a" Content="abc"
Read(f1, 1) => -1 205|219
empty
tree
""", "--mount", "DH0=ram"), (10, """\
    2  Open("a", MODE_NEWFILE) = f1
    3  Write(f1, "abc") = 3
    4  remount
    5  tree
!   7  Read(f1, 1) = -1 116
       expected: -1 205|219
    8  empty
    9  tree
3 calls, 7 expectations, 1 not met
""", ""))

    def test_what_a_remount_loses(self):
        status, out, _ = self.calls(HEADER + """\
Open("a", MODE_NEWFILE) => f1
Write(f1, "abc") => 3
remount
tree
  "a" Content="abc"
""", "--mount", "DH0=ram,deviate=remount-cuts-files")
        self.assertEqual((status, out.splitlines()[3:5]), (
            10, ["!   5  tree",
                 '       "a" has Content=0 bytes with checksum 0xCBF29CE484222325, expected Content="abc"']))
        status, out, _ = self.calls(HEADER + 'CreateDir("d") => l1\nremount\n', "--mount",
                                    "DH0=ram,deviate=remount-refused")
        self.assertEqual((status, out.splitlines()[1:3]), (
            10, ["!   3  remount", "       the deviation remount-refused refuses the volume"]))

    def test_what_is_lost_when_all_is_deleted(self):
        self.assertEqual(self.calls(HEADER + """\
CreateDir("d") => l1
Open("d/a", MODE_NEWFILE) => f1
SetProtection("d/a", EXDF_NO_DELETE) => TRUE
empty
""", "--mount", "DH0=ram,deviate=delete-of-empty-file-loses-block"), (10, """\
    2  CreateDir("d") = l1
    3  Open("d/a", MODE_NEWFILE) = f1
    4  SetProtection("d/a", EXDF_NO_DELETE) = TRUE
!   5  empty
       2 blocks used, expected 1 as before the first line
3 calls, 4 expectations, 1 not met
""", ""))

    def test_nothing_stands_behind_what_is_done_to_a_device(self):
        for line in ("remount x", "empty => TRUE"):
            self.assertEqual(self.calls(HEADER + line + "\n", "--mount", "DH0=ram"),
                             (20, "", f"quorle: x.calls:2: behind {line.split()[0]} stands nothing\n"))

    def test_all_is_as_expected(self):
        self.assertEqual(self.calls(RENAME, "--mount", "DH0=ram"), (0, """\
    3  Open("a", MODE_NEWFILE) = f1
    4  Write(f1, 300 bytes of 7) = 300
    5  Open("b", MODE_NEWFILE) = f2
    6  Close(f1) = TRUE
    7  Close(f2) = TRUE
    8  Rename("a", "b") = FALSE 203
    9  tree
   12  Delete("a") = TRUE
   13  Delete("b") = TRUE
8 calls, 9 expectations, 0 not met
""", ""))

    def test_what_is_not_is_shown_with_what_was_expected(self):
        self.assertEqual(self.calls(HEADER + """\
Open("a", MODE_NEWFILE) = f1
Write(f1, "abc") => 4
Lock("a", SHARED_LOCK) => l1
Lock("a", SHARED_LOCK) => 0 205|203
Lock("b", EXCLUSIVE_LOCK) => l2
ExamineObject(EX_FileHandleInput, f1) => FileSize=4 Comment="c"
ChangeFilePosition(f1, 0, OFFSET_BEGINNING)
Read(f1, 10) => "abd"
Close(f1) => FALSE
SameLock(0, 0) => LOCK_SAME
UnLock(l1)
tree
  "a" FileSize=3 Content="abd" Comment=""
  "c"
SetDate("a", 2000-02-29 12:30:05.20)
ExamineObject(EX_ObjectNameInput, "a") => Date=2000-02-29 12:30:05.20
Open("\\xE4", MODE_NEWFILE)
""", "--mount", "DH0=ram"), (10, """\
    2  Open("a", MODE_NEWFILE) = f1
!   3  Write(f1, "abc") = 3
       expected: 4
!   4  Lock("a", SHARED_LOCK) = 0 202
       expected: l1
!   5  Lock("a", SHARED_LOCK) = 0 202
       expected: 0 205|203
!   6  Lock("b", EXCLUSIVE_LOCK) = 0 205
       expected: l2
!   7  ExamineObject(EX_FileHandleInput, f1) = Type=FSO_TYPE_FILE FileSize=3 Date=2032-10-04 00:00:00.02 \
RefCount=1 Name="a" Comment="" Link="" Protection=0 OwnerUID=0 OwnerGID=0
       expected: FileSize=4 Comment="c"
    8  ChangeFilePosition(f1, 0, OFFSET_BEGINNING) = TRUE
!   9  Read(f1, 10) = "abc"
       expected: "abd"
!  10  Close(f1) = TRUE
       expected: FALSE
!  11  SameLock(0, 0) = LOCK_DIFFERENT
       expected: LOCK_SAME
   12  UnLock(l1)
!  13  tree
       "a" has Content=3 bytes with checksum 0xE71FA2190541574B, expected Content="abd"
       "c" is missing
   16  SetDate("a", 2000-02-29 12:30:05.20) = TRUE
   17  ExamineObject(EX_ObjectNameInput, "a") = Type=FSO_TYPE_FILE FileSize=3 Date=2000-02-29 12:30:05.20 \
RefCount=1 Name="a" Comment="" Link="" Protection=0 OwnerUID=0 OwnerGID=0
   18  Open("\\xE4", MODE_NEWFILE) = a file
14 calls, 10 expectations, 9 not met
left in DH0: "a", "\\xE4"
""", ""))

    def test_a_deviation_is_found(self):
        for port in "vector", "packet":
            status, output, errors = self.calls(
                HEADER + 'Open("a", MODE_NEWFILE) => f1\nWrite(f1, 10 bytes of 1) => 10\n'
                'GetFilePosition(f1) => 10\n', "--mount", f"DH0=ram,port={port},deviate=position-one-more")
            self.assertEqual((status, errors), (10, ""))
            self.assertIn('!   4  GetFilePosition(f1) = 11\n       expected: 10\n', output)

    def test_every_port_and_place(self):
        os.mkdir(self.path("volume"))
        plugin = f"plugin:{PLUGINS}/ram_plugin.so"
        first = self.calls(RENAME, "--mount", "DH0=ram")
        for mount in ("ram,port=packet", "dir:" + self.path("volume"), plugin, plugin + ",port=packet",
                      plugin + ",isolate=no"):
            self.assertEqual(self.calls(RENAME, "--mount", "DH0=" + mount), first, mount)
        self.assertEqual(os.listdir(self.path("volume")), [])


class Page(ReplayTest):
    def test_the_example_is_what_comes_out(self):
        with open(PAGE, encoding="utf-8") as file:
            blocks = ["".join(line[4:] or "\n" for line in block.splitlines(True)) for block in
                      re.findall(r"(?m)(?:^ {4}.*\n)+", file.read())]
        calls, = [block for block in blocks if block.startswith(HEADER)]
        command, output = [block for block in blocks if block.startswith("$ quorle replay")][0].split("\n", 1)
        self.write(calls, "rename.calls")
        self.assertEqual(self.replay(*command.split()[3:]), (10, output, ""))

    def test_every_operation_is_there(self):
        with open(PAGE, encoding="utf-8") as file:
            page = file.read()
        with open(OPERATIONS, encoding="utf-8") as file:
            names = re.findall(r'Operation::k\w+,\s*"[a-z-]+",\s*"(\w+)"', file.read())
        self.assertGreater(len(names), 50)
        for name in names:
            self.assertRegex(page, rf"`{name}[`(]")


class Files(ReplayTest):
    def test_wrong_ones_are_one_line(self):
        for text, line in (
                ("", "x.calls:1: a file of calls begins with the line quorle-calls 1"),
                (HEADER + 'Flush()\nDelete("a', "x.calls:3: the closing quote is missing"),
                (HEADER.encode() + b"Flush()\0", "x.calls:2: a byte that is 0"),
                (HEADER + "Flsh()\n", 'x.calls:2: "Flsh" is not an operation'),
                (HEADER + "Read(f1, 99999999999999999999)\n",
                 'x.calls:2: Read(), argument 2: a number is expected, not "99999999999999999999"'),
                (HEADER + 'Delete("\U0001F600")\n', "x.calls:2: a character that is not in Latin-1, or not UTF-8"),
                (HEADER + "Flush()\n" * 1000000, "x.calls:100002: there are more than 100000 calls"),
                (b"\x7fELF" * 5000000, "x.calls: it is larger than 16777216 bytes")):
            self.assertEqual(self.calls(text, "--mount", "DH0=ram"), (20, "", f"quorle: {line}\n"))

    def test_none_is_one_line(self):
        self.assertEqual(self.replay("none", "RAM:"), (20, "", "quorle: cannot read none: No such file or directory\n"))
        self.assertEqual(self.replay(".", "RAM:"), (20, "", "quorle: cannot read .: Is a directory\n"))

    def test_standard_input(self):
        given = (HEADER + "Flush() => TRUE\n").encode()
        self.assertEqual(self.replay("-", "RAM:", given=given),
                         (0, "    2  Flush() = TRUE\n1 call, 1 expectation, 0 not met\n", ""))
        self.assertEqual(self.replay("-", "RAM:", given=b"Flush()"),
                         (20, "", "quorle: standard input:1: a file of calls begins with the line quorle-calls 1\n"))


class Devices(ReplayTest):
    def test_words(self):
        usage = "quorle: replay: a file and a device are needed: quorle replay [options] FILE DEVICE\n"
        self.assertEqual(self.replay(), (20, "", usage))
        self.assertEqual(self.replay("x.calls"), (20, "", usage))
        self.assertEqual(self.replay("x.calls", "RAM:", "NI"), (20, "", usage))
        self.assertEqual(self.replay("--select", "Lock.*", "x", "RAM:"),
                         (20, "", "quorle: replay: --select is not an option; --help lists them\n"))
        self.assertEqual(self.replay("--limit", "0", "x", "RAM:"),
                         (20, "", 'quorle: replay: --limit: "0" is not a number of seconds, 1 to 86400\n'))
        status, output, errors = self.replay("--help")
        self.assertEqual((status, errors), (0, ""))
        self.assertIn("Usage: quorle replay [options] FILE DEVICE\n", output)

    def test_what_is_no_filesystem(self):
        self.write(HEADER + "Flush()\n")
        for device in "DH0:", "NIL:", "RAM", ":", "":
            self.assertEqual(self.replay("x.calls", device),
                             (20, "", f'quorle: replay: "{device}" is not a device with a filesystem, such as RAM:\n'))
        status, output, errors = self.replay("--mount", "DH0=nothing", "x.calls", "DH0:")
        self.assertEqual((status, output, errors.count("\n")), (20, "", 1))

    def test_what_is_there_stays_and_what_is_left_is_named(self):
        os.mkdir(self.path("volume"))
        with open(self.path("volume/mine"), "w", encoding="ascii") as file:
            file.write("my own")
        calls = HEADER + 'CreateDir("d")\n' + "".join(f'Open("f{i}", MODE_NEWFILE)\n' for i in range(10, 31))
        status, output, errors = self.calls(calls, "--mount", "DH0=dir:" + self.path("volume"))
        self.assertEqual((status, errors), (0, ""))
        names = ", ".join(f'"f{i}"' for i in range(10, 29))
        self.assertEqual(output.splitlines()[-1], f'left in DH0: "d", {names} and 2 more')
        with open(self.path("volume/mine"), encoding="ascii") as file:
            self.assertEqual(file.read(), "my own")

    def test_the_trace_has_the_calls(self):
        self.calls(RENAME, "--mount", "DH0=ram", "--trace", "trace")
        with open(self.path("trace"), encoding="ascii") as file:
            lines = [json.loads(line) for line in file]
        self.assertIn({"op": "Rename", "args": ["a", "b"], "result": False, "ioerr": 203}, lines)
        self.assertEqual(self.replay("--mount", "DH0=ram", "--trace", "no/trace", "x.calls", "DH0:"),
                         (20, "", "quorle: cannot open the trace file no/trace: No such file or directory\n"))


class Handlers(ReplayTest):
    CALLS = HEADER + 'Lock("", SHARED_LOCK) = l1\nOpen("a", MODE_NEWFILE) => f1\nClose(f1)\n'

    def rogue(self, **keys):
        return f"DH0=plugin:{PLUGINS}/rogue_plugin.so," + ",".join(f"{key}={value}" for key, value in keys.items())

    def test_one_that_ends(self):
        status, output, errors = self.calls(self.CALLS, "--mount", self.rogue(**{"in": "FSOpen"}, how="signal"))
        self.assertEqual(status, 10)
        self.assertEqual(output, """\
    2  Lock("", SHARED_LOCK) = l1
!   3  Open("a", MODE_NEWFILE) = 0 218
       expected: f1
    4  Close(f1) = FALSE 0
3 calls, 1 expectation, 1 not met
""")
        self.assertTrue(errors.startswith(
            "quorle: handler process of DH0: ended by signal 11 (SIGSEGV) in FSOpen(), x.calls, line 3\n"), errors)

    def test_one_that_hangs(self):
        status, output, errors = self.calls(self.CALLS, "--mount",
                                            self.rogue(**{"in": "FSOpen"}, how="hang", limit=1))
        self.assertEqual((status, output.count("!")), (10, 1))
        self.assertIn("quorle: handler process of DH0: did not answer within 1 second in FSOpen(), x.calls, line 3",
                      errors)

    def test_one_that_forgets(self):
        status, output, errors = self.calls(HEADER + 'Lock("", SHARED_LOCK) => l1\nUnLock(l1)\n', "--mount",
                                            self.rogue(**{"in": "FSUnLock"}, how="keep"))
        self.assertEqual((status, output.count("!")), (10, 0))
        self.assertIn("DH0: never freed: ", errors)

    def test_an_interrupted_run_says_where(self):
        self.write(HEADER + 'Lock("", SHARED_LOCK)\n' * 1000)
        run = subprocess.Popen([QUORLE, "replay", "--mount", self.rogue(**{"in": "FSLock"}, how="slow"), "x.calls",
                                "DH0:"], cwd=self.folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE)
        for _ in range(5):
            run.stdout.readline()
        run.send_signal(signal.SIGINT)
        output, errors = run.communicate(timeout=100)
        self.assertEqual(run.returncode, 10)
        self.assertRegex(errors.decode(), r"^quorle: x\.calls: interrupted before line \d+\n$")
        self.assertIn(" not met\n", output.decode())


if __name__ == "__main__":
    QUORLE, PLUGINS, PAGE, OPERATIONS = sys.argv[1:5]
    unittest.main(argv=sys.argv[:1] + sys.argv[5:])
