"""scripts/play-trace: the pictures that it leaves, and the pace in a window."""

import os
import subprocess
import sys
import time
from pathlib import Path

import numpy
import pytest
from PIL import Image, ImageSequence

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


def film(trace, *arguments):
    return subprocess.run(
        command(trace, "--film", trace.parent / "film", *arguments),
        env=environment("a film needs none"),
        cwd=trace.parent,
        capture_output=True,
        text=True,
        timeout=PATIENCE,
        check=False,
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


def test_a_film_leaves_exact_pictures_of_the_cycles_asked_for(trace):
    result = film(trace, "--moment", "0", "--moment", "7", "--moment", "3")
    assert result.returncode == 0, result.stderr
    assert result.stdout == "".join(f"film/cycle-00000{cycle}.png\n" for cycle in (0, 3, 7))
    for cycle in (0, 3, 7):
        with Image.open(trace.parent / f"film/cycle-00000{cycle}.png") as picture:
            assert not scene_at(cycle).picture().differences(pixels(picture))
            assert scene_at(cycle + 1).picture().differences(pixels(picture)), "the control"


def test_an_animation_has_a_frame_for_each_cycle_and_tells_the_normal_end(trace):
    result = film(trace, "--gif")
    assert result.returncode == 0, result.stderr
    assert result.stdout.startswith("film/film.gif\n" + NORMAL_END)
    with Image.open(trace.parent / "film/film.gif") as animation:
        frames = [pixels(frame) for frame in ImageSequence.Iterator(animation)]
    # The last cycle is not among them: nothing follows that would show that it is complete.
    assert len(frames) == 15
    for cycle, frame in enumerate(frames):
        assert not scene_at(cycle).picture().differences(frame), cycle


def test_a_zoom_makes_squares_of_the_pixels_of_the_window(trace):
    assert film(trace, "--moment", "5").returncode == 0
    with Image.open(trace.parent / "film/cycle-000005.png") as picture:
        plain = pixels(picture)
    assert film(trace, "--moment", "5", "--zoom", "3").returncode == 0
    with Image.open(trace.parent / "film/cycle-000005.png") as picture:
        zoomed = pixels(picture)
    assert (zoomed == plain.repeat(3, axis=0).repeat(3, axis=1)).all()


def test_a_cycle_of_more_records_than_a_fifo_holds_arrives_whole(trace):
    many = "fire 0 0 0 0\n" + "".join(
        f"send 1 0 {n % 4} {n // 4 % 4} 3 3\nfire 1 2 {n % 16} 5\n" for n in range(3000)
    )
    trace.write_bytes(to_bytes(many + "fire 2 4 9 9\nfire 3 0 0 0\n"))
    result = film(trace, "--gif")
    assert result.returncode == 0, result.stderr
    with Image.open(trace.parent / "film/film.gif") as animation:
        animation.seek(2)
        shot = pixels(animation)
    x, y = LAYOUT.pe(9) + 5, LAYOUT.size - 1 - (LAYOUT.pe(9) + 5)
    assert tuple(shot[y, x]) == (255, 1, 255)


def test_a_cycle_that_the_trace_does_not_show_is_a_mistake(trace):
    result = film(trace, "--moment", "99", "--moment", "2")
    assert result.returncode == 1
    assert result.stderr == "play-trace: the trace shows no cycle 99\n"


@pytest.mark.parametrize(
    "data, reason",
    [(b"", "the trace is empty"), (to_bytes(TRACE)[:-1], "the trace ends inside a record")],
)
def test_a_broken_trace_is_refused(trace, data, reason):
    trace.write_bytes(data)
    result = film(trace, "--gif")
    assert (result.returncode, result.stderr) == (1, f"play-trace: {reason}\n")


def test_a_viewer_that_fails_is_reported_with_its_words(trace):
    trace.write_bytes(to_bytes("fire 0 0 0 0\nfire 1 0 0 0\nraw 9 1 0 0\nfire 2 0 0 0"))
    result = film(trace, "--gif")
    assert result.returncode == 1
    assert "failed assertion `0'" in result.stderr
    assert "the viewer failed (-6)" in result.stderr


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

    def end(self):
        assert self.process.wait(timeout=PATIENCE) == 0
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
