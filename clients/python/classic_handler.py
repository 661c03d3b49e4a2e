#!/usr/bin/python3
"""The filesystem of memory_handler.py for who knows the classic packets alone.

    quorle --mount "DH0=exec:python3 classic_handler.py" DH0:

The newer packets are answered with 209, upon which dos asks by the classic ones: one FileInfoBlock for a whole scan,
SEEK in place of positions, 16 bits for an owner.
"""
from __future__ import annotations

from typing import Optional

import quorle_handler as q
from memory_handler import File, Lock, MemoryHandler, Node
from quorle_handler import DosError, FileInfoBlock

_BLOCK_SIZE = 512


class ClassicHandler(MemoryHandler):
    name = "classic_handler 1.0 (27.6.2025)"

    examine_data = q.Handler.examine_data
    examine_data_fh = q.Handler.examine_data_fh
    examine_data_obj = q.Handler.examine_data_obj
    examine_data_dir = q.Handler.examine_data_dir
    change_file_position = q.Handler.change_file_position
    get_file_position = q.Handler.get_file_position
    get_file_size = q.Handler.get_file_size
    set_owner_info = q.Handler.set_owner_info
    file_system_attr = q.Handler.file_system_attr
    same_fh = q.Handler.same_fh

    def change_file_size(self, file: File, size: int, mode: int) -> None:
        raise DosError(q.ERROR_ACTION_NOT_KNOWN)

    def _block(self, node: Node) -> FileInfoBlock:
        kinds = {q.FSO_TYPE_FILE: q.ST_FILE, q.FSO_TYPE_DIRECTORY: q.ST_USERDIR, q.FSO_TYPE_SOFTLINK: q.ST_SOFTLINK}
        return FileInfoBlock(
            key=node.id,
            type=q.ST_ROOT if node.parent is None else kinds[node.kind],
            name=node.name,
            protection=node.protection,
            size=len(node.data),
            blocks=-(-len(node.data) // _BLOCK_SIZE),
            date=node.date,
            comment=node.comment[:79],
            owner=node.owner,
            group=node.group,
        )

    def examine_object(self, lock: Optional[Lock]) -> FileInfoBlock:
        """The start of a scan, too."""
        if lock is not None:
            lock.place = 0
        return self._block(self._node(lock))

    def examine_next(self, lock: Optional[Lock], block: FileInfoBlock) -> FileInfoBlock:
        """The place is kept in the lock: one scan at a time on each."""
        node = self._node(lock)
        if lock is None or node.kind != q.FSO_TYPE_DIRECTORY:
            raise DosError(q.ERROR_OBJECT_WRONG_TYPE)
        following = self._following(node, lock.place)
        lock.place = following.id
        return self._block(following)

    def examine_fh(self, file: File) -> FileInfoBlock:
        return self._block(file.node)

    def seek(self, file: File, offset: int, mode: int) -> int:
        old = file.position
        super().change_file_position(file, offset, mode)
        return old

    def set_file_size(self, file: File, size: int, mode: int) -> int:
        super().change_file_size(file, size, mode)
        return len(file.node.data)

    def set_owner(self, lock: Optional[Lock], name: str, owner: int, group: int) -> None:
        super().set_owner_info(lock, name, owner, group)


if __name__ == "__main__":
    q.run(ClassicHandler())
