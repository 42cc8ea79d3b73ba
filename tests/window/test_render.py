"""marrowfin-trace render draws what the window shows, every pixel alike.

A viewer gets one step at a time; behind some of them a screenshot of its window is compared with
the picture of the same step of the same trace. As a control it is compared with pictures that are
wrong in one thing, which must differ.
"""

import os
import random
import subprocess
from typing import List, NamedTuple, Optional, Tuple

import numpy
import pytest
from PIL import Image

from picture import Layout
from tracetext import records, to_bytes
from window import RIGHT

FRAME = "fire 0 0 0 0"  # the first record of every trace, which no viewer shows


class Show(NamedTuple):
    """What a viewer is asked to show, and of which of its steps there are pictures."""

    layout: Layout
    seed: int
    steps: int
    every: int = 1
    size: Optional[Tuple[int, int]] = None  # the window's unless given
    skip: int = 0  # to this cycle, as by -F
    spinning: bool = False


SHOWS = {
    "the usual array": Show(Layout(), 1, 30),
    "one element": Show(Layout(1, 1, 1), 2, 15),
    "three domains": Show(Layout(2, 3, 2), 3, 30),
    "odd counts, stretched": Show(Layout(3, 1, 5), 4, 30, size=(617, 401)),
    "less than a pixel for each unit": Show(Layout(4, 2, 4), 5, 30, size=(131, 97)),
    "large": Show(Layout(6, 2, 4), 6, 20, size=(1000, 800)),
    "skipping": Show(Layout(2, 2, 4), 7, 20, skip=9),
    "spinning": Show(Layout(2, 2, 4), 8, 60, spinning=True),
    "spinning far, stretched": Show(Layout(2, 2, 3), 9, 760, 19, (500, 333), spinning=True),
}


def step_text(show: Show, chance: random.Random, cycle: int) -> str:
    """What happens in a cycle: at least one event, often several."""
    side = show.layout.positions
    lines = []
    for _ in range(chance.choice((1, 2, 9))):
        kind = chance.choice(("fire", "fire", "send", "switch"))
        thread = chance.randrange(9)
        if kind == "switch":
            places = [
                4 + show.layout.cluster_positions * chance.randrange(show.layout.clusters)
                for _ in range(2)
            ]
        else:
            places = [chance.randrange(side) for _ in range(2 if kind == "fire" else 4)]
        lines.append(" ".join(map(str, (kind, cycle, thread, *places))))
    return "\n".join(lines)


def steps_of(show: Show) -> List[str]:
    """The records of each step: the rest of a cycle and the first record of the next."""
    chance = random.Random(show.seed)
    found, rest = [], ""
    for cycle in range(show.skip + 1, show.skip + show.steps + 2):
        first, _, more = step_text(show, chance, cycle).partition("\n")
        found.append(rest + first)
        rest = more + "\n" if more else ""
    return found[: show.steps]


class Renderer:
    """Draws steps of a trace that has the same records as what a viewer was fed."""

    def __init__(self, show: Show, folder):
        self.folder = folder
        self.layout = show.layout
        self.size = show.size
        self.skip = show.skip
        text = "\n".join([first_of(show), *steps_of(show), "fire 9999 0 0 0\nfire 10000 0 0 0"])
        (folder / "t.trace").write_bytes(to_bytes(text))

    def draw(self, step: int, spin: int = 0, **changes) -> numpy.ndarray:
        layout = changes.get("layout", self.layout)
        size = changes.get("size", self.size)
        words = [os.environ["MARROWFIN_TRACE"], "render", "t.trace", "-o", "a.png", "--force"]
        words += [f"--step={step}", f"--spin={spin}", f"-F{changes.get('skip', self.skip)}"]
        words += [f"-{name[0]}{getattr(layout, name)}" for name in ("clusters", "domains", "pes")]
        words += [f"--size={size[0]}x{size[1]}"] if size else []
        sanitizer = os.environ.get("ASAN_OPTIONS", "")
        environment = dict(os.environ, ASAN_OPTIONS=f"{sanitizer}:detect_leaks=0".lstrip(":"))
        subprocess.run(words, cwd=self.folder, env=environment, check=True)
        with Image.open(self.folder / "a.png") as picture:
            return numpy.array(picture)


def first_of(show: Show) -> str:
    """The records that the viewer's start skips."""
    return FRAME if not show.skip else f"{FRAME}\nfire {show.skip} 0 0 0"


def same(shot: numpy.ndarray, picture: numpy.ndarray) -> bool:
    return shot.shape == picture.shape and bool((shot == picture).all())


def expect_shot(viewer, picture: numpy.ndarray, what: str) -> None:
    """Waits until the window shows the picture; keeps both where it does not come."""
    try:
        viewer.expect_shot(what, lambda shot: same(shot, picture))
    except AssertionError as error:
        Image.fromarray(viewer.shot()).save(viewer.folder / "shown.png")
        Image.fromarray(picture).save(viewer.folder / "rendered.png")
        raise AssertionError(f"{error}; see {viewer.folder}") from None


@pytest.mark.parametrize("show", SHOWS.values(), ids=SHOWS.keys())
def test_every_pixel_of_the_window_is_rendered(start, tmp_path, show):
    renderer = Renderer(show, tmp_path)
    arguments = ("-F", str(show.skip)) if show.skip else ()
    viewer = start(*arguments, layout=show.layout, first=first_of(show))
    if not show.size:
        expect_shot(viewer, renderer.draw(0), "the array as built")
    else:
        viewer.resize(*show.size)
    if show.spinning:
        # The viewer waits inside its first step, and meets the click after it.
        viewer.press(RIGHT)
    shown, last = 0, None
    for step, text in enumerate(steps_of(show), 1):
        for record in records(text):
            viewer.write_bytes(record.data)
        if step % show.every:
            continue
        viewer.wait_until_read()
        spin = step - 1 if show.spinning else 0
        picture = renderer.draw(step, spin)
        expect_shot(viewer, picture, f"step {step}")
        assert last is None or not same(last, picture), "a picture like the one before proves little"
        shown, last = shown + 1, picture
    assert shown == show.steps // show.every


def test_the_shows_have_two_hundred_pictures_and_more():
    assert sum(show.steps // show.every for show in SHOWS.values()) >= 200


CONTROLS = {
    "the step before": {"step": 11},
    "the step behind": {"step": 13},
    "a step of spinning": {"spin": 1},
    "another array": {"layout": Layout(3, 2, 4), "size": (208, 208)},
    "a cycle skipped": {"skip": 1},
}


@pytest.fixture(scope="module")
def shown(module_start, tmp_path_factory):
    show = Show(Layout(2, 2, 4), 10, 12)
    renderer = Renderer(show, tmp_path_factory.mktemp("render"))
    viewer = module_start(layout=show.layout)
    for text in steps_of(show):
        for record in records(text):
            viewer.write_bytes(record.data)
    picture = renderer.draw(12)
    expect_shot(viewer, picture, "step 12")
    return renderer, viewer.shot()


@pytest.mark.parametrize("change", CONTROLS.values(), ids=CONTROLS.keys())
def test_a_screenshot_is_no_picture_of(shown, change):
    renderer, shot = shown
    assert same(shot, renderer.draw(12))
    assert not same(shot, renderer.draw(**{"step": 12, **change}))


def test_a_screenshot_is_no_picture_that_differs_in_a_single_pixel(shown):
    renderer, shot = shown
    picture = renderer.draw(12)
    picture[100, 100, 2] ^= 1
    assert not same(shot, picture)
