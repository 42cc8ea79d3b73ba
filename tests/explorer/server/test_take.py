"""Things to take away: the bytes of the subcommand that makes them."""

import os
import pathlib
import socket
import subprocess
import time

import pytest
from client import PROGRAM, Server, fires

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
                    *words[1 if words[0] != "plot" else 2:], "-o", out], check=True)
    return out.read_bytes()


def test_what_is_taken_away_has_the_bytes_of_the_command_line(served, tmp_path):
    server, trace, fingerprint = served
    cases = [
        ("what=plot&kind=heat&format=svg&first=10&last=99", ".svg", "image/svg+xml",
         ["plot", "heat", "--cycles", "10:99", "--theme", "light"]),
        ("what=plot&kind=timeline&format=png&theme=dark", ".png", "image/png",
         ["plot", "timeline", "--theme", "dark"]),
        ("what=events&first=5&last=50&thread=1", ".csv", "text/csv; charset=utf-8",
         ["events", "--format", "csv", "--cycles", "5:50", "--thread", "1"]),
        ("what=report", ".html", "text/html; charset=utf-8", ["report", "--theme", "light"]),
    ]
    for query, ending, kind, words in cases:
        reply = server.request("GET", f"/api/take?trace={fingerprint}&{query}")
        assert reply.status == 200, (query, reply.bytes)
        assert reply.headers["Content-Type"] == kind
        assert reply.headers["Content-Disposition"] == f'attachment; filename="a_b.trace{ending}"'
        assert reply.bytes == by_hand(trace, tmp_path, ending, *words), query


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
                  "what=plot&kind=-o", "what", "&&&=", "what=stats&clusters=-1", "what=stats&" + "x" * 500):
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
