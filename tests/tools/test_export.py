"""marrowfin-trace export: what it writes, read back by readers of other makes, is the events of the
trace."""

import collections
import csv
import json
import os
import random
import re
import resource
import signal
import sqlite3
import struct
import subprocess
import sys
import time

import h5py
import numpy
import otf2
import pytest

PROGRAM = os.environ["MARROWFIN_TRACE"]
SIMULATOR = os.environ["MARROWFIN_SIM"]
SOURCES = os.environ["MARROWFIN_SOURCE_DIR"]

SWITCH, FIRE, SEND = 2, 3, 4
TYPES = {SWITCH: "switch", FIRE: "fire", SEND: "send"}
SHAPE = ("-c", "2", "-d", "2", "-p", "4")  # 16 by 16
SIDE, CLUSTER, DOMAIN = 16, 8, 4
TIMELINES = {"chrome": "json", "perfetto": "pftrace", "vcd": "vcd"}
FILES = {"csv": "csv", "jsonl": "jsonl", "hdf5": "h5", "sqlite": "sqlite", **TIMELINES}
FORMATS = {**FILES, "otf2": "otf2"}
NOWHERE = (1 << 32) - 1

Event = collections.namedtuple("Event", "record cycle thread kind at to")


def encode(events):
    parts = []
    for event in events:
        words = event.at + (event.to or ())
        parts.append(
            struct.pack(
                f">IQII{len(words)}I", event.kind, event.cycle, event.thread, 4 * len(words), *words
            )
        )
    return b"".join(parts)


def make_events(seed, count=2000):
    """Events of all kinds, several of a place in one cycle, ends of messages off the array."""
    draw = random.Random(seed)
    events = []
    cycle = draw.choice((0, 3, 5_000_000_000))
    for record in range(count):
        kind = draw.choice((SWITCH, FIRE, FIRE, SEND))
        at = (draw.randrange(SIDE), draw.randrange(6))
        to = None
        if kind == SWITCH:
            at = (4 + CLUSTER * draw.randrange(2), 4 + CLUSTER * draw.randrange(2))
        if kind == SEND:
            to = (draw.randrange(SIDE + 2), draw.choice((0, 1, 9, NOWHERE)))
        events.append(Event(record, cycle, draw.choice((0, 1, 7, NOWHERE)), kind, at, to))
        cycle += draw.choice((0, 0, 0, 1, 1, 2, 90))
    return events


def run(folder, *words, status=0, **options):
    result = subprocess.run(
        [PROGRAM, *words], cwd=folder, capture_output=True, timeout=100, check=False, **options
    )
    assert result.returncode == status, (words, result.stderr)
    return result


def export(folder, name, *words, trace="t.trace", status=0):
    return run(folder, "export", trace, "-o", name, *words, status=status)


@pytest.fixture(params=[1, 2, 3])
def made(request, tmp_path):
    """A folder with t.trace, and its events."""
    events = make_events(request.param)
    (tmp_path / "t.trace").write_bytes(encode(events))
    return tmp_path, events


@pytest.fixture
def noted(tmp_path):
    """A folder with a small run of a simulator, t.trace, that has notes and counters; and its events
    as `events` lists them, line by line."""
    words = ("-program", "reduce", "-size", "4", "-threads", "1", "-array/clusters", "2")
    subprocess.run(
        [SIMULATOR, *words, "-outFilename", "t.trace"],
        cwd=tmp_path,
        capture_output=True,
        check=True,
        timeout=100,
    )
    lines = run(tmp_path, "events", "t.trace", "--format", "jsonl").stdout.splitlines()
    listed = [json.loads(line) for line in lines]
    assert any(event["notes"].get("kind") for event in listed)
    return tmp_path, listed


def row_of(event):
    return (*event[:3], TYPES[event.kind], *event.at, *(event.to or (None, None)))


