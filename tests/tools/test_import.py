"""marrowfin-trace import of recordings that are read as streams: what comes out is what readers that
know nothing but the formats find in them."""

import bz2
import collections
import gzip
import json
import os
import pathlib
import random
import resource
import struct
import subprocess

import pytest

PROGRAM = os.environ["MARROWFIN_TRACE"]
SIMULATOR = os.environ["MARROWFIN_SIM"]
CAPTURES = os.environ.get("MARROWFIN_CAPTURES")

SWITCH, FIRE, SEND = 2, 3, 4
NOWHERE = (1 << 32) - 1
MAGIC = 0x484A5455

Record = collections.namedtuple("Record", "kind cycle thread at to")


def encode(records):
    parts = []
    for record in records:
        words = record.at + (record.to or ())
        head = (record.kind, record.cycle, record.thread, 4 * len(words))
        parts.append(struct.pack(f">IQII{len(words)}I", *head, *words))
    return b"".join(parts)


def decode(data):
    records = []
    at = 0
    while at < len(data):
        kind, cycle, thread, length = struct.unpack_from(">IQII", data, at)
        words = struct.unpack_from(f">{length // 4}I", data, at + 20)
        records.append(Record(kind, cycle, thread, words[:2], words[2:] or None))
        at += 20 + length
    return records


def run(folder, *words, status=0, **options):
    result = subprocess.run(
        [PROGRAM, *words], cwd=folder, capture_output=True, timeout=100, check=False, **options
    )
    assert result.returncode == status, (words, result.stderr)
    return result


def take(folder, form, name, *words, status=0):
    words = ("-o", "o.trace", "--force", *words)
    return run(folder, "import", "--format", form, name, *words, status=status)


def account_of(folder, form, name, *words):
    account = json.loads(take(folder, form, name, "--json", *words).stdout)
    assert account["events"]["read"] == (
        account["events"]["converted"] + account["events"]["skipped"]
    )
    assert account["events"]["skipped"] == sum(
        reason["events"] for reason in account["skipped"].values()
    )
    return account


def records_in(folder):
    return decode((folder / "o.trace").read_bytes())


def notes_in(folder):
    lines = run(folder, "events", "o.trace", "--format", "jsonl").stdout.splitlines()
    return [json.loads(line) for line in lines]


# Netrace ------------------------------------------------------------------------------------------

Packet = collections.namedtuple("Packet", "cycle id address type source target kinds waiting")
PACKET_TYPES = {
    1: ("ReadReq", 8),
    2: ("ReadResp", 72),
    3: ("ReadRespWithInvalidate", 72),
    6: ("Writeback", 72),
    13: ("UpgradeReq", 8),
    14: ("UpgradeResp", 8),
    15: ("ReadExReq", 8),
    16: ("ReadExResp", 72),
    27: ("InvalidateReq", 8),
    29: ("DowngradeReq", 8),
}


def netrace_bytes(packets, nodes=64, notes=b"some text", regions=1):
    head = struct.pack(
        "<If30sBBQQII8x", MAGIC, 1.0, b"made up", nodes, 0, 9, len(packets), len(notes), regions
    )
    body = b"".join(
        struct.pack("<QIIBBBBB", *packet[:7], len(packet.waiting))
        + struct.pack(f"<{len(packet.waiting)}I", *packet.waiting)
        for packet in packets
    )
    return head + notes + struct.pack("<QQQ", 0, 9, len(packets)) * regions + body


def read_netrace(data):
    magic, _, _, nodes, _, _, count, notes, regions = struct.unpack_from("<If30sBBQQII", data)
    assert magic == MAGIC
    at = 72 + notes + 24 * regions
    packets = []
    while at < len(data):
        *fields, waiting = struct.unpack_from("<QIIBBBBB", data, at)
        ids = struct.unpack_from(f"<{waiting}I", data, at + 21)
        packets.append(Packet(*fields, ids))
        at += 21 + 4 * waiting
    assert len(packets) == count
    return nodes, packets


