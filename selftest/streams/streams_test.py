#!/usr/bin/env python3
"""streams_test.py QUORLE PLUGINS [TEST...]: runs of the program whose input, output, errors or trace are not
what they usually are. PLUGINS is the folder of the plugins of the self-tests; a TEST is a unittest name."""
import fcntl
import json
import os
import re
import resource
import signal
import struct
import subprocess
import sys
import tempfile
import termios
import time
import unittest

QUORLE = PLUGINS = None

RUN_OVER_RAM = ["--no-delay", "RAM:"]


def run(*arguments, **how):
    """The run that ended: returncode, stdout and stderr as bytes."""
    how.setdefault("stdin", subprocess.DEVNULL)
    how.setdefault("stdout", subprocess.PIPE)
    how.setdefault("stderr", subprocess.PIPE)
    return subprocess.run([QUORLE, *arguments], timeout=100, check=False, **how)


def shell(script, *arguments, **how):
    """The same by a shell, where "$@" is the program and its arguments."""
    return subprocess.run(["sh", "-c", script, "sh", QUORLE, *arguments], timeout=100, check=False,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, **how)


class StreamsTest(unittest.TestCase):
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


class ClosedDescriptors(StreamsTest):
    """No file that the program opens takes the place of a standard descriptor."""

    def test_output_does_not_go_into_the_files_of_a_volume(self):
        os.mkdir(self.path("volume"))
        said = shell('exec "$@" <&- >&-', "--no-delay", "--mount",
                     f"DH0=dir:{self.path('volume')},metadata=file", "DH0:", "TN=24")
        self.assertEqual(said.stderr, b"quorle: cannot write the output: Bad file descriptor\n")
        self.assertEqual(said.returncode, 10)
        for name in os.listdir(self.path("volume")):
            self.assertNotIn(b"Starting tests", self.content(f"volume/{name}"), name)

    def test_neither_output_nor_errors_go_into_the_trace(self):
        usual = self.path("usual")
        run("--trace", usual, *RUN_OVER_RAM, "TN=24")
        for closed in ("<&-", ">&-", "2>&-", "<&- >&- 2>&-"):
            with self.subTest(closed=closed):
                shell(f'exec "$@" {closed}', "--trace", self.path("trace"), *RUN_OVER_RAM, "TN=24")
                self.assertEqual(len(self.content("trace").splitlines()),
                                 len(self.content("usual").splitlines()))
                for line in self.content("trace").splitlines():
                    json.loads(line)

    def test_a_run_with_closed_input_and_errors_is_as_any_other(self):
        usual = run(*RUN_OVER_RAM)
        said = shell('exec "$@" <&- 2>&-', *RUN_OVER_RAM)
        self.assertEqual(said.stdout, usual.stdout)
        self.assertEqual(said.returncode, 0)