def unit_of(event):
    """The cluster and the domain of an event, where they are."""
    if event.kind == SWITCH:
        return tuple((x - 4) // CLUSTER for x in event.at), None
    return units_of(event.at)


def steps_of(events):
    """The step of the viewer that takes each event up: its start shows the first one, and a step ends
    with an event of another cycle than the one before, at first than cycle 0."""
    step, before = 0, 0
    for event in events:
        yield step
        if event.record == 0:
            step = 1
        elif event.cycle != before:
            step += 1
        before = 0 if event.record == 0 else event.cycle


def units_of(place):
    if max(place) >= SIDE:
        return None, None
    return tuple(x // CLUSTER for x in place), tuple(x // DOMAIN for x in place)


# Lines --------------------------------------------------------------------------------------------


def assert_lines(folder, form):
    listed = run(folder, "events", "t.trace", "--format", form).stdout
    export(folder, f"out.{form}")
    # Told apart without a picture of the difference, which takes minutes.
    assert ((folder / f"out.{form}").read_bytes() == listed) is True
    assert (export(folder, "-", "--format", form).stdout == listed) is True


@pytest.mark.parametrize("form", ["csv", "jsonl"])
def test_lines_are_those_that_events_lists(made, form):
    assert_lines(made[0], form)


@pytest.mark.parametrize("form", ["csv", "jsonl"])
def test_lines_with_notes_are_those_that_events_lists(noted, form):
    assert_lines(noted[0], form)


def test_csv_read_back_gives_the_events(made):
    folder, events = made
    export(folder, "out.csv")
    with open(folder / "out.csv", newline="", encoding="utf-8") as file:
        rows = list(csv.DictReader(file))
    number = lambda text: int(text) if text else None  # noqa: E731
    assert [row_of(event) for event in events] == [
        (
            *(int(row[key]) for key in ("record", "cycle", "thread")),
            row["type"],
            *(number(row[key]) for key in ("column", "row", "toColumn", "toRow")),
        )
        for row in rows
    ]


# Chrome trace JSON --------------------------------------------------------------------------------


def cycles(microseconds):
    """A time of JSON, whose digits stand as they were written."""
    whole, part = microseconds.split(".")
    assert len(part) == 3
    return int(whole) * 1000 + int(part)


def test_chrome_trace_read_back_gives_the_events(made):
    folder, events = made
    export(folder, "out.json", *SHAPE)
    with open(folder / "out.json", encoding="utf-8") as file:
        data = json.load(file, parse_float=str)
    assert data["displayTimeUnit"] == "ns"
    listed = data["traceEvents"]
    processes = {e["pid"]: e["args"]["name"] for e in listed if e["name"] == "process_name"}
    lines = {
        (e["pid"], e["tid"]): e["args"]["name"] for e in listed if e["name"] == "thread_name"
    }

    def line_of(event, place):
        cluster, domain = unit_of(event) if event.kind == SWITCH else units_of(place)
        if cluster is None:
            return "elsewhere", None
        if domain is None:
            return "cluster {} {}".format(*cluster), "switch"
        return (
            "cluster {} {}".format(*cluster),
            "domain {} {}, PE {} {}".format(*domain, *place),
        )

    slices = []
    flows = collections.defaultdict(list)
    counts = collections.defaultdict(dict)
    for entry in listed:
        where = processes[entry["pid"]], lines.get((entry["pid"], entry["tid"]))
        if entry["ph"] == "X":
            assert entry["dur"] == "0.001"
            slices.append((entry["args"]["record"], cycles(entry["ts"]), entry["name"], *where))
        elif entry["ph"] in "sf":
            flows[entry["id"]].append((entry["ph"], cycles(entry["ts"]), *where))
        elif entry["ph"] == "C":
            counts[entry["name"]][cycles(entry["ts"])] = entry["args"]["count"]
    wanted = []
    for event in events:
        wanted.append((*event[:2], TYPES[event.kind], *line_of(event, event.at)))
        if event.kind == SEND:
            wanted.append((*event[:2], "receive", *line_of(event, event.to)))
            assert flows[event.record] == [
                ("s", event.cycle, *line_of(event, event.at)),
                ("f", event.cycle, *line_of(event, event.to)),
            ]
    assert slices == wanted
    assert len(flows) == sum(event.kind == SEND for event in events)
    for kind, name in ((SWITCH, "switches"), (FIRE, "fires"), (SEND, "sends")):
        assert_curve(counts[name + " per cycle"], events, kind)


def assert_curve(curve, events, kind):
    """A curve that changes where it says is the number of events of a kind in each cycle."""
    wanted = collections.Counter(event.cycle for event in events if event.kind == kind)
    assert {cycle: count for cycle, count in curve.items() if count} == wanted
    for cycle in wanted:
        if cycle + 1 not in wanted:
            assert curve.get(cycle + 1) == 0


def test_chrome_trace_has_notes_and_counters(noted):
    folder, listed = noted
    export(folder, "out.json")
    with open(folder / "out.json", encoding="utf-8") as file:
        entries = json.load(file)["traceEvents"]
    notes = {
        e["args"]["record"]: e["args"]["notes"] for e in entries if "notes" in e.get("args", {})
    }
    assert notes == {event["record"]: event["notes"] for event in listed}
    sampled = [e for e in entries if e["ph"] == "C" and " at " in e["name"]]
    assert len(sampled) == run_account(folder, "out2.json")["samples"] > 0


def run_account(folder, name, *words):
    return json.loads(export(folder, name, "--json", *words).stdout)


# Perfetto -----------------------------------------------------------------------------------------


@pytest.fixture(scope="session")
def schema(tmp_path_factory):
    """The classes that protoc makes of the schema."""
    folder = tmp_path_factory.mktemp("proto")
    subprocess.run(
        ["protoc", f"--python_out={folder}", f"-I{SOURCES}/tests/tools", "perfetto.proto"],
        check=True,
        timeout=100,
    )
    sys.path.insert(0, str(folder))
    import perfetto_pb2  # pylint: disable=import-outside-toplevel

    return perfetto_pb2


class PerfettoTrace:
    """What a viewer makes of the packets."""

    def __init__(self, schema, path):
        self.trace = schema.Trace()
        self.trace.ParseFromString(path.read_bytes())
        known = schema.Trace()
        known.CopyFrom(self.trace)
        known.DiscardUnknownFields()
        assert known.ByteSize() == self.trace.ByteSize(), "fields that the schema lacks"
        packets = self.trace.packet
        assert packets[0].sequence_flags == 1
        assert {packet.trusted_packet_sequence_id for packet in packets} == {1}
        interned = packets[0].interned_data
        self.names = {name.iid: name.name for name in interned.event_names}
        self.notes = {name.iid: name.name for name in interned.debug_annotation_names}
        self.tracks = {}
        self.slices = []
        self.counters = collections.defaultdict(dict)
        timed = []
        for packet in packets:
            if packet.HasField("track_descriptor"):
                track = packet.track_descriptor
                assert track.parent_uuid == 0 or track.parent_uuid in self.tracks
                self.tracks[track.uuid] = track
            elif packet.HasField("track_event"):
                assert packet.sequence_flags == 2
                timed.append(packet)
        timed.sort(key=lambda packet: packet.timestamp)
        open_slices = collections.defaultdict(list)
        for packet in timed:
            self.take(packet.timestamp, packet.track_event, open_slices)
        assert not any(open_slices.values()), "slices without an end"

    def take(self, time, event, open_slices):
        opened = open_slices[event.track_uuid]
        if event.type == event.SLICE_BEGIN:
            opened.append(time)
            notes = collections.defaultdict(list)
            for note in event.debug_annotations:
                values = [value for field, value in note.ListFields() if field.name != "name_iid"]
                assert len(values) == 1
                notes[self.notes[note.name_iid]].append(values[0])
            self.slices.append(
                (
                    time,
                    self.names[event.name_iid],
                    self.path(event.track_uuid),
                    notes,
                    list(event.flow_ids),
                    list(event.terminating_flow_ids),
                )
            )
        elif event.type == event.SLICE_END:
            # One cycle each, so none is cut off by another.
            assert opened.pop() == time - 1
        else:
            value = (
                event.counter_value
                if event.HasField("counter_value")
                else event.double_counter_value
            )
            self.counters[self.path(event.track_uuid)][time] = value

    def path(self, uuid):
        names = []
        while uuid:
            names.append(self.tracks[uuid].name)
            uuid = self.tracks[uuid].parent_uuid
        return "/".join(names[::-1])


def perfetto_path(event, place):
    root = "array (a cycle is 1 ns)/"
    cluster, domain = unit_of(event) if event.kind == SWITCH else units_of(place)
    if cluster is None:
        return root + "elsewhere"
    if domain is None:
        return root + "cluster {} {}/switch".format(*cluster)
    return root + "cluster {} {}/domain {} {}/PE {} {}".format(*cluster, *domain, *place)


def test_perfetto_trace_decoded_by_protoc_gives_the_events(made, schema):
    folder, events = made
    export(folder, "out.pftrace", *SHAPE)
    trace = PerfettoTrace(schema, folder / "out.pftrace")
    wanted = []
    for event in events:
        flow = [event.record + 1] if event.kind == SEND else []
        own = {"record": [event.record], "thread": [event.thread]}
        wanted.append(
            (event.cycle, TYPES[event.kind], perfetto_path(event, event.at), own, flow, [])
        )
        if event.kind == SEND:
            far = {"record": [event.record]}
            wanted.append(
                (event.cycle, "receive", perfetto_path(event, event.to), far, [], flow)
            )
    assert trace.slices == wanted
    for kind, name in ((SWITCH, "switches"), (FIRE, "fires"), (SEND, "sends")):
        curve = trace.counters[f"array (a cycle is 1 ns)/{name} per cycle"]
        assert_curve(curve, events, kind)


def test_perfetto_trace_has_notes_and_counters(noted, schema):
    folder, listed = noted
    samples = run_account(folder, "out.pftrace")["samples"]
    trace = PerfettoTrace(schema, folder / "out.pftrace")
    notes = {
        slice_[3]["record"][0]: {
            key: value
            for key, value in slice_[3].items()
            if key not in ("record", "thread", "thread name")
        }
        for slice_ in trace.slices
        if slice_[1] != "receive"
    }
    as_list = lambda value: value if isinstance(value, list) else [value]  # noqa: E731
    assert notes == {
        event["record"]: {key: as_list(value) for key, value in event["notes"].items()}
        for event in listed
    }
    counters = {path: curve for path, curve in trace.counters.items() if " per cycle" not in path}
    assert samples > 0 and counters
    assert sum(len(curve) for curve in counters.values()) <= samples


def test_a_schema_that_lacks_a_field_is_found_out(made, schema, tmp_path):
    """The control of the test above."""
    folder, _ = made
    export(folder, "out.pftrace", *SHAPE)
    odd = schema.Trace()
    odd.ParseFromString((folder / "out.pftrace").read_bytes())
    path = tmp_path / "odd.pftrace"
    path.write_bytes(odd.SerializeToString() + b"\x10\x05")
    with pytest.raises(AssertionError):
        PerfettoTrace(schema, path)


# OTF2 ---------------------------------------------------------------------------------------------


class Otf2Trace:
    """What the format's own reader tells of an archive: regions as (cycle, name, path, attributes) in
    order of their locations, the records of both ends of each message, counters by path and name."""

    def __init__(self, folder):
        self.regions = []
        self.counters = collections.defaultdict(list)
        self.deepest = 0
        sent = collections.defaultdict(list)
        received = collections.defaultdict(list)
        with otf2.reader.open(str(folder / "traces.otf2")) as trace:
            self.resolution = trace.timer_resolution
            self.locations = {self.path(location): location for location in trace.definitions.locations}
            assert len(self.locations) == len(trace.definitions.locations)
            self.places = {
                self.path(trace.definitions.locations[coordinate.rank]): tuple(
                    coordinate.coordinates
                )
                for coordinate in trace.definitions.cart_coordinates
            } if len(trace.definitions.locations) else {}
            opened = collections.defaultdict(list)
            for location, event in trace.events:
                self.take(self.path(location), event, opened[location], sent, received)
            assert not any(opened.values()), "regions without an end"
        # Of one sender, receiver and tag messages arrive in the order in which they were sent.
        assert sent.keys() == received.keys()
        self.messages = {}
        for ends in sent:
            assert len(sent[ends]) == len(received[ends])
            for (record, cycle, size), far in zip(sent[ends], received[ends]):
                assert far == (record, cycle, size)
                self.messages[record] = (*ends, cycle, size)

    @staticmethod
    def path(location):
        names = [location.name, location.group.name]
        node = location.group.system_tree_parent
        while node is not None:
            names.append(node.name)
            node = node.parent
        return "/".join(names[::-1])

    def take(self, path, event, opened, sent, received):
        if isinstance(event, otf2.events.Enter):
            attributes = {of.name: value for of, value in (event.attributes or {}).items()}
            opened.append((event.time, event.region.name, attributes))
            self.deepest = max(self.deepest, len(opened))
            self.regions.append((event.time, event.region.name, path, attributes))
        elif isinstance(event, otf2.events.Leave):
            begin, name, _ = opened.pop()
            # One cycle each, unless too many lie within each other.
            assert event.region.name == name
            assert event.time - begin in ((1,) if len(opened) < 63 else (0, 1))
        elif isinstance(event, otf2.events.MpiSend):
            self.take_end(path, event, event.receiver, opened[-1], sent, "send")
        elif isinstance(event, otf2.events.MpiRecv):
            self.take_end(path, event, event.sender, opened[-1], received, "receive")
        else:
            assert isinstance(event, otf2.events.Metric)
            assert len(event.metric.members) == 1
            member = event.metric.members[0]
            self.counters[path, member.name, member.unit].append((event.time, event.values[0]))

    def take_end(self, path, event, far, region, ends, name):
        begin, called, attributes = region
        assert (begin, called) == (event.time, name)
        far = self.path(event.communicator.group.members[far])
        pair = (path, far) if name == "send" else (far, path)
        ends[(*pair, event.msg_tag)].append(
            (attributes["record"], event.time, event.msg_length)
        )


def otf2_path(event, place):
    cluster, domain = unit_of(event) if event.kind == SWITCH else units_of(place)
    if cluster is None:
        return "array/elsewhere/elsewhere"
    if domain is None:
        return "array/cluster {0} {1}/switch/switch of cluster {0} {1}".format(*cluster)
    return "array/cluster {} {}/domain {} {}/PE {} {}".format(*cluster, *domain, *place)


def assert_otf2(folder, events):
    trace = Otf2Trace(folder)
    wanted = []
    messages = {}
    for event in events:
        own = {"record": event.record, "thread": event.thread}
        near = otf2_path(event, event.at)
        wanted.append((event.cycle, TYPES[event.kind], near, own))
        if event.kind == SEND:
            far = otf2_path(event, event.to)
            wanted.append((event.cycle, "receive", far, own))
            messages[event.record] = (near, far, event.thread, event.cycle, 0)
    by_place = lambda region: (region[2], region[0], region[3]["record"], region[1] != "send")  # noqa: E731
    assert sorted(trace.regions, key=by_place) == sorted(wanted, key=by_place)
    assert trace.messages == messages
    assert trace.resolution == 10**9
    assert trace.places == {
        otf2_path(event, place): place
        for event in events
        if event.kind != SWITCH
        for place in (event.at, event.to)
        if place is not None and max(place) < SIDE
    }
    return trace


def test_otf2_archive_read_by_the_formats_own_reader_gives_the_events(made):
    folder, events = made
    export(folder, "out.otf2", *SHAPE)
    assert_otf2(folder / "out.otf2", events)


def test_otf2_archive_is_read_by_the_formats_own_tools(made):
    folder, events = made
    export(folder, "out.otf2", *SHAPE)
    printed = subprocess.run(
        ["otf2-print", "out.otf2/traces.otf2"],
        cwd=folder,
        capture_output=True,
        check=True,
        timeout=100,
    )
    assert printed.stderr == b""
    lines = collections.Counter(line.split(b" ")[0] for line in printed.stdout.splitlines())
    sends = sum(event.kind == SEND for event in events)
    assert lines[b"ENTER"] == lines[b"LEAVE"] == len(events) + sends
    assert lines[b"MPI_SEND"] == lines[b"MPI_RECV"] == sends


def test_otf2_archive_has_notes_and_counters(noted):
    folder, listed = noted
    samples = run_account(folder, "out.otf2")["samples"]
    trace = Otf2Trace(folder / "out.otf2")
    own = ("record", "thread", "thread name")
    notes = {}
    for _, name, _, attributes in trace.regions:
        if name != "receive":
            # Several values of one thing are attributes with a number behind the name.
            said = collections.defaultdict(list)
            for key in attributes:
                if key not in own:
                    said[key.rstrip("0123456789").rstrip()].append(attributes[key])
            notes[attributes["record"]] = said
    as_list = lambda value: value if isinstance(value, list) else [value]  # noqa: E731
    assert notes == {
        event["record"]: {key: as_list(value) for key, value in event["notes"].items()}
        for event in listed
    }
    sizes = {event["record"]: event["notes"].get("size", 0) for event in listed}
    assert trace.messages
    for record, message in trace.messages.items():
        assert message[-1] == sizes[record]
    assert sum(len(curve) for curve in trace.counters.values()) == samples > 0
    for curve in trace.counters.values():
        assert curve == sorted(curve, key=lambda sample: sample[0])


def test_otf2_archive_says_how_long_a_cycle_takes(noted):
    folder, _ = noted
    about = folder / "t.trace.about"
    text = about.read_text(encoding="utf-8")
    about.write_text("cycle_ns = 0.8\n" + text.replace("cycle_ns", "# cycle_ns"), encoding="utf-8")
    export(folder, "out.otf2")
    assert Otf2Trace(folder / "out.otf2").resolution == 1_250_000_000


def test_otf2_regions_of_one_cycle_lie_within_each_other_but_not_too_deep(tmp_path):
    events = [Event(record, 7, 0, FIRE, (1, 1), None) for record in range(500)]
    (tmp_path / "t.trace").write_bytes(encode(events))
    export(tmp_path, "out.otf2", *SHAPE)
    assert assert_otf2(tmp_path / "out.otf2", events).deepest == 64


def test_otf2_archive_keeps_cycles_that_have_no_sign(tmp_path):
    last = (1 << 64) - 3
    events = [Event(0, 1 << 63, 0, FIRE, (0, 0), None), Event(1, last, 0, FIRE, (1, 0), None)]
    (tmp_path / "t.trace").write_bytes(encode(events))
    export(tmp_path, "out.otf2", *SHAPE)
    assert_otf2(tmp_path / "out.otf2", events)


def test_an_archive_that_exists_is_replaced_only_by_force(made):
    folder, events = made
    export(folder, "out.otf2", *SHAPE)
    before = (folder / "out.otf2").stat().st_ino
    result = export(folder, "out.otf2", *SHAPE, status=2)
    assert result.stderr == (
        b"marrowfin-trace: out.otf2: exists already\n"
        b"  Name another folder, or replace this one with --force.\n"
    )
    export(folder, "out.otf2/", *SHAPE, "--force", "--format", "otf2", "--records", "0..99")
    assert (folder / "out.otf2").stat().st_ino != before
    assert_otf2(folder / "out.otf2", events[:100])
    assert sorted(path.name for path in folder.iterdir() if "otf2" in path.name) == ["out.otf2"]


@pytest.mark.parametrize("other", ["notes.txt", "traces/mine.txt", "traces/more/0.evt"])
def test_a_folder_in_which_anything_else_lies_is_never_replaced(made, other):
    folder, _ = made
    export(folder, "out.otf2", *SHAPE)
    path = folder / "out.otf2" / other
    path.parent.mkdir(exist_ok=True)
    path.write_text("precious", encoding="ascii")
    result = export(folder, "out.otf2", *SHAPE, "--force", status=2)
    assert b"out.otf2: is not what an export to otf2 wrote, or not only\n" in result.stderr
    assert path.read_text(encoding="ascii") == "precious"


@pytest.mark.parametrize("make", ["mkdir", "touch"])
def test_what_is_no_archive_is_never_replaced_by_one(made, make):
    folder, _ = made
    subprocess.run([make, "out.otf2"], cwd=folder, check=True)
    export(folder, "out.otf2", *SHAPE, "--force", status=2)
    assert not (folder / "out.otf2" / "traces.otf2").exists()


def test_a_folder_goes_through_no_pipe(made):
    folder, _ = made
    result = export(folder, "-", "--format", "otf2", *SHAPE, status=2)
    assert b"-: is no folder, and otf2 is a folder of files" in result.stderr
    assert result.stdout == b""


def test_a_link_to_an_archive_stays_a_link(made):
    folder, events = made
    export(folder, "real.otf2", *SHAPE, "--records", "0..9")
    (folder / "out.otf2").symlink_to("real.otf2")
    export(folder, "out.otf2", *SHAPE, "--force")
    assert (folder / "out.otf2").is_symlink()
    assert_otf2(folder / "real.otf2", events)


@pytest.mark.parametrize("limit", [1000, 100_000, 250_000, 262_144, 400_000, 519_000])
def test_wherever_an_archive_cannot_be_written_nothing_is_left(tmp_path, limit):
    """What lies aside of one place is smaller than its file of events, which fails in the middle or
    where it is closed."""
    events = [Event(record, record, 0, FIRE, (1, 1), None) for record in range(20000)]
    (tmp_path / "t.trace").write_bytes(encode(events))
    run(tmp_path, "index", "t.trace")

    def little_room():
        resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit))

    result = run(
        tmp_path, "export", "t.trace", "-o", "out.otf2", *SHAPE, status=3, preexec_fn=little_room
    )
    assert result.stderr.startswith(b"marrowfin-trace: out.otf2: cannot write"), result.stderr
    assert b"File too large" in result.stderr
    assert sorted(path.name for path in tmp_path.iterdir()) == ["t.trace", "t.trace.mfindex"]


