#!/usr/bin/python3
"""connect_check.py [--limit SECONDS] exec:COMMAND | connect:unix:PATH

Plays the tester's side of the protocol of docs/connect.md against a handler, in good exchanges and in bad ones,
and says in one line each what the handler's side does wrong with the protocol. Whether the filesystem itself is
right is for quorle to say.

Exit status: 0 nothing is wrong, 10 something is, 20 nothing could be tried. Needs python3-msgpack.
"""
from __future__ import annotations

import argparse
import os
import signal
import socket
import struct
import subprocess
import sys
import time
from typing import Any, Callable, Dict, List, Optional, Tuple

import msgpack  # type: ignore[import]

PROTOCOL = 1
MOST_BYTES = (16 << 20) + (1 << 20)
MOST_BEFORE_ANSWER = 1000
NAME = "connect-check"

Message = Dict[str, Any]
Argument = Tuple[str, Any]
NONE: Argument = ("none", None)

NOT_KNOWN, NO_MORE_ENTRIES = 209, 232
SHARED, EXCLUSIVE = -2, -1


class Wrong(Exception):
    """What the handler's side did wrong."""


class Gone(Wrong):
    """And there is nobody any more."""


class Missing(Exception):
    """The handler does not have what a check needs."""


def kind_of(value: object) -> str:
    names = {type(None): "nil", bool: "a truth value", int: "a number", float: "a fraction", str: "a text"}
    names.update({bytes: "bytes", list: "a list", dict: "a map"})
    return names.get(type(value), "something else")


def member(message: Message, name: str, *kinds: type) -> Any:
    """The member `name`, which must be of one of `kinds`."""
    if name not in message:
        raise Wrong(f'"{name}" is missing')
    value = message[name]
    if type(value) not in kinds:
        wanted = " or ".join(kind_of(kind() if kind is not type(None) else None) for kind in kinds)
        raise Wrong(f'"{name}" is {kind_of(value)} instead of {wanted}')
    return value


def number(message: Message, name: str, least: int, most: int) -> int:
    value = member(message, name, int)
    if not least <= value <= most:
        raise Wrong(f'"{name}" is {value}, which is not {least} to {most}')
    return int(value)


def latin1(message: Message, name: str) -> str:
    """A text, which may have come as bytes."""
    value = member(message, name, str, bytes)
    text = value if isinstance(value, str) else value.decode("latin-1")
    try:
        text.encode("latin-1")
    except UnicodeEncodeError:
        raise Wrong(f'"{name}" has characters that are not of Latin-1') from None
    if "\0" in text:
        raise Wrong(f'"{name}" has a zero in it')
    return str(text)


def date(message: Message, name: str) -> None:
    value = member(message, name, list)
    if len(value) != 3 or any(type(each) is not int for each in value):
        raise Wrong(f'"{name}" is not a list of three numbers')


# ---- The two ways to a handler ---------------------------------------------------------------------------------