class LostOutput(StreamsTest):
    """A run that lost a part of its output or its trace says so in one line and did not pass."""

    def test_a_full_disk_and_a_reader_that_went_away(self):
        with open("/dev/full", "wb") as full:
            said = run(*RUN_OVER_RAM, stdout=full)
        self.assertEqual(said.stderr, b"quorle: cannot write the output: No space left on device\n")
        self.assertEqual(said.returncode, 10)
        reader, writer = os.pipe()
        os.close(reader)
        said = run(*RUN_OVER_RAM, stdout=writer)
        os.close(writer)
        self.assertEqual(said.stderr, b"quorle: cannot write the output: Broken pipe\n")
        self.assertEqual(said.returncode, 10)

    def test_a_run_that_was_refused_stays_refused(self):
        with open("/dev/full", "wb") as full:
            said = run("--no-delay", "NONE:", stdout=full)
        self.assertEqual(said.stderr, b"quorle: cannot write the output: No space left on device\n")
        self.assertEqual(said.returncode, 20)

    def test_a_pipe_that_does_not_block_is_waited_for(self):
        usual = run("--list-deviations")
        reader, writer = os.pipe()
        # The smallest pipe there is; the output is several times as large.
        room = fcntl.fcntl(writer, fcntl.F_SETPIPE_SZ, 4096)
        self.assertGreater(len(usual.stdout), 2 * room)
        os.set_blocking(writer, False)
        with subprocess.Popen([QUORLE, "--list-deviations"], stdin=subprocess.DEVNULL, stdout=writer,
                              stderr=subprocess.PIPE) as process:
            os.close(writer)
            # Read only once the program had to wait, or ended for it.
            while process.poll() is None and not sleeps(process.pid):
                time.sleep(0.01)
            with open(reader, "rb") as pipe:
                output = pipe.read()
            errors = process.stderr.read()
        self.assertEqual(errors, b"")
        self.assertEqual(process.returncode, 0)
        self.assertEqual(output, usual.stdout)

    def test_a_trace_that_cannot_be_written_fails_the_run(self):
        usual = run(*RUN_OVER_RAM)
        said = run("--trace", "/dev/full", *RUN_OVER_RAM)
        self.assertEqual(said.stderr,
                         b"quorle: the trace ends here, its file cannot be written: No space left on device\n")
        self.assertEqual(said.returncode, 10)
        self.assertEqual(said.stdout, usual.stdout)

    def test_half_a_line_does_not_stay_in_the_trace(self):
        run("--trace", self.path("whole"), *RUN_OVER_RAM, "TN=24")
        whole = self.content("whole")
        lines = whole.splitlines(keepends=True)
        limit = len(b"".join(lines[:20])) + 5  # in the 21st line
        # Counts of executed lines go aside: they are files as well.
        aside = {**os.environ, "GCOV_PREFIX": self.folder, "GCOV_ERROR_FILE": os.devnull}
        said = run("--trace", self.path("trace"), *RUN_OVER_RAM, "TN=24", env=aside,
                   preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)))
        self.assertEqual(said.stderr,
                         b"quorle: the trace ends here, its file cannot be written: File too large\n")
        self.assertEqual(said.returncode, 10)
        self.assertEqual(self.content("trace").splitlines(), whole.splitlines()[:20])
        self.assertTrue(self.content("trace").endswith(b"\n"))


class OldTrace(StreamsTest):
    """The trace of another run is there until there is something to put in its place."""

    def test_it_outlives_a_mount_that_fails(self):
        with open(self.path("trace"), "wb") as file:
            file.write(b"of another run\n")
        said = run("--trace", self.path("trace"), "--mount", "DH0=dir:/nowhere/at/all", "DH0:")
        self.assertEqual(said.returncode, 20)
        self.assertEqual(len(said.stderr.splitlines()), 1)
        self.assertEqual(self.content("trace"), b"of another run\n")
        run("--trace", self.path("trace"), *RUN_OVER_RAM, "TN=24")
        self.assertNotIn(b"of another run", self.content("trace"))

    def test_a_trace_that_cannot_be_opened_is_refused_before_the_tests(self):
        said = run("--trace", self.path("no/trace"), *RUN_OVER_RAM)
        self.assertEqual(said.returncode, 20)
        self.assertEqual(said.stdout, b"")
        self.assertEqual(
            said.stderr.decode(),
            f"quorle: cannot open the trace file {self.path('no/trace')}: No such file or directory\n")


