"""Things to take away: the bytes of the subcommand that makes them."""

import os
import pathlib
import socket
import subprocess
import time

import pytest
from client import PROGRAM, Server, fires, record

TRACE_TOOL = str(pathlib.Path(PROGRAM).with_name("marrowfin-trace"))


@pytest.fixture(scope="module", name="served")
def a_served_trace(tmp_path_factory):
    trace = tmp_path_factory.mktemp("traces") / "a b.trace"
    trace.write_bytes(fires(400))
    with Server(trace) as server:
        fingerprint = server.until_ready()["traces"][0]["fingerprint"]
        yield server, trace, fingerprint


def by_hand(trace, folder, ending, *words):
    out = folder / ("by-hand" + ending)
    subprocess.run([TRACE_TOOL, *words[:1 if words[0] != "plot" else 2], trace,
                    *words[1 if words[0] != "plot" else 2:], "-o", out, "--force"], check=True)
    return out.read_bytes()


def test_what_is_taken_away_has_the_bytes_of_the_command_line(served, tmp_path):
    server, trace, fingerprint = served
    cases = [
        ("what=plot&kind=heat&format=svg&first=10&last=99", ".heat.svg", "image/svg+xml",
         ["plot", "heat", "--cycles", "10:99", "--theme", "light"]),
        ("what=plot&kind=timeline&format=png&theme=dark", ".timeline.png", "image/png",
         ["plot", "timeline", "--theme", "dark"]),
        ("what=events&first=5&last=50&thread=1", ".csv", "text/csv; charset=utf-8",
         ["events", "--format", "csv", "--cycles", "5:50", "--thread", "1"]),
        ("what=events&records=7:9&types=fire", ".csv", "text/csv; charset=utf-8",
         ["events", "--format", "csv", "--records", "7:9", "--type", "fire"]),
        ("what=events&steps=7:9&skipTo=20&region=0,0:1,1&format=text", ".txt", "text/plain; charset=utf-8",
         ["events", "--steps", "7:9", "-F", "20", "--region", "0,0:1,1"]),
        ("what=events&threads=0,2-5&not=1", ".csv", "text/csv; charset=utf-8",
         ["events", "--format", "csv", "--threads=0,2-5", "--not"]),
        ("what=plot&kind=heat&measure=idle", ".heat.png", "image/png",
         ["plot", "heat", "--measure", "idle", "--theme", "light"]),
        ("what=trace&first=5&last=50", ".part.trace", "application/octet-stream", ["cut", "--cycles", "5:50"]),
        ("what=trace&format=packed&first=5&last=50", ".part.mfz", "application/octet-stream", ["cut", "--cycles", "5:50"]),
        ("what=report", ".html", "text/html; charset=utf-8", ["report", "--theme", "light"]),
    ]
    for query, ending, kind, words in cases:
        reply = server.request("GET", f"/api/take?trace={fingerprint}&{query}")
        assert reply.status == 200, (query, reply.bytes)
        assert reply.headers["Content-Type"] == kind
        assert reply.headers["Content-Disposition"] == f'attachment; filename="a_b.trace{ending}"'
        assert reply.bytes == by_hand(trace, tmp_path, ending, *words), query


@pytest.fixture(scope="module", name="twins")
def a_run_and_the_same_packed_with_its_companion(tmp_path_factory):
    raw = tmp_path_factory.mktemp("raw") / "run.trace"
    packed = tmp_path_factory.mktemp("packed") / "run.trace"
    table = raw.with_name("run.csv")
    table.write_text("cycle,type,thread,column,row,toColumn,toRow,size,kind\n" + "".join(
        f"{i // 2},send,{i % 2},{i % 8},{i // 8 % 8},{i // 3 % 8},0,{i % 5},request\n" if i % 3 == 0 else
        f"{i // 2},fire,{i % 2},{i % 8},{i // 8 % 8},,,{i % 5},wait\n" for i in range(600)))
    for words in (["import", "--format", "csv", table, "-o", raw], ["pack", raw, "-o", packed]):
        subprocess.run([TRACE_TOOL, *words], check=True, capture_output=True)
    assert not packed.with_name("run.trace.notes").exists()
    return raw, packed


def test_of_a_packed_trace_the_same_is_taken_away(twins):
    taken = []
    for trace in twins:
        with Server(trace.name, folder=trace.parent) as server:
            fingerprint = server.until_ready()["traces"][0]["fingerprint"]
            replies = [server.request("GET", f"/api/take?trace={fingerprint}&{query}") for query in (
                "what=plot&kind=heat&format=svg", "what=plot&kind=timeline", "what=stats", "what=report",
                "what=events", "what=events&where=size%3E=3", "what=events&kind=wait&format=text",
                "what=trace&first=50&last=90", "what=trace&format=packed&first=50&last=90")]
            assert [reply.status for reply in replies] == [200] * len(replies)
            taken.append([reply.bytes for reply in replies])
    assert taken[0] == taken[1]
    assert b"request" in taken[0][4]


