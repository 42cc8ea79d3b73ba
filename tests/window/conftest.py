import os

import pytest

from window import Display, Viewer


@pytest.fixture(scope="session")
def display(tmp_path_factory):
    display = Display(tmp_path_factory.mktemp("display") / "Xvfb")
    yield display
    display.close()


class Starter:
    """Starts viewers one at a time: each opens its window at the same place."""

    def __init__(self, display, folders):
        self.display = display
        self.folders = folders
        self.viewer = None

    def __call__(self, *arguments, **others):
        self.close()
        folder = self.folders.mktemp("viewer")
        program = os.environ["MARROWFIN_VIEWER"]
        self.viewer = Viewer(program, self.display, folder, arguments, **others)
        return self.viewer

    def close(self):
        if self.viewer:
            self.viewer.close()


@pytest.fixture
def start(display, tmp_path_factory):
    """start(*ARGUMENTS, layout=, first=) starts a viewer, which ends with the test or before."""
    starter = Starter(display, tmp_path_factory)
    yield starter
    starter.close()


@pytest.fixture(scope="module")
def module_start(display, tmp_path_factory):
    """The same for a viewer whose screenshot serves several tests."""
    starter = Starter(display, tmp_path_factory)
    yield starter
    starter.close()
