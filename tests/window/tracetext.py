#!/usr/bin/python3
"""Turns the readable text form of a trace into its bytes.

One line is one record; blank lines and what follows a # are left out:

    fire CYCLE THREAD COLUMN ROW
    switch CYCLE THREAD COLUMN ROW
    send CYCLE THREAD FROM_COLUMN FROM_ROW TO_COLUMN TO_ROW
    raw TYPE CYCLE THREAD LENGTH HEX

Numbers are decimal, or hexadecimal after 0x. A raw record carries LENGTH in its header and the
bytes of HEX (none when it is left out) as its payload: the two need not agree, so that broken
records can be written as well.

The records are packed here by hand and not by the library, so that a mistake in the library's byte
order cannot hide in a test that uses both.

Usage: tracetext.py TEXT TRACE
"""

import struct
import sys
from typing import Iterator, List, NamedTuple, Tuple

TYPES = {"switch": 2, "fire": 3, "send": 4}
FIELDS = {"switch": 4, "fire": 4, "send": 6}


class Record(NamedTuple):
    """One record: what its header says, the words of its payload, and all its bytes."""

    type: int
    cycle: int
    thread: int
    words: Tuple[int, ...]
    data: bytes


def _number(word: str, bits: int) -> int:
    value = int(word, 0)
    if not 0 <= value < 1 << bits:
        raise ValueError(f"{word} does not fit {bits} bits")
    return value


def _header(type_: int, cycle: int, thread: int, length: int) -> bytes:
    return struct.pack(">IQII", type_, cycle, thread, length)


def _event(kind: str, arguments: List[str]) -> Record:
    if len(arguments) != FIELDS[kind]:
        raise ValueError(f"{kind} takes {FIELDS[kind]} numbers, not {len(arguments)}")
    cycle = _number(arguments[0], 64)
    thread = _number(arguments[1], 32)
    words = tuple(_number(word, 32) for word in arguments[2:])
    payload = struct.pack(f">{len(words)}I", *words)
    data = _header(TYPES[kind], cycle, thread, len(payload)) + payload
    return Record(TYPES[kind], cycle, thread, words, data)


def _raw(arguments: List[str]) -> Record:
    if len(arguments) not in (4, 5):
        raise ValueError(f"raw takes 4 numbers and a payload, not {len(arguments)} words")
    type_ = _number(arguments[0], 32)
    cycle = _number(arguments[1], 64)
    thread = _number(arguments[2], 32)
    payload = bytes.fromhex(arguments[4]) if len(arguments) == 5 else b""
    words = struct.unpack(f">{len(payload) // 4}I", payload[: len(payload) // 4 * 4])
    data = _header(type_, cycle, thread, _number(arguments[3], 32)) + payload
    return Record(type_, cycle, thread, words, data)


def records(text: str) -> Iterator[Record]:
    """The records of `text`, in order. A malformed line raises ValueError with its number."""
    for number, line in enumerate(text.splitlines(), 1):
        words = line.partition("#")[0].split()
        if not words:
            continue
        try:
            if words[0] == "raw":
                yield _raw(words[1:])
            elif words[0] in TYPES:
                yield _event(words[0], words[1:])
            else:
                raise ValueError(f"there is no record named {words[0]}")
        except ValueError as error:
            raise ValueError(f"line {number}: {error}") from error


def to_bytes(text: str) -> bytes:
    """The whole trace that `text` describes."""
    return b"".join(record.data for record in records(text))


def main() -> int:
    if len(sys.argv) != 3:
        print(__doc__.rstrip().splitlines()[-1], file=sys.stderr)
        return 2
    try:
        with open(sys.argv[1], encoding="utf-8") as source:
            data = to_bytes(source.read())
        with open(sys.argv[2], "wb") as trace:
            trace.write(data)
    except (OSError, ValueError) as error:
        print(f"{sys.argv[1]}: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
