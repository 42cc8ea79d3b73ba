"""The text form of traces, byte for byte."""

import subprocess
import sys
from pathlib import Path

import pytest

from tracetext import records, to_bytes

PROGRAM = Path(__file__).with_name("tracetext.py")


def words(text):
    return bytes.fromhex(text)


def test_a_fire_is_28_bytes_with_the_column_before_the_row():
    assert to_bytes("fire 5 1 7 2") == words(
        "00000003 0000000000000005 00000001 00000008 00000007 00000002"
    )


def test_a_switch_is_a_record_of_type_2():
    assert to_bytes("switch 0x100000002 3 12 4") == words(
        "00000002 0000000100000002 00000003 00000008 0000000c 00000004"
    )


def test_a_send_is_36_bytes_with_the_sender_before_the_receiver():
    assert to_bytes("send 1 2 3 4 5 0xffffffff") == words(
        "00000004 0000000000000001 00000002 00000010 00000003 00000004 00000005 ffffffff"
    )


def test_a_raw_record_says_what_it_is_told_whatever_its_payload():
    assert to_bytes("raw 9 1 2 12 cafe") == words(
        "00000009 0000000000000001 00000002 0000000c cafe"
    )
    assert to_bytes("raw 0 0 0 0") == bytes(20)


def test_records_follow_each_other_and_comments_and_blank_lines_are_left_out():
    text = "# a trace\n\nfire 1 0 0 0  # the first\n  fire 2 0 0 0\n"
    assert [record.cycle for record in records(text)] == [1, 2]
    assert len(to_bytes(text)) == 56


WRONG = {
    "fire 1 0 0": "line 1: fire takes 4 numbers, not 3",
    "\nsend 1 0 0 0 0": "line 2: send takes 6 numbers, not 5",
    "fire 1 0 0 x": "line 1: invalid literal",
    "fire 1 0 0 4294967296": "line 1: 4294967296 does not fit 32 bits",
    "fire -1 0 0 0": "line 1: -1 does not fit 64 bits",
    "jump 1 0 0 0": "line 1: there is no record named jump",
    "raw 1 0 0": "line 1: raw takes 4 numbers and a payload",
    "raw 1 0 0 1 f": "line 1: non-hexadecimal",
}


@pytest.mark.parametrize("text", WRONG)
def test_a_malformed_line_is_refused_with_its_number(text):
    with pytest.raises(ValueError, match=f"^{WRONG[text]}"):
        to_bytes(text)


def convert(*arguments):
    return subprocess.run(
        [sys.executable, PROGRAM, *arguments], capture_output=True, text=True, check=False
    )


def test_the_program_writes_the_trace_of_a_text(tmp_path):
    (tmp_path / "text").write_text("fire 5 1 7 2\nswitch 6 0 4 4\n")
    assert convert(tmp_path / "text", tmp_path / "trace").returncode == 0
    assert (tmp_path / "trace").read_bytes() == to_bytes("fire 5 1 7 2\nswitch 6 0 4 4")


def test_the_program_names_the_text_and_the_line_of_a_mistake_and_writes_nothing(tmp_path):
    (tmp_path / "text").write_text("fire 5 1 7 2\nfire\n")
    result = convert(tmp_path / "text", tmp_path / "trace")
    assert result.returncode == 1
    assert result.stderr == f"{tmp_path}/text: line 2: fire takes 4 numbers, not 0\n"
    assert not (tmp_path / "trace").exists()


def test_the_program_asks_for_two_files():
    result = convert()
    assert (result.returncode, result.stderr) == (2, "Usage: tracetext.py TEXT TRACE\n")