def test_numbers_are_those_of_stats(served):
    server, trace, fingerprint = served
    reply = server.request("GET", f"/api/take?trace={fingerprint}&what=stats&first=3&last=77")
    told = subprocess.run([TRACE_TOOL, "stats", trace, "--cycles", "3:77", "--json"], capture_output=True, check=True)
    assert reply.bytes == told.stdout


def test_what_there_is_not_is_refused(served):
    server, _, fingerprint = served
    for query in ("", "what=everything", "what=plot&kind=../../etc", "what=plot&kind=heat&format=exe",
                  "what=plot&kind=heat&first=1", "what=plot&kind=heat&first=1&last=--json", "what=stats&output=/tmp/x",
                  "what=events&region=$(id)", "what=report&theme=light&theme=dark", "what=report&against=other",
                  "what=plot&kind=-o", "what=state&as=picture", "what=events&where=%0A", "what=events&where=%g0",
                  "what=events&where=%2", "what=events&records=1:2:3", "what=events&from=1", "what=events&to=1,2,3",
                  "what=events&threads=1;2", "what=events&thread=1&not=yes", "what=events&to=1,2&not=1",
                  "what=events&to=99999999999,1", "what=why&pe=1,x", "what=plot&kind=heat&record=1", "what", "&&&=", "what=stats&clusters=-1", "what=stats&" + "x" * 500):
        assert server.request("GET", f"/api/take?trace={fingerprint}&{query}").status == 400, query
    assert server.request("GET", "/api/take?trace=0&what=stats").status == 404
    assert server.request("GET", "/api/take?what=stats").status == 404
    assert server.request("GET", f"/api/take?trace={fingerprint}&what=stats", None, {}).status == 403


def test_what_the_program_says_is_told(served):
    server, _, fingerprint = served
    reply = server.request("GET", f"/api/take?trace={fingerprint}&what=render&step=99999999")
    assert reply.status == 422
    assert b"marrowfin-trace" in reply.bytes


def test_a_trace_that_is_gone_is_no_empty_answer(tmp_path):
    trace = tmp_path / "t.trace"
    trace.write_bytes(fires(40))
    with Server(trace) as server:
        fingerprint = server.until_ready()["traces"][0]["fingerprint"]
        trace.rename(tmp_path / "gone")
        reply = server.request("GET", f"/api/take?trace={fingerprint}&what=stats")
        assert reply.status == 422
        assert b"cannot open" in reply.bytes


def test_a_server_without_a_folder_for_temporaries_goes_on(tmp_path):
    trace = tmp_path / "t.trace"
    trace.write_bytes(fires(40))
    with Server(trace, environment={"TMPDIR": str(tmp_path / "nowhere")}) as server:
        fingerprint = server.until_ready()["traces"][0]["fingerprint"]
        assert server.request("GET", f"/api/take?trace={fingerprint}&what=stats").status == 422
        assert server.status()["traces"][0]["state"] == "ready"


def test_a_trace_whose_name_begins_with_a_dash_is_no_option(tmp_path):
    (tmp_path / "-x.trace").write_bytes(fires(40))
    with Server("--", "-x.trace", folder=tmp_path) as server:
        fingerprint = server.until_ready()["traces"][0]["fingerprint"]
        assert server.request("GET", f"/api/take?trace={fingerprint}&what=stats").status == 200


def test_what_is_started_has_no_connections(tmp_path):
    program = tmp_path / "marrowfin-trace"
    told = tmp_path / "told"
    program.write_text(f"#!/bin/sh\nls -l /proc/$$/fd > {told}\nexit 2\n")
    program.chmod(0o755)
    explorer = tmp_path / "marrowfin-explorer"
    explorer.write_bytes(pathlib.Path(PROGRAM).read_bytes())
    explorer.chmod(0o755)
    trace = tmp_path / "t.trace"
    trace.write_bytes(fires(40))
    with Server(trace, program=explorer) as server:
        fingerprint = server.until_ready()["traces"][0]["fingerprint"]
        assert server.request("GET", f"/api/take?trace={fingerprint}&what=stats").status == 422
        text = told.read_text(encoding="utf-8")
        assert "/dev/null" in text
        assert "socket" not in text