class Screen:
    """A terminal with `lines` lines and what scrolled off it, for the few sequences that the program may use."""

    def __init__(self, lines):
        self.scrolled = []
        self.screen = [""] * lines
        self.row = self.column = 0

    def feed(self, output):
        at = 0
        while at < len(output):
            match = re.compile(r"\x1b\[([0-9;?]*)([A-Za-z])").match(output, at)
            if match:
                self.obey(match[1] + match[2])
                at = match.end()
                continue
            self.put(output[at])
            at += 1

    def obey(self, sequence):
        if sequence == "H":
            self.row = self.column = 0
        elif sequence == "J":
            self.screen[self.row] = self.screen[self.row][:self.column]
            self.screen[self.row + 1:] = [""] * (len(self.screen) - self.row - 1)
        elif sequence not in ("0m", "1m", "3m"):
            raise AssertionError(f"the program sends ESC[{sequence}")

    def put(self, character):
        if character == "\n":
            if self.row + 1 < len(self.screen):
                self.row += 1
            else:
                self.scrolled.append(self.screen.pop(0))
                self.screen.append("")
        elif character == "\r":
            self.column = 0
        elif not character.isprintable():
            raise AssertionError(f"the program sends {character!r}")
        else:
            line = self.screen[self.row].ljust(self.column)
            self.screen[self.row] = line[:self.column] + character + line[self.column + 1:]
            self.column += 1

    def text(self):
        return "\n".join(self.scrolled + self.screen)


class Terminal(StreamsTest):
    """On a terminal nothing that stood there is lost, and nothing that a handler says is obeyed."""

    def run_on_terminal(self, *arguments, lines=10):
        """What the program sent to a terminal, line ends as the terminal gets them; standard error; status."""
        primary, secondary = os.openpty()
        fcntl.ioctl(secondary, termios.TIOCSWINSZ, struct.pack("HHHH", lines, 80, 0, 0))
        with subprocess.Popen([QUORLE, *arguments], stdin=subprocess.DEVNULL, stdout=secondary,
                              stderr=subprocess.PIPE) as process:
            os.close(secondary)
            output = b""
            while True:
                try:
                    output += os.read(primary, 65536)
                except OSError:  # nobody has it open any more
                    break
            errors = process.stderr.read()
        os.close(primary)
        return output.decode("latin-1"), errors, process.returncode

    def test_what_stood_on_the_screen_can_be_scrolled_back_to(self):
        for before in (1, 3, 9, 10, 40):
            for lines in (5, 10, 200):
                with self.subTest(before=before, lines=lines):
                    output, errors, status = self.run_on_terminal(*RUN_OVER_RAM, "TN=6", lines=lines)
                    self.assertEqual((errors, status), (b"", 0))
                    screen = Screen(lines)
                    warnings = [f"myfs.c:{n}: warning: you will want to read this" for n in range(before)]
                    screen.feed("\r\n".join(warnings) + "\r\n$ quorle\r\n")
                    screen.feed(output)
                    self.assertEqual([line for line in screen.scrolled if "warning" in line], warnings)
                    self.assertIn("Starting tests for Device Name= RAM:", screen.text())
                    self.assertIn("Close() tests passed.", screen.text())
                    if lines == 200:  # the whole run is on the fresh screen
                        self.assertEqual(screen.screen[1].split("=")[0], "Starting tests for Device Name")

    def test_without_a_size_there_is_no_fresh_screen(self):
        output, _, status = self.run_on_terminal(*RUN_OVER_RAM, "TN=6", lines=0)
        usual = run(*RUN_OVER_RAM, "TN=6").stdout.decode("latin-1")
        self.assertEqual(output, usual.replace("\f", "").replace("\n", "\r\n"))
        self.assertEqual(status, 0)

    def test_the_styles_and_line_ends_of_the_tester_stay(self):
        for arguments in (RUN_OVER_RAM, [], ["--no-delay", "RAM:", "TN=99"]):
            with self.subTest(arguments=arguments):
                output, _, _ = self.run_on_terminal(*arguments, lines=0)
                usual = run(*arguments).stdout.decode("latin-1")
                self.assertEqual(output, usual.replace("\f", "").replace("\n", "\r\n"))

    def test_control_characters_of_a_handler_are_shown(self):
        hostile = ["--no-delay", "--mount", "DH0=ram,dostype=0x1b5b9b7f,version=v\x1b[3J\x07\udc9b1m\r\x7f", "DH0:", "TN=6"]
        output, errors, status = self.run_on_terminal(*hostile)
        self.assertEqual((errors, status), (b"", 0))
        self.assertIn("\x1b[1mHost Filesystem = v\\x1b[3J\\x07\\x9b1m\\x0d\\x7f   "
                      "DOSType:0x1b5b9b7f [\\x1b[\\x9b\\x7f]\r\n", output)
        Screen(10).feed(output)
        # Into a pipe or a file the bytes go as they are.
        self.assertIn(b"\x1b[1mHost Filesystem = v\x1b[3J\x07\x9b1m\r\x7f   DOSType:0x1b5b9b7f [\x1b[\x9b\x7f]\n",
                      run(*hostile).stdout)

    def test_control_characters_are_shown_in_every_line_of_standard_error(self):
        for arguments, line in (
                (["--\x1b]0;x\x07"], "--\\x1b]0;x\\x07 is not an option; --help lists them"),
                (["--mount", "DH0=\x1b[2J\nquorle all good", "DH0:"],
                 'cannot mount DH0: no handler is called "\\x1b[2J\\x0aquorle all good"; there are: '),
                (["--trace", "/no\u00c4\x1b/t", "RAM:"],
                 "cannot open the trace file /no\u00c4\\x1b/t: No such file or directory")):
            with self.subTest(arguments=arguments):
                said = run(*arguments)
                self.assertEqual(said.returncode, 20)
                self.assertTrue(said.stderr.decode().startswith("quorle: " + line), said.stderr)
                self.assertEqual(said.stderr.count(b"\n"), 1)


