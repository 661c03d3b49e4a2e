#!/usr/bin/env python3
"""archive_test.py TEST SOURCES [ARCHIVE MEMBER... -- COMMAND...]: what users of the native program download.

Texts looks at the texts of SOURCES alone. Packed unpacks ARCHIVE, whose files are the MEMBERs (NAME:BITS=FILE each), and
runs the program in it by COMMAND. Status 77: there is no archive, or nothing that unpacks it.
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCES = ARCHIVE = None
MEMBERS, COMMAND = [], []
DRAWER = "Quorle/"


def text_of(name):
    with open(os.path.join(SOURCES, name), encoding="iso-8859-1") as file:
        return file.read()


VERSION = re.compile(r'"\$VER: Quorle (\S+) \((\d+)\.(\d+)\.(\d+)\)"')


def version():
    """The program's version as it names itself: its number; day, month and year."""
    number, *date = VERSION.search(text_of("harness/entry.cpp")).groups()
    return number, tuple(map(int, date))


# What a readme begins with, in this order, and what it may have besides.
FIELDS = ("Short", "Author", "Uploader", "Type", "Version", "Architecture")
OTHER_FIELDS = {"Replaces", "Requires", "Distribution", "Kurz"}
CATEGORIES = {"biz", "comm", "demo", "dev", "disk", "docs", "driver", "game", "gfx", "hard", "misc", "mods", "mus", "pix",
              "text", "util"}
COLUMNS = 77


def wrong_in_columns(text):
    return [f"longer than {COLUMNS} columns: {line}" for line in text.splitlines() if len(line) > COLUMNS]


def wrong_in_readme(text):
    """What breaks the rules of Aminet's readme files."""
    head = text.split("\n\n", 1)[0].splitlines()
    pairs = [re.fullmatch(r"(\w+):\s+(\S.*)", line) for line in head]
    if not all(pairs):
        return ["a line of the head is no field"]
    names, field = [pair[1] for pair in pairs], {pair[1]: pair[2] for pair in pairs}
    problems = wrong_in_columns(text)
    if tuple(names[:len(FIELDS)]) != FIELDS or len(set(names)) != len(names) or not set(names[len(FIELDS):]) <= OTHER_FIELDS:
        return problems + [f"fields: {', '.join(names)}"]
    if len(field["Short"]) > 40:
        problems.append("Short has more than 40 characters")
    if not re.fullmatch(r"\S+@\S+\.\S+ \(.+\)", field["Uploader"]):
        problems.append("Uploader is no address with a name")
    if not re.fullmatch(r"[a-z]+/[a-z]+", field["Type"]) or field["Type"].split("/")[0] not in CATEGORIES:
        problems.append("Type is no category")
    if field["Version"] != version()[0]:
        problems.append("Version is not the program's")
    if field["Architecture"] != "ppc-amigaos >= 4.1":
        problems.append("Architecture")
    return problems


LINK = re.compile(r'@\{"([^"]*)" link "([^"]*)"\}')


def shown(line):
    """A line of a guide as its reader sees it."""
    line = re.sub(r"@\{u?b\}", "", LINK.sub(r"\1", line))
    return re.sub(r"\\(.)", r"\1", line)


def wrong_in_guide(text):
    """What a reader of AmigaGuide files would stumble over; its nodes as NAME -> text."""
    problems, nodes, name = [], {}, None
    lines = text.splitlines()
    if lines[0] != "@DATABASE Quorle.guide":
        problems.append("the first line is not @DATABASE")
    for line in lines[1:]:
        begins = re.fullmatch(r'@NODE (\S+) "[^"]+"', line)
        if begins:
            if name is not None or begins[1].lower() in map(str.lower, nodes):
                problems.append(f"node {begins[1]}: in another, or there already")
            name = begins[1]
            nodes[name] = ""
        elif line == "@ENDNODE":
            if name is None:
                problems.append("@ENDNODE without a node")
            name = None
        elif name is not None:
            nodes[name] += line + "\n"
            if re.search(r"(?<!\\)@", re.sub(r"@\{u?b\}", "", LINK.sub("", line))):
                problems.append(f"node {name}: not a command: {line}")
            problems += wrong_in_columns(shown(line))
        elif line and not re.match(r"@(\$VER:|AUTHOR) \S", line):
            problems.append(f"between the nodes: {line}")
    if name is not None:
        problems.append(f"node {name} has no end")
    if next(iter(nodes), "") != "MAIN":
        problems.append("the first node is not MAIN")
    targets = [target for _, target in LINK.findall(text)]
    problems += [f"no node for the link to {target}" for target in targets if target not in nodes]
    problems += [f"no link to the node {node}" for node in nodes if node not in targets]
    return problems, nodes


