#!/usr/bin/python3
"""Filesystem handlers for quorle in Python.

Subclass Handler, fill in the methods that your filesystem has, and end the file with

    if __name__ == "__main__":
        quorle_handler.run(MyHandler())

Then `quorle --mount "DH0=exec:python3 myfs.py" DH0:` starts it, or `python3 myfs.py /tmp/myfs` listens and
`quorle --mount DH0=connect:unix:/tmp/myfs DH0:` connects to it.

A method that is missing answers "not known" (209): the tester skips what needs it, or asks the classic way.
Errors are exceptions: raise DosError(ERROR_OBJECT_NOT_FOUND). Locks and open files are objects of your own
choice: what locate_object() and open() return comes back as the argument of later calls. A lock of None is
the root; one that has an attribute `mode` was granted in that mode, any other in SHARED_LOCK. Any other
exception ends the handler, with a traceback on standard error.

The protocol is described in docs/connect.md. This file needs Python 3.9 or newer and python3-msgpack.
"""
from __future__ import annotations

import dataclasses
import os
import socket
import struct
import sys
import time
from typing import Any, Callable, Dict, Generic, List, NamedTuple, NoReturn, Optional, Tuple, TypeVar, Union

import msgpack  # type: ignore[import]

PROTOCOL = 1
DESCRIPTOR = 3  # where exec: puts the socket
MOST_BYTES = (16 << 20) + (1 << 20)

# ---- Constants of the platform -------------------------------------------------------------------------------

MODE_READWRITE, MODE_OLDFILE, MODE_NEWFILE = 1004, 1005, 1006
SHARED_LOCK, EXCLUSIVE_LOCK = -2, -1
OFFSET_BEGINNING, OFFSET_CURRENT, OFFSET_END = -1, 0, 1

EXDF_NO_DELETE, EXDF_NO_EXECUTE, EXDF_NO_WRITE, EXDF_NO_READ, EXDF_ARCHIVE = 1, 2, 4, 8, 16

ERROR_NO_FREE_STORE = 103
ERROR_BAD_NUMBER = 115
ERROR_REQUIRED_ARG_MISSING = 116
ERROR_LINE_TOO_LONG = 120
ERROR_OBJECT_IN_USE = 202
ERROR_OBJECT_EXISTS = 203
ERROR_DIR_NOT_FOUND = 204
ERROR_OBJECT_NOT_FOUND = 205
ERROR_OBJECT_TOO_LARGE = 207
ERROR_ACTION_NOT_KNOWN = 209
ERROR_INVALID_COMPONENT_NAME = 210
ERROR_INVALID_LOCK = 211
ERROR_OBJECT_WRONG_TYPE = 212
ERROR_DISK_NOT_VALIDATED = 213
ERROR_DISK_WRITE_PROTECTED = 214
ERROR_RENAME_ACROSS_DEVICES = 215
ERROR_DIRECTORY_NOT_EMPTY = 216
ERROR_TOO_MANY_LEVELS = 217
ERROR_DEVICE_NOT_MOUNTED = 218
ERROR_SEEK_ERROR = 219
ERROR_COMMENT_TOO_BIG = 220
ERROR_DISK_FULL = 221
ERROR_DELETE_PROTECTED = 222
ERROR_WRITE_PROTECTED = 223
ERROR_READ_PROTECTED = 224
ERROR_NO_DISK = 226
ERROR_NO_MORE_ENTRIES = 232
ERROR_IS_SOFT_LINK = 233
ERROR_NOT_IMPLEMENTED = 236
ERROR_RECORD_NOT_LOCKED = 240
ERROR_LOCK_COLLISION = 241
ERROR_LOCK_TIMEOUT = 242

ID_DISKSTATE_WRITE_PROTECTED, ID_DISKSTATE_VALIDATING, ID_DISKSTATE_VALIDATED = 80, 81, 82