def make_packets(seed, nodes=64, count=500):
    draw = random.Random(seed)
    packets = []
    cycle = 0
    for number in range(count):
        cycle += draw.choice((0, 0, 1, 7))
        later = [number + draw.randrange(1, 9) for _ in range(draw.choice((0, 0, 1, 3)))]
        packets.append(
            Packet(
                cycle,
                number,
                draw.randrange(1 << 32),
                draw.choice((*PACKET_TYPES, 7)),
                draw.randrange(nodes),
                draw.randrange(nodes),
                draw.randrange(4) << 4 | draw.randrange(4),
                tuple(later),
            )
        )
    return packets


def wanted_of(packets, width):
    place = lambda node: (node % width, node // width)  # noqa: E731
    frame = lambda cycle: Record(SEND, cycle, 256, (0, 0), (0, 0))  # noqa: E731
    return [
        frame(packets[0].cycle),
        *(Record(SEND, p.cycle, p.type, place(p.source), place(p.target)) for p in packets),
        frame(packets[-1].cycle + 1),
    ]


def assert_netrace_notes(folder, packets):
    """What is noted, with what each packet waits for: those that came before and list it."""
    causes = collections.defaultdict(list)
    for number, packet in enumerate(packets):
        for waiting in packet.waiting:
            causes[waiting].append(number)
    kinds = ("L1 data", "L1 instruction", "L2", "memory controller")
    listed = notes_in(folder)[1:-1]
    assert len(listed) == len(packets)
    for number, (packet, event) in enumerate(zip(packets, listed)):
        name, size = PACKET_TYPES.get(packet.type, (packet.type, None))
        wanted = {
            "kind": name,
            "packet": packet.id,
            "address": packet.address,
            "from": kinds[packet.kinds >> 4],
            "to": kinds[packet.kinds & 15],
        }
        if size:
            wanted["size"] = size
        # Record 0 is the frame's.
        before = [cause + 1 for cause in causes[packet.id] if cause < number]
        if before:
            wanted["consumes"] = before
        got = event["notes"]
        assert sorted(got.get("consumes", [])) == sorted(set(wanted.pop("consumes", [])))
        got.pop("consumes", None)
        assert got == wanted


@pytest.mark.parametrize("seed", [1, 2])
@pytest.mark.parametrize("pack", [bytes, bz2.compress, gzip.compress])
def test_packets_become_messages(tmp_path, seed, pack):
    packets = make_packets(seed)
    (tmp_path / "in.tra").write_bytes(pack(netrace_bytes(packets)))
    account = account_of(tmp_path, "netrace", "in.tra")
    assert account["events"] == {"read": 500, "converted": 500, "skipped": 0}
    assert records_in(tmp_path) == wanted_of(packets, 8)
    assert_netrace_notes(tmp_path, packets)


def test_nodes_that_fill_no_square_lie_in_rows(tmp_path):
    packets = make_packets(3, nodes=10)
    (tmp_path / "in.tra").write_bytes(netrace_bytes(packets, nodes=10))
    account_of(tmp_path, "netrace", "in.tra")
    assert records_in(tmp_path) == wanted_of(packets, 4)
    account_of(tmp_path, "netrace", "in.tra", "--width", "5")
    assert records_in(tmp_path) == wanted_of(packets, 5)


def test_packets_of_nodes_that_there_are_not_are_skipped_and_counted(tmp_path):
    packets = make_packets(4, nodes=64)
    (tmp_path / "in.tra").write_bytes(netrace_bytes(packets, nodes=60))
    account = account_of(tmp_path, "netrace", "in.tra")
    odd = [n for n, p in enumerate(packets) if max(p.source, p.target) >= 60]
    assert account["skipped"]["oddValue"]["events"] == len(odd) > 0
    assert account["skipped"]["oddValue"]["first"] == odd[0]
    take(tmp_path, "netrace", "in.tra", "--strict", status=1)


@pytest.mark.parametrize("waited_for, is_known", [(65536, True), (65537, False)])
def test_of_packets_that_are_waited_for_the_first_of_over_65536_is_forgotten(
    tmp_path, waited_for, is_known
):
    packet = lambda number, *waiting: Packet(number, number, 0, 1, 0, 1, 0, waiting)  # noqa: E731
    late = [1_000_000 + n for n in range(waited_for)]
    lists = [late[at : at + 255] for at in range(0, waited_for, 255)]
    packets = [packet(number, *waiting) for number, waiting in enumerate(lists)]
    (tmp_path / "in.tra").write_bytes(netrace_bytes([*packets, packet(late[0])]))
    take(tmp_path, "netrace", "in.tra")
    last = notes_in(tmp_path)[-2]
    assert last["notes"]["packet"] == late[0]
    # Record 0 is the frame's.
    assert last["notes"].get("consumes") == ([1] if is_known else None)


def test_a_recording_that_breaks_off_anywhere_is_refused_and_leaves_nothing(tmp_path):
    whole = netrace_bytes(make_packets(5, count=6))
    for size in range(0, len(whole), 5):
        (tmp_path / "in.tra").write_bytes(whole[:size])
        result = take(tmp_path, "netrace", "in.tra", status=1)
        assert result.stderr.startswith(b"marrowfin-trace: in.tra: ")
        assert [path.name for path in tmp_path.iterdir()] == ["in.tra"]


def test_packed_recordings_that_are_damaged_are_refused(tmp_path):
    packed = bytearray(bz2.compress(netrace_bytes(make_packets(6))))
    (tmp_path / "in.tra").write_bytes(packed[: len(packed) // 2])
    assert b"ends within a stream" in take(tmp_path, "netrace", "in.tra", status=1).stderr
    packed[len(packed) // 2] ^= 1
    (tmp_path / "in.tra").write_bytes(packed)
    assert b"the bzip2 data is damaged" in take(tmp_path, "netrace", "in.tra", status=1).stderr


def captures():
    if not CAPTURES:
        return []
    return sorted(pathlib.Path(CAPTURES, "netrace").glob("*.tra.bz2"))


@pytest.mark.skipif(not CAPTURES, reason="captures: not given (set MARROWFIN_CAPTURES)")
@pytest.mark.parametrize("path", captures(), ids=lambda path: path.name)
def test_every_packet_of_a_real_recording_is_accounted_for(tmp_path, path):
    _, packets = read_netrace(bz2.decompress(path.read_bytes()))
    account = account_of(tmp_path, "netrace", str(path))
    assert account["events"] == {"read": len(packets), "converted": len(packets), "skipped": 0}
    assert account["falls"] == 0
    assert records_in(tmp_path) == wanted_of(packets, 8)
    if len(packets) < 10_000:
        assert_netrace_notes(tmp_path, packets)
    derived = account_of(tmp_path, "netrace", str(path), "--derive-switches", *MESH)
    assert derived["records"]["derived"] == sum(
        len(route((p.source % 8, p.source // 8), (p.target % 8, p.target // 8))) for p in packets
    )


# Routes -------------------------------------------------------------------------------------------

MESH = ("-c", "2", "-d", "2", "-p", "2")  # 8 by 8
CLUSTER, DOMAIN = 4, 2


def route(source, target):
    """The switches on the way, columns first."""
    if all(a // DOMAIN == b // DOMAIN for a, b in zip(source, target)):
        return []
    column, row = (x // CLUSTER for x in source)
    last_column, last_row = (x // CLUSTER for x in target)
    way = [(column, row)]
    while (column, row) != (last_column, last_row):
        if column != last_column:
            column += 1 if column < last_column else -1
        else:
            row += 1 if row < last_row else -1
        way.append((column, row))
    return [(4 + CLUSTER * column, 4 + CLUSTER * row) for column, row in way]


def test_switches_are_derived_along_columns_first(tmp_path):
    packets = make_packets(7)
    (tmp_path / "in.tra").write_bytes(netrace_bytes(packets))
    account = account_of(tmp_path, "netrace", "in.tra", "--derive-switches", *MESH)
    wanted = []
    for message in wanted_of(packets, 8):
        wanted.append(message)
        if message.thread != 256:
            wanted.extend(
                Record(SWITCH, message.cycle, message.thread, at, None)
                for at in route(message.at, message.to)
            )
    assert records_in(tmp_path) == wanted
    assert account["records"]["derived"] == sum(record.kind == SWITCH for record in wanted) > 0
    assert account["withoutRoute"] == 0
    assert run(tmp_path, "check", "o.trace", *MESH).returncode == 0


def test_messages_that_leave_the_array_have_no_route(tmp_path):
    (tmp_path / "in.txt").write_text("0 0 0 8 0 1\n0 0 0 7 7 1\n")
    account = account_of(tmp_path, "popnet", "in.txt", "--derive-switches", *MESH)
    assert account["withoutRoute"] == 1
    assert account["records"]["derived"] == 3
    assert account["records"]["total"] == len(records_in(tmp_path)) == 7


# Tables and lines of JSON -------------------------------------------------------------------------


def make_records(seed, count=1000):
    draw = random.Random(seed)
    records = []
    for _ in range(count):
        kind = draw.choice((SWITCH, FIRE, SEND))
        word = lambda: draw.choice((0, 3, 17, NOWHERE))  # noqa: E731
        cycle = draw.choice((0, 7, 1 << 40, (1 << 64) - 1))
        to = (word(), word()) if kind == SEND else None
        records.append(Record(kind, cycle, word(), (word(), word()), to))
    return records


@pytest.mark.parametrize("seed", [1, 2, 3])
@pytest.mark.parametrize("form", ["csv", "jsonl"])
def test_what_events_writes_comes_back_to_the_byte(tmp_path, seed, form):
    records = make_records(seed)
    data = encode(records)
    (tmp_path / "t.trace").write_bytes(data)
    run(tmp_path, "events", "t.trace", "--format", form, "-o", "in")
    account = account_of(tmp_path, form, "in")
    assert account["events"]["converted"] == 1000
    assert (tmp_path / "o.trace").read_bytes() == data
    falls = sum(a.cycle > b.cycle for a, b in zip(records, records[1:]))
    assert account["falls"] == falls > 0


def test_a_note_that_is_neither_number_nor_text_nor_list_is_none(tmp_path):
    line = {"cycle": 3, "type": "fire", "thread": 1, "at": [0, 0]}
    lines = [dict(line, notes={"size": 5, "odd": {"a": 7}, "none": None}), line]
    (tmp_path / "in").write_text("".join(json.dumps(one) + "\n" for one in lines))
    account = account_of(tmp_path, "jsonl", "in")
    assert account["events"]["converted"] == 2
    first = json.loads(run(tmp_path, "events", "o.trace", "--format", "jsonl").stdout.splitlines()[0])
    assert first["notes"] == {"size": 5}


@pytest.mark.parametrize("form", ["csv", "jsonl"])
def test_notes_and_names_come_back(tmp_path, form):
    words = ("-program", "reduce", "-size", "4", "-threads", "1", "-array/clusters", "2")
    subprocess.run(
        [SIMULATOR, *words, "-outFilename", "t.trace"],
        cwd=tmp_path,
        capture_output=True,
        check=True,
        timeout=100,
    )
    run(tmp_path, "export", "t.trace", "--format", form, "-o", "in")
    account = account_of(tmp_path, form, "in")
    assert account["notesLeftOut"] == 0
    assert (tmp_path / "o.trace").read_bytes() == (tmp_path / "t.trace").read_bytes()
    before = run(tmp_path, "events", "t.trace", "--format", "jsonl", "-c", "2").stdout
    after = run(tmp_path, "events", "o.trace", "--format", "jsonl", "-c", "2").stdout
    assert [json.loads(line) for line in after.splitlines()] == [
        json.loads(line) for line in before.splitlines()
    ]


def test_notes_that_no_note_can_hold_are_left_out(tmp_path):
    notes = {"nothing": None, "object": {"x": 1}, "number": 5, "truth": True}
    event = {"cycle": 1, "type": "fire", "column": 0, "row": 0, "notes": notes}
    (tmp_path / "in.jsonl").write_text(json.dumps(event) + "\n")
    account = account_of(tmp_path, "jsonl", "in.jsonl")
    assert account["events"]["converted"] == 1
    assert [e["notes"] for e in notes_in(tmp_path)] == [{"number": 5, "truth": 1}]


def test_a_line_without_an_end_is_no_text(tmp_path):
    (tmp_path / "in.txt").write_bytes(b"0 0 0 7 7 1\n" + b" " * ((1 << 20) + 1))
    refused = take(tmp_path, "popnet", "in.txt", status=1).stderr.decode()
    assert ": line 2: more than 1048576 bytes without an end\n" in refused


def test_a_table_may_call_its_columns_as_it_likes(tmp_path):
    text = 'x,time,"what, so",y\n1,5,"a ""word""",2\n3,6,plain,4\r\n\n'
    (tmp_path / "in.csv").write_text(text, newline="")
    account_of(tmp_path, "csv", "in.csv", "--map", "cycle=time,column=x", "--map", "row=y")
    assert records_in(tmp_path) == [
        Record(FIRE, 5, 0, (1, 2), None),
        Record(FIRE, 6, 0, (3, 4), None),
    ]
    assert [e["notes"] for e in notes_in(tmp_path)] == [
        {"what, so": 'a "word"'},
        {"what, so": "plain"},
    ]


def test_lines_that_are_not_understood_are_skipped_and_counted(tmp_path):
    (tmp_path / "in.csv").write_text(
        "cycle,type,column,row,toColumn,toRow\n"
        "1,fire,0,0,,\n"
        "2,fly,0,0,,\n"
        "3,send,0,0,1,\n"
        "x,fire,0,0,,\n"
        "5,fire,4294967296,0,,\n"
        "6,fire,0,0,,,,\n"
        "7,,0,0,1,1\n"
    )
    account = account_of(tmp_path, "csv", "in.csv")
    assert account["events"] == {"read": 7, "converted": 2, "skipped": 5}
    assert account["skipped"]["unknownType"] == {
        "events": 1,
        "first": 1,
        "why": "line 3: a type that is not known",
    }
    assert account["skipped"]["incomplete"]["why"] == "line 4: there is no toRow"
    assert account["skipped"]["oddValue"]["events"] == 3
    assert [record.cycle for record in records_in(tmp_path)] == [1, 7]
    result = take(tmp_path, "csv", "in.csv", "--strict", status=1)
    assert b"in.csv: line 3: a type that is not known" in result.stderr


def test_the_account_for_people_tells_the_reasons_that_there_were_and_no_others(tmp_path):
    (tmp_path / "in.csv").write_text("cycle,type,column,row\n1,fire,0,0\n2,fly,0,0\n")
    text = take(tmp_path, "csv", "in.csv").stdout.decode()
    line = "    of a type that is not known".ljust(44) + "           1"
    assert [part for part in text.splitlines() if part.startswith("    ")] == [
        line + "  first: [1]: line 3: a type that is not known"
    ]


@pytest.mark.parametrize(
    "form, text",
    [
        ("csv", ""),
        ("csv", "a,b\n1,2\n"),
        ("csv", "cycle,column,row\n1,2,x\n"),
        ("csv", 'cycle,column,row\n1,2,"3\n'),
        ("csv", "cycle,column,column,row\n1,2,3,4\n"),
        ("csv", "cycle,column,row\n" + "9" * (1 << 21)),
        ("jsonl", "no json\n"),
        ("jsonl", "[" * 100_000 + "\n"),
        ("jsonl", '{"cycle":-1,"at":[0,0]}\n'),
        ("jsonl", "x" * (1 << 21)),
        ("popnet", "1 2 3\n"),
        ("hops", "no number\n"),
        ("netrace", "no recording"),
    ],
    ids=lambda value: "".join(c for c in value if c.isalnum())[:20] or "nothing",
)
def test_what_holds_no_event_is_refused_and_leaves_nothing(tmp_path, form, text):
    (tmp_path / "in").write_text(text)
    more = ("--width", "4") if form == "hops" else ()
    result = take(tmp_path, form, "in", *more, status=1)
    assert result.stderr.startswith(b"marrowfin-trace: in: ")
    assert [path.name for path in tmp_path.iterdir()] == ["in"]


# Other texts --------------------------------------------------------------------------------------


def test_popnet_traffic_becomes_messages(tmp_path):
    draw = random.Random(8)
    lines = []
    wanted = []
    sizes = []
    for cycle in range(300):
        words = [draw.randrange(9) for _ in range(4)]
        sizes.append(draw.randrange(1, 20))
        time = draw.choice((f"{cycle}", f"{cycle}.75", f"{cycle}.0"))
        lines.append(f"{time} {words[0]} {words[1]}\t{words[2]} {words[3]}  {sizes[-1]}")
        wanted.append(Record(SEND, cycle, 0, tuple(words[:2]), tuple(words[2:])))
    lines[7:7] = ["", "# a remark"]
    (tmp_path / "in.txt").write_text("\n".join(lines))
    account = account_of(tmp_path, "popnet", "in.txt", "--no-frame")
    assert account["events"] == {"read": 300, "converted": 300, "skipped": 0}
    assert records_in(tmp_path) == wanted
    assert [e["notes"]["size"] for e in notes_in(tmp_path)] == sizes
    account_of(tmp_path, "popnet", "in.txt")
    frame = Record(SEND, 0, 1, (0, 0), (0, 0))
    assert records_in(tmp_path) == [frame, *wanted, frame._replace(cycle=300)]


@pytest.mark.parametrize(
    "line, words",
    [
        ("{c} | {a} -> {b}", ("--width", "4")),
        ("cycle {c} | router {a} -> router {b} (packet {p})", ("--width", "4", "--map", "packet=4")),
        (
            "p{p}: {c} | ({ax},{ay}) -> ({bx},{by})",
            ("--map", "packet=1,cycle=2,column=3,row=4,toColumn=5,toRow=6"),
        ),
    ],
)
def test_hops_become_messages(tmp_path, line, words):
    draw = random.Random(9)
    wanted = []
    with open(tmp_path / "in.txt", "w", encoding="ascii") as file:
        for cycle in range(100):
            a, b = draw.randrange(16), draw.randrange(16)
            places = {"ax": a % 4, "ay": a // 4, "bx": b % 4, "by": b // 4}
            file.write(line.format(c=cycle, a=a, b=b, p=cycle * 3, **places) + "\n")
            wanted.append(Record(SEND, cycle, 0, (a % 4, a // 4), (b % 4, b // 4)))
    account = account_of(tmp_path, "hops", "in.txt", *words)
    assert account["events"]["converted"] == 100
    assert records_in(tmp_path) == wanted
    if "packet" in " ".join(words):
        assert [e["notes"]["packet"] for e in notes_in(tmp_path)] == list(range(0, 300, 3))


@pytest.mark.parametrize(
    "words, message",
    [
        ((), b"nothing tells where they are"),
        (("--map", "column=2,row=3"), b"some are not told"),
        (("--map", "speed=2"), b"there is no speed=2 of a hop"),
        (("--map", "cycle=0"), b"there is no cycle=0 of a hop"),
    ],
)
def test_hops_whose_numbers_are_not_told_are_refused(tmp_path, words, message):
    (tmp_path / "in.txt").write_text("1 | 2 -> 3\n")
    assert message in take(tmp_path, "hops", "in.txt", *words, status=1).stderr


# What all have in common --------------------------------------------------------------------------


def test_streams_come_and_go_through_pipes(tmp_path):
    (tmp_path / "in.txt").write_text("1 0 0 1 1 1\n")
    with open(tmp_path / "in.txt", "rb") as file:
        result = run(
            tmp_path, "import", "--format", "popnet", "-", "-o", "-", "--no-frame", stdin=file
        )
    assert decode(result.stdout) == [Record(SEND, 1, 0, (0, 0), (1, 1))]
    assert result.stderr.startswith(b"events read")


def test_more_records_than_are_allowed_are_refused(tmp_path):
    (tmp_path / "in.txt").write_text("1 0 0 1 1 1\n" * 10)
    result = take(tmp_path, "popnet", "in.txt", "--max-records", "5", status=1)
    assert b"becomes more than 5 records" in result.stderr
    assert not (tmp_path / "o.trace").exists()


def test_memory_does_not_grow_with_the_input(tmp_path):
    run(tmp_path, "synth", "-o", "t.trace", "--records", "400000")
    run(tmp_path, "events", "t.trace", "--format", "csv", "-o", "in.csv")
    # Sanitizers, and counts of lines, take memory of their own.
    program = pathlib.Path(PROGRAM).read_bytes()
    is_plain = b"__asan_init" not in program and b"__gcov_init" not in program

    def scarce():
        if is_plain:
            resource.setrlimit(resource.RLIMIT_DATA, (24 << 20, 24 << 20))

    words = ("import", "--format", "csv", "in.csv", "-o", "o.trace")
    run(tmp_path, *words, preexec_fn=scarce)
    assert (tmp_path / "o.trace").read_bytes() == (tmp_path / "t.trace").read_bytes()


def tt_npe(**fields):
    return dict(proc="BRISC", noc="NOC_0", sx=0, sy=0, timestamp=100, **fields)


def test_switches_of_a_capture_are_derived_for_each_of_its_messages(tmp_path):
    events = [
        tt_npe(type="WRITE_", dx=7, dy=7, num_bytes=64),
        tt_npe(type="WRITE_", dx=1, dy=1, num_bytes=64),
        tt_npe(type="READ", dx=5, dy=0, num_bytes=32),
        tt_npe(
            type="WRITE_MULTICAST",
            dx=8,
            dy=0,
            num_bytes=8,
            mcast_start_x=7,
            mcast_start_y=0,
            mcast_end_x=8,
            mcast_end_y=0,
        ),
    ]
    (tmp_path / "in.json").write_text(json.dumps(events))
    account = account_of(tmp_path, "tt-npe", "in.json", "--derive-switches", *MESH)
    wanted = []
    for start, end in (
        ((0, 0), (7, 7)),
        ((0, 0), (1, 1)),  # within a domain
        ((5, 0), (0, 0)),  # what is read comes
        ((0, 0), (7, 0)),
        ((0, 0), (8, 0)),  # off the array
    ):
        wanted.append((SEND, start))
        if end != (8, 0):
            wanted.extend((SWITCH, at) for at in route(start, end))
    records = records_in(tmp_path)[1:-1]
    assert [(record.kind, tuple(record.at)) for record in records] == wanted
    derived = sum(kind == SWITCH for kind, _ in wanted)
    assert account["records"]["derived"] == derived > 0
    assert account["records"]["total"] == len(records) + 2
    assert account["withoutRoute"] == 1
    assert account["view"]["command"] == "marrowfin -c 2 -d 2 -p 2 -f o.trace"
    run(tmp_path, "check", "o.trace")
    plain = account_of(tmp_path, "tt-npe", "in.json", "--force")
    assert plain["records"]["derived"] == plain["withoutRoute"] == 0
    assert plain["records"]["total"] == len(records) + 2 - derived


def test_derived_switches_count_as_records_of_a_limit(tmp_path):
    (tmp_path / "in.json").write_text(json.dumps([tt_npe(type="WRITE_", dx=7, dy=7, num_bytes=64)]))
    line = ("import", "in.json", "-o", "o.trace", "--format", "tt-npe", "--derive-switches", *MESH)
    refused = run(tmp_path, *line, "--max-records", "3", status=1)
    assert b"in.json: becomes at least 4 records, more than 3" in refused.stderr
    assert sorted(file.name for file in tmp_path.iterdir()) == ["in.json"]
    run(tmp_path, *line, "--max-records", "4")


def test_cycles_of_an_account_are_the_lowest_and_the_highest(tmp_path):
    lines = [{"cycle": cycle, "type": "fire", "thread": 1, "at": [0, 0]} for cycle in (7, 90, 3, 8)]
    (tmp_path / "in").write_text("".join(json.dumps(line) + "\n" for line in lines))
    account = account_of(tmp_path, "jsonl", "in")
    assert account["cycles"] == {"first": 3, "last": 90}
    assert account["falls"] == 1


@pytest.mark.parametrize(
    "form, flag",
    [
        (form, flag)
        for flag, odd in (
            (("--width", "3"), ("popnet", "csv", "jsonl", "tt-npe")),
            (("--map", "cycle=1"), ("popnet", "netrace", "tt-npe")),
        )
        for form in odd
    ],
)
def test_a_flag_that_says_nothing_of_a_format_is_refused(tmp_path, form, flag):
    (tmp_path / "in").write_text("0 0 0 1 1 1\n")
    refused = take(tmp_path, form, "in", *flag, status=2)
    assert f"{flag[0]} says nothing of {form}".encode() in refused.stderr


def test_no_array_is_named_that_does_not_show_the_messages(tmp_path):
    (tmp_path / "in").write_text("5 1 99999999\n")
    account = account_of(tmp_path, "hops", "in", "--width", "4")
    assert "command" not in (account["view"] or {})
    (tmp_path / "in").write_text("5 1 9\n")
    assert "command" in account_of(tmp_path, "hops", "in", "--width", "4")["view"]
