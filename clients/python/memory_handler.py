#!/usr/bin/python3
"""A filesystem in memory: all that a handler of the newer packets needs, but hard links.

    quorle --mount "DH0=exec:python3 memory_handler.py" DH0:
    python3 memory_handler.py /tmp/memory & quorle --mount DH0=connect:unix:/tmp/memory DH0:

Without hard links a filesystem is smaller, not wrong. Key of the mount: volume=NAME.
"""
from __future__ import annotations

from typing import Callable, Dict, List, Optional, Tuple, Union

import quorle_handler as q
from quorle_handler import DateStamp, DosError

_DOS_TYPE = 0x444F5309
_MOST_NAME = 107
_MOST_COMMENT = 255
_MOST_SIZE = 1 << 31
_BLOCK_SIZE = 512
_VERSION = "memory_handler 1.0 (27.6.2025)"


class Node:
    """A file, a directory or a soft link."""

    def __init__(self, number: int, name: str, kind: int, parent: Optional[Node]) -> None:
        self.id = number
        self.name = name
        self.kind = kind
        self.parent = parent
        self.children: Dict[str, Node] = {}  # by their names in lower case
        self.data = bytearray()
        self.target = ""
        self.date = DateStamp.now()
        self.protection = 0
        self.comment = ""
        self.owner: int = 0 if parent is None else parent.owner
        self.group: int = 0 if parent is None else parent.group
        self.users = 0  # locks and open files
        self.exclusive = False  # and whether the one user shares it with nobody

    def take(self, exclusive: bool) -> None:
        """One more user, whom nobody else may be in the way of."""
        if self.users and (exclusive or self.exclusive):
            raise DosError(q.ERROR_OBJECT_IN_USE)
        self.users += 1
        self.exclusive = exclusive

    def release(self) -> None:
        self.users -= 1
        self.exclusive = False

    def change(self, mode: int) -> None:
        if mode == q.EXCLUSIVE_LOCK and self.users > 1:
            raise DosError(q.ERROR_OBJECT_IN_USE)
        self.exclusive = mode == q.EXCLUSIVE_LOCK

    def stamp(self) -> None:
        """Something in it has changed."""
        self.date = DateStamp.now()
        self.protection &= ~q.EXDF_ARCHIVE

    def touch(self) -> None:
        """It has changed, which is a change of its directory too."""
        self.stamp()
        if self.parent is not None:
            self.parent.stamp()


class Lock:
    def __init__(self, node: Node, mode: int) -> None:
        self.node = node
        self.mode = mode
        self.place = 0  # of a scan


class File:
    def __init__(self, node: Node) -> None:
        self.node = node
        self.position = 0