# What the script does besides what a recipe has to say: it looks, answers and clears up.
CONTROL = ("FailAt", "If", "EndIf", "Quit", "Which", "Delete")


def script_commands():
    """The commands of the script that make something to be sent."""
    lines = [line.strip() for line in text_of("native/ReportFirstRun").splitlines()]
    lines = [line for line in lines if line and not line.startswith(";") and line.split()[0] not in CONTROL]
    return [line for line in lines if not re.match(r'Echo (>RAM:Quorle-marker )?"[^"]*"$', line)]


def recipe_commands():
    recipe = re.search(r"^## First run on a real machine\n(.*?)^## ", text_of("docs/native.md"), re.M | re.S)[1]
    return re.findall(r"^ {7}(\S.*)$", recipe, re.M)


class Texts(unittest.TestCase):
    maxDiff = None

    def test_readme(self):
        text = text_of("native/Quorle.readme")
        self.assertEqual(wrong_in_readme(text), [])
        for right, wrong in (("Short:        ", "Short:        Very thoroughly: "), ("Author: ", "Writer: "), ("disk/misc", "disks"),
                             ("Short:", "\nShort:"), (".example (", ".example "), ("53.24\nArch", "53.23\nArch"), (">= 4.1", ">= 4"),
                             ("WHAT IT IS", "WHAT IT IS" + " " * 70 + ".")):
            self.assertIn(right, text)
            self.assertNotEqual(wrong_in_readme(text.replace(right, wrong, 1)), [], wrong)

    def test_readme_names_each_file(self):
        listed = re.search(r"^WHAT IS IN THE DRAWER\n\n(.*?)\n\n", text_of("native/Quorle.readme"), re.M | re.S)[1]
        packed = re.findall(r"^  Quorle/([\w.]+):", text_of("native/CMakeLists.txt"), re.M)
        self.assertGreater(len(packed), 4)
        self.assertEqual(sorted(re.findall(r"^  (\S+)  ", listed, re.M)), sorted(packed))

    def test_install(self):
        text = text_of("native/Install")
        self.assertEqual(wrong_in_columns(text), [])
        self.assertIn(f"Quorle-{version()[0]}.lha", text)

    def test_guide(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "guide")
            subprocess.run([sys.executable, os.path.join(SOURCES, "native/make_guide"), os.path.join(SOURCES, "docs/tests.md"),
                            os.path.join(SOURCES, "harness/entry.cpp"), path], check=True)
            with open(path, encoding="iso-8859-1") as file:
                text = file.read()
        problems, nodes = wrong_in_guide(text)
        self.assertEqual(problems, [])
        self.assertIn("\n@$VER: Quorle.guide {} ({}.{}.{})\n".format(version()[0], *version()[1]), text)
        titles = re.findall(r'"FS\w+Stub"|"(FS[^"]+)"', text_of("tests/catalogue.cpp"))
        links = [title for title, _ in LINK.findall(nodes["MAIN"])][1:]
        self.assertEqual([link.split(". ", 1)[0] for link in links], [str(number) for number in range(1, len(titles) + 1)])
        checks = [line.split(".") for line in text_of("tests/check_ids.txt").splitlines()
                  if line and not line.startswith(("#", "Further."))]
        self.assertGreater(len(checks), 100)
        for group, check in checks:
            self.assertRegex(nodes[group], rf"(?m)^\d+\. {check}\b")
        for right, wrong in (('link "Lock"', 'link "Look"'), ("@ENDNODE", ""), ("@NODE Lock ", "@NODE Open "), ("MAIN", "Main"),
                             ("ERROR:", "@ERROR:"), ("@DATABASE", "@database?")):
            self.assertNotEqual(wrong_in_guide(text.replace(right, wrong, 1))[0], [], wrong)

    def test_script_does_what_the_recipe_says(self):
        commands = script_commands()
        self.assertGreater(len(commands), 10)
        self.assertEqual(commands, recipe_commands())

    def test_script_writes_beside_what_it_tests(self):
        text = text_of("native/ReportFirstRun")
        tested = {device for command in script_commands() for device in re.findall(r"^Quorle (\w+:)", command)}
        self.assertEqual(tested, {"RAM:", "NIL:"})
        places = re.findall(r">([^\s>]+)", text)
        self.assertTrue(set(places) >= {"FirstRun/ram.txt", "NIL:"}, places)
        for place in places:
            if place not in ("NIL:", "RAM:Quorle-marker"):
                self.assertRegex(place, r"^FirstRun/\w+\.txt$")
        # The marker is gone on each way on, and the drawer is made behind all that refuses.
        marker = text.index(">RAM:Quorle-marker")
        self.assertEqual(len(re.findall("Delete >NIL: RAM:Quorle-marker", text[marker:text.index("MakeDir")])), 2)
        self.assertNotIn("Quit 20", text[text.index("MakeDir"):])

    def test_script_has_whole_blocks(self):
        text, depth = text_of("native/ReportFirstRun"), 0
        self.assertEqual(wrong_in_columns(text), [])
        for line in text.splitlines():
            depth += {"If": 1, "EndIf": -1}.get((line.split() or [""])[0], 0)
            self.assertIn(depth, (0, 1))
            self.assertEqual(line.startswith("  "), depth == 1 and not line.startswith("If"), line)
        self.assertEqual(depth, 0)