class Interrupted(StreamsTest):
    """A run that ^C cut short did not pass, and says what is missing."""

    def interrupt(self, *arguments):
        """A run that gets SIGINT before its first group: it stops after that group."""
        reader, writer = os.pipe()
        # The pipe is full: the first thing that is printed, before any test, waits for us.
        os.set_blocking(writer, False)
        filled = 0
        try:
            while True:
                filled += os.write(writer, b"-" * 4096)
        except BlockingIOError:
            os.set_blocking(writer, True)
        with subprocess.Popen([QUORLE, *arguments], stdin=subprocess.DEVNULL, stdout=writer,
                              stderr=subprocess.PIPE) as process:
            os.close(writer)
            while not catches(process.pid, signal.SIGINT):
                time.sleep(0.01)
            process.send_signal(signal.SIGINT)
            with open(reader, "rb") as pipe:
                output = pipe.read()[filled:]
            errors = process.stderr.read()
        return output, errors.decode(), process.returncode

    def test_a_run_that_passed_so_far(self):
        output, errors, status = self.interrupt(*RUN_OVER_RAM)
        self.assertIn(b"\nBREAK ^C - Aborting...\n", output)
        self.assertEqual(errors, "quorle: interrupted: 46 of 47 test groups were not run\n")
        self.assertEqual(status, 10)

    def test_only_what_was_selected_is_missing(self):
        _, errors, status = self.interrupt(*RUN_OVER_RAM, "FTN=6", "LTN=8")
        self.assertEqual(errors, "quorle: interrupted: 2 of 3 test groups were not run\n")
        self.assertEqual(status, 10)
        _, errors, status = self.interrupt(*RUN_OVER_RAM, "FTN=45")
        self.assertEqual(errors, "quorle: interrupted: 2 of 3 test groups were not run\n")

    def test_nothing_is_missing_after_the_last_group(self):
        for selection in (["TN=6"], ["FTN=10", "LTN=5"]):
            with self.subTest(selection=selection):
                output, errors, status = self.interrupt(*RUN_OVER_RAM, *selection)
                self.assertIn(b"\nBREAK ^C - Aborting...\n", output)
                self.assertEqual((errors, status), ("", 0))

    def test_abort_on_error_is_no_interruption(self):
        said = run("--no-delay", "--mount", "DH0=ram,deviate=delete-open-file", "DH0:", "AOE")
        self.assertIn(b"\nError - Aborting...\n", said.stdout)
        self.assertEqual((said.stderr, said.returncode), (b"", 10))


