"""Controls: what the comparison of pictures must refuse, and what it must let pass.

Each takes a screenshot of the real window, or paints one, and holds it against an expectation that
is wrong in one thing only.
"""

import copy

import numpy
import pytest

from picture import BLACK, WHITE, Layout, Picture, Scene
from tracetext import records

LAYOUT = Layout(2, 2, 4)
TRACE = "fire 0 1 9 2\nswitch 0 3 12 4\nsend 0 0 0 0 9 5\nsend 0 0 0 9 14 9\nfire 1 2 3 13"


@pytest.fixture(scope="module")
def shown(module_start):
    viewer = module_start(layout=LAYOUT)
    viewer.feed(TRACE)
    return viewer.scene, viewer.expect()


def changed(scene, change):
    other = copy.deepcopy(scene)
    change(other)
    return other.picture()


def wrong_color_of_an_element(scene):
    scene.pes[(9, 2)] = (1, 255, 2)


def element_at_the_mirrored_place(scene):
    scene.pes[(2, 9)], scene.pes[(9, 2)] = scene.pes[(9, 2)], scene.pes[(2, 9)]


def picture_upside_down(scene):
    scene.pes = {(column, 15 - row): color for (column, row), color in scene.pes.items()}


def wrong_switch(scene):
    scene.switches[(0, 1)], scene.switches[(1, 0)] = scene.switches[(1, 0)], scene.switches[(0, 1)]


def one_step_more(scene):
    scene.fade()


def older_message(scene):
    sender, receiver, age = scene.messages[0]
    scene.messages[0] = (sender, receiver, age + 1)


def missing_message(scene):
    del scene.messages[1]


def additional_message(scene):
    scene.messages.append(((15, 0), (15, 15), 0))


def message_to_the_neighbour(scene):
    sender, receiver, age = scene.messages[0]
    scene.messages[0] = (sender, (receiver[0] + 1, receiver[1]), age)


def wider_cluster(scene):
    scene.layout.cluster_size += 2


def wider_border(scene):
    scene.layout.border += 1
    scene.layout.size += 1


WRONG = [
    wrong_color_of_an_element,
    element_at_the_mirrored_place,
    picture_upside_down,
    wrong_switch,
    one_step_more,
    older_message,
    missing_message,
    additional_message,
    message_to_the_neighbour,
    wider_cluster,
    wider_border,
]


@pytest.mark.parametrize("change", WRONG, ids=lambda change: change.__name__)
def test_a_screenshot_does_not_fit_an_expectation_with(shown, change):
    scene, shot = shown
    assert not scene.picture().differences(shot)
    assert changed(scene, change).differences(shot)


def test_a_screenshot_does_not_fit_when_a_single_pixel_of_it_differs(shown):
    scene, shot = shown
    picture = scene.picture()
    free = numpy.argwhere((picture.pixels[::-1] == shot).all(axis=2))
    for y, x in free[:: len(free) // 50]:
        spoilt = shot.copy()
        spoilt[y, x] ^= 1
        assert picture.differences(spoilt), f"pixel {x} {y}"


def test_the_wait_for_a_picture_that_does_not_come_fails(module_start, monkeypatch):
    viewer = module_start(layout=Layout(1, 1, 1))
    viewer.expect()
    viewer.scene.pes[(0, 0)] = (1, 1, 1)
    monkeypatch.setattr("window.PATIENCE", 0.3)
    with pytest.raises(AssertionError, match="36 pixels differ"):
        viewer.expect()
    assert (viewer.folder / "shown.png").exists()


# Lines, painted by hand: an outline from (10, 10) to (30, 30) in picture units.

SIDE = 40


def canvas():
    return numpy.full((SIDE, SIDE, 3), 255, numpy.uint8)


def outlined():
    picture = Picture(SIDE)
    picture.outline(10, 10, 20)
    return picture


def frame(shot, low_x, low_y, high_x, high_y):
    """Paints a frame through these pixel columns and rows, counted from the lower left."""
    up = shot[::-1]
    up[[low_y, high_y], low_x : high_x + 1] = BLACK
    up[low_y : high_y + 1, [low_x, high_x]] = BLACK
    return shot


@pytest.mark.parametrize("x", [9, 10])
@pytest.mark.parametrize("y", [9, 10])
def test_a_line_may_fall_on_either_side_of_its_coordinate(x, y):
    assert not outlined().differences(frame(canvas(), x, y, x + 20, y + 20))
    assert not outlined().differences(frame(canvas(), x, y, 29, 29))


@pytest.mark.parametrize("place", [(8, 10, 30, 30), (10, 11, 30, 30), (10, 10, 31, 30)])
def test_a_line_must_not_fall_anywhere_else(place):
    assert outlined().differences(frame(canvas(), *place))


def test_a_line_must_not_have_a_gap():
    shot = frame(canvas(), 10, 10, 30, 30)
    shot[::-1][10, 20] = WHITE
    assert outlined().differences(shot)


def test_a_line_must_not_be_two_pixels_wide():
    shot = frame(canvas(), 10, 10, 30, 30)
    shot[::-1][9, 10:31] = BLACK
    assert outlined().differences(shot)


def test_a_straight_line_must_not_change_sides():
    shot = frame(canvas(), 10, 10, 30, 30)
    shot[::-1][10, 20:29] = WHITE
    shot[::-1][9, 20:29] = BLACK
    assert outlined().differences(shot)


def test_a_line_must_have_its_colour():
    shot = frame(canvas(), 10, 10, 30, 30)
    shot[::-1][10, 10:31] = (0, 0, 1)
    assert outlined().differences(shot)


def test_a_band_must_be_two_pixels_wide():
    picture = Picture(SIDE)
    picture.band((5, 10), (30, 10), (255, 0, 0))
    for rows, fits in (((9, 10), True), ((10, 11), True), ((10,), False), ((9, 10, 11), False)):
        shot = canvas()
        shot[::-1][list(rows), 5:31] = (255, 0, 0)
        assert (not picture.differences(shot)) == fits, rows


def test_a_picture_of_another_size_does_not_fit():
    assert outlined().differences(numpy.full((SIDE, SIDE + 1, 3), 255, numpy.uint8))


def test_the_layout_is_that_of_the_worked_example():
    columns = [20, 28, 36, 44, 66, 74, 82, 90, 104, 112, 120, 128, 150, 158, 166, 174]
    assert [LAYOUT.pe(n) for n in range(16)] == columns
    assert [LAYOUT.switch(n) for n in range(2)] == [54, 138]
    assert (LAYOUT.cluster_size, LAYOUT.cluster_step, LAYOUT.size) == (76, 84, 208)


def test_a_scene_refuses_events_that_no_piece_takes():
    for text in ("fire 1 0 16 0", "switch 1 0 5 4", "raw 1 1 0 8 0000000000000000"):
        with pytest.raises(AssertionError):
            Scene(LAYOUT).apply(next(records(text)))
