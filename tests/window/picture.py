"""What the window has to show, worked out apart from the program.

Layout gives the places, Scene the colours after each animation step, Picture the pixels. Places are
in picture units: x runs to the right and y upwards from the lower left corner.

Squares are compared to the pixel. A line at a whole coordinate runs between two rows (or columns)
of pixels, and an implementation of OpenGL may draw it on either; at both ends it may be a pixel
longer or shorter.
"""

from typing import Dict, Iterable, List, Optional, Tuple

import numpy

from tracetext import Record

Color = Tuple[int, int, int]
Place = Tuple[int, int]

WHITE: Color = (255, 255, 255)
BLACK: Color = (0, 0, 0)
THREAD_COLORS: Tuple[Color, ...] = (
    (255, 1, 1),
    (1, 255, 1),
    (255, 255, 1),
    (1, 1, 255),
    (255, 1, 255),
    (1, 255, 255),
)
# Green and blue of a message's band at ages 0 to 11; its red stays 255.
BAND_FADE = (0, 51, 91, 123, 149, 170, 187, 200, 211, 219, 226, 231)

SWITCH, FIRE, SEND = 2, 3, 4


class Layout:
    """Places of the drawn array."""

    border = 20
    pe_size = 6
    switch_size = 10

    def __init__(self, clusters: int = 4, domains: int = 2, pes: int = 4):
        self.clusters = clusters
        self.domains = domains
        self.pes = pes
        self.cluster_positions = domains * pes
        self.positions = clusters * domains * pes
        domain_size = 8 * pes - 2
        self.domain_step = domain_size + 16
        self.cluster_size = domains * domain_size + 4 * (domains - 1) + 12
        self.cluster_step = self.cluster_size + 8
        self.size = clusters * self.cluster_step + 2 * self.border

    def cluster(self, number: int) -> int:
        """Where cluster `number` of an axis begins."""
        return self.border + number * self.cluster_step

    def pe(self, position: int) -> int:
        """Where the processing element at a position of an axis begins."""
        cluster, within = divmod(position, self.cluster_positions)
        domain, pe = divmod(within, self.pes)
        return self.cluster(cluster) + domain * self.domain_step + pe * 8

    def switch(self, number: int) -> int:
        """Where the switch of cluster `number` of an axis begins."""
        return self.cluster(number) + self.domain_step - 2 - self.switch_size