class NotImplemented(StreamsTest):
    """A group that is skipped for want of another call than its own says which one it was."""

    def lines(self, without, how=""):
        said = run("--no-delay", "--mount", f"DH0=plugin:{PLUGINS}/lacking_plugin.so,without={without}{how}", "DH0:")
        skipped = re.findall(rb"m(\w+)\(\) test skipped because it is not implemented", said.stdout)
        return skipped, [line for line in said.stderr.decode().splitlines() if "answered 209" in line]

    def test_read_soft_link_without_soft_links(self):
        for how in ("", ",port=packet", ",isolate=no"):
            with self.subTest(how=how):
                skipped, lines = self.lines(27, how)
                self.assertEqual(skipped, [b"CreateSoftLink", b"ReadSoftLink"])
                self.assertEqual(lines, ["quorle: MakeLink() answered 209 (not implemented), "
                                         "test 31 (ReadSoftLink.ReadableLink)"])

    def test_a_call_that_is_missing_in_the_clean_up_is_not_to_blame(self):
        skipped, lines = self.lines("27+11")
        self.assertEqual(skipped, [b"CreateSoftLink", b"Delete", b"ReadSoftLink"])
        self.assertEqual(lines, ["quorle: MakeLink() answered 209 (not implemented), "
                                 "test 31 (ReadSoftLink.ReadableLink)"])

    def test_an_older_call_is_not_to_blame_when_the_program_has_set_another_code(self):
        said = run("--no-delay", "--catalogue", "further", "--select", "Further.SameFile.OneFile", "--mount",
                   "D=ram,port=classic", "D:")
        self.assertIn(b"SameFile() test skipped because it is not implemented", said.stdout)
        self.assertEqual(said.stderr, b"")

    def test_a_group_without_its_own_call_needs_no_line(self):
        groups = {b"CreateSoftLink"}
        for without in range(1, 50):
            if without == 27:
                continue
            with self.subTest(without=without):
                skipped, lines = self.lines(without)
                self.assertEqual(lines, [])
                groups.update(skipped)
        # All that ask were skipped once but two: without FSLock() there is no run, and dos examines objects
        # by other ways without FSExamineObj().
        self.assertEqual(groups, {
            b"ChangeFilePosition", b"ChangeFileSize", b"ChangeLockMode", b"CreateDir", b"CreateHardLink",
            b"CreateSoftLink", b"Delete", b"DupLock", b"DupLockFromFH", b"ExamineFile", b"ExamineLock", b"GetFileSize",
            b"Open", b"OpenFromLock", b"Read", b"ReadSoftLink", b"Relabel", b"Rename", b"SetComment", b"SetDate",
            b"SetGroup", b"SetOwner", b"SetProtection", b"Write", b"WriteProtectVolume"})


class Refusals(StreamsTest):
    """A run that is refused says why, on the console or in a line of standard error."""

    def test_every_version_of_dos_library_that_is_too_old(self):
        for version in ("0.0", "49.9", "50.0", "53.89"):
            with self.subTest(version=version):
                said = run("--dos-version", version, *RUN_OVER_RAM)
                self.assertEqual(said.returncode, 20)
                self.assertNotEqual((said.stdout + said.stderr).strip(), b"")
        self.assertEqual(
            run("--dos-version", "0.0", *RUN_OVER_RAM).stderr,
            b"quorle: --dos-version: 0.0 is too old, the tester opens no dos.library below version 50\n")


def catches(process, number):
    """Whether the process has a handler for a signal."""
    with open(f"/proc/{process}/status", encoding="latin-1") as file:
        caught = re.search(r"^SigCgt:\s*([0-9a-f]+)$", file.read(), re.M)
    return bool(int(caught[1], 16) & 1 << (number - 1))


def sleeps(process):
    """Whether the process waits for something."""
    try:
        with open(f"/proc/{process}/stat", encoding="latin-1") as file:
            return file.read().rpartition(")")[2].split()[0] == "S"
    except FileNotFoundError:
        return False


if __name__ == "__main__":
    QUORLE, PLUGINS = sys.argv[1:3]
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