class MemoryHandler(q.Handler[Lock, File]):
    name = _VERSION

    _root: Node
    _last_id: int
    _write_protected: bool
    _key: int
    _in_use: int

    def mount(self, device: str, keys: Dict[str, str]) -> Optional[str]:
        """Each mount begins with an empty volume."""
        self._root = Node(1, keys.get("volume", "Memory"), q.FSO_TYPE_DIRECTORY, None)
        self._last_id = 1
        self._write_protected = False
        self._key = 0
        self._in_use = 0
        return self._root.name or None

    # ---- The tree ----

    def _node(self, lock: Union[Lock, q.ForeignLock, None]) -> Node:
        return lock.node if isinstance(lock, Lock) else self._root

    def _find(self, lock: Optional[Lock], name: str) -> Node:
        """The object itself, be it a link."""
        node = self._node(lock)
        if not name:
            return node
        if node.kind != q.FSO_TYPE_DIRECTORY:
            raise DosError(q.ERROR_OBJECT_WRONG_TYPE)
        found = node.children.get(name.lower())
        if found is None:
            raise DosError(q.ERROR_OBJECT_NOT_FOUND)
        return found

    def _find_target(self, lock: Optional[Lock], name: str) -> Node:
        """The tester follows soft links, when the answer says that one was met."""
        node = self._find(lock, name)
        if node.kind == q.FSO_TYPE_SOFTLINK:
            raise DosError(q.ERROR_IS_SOFT_LINK)
        return node

    def _must_be_writable(self) -> None:
        if self._write_protected:
            raise DosError(q.ERROR_DISK_WRITE_PROTECTED)

    @staticmethod
    def _must_be_name(name: str) -> None:
        """What separates names, and the device from them, is in none."""
        if not 0 < len(name) <= _MOST_NAME or ":" in name or "/" in name:
            raise DosError(q.ERROR_INVALID_COMPONENT_NAME)

    def _make(self, lock: Optional[Lock], name: str, kind: int) -> Node:
        self._must_be_writable()
        parent = self._node(lock)
        if parent.kind != q.FSO_TYPE_DIRECTORY:
            raise DosError(q.ERROR_OBJECT_WRONG_TYPE)
        if not name or name.lower() in parent.children:
            raise DosError(q.ERROR_OBJECT_EXISTS)
        self._must_be_name(name)
        self._last_id += 1
        node = Node(self._last_id, name, kind, parent)
        parent.children[name.lower()] = node
        node.touch()
        return node

    def _give_lock(self, node: Node, mode: int) -> Lock:
        """Locks on directories are always shared."""
        exclusive = mode == q.EXCLUSIVE_LOCK and node.kind == q.FSO_TYPE_FILE
        node.take(exclusive)
        self._in_use += 1
        return Lock(node, q.EXCLUSIVE_LOCK if exclusive else q.SHARED_LOCK)

    def _give_file(self, node: Node, exclusive: bool) -> File:
        if node.kind != q.FSO_TYPE_FILE:
            raise DosError(q.ERROR_OBJECT_WRONG_TYPE)
        node.take(exclusive)
        self._in_use += 1
        return File(node)

    # ---- Locks ----

    def locate_object(self, lock: Optional[Lock], name: str, mode: int) -> Lock:
        return self._give_lock(self._find_target(lock, name), mode)

    def free_lock(self, lock: Optional[Lock]) -> None:
        if lock is not None:
            lock.node.release()
            self._in_use -= 1

    def copy_lock(self, lock: Optional[Lock]) -> Optional[Lock]:
        return self._give_lock(self._node(lock), q.SHARED_LOCK)

    def parent(self, lock: Optional[Lock]) -> Optional[Lock]:
        parent = self._node(lock).parent
        return None if parent is None else self._give_lock(parent, q.SHARED_LOCK)

    def create_dir(self, lock: Optional[Lock], name: str) -> Lock:
        return self._give_lock(self._make(lock, name, q.FSO_TYPE_DIRECTORY), q.SHARED_LOCK)

    def same_lock(self, first: Optional[Lock], second: Optional[Lock]) -> bool:
        return self._node(first) is self._node(second)

    def change_lock_mode(self, lock: Optional[Lock], mode: int) -> None:
        node = self._node(lock)
        if lock is not None and node.kind == q.FSO_TYPE_FILE:
            node.change(mode)
            lock.mode = mode
        elif mode == q.EXCLUSIVE_LOCK:
            raise DosError(q.ERROR_OBJECT_WRONG_TYPE)

    # ---- Files ----

    def open(self, lock: Optional[Lock], name: str, mode: int) -> File:
        is_new = False
        if mode == q.MODE_NEWFILE:
            self._must_be_writable()
        try:
            node = self._find_target(lock, name)
        except DosError as error:
            if error.code != q.ERROR_OBJECT_NOT_FOUND or mode == q.MODE_OLDFILE:
                raise
            node = self._make(lock, name, q.FSO_TYPE_FILE)
            is_new = True
        # To empty a file is to delete it.
        replaces = mode == q.MODE_NEWFILE and not is_new
        if replaces and not node.users and node.protection & q.EXDF_NO_DELETE:
            raise DosError(q.ERROR_DELETE_PROTECTED)
        file = self._give_file(node, mode == q.MODE_NEWFILE)
        if replaces:
            node.data.clear()
            node.comment = ""
            node.protection = 0
            node.touch()
        return file

    def fh_from_lock(self, lock: Lock) -> File:
        if lock.node.kind != q.FSO_TYPE_FILE:
            raise DosError(q.ERROR_OBJECT_WRONG_TYPE)
        return File(lock.node)

    def end(self, file: File) -> None:
        file.node.release()
        self._in_use -= 1

    def read(self, file: File, size: int) -> bytes:
        if file.node.protection & q.EXDF_NO_READ:
            raise DosError(q.ERROR_READ_PROTECTED)
        data = bytes(file.node.data[file.position : file.position + size])
        file.position += len(data)
        return data

    def _must_be_writable_file(self, node: Node) -> None:
        self._must_be_writable()
        if node.protection & q.EXDF_NO_WRITE:
            raise DosError(q.ERROR_WRITE_PROTECTED)

    def write(self, file: File, data: bytes) -> int:
        self._must_be_writable_file(file.node)
        end = file.position + len(data)
        if end > _MOST_SIZE:
            raise DosError(q.ERROR_DISK_FULL)
        file.node.data[file.position : end] = data
        file.position = end
        file.node.touch()
        return len(data)

    @staticmethod
    def _target(file: File, number: int, mode: int) -> int:
        starts = {q.OFFSET_BEGINNING: 0, q.OFFSET_CURRENT: file.position, q.OFFSET_END: len(file.node.data)}
        if mode not in starts:
            raise DosError(q.ERROR_BAD_NUMBER)
        target = starts[mode] + number
        if target < 0:
            raise DosError(q.ERROR_SEEK_ERROR)
        return target

    def change_file_position(self, file: File, position: int, mode: int) -> None:
        target = self._target(file, position, mode)
        if target > len(file.node.data):
            raise DosError(q.ERROR_SEEK_ERROR)
        file.position = target

    def get_file_position(self, file: File) -> int:
        return file.position

    def change_file_size(self, file: File, size: int, mode: int) -> None:
        target = self._target(file, size, mode)
        self._must_be_writable_file(file.node)
        if target > _MOST_SIZE:
            raise DosError(q.ERROR_DISK_FULL)
        data = file.node.data
        if target < len(data):
            del data[target:]
        else:
            data.extend(bytes(target - len(data)))
        file.position = min(file.position, target)
        file.node.touch()

    def get_file_size(self, file: File) -> int:
        return len(file.node.data)

    def copy_lock_fh(self, file: File) -> Lock:
        return self._give_lock(file.node, q.SHARED_LOCK)

    def parent_fh(self, file: File) -> Lock:
        return self._give_lock(file.node.parent or self._root, q.SHARED_LOCK)

    def same_fh(self, first: File, second: File) -> bool:
        return first.node is second.node

    def change_file_mode(self, file: File, mode: int) -> None:
        file.node.change(mode)

    # ---- Objects ----

    def delete_object(self, lock: Optional[Lock], name: str) -> None:
        self._must_be_writable()
        node = self._find(lock, name)
        if node.parent is None or node.users:
            raise DosError(q.ERROR_OBJECT_IN_USE)
        if node.protection & q.EXDF_NO_DELETE:
            raise DosError(q.ERROR_DELETE_PROTECTED)
        if node.kind == q.FSO_TYPE_FILE and node.protection & q.EXDF_NO_WRITE:
            raise DosError(q.ERROR_WRITE_PROTECTED)
        if node.children:
            raise DosError(q.ERROR_DIRECTORY_NOT_EMPTY)
        node.touch()
        del node.parent.children[node.name.lower()]

    def rename_object(self, lock: Optional[Lock], name: str, to_lock: Optional[Lock], to_name: str) -> None:
        self._must_be_writable()
        node, parent = self._find(lock, name), self._node(to_lock)
        if node.parent is None:
            raise DosError(q.ERROR_OBJECT_IN_USE)
        if parent.kind != q.FSO_TYPE_DIRECTORY:
            raise DosError(q.ERROR_OBJECT_WRONG_TYPE)
        if parent.children.get(to_name.lower(), node) is not node:
            raise DosError(q.ERROR_OBJECT_EXISTS)
        above: Optional[Node] = parent
        while above is not None:
            if above is node:
                raise DosError(q.ERROR_OBJECT_IN_USE)
            above = above.parent
        self._must_be_name(to_name)
        node.parent.stamp()
        del node.parent.children[node.name.lower()]
        node.name, node.parent = to_name, parent
        parent.children[to_name.lower()] = node
        parent.stamp()

    def _set(self, lock: Optional[Lock], name: str, change: Callable[[Node], None]) -> None:
        """An attribute is changed: a change of the directory."""
        self._must_be_writable()
        node = self._find_target(lock, name)
        change(node)
        if node.parent is not None:
            node.parent.stamp()

    def set_protect(self, lock: Optional[Lock], name: str, mask: int) -> None:
        self._set(lock, name, lambda node: setattr(node, "protection", mask))

    def set_comment(self, lock: Optional[Lock], name: str, comment: str) -> None:
        if len(comment) > _MOST_COMMENT:
            raise DosError(q.ERROR_COMMENT_TOO_BIG)
        self._set(lock, name, lambda node: setattr(node, "comment", comment))

    def set_date(self, lock: Optional[Lock], name: str, date: DateStamp) -> None:
        self._set(lock, name, lambda node: setattr(node, "date", date))

    def set_owner_info(self, lock: Optional[Lock], name: str, owner: Optional[int], group: Optional[int]) -> None:
        def change(node: Node) -> None:
            node.owner = node.owner if owner is None else owner
            node.group = node.group if group is None else group

        self._set(lock, name, change)

    def make_soft_link(self, lock: Optional[Lock], name: str, target: str) -> None:
        self._make(lock, name, q.FSO_TYPE_SOFTLINK).target = target

    def read_soft_link(self, lock: Optional[Lock], name: str) -> str:
        node = self._find(lock, name)
        if node.kind != q.FSO_TYPE_SOFTLINK:
            raise DosError(q.ERROR_OBJECT_WRONG_TYPE)
        return node.target

    # ---- Examination ----

    @staticmethod
    def _record(node: Node) -> q.ExamineRecord:
        is_link = node.kind == q.FSO_TYPE_SOFTLINK
        return q.ExamineRecord(
            name=node.name,
            type=node.kind | q.FSOF_LINK if is_link else node.kind,
            size=len(node.data) if node.kind == q.FSO_TYPE_FILE else -1,
            date=node.date,
            id=node.id,
            references=1,
            protection=node.protection,
            comment=node.comment,
            link=node.target,
            owner=node.owner,
            group=node.group,
        )

    def examine_data(self, lock: Optional[Lock]) -> q.ExamineRecord:
        return self._record(self._node(lock))

    def examine_data_fh(self, file: File) -> q.ExamineRecord:
        return self._record(file.node)

    def examine_data_obj(self, lock: Optional[Lock], name: str) -> q.ExamineRecord:
        return self._record(self._find(lock, name))

    @staticmethod
    def _following(node: Node, place: int) -> Node:
        """The place is the id of the last object: what is deleted or made meanwhile disturbs nobody."""
        left: List[Node] = [child for child in node.children.values() if child.id > place]
        if not left:
            raise DosError(q.ERROR_NO_MORE_ENTRIES)
        return min(left, key=lambda child: child.id)

    def examine_data_dir(self, lock: Optional[Lock], place: q.Place) -> Tuple[q.ExamineRecord, q.Place]:
        node = self._node(lock)
        if node.kind != q.FSO_TYPE_DIRECTORY:
            raise DosError(q.ERROR_OBJECT_WRONG_TYPE)
        following = self._following(node, place[0])
        return self._record(following), (following.id, 0)

    # ---- The volume ----

    def info(self, lock: Optional[Lock]) -> q.Info:
        return self.disk_info()

    def _used_blocks(self) -> int:
        """Each object takes one, and those that its data fills."""
        used = 0
        nodes = [self._root]
        while nodes:
            node = nodes.pop()
            used += 1 - -len(node.data) // _BLOCK_SIZE
            nodes.extend(node.children.values())
        return used

    def disk_info(self) -> q.Info:
        state = q.ID_DISKSTATE_WRITE_PROTECTED if self._write_protected else q.ID_DISKSTATE_VALIDATED
        return q.Info(
            blocks=1 << 20,
            used=self._used_blocks(),
            block_size=_BLOCK_SIZE,
            state=state,
            dos_type=_DOS_TYPE,
            in_use=self._in_use,
        )

    def file_system_attr(self, name: str, value: int) -> Union[int, str]:
        known: Dict[str, Union[int, str]] = {
            "FSA_MaxFileNameLengthR": _MOST_NAME,
            "FSA_VersionNumberR": 1 << 16,
            "FSA_DOSTypeR": _DOS_TYPE,
            "FSA_VersionStringR": _VERSION,
        }
        if name not in known:
            raise DosError(q.ERROR_NOT_IMPLEMENTED)
        return known[name]

    def flush(self) -> None:
        """Nothing is anywhere but in memory."""

    def write_protect(self, on: bool, key: int) -> None:
        if self._write_protected and self._key not in (0, key):
            raise DosError(q.ERROR_BAD_NUMBER)
        self._write_protected = bool(on)
        self._key = key if on else 0

    def rename_disk(self, name: str) -> None:
        self._must_be_writable()
        if not self.set_volume_name(name):
            raise DosError(q.ERROR_OBJECT_EXISTS)
        self._root.name = name


if __name__ == "__main__":
    q.run(MemoryHandler())