def crc16(data):
    crc = 0
    for byte in data:
        crc ^= byte
        for _ in range(8):
            crc = crc >> 1 ^ (0xA001 if crc & 1 else 0)
    return crc


def number(data, at, size):
    return int.from_bytes(data[at:at + size], "little")


class Shell:
    """As much of the platform's shell as the script uses. The program is the real one, run by COMMAND; what the platform
    itself brings (Version, LhA) writes what it was asked for. The volume of the drawer is the folder above it."""

    def __init__(self, drawer, ram, lha):
        self.drawer, self.ram, self.lha = os.path.normpath(drawer), ram, lha
        self.root = os.path.dirname(self.drawer)
        self.result, self.said, self.packed = 0, [], []
        self.commands = {"Echo": self.echo, "Delete": self.delete, "MakeDir": self.makedir, "Version": self.version,
                         "Which": self.which, "LhA": self.pack, "Quorle": self.quorle}

    def path(self, name):
        volume, colon, rest = name.rpartition(":")
        return os.path.join({"": self.root, "RAM": self.ram}[volume] if colon else self.drawer, rest)

    def run(self, script):
        with open(self.path(script), encoding="iso-8859-1") as file:
            lines = [line.strip() for line in file]
        fail_at, code, skipping = 10, 0, False
        for line in lines:
            words = re.findall(r'"[^"]*"|[^\s"]+', line.replace("$RC", str(code)))
            if not words or words[0].startswith(";"):
                continue
            name, *rest = words
            place = next((word for word in rest if word.startswith(">")), "")
            rest = [word.strip('"') for word in rest if word != place]
            if name == "EndIf":
                skipping = False
            elif skipping:
                continue
            elif name == "If":
                skipping = not self.holds(rest, code)
                code = 0
            elif name == "FailAt":
                fail_at = int(rest[0])
            elif name == "Quit":
                self.result = int(rest[0])
                return
            else:
                code, text = self.commands[name](*rest)
                if not place:
                    self.said += text.splitlines()
                elif place != ">NIL:":
                    with open(self.path(place.lstrip(">")), "a" if place.startswith(">>") else "w", encoding="iso-8859-1") as out:
                        out.write(text)
                if code >= fail_at:
                    raise AssertionError(f"{line}: ended with {code}, which ends the script")
        self.result = 0

    def holds(self, words, code):
        if words == ["WARN"]:
            return code >= 5
        *negated, what, name = words
        assert what == "EXISTS" and negated in ([], ["NOT"]), words
        return os.path.exists(self.path(name)) != bool(negated)

    def echo(self, *words):
        return 0, " ".join(words) + "\n"

    def delete(self, name):
        os.remove(self.path(name))
        return 0, f"{name}  Deleted\n"

    def makedir(self, name):
        os.mkdir(self.path(name))
        return 0, ""

    def version(self, *words):
        return 0, " ".join(words) + "\n"

    def which(self, name):
        assert name == "LhA"
        return (5, "") if self.lha == "is not here" else (0, name + "\n")

    def pack(self, command, archive, pattern):
        assert (command, archive) == ("a", "FirstRun.lha")
        folder, _, name = pattern.partition("/")
        match = re.compile(re.escape(name).replace(r"\#\?", ".*"))
        self.packed = sorted(f"{folder}/{file}" for file in os.listdir(self.path(folder)) if match.fullmatch(file))
        return (10, "") if self.lha == "fails" else (0, "")

    def quorle(self, *words):
        done = subprocess.run([*COMMAND, self.path("Quorle"), *words], check=False, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE)
        return done.returncode, done.stdout.decode("iso-8859-1")