def test_what_a_killed_export_left_is_removed_by_the_next(made):
    folder, events = made
    left = folder / "out.otf2.mfpart-abcdef"
    (left / "traces").mkdir(parents=True)
    (left / "traces" / "0.evt").write_bytes(b"half")
    other = folder / "out.otf2.mfpart-longerthanthat"
    other.mkdir()
    export(folder, "out.otf2", *SHAPE)
    assert not left.exists()
    assert other.exists()
    assert_otf2(folder / "out.otf2", events)


def test_an_export_that_is_stopped_leaves_no_folder(tmp_path):
    run(tmp_path, "synth", "-o", "t.trace", "--records", "2000000")
    run(tmp_path, "index", "t.trace")
    with subprocess.Popen(
        [PROGRAM, "export", "t.trace", "-o", "out.otf2"],
        cwd=tmp_path,
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
    ) as process:
        deadline = time.monotonic() + 60
        while process.poll() is None and not list(tmp_path.glob("out.otf2.mfpart-*/traces/*.evt")):
            assert time.monotonic() < deadline
            time.sleep(0.001)
        process.send_signal(signal.SIGTERM)
        process.communicate(timeout=60)
    # On a very quick machine it was done before.
    assert process.returncode in (-signal.SIGTERM, 0)
    names = sorted(path.name for path in tmp_path.iterdir())
    whole = ["out.otf2"] if process.returncode == 0 else []
    assert names == [*whole, "t.trace", "t.trace.mfindex"]


