#!/usr/bin/python3
"""rogue_client.py HOW [NAME]: the in-memory handler, which goes wrong at its first answer to the packet NAME, or when
it is mounted. HOW is one of the functions below.

    quorle --mount "DH0=exec:rogue_client.py torn ACTION_READ" DH0:
"""
import os
import signal
import struct
import sys
import time

import msgpack

import memory_handler
import quorle_handler


class RogueSession(quorle_handler.Session):
    how = None
    at = "mount"

    def receive(self):
        request = super().receive()
        self.request = request
        return request

    def send(self, message):
        is_due = message["type"] in ("answer", "hello", "mounted", "unmounted") and self.how is not None
        name = self.request.get("name", self.request["type"])
        if not is_due or name != self.at:
            self.last = message
            super().send(message)
            return
        how, self.how = self.how, None
        changed = how(self, message)
        if changed is not None:
            super().send(changed)

    def send_raw(self, data):
        self._connection.sendall(data)

    def send_packed(self, message):
        data = msgpack.packb(message)
        self.send_raw(struct.pack(">I", len(data)) + data)

    def close(self):
        os.close(self._connection.detach())


def torn(session, message):
    data = msgpack.packb(message)
    session.send_raw(struct.pack(">I", len(data)) + data[:5])
    os._exit(0)


def torn_and_closed(session, message):
    session.send_raw(b"\0\0")
    session.close()
    time.sleep(60)


def four_gigabytes(session, message):
    session.send_raw(b"\xff\xff\xff\xff")
    time.sleep(60)


def empty(session, message):
    session.send_raw(b"\0\0\0\0")
    time.sleep(60)


def garbage(session, message):
    session.send_raw(b"\0\0\0\3\xc1\xc1\xc1")
    time.sleep(60)


def more_than_one(session, message):
    session.send_raw(b"\0\0\0\4\x81\xa1\x41\xc0\xc0"[:4] + b"\x80\x80\x80\x80")
    time.sleep(60)


def no_map(session, message):
    session.send_packed([1])
    time.sleep(60)


def deep(session, message):
    session.send_raw(struct.pack(">I", 1 << 20) + b"\x91" * (1 << 20))
    time.sleep(60)


def many(session, message):
    session.send_packed({"type": "answer", "many": [None] * 2000})
    time.sleep(60)


def wrong_type(session, message):
    return {**message, "result": "yes"}


def fraction(session, message):
    return {**message, "result": 1.5}


def wrong_code(session, message):
    return {**message, "code": 1 << 40}


def no_result(session, message):
    del message["result"]
    return message


def no_type(session, message):
    del message["type"]
    return message


def unknown_id(session, message):
    return {**message, "id": 999999}


def out_of_order(session, message):
    session.send_packed(session.last)
    return message


def unknown_request(session, message):
    return {"type": "notify", "request": 7}


def unknown_message(session, message):
    return {"type": "pardon\n\x1b", "id": message["id"]}


def silence(session, message):
    time.sleep(60)


def flood(session, message):
    while True:
        session.send_packed({"type": "log", "line": "flood"})


def exit_3(session, message):
    os._exit(3)


def killed(session, message):
    os.kill(os.getpid(), signal.SIGKILL)


def closed(session, message):
    session.close()
    time.sleep(60)


def raised(session, message):
    raise KeyError("a mistake of the author's")


def live_lock(session, message):
    return {**message, "result": 1}


def negative_lock(session, message):
    return {**message, "result": -5}


def no_handle(session, message):
    if message.pop("handle", None) is None:
        session.how = no_handle
    return message


def live_handle(session, message):
    """From now on all files have one number."""
    number = message.get("handle")
    if number is None:
        session.how = live_handle
    else:
        session._files.add = lambda thing: session._files._objects.update({number: thing}) or number
    return message


def too_many_bytes(session, message):
    return {**message, "bytes": bytes(300)}


def no_bytes(session, message):
    del message["bytes"]
    return message


def count_beyond(session, message):
    return {**message, "result": 600}


def text_for_bytes(session, message):
    return {**message, "bytes": "text"}


def wide_text(session, message):
    return {**message, "result": {**message["result"], "name": "\u20ac"}}


def text_with_zero(session, message):
    return {**message, "result": {**message["result"], "comment": "a\0b"}}


def long_text(session, message):
    return {**message, "result": {**message["result"], "name": "n" * 100000}}


def no_record(session, message):
    return {**message, "result": [1]}


def wrong_date(session, message):
    return {**message, "result": {**message["result"], "date": [1, 2]}}


def no_entry(session, message):
    del message["entry"]
    return message


def no_info(session, message):
    del message["info"]
    return message


def short_info(session, message):
    return {**message, "info": {"bytes": bytes(35)}}


def daemon(session, message):
    """What it makes leads no group that anybody knows, and the handler itself ends."""
    if os.fork() == 0:
        os.setsid()
        os.close(3)
        time.sleep(300)
        os._exit(0)
    os._exit(3)


def children(session, message):
    if os.fork() == 0:
        time.sleep(300)
        os._exit(0)
    return message


# When it is mounted.


def other_protocol(session, message):
    return {**message, "protocol": 2}


def refusal(session, message):
    return {"type": "mounted", "id": message["id"], "problem": "no medium\nin the drive"}


def taken_name(session, message):
    return {**message, "volume": "Ram Disk"}


def wrong_name(session, message):
    return {**message, "volume": "a:b"}


def number_for_name(session, message):
    return {**message, "volume": 5}


def main():
    RogueSession.how = staticmethod(globals()[sys.argv[1]]) if sys.argv[1] != "none" else None
    RogueSession.at = sys.argv[2] if len(sys.argv) > 2 else "mount"
    quorle_handler.Session = RogueSession
    handler = memory_handler.MemoryHandler()
    if len(sys.argv) > 3:
        quorle_handler.listen(handler, sys.argv[3])
    quorle_handler.serve(handler, quorle_handler.socket.socket(fileno=quorle_handler.DESCRIPTOR))


if __name__ == "__main__":
    main()