FSO_TYPE_SOFTLINK, FSO_TYPE_FILE, FSO_TYPE_DIRECTORY, FSO_TYPE_INVALID, FSOF_LINK = 0, 1, 2, 0xFE, 0x100
ST_ROOT, ST_USERDIR, ST_SOFTLINK, ST_LINKDIR, ST_FILE, ST_LINKFILE, ST_PIPEFILE = 1, 2, 3, 4, -3, -4, -5

LINK_HARD = 0
CHANGE_LOCK = 0


# ---- What a handler gives and gets ---------------------------------------------------------------------------


class DosError(Exception):
    """A call that fails with a code of the platform, such as ERROR_OBJECT_NOT_FOUND."""

    def __init__(self, code: int) -> None:
        super().__init__(f"error {code}")
        self.code = code


class MountError(Exception):
    """A mount that is refused: one line that says why."""


class ProtocolError(Exception):
    """The other side does not keep to the protocol."""


class DateStamp(NamedTuple):
    """Days since 1 January 1978, minutes since midnight, ticks (1/50 s) since the minute; local time."""

    days: int
    minutes: int
    ticks: int

    @staticmethod
    def now() -> DateStamp:
        moment = time.time()
        local = time.localtime(moment)
        seconds = int(moment) + local.tm_gmtoff - 2922 * 86400
        return DateStamp(seconds // 86400, seconds % 86400 // 60, seconds % 60 * 50 + int(moment % 1 * 50))


@dataclasses.dataclass
class ExamineRecord:
    """What is known of one object."""

    name: str
    type: int  # FSO_TYPE_..., FSOF_LINK
    size: int = -1  # bytes; -1 when the object is not a file
    date: DateStamp = DateStamp(0, 0, 0)
    id: int = 0  # never 0 for an object, and no two objects of a volume share one
    references: int = 0  # 0: not supported; 1: no further link to the object
    protection: int = 0
    comment: str = ""
    link: str = ""
    owner: int = 0
    group: int = 0


@dataclasses.dataclass
class FileInfoBlock:
    """The same in the classic packets: one and the same is kept by the tester for a whole scan."""

    key: int = 0  # where it is not 0, a number that no other object of the volume has
    type: int = 0  # ST_...
    name: str = ""
    protection: int = 0
    size: int = 0
    blocks: int = 0
    date: DateStamp = DateStamp(0, 0, 0)
    comment: str = ""
    owner: int = 0
    group: int = 0


@dataclasses.dataclass
class Info:
    """What is known of a volume."""

    blocks: int = 0
    used: int = 0
    block_size: int = 512
    state: int = ID_DISKSTATE_VALIDATED
    dos_type: int = 0
    in_use: int = 0  # locks and open files
    errors: int = 0
    unit: int = 0


class NotifyRequest(NamedTuple):
    """A program waits for changes of the object `name`, "DH0:dir/file", which need not exist."""

    number: int
    name: str
    flags: int


class ForeignLock:
    """A lock of another handler, where a program gives one."""


Place = Tuple[int, int]
LockT = TypeVar("LockT")
FileT = TypeVar("FileT")


def _not_known() -> NoReturn:
    raise DosError(ERROR_ACTION_NOT_KNOWN)


# pylint: disable=unused-argument,too-many-public-methods
class Handler(Generic[LockT, FileT]):
    """A filesystem. The methods have the names of the packets; docs/connect.md lists what they are asked."""

    name = "a handler in Python"
    _session: Optional[Session] = None

    # ---- What a handler may ask for while it answers a call ----

    def log(self, line: str) -> None:
        """Shows a line on the standard error of the tester."""
        self._connected().send({"type": "log", "line": line})

    def set_volume_name(self, name: Optional[str]) -> bool:
        """Adds, renames or (None) removes the volume. False when the name is taken."""
        return self._connected().ask_volume(name)

    def notify(self, request: NotifyRequest) -> None:
        """Reports a change of an object that add_notify() was about."""
        self._connected().send({"type": "notify", "request": request.number})

    def _connected(self) -> Session:
        if self._session is None:
            raise ProtocolError("nobody is connected")
        return self._session

    # ---- The mount ----

    def mount(self, device: str, keys: Dict[str, str]) -> Optional[str]:
        """Starts the filesystem; returns the name of its volume, None without one. Raises MountError."""
        return None

    def unmount(self) -> None:
        """Ends it. No lock and no file is in use any more."""

    # ---- Locks ----

    def locate_object(self, lock: Optional[LockT], name: str, mode: int) -> LockT:
        """A lock on `name` in the directory of `lock`, in SHARED_LOCK or EXCLUSIVE_LOCK mode."""
        _not_known()

    def free_lock(self, lock: Optional[LockT]) -> None:
        _not_known()

    def copy_lock(self, lock: Optional[LockT]) -> Optional[LockT]:
        _not_known()

    def parent(self, lock: Optional[LockT]) -> Optional[LockT]:
        """A shared lock on the directory above; None for the root."""
        _not_known()

    def create_dir(self, lock: Optional[LockT], name: str) -> LockT:
        """Makes a directory; a shared lock on it."""
        _not_known()

    def same_lock(self, first: Optional[LockT], second: Optional[LockT]) -> bool:
        _not_known()

    def change_lock_mode(self, lock: Optional[LockT], mode: int) -> None:
        _not_known()

    # ---- Files ----

    def open(self, lock: Optional[LockT], name: str, mode: int) -> FileT:
        """FINDINPUT, FINDUPDATE and FINDOUTPUT: MODE_OLDFILE, MODE_READWRITE and MODE_NEWFILE."""
        _not_known()

    def fh_from_lock(self, lock: LockT) -> FileT:
        """A file of the object of `lock`, which is the file's from now on."""
        _not_known()

    def end(self, file: FileT) -> None:
        """Closes the file, which is gone whatever comes of it."""
        _not_known()

    def read(self, file: FileT, size: int) -> bytes:
        _not_known()

    def write(self, file: FileT, data: bytes) -> int:
        _not_known()

    def change_file_position(self, file: FileT, position: int, mode: int) -> None:
        _not_known()

    def get_file_position(self, file: FileT) -> int:
        _not_known()

    def change_file_size(self, file: FileT, size: int, mode: int) -> None:
        _not_known()

    def get_file_size(self, file: FileT) -> int:
        _not_known()

    def copy_lock_fh(self, file: FileT) -> LockT:
        _not_known()

    def parent_fh(self, file: FileT) -> LockT:
        _not_known()

    def same_fh(self, first: FileT, second: FileT) -> bool:
        _not_known()

    def change_file_mode(self, file: FileT, mode: int) -> None:
        """`mode` is SHARED_LOCK or EXCLUSIVE_LOCK."""
        _not_known()

    def lock_record(self, file: FileT, offset: int, length: int, mode: int, ticks: int) -> None:
        _not_known()

    def free_record(self, file: FileT, offset: int, length: int) -> None:
        _not_known()

    # ---- Objects ----

    def delete_object(self, lock: Optional[LockT], name: str) -> None:
        _not_known()

    def rename_object(self, lock: Optional[LockT], name: str, to_lock: Optional[LockT], to_name: str) -> None:
        _not_known()

    def set_protect(self, lock: Optional[LockT], name: str, mask: int) -> None:
        _not_known()

    def set_comment(self, lock: Optional[LockT], name: str, comment: str) -> None:
        _not_known()

    def set_date(self, lock: Optional[LockT], name: str, date: DateStamp) -> None:
        _not_known()

    def set_owner_info(self, lock: Optional[LockT], name: str, owner: Optional[int], group: Optional[int]) -> None:
        """None: it stays as it is."""
        _not_known()

    def make_soft_link(self, lock: Optional[LockT], name: str, target: str) -> None:
        _not_known()

    def make_hard_link(self, lock: Optional[LockT], name: str, target: Union[LockT, ForeignLock, None]) -> None:
        _not_known()

    def read_soft_link(self, lock: Optional[LockT], name: str) -> str:
        """What the link holds, whatever room there is for it."""
        _not_known()

    # ---- Examination ----

    def examine_data(self, lock: Optional[LockT]) -> ExamineRecord:
        _not_known()

    def examine_data_fh(self, file: FileT) -> ExamineRecord:
        _not_known()

    def examine_data_obj(self, lock: Optional[LockT], name: str) -> ExamineRecord:
        """A soft link itself too."""
        _not_known()

    def examine_data_dir(self, lock: Optional[LockT], place: Place) -> Tuple[ExamineRecord, Place]:
        """The next object of a scan, and the place after it. (0, 0) is the start, ERROR_NO_MORE_ENTRIES the end."""
        _not_known()

    # ---- The volume ----

    def is_filesystem(self) -> bool:
        return True

    def info(self, lock: Optional[LockT]) -> Info:
        """Of the volume; ERROR_NO_DISK without one."""
        _not_known()

    def disk_info(self) -> Info:
        """Of the device."""
        _not_known()

    def file_system_attr(self, name: str, value: int) -> Union[int, str]:
        """What the tag `name`, "FSA_VersionStringR", asks for. Of one that sets something `value` counts."""
        _not_known()

    def flush(self) -> None:
        _not_known()

    def inhibit(self, on: bool) -> None:
        _not_known()

    def write_protect(self, on: bool, key: int) -> None:
        _not_known()

    def format(self, name: str, dos_type: int) -> None:
        _not_known()

    def serialize_disk(self) -> None:
        _not_known()

    def rename_disk(self, name: str) -> None:
        _not_known()

    def add_notify(self, request: NotifyRequest) -> None:
        _not_known()

    def remove_notify(self, request: NotifyRequest) -> None:
        _not_known()

    # ---- Classic packets: what is asked where the newer ones are not known ----

    def examine_object(self, lock: Optional[LockT]) -> FileInfoBlock:
        _not_known()

    def examine_next(self, lock: Optional[LockT], block: FileInfoBlock) -> FileInfoBlock:
        """The object after the one that `block` is of; `block` is of the directory at the start."""
        _not_known()

    def examine_fh(self, file: FileT) -> FileInfoBlock:
        _not_known()

    def seek(self, file: FileT, offset: int, mode: int) -> int:
        """Moves the position; returns the old one."""
        _not_known()

    def set_file_size(self, file: FileT, size: int, mode: int) -> int:
        """Returns the new size."""
        _not_known()

    def set_owner(self, lock: Optional[LockT], name: str, owner: int, group: int) -> None:
        _not_known()


# ---- Packets -------------------------------------------------------------------------------------------------

# For each packet whose answer follows from its method: the method, which arguments it gets (the first is 1), and
# what it gives.
_PACKETS: Dict[int, Tuple[str, Tuple[int, ...], str]] = {
    8: ("locate_object", (1, 2, 3), "lock"),
    9: ("rename_disk", (1,), "nothing"),
    15: ("free_lock", (1,), "nothing"),
    16: ("delete_object", (1, 2), "nothing"),
    17: ("rename_object", (1, 2, 3, 4), "nothing"),
    19: ("copy_lock", (1,), "lock"),
    21: ("set_protect", (2, 3, 4), "nothing"),
    22: ("create_dir", (1, 2), "lock"),
    23: ("examine_object", (1,), "block"),
    24: ("examine_next", (1, 2), "block"),
    25: ("disk_info", (), "info"),
    26: ("info", (1,), "info"),
    27: ("flush", (), "nothing"),
    28: ("set_comment", (2, 3, 4), "nothing"),
    29: ("parent", (1,), "lock"),
    31: ("inhibit", (1,), "nothing"),
    34: ("set_date", (2, 3, 4), "nothing"),
    40: ("same_lock", (1, 2), "truth"),
    53: ("same_fh", (1, 2), "truth"),
    82: ("read", (1, 2), "bytes"),
    87: ("write", (1, 2), "number"),
    1007: ("end", (1,), "nothing"),
    1008: ("seek", (1, 2, 3), "number"),
    1020: ("format", (1, 2), "nothing"),
    1022: ("set_file_size", (1, 2, 3), "number"),
    1023: ("write_protect", (1, 2), "nothing"),
    1026: ("fh_from_lock", (2,), "file"),
    1027: ("is_filesystem", (), "truth"),
    1030: ("copy_lock_fh", (1,), "lock"),
    1031: ("parent_fh", (1,), "lock"),
    1034: ("examine_fh", (1,), "block"),
    2008: ("lock_record", (1, 2, 3, 4, 5), "nothing"),
    2009: ("free_record", (1, 2, 3), "nothing"),
    3030: ("examine_data", (1,), "record"),
    3031: ("examine_data_fh", (1,), "record"),
    3032: ("examine_data_obj", (1, 2), "record"),
    4097: ("add_notify", (1,), "nothing"),
    4098: ("remove_notify", (1,), "nothing"),
    4200: ("serialize_disk", (), "nothing"),
    8001: ("change_file_position", (1, 2, 3), "nothing"),
    8002: ("get_file_position", (1,), "number"),
    8003: ("change_file_size", (1, 2, 3), "nothing"),
    8004: ("get_file_size", (1,), "number"),
    8010: ("lock_record", (1, 2, 5, 3, 4), "nothing"),
    8011: ("free_record", (1, 2, 5), "nothing"),
}
# What fails with -1, where the others fail with 0.
_MINUS_ONE = (82, 87, 1008, 1022, 1024, 8002, 8004)

Answer = Dict[str, Any]


def _is_link_text(kind: str) -> bool:
    return kind in ("string", "text")


class _Numbers:
    """Numbers for objects, which are given out once each."""

    def __init__(self) -> None:
        self._objects: Dict[int, Any] = {}
        self._last = 0

    def add(self, thing: Any) -> int:
        self._last += 1
        self._objects[self._last] = thing
        return self._last

    def __getitem__(self, number: int) -> Any:
        if number == 0:
            return None
        if number < 0:
            return ForeignLock()
        return self._objects[number]

    def forget(self, number: int) -> None:
        self._objects.pop(number, None)


class Session:
    """One connection: takes requests from it and answers them."""

    def __init__(self, handler: Handler[Any, Any], connection: socket.socket) -> None:
        self._handler = handler
        self._connection = connection
        self._locks = _Numbers()
        self._files = _Numbers()
        self._special: Dict[int, Callable[[List[Tuple[str, Any]]], Answer]] = {
            1004: lambda given: self._open(given, MODE_READWRITE),
            1005: lambda given: self._open(given, MODE_OLDFILE),
            1006: lambda given: self._open(given, MODE_NEWFILE),
            1021: self._make_link,
            1024: self._read_soft_link,
            1028: self._change_mode,
            1036: self._set_owner,
            1037: self._set_owner_info,
            3005: self._file_system_attr,
            3040: self._examine_data_dir,
        }

    # ---- Messages ----

    def serve(self) -> None:
        """Returns when the other side has closed the connection."""
        self._handler._session = self
        try:
            while True:
                request = self.receive()
                if request is None:
                    return
                answer = self._answer(request)
                answer["id"] = request["id"]
                self.send(answer)
        finally:
            self._handler._session = None

    def send(self, message: Dict[str, Any]) -> None:
        data = msgpack.packb(message, use_bin_type=True)
        self._connection.sendall(struct.pack(">I", len(data)) + data)

    def receive(self) -> Optional[Dict[str, Any]]:
        head = self._take(4)
        if head is None:
            return None
        (length,) = struct.unpack(">I", head)
        if length > MOST_BYTES:
            raise ProtocolError(f"a message of {length} bytes")
        data = self._take(length)
        if data is None:
            raise ProtocolError("the connection was closed within a message")
        message = msgpack.unpackb(data, raw=False, strict_map_key=False)
        if not isinstance(message, dict):
            raise ProtocolError("a message that is no map")
        return message

    def _take(self, size: int) -> Optional[bytes]:
        data = bytearray()
        while len(data) < size:
            piece = self._connection.recv(min(size - len(data), 1 << 20))
            if not piece:
                if data:
                    raise ProtocolError("the connection was closed within a message")
                return None
            data += piece
        return bytes(data)

    def ask_volume(self, name: Optional[str]) -> bool:
        self.send({"type": "volume", "name": name})
        answer = self.receive()
        if answer is None or answer.get("type") != "volume":
            raise ProtocolError("no answer to the name of the volume")
        return bool(answer["set"])

    # ---- Requests ----

    def _answer(self, request: Dict[str, Any]) -> Answer:
        what = request["type"]
        if what == "hello":
            return {"type": "hello", "protocol": PROTOCOL, "handler": self._handler.name}
        if what == "mount":
            try:
                return {"type": "mounted", "volume": self._handler.mount(request["device"], request["keys"])}
            except MountError as error:
                return {"type": "mounted", "problem": str(error)}
        if what == "unmount":
            self._handler.unmount()
            return {"type": "unmounted"}
        if what == "packet":
            return self._answer_packet(request["action"], request["arguments"])
        raise ProtocolError(f"a request of the type {what!r}")

    def _answer_packet(self, action: int, arguments: List[List[Any]]) -> Answer:
        given = [(kind, value) for kind, value in arguments]
        answer: Answer = {"result": -1 if action in _MINUS_ONE else 0, "code": 0}
        try:
            if action in self._special:
                answer.update(self._special[action](given))
            elif action in _PACKETS:
                method, which, gives = _PACKETS[action]
                values = [self._value(given[at - 1]) for at in which]
                answer.update(self._result(gives, getattr(self._handler, method)(*values)))
                self._settle(action, given)
            else:
                _not_known()
        except DosError as error:
            answer["code"] = error.code
            if error.code == ERROR_ACTION_NOT_KNOWN:
                answer["result"] = 0
        if action == 1007:
            self._files.forget(given[0][1])
        answer["type"] = "answer"
        return answer

    def _settle(self, action: int, given: List[Tuple[str, Any]]) -> None:
        """The lock of a packet that takes it over is gone."""
        if action == 15:
            self._locks.forget(given[0][1])
        elif action == 1026:
            self._locks.forget(given[1][1])

    def _value(self, given: Tuple[str, Any]) -> Any:
        """An argument as a method gets it."""
        kind, value = given
        if kind == "lock":
            return self._locks[value]
        if kind in ("handle", "fh_arg1"):
            return self._files[value]
        if _is_link_text(kind):
            return value or ""
        if kind == "date":
            return DateStamp(*value)
        if kind == "block":
            fields: Dict[str, Any] = {key: each for key, each in value.items() if key != "bytes"}
            fields["date"] = DateStamp(*fields["date"])
            return FileInfoBlock(**fields)
        if kind == "request":
            return NotifyRequest(value["request"], value["name"], value["flags"])
        return value

    def _result(self, gives: str, thing: Any) -> Answer:
        """What a method gave as the members of an answer."""
        if gives == "nothing":
            return {"result": -1}
        if gives == "truth":
            return {"result": -1 if thing else 0}
        if gives == "lock":
            mode = getattr(thing, "mode", SHARED_LOCK)
            return {"result": 0 if thing is None else self._locks.add(thing), "mode": mode}
        if gives == "file":
            return {"result": -1, "handle": self._files.add(thing)}
        if gives == "bytes":
            return {"result": len(thing), "bytes": bytes(thing)}
        if gives == "record":
            return {"result": dataclasses.asdict(thing)}
        if gives in ("info", "block"):
            return {"result": -1, gives: dataclasses.asdict(thing)}
        return {"result": thing}

    # ---- Packets that are about one of several things ----

    def _open(self, given: List[Tuple[str, Any]], mode: int) -> Answer:
        file = self._handler.open(self._value(given[1]), self._value(given[2]), mode)
        return self._result("file", file)

    def _make_link(self, given: List[Tuple[str, Any]]) -> Answer:
        lock, name, target = (self._value(each) for each in given[:3])
        if _is_link_text(given[2][0]):
            self._handler.make_soft_link(lock, name, target)
        else:
            self._handler.make_hard_link(lock, name, target)
        return {"result": -1}

    def _read_soft_link(self, given: List[Tuple[str, Any]]) -> Answer:
        target = self._handler.read_soft_link(self._value(given[0]), self._value(given[1])).encode("latin-1")
        if len(target) >= given[2][1]:
            return {"result": -2, "code": ERROR_LINE_TOO_LONG}
        return {"result": len(target), "bytes": target}

    def _change_mode(self, given: List[Tuple[str, Any]]) -> Answer:
        mode = given[2][1]
        if given[0][1] != CHANGE_LOCK:
            self._handler.change_file_mode(self._value(given[1]), mode)
            return {"result": -1}
        self._handler.change_lock_mode(self._value(given[1]), mode)
        return {"result": -1, "mode": mode}

    def _set_owner(self, given: List[Tuple[str, Any]]) -> Answer:
        both = given[3][1]
        self._handler.set_owner(self._value(given[1]), self._value(given[2]), both >> 16 & 0xFFFF, both & 0xFFFF)
        return {"result": -1}

    def _set_owner_info(self, given: List[Tuple[str, Any]]) -> Answer:
        ids = {name: value for _, name, value in given[2][1]}
        owner, group = ids.get("OI_OwnerUID"), ids.get("OI_OwnerGID")
        if owner is None and group is None:
            raise DosError(ERROR_REQUIRED_ARG_MISSING)
        self._handler.set_owner_info(self._value(given[0]), self._value(given[1]), owner, group)
        return {"result": -1}

    def _file_system_attr(self, given: List[Tuple[str, Any]]) -> Answer:
        """Up to the first tag that the handler does not have."""
        tags = given[0][1]
        values: List[Any] = [None] * len(tags)
        answer: Answer = {"result": -1, "tags": values}
        sizes = [value for _, name, value in tags if name == "FSA_VersionStringR_BufSize"]
        for at, (_, name, value) in enumerate(tags):
            if name == "FSA_VersionStringR_BufSize":
                continue
            try:
                got = self._handler.file_system_attr(name, value)
            except DosError as error:
                return {"result": 0, "code": error.code, "tags": values}
            if isinstance(got, str) and (not sizes or len(got) >= sizes[0]):
                code = ERROR_LINE_TOO_LONG if sizes else ERROR_REQUIRED_ARG_MISSING
                return {"result": 0, "code": code, "tags": values}
            if name.endswith("R"):
                values[at] = got
        return answer

    def _examine_data_dir(self, given: List[Tuple[str, Any]]) -> Answer:
        scan = given[0][1]
        first, second = scan["place"]
        entry, place = self._handler.examine_data_dir(self._locks[scan["lock"]], (first, second))
        return {"result": -1, "entry": dataclasses.asdict(entry), "place": list(place)}


# ---- Connections ---------------------------------------------------------------------------------------------


def serve(handler: Handler[Any, Any], connection: socket.socket) -> None:
    """Serves one connection until the other side closes it."""
    with connection:
        Session(handler, connection).serve()


def listen(handler: Handler[Any, Any], path: str) -> NoReturn:
    """Serves one connection after the other at the socket `path`."""
    if os.path.exists(path):
        os.unlink(path)
    with socket.socket(socket.AF_UNIX) as server:
        server.bind(path)
        server.listen()
        while True:
            serve(handler, server.accept()[0])


def run(handler: Handler[Any, Any]) -> None:
    """Listens at the path that is the program's argument, or serves the socket that exec: has left as descriptor 3."""
    if len(sys.argv) > 1:
        listen(handler, sys.argv[1])
    serve(handler, socket.socket(fileno=DESCRIPTOR))