# Waveforms ----------------------------------------------------------------------------------------


def read_vcd(text):
    """The values that signals have from which time on, by their paths."""
    scopes = []
    paths = {}
    changes = collections.defaultdict(dict)
    time = 0
    lines = iter(text.splitlines())
    for line in lines:
        words = line.split()
        if words[:1] == ["$scope"]:
            scopes.append(words[2])
        elif words[:1] == ["$upscope"]:
            scopes.pop()
        elif words[:1] == ["$var"]:
            paths[words[3]] = "/".join([*scopes, words[4]])
        elif words[:1] == ["$enddefinitions"]:
            break
    for line in lines:
        if line[:1] == "#":
            assert int(line[1:]) >= time
            time = int(line[1:])
        elif line[:1] == "b":
            value, code = line[1:].split()
            changes[paths[code]][time] = int(value, 2)
        elif line[:1] in "01" and line:
            changes[paths[line[1:]]][time] = int(line[0])
    return changes


def high_cycles(changes):
    """The cycles in which a signal of one bit is 1."""
    high = []
    since = None
    for time, value in sorted(changes.items()):
        if value and since is None:
            since = time
        elif not value and since is not None:
            high.extend(range(since, time))
            since = None
    assert since is None
    return high


def vcd_path(event, place, signal):
    cluster, domain = unit_of(event) if event.kind == SWITCH else units_of(place)
    if cluster is None:
        return f"array/elsewhere/{signal}"
    if domain is None:
        return "array/cluster_{}_{}/switch/transmit".format(*cluster)
    return "array/cluster_{}_{}/domain_{}_{}/PE_{}_{}/{}".format(
        *cluster, *domain, *place, signal
    )


