"""What mouse buttons do."""

import math

import numpy

from picture import THREAD_COLORS, Layout
from window import LEFT, MIDDLE, RIGHT

LAYOUT = Layout(2, 2, 4)


def test_a_left_click_pauses_and_the_next_resumes_where_it_stopped(start):
    viewer = start(layout=LAYOUT)
    viewer.feed("send 1 0 0 0 9 5")
    viewer.expect()
    # The viewer waits inside a step and meets the click after it.
    viewer.press(LEFT)
    viewer.feed("fire 2 1 1 1")
    viewer.expect_lines("Left button")
    viewer.going = False
    viewer.expect()
    viewer.feed("fire 3 2 2 2\nfire 4 3 3 3\nsend 5 0 9 9 9 0")
    viewer.expect_stillness()
    viewer.expect()
    assert viewer.unread() == 28 + 28 + 36

    viewer.press(LEFT)
    viewer.going = True
    viewer.run()
    viewer.expect()
    viewer.wait_until_read()
    assert viewer.said() == ["Left button"] * 2
    viewer.feed("fire 6 4 4 4")
    viewer.expect()


def test_the_middle_button_does_nothing(start):
    viewer = start(layout=LAYOUT)
    viewer.feed("fire 1 0 0 0")
    viewer.expect()
    viewer.press(MIDDLE)
    for cycle in range(2, 5):
        viewer.feed(f"fire {cycle} 1 1 1")
        viewer.expect()
    assert viewer.said() == []


def test_a_button_acts_when_it_goes_down_and_not_when_it_comes_up(start):
    viewer = start("-D", layout=Layout(15, 2, 2))
    viewer.feed("fire 1 0 5 5")
    viewer.expect()
    viewer.point()
    viewer.hold(LEFT)
    viewer.expect_lines("Left button")
    viewer.release(LEFT)
    viewer.expect_stillness()
    viewer.hold(LEFT)
    viewer.expect_lines("Left button", "Left button")
    viewer.run()
    viewer.expect()
    viewer.release(LEFT)
    viewer.feed("fire 2 0 5 5")
    viewer.run()
    viewer.expect()
    assert viewer.said() == ["Left button"] * 2


def test_in_demo_mode_the_first_click_does_nothing_and_the_second_starts(start):
    layout = Layout(15, 2, 2)
    viewer = start("-D", layout=layout)
    viewer.feed("fire 1 0 5 5\nfire 2 1 6 6")
    viewer.expect()
    viewer.expect_stillness()
    viewer.press(LEFT)
    viewer.expect_lines("Left button")
    viewer.expect_stillness()
    assert viewer.unread() == 2 * 28
    viewer.expect()

    viewer.press(LEFT)
    viewer.going = True
    viewer.run()
    viewer.expect()
    assert viewer.said() == ["Left button"] * 2
    viewer.feed("send 3 0 59 0 0 59")
    viewer.expect()


# Spinning. The picture turns by degrees that follow from the number of steps since the click: it is
# checked where the middles of fired elements must lie.

MARKS = {(1, 14): 1, (14, 14): 3, (14, 1): 5, (2, 6): 4, (9, 5): 1}


def start_with_marks(start):
    viewer = start(layout=LAYOUT)
    for (column, row), thread in MARKS.items():
        viewer.feed(f"fire 0 {thread} {column} {row}")
    # Until every mark has its resting colour.
    for cycle in range(1, 6):
        viewer.feed(f"fire {cycle} 0 0 0")
    viewer.expect()
    return viewer


def turned(degrees):
    """The rotation after so many steps of spinning."""

    def rotation(axis, angle):
        cos, sin = math.cos(math.radians(angle)), math.sin(math.radians(angle))
        a, b = [n for n in range(3) if n != axis]
        matrix = numpy.eye(3)
        matrix[a, a] = matrix[b, b] = cos
        sign = -1 if axis == 1 else 1
        matrix[a, b], matrix[b, a] = -sign * sin, sign * sin
        return matrix

    return rotation(2, degrees / 16) @ rotation(1, degrees / 4) @ rotation(0, degrees)


def marks_wrong_at(shot, degrees):
    """The marks whose turned middles do not have their colour."""
    middle = numpy.array([LAYOUT.size // 2, LAYOUT.size // 2, 0])
    wrong = []
    for (column, row), thread in MARKS.items():
        place = numpy.array([LAYOUT.pe(column) + 3, LAYOUT.pe(row) + 3, 0])
        x, y, _ = turned(degrees) @ (place - middle) + middle
        color = tuple(int(n) for n in shot[LAYOUT.size - 1 - int(y), int(x)])
        if color[1:] != THREAD_COLORS[thread][1:]:
            wrong.append((column, row))
    return wrong


def test_a_right_click_spins_the_picture_by_a_degree_a_step(start):
    viewer = start_with_marks(start)
    viewer.press(RIGHT)
    viewer.feed("fire 6 0 0 0")  # the click is met after this step
    assert not marks_wrong_at(viewer.expect(), 0)
    for cycle in range(7, 7 + 30):
        viewer.feed(f"fire {cycle} 0 0 0")
    shot = viewer.expect_shot("turned by 30 steps", lambda shot: not marks_wrong_at(shot, 30))
    assert viewer.scene.picture().differences(shot), "the control: it is not the flat picture"
    assert marks_wrong_at(shot, 0), "the control: unturned marks do not fit"
    assert marks_wrong_at(shot, 45), "the control: marks of another angle do not fit"
    assert viewer.said() == []


def test_pausing_stops_the_spin_and_a_second_right_click_ends_it(start):
    viewer = start_with_marks(start)
    viewer.press(RIGHT)
    for cycle in range(6, 6 + 26):
        viewer.feed(f"fire {cycle} 0 0 0")
    viewer.expect_shot("turned by 25 steps", lambda shot: not marks_wrong_at(shot, 25))
    viewer.wait_until_read()
    viewer.press(LEFT)
    viewer.feed("fire 40 0 0 0")
    viewer.expect_lines("Left button")
    viewer.expect_shot("turned by 26 steps", lambda shot: not marks_wrong_at(shot, 26))
    viewer.feed("fire 41 0 0 0\nfire 42 0 0 0\nfire 43 1 0 0")
    viewer.expect_stillness()
    still = viewer.shot()

    viewer.press(RIGHT)
    viewer.press(LEFT)
    viewer.expect_lines("Left button", "Left button")

    def only_one_element_changed(shot):
        return 0 < (shot != still).any(axis=2).sum() < 100

    viewer.expect_shot("the first element in another colour", only_one_element_changed)
    viewer.wait_until_read()
    assert only_one_element_changed(viewer.shot())
