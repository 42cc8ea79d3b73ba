"""What the steps do to the picture."""

import pytest

from picture import BAND_FADE, THREAD_COLORS, Layout

SMALL = Layout(1, 2, 4)
FOUR = Layout(2, 2, 4)


def pixel(layout, shot, column, row):
    """The colour in the middle of a processing element."""
    x, y = layout.pe(column) + 3, layout.pe(row) + 3
    return tuple(int(n) for n in shot[layout.size - 1 - y, x])


def switch_pixel(layout, shot, column, row):
    """The colour in the middle of a cluster's switch."""
    x, y = layout.switch(column) + 5, layout.switch(row) + 5
    return tuple(int(n) for n in shot[layout.size - 1 - y, x])


def grey(level):
    return (level,) * 3


def test_processing_elements_fade_from_black_and_rest_at_grey_206(start):
    viewer = start(layout=SMALL)
    for cycle, level in enumerate((110, 165, 192, 206, 206, 206), 1):
        viewer.feed(f"fire {cycle} 0 0 0")
        assert pixel(SMALL, viewer.expect(), 1, 1) == grey(level)


def test_switches_fade_from_black_and_rest_at_grey_254(start):
    viewer = start(layout=SMALL)
    for cycle, level in enumerate((127, 191, 223, 239, 247, 251, 253, 254, 254), 1):
        viewer.feed(f"fire {cycle} 0 0 0")
        assert switch_pixel(SMALL, viewer.expect(), 0, 0) == grey(level)


def test_cluster_outlines_stay_black(start):
    viewer = start(layout=FOUR)
    for cycle in range(1, 4):
        viewer.feed(f"fire {cycle} 0 0 0")
        shot = viewer.expect()
    # Far from any processing element, nothing else is black by then.
    assert (shot == 0).all(axis=2).sum() > 4 * 4 * (FOUR.cluster_size + 4) - 16


THREADS = [0, 1, 2, 3, 4, 5, 6, 7, 4294967295]


@pytest.mark.parametrize("thread", THREADS)
def test_a_fired_element_takes_the_colour_of_its_thread_modulo_six(start, thread):
    viewer = start(layout=SMALL)
    viewer.feed(f"fire 1 {thread} 5 2")
    assert pixel(SMALL, viewer.expect(), 5, 2) == THREAD_COLORS[thread % 6]


RESTING = [
    (0, [237]),
    (1, [110, 165, 192, 206, 206]),
    (2, [237, 237]),
    (3, [110, 165, 192, 206, 206]),
    (4, [237, 237]),
    (5, [110, 165, 192, 206, 206]),
]


@pytest.mark.parametrize("thread, reds", RESTING)
def test_only_the_red_of_a_fired_element_moves_and_the_rest_shows_the_thread_for_ever(
    start, thread, reds
):
    viewer = start(layout=SMALL)
    viewer.feed(f"fire 1 {thread} 5 2")
    for cycle, red in enumerate(reds, 2):
        viewer.feed(f"fire {cycle} 0 0 0")
        assert pixel(SMALL, viewer.expect(), 5, 2) == (red,) + THREAD_COLORS[thread][1:]


def test_columns_run_to_the_right_and_rows_upwards(start):
    viewer = start(layout=FOUR)
    viewer.feed("fire 0 1 15 0\nfire 0 2 0 15\nfire 1 3 9 2")
    shot = viewer.expect()
    below, above = FOUR.size - 1 - 22, FOUR.size - 1 - 176
    assert tuple(shot[below, 176]) == THREAD_COLORS[1]
    assert tuple(shot[above, 22]) == THREAD_COLORS[2]


def test_every_element_of_the_default_grid_answers_to_its_own_location(start):
    viewer = start()
    for column in range(32):
        for row in range(32):
            # Threads differ between all neighbours.
            viewer.feed(f"fire 0 {column * 2 + row} {column} {row}")
    viewer.feed("fire 1 0 0 0")
    viewer.expect()


@pytest.mark.parametrize("cluster", [(0, 0), (1, 0), (0, 1), (1, 1)])
def test_a_switch_answers_to_the_location_four_into_its_cluster(start, cluster):
    column, row = cluster
    viewer = start(layout=FOUR)
    viewer.feed(f"switch 1 4 {8 * column + 4} {8 * row + 4}")
    assert switch_pixel(FOUR, viewer.expect(), column, row) == THREAD_COLORS[4]


def test_the_four_of_a_switch_location_holds_in_clusters_of_other_sizes(start):
    layout = Layout(2, 2, 1)
    viewer = start(layout=layout)
    viewer.feed("switch 1 4 6 4")
    assert switch_pixel(layout, viewer.expect(), 1, 0) == THREAD_COLORS[4]