def assert_waves(changes, events):
    wanted = collections.defaultdict(set)
    for event in events:
        wanted[vcd_path(event, event.at, TYPES[event.kind])].add(event.cycle)
        if event.kind == SEND:
            wanted[vcd_path(event, event.to, "receive")].add(event.cycle)
    totals = {path: curve for path, curve in changes.items() if path.count("/") == 1}
    assert {
        path: set(high_cycles(curve)) for path, curve in changes.items() if path not in totals
    } == wanted
    for kind, name in ((SWITCH, "switches"), (FIRE, "fires"), (SEND, "sends")):
        curve = totals[f"array/{name}"]
        counts = collections.Counter(event.cycle for event in events if event.kind == kind)
        value = 0
        last = max(event.cycle for event in events) + 2
        times = sorted(set(curve) | set(counts) | {c + 1 for c in counts} | {last})
        for time in times:
            value = curve.get(time, value)
            assert value == counts.get(time, 0), (name, time)


def test_waveforms_read_back_say_in_which_cycles_there_were_events(made):
    folder, events = made
    export(folder, "out.vcd", *SHAPE)
    assert_waves(read_vcd((folder / "out.vcd").read_text(encoding="ascii")), events)


def test_waveforms_are_taken_by_the_tools_of_gtkwave(made):
    folder, events = made
    export(folder, "out.vcd", *SHAPE)
    subprocess.run(
        ["vcd2fst", "out.vcd", "out.fst"], cwd=folder, check=True, timeout=100, capture_output=True
    )
    back = subprocess.run(
        ["fst2vcd", "out.fst"], cwd=folder, check=True, timeout=100, capture_output=True
    )
    assert_waves(read_vcd(back.stdout.decode("ascii")), events)


