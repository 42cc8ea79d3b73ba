"""The window: what it is called, where it stands, and what it shows before the first step."""

import pytest

from picture import Layout

GRIDS = [Layout(), Layout(1, 1, 1), Layout(2, 2, 4), Layout(2, 3, 2), Layout(3, 1, 5)]


def name(layout):
    return f"{layout.clusters}x{layout.domains}x{layout.pes}"


def test_the_window_is_called_marrowfin(start):
    assert start().title() == "Marrowfin"


@pytest.mark.parametrize("layout", GRIDS, ids=name)
def test_the_window_has_the_size_of_the_picture_and_stands_at_100_150(start, layout):
    viewer = start(layout=layout)
    assert viewer.geometry() == (100, 150, layout.size, layout.size)


def test_the_default_grid_gives_a_window_of_376_units(start):
    assert start().geometry() == (100, 150, 376, 376)


@pytest.mark.parametrize("layout", GRIDS, ids=name)
def test_demo_mode_has_a_window_of_820_units_at_200_20_whatever_the_grid(start, layout):
    assert start("-D", layout=layout).geometry() == (200, 20, 820, 820)


@pytest.mark.parametrize("layout", GRIDS, ids=name)
def test_the_picture_before_the_first_step_has_every_piece_in_black_on_white(start, layout):
    viewer = start(layout=layout)
    shot = viewer.expect()
    assert {tuple(color) for color in shot.reshape(-1, 3).tolist()} == {(0,) * 3, (255,) * 3}


def test_a_demo_grid_as_large_as_the_demo_window_is_drawn_pixel_by_pixel(start):
    layout = Layout(15, 2, 2)
    assert layout.size == 820
    start("-D", layout=layout).expect()


def test_the_picture_is_stretched_to_the_window(start):
    layout = Layout(1, 2, 4)
    viewer = start("-D", layout=layout)
    viewer.resize(2 * layout.size, 3 * layout.size)
    viewer.expect(scale=(2, 3))


def test_each_cluster_gets_a_line_on_standard_error_column_by_column(start):
    viewer = start(layout=Layout(2, 2, 4))
    assert viewer.stderr() == "0 0\n0 8\n8 0\n8 8\n"


def test_demo_mode_says_so_before_the_lines_of_the_switches(start):
    viewer = start("-D", layout=Layout(1, 1, 2))
    assert viewer.stderr() == "demo mode\n0 0\n"
