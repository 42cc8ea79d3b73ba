"""Reads an index file as docs/index-format.md describes it, and shares nothing with the program."""

import subprocess
import types
import zlib

MAGIC = b"MFINDEX3"
FOOTER_MAGIC = b"MFINDEXE"
FOOTER = 36

MOST_CELLS = 16384
THREADS = 16  # told apart in a time table

ACTIVITIES = ("fires", "sends", "receives", "transmissions", "thread records")
OTHER_THREADS, SMALL_THREADS = 0, 64


class Numbers:
    """Takes the numbers of a directory one by one."""

    def __init__(self, data):
        self.data = data
        self.at = 0

    def number(self):
        value, shift = 0, 0
        while True:
            byte = self.data[self.at]
            self.at += 1
            value |= (byte & 0x7F) << shift
            shift += 7
            if byte < 0x80:
                assert value < 1 << 64
                return value

    def numbers(self, count):
        return [self.number() for _ in range(count)]

    def signed(self):
        value = self.number()
        return -1 - value // 2 if value & 1 else value // 2

    def text(self):
        length = self.number()
        self.at += length
        return self.data[self.at - length : self.at].decode()

    def section(self):
        return tuple(self.numbers(3))


class IndexFile:
    """The whole of a file, with sections that are unpacked when they are asked for."""

    def __init__(self, path):
        self.data = path.read_bytes()
        self.check_frame()
        numbers = Numbers(self.unpack(self.directory))
        names = ("size", "modified", "changed", "inode", "edges")
        self.trace = types.SimpleNamespace(**dict(zip(names, numbers.numbers(5))))
        self.summary = read_summary(numbers)
        self.at_last_boundary = read_summary(numbers)
        self.complete = numbers.number()
        self.stride = numbers.number()
        self.entries = list(read_entries(numbers))
        self.boundaries = list(read_boundaries(numbers))
        self.times, self.further_times = numbers.section(), numbers.section()
        assert numbers.at == len(numbers.data), "there is more in the directory"

    def check_frame(self):
        footer = self.data[-FOOTER:]
        fixed = [int.from_bytes(footer[at : at + 8], "big") for at in (0, 8, 16)]
        self.directory = tuple(fixed)
        assert self.data[:8] == MAGIC
        assert footer[28:] == FOOTER_MAGIC
        assert int.from_bytes(footer[24:28], "big") == zlib.crc32(footer[:24])
        assert fixed[0] + fixed[1] == len(self.data) - FOOTER, "the directory ends at the footer"

    def unpack(self, section):
        offset, packed, raw = section
        frame = self.data[offset : offset + packed]
        assert frame[:4] == b"\x28\xb5\x2f\xfd", "no frame"
        assert frame[4] & 4, "no checksum"
        unpacked = subprocess.run(["zstd", "-dc"], input=frame, capture_output=True, check=True)
        assert len(unpacked.stdout) == raw
        return unpacked.stdout

    def keyframe(self, boundary):
        """The codes of the elements and those of the switches."""
        codes = self.unpack(boundary.keyframe)
        elements = boundary.columns * boundary.rows
        assert len(codes) == elements + boundary.switches
        return codes[:elements], codes[elements:]

    def node(self, boundary, activity):
        """The counts of a node."""
        raw = self.unpack(boundary.nodes[activity])
        count = boundary.columns * boundary.rows
        if activity == "transmissions":
            count = boundary.switches
        elif activity == "thread records":
            count = 3 * boundary.thread_slots
        width = raw[0]
        assert width in (0, 1, 2, 4, 8, 16, 32, 64)
        assert len(raw) == 1 + (width * count + 7) // 8
        bits = int.from_bytes(raw[1:], "little")
        return [bits >> (width * i) & ((1 << width) - 1) for i in range(count)]

    def mask(self, boundary, section):
        """The bits of every position."""
        raw = self.unpack(section)
        columns, rows = max(1, boundary.columns >> raw[0]), max(1, boundary.rows >> raw[0])
        assert len(raw) == 1 + columns * rows
        across, down = boundary.columns // columns, boundary.rows // rows
        return [
            raw[1 + row // down * columns + column // across]
            for row in range(boundary.rows)
            for column in range(boundary.columns)
        ]

    def time_table(self, section):
        """The width of a cell in cycles, the number of the first cell, the threads told apart, and
        by cell (from the first on), thread (the others last) and type the counts."""
        numbers = Numbers(self.unpack(section))
        shift, first, cells, threads = numbers.numbers(4)
        assert shift < 64 and cells <= MOST_CELLS and threads <= THREADS
        table = types.SimpleNamespace(width=1 << shift, first=first)
        table.threads = numbers.numbers(threads)
        table.counts = [[[0] * 3 for _ in range(threads + 1)] for _ in range(cells)]
        for thread in range(threads + 1):
            for kind in range(3):
                for byte in range(numbers.number()):
                    plane = numbers.data[numbers.at : numbers.at + cells]
                    numbers.at += cells
                    for cell, value in enumerate(plane):
                        table.counts[cell][thread][kind] += value << 8 * byte
        assert numbers.at == len(numbers.data), "there is more in the table"
        return table

    def sections(self):
        for boundary in self.boundaries:
            yield boundary.keyframe
            yield from boundary.nodes.values()
            yield from boundary.masks
        yield self.times
        yield self.further_times


def read_summary(numbers):
    names = ("records", "bytes", "switches", "fires", "sends", "first_cycle", "last_cycle",
             "largest_cycle", "changes", "falls", "first_fall", "fired_columns", "fired_rows",
             "sent_columns", "sent_rows", "array_columns", "array_rows", "far_ends", "far_column",
             "far_row")
    summary = types.SimpleNamespace(**dict(zip(names, numbers.numbers(20))))
    summary.threads = dict(numbers.numbers(2) for _ in range(numbers.number()))
    summary.large_threads = [thread for thread in summary.threads if thread >= SMALL_THREADS]
    summary.further_threads = numbers.number()
    summary.places = [tuple(numbers.numbers(2)) for _ in range(numbers.number())]
    summary.all_places = numbers.number()
    summary.fault = tuple(numbers.numbers(3))
    return summary


def read_entries(numbers):
    record = offset = cycle = changes = 0
    for _ in range(numbers.number()):
        record += numbers.number()
        offset += numbers.number()
        cycle += numbers.signed()
        changes += numbers.number()
        yield record, offset, cycle % (1 << 64), changes


def read_boundaries(numbers):
    record = offset = changes = far_ends = 0
    for _ in range(numbers.number()):
        boundary = types.SimpleNamespace()
        record += numbers.number()
        offset += numbers.number()
        boundary.record, boundary.offset, boundary.cycle = record, offset, numbers.number()
        changes += numbers.number()
        boundary.changes = changes
        names = ("sample", "columns", "rows", "switches", "thread_slots")
        vars(boundary).update(zip(names, numbers.numbers(5)))
        far_ends += numbers.number()
        boundary.far_ends = far_ends
        boundary.keyframe = numbers.section()
        boundary.nodes = {activity: numbers.section() for activity in ACTIVITIES}
        boundary.masks = [numbers.section() for _ in range(numbers.number())]
        yield boundary