class Command:
    """exec:"""

    def __init__(self, command: str) -> None:
        self._command = command
        self._child: Optional[subprocess.Popen[bytes]] = None

    def open(self, limit: float) -> socket.socket:
        ours, theirs = socket.socketpair()

        def keep() -> None:
            if theirs.fileno() == 3:
                os.set_inheritable(3, True)
            else:
                os.dup2(theirs.fileno(), 3)

        self._child = subprocess.Popen(  # pylint: disable=consider-using-with,subprocess-popen-preexec-fn
            ["/bin/sh", "-c", self._command],
            stdin=subprocess.DEVNULL,
            stdout=sys.stderr,
            close_fds=False,
            preexec_fn=keep,
            start_new_session=True,
        )
        theirs.close()
        return ours

    def how_it_ended(self, limit: float) -> Optional[str]:
        """What the shell says; None when it runs on."""
        if self._child is None:
            return None
        try:
            status = self._child.wait(limit)
        except subprocess.TimeoutExpired:
            return None
        return f"exited with status {status}" if status >= 0 else f"ended by signal {-status}"

    def close(self) -> None:
        if self._child is not None:
            try:
                os.killpg(self._child.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            self._child.wait()


class Listener:
    """connect:unix:"""

    def __init__(self, path: str) -> None:
        self._path = path

    def open(self, limit: float) -> socket.socket:
        end = time.monotonic() + limit
        while True:
            stream = socket.socket(socket.AF_UNIX)
            try:
                stream.connect(self._path)
                return stream
            except OSError:
                stream.close()
                if time.monotonic() > end:
                    raise
                time.sleep(0.05)

    def how_it_ended(self, limit: float) -> Optional[str]:
        """It does not end: it waits for the next connection."""
        return "exited with status 0"

    def close(self) -> None:
        """It is somebody else's."""


# ---- One connection ----------------------------------------------------------------------------------------------


class Session:
    def __init__(self, way: "Command | Listener", limit: float) -> None:
        self._way = way
        self._limit = limit
        self._stream = way.open(limit)
        self._stream.settimeout(limit)
        self._id = 0
        self.locks: List[int] = []
        self.files: List[int] = []
        self.step = 1  # of the ids

    def close(self) -> None:
        self._stream.close()
        self._way.close()

    def hang_up(self) -> Optional[str]:
        """Closes the connection; how the handler ended, None when it did not."""
        self._stream.close()
        return self._way.how_it_ended(self._limit)

    # ---- Messages ----

    def send_bytes(self, data: bytes, pieces: int = 1) -> None:
        size = -(-len(data) // pieces)
        try:
            for at in range(0, len(data), size):
                self._stream.sendall(data[at : at + size])
                if pieces > 1:
                    time.sleep(0.002)
        except OSError:
            self._gone("closed the connection")

    def send(self, message: Message, pieces: int = 1) -> None:
        data = msgpack.packb(message, use_bin_type=True)
        self.send_bytes(struct.pack(">I", len(data)) + data, pieces)

    def _gone(self, what: str) -> None:
        how = self._way.how_it_ended(1) if isinstance(self._way, Command) else None
        raise Gone(what if how is None else f"{what} and {how}")

    def _take(self, size: int, begun: bool) -> bytes:
        data = bytearray()
        while len(data) < size:
            try:
                piece = self._stream.recv(size - len(data))
            except socket.timeout:
                raise Gone(f"gave no {'whole ' if data or begun else ''}answer within {self._limit:g} seconds") from None
            except OSError:
                piece = b""
            if not piece:
                self._gone("closed the connection" + (" within a message" if data or begun else ""))
            data += piece
        return bytes(data)

    def receive(self) -> Message:
        (length,) = struct.unpack(">I", self._take(4, False))
        if length > MOST_BYTES:
            raise Gone(f"announced a message of {length} bytes, of at most {MOST_BYTES}; is the length four bytes,"
                       " the highest first?")
        data = self._take(length, True)
        try:
            message = msgpack.unpackb(data, raw=False, strict_map_key=False)
        except (ValueError, msgpack.UnpackException) as error:
            raise Gone(f"sent a message of {length} bytes that is no MessagePack: {error}") from None
        if not isinstance(message, dict) or any(not isinstance(key, str) for key in message):
            raise Gone(f"sent {kind_of(message)} instead of a map whose keys are texts")
        return message

    def ask(self, request: Message, answer_type: str, pieces: int = 1) -> Message:
        """Sends a request; the answer to it. Serves what comes before."""
        self._id += self.step
        self.send({**request, "id": self._id}, pieces)
        for _ in range(MOST_BEFORE_ANSWER):
            message = self.receive()
            kind = latin1(message, "type")
            if kind == answer_type:
                got = member(message, "id", int)
                if got != self._id:
                    raise Gone(f"answered request {got}, where {self._id} was asked")
                return message
            if kind == "log":
                latin1(message, "line")
            elif kind == "notify":
                raise Gone("sent a notification, which nobody asked for")
            elif kind == "volume":
                if message.get("name") is not None:
                    latin1(message, "name")
                self.send({"type": "volume", "set": True})
            else:
                raise Gone(f'answered with the type "{kind}" instead of "{answer_type}"')
        raise Gone(f"sent {MOST_BEFORE_ANSWER} messages without an answer")

    # ---- Requests ----

    def hello(self, **more: object) -> Message:
        hello = self.ask({"type": "hello", "protocol": PROTOCOL, "tester": NAME, **more}, "hello")
        latin1(hello, "handler")
        version = member(hello, "protocol", int)
        if version != PROTOCOL:
            raise Gone(f"speaks version {version} of the protocol, which is not {PROTOCOL}")
        return hello

    def mount(self, **more: object) -> Message:
        answer = self.ask({"type": "mount", "device": "DH0", "keys": {"volume": "Check"}, **more}, "mounted")
        if answer.get("problem") is not None:
            raise Gone(f"refused to be mounted: {latin1(answer, 'problem')}")
        if answer.get("volume") is not None:
            latin1(answer, "volume")
        return answer

    def packet(self, action: int, name: str, *arguments: Argument, pieces: int = 1) -> Message:
        """The answer to a packet; Missing when the handler does not know it."""
        answer = self.ask(
            {"type": "packet", "action": action, "name": name, "arguments": [list(each) for each in arguments]},
            "answer",
            pieces,
        )
        if "result" not in answer:
            raise Wrong(f'"result" is missing in the answer to {name}')
        code = answer.get("code")
        if code is not None and type(code) is not int:
            raise Wrong(f'"code" is {kind_of(code)} instead of a number, in the answer to {name}')
        if code == NOT_KNOWN and not answer["result"]:
            raise Missing(name)
        return answer

    # ---- What most checks need ----

    def lock(self, name: str = "", rel: int = 0) -> int:
        answer = self.packet(
            8, "ACTION_LOCATE_OBJECT", ("lock", rel), ("text", name), ("number", SHARED), NONE, ("again", 2)
        )
        lock = number(answer, "result", 0, (1 << 63) - 1)
        if lock == 0:
            raise Missing(f'a lock on "{name}", which was answered with {answer.get("code")}')
        if lock in self.locks:
            raise Wrong(f"gave a lock the number {lock}, which another one has")
        self.locks.append(lock)
        return lock

    def unlock(self, lock: int) -> None:
        answer = self.packet(15, "ACTION_FREE_LOCK", ("lock", lock), NONE, NONE, NONE, NONE)
        if not truth(answer):
            raise Wrong(f"did not free lock {lock}: {answer.get('code')}")
        self.locks.remove(lock)

    def open(self, name: str, action: int = 1006) -> int:
        names = {1004: "ACTION_FINDUPDATE", 1005: "ACTION_FINDINPUT", 1006: "ACTION_FINDOUTPUT"}
        answer = self.packet(
            action, names[action], ("new_handle", None), ("lock", 0), ("text", name), NONE, ("again", 3)
        )
        if not truth(answer):
            raise Missing(f'an open file "{name}", which was answered with {answer.get("code")}')
        handle = number(answer, "handle", 1, (1 << 63) - 1)
        if handle in self.files:
            raise Wrong(f"gave a file the number {handle}, which another one has")
        self.files.append(handle)
        return handle

    def end(self, handle: int) -> None:
        self.packet(1007, "ACTION_END", ("fh_arg1", handle), ("handle", handle), NONE, NONE, NONE)
        self.files.remove(handle)

    def write(self, handle: int, data: bytes) -> None:
        answer = self.packet(
            87, "ACTION_WRITE", ("fh_arg1", handle), ("bytes", data), ("number", len(data)), ("handle", handle), NONE
        )
        if number(answer, "result", -1, len(data)) != len(data):
            raise Missing(f"a file that takes {len(data)} bytes")

    def read(self, handle: int, room: int) -> bytes:
        answer = self.packet(
            82, "ACTION_READ", ("fh_arg1", handle), ("room", room), ("number", room), ("handle", handle), NONE
        )
        count = number(answer, "result", -1, room)
        if answer.get("bytes") is None:
            if count > 0:
                raise Wrong(f'gave the result {count} and no "bytes"')
            return b""
        data = member(answer, "bytes", bytes)
        if len(data) > room:
            raise Wrong(f"gave {len(data)} bytes for a room of {room}")
        if count > len(data):
            raise Wrong(f"gave the result {count} and {len(data)} bytes")
        return bytes(data[: max(count, 0)])

    def rewind(self, handle: int) -> None:
        try:
            self.packet(8001, "ACTION_CHANGE_FILE_POSITION64", ("fh_arg1", handle), ("number", 0), ("number", -1),
                        ("handle", handle), NONE)
        except Missing:
            self.packet(1008, "ACTION_SEEK", ("fh_arg1", handle), ("number", 0), ("number", -1), ("handle", handle), NONE)

    def delete(self, name: str) -> None:
        self.packet(16, "ACTION_DELETE_OBJECT", ("lock", 0), ("text", name), NONE, NONE, ("again", 2))


def truth(answer: Message) -> bool:
    return bool(member(answer, "result", int, bool))


def check_record(record: object, where: str) -> None:
    if not isinstance(record, dict):
        raise Wrong(f'"{where}" is {kind_of(record)} instead of a map')
    for name in ("name", "comment", "link"):
        if record.get(name) is not None:
            latin1(record, name)
    limits = {"type": 32, "size": 63, "id": 64, "references": 32, "protection": 32, "owner": 32, "group": 32}
    for name, bits in limits.items():
        if record.get(name) is not None:
            number(record, name, -1 if name == "size" else 0, (1 << bits) - 1)
    if record.get("date") is not None:
        date(record, "date")


def check_numbered(answer: Message, name: str, size: int, texts: Dict[str, int], wide: Dict[str, int]) -> None:
    """A map of an answer that may be the bytes of the platform instead."""
    value = member(answer, name, dict)
    if value.get("bytes") is not None:
        data = member(value, "bytes", bytes)
        if len(data) != size:
            raise Wrong(f'"bytes" of "{name}" are {len(data)}, of {size}')
        return
    for text, most in texts.items():
        if value.get(text) is not None and len(latin1(value, text)) > most:
            raise Wrong(f'"{text}" has more than {most} characters')
    for field, bits in wide.items():
        if value.get(field) is not None:
            signed = bits < 0
            number(value, field, -(1 << (-bits - 1)) if signed else 0, (1 << (abs(bits) - signed)) - 1)
    if value.get("date") is not None:
        date(value, "date")


# ---- The checks --------------------------------------------------------------------------------------------------

Check = Tuple[str, Callable[[Session], None]]


def check_hello(session: Session) -> None:
    session.hello()


def check_unknown_members(session: Session) -> None:
    session.hello(x_later={"a": [1, 2.5, None]})
    session.mount(x_later=b"\0\xff")


def check_mount(session: Session) -> None:
    session.hello()
    session.mount()


def mounted(check: Callable[[Session], None]) -> Callable[[Session], None]:
    def run(session: Session) -> None:
        session.hello()
        session.mount()
        check(session)

    return run


@mounted
def check_wide_ids(session: Session) -> None:
    for step in (1 << 20, 1 << 40):
        session.step = step
        session.unlock(session.lock())


@mounted
def check_unknown_packet(session: Session) -> None:
    for action in (4711, 8999, -1):
        try:
            answer = session.packet(action, f"packet {action}", *[("number", 0)] * 5)
        except Missing:
            continue
        raise Wrong(f"answered packet {action} with {answer['result']!r} and code {answer.get('code')},"
                    f" instead of 0 and {NOT_KNOWN}")


@mounted
def check_locks(session: Session) -> None:
    locks = [session.lock() for _ in range(3)]
    session.unlock(locks[1])
    session.unlock(session.lock())
    for lock in (locks[0], locks[2]):
        session.unlock(lock)


@mounted
def check_missing_name(session: Session) -> None:
    answer = session.packet(8, "ACTION_LOCATE_OBJECT", ("lock", 0), ("text", "no such object"), ("number", SHARED),
                            NONE, ("again", 2))
    if number(answer, "result", 0, (1 << 63) - 1) != 0:
        raise Wrong("gave a lock on an object that is not there")
    if not answer.get("code"):
        raise Wrong('a failure needs a "code"')


@mounted
def check_files(session: Session) -> None:
    content = bytes(range(256)) * 3
    first, second = session.open("check a"), session.open("check b")
    try:
        session.write(first, content)
        session.rewind(first)
        start, rest = session.read(first, 10), session.read(first, 5000)
        if start + rest != content:
            raise Wrong(f"read {len(start + rest)} bytes that are not the {len(content)} that were written")
        if session.read(first, 10) != b"":
            raise Wrong("read something at the end of a file")
    finally:
        session.end(first)
        session.end(second)
    session.delete("check a")
    session.delete("check b")


@mounted
def check_large_message(session: Session) -> None:
    handle = session.open("check a")
    session.write(handle, b"\xc1" * (1 << 20))
    session.rewind(handle)
    if len(session.read(handle, 1 << 20)) != 1 << 20:
        raise Wrong("did not read a megabyte that was written")
    session.end(handle)
    session.delete("check a")


@mounted
def check_latin1(session: Session) -> None:
    name = "\u00e4\u00ff"
    session.end(session.open(name))
    lock = session.lock(name)
    record = None
    try:
        record = session.packet(3030, "ACTION_EXAMINEDATA", ("lock", lock), NONE, NONE, NONE, NONE)["result"]
    except Missing:
        answer = session.packet(23, "ACTION_EXAMINE_OBJECT", ("lock", lock), fresh_block(), NONE, NONE, NONE)
        record = answer.get("block") if truth(answer) else None
    session.unlock(lock)
    session.delete(name)
    if isinstance(record, dict) and record.get("name") is not None and latin1(record, "name") != name:
        raise Wrong(f"named {name!r} as {latin1(record, 'name')!r}: texts are Latin-1 in UTF-8")


def fresh_block() -> Argument:
    texts = {"name": "", "comment": "", "date": [0, 0, 0], "bytes": bytes(260)}
    return "block", {**texts, **dict.fromkeys(("key", "type", "protection", "size", "blocks", "owner", "group"), 0)}


@mounted
def check_examine(session: Session) -> None:
    lock = session.lock()
    answer = session.packet(3030, "ACTION_EXAMINEDATA", ("lock", lock), NONE, NONE, NONE, NONE)
    if answer["result"]:
        check_record(answer["result"], "result")
    session.unlock(lock)


@mounted
def check_scan(session: Session) -> None:
    session.end(session.open("check a"))
    lock, place = session.lock(), [0, 0]
    for _ in range(10_000):
        answer = session.packet(3040, "ACTION_EXAMINEDATA_DIR", ("scan", {"lock": lock, "place": place}), NONE, NONE,
                                NONE, NONE)
        if not truth(answer):
            if answer.get("code") != NO_MORE_ENTRIES:
                raise Wrong(f"ended a scan with {answer.get('code')} instead of {NO_MORE_ENTRIES}")
            break
        check_record(answer.get("entry"), "entry")
        if answer.get("place") is not None:
            place = member(answer, "place", list)
            if len(place) != 2 or any(type(each) is not int for each in place):
                raise Wrong('"place" is not a list of two numbers')
    else:
        raise Wrong('a scan of one file does not end: is "place" given back?')
    session.unlock(lock)
    session.delete("check a")


BLOCK_FIELDS = {"key": -32, "type": -32, "protection": 32, "size": -32, "blocks": -32, "owner": 16, "group": 16}


@mounted
def check_classic_scan(session: Session) -> None:
    session.end(session.open("check a"))
    lock = session.lock()
    block = fresh_block()
    answer = session.packet(23, "ACTION_EXAMINE_OBJECT", ("lock", lock), block, NONE, NONE, NONE)
    for _ in range(10_000):
        if not truth(answer):
            break
        check_numbered(answer, "block", 260, {"name": 107, "comment": 79}, BLOCK_FIELDS)
        given = answer["block"]
        fields = {**block[1], **given}
        if given.get("bytes") is None:
            fields["bytes"] = bytes(260)
        block = ("block", fields)
        answer = session.packet(24, "ACTION_EXAMINE_NEXT", ("lock", lock), block, NONE, NONE, NONE)
    else:
        raise Wrong("a scan of one file does not end")
    if answer.get("code") != NO_MORE_ENTRIES:
        raise Wrong(f"ended a scan with {answer.get('code')} instead of {NO_MORE_ENTRIES}")
    session.unlock(lock)
    session.delete("check a")


@mounted
def check_info(session: Session) -> None:
    answer = session.packet(25, "ACTION_DISK_INFO", ("info", None), NONE, NONE, NONE, NONE)
    if truth(answer):
        wide = {"errors": -32, "unit": -32, "state": -32, "blocks": 32, "used": 32, "block_size": 32, "dos_type": 32}
        check_numbered(answer, "info", 36, {}, {**wide, "in_use": 32})


@mounted
def check_tags(session: Session) -> None:
    tags = [[0x80002332, "FSA_MaxFileNameLengthR", 0], [0x8000233D, "FSA_VersionStringR", 40],
            [0x8000233E, "FSA_VersionStringR_BufSize", 40]]
    answer = session.packet(3005, "ACTION_FILESYSTEM_ATTR", ("tags", tags), NONE, NONE, NONE, NONE)
    if not truth(answer):
        return
    given = member(answer, "tags", list)
    if len(given) > len(tags):
        raise Wrong(f'gave {len(given)} "tags", where {len(tags)} were asked for')
    values = dict(zip(("length", "text", "size"), given))
    if values.get("length") is not None:
        number(values, "length", 0, (1 << 32) - 1)
    if values.get("text") is not None and len(latin1(values, "text")) >= 40:
        raise Wrong("gave a text for a tag that is larger than its room")
    if values.get("size") is not None:
        raise Wrong("gave a value for a tag that leads nowhere")


@mounted
def check_torn_request(session: Session) -> None:
    answer = session.packet(8, "ACTION_LOCATE_OBJECT", ("lock", 0), ("text", ""), ("number", SHARED), NONE,
                            ("again", 2), pieces=50)
    session.locks.append(number(answer, "result", 1, (1 << 63) - 1))
    session.unlock(session.locks[-1])


@mounted
def check_unmount(session: Session) -> None:
    session.ask({"type": "unmount"}, "unmounted")
    how = session.hang_up()
    if how is None:
        raise Gone("did not end after it was unmounted and the connection was closed")
    if how != "exited with status 0":
        raise Gone(f"{how} after it was unmounted, instead of with status 0")


@mounted
def check_hang_up(session: Session) -> None:
    session.lock()
    if session.hang_up() is None:
        raise Gone("did not end when the connection was closed without an unmount")


CHECKS: List[Check] = [
    ("hello", check_hello),
    ("mount", check_mount),
    ("unknown members are ignored", check_unknown_members),
    ("large ids come back", check_wide_ids),
    ("an unknown packet is answered with 209", check_unknown_packet),
    ("locks have numbers of their own", check_locks),
    ("a name that is not there", check_missing_name),
    ("files have numbers of their own, and what is written is read", check_files),
    ("a message of a megabyte", check_large_message),
    ("texts beyond ASCII", check_latin1),
    ("an object is examined", check_examine),
    ("a scan", check_scan),
    ("a classic scan", check_classic_scan),
    ("the device's facts", check_info),
    ("tags", check_tags),
    ("a request that comes in pieces", check_torn_request),
    ("unmount", check_unmount),
    ("the connection is closed at once", check_hang_up),
]


def main() -> int:
    parser = argparse.ArgumentParser(description="Says what a handler behind a socket does wrong with the protocol.")
    parser.add_argument("--limit", type=float, default=5, help="seconds for one answer; 5 unless given")
    parser.add_argument("connection", help="exec:COMMAND or connect:unix:PATH")
    options = parser.parse_args()
    kind, _, what = options.connection.partition(":")
    if kind == "connect" and what.startswith("unix:") and what != "unix:":
        way: "Command | Listener" = Listener(what[len("unix:"):])
    elif kind == "exec" and what:
        way = Command(what)
    else:
        parser.error("a connection is exec:COMMAND or connect:unix:PATH")
    wrong = 0
    for name, check in CHECKS:
        try:
            session = Session(way, options.limit)
        except OSError as error:
            print(f"connect_check: cannot connect: {error}", file=sys.stderr)
            return 10 if wrong else 20
        try:
            check(session)
            print(f"ok     {name}")
        except Missing as missing:
            print(f"-      {name}: not tried without {missing}")
        except Wrong as error:
            wrong += 1
            print(f"WRONG  {name}: {error}")
            if name in ("hello", "mount"):
                print("       nothing else can be tried")
                return 10
        finally:
            session.close()
    print(f"{wrong} wrong" if wrong else "nothing is wrong")
    return 10 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