@pytest.mark.parametrize("more", [b"", b"GET / HT"], ids=["at once", "after a byte more"])
def test_whoever_leaves_ends_what_is_made_for_him(tmp_path, more):
    program = tmp_path / "marrowfin-trace"
    started = tmp_path / "started"
    program.write_text(f"#!/bin/sh\necho $$ > {started}.part\nmv {started}.part {started}\nexec sleep 600\n")
    program.chmod(0o755)
    explorer = tmp_path / "marrowfin-explorer"
    explorer.write_bytes(pathlib.Path(PROGRAM).read_bytes())
    explorer.chmod(0o755)
    trace = tmp_path / "t.trace"
    trace.write_bytes(fires(10))
    with Server(trace, program=explorer) as server:
        fingerprint = server.until_ready()["traces"][0]["fingerprint"]
        connection = socket.create_connection(("127.0.0.1", server.port))
        connection.sendall((f"GET /api/take?trace={fingerprint}&what=report HTTP/1.1\r\nHost: localhost\r\n"
                            f"Authorization: Bearer {server.token}\r\n\r\n").encode())
        end = time.monotonic() + 30
        while not started.exists():
            assert time.monotonic() < end
            time.sleep(0.01)
        child = int(started.read_text())
        connection.sendall(more)
        assert server.request("GET", "/api/status").status == 200
        connection.close()
        while os.path.exists(f"/proc/{child}"):
            assert time.monotonic() < end
            time.sleep(0.01)


def line(server, fingerprint, query):
    reply = server.request("GET", f"/api/take?trace={fingerprint}&{query}&as=command")
    assert reply.status == 200, (query, reply.bytes)
    assert reply.headers["Content-Type"] == "text/plain; charset=utf-8"
    return reply.bytes.decode().removesuffix("\n")


def test_a_command_that_is_told_gives_in_a_shell_what_is_taken_away(served, tmp_path):
    server, _, fingerprint = served
    shell = {**os.environ, "PATH": str(pathlib.Path(TRACE_TOOL).parent) + ":" + os.environ["PATH"]}
    for query, ending in [("what=plot&kind=threads&format=svg&first=10&last=99", ".threads.svg"),
                          ("what=stats&first=3&last=77", None), ("what=state&cycle=50", None),
                          ("what=state&step=7&format=text&places=1&region=1,1", None),
                          ("what=why&pe=1,1&cycle=99&format=text", None), ("what=why&record=17", None),
                          ("what=why&record=17&cone=forward&format=text", None),
                          ("what=stats&region=0,0:1,1&format=text", None), ("what=stats&table=links&format=text", None),
                          ("what=events&format=text&records=5:9", None), ("what=events&thread=2", ".csv")]:
        command = line(server, fingerprint, query)
        assert command.startswith("marrowfin-trace "), command
        printed = subprocess.run(["bash", "-c", command], cwd=tmp_path, env=shell, capture_output=True, check=True).stdout
        taken = server.request("GET", f"/api/take?trace={fingerprint}&{query}")
        assert taken.status == 200, taken.bytes
        assert taken.bytes == (printed if ending is None else (tmp_path / ("a_b.trace" + ending)).read_bytes()), command


def test_words_that_a_shell_would_take_for_others_are_quoted(served):
    server, trace, fingerprint = served
    command = line(server, fingerprint, "what=events&format=text&where=size%3E%3D64&where=who%3D%27a%20b%27%3B%20rm%20-r")
    assert command == (f"marrowfin-trace events '{trace}' '--where=size>=64' "
                       "'--where=who='\\''a b'\\''; rm -r'")


def test_messages_of_one_end_are_told_apart(tmp_path):
    trace = tmp_path / "t.trace"
    sends = [(0, 0, 1, 1), (1, 1, 0, 0), (1, 1, 2, 2), (0, 0, 2, 2), (0, 0, 1, 1)]
    trace.write_bytes(b"".join(record("send", cycle, 0, *places) for cycle, places in enumerate(sends)) + fires(9, 9))
    with Server(trace) as server:
        fingerprint = server.until_ready()["traces"][0]["fingerprint"]
        shell = {**os.environ, "PATH": str(pathlib.Path(TRACE_TOOL).parent) + ":" + os.environ["PATH"]}
        for query, records in [("from=1,1", [1, 2]), ("to=1,1", [0, 4]), ("from=0,0&to=2,2", [3]), ("to=3,3", [])]:
            reply = server.request("GET", f"/api/take?trace={fingerprint}&what=events&{query}")
            lines = reply.bytes.decode().splitlines()
            assert lines[0].startswith("record,cycle,thread,type,column,row,toColumn,toRow")
            assert [int(each.split(",")[0]) for each in lines[1:]] == records, query
            command = line(server, fingerprint, f"what=events&{query}&format=text")
            printed = subprocess.run(["bash", "-c", command], cwd=tmp_path, env=shell, capture_output=True, check=True)
            assert printed.stdout == reply.bytes, command
