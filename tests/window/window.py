"""The real program in a real window: a display of its own, a trace fed through a FIFO, a mouse.

The viewer takes a step whenever GLUT is idle, as fast as it can. Through a FIFO it gets only the
records that a test has written, so that it ends up waiting, inside the read of a known step, with
the picture of the step before on the screen. A record is read field by field, and the viewer takes
a read that gets less than it asked for as the end of the trace: so a record is always written
whole, by one write, which a FIFO keeps in one piece.
"""

import fcntl
import os
import signal
import struct
import subprocess
import termios
import time
from pathlib import Path
from typing import Callable, List, Optional, Tuple

import numpy
from PIL import Image, ImageGrab
from Xlib import X
from Xlib.display import Display as Connection
from Xlib.error import BadWindow
from Xlib.protocol.event import ClientMessage
from Xlib.xobject.drawable import Window

from picture import Layout, Picture, Place, Scene, play
from tracetext import Record, records

PATIENCE = 60.0  # seconds until something that has to happen counts as missing
QUIET = 0.5  # seconds for which nothing may happen where nothing has to

# Children die with the test even when it is killed.
TIED = ["setpriv", "--pdeathsig", "KILL"]

LEFT, MIDDLE, RIGHT = 1, 2, 3


def wait_for(what: str, condition: Callable[[], object], alive: Callable[[], object]) -> object:
    """Polls until `condition` gives something true and returns that."""
    deadline = time.monotonic() + PATIENCE
    while time.monotonic() < deadline:
        result = condition()
        if result:
            return result
        alive()
        time.sleep(0.005)
    raise AssertionError(f"{what}: not within {PATIENCE:.0f} seconds")


class Display:
    """An X server of its own, with software OpenGL and no window manager.

    Without one, windows get the size and the place that they ask for.
    """

    def __init__(self, log: Path):
        read_end, write_end = os.pipe()
        with open(log, "wb") as output:
            self.process = subprocess.Popen(
                TIED
                + ["Xvfb", "-displayfd", str(write_end), "-screen", "0", "1280x1024x24"]
                + ["+extension", "GLX", "-nolisten", "tcp", "-noreset"],
                pass_fds=[write_end],
                stderr=output,
            )
        os.close(write_end)
        with os.fdopen(read_end, "rb") as number:
            text = number.read().strip()
        assert text, f"Xvfb did not start: {log.read_text()}"
        self.name = ":" + text.decode()
        self.connection = Connection(self.name)

    def xdotool(self, *arguments: str) -> str:
        return subprocess.run(
            ["xdotool", *arguments],
            env=dict(os.environ, DISPLAY=self.name),
            stdout=subprocess.PIPE,
            check=True,
            text=True,
            timeout=PATIENCE,
        ).stdout

    def windows(self) -> List[int]:
        """All windows that a program has opened on the screen."""
        try:
            return [
                window.id
                for window in self.connection.screen().root.query_tree().children
                if window.get_attributes().map_state == X.IsViewable
            ]
        except BadWindow:  # one was closed meanwhile
            return self.windows()

    def window(self, number: int) -> Window:
        return self.connection.create_resource_object("window", number)

    def ask_to_close(self, number: int) -> None:
        """What a window manager sends when the user closes a window."""
        window = self.window(number)
        protocols = self.connection.intern_atom("WM_PROTOCOLS")
        delete = self.connection.intern_atom("WM_DELETE_WINDOW")
        data = (32, [delete, X.CurrentTime, 0, 0, 0])
        window.send_event(ClientMessage(window=window, client_type=protocols, data=data))
        self.connection.sync()

    def screenshot(self) -> Image.Image:
        return ImageGrab.grab(xdisplay=self.name).convert("RGB")

    def close(self) -> None:
        self.connection.close()
        self.process.terminate()
        self.process.wait()