class Packed(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.members = []
        for member in MEMBERS:
            name, _, path = member.partition("=")
            with open(path, "rb") as file:
                cls.members.append((*name.split(":"), file.read()))

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def lhasa(self, command):
        return subprocess.run(["lhasa", command, ARCHIVE], check=True, stdout=subprocess.PIPE, cwd=self.folder,
                              env={**os.environ, "TZ": "UTC"}, text=True).stdout

    def test_listed(self):
        rows = re.findall(r"^\[Amiga\] +(\d+) .* (\S+)$", self.lhasa("l"), re.M)
        self.assertEqual(rows, [(str(len(data)), name) for name, _, data in self.members])

    def test_unpacked_byte_for_byte(self):
        self.lhasa("t")
        self.lhasa("xq")
        found = [os.path.relpath(os.path.join(folder, name), self.folder)
                 for folder, _, names in os.walk(self.folder) for name in names]
        self.assertEqual(sorted(found), sorted(name for name, _, _ in self.members))
        for name, _, data in self.members:
            self.assertTrue(name.startswith(DRAWER), name)
            with open(os.path.join(self.folder, name), "rb") as file:
                self.assertTrue(file.read() == data, name)

    def test_headers(self):
        """Each by its offsets, from the platform's side: what denies is set where the letter is missing."""
        with open(ARCHIVE, "rb") as file:
            archive = file.read()
        (day, month, year), at = version()[1], 0
        for name, bits, data in self.members:
            size, length = archive[at], archive[at + 21]
            body = archive[at + 2:at + 2 + size]
            self.assertEqual(sum(body) % 256, archive[at + 1], name)
            self.assertEqual(size, 25 + length, name)
            self.assertEqual(archive[at + 22:at + 22 + length].decode("ascii"), name)
            self.assertEqual(archive[at + 20], 1, name)
            self.assertEqual(chr(archive[at + 24 + length]), "A", name)
            self.assertEqual(number(archive, at + 25 + length, 2), 0, name)
            self.assertEqual(number(archive, at + 11, 4), len(data), name)
            self.assertEqual(number(archive, at + 22 + length, 2), crc16(data), name)
            date = number(archive, at + 15, 4)
            self.assertEqual((date >> 25, date >> 21 & 15, date >> 16 & 31, date & 0xFFFF), (year - 1980, month, day, 0), name)
            byte = archive[at + 19]
            wanted = "".join(letter if bool(byte & 0x80 >> place) == (place < 4) else "-" for place, letter in enumerate("hsparwed"))
            self.assertEqual(bits, wanted, name)
            at += 2 + size + number(archive, at + 7, 4)
        self.assertEqual(archive[at:], b"\0")

    def test_bits(self):
        bits = {name: shown for name, shown, _ in self.members}
        self.assertEqual(bits.pop(DRAWER + "Quorle"), "----rwed")
        self.assertEqual(bits.pop(DRAWER + "ReportFirstRun"), "-s--rwed")
        self.assertEqual(set(bits.values()), {"----rw-d"})

    def test_texts(self):
        for name, _, data in self.members:
            if name != DRAWER + "Quorle":
                self.assertNotIn(b"\r", data, name)
                self.assertTrue(data.endswith(b"\n"), name)
                self.assertRegex(data.decode("iso-8859-1"), r"\A[\n -~\xa0-\xff]*\Z", name)

    def first_run(self, on_ram=False, lha="packs"):
        """The script in a drawer that was just unpacked: the shell that ran it."""
        shutil.rmtree(os.path.join(self.folder, DRAWER), ignore_errors=True)
        self.lhasa("xq")
        shell = Shell(os.path.join(self.folder, DRAWER), self.folder if on_ram else tempfile.mkdtemp(dir=self.folder), lha)
        shell.run("ReportFirstRun")
        self.assertFalse(os.path.exists(shell.path("RAM:Quorle-marker")))
        return shell

    def test_first_run(self):
        """The program in the archive does what the recipe says of its commands, and all that is said of them is packed."""
        shell = self.first_run()
        self.assertEqual((shell.result, shell.said), (0, ["Please send FirstRun.lha: the files of the drawer FirstRun."]))
        files = {}
        for name in os.listdir(shell.path("FirstRun")):
            with open(shell.path("FirstRun/" + name), encoding="iso-8859-1") as file:
                files[name] = file.read()
        self.assertEqual(shell.packed, sorted(f"FirstRun/{name}" for name in files))
        self.assertEqual(files["results.txt"], "list 20\nnil 20\nlock 0\nram 0\n")
        self.assertEqual(len(re.findall(r"^\s*\d+\W", files["list.txt"], re.M)), 47, files["list.txt"])
        self.assertNotIn("Starting tests", files["nil.txt"])
        self.assertIn("Lock()", files["lock.txt"])
        self.assertEqual(files["ram.txt"].count("() tests passed."), 33, files["ram.txt"])

    def test_first_run_without_lha(self):
        for lha in ("is not here", "fails"):
            shell = self.first_run(lha=lha)
            self.assertEqual((shell.result, len(shell.said)), (0, 1))
            self.assertIn("please pack the drawer FirstRun", shell.said[0])
            self.assertTrue(os.path.exists(shell.path("FirstRun/ram.txt")))

    def test_first_run_refuses(self):
        shell = self.first_run(on_ram=True)
        self.assertEqual((shell.result, shell.said), (20, ["This is on RAM:, which is tested: unpack it on another volume."]))
        self.assertFalse(os.path.exists(shell.path("FirstRun")))

        shell = self.first_run()
        shell.run("ReportFirstRun")
        self.assertEqual((shell.result, shell.said[1:]), (20, ["FirstRun is there already: rename or delete it first."]))

        shell.drawer = self.folder
        shell.run(DRAWER + "ReportFirstRun")
        self.assertEqual((shell.result, shell.said[2:]), (20, ["Make the drawer with the program Quorle the current one first."]))


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    test, SOURCES, words = sys.argv[1], sys.argv[2], sys.argv[3:]
    if words:
        split = words.index("--")
        ARCHIVE, MEMBERS, COMMAND = words[0], words[1:split], words[split + 1:]
        if not os.path.exists(ARCHIVE):
            print("SKIPPED: no archive, since jlha is not here")
            sys.exit(77)
        if not shutil.which("lhasa"):
            print("SKIPPED: no lhasa")
            sys.exit(77)
    unittest.main(argv=[sys.argv[0], test])
