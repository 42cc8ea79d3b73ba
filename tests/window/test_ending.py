"""How a viewer ends."""

import re
import signal

import pytest

from picture import Layout
from tracetext import to_bytes

SMALL = Layout(1, 2, 4)
REPORT = r"%s:[0-9]+: failed assertion `%s'"


def expect_report(viewer, source, expression):
    """The viewer aborts with a report as its only words, and its window goes."""
    assert viewer.status() == -signal.SIGABRT
    assert len(viewer.said()) == 1
    assert re.fullmatch(REPORT % (source, expression), viewer.said()[0])
    viewer.close()
    assert viewer.display.windows() == []


def test_the_end_of_the_trace_aborts_with_a_report(start):
    viewer = start(layout=SMALL)
    viewer.feed("fire 1 0 0 0\nfire 2 0 1 1")
    viewer.expect()
    viewer.end_trace()
    expect_report(viewer, "viewer/main.cpp", "e")


def test_a_trace_of_one_record_ends_at_the_first_step(start):
    viewer = start(layout=SMALL)
    viewer.expect()
    viewer.end_trace()
    expect_report(viewer, "viewer/main.cpp", "e")


def test_a_trace_that_never_leaves_cycle_0_ends_without_another_picture(start):
    viewer = start(layout=SMALL)
    viewer.feed("fire 0 1 1 1\nfire 0 1 2 2")
    viewer.wait_until_read()
    viewer.expect()
    viewer.end_trace()
    expect_report(viewer, "viewer/main.cpp", "e")


@pytest.mark.parametrize("kept", [1, 4, 12, 20, 27])
def test_a_record_that_is_cut_short_ends_the_trace(start, kept):
    viewer = start(layout=SMALL)
    viewer.feed("fire 1 0 0 0")
    viewer.expect()
    viewer.write_bytes(to_bytes("fire 2 0 1 1")[:kept])
    viewer.end_trace()
    expect_report(viewer, "viewer/main.cpp", "e")


@pytest.mark.parametrize("type_", [0, 1, 5])
def test_a_record_of_an_unknown_type_aborts_with_a_report(start, type_):
    viewer = start(layout=SMALL)
    viewer.write_bytes(to_bytes(f"raw {type_} 1 0 8 0000000000000000"))
    expect_report(viewer, "Core/VisTool.cpp", "0")


def test_a_payload_of_the_wrong_length_aborts_with_a_report(start):
    viewer = start(layout=SMALL)
    viewer.write_bytes(to_bytes("raw 4 1 0 8 0000000000000000"))
    expect_report(viewer, "Core/VisTool.cpp", r"e\.dataLength == sizeof\(uint32\) \* 4")


def test_closing_the_window_ends_the_program_without_a_report(start):
    viewer = start("-D", layout=SMALL)
    viewer.ask_to_close()
    assert viewer.status() == 0
    assert viewer.said() == []


def test_closing_the_window_while_playing_takes_effect_after_the_step(start):
    viewer = start(layout=SMALL)
    viewer.feed("fire 1 0 0 0")
    viewer.expect()
    viewer.ask_to_close()
    viewer.feed("fire 2 0 0 0")
    assert viewer.status() == 0
    assert viewer.said() == []