class Scene:
    """Colours of all pieces, step by step."""

    def __init__(self, layout: Layout):
        self.layout = layout
        everywhere = range(layout.positions)
        self.pes: Dict[Place, Color] = {(c, r): BLACK for c in everywhere for r in everywhere}
        clusters = range(layout.clusters)
        self.switches: Dict[Place, Color] = {(c, r): BLACK for c in clusters for r in clusters}
        self.messages: List[Tuple[Place, Place, int]] = []  # sender, receiver, age
        self.cycle = 0

    def fade(self) -> None:
        """What a step does before it reads events."""
        self.messages = [(a, b, age + 1) for a, b, age in self.messages if age < 11]
        self.pes = {place: _faded_pe(color) for place, color in self.pes.items()}
        for place, color in self.switches.items():
            self.switches[place] = tuple((channel + 255) // 2 for channel in color)

    def apply(self, record: Record) -> None:
        color = THREAD_COLORS[record.thread % 6]
        if record.type == FIRE:
            assert record.words in self.pes
            self.pes[record.words] = color
        elif record.type == SWITCH:
            # A switch answers to the location four columns and rows into its cluster.
            column, row = (divmod(n - 4, self.layout.cluster_positions) for n in record.words)
            assert column[1] == 0 and row[1] == 0
            self.switches[(column[0], row[0])] = color
        elif record.type == SEND:
            self.messages.append((record.words[:2], record.words[2:], 0))
        else:
            raise AssertionError(f"no piece takes a record of type {record.type}")

    def picture(self, scale: Place = (1, 1)) -> "Picture":
        layout = self.layout
        picture = Picture(layout.size, scale)
        for column, row in self.switches:
            picture.outline(
                layout.cluster(column) - 2, layout.cluster(row) - 2, layout.cluster_size + 4
            )
        for (column, row), color in self.pes.items():
            picture.square(layout.pe(column), layout.pe(row), layout.pe_size, color)
        for (column, row), color in self.switches.items():
            picture.square(layout.switch(column), layout.switch(row), layout.switch_size, color)
        for sender, receiver, age in self.messages:
            ends = [tuple(layout.pe(n) for n in place) for place in (sender, receiver)]
            picture.band(ends[0], ends[1], (255, BAND_FADE[age], BAND_FADE[age]))
        return picture


def _faded_pe(color: Color) -> Color:
    def towards_grey(channel: int) -> int:
        return channel if 200 <= channel <= 240 else (channel + 220) // 2

    red, green, blue = color
    if red == green == blue:
        return (towards_grey(red), towards_grey(green), towards_grey(blue))
    return (towards_grey(red), green, blue)


class _Stroke:
    """A line, or the band of a message: along it, so many of a few neighbouring pixels are painted.

    `candidates` holds, per pixel along the longer axis, the (y, x) of those that may be painted;
    all of them but `loose` ones at each end must have `least` to `most` painted.
    """

    def __init__(self, layer: int, color: Color, candidates: numpy.ndarray, least: int, most: int):
        self.layer = layer
        self.color = color
        self.candidates = candidates
        self.least = least
        self.most = most
        self.straight = least == most


class Picture:
    """Expected pixels of the window: squares and strokes, in the order in which they are drawn."""

    LOOSE_ENDS = 2

    def __init__(self, size: int, scale: Place = (1, 1)):
        self.scale = scale
        self.width = size * scale[0]
        self.height = size * scale[1]
        self.pixels = numpy.full((self.height, self.width, 3), 255, numpy.uint8)
        self.layers = numpy.zeros((self.height, self.width), int)  # last square on each pixel
        self.strokes: List[_Stroke] = []
        self.layer = 0

    def square(self, x: int, y: int, side: int, color: Color) -> None:
        self.layer += 1
        sx, sy = self.scale
        area = (slice(y * sy, (y + side) * sy), slice(x * sx, (x + side) * sx))
        self.pixels[area] = color
        self.layers[area] = self.layer

    def outline(self, x: int, y: int, side: int) -> None:
        corners = [(x, y), (x + side, y), (x + side, y + side), (x, y + side)]
        for start, end in zip(corners, corners[1:] + corners[:1]):
            self._stroke(start, end, [(0, 0)], 1, 1, BLACK)

    def band(self, start: Place, end: Place, color: Color) -> None:
        """Four lines, from the corners of a unit square to those of another."""
        slanted = start[0] != end[0] and start[1] != end[1]
        corners = [(0, 0), (1, 0), (0, 1), (1, 1)]
        self._stroke(start, end, corners, 2, 3 if slanted else 2, color)

    def _stroke(
        self, start: Place, end: Place, shifts: List[Place], least: int, most: int, color: Color
    ) -> None:
        self.layer += 1
        scale = numpy.array(self.scale)
        lines = [
            ((numpy.array(start) + shift) * scale, (numpy.array(end) + shift) * scale)
            for shift in shifts
        ]
        candidates = _candidates(lines)
        self.strokes.append(_Stroke(self.layer, color, candidates, least, most))

    def differences(self, shot: numpy.ndarray) -> List[str]:
        """What of `shot`, whose first row is the topmost, is not as expected; empty if nothing."""
        if shot.shape != self.pixels.shape:
            return [f"the picture is {shot.shape}, not {self.pixels.shape}"]
        shot = shot[::-1]
        right = (shot == self.pixels).all(axis=2)
        covered = numpy.zeros_like(right)
        shared = self._shared()
        found: List[str] = []
        for stroke in reversed(self.strokes):
            found += self._check(stroke, shot, right, covered, shared)
        wrong = numpy.argwhere(~right)
        if len(wrong):
            y, x = (int(n) for n in wrong[0])
            found.append(
                f"{len(wrong)} pixels differ, the first at x {x}, y {y}: "
                f"{tuple(int(n) for n in shot[y, x])}, not "
                f"{tuple(int(n) for n in self.pixels[y, x])}"
            )
        return found

    def _shared(self) -> numpy.ndarray:
        """The pixels that more than one stroke may paint."""
        strokes = numpy.zeros((self.height, self.width), int)
        for stroke in self.strokes:
            strokes[stroke.candidates[..., 0], stroke.candidates[..., 1]] += 1
        return strokes > 1

    def _check(
        self,
        stroke: _Stroke,
        shot: numpy.ndarray,
        right: numpy.ndarray,
        covered: numpy.ndarray,
        shared: numpy.ndarray,
    ) -> Iterable[str]:
        """Marks the pixels that the stroke explains, and says where it is missing or too wide."""
        y, x = stroke.candidates[..., 0], stroke.candidates[..., 1]
        painted = (shot[y, x] == stroke.color).all(axis=2)
        below = self.layers[y, x] > stroke.layer
        inner = slice(self.LOOSE_ENDS, len(painted) - self.LOOSE_ENDS)
        seen = painted[inner][~(below | covered[y, x]).any(axis=1)[inner]]
        alone = painted[inner][~(below | shared[y, x]).any(axis=1)[inner]]
        visible = painted & ~below
        right[y[visible], x[visible]] = True
        covered[y[visible], x[visible]] = True
        if (seen.sum(axis=1) < stroke.least).any() or (alone.sum(axis=1) > stroke.most).any():
            yield f"a line of colour {stroke.color} is broken or of the wrong width"
        elif stroke.straight and len(alone) and (alone != alone[0]).any():
            yield f"a line of colour {stroke.color} is not straight"


def _candidates(lines: List[Tuple[numpy.ndarray, numpy.ndarray]]) -> numpy.ndarray:
    """The pixels that a few parallel lines of equal length may paint, grouped along them."""
    along = 0 if abs(lines[0][1] - lines[0][0])[0] >= abs(lines[0][1] - lines[0][0])[1] else 1
    across = 1 - along
    first = min(int(min(a[along], b[along])) for a, b in lines) - 1
    last = max(int(max(a[along], b[along])) for a, b in lines) + 1
    middles = numpy.arange(first, last) + 0.5
    offsets = [_across(line, middles, along) for line in lines]
    low = numpy.floor(numpy.min(offsets, axis=0) - 0.5).astype(int)
    high = numpy.floor(numpy.max(offsets, axis=0) - 0.5).astype(int) + 1
    width = int((high - low).max()) + 1
    pixels = numpy.empty((len(middles), width, 2), int)
    pixels[..., 1 - along] = numpy.arange(first, last)[:, None]
    pixels[..., 1 - across] = low[:, None] + numpy.arange(width)
    return pixels


def _across(
    line: Tuple[numpy.ndarray, numpy.ndarray], along_at: numpy.ndarray, along: int
) -> numpy.ndarray:
    """The coordinate across the line at those along it; beyond its ends that of the end."""
    start, end = line
    length = end[along] - start[along]
    if length == 0:
        return numpy.full(len(along_at), float(start[1 - along]))
    part = numpy.clip((along_at - start[along]) / length, 0, 1)
    return start[1 - along] + part * (end[1 - along] - start[1 - along])


def play(scene: Scene, waiting: List[Record]) -> Optional[int]:
    """Takes a step if `waiting` holds all that it reads, and removes that; returns its cycle.

    A step reads the rest of the current cycle and the first event of the next one.
    """
    for count, record in enumerate(waiting, 1):
        if record.cycle != scene.cycle:
            scene.fade()
            for event in waiting[:count]:
                scene.apply(event)
            scene.cycle = record.cycle
            del waiting[:count]
            return record.cycle
    return None