# Databases and columns ----------------------------------------------------------------------------


def test_database_read_back_gives_the_events(made):
    folder, events = made
    export(folder, "out.sqlite", *SHAPE)
    base = sqlite3.connect(folder / "out.sqlite")
    assert base.execute("PRAGMA integrity_check").fetchall() == [("ok",)]
    columns = "record, cycle, thread, type, col, row, to_col, to_row"
    rows = base.execute(f"SELECT {columns} FROM events ORDER BY record").fetchall()
    assert rows == [row_of(event) for event in events]
    steps = dict(base.execute("SELECT record, step FROM events"))
    assert steps == {event.record: step for event, step in zip(events, steps_of(events))}
    units = base.execute(
        "SELECT cluster_col, cluster_row, domain_col, domain_row FROM events ORDER BY record"
    ).fetchall()
    flat = lambda pair: (*(pair[0] or (None, None)), *(pair[1] or (None, None)))  # noqa: E731
    assert units == [flat(unit_of(event)) for event in events]
    for kind, view in ((SWITCH, "switches"), (FIRE, "fires"), (SEND, "sends")):
        got = base.execute(f"SELECT record, cycle, thread, col, row, step FROM {view}").fetchall()
        assert sorted(got) == [(*e[:3], *e.at, steps[e.record]) for e in events if e.kind == kind]
    far = base.execute(
        "SELECT to_cluster_col, to_cluster_row, to_domain_col, to_domain_row, distance FROM sends"
        " ORDER BY record"
    ).fetchall()
    assert far == [
        (*flat(units_of(e.to)), sum(abs(a - b) for a, b in zip(e.at, e.to)))
        for e in events
        if e.kind == SEND
    ]
    activity = {
        (row[0], *row[1:3]): row[3:]
        for row in base.execute(
            "SELECT unit, col, row, fires, sends, receives, transmissions FROM activity"
        )
    }
    wanted = collections.defaultdict(lambda: [0, 0, 0, 0])
    for e in events:
        unit = "switch" if e.kind == SWITCH else "pe"
        wanted[(unit, *e.at)][{FIRE: 0, SEND: 1, SWITCH: 3}[e.kind]] += 1
        if e.kind == SEND:
            wanted[("pe", *e.to)][2] += 1
    assert activity == {key: tuple(value) for key, value in wanted.items()}
    threads = base.execute("SELECT thread, fires + sends + switches FROM threads ORDER BY 1")
    assert dict(threads.fetchall()) == collections.Counter(e.thread for e in events)
    assert base.execute("SELECT count(*) FROM pes").fetchone() == (SIDE * SIDE,)
    assert base.execute("SELECT value FROM about WHERE key = 'clusters_rows'").fetchone() == ("2",)


@pytest.mark.parametrize("words", [(), ("--cycles", "20.."), ("--steps", "5..40", "--types", "fire")])
def test_database_and_the_trace_in_place_tell_the_same_steps(tmp_path, words):
    run(tmp_path, "synth", "-o", "t.trace", "--records", "3000")
    export(tmp_path, "out.sqlite", *words)
    base = sqlite3.connect(tmp_path / "out.sqlite")
    there = dict(base.execute("SELECT record, step FROM events"))
    sql = "select record, step from events"
    listed = json.loads(run(tmp_path, "query", "t.trace", sql, "--json").stdout)
    here = {row["record"]: row["step"] for row in listed}
    assert there == {record: here[record] for record in there}
    assert len(set(there.values())) > 5


def test_database_has_indexes_for_what_is_asked(made):
    folder, _ = made
    export(folder, "out.sqlite", *SHAPE)
    base = sqlite3.connect(folder / "out.sqlite")
    for condition, index in (
        ("cycle BETWEEN 5 AND 9", "events_by_cycle"),
        ("thread = 7 AND cycle > 3", "events_by_thread"),
        ("col = 1 AND row = 2", "events_by_place"),
    ):
        plan = base.execute(f"EXPLAIN QUERY PLAN SELECT * FROM events WHERE {condition}").fetchall()
        assert any(index in step[3] for step in plan), plan


def test_database_has_notes_and_counters(noted):
    folder, listed = noted
    samples = run_account(folder, "out.sqlite")["samples"]
    base = sqlite3.connect(folder / "out.sqlite")
    names = [row[1] for row in base.execute("PRAGMA table_info(events)")]
    noted_names = names[names.index("to_row") + 1 :]
    for row in base.execute(f"SELECT record, {', '.join(noted_names)} FROM events"):
        got = {name: value for name, value in zip(noted_names, row[1:]) if value is not None}
        for name in ("consumes", "produced_by"):
            if name in got and isinstance(got[name], str):
                got[name] = json.loads(got[name])
        assert got == listed[row[0]]["notes"]
    by_record = collections.defaultdict(list)
    for record, name, value in base.execute("SELECT record, name, value FROM notes"):
        by_record[record, name].append(value)
    as_list = lambda value: value if isinstance(value, list) else [value]  # noqa: E731
    assert by_record == {
        (event["record"], name): as_list(value)
        for event in listed
        for name, value in event["notes"].items()
    }
    assert base.execute("SELECT count(*) FROM counters").fetchone() == (samples,)
    assert samples > 0


def test_database_lists_threads_that_have_a_name_and_no_events(noted):
    folder, _ = noted
    about = folder / "t.trace.about"
    text = about.read_text(encoding="utf-8")
    about.write_text(text + '\n[[threads]]\nthread = 4000\nname = "idle"\n', encoding="utf-8")
    export(folder, "out.sqlite")
    base = sqlite3.connect(folder / "out.sqlite")
    idle = "SELECT name, fires, sends, switches FROM threads WHERE thread = 4000"
    assert base.execute(idle).fetchall() == [("idle", 0, 0, 0)]


