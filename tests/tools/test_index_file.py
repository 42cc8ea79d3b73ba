"""Index files are what docs/index-format.md says: a reader that knows nothing but that page finds
in them what is known of the traces."""

import collections
import os
import random
import struct
import subprocess
import zlib

import pytest

from index_file import ACTIVITIES, SMALL_THREADS, IndexFile

SWITCH, FIRE, SEND = 2, 3, 4
RECORDS = 300_000
TOP = 1 << 64
TOP_PLACE = (1 << 32) - 1
NOWHERE = 1 << 32

Event = collections.namedtuple("Event", "kind cycle thread at to")


def grown_power(extent):
    return 1 << (extent - 1).bit_length() if extent else 0


def make_events(seed):
    """Fires, messages and transmissions on an array that grows, with cycles that sometimes fall and
    now and then are huge. In the end cycles are long and half of the array is left alone, so that
    pieces that nothing touches grow old slowly."""
    draw = random.Random(seed)
    events = []
    cycle = 3
    for i in range(RECORDS):
        side = 12 if i < 50_000 else 24 if i < 90_000 else 40
        kind = draw.choice((SWITCH, FIRE, FIRE, SEND))
        at = (draw.randrange(side if i < 98_000 else side // 2), draw.randrange(side // 2))
        to = (draw.randrange(side), draw.randrange(side)) if kind == SEND else None
        if kind == SWITCH:
            at = (4 + 8 * (at[0] // 8), 4 + 8 * (at[1] // 8))
        events.append(Event(kind, cycle, draw.randrange(9), at, to))
        if i % 30_000 == 0 if i > 95_000 else draw.random() < 0.03:
            cycle = (cycle + draw.choice((1, 1, 1, 40))) % TOP
            if draw.random() < 0.01:
                cycle = draw.choice((cycle // 2, TOP - 1, 5))
    # Events that are the only ones of their cycle, and the last ones of their pieces.
    events[97_998] = Event(FIRE, 10_001, 1, (39, 19), None)
    events[97_999] = Event(SWITCH, 10_002, 1, (36, 4), None)
    # Places and threads that only the beginning knows.
    events[7] = Event(FIRE, events[7].cycle, 77, (30, 1), None)
    events[8] = Event(FIRE, events[8].cycle, 1000, (30, 1), None)
    events[120_000] = Event(FIRE, events[120_000].cycle, 65, (30, 1), None)
    # Ends of messages off the array, of which one is near enough to belong to it.
    events[50] = Event(SEND, events[50].cycle, 2, (1, 2), (TOP_PLACE, 3))
    events[95_000] = Event(SEND, events[95_000].cycle, 2, (5000, 7), (64, 2))
    events[95_001] = Event(SEND, events[95_001].cycle, 2, (3, 64), (3, 50))
    events[299_990] = Event(SEND, events[299_990].cycle, 2, (4, 900), (2, 2))
    return events


def encode(events):
    parts = []
    for event in events:
        words = event.at + (event.to or ())
        head = (event.kind, event.cycle, event.thread, 4 * len(words))
        parts.append(struct.pack(f">IQII{len(words)}I", *head, *words))
    return parts


class Known:
    """What is known of a trace, by going through it record by record."""

    def __init__(self, events):
        self.events = events
        self.parts = encode(events)
        self.bytes = b"".join(self.parts)
        self.offsets = [0]
        self.changes = []
        for i, part in enumerate(self.parts):
            self.offsets.append(self.offsets[-1] + len(part))
            change = i > 0 and events[i].cycle != events[i - 1].cycle
            self.changes.append((self.changes[-1] if i else 0) + change)

    def is_change(self, i):
        return self.changes[i] != (self.changes[i - 1] if i else 0)

    def places(self, end):
        return list(dict.fromkeys(e.at for e in self.events[:end] if e.kind == SWITCH))

    def large_threads(self, end):
        large = (e.thread for e in self.events[:end] if e.thread >= SMALL_THREADS)
        return list(dict.fromkeys(large))

    def extent(self, end, kind):
        places = [e.at for e in self.events[:end] if e.kind == kind]
        places += [e.to for e in self.events[:end] if e.kind == kind == SEND]
        return tuple(max((p[axis] + 1 for p in places), default=0) for axis in (0, 1))

    def array(self, end):
        """The array, and the ends of messages that are far off: the numbers of their records, the
        places and whether they lie beyond its columns."""
        fired, array, far = [0, 0], [0, 0], []
        for i, event in enumerate(self.events[:end]):
            for place in () if event.kind == SWITCH else filter(None, (event.at, event.to)):
                larger = [max(side, index + 1) for side, index in zip(array, place)]
                room = [grown_power(side) for side in larger]
                if event.kind == FIRE:
                    fired = [max(side, index + 1) for side, index in zip(fired, place)]
                    array = larger
                elif room == [grown_power(side) for side in array] or (
                    max(place) < grown_power(max(64, *fired)) and room[0] * room[1] <= 1 << 18
                ):
                    array = larger
                else:
                    far.append((i, place, place[0] >= grown_power(array[0])))
        return tuple(array), far


@pytest.fixture(scope="module")
def known():
    return Known(make_events(1))


@pytest.fixture(scope="module", params=["built at once", "grown"])
def index(request, known, tmp_path_factory):
    folder = tmp_path_factory.mktemp("index")
    if request.param == "grown":
        build(folder, known.bytes[: known.offsets[RECORDS * 2 // 3]])
    return build(folder, known.bytes)


def build(folder, data, status=0):
    trace = folder / "t.trace"
    trace.write_bytes(data)
    environment = dict(os.environ, XDG_CACHE_HOME=str(folder))
    command = [os.environ["MARROWFIN_TRACE"], "index", str(trace)]
    run = subprocess.run(command, env=environment, capture_output=True, text=True, check=False)
    assert run.returncode == status, run.stderr
    return IndexFile(folder / "t.trace.mfindex")


def test_the_trace_is_told_by_its_size_times_inode_and_edges(known, tmp_path):
    index = build(tmp_path, known.bytes)
    status = (tmp_path / "t.trace").stat()
    assert index.trace.size == len(known.bytes)
    assert index.trace.modified == status.st_mtime_ns
    assert index.trace.changed == status.st_ctime_ns
    assert index.trace.inode == status.st_ino
    assert index.trace.edges == zlib.crc32(known.bytes[:4096] + known.bytes[-4096:])


def test_the_edges_of_a_short_trace_are_all_of_it_twice(tmp_path):
    data = b"".join(encode([Event(FIRE, 1, 0, (1, 2), None)]))
    assert build(tmp_path, data).trace.edges == zlib.crc32(data + data)


def check_summary(summary, known, end):
    events = known.events[:end]
    kinds = collections.Counter(event.kind for event in events)
    falls = [i for i in range(1, end) if events[i].cycle < events[i - 1].cycle]
    assert summary.records == end
    assert summary.bytes == known.offsets[end]
    assert summary.switches == kinds[SWITCH]
    assert summary.fires == kinds[FIRE]
    assert summary.sends == kinds[SEND]
    assert summary.first_cycle == events[0].cycle
    assert summary.last_cycle == events[-1].cycle
    assert summary.largest_cycle == max(event.cycle for event in events)
    assert summary.changes == known.changes[end - 1]
    assert summary.falls == len(falls) > 0
    assert summary.first_fall == falls[0]
    assert (summary.fired_columns, summary.fired_rows) == known.extent(end, FIRE)
    assert (summary.sent_columns, summary.sent_rows) == known.extent(end, SEND)
    array, far = known.array(end)
    assert (summary.array_columns, summary.array_rows) == array
    assert summary.far_ends == len(far)
    assert summary.far_column == min((p[0] for _, p, beside in far if beside), default=NOWHERE)
    assert summary.far_row == min((p[1] for _, p, beside in far if not beside), default=NOWHERE)
    assert summary.threads == collections.Counter(event.thread for event in events)
    assert summary.large_threads == known.large_threads(end)
    assert summary.further_threads == 0
    assert summary.places == known.places(end)
    assert summary.all_places == 1
    assert summary.fault[0] == 0


def test_both_summaries_are_those_of_their_records(index, known):
    check_summary(index.summary, known, RECORDS)
    check_summary(index.at_last_boundary, known, index.boundaries[-1].record)
    assert index.complete == 1


def test_entries_tell_where_records_stand(index, known):
    assert index.entries[0] == (0, 0, known.events[0].cycle, 0)
    for record, offset, cycle, changes in index.entries:
        assert offset == known.offsets[record]
        assert cycle == known.events[record].cycle
        assert changes == known.changes[record]
    records = [entry[0] for entry in index.entries] + [RECORDS]
    for first, second in zip(records, records[1:-1]):
        assert index.stride <= second - first < 2 * index.stride
    assert records[-1] - records[-2] < 2 * index.stride


def test_boundaries_tell_where_segments_end(index, known):
    assert len(index.boundaries) >= 4
    for boundary in index.boundaries:
        assert boundary.offset == known.offsets[boundary.record]
        assert boundary.cycle == known.events[boundary.record - 1].cycle
        assert boundary.changes == known.changes[boundary.record - 1]
        array, far = known.array(boundary.record)
        assert (boundary.columns, boundary.rows) == tuple(map(grown_power, array))
        assert boundary.far_ends == len(far)
        assert boundary.switches == len(known.places(boundary.record))
        assert boundary.thread_slots == 1 + SMALL_THREADS + len(known.large_threads(boundary.record))
    starts = [0] + [boundary.record for boundary in index.boundaries]
    for start, boundary in zip(starts, index.boundaries):
        first = known.events[start : start + 8]
        assert boundary.sample == zlib.crc32(b"".join(map(sampled, first)))
    sizes = {(b.columns, b.rows, b.switches) for b in index.boundaries}
    assert len(sizes) > 1, "the array was to grow"


def sampled(event):
    numbers = (event.thread, event.kind) + event.at + (event.to or (0, 0))
    return struct.pack("<Q6I", event.cycle, *numbers)


def code(cap, known, i, boundary):
    """What the page says of a piece that record `i` touched last."""
    change = known.is_change(i)
    age = known.changes[boundary.record - 1] - known.changes[i] + change
    step = 2 * cap if age >= cap else 2 * age + change
    return 1 + known.events[i].thread % 6 * (2 * cap + 1) + step


def test_keyframes_tell_what_touched_every_piece_last(index, known):
    last_fire, last_switch = {}, {}
    done = 2  # records 0 and 1 are left out
    seen = set()
    for boundary in index.boundaries:
        for i in range(done, boundary.record):
            event = known.events[i]
            if event.kind != SEND:
                (last_fire if event.kind == FIRE else last_switch)[event.at] = i
        done = boundary.record
        elements, switches = index.keyframe(boundary)
        for position, found in enumerate(elements):
            at = (position % boundary.columns, position // boundary.columns)
            i = last_fire.get(at)
            assert found == (0 if i is None else code(6, known, i, boundary)), at
            seen.add(found)
        for place, found in zip(known.places(boundary.record), switches):
            assert found == code(10, known, last_switch[place], boundary), place
    assert len(seen) > 40, "few of the states were tried"


def test_the_sums_of_nodes_are_the_counts_up_to_a_boundary(index, known):
    sums = {activity: collections.Counter() for activity in ACTIVITIES}
    far = {(i, place) for i, place, _ in known.array(RECORDS)[1]}
    done = 0
    for number, boundary in enumerate(index.boundaries, start=1):
        for i in range(done, boundary.record):
            event = known.events[i]
            if event.kind == FIRE:
                sums["fires"][event.at] += 1
            elif event.kind == SWITCH:
                sums["transmissions"][event.at] += 1
            else:
                sums["sends"][event.at] += (i, event.at) not in far
                sums["receives"][event.to] += (i, event.to) not in far
            sums["thread records"][event.thread, event.kind] += 1
        done = boundary.record
        for activity in ACTIVITIES:
            found = collections.Counter()
            prefix = number
            while prefix > 0:
                add_node(index, index.boundaries[prefix - 1], activity, found, known)
                prefix -= prefix & -prefix
            assert +found == +sums[activity], (number, activity)


def add_node(index, boundary, activity, counts, known):
    places = known.places(boundary.record)
    threads = [None, *range(SMALL_THREADS), *known.large_threads(boundary.record)]
    for position, count in enumerate(index.node(boundary, activity)):
        if activity == "transmissions":
            unit = places[position]
        elif activity == "thread records":
            unit = (threads[position // 3], position % 3 + SWITCH)
        else:
            unit = (position % boundary.columns, position // boundary.columns)
        counts[unit] += count


def thread_bit(thread):
    """The bit of a thread in a mask, as the page gives it."""
    return 1 << thread % 4096 * 585 // 512 % 8


def test_masks_tell_which_threads_touched_which_elements(index, known):
    seen = 0
    for number, boundary in enumerate(index.boundaries, start=1):
        level = (number & -number).bit_length() - len(boundary.masks)
        for section in boundary.masks:
            before = number - (1 << level)
            start = index.boundaries[before - 1].record if before > 0 else 0
            assert boundary.record - start >= 262144
            expected = collections.Counter()
            for event in known.events[start : boundary.record]:
                for place in () if event.kind == SWITCH else filter(None, (event.at, event.to)):
                    expected[place] |= thread_bit(event.thread)
            for position, bits in enumerate(index.mask(boundary, section)):
                at = (position % boundary.columns, position // boundary.columns)
                assert bits & expected[at] == expected[at], (number, level, at)
            seen += 1
            level += 1
    assert seen > 0, "the trace was to be long enough"


def count_times(events, width, threads):
    """By cell, place of the thread and type."""
    counts = collections.Counter()
    for event in events:
        told = threads.index(event.thread) if event.thread in threads else len(threads)
        counts[event.cycle // width, told, event.kind - SWITCH] += 1
    return counts


def counts_of(table):
    return collections.Counter(
        {
            (table.first + cell, thread, kind): count
            for cell, by_thread in enumerate(table.counts)
            for thread, by_kind in enumerate(by_thread)
            for kind, count in enumerate(by_kind)
            if count
        }
    )


def test_time_tables_tell_how_many_records_the_cycles_have(index, known):
    end = index.boundaries[-1].record
    for section, first, last in ((index.times, 0, end), (index.further_times, end, RECORDS)):
        table = index.time_table(section)
        assert table.threads == list(dict.fromkeys(e.thread for e in known.events[:last]))
        assert counts_of(table) == count_times(known.events[first:last], table.width, table.threads)
        cells = [event.cycle // table.width for event in known.events[first:last]]
        assert table.first == min(cells)
        assert table.first + len(table.counts) - 1 == max(cells)


def test_cells_of_time_are_as_narrow_as_their_number_allows(tmp_path):
    cycles = [5 + 3 * i for i in range(40_000)]
    events = [Event(FIRE, cycle, cycle % 40, (1, 2), None) for cycle in cycles]
    index = build(tmp_path, b"".join(encode(events)))
    before, behind = index.time_table(index.times), index.time_table(index.further_times)
    assert before.width == behind.width == 8
    assert before.threads == behind.threads == [event.thread for event in events[:16]]
    counts = counts_of(before) + counts_of(behind)
    assert counts == count_times(events, 8, before.threads)


def test_sections_lie_one_behind_the_other(index):
    end = 8
    for offset, packed, _ in sorted(index.sections()):
        assert offset == end
        end += packed
    assert end == index.directory[0]


def test_an_empty_trace_has_an_index_without_tables(tmp_path):
    index = build(tmp_path, b"")
    assert index.trace.size == index.summary.records == index.summary.fault[0] == 0
    assert index.entries == index.boundaries == []
    assert index.time_table(index.times).counts == []
    assert index.time_table(index.further_times).counts == []
    assert index.complete == 1


CUT_RECORD, UNKNOWN_TYPE, WRONG_LENGTH = 1, 2, 3


def test_the_fault_that_ends_a_trace_is_told_in_numbers(tmp_path):
    data = b"".join(encode([Event(FIRE, 1, 0, (1, 2), None), Event(FIRE, 1, 0, (1, 2), None)]))
    for size, fault in ((50, (CUT_RECORD, 22, FIRE)), (30, (CUT_RECORD, 2, 0))):
        assert build(tmp_path, data[:size], status=1).summary.fault == fault
    unknown = data[:28] + b"\0\0\0\x09" + data[32:]
    assert build(tmp_path, unknown, status=1).summary.fault == (UNKNOWN_TYPE, 9, 0)
    longer = data[:44] + b"\0\0\0\x0c" + data[48:]
    assert build(tmp_path, longer, status=1).summary.fault == (WRONG_LENGTH, FIRE, 12)


def test_an_array_too_large_for_keyframes_has_the_tables_alone(tmp_path):
    events = [Event(FIRE, i, 0, (i, 1 << 20), None) for i in range(40_000)]
    index = build(tmp_path, b"".join(encode(events)))
    assert index.complete == 0
    assert index.summary.records == 40_000
    assert len(index.entries) > 10


def test_the_page_names_what_this_reader_expects():
    page = os.path.join(os.environ["MARROWFIN_SOURCE_DIR"], "docs", "index-format.md")
    with open(page, encoding="utf-8") as file:
        text = file.read()
    for words in ("`MFINDEX3`", "`MFINDEXE`", "| footer | 36 |", "first 4,096 bytes"):
        assert words in text