def test_a_switch_that_transmitted_fades_towards_white_on_all_channels(start):
    viewer = start(layout=SMALL)
    viewer.feed("switch 1 0 4 4")
    for cycle, low in enumerate((128, 191, 223, 239, 247, 251, 253, 254, 254), 2):
        viewer.feed(f"fire {cycle} 0 0 0")
        red = 255
        assert switch_pixel(SMALL, viewer.expect(), 0, 0) == (red, low, low)


MESSAGES = {
    "to the right": "0 0 9 0",
    "to the left": "9 1 0 1",
    "upwards": "2 0 2 9",
    "downwards": "3 9 3 0",
    "across": "0 0 9 5",
    "steeply": "1 0 4 9",
    "backwards": "9 9 0 4",
    "to a neighbour": "0 0 1 0",
}


@pytest.mark.parametrize("ends", MESSAGES.values(), ids=MESSAGES.keys())
def test_a_message_is_a_red_band_of_two_units_between_its_ends(start, ends):
    viewer = start(layout=FOUR)
    viewer.feed(f"send 1 3 {ends}")
    shot = viewer.expect()
    assert (shot == (255, 0, 0)).all(axis=2).sum() >= 16


def test_a_band_fades_towards_white_over_twelve_pictures_and_is_gone_in_the_next(start):
    viewer = start(layout=FOUR)
    viewer.feed("send 1 0 0 2 9 2")
    for cycle, level in enumerate(BAND_FADE, 1):
        band = (viewer.expect() == (255, level, level)).all(axis=2)
        assert band.sum() >= 180, f"age {cycle - 1}"
        viewer.feed(f"fire {cycle + 1} 1 15 15")
    assert not viewer.scene.messages
    viewer.expect()


def test_a_message_to_its_own_place_does_no_harm(start):
    viewer = start(layout=SMALL)
    viewer.feed("send 1 0 3 3 3 3")
    for cycle in range(2, 15):
        viewer.feed(f"fire {cycle} 0 0 0")
    viewer.expect()


def test_several_messages_of_a_cycle_are_drawn_together_and_later_ones_above(start):
    viewer = start(layout=FOUR)
    viewer.feed("send 0 0 0 0 15 15\nsend 1 0 0 15 15 0")
    viewer.expect()
    viewer.feed("send 1 0 7 0 7 15\nsend 2 0 0 7 15 7")
    viewer.expect()
    viewer.feed("send 3 0 0 7 15 7")
    viewer.expect()


def test_events_of_all_kinds_mix(start):
    viewer = start(layout=FOUR)
    for cycle in range(1, 16):
        viewer.feed(
            f"fire {cycle} {cycle} {cycle % 16} 3\n"
            f"send {cycle} 1 {cycle % 16} 0 {15 - cycle % 16} 15\n"
            f"switch {cycle} 2 {4 + 8 * (cycle % 2)} 4\n"
            f"fire {cycle} 5 9 {cycle % 16}"
        )
        viewer.expect()


def test_the_first_record_of_a_trace_is_never_shown(start):
    viewer = start(layout=SMALL, first="fire 0 4 7 7")
    viewer.expect()
    viewer.feed("fire 1 0 0 0")
    assert pixel(SMALL, viewer.expect(), 7, 7) == grey(110)


def test_a_step_takes_the_rest_of_a_cycle_and_one_event_of_the_next(start):
    viewer = start(layout=SMALL)
    viewer.feed("fire 0 0 0 0\nfire 1 1 1 1")
    viewer.expect()
    viewer.feed("fire 1 2 2 2\nfire 2 3 3 3")
    viewer.expect()


def test_what_follows_the_first_event_of_a_cycle_is_not_shown_before_the_next_cycle(start):
    viewer = start(layout=SMALL)
    viewer.feed("fire 1 1 1 1\nfire 1 2 2 2\nfire 1 3 3 3")
    viewer.wait_until_read()
    assert pixel(SMALL, viewer.expect(), 3, 3) == grey(110)
    viewer.feed("fire 2 4 4 4")
    assert pixel(SMALL, viewer.expect(), 3, 3) == THREAD_COLORS[3]


def test_skipping_discards_up_to_the_first_event_of_the_cycle_asked_for(start):
    viewer = start("-F50", layout=SMALL, first="fire 10 0 1 1\nfire 60 0 2 2")
    viewer.feed("fire 60 1 3 3")
    viewer.expect()
    viewer.feed("fire 70 2 4 4")
    shot = viewer.expect()
    assert pixel(SMALL, shot, 2, 2) == grey(165)
    assert pixel(SMALL, shot, 3, 3) == (110, 255, 1)


def test_the_cycle_is_told_when_one_reached_is_a_multiple_of_a_hundred(start):
    viewer = start(layout=SMALL)
    for cycle in (99, 100, 250, 300, 399, 401):
        viewer.feed(f"fire {cycle} 0 0 0")
    viewer.expect_lines("Cycle = 100", "Cycle = 300")
    viewer.expect()
    assert viewer.said() == ["Cycle = 100", "Cycle = 300"]