def test_columns_read_back_give_the_events(made):
    folder, events = made
    export(folder, "out.h5", *SHAPE)
    with h5py.File(folder / "out.h5") as file:
        columns = {name: file["events"][name][:] for name in file["events"]}
        assert file["events/cycle"].compression == "gzip"
        assert file["events/cycle"].dtype == numpy.dtype("<u8")
        assert file.attrs["clusters_rows"] == "2"
    names = ("record", "cycle", "thread", "type", "col", "row", "to_col", "to_row")
    assert list(zip(*(columns[name].tolist() for name in names))) == [
        (*event[:4], *event.at, *(event.to or (NOWHERE, NOWHERE))) for event in events
    ]


def test_columns_say_what_their_numbers_mean(made):
    folder, _ = made
    export(folder, "out.h5", *SHAPE)
    with h5py.File(folder / "out.h5") as file:
        meanings = {
            name: column.attrs["meaning"]
            for name, column in file["events"].items()
            if "meaning" in column.attrs
        }
    nowhere = f"{NOWHERE} where the event is no send"
    assert meanings == {
        "type": f"{SWITCH}: switch, {FIRE}: fire, {SEND}: send",
        "to_col": nowhere,
        "to_row": nowhere,
    }


def test_columns_come_in_chunks_of_32768_values(made):
    folder, _ = made
    export(folder, "out.h5", *SHAPE)
    with h5py.File(folder / "out.h5") as file:
        assert {column.chunks for column in file["events"].values()} == {(32768,)}


def test_columns_have_notes_and_counters(noted):
    folder, listed = noted
    samples = run_account(folder, "out.h5")["samples"]
    got = collections.defaultdict(dict)
    with h5py.File(folder / "out.h5") as file:
        for name, group in file["notes"].items():
            names = {}
            if "named" in group:
                names = dict(zip(group["named"][:].tolist(), group["name"].asstr()[:]))
            for record, value in zip(group["record"][:].tolist(), group["value"][:].tolist()):
                got[record].setdefault(name, []).append(names.get(value, value))
        assert len(file["samples/value"]) == samples > 0
        assert set(file["samples/counter"][:]) <= set(range(len(file["samples/counter_name"])))
    as_list = lambda value: value if isinstance(value, list) else [value]  # noqa: E731
    assert {
        event["record"]: {name: as_list(value) for name, value in event["notes"].items()}
        for event in listed
        if event["notes"]
    } == got


# What all have in common --------------------------------------------------------------------------