class Viewer:
    """A running viewer, and the scene that it has to show."""

    def __init__(
        self,
        program: str,
        display: Display,
        folder: Path,
        arguments: Tuple[str, ...] = (),
        layout: Optional[Layout] = None,
        first: str = "fire 0 0 0 0",
    ):
        self.display = display
        self.folder = folder
        self.layout = layout or Layout()
        self.scene = Scene(self.layout)
        self.waiting: List[Record] = []  # fed, but not yet due
        self.going = "-D" not in arguments
        self.preamble = self.layout.clusters**2 + (not self.going)
        counts = ("clusters", "domains", "pes")
        options = [f"-{name[0]}{getattr(self.layout, name)}" for name in counts]
        os.mkfifo(folder / "trace")
        # Open for both directions, so that opening does not wait for the viewer; not blocking, so
        # that a trace that the viewer stops reading fails the test at once.
        self.fifo = os.open(folder / "trace", os.O_RDWR | os.O_NONBLOCK)
        self.log = folder / "stderr"
        # Mesa and GLUT leave memory to the end of the process: only the viewer's own leaks are of
        # interest, and they are looked for where it is tested without them.
        sanitizer = os.environ.get("ASAN_OPTIONS", "")
        environment = dict(
            os.environ,
            DISPLAY=display.name,
            LIBGL_ALWAYS_SOFTWARE="1",
            LP_NUM_THREADS="0",
            ASAN_OPTIONS=f"{sanitizer}:detect_leaks=0".lstrip(":"),
        )
        with open(self.log, "wb") as output:
            self.process = subprocess.Popen(
                TIED + [program, *options, "-f", "trace", *arguments],
                cwd=folder,
                env=environment,
                stdout=subprocess.DEVNULL,
                stderr=output,
            )
        # The first record goes to the start, which skips it; nothing opens before.
        self._write(first)
        self.window = self._find_window()

    def _find_window(self) -> int:
        def one() -> List[int]:
            windows = self.display.windows()
            assert len(windows) <= 1, f"{len(windows)} windows"
            return windows

        return wait_for("the window", one, self._alive)[0]

    def _alive(self) -> None:
        status = self.process.poll()
        assert status is None, f"the viewer ended ({status}): {self.stderr()}"

    def _write(self, text: str) -> List[Record]:
        written = list(records(text))
        for record in written:
            os.write(self.fifo, record.data)
        return written

    def feed(self, text: str) -> None:
        """Writes records to the trace, and expects all steps that they allow if it is running."""
        self.waiting += self._write(text)
        if self.going:
            self.run()

    def run(self) -> None:
        """Expects all steps that what was fed allows."""
        while play(self.scene, self.waiting) is not None:
            pass

    def unread(self) -> int:
        """Bytes that wait in the FIFO."""
        count = fcntl.ioctl(self.fifo, termios.FIONREAD, struct.pack("i", 0))
        return struct.unpack("i", count)[0]

    def wait_until_read(self) -> None:
        wait_for("the viewer reads all records", lambda: self.unread() == 0, self._alive)

    def shot(self) -> numpy.ndarray:
        """The pixels of the window as it is on the screen, the topmost row first."""
        x, y, width, height = self.geometry()
        return numpy.array(self.display.screenshot().crop((x, y, x + width, y + height)))

    def geometry(self) -> Tuple[int, int, int, int]:
        """Left, top, width and height on the screen."""
        window = self.display.window(self.window)
        size = window.get_geometry()
        place = window.translate_coords(self.display.connection.screen().root, 0, 0)
        return -place.x, -place.y, size.width, size.height

    def title(self) -> str:
        return self.display.window(self.window).get_wm_name()

    def expect(self, scale: Place = (1, 1)) -> numpy.ndarray:
        """Waits until the window shows the scene, and returns the screenshot."""
        picture = self.scene.picture(scale)
        last: List[Tuple[numpy.ndarray, List[str]]] = []

        def shows_it() -> bool:
            shot = self.shot()
            last[:] = [(shot, picture.differences(shot))]
            return not last[0][1]

        try:
            wait_for("the expected picture", shows_it, self._alive)
        except AssertionError as error:
            raise AssertionError(f"{error}; {self._keep(picture, *last[0])}") from None
        return last[0][0]

    def expect_shot(self, what: str, fits: Callable[[numpy.ndarray], bool]) -> numpy.ndarray:
        """Waits until a screenshot fits, and returns it."""

        def fitting() -> List[numpy.ndarray]:
            shot = self.shot()
            return [shot] if fits(shot) else []

        return wait_for(what, fitting, self._alive)[0]

    def _keep(self, picture: Picture, shot: numpy.ndarray, found: List[str]) -> str:
        Image.fromarray(shot).save(self.folder / "shown.png")
        Image.fromarray(picture.pixels[::-1]).save(self.folder / "expected.png")
        return f"{found} (see {self.folder}/shown.png and expected.png, which lacks the lines)"

    def expect_stillness(self) -> None:
        """The picture stays and nothing more is read, for as long as is worth waiting."""
        before = self.unread(), self.shot().tobytes()
        deadline = time.monotonic() + QUIET
        while time.monotonic() < deadline:
            assert (self.unread(), self.shot().tobytes()) == before
            self._alive()

    def press(self, button: int) -> None:
        """Moves the pointer into the window and clicks."""
        self.point()
        self.display.xdotool("click", str(button))

    def point(self) -> None:
        x, y, width, height = self.geometry()
        self.display.xdotool("mousemove", str(x + width // 2), str(y + height // 2))

    def hold(self, button: int) -> None:
        self.display.xdotool("mousedown", str(button))

    def release(self, button: int) -> None:
        self.display.xdotool("mouseup", str(button))

    def resize(self, width: int, height: int) -> None:
        self.display.xdotool("windowsize", str(self.window), str(width), str(height))

    def ask_to_close(self) -> None:
        self.display.ask_to_close(self.window)

    def stderr(self) -> str:
        return self.log.read_text()

    def said(self) -> List[str]:
        """The lines on standard error after those of demo mode and of the switches."""
        return self.stderr().splitlines()[self.preamble :]

    def expect_lines(self, *lines: str) -> None:
        wait_for(f"{lines} on standard error", lambda: self.said() == list(lines), self._alive)

    def write_bytes(self, data: bytes) -> None:
        os.write(self.fifo, data)

    def end_trace(self) -> None:
        """Ends the trace behind what was fed."""
        os.close(self.fifo)
        self.fifo = -1

    def status(self) -> int:
        """Waits for the end of the viewer: its exit status, or a signal as a negative number."""
        return self.process.wait(timeout=PATIENCE)

    def close(self) -> None:
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGKILL)
        self.process.wait()
        if self.fifo != -1:
            self.end_trace()
        wait_for("the window is gone", lambda: not self.display.windows(), lambda: None)
