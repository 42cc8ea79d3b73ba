"""scripts/play-trace: the pace in a window, and how it ends."""

import os
import subprocess
import sys
import time
from pathlib import Path

import numpy
import pytest

from picture import Layout, Scene, play
from tracetext import records, to_bytes
from window import LEFT, PATIENCE, wait_for

PROGRAM = Path(__file__).parents[2] / "scripts" / "play-trace"
LAYOUT = Layout(2, 2, 4)
NORMAL_END = "The trace is over. The viewer ends with it by aborting, which is its normal end:\n"
TRACE = "fire 0 0 0 0\n" + "".join(
    f"fire {cycle} {cycle} {cycle % 16} 3\nsend {cycle} 0 {cycle % 16} 0 5 15\n"
    for cycle in range(1, 15)
)


def command(trace, *arguments):
    layout = [f"-{name[0]}{getattr(LAYOUT, name)}" for name in ("clusters", "domains", "pes")]
    viewer = ["--viewer", os.environ["MARROWFIN_VIEWER"]]
    return [sys.executable, PROGRAM, *viewer, *layout, *arguments, trace]


def environment(display):
    sanitizer = os.environ.get("ASAN_OPTIONS", "")
    return dict(
        os.environ,
        DISPLAY=display,
        LIBGL_ALWAYS_SOFTWARE="1",
        ASAN_OPTIONS=f"{sanitizer}:detect_leaks=0".lstrip(":"),  # see window.py
    )


@pytest.fixture
def trace(tmp_path):
    (tmp_path / "trace").write_bytes(to_bytes(TRACE))
    return tmp_path / "trace"


def scene_at(cycle, text=TRACE):
    scene, waiting = Scene(LAYOUT), list(records(text))[1:]
    while scene.cycle < cycle:
        assert play(scene, waiting) is not None
    return scene


def pixels(picture):
    return numpy.array(picture.convert("RGB"))


class Playing:
    """play-trace in a window of a display."""

    def __init__(self, display, trace, rate):
        self.display = display
        self.trace = trace
        self.started = time.monotonic()
        with open(trace.parent / "said", "wb") as said:
            self.process = subprocess.Popen(
                command(trace, "--rate", str(rate)),
                env=environment(display.name),
                stdout=said,
                stderr=subprocess.STDOUT,
            )

    def alive(self):
        assert self.process.poll() is None, (self.trace.parent / "said").read_text()

    def shot(self):
        screen = self.display.screenshot()
        return pixels(screen.crop(screen.getbbox()))

    def wait_for_cycle(self, cycle):
        picture = scene_at(cycle).picture()
        wait_for("the picture", lambda: not picture.differences(self.shot()), self.alive)

    def end(self, status=0):
        assert self.process.wait(timeout=PATIENCE) == status
        return (self.trace.parent / "said").read_text()

    def close(self):
        if self.process.poll() is None:
            self.process.terminate()
        self.process.wait()
        wait_for("the window is gone", lambda: not self.display.windows(), lambda: None)


@pytest.fixture
def start_playing(display, trace):
    playing = []

    def start_playing(rate):
        playing.append(Playing(display, trace, rate))
        return playing[-1]

    yield start_playing
    for process in playing:
        process.close()


def test_a_window_gets_so_many_cycles_a_second_and_ends_normally(start_playing):
    playing = start_playing(rate=20)
    playing.wait_for_cycle(14)
    assert time.monotonic() - playing.started > 13 / 20
    assert playing.end().startswith(NORMAL_END)


# So long that nothing here comes too late for its end.
LONG = "fire 0 0 0 0\n" + "".join(f"fire {cycle} {cycle} 1 1\n" for cycle in range(1, 2000))


def test_a_pause_in_the_window_pauses_the_trace(start_playing, trace, display):
    trace.write_bytes(to_bytes(LONG))
    playing = start_playing(rate=20)
    window = wait_for("the window", display.windows, playing.alive)[0]
    place = display.window(window).translate_coords(display.connection.screen().root, 0, 0)
    click = ("mousemove", str(20 - place.x), str(20 - place.y), "click", str(LEFT))
    display.xdotool(*click)
    previous, still = None, 0

    def is_still():
        nonlocal previous, still
        shot = playing.shot().tobytes()
        still = still + 1 if shot == previous else 0
        previous = shot
        return still > 60

    wait_for("the picture stands still", is_still, playing.alive)
    display.xdotool(*click)
    wait_for("it goes on", lambda: playing.shot().tobytes() != previous, playing.alive)


def test_a_closed_window_is_a_normal_end_too(start_playing, trace, display):
    trace.write_bytes(to_bytes(LONG))
    playing = start_playing(rate=20)
    window = wait_for("the window", display.windows, playing.alive)[0]
    display.ask_to_close(window)
    assert playing.end() == "The window was closed.\n"


def test_a_cycle_of_more_records_than_a_fifo_holds_arrives_whole(start_playing, trace):
    many = "fire 0 0 0 0\n" + "".join(
        f"send 1 0 {n % 4} {n // 4 % 4} 3 3\nfire 1 2 {n % 16} 5\n" for n in range(3000)
    )
    trace.write_bytes(to_bytes(many + "fire 2 4 9 9\n"))
    playing = start_playing(rate=5)
    x, y = LAYOUT.pe(9) + 5, LAYOUT.size - 1 - (LAYOUT.pe(9) + 5)

    def shows_the_last_fire():
        shot = playing.shot()
        return shot.shape[:2] == (LAYOUT.size, LAYOUT.size) and tuple(shot[y, x]) == (255, 1, 255)

    wait_for("the fire behind the long cycle", shows_the_last_fire, playing.alive)
    assert playing.end().startswith(NORMAL_END)


@pytest.mark.parametrize(
    "data, reason",
    [(b"", "the trace is empty"), (to_bytes(TRACE)[:-1], "the trace ends inside a record")],
)
def test_a_broken_trace_is_refused(start_playing, trace, data, reason):
    trace.write_bytes(data)
    assert start_playing(rate=100).end(status=1) == f"play-trace: {reason}\n"


def test_a_viewer_that_fails_is_reported_with_its_words(start_playing, trace):
    trace.write_bytes(to_bytes("fire 0 0 0 0\nfire 1 0 0 0\nraw 9 1 0 0\nfire 2 0 0 0"))
    said = start_playing(rate=100).end(status=1)
    assert "failed assertion `0'" in said
    assert "the viewer failed (-6)" in said
