#!/usr/bin/python3
"""connect_test.py QUORLE PLUGINS SOURCES [TEST...]: runs of the program over handlers behind a socket, good and bad.
PLUGINS is the folder of the plugins of the self-tests; a TEST is a unittest name. Ends with 77 where python3-msgpack is not here."""
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
SKIPPED = 77
PYTHON = sys.executable


def client(name):
    return os.path.join(SOURCES, "clients/python", name)


def selftest(name):
    return os.path.join(SOURCES, "selftest/connect", name)


def environment():
    """The client is found wherever a handler lies."""
    return {**os.environ, "PYTHONPATH": client(""), "PYTHONDONTWRITEBYTECODE": "1"}


def run(mount, *arguments, options=()):
    """The run that ended: returncode, stdout and stderr as text."""
    return subprocess.run([QUORLE, "--no-delay", *options, "--mount", f"DH0={mount}", *(arguments or ["DH0:"])],
                          timeout=100, check=False, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, encoding="latin-1", env=environment())


def rogue(words, keys=",limit=5"):
    # Without the shell in between, which would keep the socket open.
    return f"exec:exec {PYTHON} {selftest('rogue_client.py')} {words}{keys}"


def processes(mark):
    """The command lines that have `mark`, of processes that are no zombies."""
    found = []
    for number in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{number}/cmdline", "rb") as file:
                line = file.read().replace(b"\0", b" ").decode("latin-1")
        except OSError:
            continue
        if mark in line and int(number) != os.getpid():
            found.append(line)
    return found


def outcomes(text):
    """What each group came to: a list of its name and a word."""
    found = []
    for line in re.sub("\x1b\\[[0-9]*m", "", text).splitlines():
        if match := re.match(r"(\w+)\(\) tests passed\.$", line):
            found.append((match[1], "passed"))
        elif match := re.match(r"(\w+)\(\) test skipped because it is not implemented", line):
            found.append((match[1], "not implemented"))
        elif match := re.match(r"(?:ERROR|WARN): +(\w+)\(", line):
            found.append((match[1], "failed"))
    return found


class ConnectTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def listen(self, *command):
        """A process that listens on a socket; its path."""
        process = subprocess.Popen([PYTHON, *command, self.path("socket")], env=environment(),
                                   stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process, self.path("socket")


class Examples(ConnectTest):
    """The whole catalogue over the two examples."""

    def test_the_handler_in_memory_passes_all_but_hard_links(self):
        ram = run("ram,port=packet")
        said = run(f"exec:{PYTHON} {client('memory_handler.py')}")
        self.assertEqual(said.stderr, "")
        self.assertEqual(said.returncode, 10)
        wanted = [(name, "not implemented" if name == "CreateHardLink" else what)
                  for name, what in outcomes(ram.stdout)]
        self.assertEqual(len(wanted), 33)
        self.assertEqual(outcomes(said.stdout), wanted)

    def test_the_handler_in_memory_fails_no_check_of_the_further_catalogue(self):
        """Blocks come back after deletion, and no name has a colon."""
        said = run(f"exec:exec {PYTHON} {client('memory_handler.py')}", options=("--catalogue", "further"))
        self.assertEqual(said.stderr, "")
        self.assertIn("VolumeInfoData() tests passed.", said.stdout)
        self.assertIn("Names tests passed.", said.stdout)
        self.assertEqual(re.findall("^.*(?:ERROR|WARN).*$", said.stdout, re.MULTILINE), [])
        self.assertEqual([name for name, what in outcomes(said.stdout) if what != "passed"], ["Inhibit"])

    def test_a_socket_is_as_good_as_a_command_and_can_be_used_again(self):
        usual = run(f"exec:{PYTHON} {client('memory_handler.py')}")
        # The program may be there before anybody listens.
        late = f"sleep 1; exec {PYTHON} {client('memory_handler.py')} {self.path('socket')}"
        process = subprocess.Popen(["sh", "-c", late], env=environment(), start_new_session=True)
        self.addCleanup(process.wait)
        self.addCleanup(lambda: os.killpg(process.pid, signal.SIGKILL))
        for _ in range(2):
            said = run(f"connect:unix:{self.path('socket')}")
            self.assertEqual((said.stdout, said.stderr, said.returncode), (usual.stdout, "", 10))

    def test_the_classic_handler_passes_what_classic_packets_can(self):
        said = run(f"exec:{PYTHON} {client('classic_handler.py')}")
        self.assertEqual(said.stderr, "")
        failed = {"CreateHardLink": "not implemented"}
        # Ids of 32 bits have no place in the packet, which has 16 for each.
        failed.update(SetGroup="failed", SetOwner="failed")
        others = [(name, what) for name, what in outcomes(said.stdout) if what != "passed"]
        self.assertEqual(dict(others), failed)
        passed = {name for name, what in outcomes(said.stdout) if what == "passed"}
        ram = {name for name, _ in outcomes(run("ram,port=packet").stdout)}
        # Without a count of references a file cannot be said to have none but one.
        self.assertLessEqual(ram - passed - failed.keys(), {"ExamineFile", "ExamineObj", "ExamineLock"})

    def test_the_rules_of_ram_show_the_same_bytes_and_calls(self):
        """Beside a plugin, of all groups but that of hard links."""
        version = "memory_handler 1.0 (27.6.2025)"
        mounts = {
            "plugin": f"plugin:{PLUGINS}/ram_plugin.so,port=packet,volume=Memory,version={version}",
            "exec": f"exec:exec {PYTHON} {client('memory_handler.py')}",
        }
        # Open and ReadSoftLink make a hard link on their way, and CreateHardLink is about them.
        for groups, beside_links in (("LTN=7", True), ("FTN=9 LTN=25", True), ("TN=26", False), ("FTN=27 LTN=30", True),
                                     ("TN=31", False), ("FTN=32", True)):
            texts, calls = {}, {}
            for name, mount in mounts.items():
                said = run(mount, "DH0:", *groups.split(), options=("--trace", self.path(name)))
                self.assertEqual((said.stderr, said.returncode), ("", 0))
                texts[name] = said.stdout
                with open(self.path(name), encoding="utf-8") as file:
                    calls[name] = [self.bare(json.loads(line)) for line in file]
            self.assertEqual(texts["exec"], texts["plugin"])
            self.assertGreater(len(calls["exec"]), 80)
            if beside_links:
                self.assertEqual(calls["exec"], calls["plugin"])

    def bare(self, call):
        """A call, whether it failed, and the code after it: records and numbers differ from volume to volume."""
        failed = call.get("result") in (None, False, -1)
        code = call.get("ioerr")
        # The seed of unique names is of the clock, and stays for some time where codes are.
        return call["op"], call.get("text"), "seed" if code is not None and code > 1000 else code, failed

class Hostile(ConnectTest):
    """Whatever the other side does: one line names it, and the run goes on."""

    # How it goes wrong, at which packet, and the line from the verb on.
    CASES = [
        ("torn", "READ", "exited with status 0 within a message"),
        ("torn_and_closed", "READ", "closed the connection within a message"),
        ("four_gigabytes", "READ", "announced a message of 4294967295 bytes, of at most 17825792"),
        ("empty", "READ", "sent a message of 0 bytes that is no MessagePack"),
        ("garbage", "READ", "sent a message of 3 bytes that is no MessagePack"),
        ("more_than_one", "READ", "sent a message of 4 bytes that is no MessagePack"),
        ("no_map", "READ", "sent a message of 2 bytes that is no map"),
        ("deep", "READ", "sent a message of 1048576 bytes that holds too many values"),
        ("many", "READ", "sent a message of 2021 bytes that holds too many values"),
        ("wrong_type", "READ", 'gave "result" as a text, which is no number'),
        ("fraction", "READ", 'gave "result" as a fraction, which is no number'),
        ("wrong_code", "READ", 'gave "code" as 1099511627776, which is not -2147483648 to 2147483647'),
        ("no_result", "READ", 'left out "result"'),
        ("no_type", "READ", 'left out "type"'),
        ("unknown_id", "READ", "answered request 999999, where 12 was asked"),
        ("out_of_order", "READ", "answered request 11, where 12 was asked"),
        ("unknown_request", "READ", "sent a notification for request 7, which nobody made"),
        ("unknown_message", "READ", 'sent a message of the type "pardon??", which is not due'),
        ("flood", "READ", "sent 1000 messages without an answer"),
        ("exit_3", "READ", "exited with status 3"),
        ("daemon", "READ", "exited with status 3"),
        ("killed", "READ", "ended by signal 9 (SIGKILL)"),
        ("closed", "READ", "closed the connection"),
        ("raised", "READ", "exited with status 1"),
        ("too_many_bytes", "READ", "gave 300 bytes for a room of 256"),
        ("no_bytes", "READ", "gave the result 7 and 0 bytes"),
        ("text_for_bytes", "READ", 'gave "bytes" as a text, which is no bytes'),
    ]

    def test_each_case_is_named(self):
        for how, packet, line in self.CASES:
            with self.subTest(how=how):
                said = run(rogue(f"{how} ACTION_{packet}"), "DH0:", "TN=30")
                self.assertEqual(said.stderr.splitlines()[-1],
                                 f"quorle: handler process of DH0: {line} in ACTION_{packet}, test 30 (Read.ReadBack);"
                                 " started again for the next test")
                self.assertEqual(said.returncode, 10)
                self.assertEqual(processes(selftest("rogue_client.py")), [])

    def first_line(self, words, *arguments):
        return run(rogue(words), *arguments).stderr.splitlines()[0]

    def test_locks_and_handles_are_checked(self):
        start = "quorle: handler process of DH0: "
        again = "; started again for the next test"
        for how, packet, line in [
                ("live_lock", "CREATE_DIR", "gave a lock the number 1, which another one has"),
                ("negative_lock", "CREATE_DIR", 'gave "result" as -5, which is not 0 to 9223372036854775807'),
        ]:
            with self.subTest(how=how):
                self.assertEqual(self.first_line(f"{how} ACTION_{packet}", "DH0:", "TN=7"),
                                 f"{start}{line} in ACTION_{packet}, test 7 (CreateDir.NewDirectory){again}")
        for how, line, place in [
                ("no_handle", 'left out "handle"', "test 3 (ChangeFileMode.ExclusiveOnlyWhenAlone)"),
                ("live_handle", "gave a file the number 3, which another one has",
                 "test 26 (Open.OldFileBesideReadWriteOpens)"),
        ]:
            with self.subTest(how=how):
                self.assertEqual(self.first_line(f"{how} ACTION_FINDINPUT"),
                                 f"{start}{line} in ACTION_FINDINPUT, {place}{again}")

    def test_records_are_checked(self):
        for how, packet, line in [
                ("wide_text", "EXAMINEDATA", 'gave "name" as a text that is not of Latin-1 in UTF-8'),
                ("text_with_zero", "EXAMINEDATA", 'gave "comment" as a text with a zero in it'),
                ("long_text", "EXAMINEDATA", 'gave "name" as a text of 100000 bytes, of at most 65000'),
                ("no_record", "EXAMINEDATA", 'gave "result" as a list, which is no record: a map, or 0'),
                ("wrong_date", "EXAMINEDATA", 'gave "date" as a list, which is no date: three numbers'),
        ]:
            with self.subTest(how=how):
                self.assertEqual(self.first_line(f"{how} ACTION_{packet}", "DH0:", "TN=17"),
                                 f"quorle: handler process of DH0: {line} in ACTION_{packet}, test 17"
                                 " (ExamineLock.RootDirectory); started again for the next test")
        for how, line in [("no_info", 'left out "info"'),
                          ("short_info", "gave a record of 35 bytes, which has 36")]:
            with self.subTest(how=how):
                self.assertEqual(self.first_line(f"{how} ACTION_DISK_INFO", "DH0:", "TN=17"),
                                 f"quorle: handler process of DH0: {line} in ACTION_DISK_INFO; started again for the"
                                 " next test")

    def test_a_count_that_is_no_count_fails_the_call_alone(self):
        said = run(rogue("count_beyond ACTION_READ"), "DH0:", "TN=30")
        self.assertEqual(said.stderr, "quorle: handler of DH0: gave a count of 600 for 256 bytes in ACTION_READ,"
                                      " test 30 (Read.ReadBack)\n")
        self.assertEqual(said.returncode, 10)

    def test_silence_has_an_end(self):
        said = run(rogue("silence ACTION_READ", ",limit=1"), "DH0:", "TN=30")
        self.assertEqual(said.stderr, "quorle: handler process of DH0: did not answer within 1 second in ACTION_READ,"
                                      " test 30 (Read.ReadBack); started again for the next test\n")
        self.assertEqual(processes(selftest("rogue_client.py")), [])

    def test_without_a_restart_the_rest_fails(self):
        said = run(rogue("exit_3 ACTION_READ", ",restart=no"), "DH0:", "FTN=30")
        self.assertEqual(said.stderr, "quorle: handler process of DH0: exited with status 3 in ACTION_READ,"
                                      " test 30 (Read.ReadBack)\n")
        self.assertNotIn(("ReadSoftLink", "passed"), outcomes(said.stdout))

    def test_with_a_restart_the_next_group_passes(self):
        said = run(rogue("exit_3 ACTION_READ"), "DH0:", "FTN=30", "LTN=31")
        self.assertIn(("ReadSoftLink", "passed"), outcomes(said.stdout))

    def test_a_socket_that_vanishes(self):
        process, path = self.listen(selftest("rogue_client.py"), "exit_3", "ACTION_READ")
        said = run(f"connect:unix:{path},limit=2", "DH0:", "FTN=30", "LTN=31")
        self.assertEqual(process.wait(), 3)
        self.assertEqual(said.stderr.splitlines(), [
            "quorle: handler process of DH0: closed the connection in ACTION_READ, test 30 (Read.ReadBack); started"
            " again for the next test",
            f"quorle: handler process of DH0: could not be started again: cannot connect to {path}: Connection refused",
        ])
        self.assertEqual(said.returncode, 10)


class Mounting(ConnectTest):
    """A mount that fails says why, and nothing is tested."""

    def refused(self, mount, why):
        said = run(mount, "DH0:", "TN=24")
        self.assertEqual((said.stdout, said.stderr, said.returncode), ("", f"quorle: cannot mount DH0: {why}\n", 20))

    def test_what_the_handler_says(self):
        who = '"memory_handler 1.0 (27.6.2025)"'
        for words, why in [
                ("other_protocol hello", f"{who} speaks version 2 of the protocol, which is not 1"),
                ("refusal", "no medium in the drive"),
                ("taken_name", 'the volume name "Ram Disk" is taken, or is none'),
                ("wrong_name", 'the volume name "a:b" is taken, or is none'),
                ("number_for_name", 'the handler process gave "volume" as a number, which is no text in Mount()'),
        ]:
            with self.subTest(words=words):
                self.refused(rogue(words), why)

    def test_commands_that_are_no_handlers(self):
        self.refused("exec:exit 3", "the handler process exited with status 3 in Mount()")
        self.refused("exec:kill -9 $$", "the handler process ended by signal 9 (SIGKILL) in Mount()")
        self.refused("exec:exec sleep 50,limit=1", "the handler process did not answer within 1 second in Mount()")
        # It stays, so that not its end is what is seen.
        self.refused("exec:echo hello world >&3; exec sleep 50",
                     "the handler process announced a message of 1751477356 bytes, of at most 17825792 in Mount()")

    def test_nobody_listens(self):
        path = self.path("nobody")
        self.refused(f"connect:unix:{path},limit=1", f"cannot connect to {path}: No such file or directory")
        self.refused(f"connect:unix:{'/x' * 60}",
                     f"the name of a socket has at most 107 bytes: {'/x' * 60}")

    def test_options(self):
        for mount, why in [
                ("exec:true,isolate=no", "isolate=no: exec is always in a process of its own"),
                ("connect:unix:/x,isolate=no", "isolate=no: connect is always in a process of its own"),
                ("exec:true,limit=0", "limit=0: it is a number of seconds, 1 to 86400"),
                ("exec:true,restart=maybe", "restart=maybe: it is either yes or no"),
                ("exec", "exec needs a command: exec:COMMAND"),
                ("connect:tcp:1", "connect needs a socket: connect:unix:PATH"),
                ("connect:unix:", "connect needs a socket: connect:unix:PATH"),
                (rogue("none", ",port=vector"), "port=vector: the handler has no functions, it takes packets alone"),
                (rogue("none", ",deviate=delete-open-file"),
                 "deviate: the handler has no functions, it takes packets alone"),
        ]:
            with self.subTest(mount=mount):
                self.refused(mount, why)

    def test_the_end(self):
        for words, how in [("silence unmount", "did not answer within 3 seconds"),
                           ("exit_3 unmount", "exited with status 3"),
                           ("closed unmount", "closed the connection"),
                           ("daemon unmount", "exited with status 3")]:
            with self.subTest(words=words):
                said = run(rogue(words, ",limit=3"), "DH0:", "TN=24")  # to start takes a busy machine long, too
                self.assertEqual(said.stderr, f"quorle: handler process of DH0: {how} in Unmount()\n")
                self.assertEqual(said.returncode, 10)
                self.assertEqual(processes(selftest("rogue_client.py")), [])

    def test_keys_arrive_and_the_streams_are_as_promised(self):
        with open(self.path("keys.py"), "w", encoding="utf-8") as file:
            file.write("import os, sys\nimport memory_handler, quorle_handler\n"
                       "class Keys(memory_handler.MemoryHandler):\n"
                       "    def mount(self, device, keys):\n"
                       "        self.log(f'{device} {sorted(keys.items())}')\n"
                       # One write, also where PYTHONUNBUFFERED is set: the other line may come at any time.
                       "        os.write(1, f'input {sys.stdin.read()!r} {os.getpid() != os.getsid(0)}\\n'.encode())\n"
                       "        return super().mount(device, keys)\n"
                       "quorle_handler.run(Keys())\n")
        said = run(f"exec:exec {PYTHON} {self.path('keys.py')},volume=Work,colour=red,limit=5", "DH0:", "TN=24")
        # Standard output is standard error, the input is empty, and the session is another one's.
        self.assertEqual(sorted(said.stderr.splitlines()),
                         ["input '' True", "quorle: DH0: DH0 [('colour', 'red'), ('volume', 'Work')]"])
        self.assertIn("Volume Name= Work\n", said.stdout)
        self.assertEqual(said.returncode, 0)


class Leftovers(ConnectTest):
    """Nothing that the command makes outlives the run, however that ends."""

    def test_children(self):
        mark = f"300.{os.getpid()}"
        for command in (f"sleep {mark} & exec {PYTHON} {client('memory_handler.py')}",
                        f"(sleep {mark} &) ; {PYTHON} {client('memory_handler.py')}",
                        f"setsid sleep {mark} & exec {PYTHON} {client('memory_handler.py')}"):
            with self.subTest(command=command):
                said = run(f"exec:{command}", "DH0:", "TN=24")
                self.assertEqual((said.stderr, said.returncode), ("", 0))
                self.assertEqual(processes(mark), [])

    def test_a_program_that_is_killed(self):
        mark = f"400.{os.getpid()}"
        program = subprocess.Popen([QUORLE, "--mount", f"DH0=exec:sleep {mark} & sleep {mark}; true", "DH0:"],
                                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.await_count(mark, lambda count: count >= 4)
        program.kill()
        program.wait()
        self.await_count(mark, lambda count: count == 0)

    def await_count(self, mark, holds):
        end = time.monotonic() + 60
        while not holds(len(processes(mark))):
            self.assertLess(time.monotonic(), end, processes(mark))
            time.sleep(0.05)


class Checker(ConnectTest):
    """What clients/python/connect_check.py says of right and wrong clients."""

    def check(self, connection, *options):
        return subprocess.run([PYTHON, client("connect_check.py"), *options, connection], timeout=100, check=False,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                              encoding="utf-8", env=environment())

    def test_right_clients(self):
        for name, untried in [("memory_handler.py", 1), ("classic_handler.py", 3)]:
            with self.subTest(name=name):
                said = self.check(f"exec:exec {PYTHON} {client(name)}")
                lines = said.stdout.splitlines()
                self.assertEqual(lines[-1], "nothing is wrong")
                self.assertEqual(sum(line.startswith("ok ") for line in lines), 18 - untried)
                self.assertEqual(said.returncode, 0)

    def test_a_client_that_listens(self):
        _, path = self.listen(client("memory_handler.py"))
        said = self.check(f"connect:unix:{path}")
        self.assertEqual((said.stdout.splitlines()[-1], said.returncode), ("nothing is wrong", 0))

    CASES = [
        ("other_protocol hello", "hello: speaks version 2 of the protocol, which is not 1"),
        ("unknown_message hello", 'hello: answered with the type "pardon\\n\\x1b" instead of "hello"'),
        ("refusal", "mount: refused to be mounted: no medium\\nin the drive"),
        ("number_for_name", 'mount: "volume" is a number instead of a text or bytes'),
        ("four_gigabytes hello", "hello: announced a message of 4294967295 bytes, of at most 17825792; is the length"
                                 " four bytes, the highest first?"),
        ("torn hello", "hello: closed the connection within a message and exited with status 0"),
        ("silence hello", "hello: gave no answer within 2 seconds"),
        ("exit_3 hello", "hello: closed the connection and exited with status 3"),
        ("out_of_order ACTION_READ", "files have numbers of their own, and what is written is read: answered request"),
        ("too_many_bytes ACTION_READ", "files have numbers of their own, and what is written is read: gave 300 bytes"
                                       " for a room of 10"),
        ("no_bytes ACTION_READ", "files have numbers of their own, and what is written is read: gave the result 10 and"
                                 ' no "bytes"'),
        ("no_handle ACTION_FINDOUTPUT", 'files have numbers of their own, and what is written is read: "handle" is'
                                        " missing"),
        ("live_handle ACTION_FINDOUTPUT", "files have numbers of their own, and what is written is read: gave a file"
                                          " the number 1, which another one has"),
        ("wide_text ACTION_EXAMINEDATA", 'an object is examined: "name" has characters that are not of Latin-1'),
        ("no_info ACTION_DISK_INFO", 'the device\'s facts: "info" is missing'),
        ("no_entry ACTION_EXAMINEDATA_DIR", 'a scan: "entry" is nil instead of a map'),
        ("exit_3 unmount", "unmount: closed the connection and exited with status 3"),
    ]

    def test_wrong_clients(self):
        for words, line in self.CASES:
            with self.subTest(words=words):
                said = self.check(f"exec:exec {PYTHON} {selftest('rogue_client.py')} {words}", "--limit", "2")
                self.assertIn(f"WRONG  {line}", said.stdout.replace("\x1b", "\\x1b").replace("on\n\\", "on\\n\\")
                              .replace("um\nin", "um\\nin"))
                self.assertEqual(said.returncode, 10)

    def test_locks_that_are_used_twice(self):
        with open(self.path("twice.py"), "w", encoding="utf-8") as file:
            file.write("import memory_handler, quorle_handler\n"
                       "quorle_handler._Numbers.add = lambda self, thing: self._objects.update({1: thing}) or 1\n"
                       "quorle_handler.run(memory_handler.MemoryHandler())\n")
        said = self.check(f"exec:exec {PYTHON} {self.path('twice.py')}")
        self.assertIn("WRONG  locks have numbers of their own: gave a lock the number 1, which another one has\n",
                      said.stdout)
        self.assertEqual(said.returncode, 10)

    def test_unknown_packets_that_are_claimed(self):
        with open(self.path("claims.py"), "w", encoding="utf-8") as file:
            file.write("import memory_handler, quorle_handler\n"
                       "class Claims(quorle_handler.Session):\n"
                       "    def _answer_packet(self, action, arguments):\n"
                       "        if action == 4711:\n"
                       "            return {'type': 'answer', 'result': -1}\n"
                       "        return super()._answer_packet(action, arguments)\n"
                       "quorle_handler.Session = Claims\n"
                       "quorle_handler.run(memory_handler.MemoryHandler())\n")
        said = self.check(f"exec:exec {PYTHON} {self.path('claims.py')}")
        self.assertIn("WRONG  an unknown packet is answered with 209: answered packet 4711 with -1 and code None,"
                      " instead of 0 and 209\n", said.stdout)

    def test_nothing_can_be_tried(self):
        self.assertEqual(self.check(f"connect:unix:{self.path('nobody')}", "--limit", "0.2").returncode, 20)
        self.assertEqual(self.check("tcp:1").returncode, 2)


class Types(ConnectTest):
    """The client and the examples are typed."""

    def test_mypy_has_nothing_to_say(self):
        try:
            import mypy  # pylint: disable=unused-import,import-outside-toplevel
        except ImportError:
            self.skipTest("mypy is not here")
        names = [client(name) for name in sorted(os.listdir(client(""))) if name.endswith(".py")]
        self.assertEqual(len(names), 4)
        said = subprocess.run([PYTHON, "-m", "mypy", "--strict", "--cache-dir", self.path("cache"), *names],
                              stdout=subprocess.PIPE, encoding="utf-8", check=False, cwd=client(""))
        self.assertEqual(said.stdout, "Success: no issues found in 4 source files\n")


def main():
    global QUORLE, PLUGINS, SOURCES
    try:
        import msgpack  # pylint: disable=unused-import,import-outside-toplevel
    except ImportError:
        sys.exit(SKIPPED)
    QUORLE, PLUGINS, SOURCES = sys.argv[1:4]
    program = unittest.main(argv=[sys.argv[0], *sys.argv[4:]], exit=False, verbosity=2)
    if not program.result.wasSuccessful():
        sys.exit(1)
    if program.result.skipped and program.result.testsRun == len(program.result.skipped):
        sys.exit(SKIPPED)


if __name__ == "__main__":
    main()