@pytest.mark.parametrize("form", FORMATS)
def test_a_filter_chooses_what_is_exported(made, form):
    folder, events = made
    middle = events[len(events) // 2].cycle
    words = ("--cycles", f"{middle}:", "--type", "fire", "--thread", "1")
    chosen = [e for e in events if e.cycle >= middle and e.kind == FIRE and e.thread == 1]
    assert chosen
    account = run_account(folder, "out." + FORMATS[form], *SHAPE, *words)
    assert account == {
        "trace": "t.trace",
        "output": "out." + FORMATS[form],
        "format": form,
        "events": len(chosen),
        "samples": 0,
    }


@pytest.mark.parametrize("form", FORMATS)
def test_a_trace_without_records_becomes_a_file_without_events(tmp_path, form, schema):
    (tmp_path / "t.trace").write_bytes(b"")
    name = "out." + FORMATS[form]
    assert run_account(tmp_path, name, *SHAPE)["events"] == 0
    path = tmp_path / name
    if form == "chrome":
        json.loads(path.read_text(encoding="utf-8"))
    elif form == "perfetto":
        assert not PerfettoTrace(schema, path).slices
    elif form == "hdf5":
        with h5py.File(path) as file:
            assert len(file["events/cycle"]) == 0
    elif form == "sqlite":
        assert sqlite3.connect(path).execute("SELECT count(*) FROM events").fetchone() == (0,)
    elif form == "otf2":
        assert not Otf2Trace(path).regions


@pytest.mark.parametrize("form", FILES)
def test_an_output_that_exists_is_replaced_only_by_force(made, form):
    folder, _ = made
    name = "out." + FORMATS[form]
    (folder / name).write_text("precious")
    result = export(folder, name, *SHAPE, status=2)
    assert result.stderr == (
        f"marrowfin-trace: {name}: exists already\n"
        "  Name another file, or replace this one with --force.\n"
    ).encode()
    assert (folder / name).read_text() == "precious"
    export(folder, name, *SHAPE, "--force")
    assert (folder / name).read_bytes()[:8] != b"precious"


def test_the_same_trace_gives_the_same_bytes(noted):
    folder, _ = noted
    exported = []
    for part in ("first", "second"):
        time.sleep(1.1)  # what a format may tell of the clock
        for ending in FILES.values():
            export(folder, f"{part}.{ending}")
        exported.append([(folder / f"{part}.{ending}").read_bytes() for ending in FILES.values()])
    assert (exported[0] == exported[1]) is True


def test_the_trace_and_what_stands_beside_it_are_no_outputs(noted):
    folder, _ = noted
    (folder / "link.csv").symlink_to("t.trace")
    os.link(folder / "t.trace", folder / "hard.csv")
    before = (folder / "t.trace").read_bytes()
    for name in ("t.trace", "t.trace.notes", "t.trace.about", "link.csv", "hard.csv"):
        export(folder, name, "--format", "csv", "--force", status=2)
    assert (folder / "t.trace").read_bytes() == before


@pytest.mark.parametrize("form", [*TIMELINES, "otf2"])
def test_a_timeline_of_cycles_that_fall_is_refused(tmp_path, form):
    events = [Event(0, 5, 0, FIRE, (0, 0), None), Event(1, 4, 0, FIRE, (1, 1), None)]
    (tmp_path / "t.trace").write_bytes(encode(events))
    name = "out." + FORMATS[form]
    result = export(tmp_path, name, *SHAPE, status=1)
    assert b"t.trace: record 1: its cycle is below that of the record before it" in result.stderr
    assert not (tmp_path / name).exists()


@pytest.mark.parametrize("form", TIMELINES)
def test_a_timeline_of_cycles_that_have_no_number_is_refused(tmp_path, form):
    (tmp_path / "t.trace").write_bytes(encode([Event(0, 1 << 63, 0, FIRE, (0, 0), None)]))
    result = export(tmp_path, "out." + FORMATS[form], *SHAPE, status=1)
    assert b"cycle 9223372036854775808 is above 9223372036854775806" in result.stderr


def test_the_largest_numbers_stay_what_they_are(tmp_path):
    largest = (1 << 64) - 1
    event = Event(0, largest, NOWHERE, SEND, (NOWHERE, NOWHERE), (NOWHERE, 0))
    (tmp_path / "t.trace").write_bytes(encode([event]))
    export(tmp_path, "out.csv")
    assert f"0,{largest},{NOWHERE},send,{NOWHERE},{NOWHERE},{NOWHERE},0\n" in (
        tmp_path / "out.csv"
    ).read_text(encoding="ascii")
    export(tmp_path, "out.h5")
    with h5py.File(tmp_path / "out.h5") as file:
        assert int(file["events/cycle"][0]) == largest
    export(tmp_path, "out.sqlite")
    base = sqlite3.connect(tmp_path / "out.sqlite")
    assert base.execute("SELECT cycle FROM events").fetchone() == (float(largest),)


@pytest.mark.parametrize("form", ["sqlite", "hdf5"])
def test_what_is_written_here_and_there_goes_through_no_pipe(made, form):
    folder, _ = made
    result = export(folder, "-", "--format", form, *SHAPE, status=2)
    assert b"is no plain file" in result.stderr
    assert result.stdout == b""


@pytest.mark.parametrize("form", TIMELINES)
def test_streams_are_the_bytes_of_the_file(made, form):
    folder, _ = made
    name = "out." + FORMATS[form]
    export(folder, name, *SHAPE)
    piped = export(folder, "-", "--format", form, *SHAPE)
    assert piped.stdout == (folder / name).read_bytes()
    assert piped.stderr == b"-: 2000 events\n"


def test_a_name_that_tells_no_format_is_refused(made):
    folder, _ = made
    result = export(folder, "out.xyz", status=2)
    assert result.stderr == (
        b"marrowfin-trace: out.xyz: the name tells no format\n  Name one with --format.\n"
    )
    export(folder, "out.xyz", "--format", "csv")


@pytest.mark.parametrize("form", FORMATS)
def test_a_trace_that_breaks_off_is_exported_up_to_there_and_told(made, form):
    folder, events = made
    whole = (folder / "t.trace").read_bytes()
    (folder / "t.trace").write_bytes(whole[:-3])
    name = "out." + FORMATS[form]
    result = export(folder, name, *SHAPE, status=1)
    assert f"{name}: {len(events) - 1} events\n".encode() == result.stdout
    assert b"what the trace held behind it is missing from the answer" in result.stderr
    assert (folder / name).exists()


@pytest.mark.parametrize("form", FORMATS)
def test_a_packed_trace_that_is_damaged_is_exported_up_to_there_and_told(tmp_path, form):
    run(tmp_path, "synth", "-o", "t.trace", "--records", "120000", *SHAPE)
    run(tmp_path, "pack", "t.trace", "-o", "t.mfz")
    packed = bytearray((tmp_path / "t.mfz").read_bytes())
    at = len(packed) // 2
    packed[at : at + 3] = bytes(byte ^ 0x55 for byte in packed[at : at + 3])
    (tmp_path / "t.mfz").write_bytes(packed)
    name = "out." + FORMATS[form]
    result = run(tmp_path, "export", "t.mfz", "-o", name, *SHAPE, status=1)
    events = int(re.search(rb": (\d+) events", result.stdout)[1])
    assert 0 < events < 120000
    assert re.search(rb"t\.mfz: .*block [1-9]\d* of the packed trace is damaged", result.stderr), result.stderr
    behind = ("export", "t.mfz", "-o", "behind", "--format", "csv", "--records", f"{events}..")
    assert b"missing from the answer" in run(tmp_path, *behind, status=1).stderr


@pytest.mark.parametrize("form", FORMATS)
def test_where_there_is_no_room_nothing_is_left(made, form):
    folder, _ = made
    run(folder, "index", "t.trace")
    name = "out." + FORMATS[form]

    def little_room():
        resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))

    result = run(
        folder, "export", "t.trace", "-o", name, *SHAPE, status=3, preexec_fn=little_room
    )
    assert result.stderr.startswith(f"marrowfin-trace: {name}: cannot write".encode())
    assert sorted(path.name for path in folder.iterdir()) == ["t.trace", "t.trace.mfindex"]


@pytest.mark.parametrize("form", FORMATS)
def test_memory_does_not_grow_with_the_trace(tmp_path, form):
    """Of what the process has for itself there is room for a small part of the events alone."""
    run(tmp_path, "synth", "-o", "t.trace", "--records", "400000")
    run(tmp_path, "index", "t.trace")

    name = "out." + FORMATS[form]
    run(tmp_path, "export", "t.trace", "-o", name, preexec_fn=scarce_memory)


def scarce_memory():
    # A sanitizer has its own ways with memory.
    if not SANITIZED:
        resource.setrlimit(resource.RLIMIT_DATA, (MEMORY, MEMORY))


MEMORY = 40 << 20
with open(PROGRAM, "rb") as program:
    SANITIZED = b"__asan_init" in program.read()


def test_a_reader_that_goes_away_ends_it_quietly(tmp_path):
    run(tmp_path, "synth", "-o", "t.trace", "--records", "100000")
    script = f"'{PROGRAM}' export t.trace -o - --format csv | head -n 1; echo ${{PIPESTATUS[0]}}"
    result = subprocess.run(
        ["bash", "-c", script], cwd=tmp_path, capture_output=True, timeout=100, check=True
    )
    assert result.stdout.splitlines()[1] == b"141"
    assert result.stderr == b""

