"""The server as its users meet it: its command line, questions by HTTP and WebSocket, what becomes of
traces, many at once, slow ones, closed ones."""

import concurrent.futures
import json
import os
import signal
import socket
import struct
import subprocess
import time

import pytest
from client import PROGRAM, Answer, Server, Socket, fires


@pytest.fixture(name="trace")
def a_trace(tmp_path):
    trace = tmp_path / "t.trace"
    trace.write_bytes(fires(100))
    return trace


@pytest.fixture(name="long_trace", scope="module")
def a_trace_whose_critical_path_takes_long(tmp_path_factory):
    trace = tmp_path_factory.mktemp("long") / "long.trace"
    trace.write_bytes(fires(1000000))
    return trace


def run(*words, **options):
    return subprocess.run([PROGRAM, *map(str, words)], capture_output=True, text=True, timeout=60, check=False,
                          **options)


# The command line ---------------------------------------------------------------------------------


def test_help_and_version_are_told():
    assert run("--version").stdout.startswith("marrowfin-explorer 0.")
    help_text = run("--help").stdout
    for word in ("--port", "--listen", "--no-browser", "--token-file", "-c", "Exit status"):
        assert word in help_text
    assert "\n\nPrints a link" in help_text
    assert "\n\nExit status" in help_text


def test_it_tells_how_to_start_it_again(tmp_path):
    (tmp_path / "a trace").write_bytes(fires(10))
    token = tmp_path / "token"
    for arguments, words, same in [
            ([], "marrowfin-explorer --no-browser 'a trace'", False),
            (["--token-file", str(token), "-c", "2"], f"marrowfin-explorer --no-browser --token-file {token} -c 2 'a trace'",
             True)]:
        with Server("a trace", arguments=arguments, folder=tmp_path) as server:
            told = json.loads(server.request("GET", "/api/status").bytes)["restart"]
            assert told == {"command": f"{words} --port {server.port}", "sameLink": same}
            server.stop()
            again = told["command"].replace("marrowfin-explorer", str(PROGRAM), 1)
            with subprocess.Popen(["bash", "-c", f"exec {again}"], stdout=subprocess.PIPE, cwd=tmp_path) as second:
                link = second.stdout.readline().decode().strip()
                second.terminate()
            assert f":{server.port}/" in link
            assert (link == server.link) == same


def test_shells_complete_its_options_and_names_of_files(tmp_path):
    (tmp_path / "some.trace").write_bytes(b"")
    script = run("--completion", "bash").stdout
    asked = script + """
complete_words() {
  COMP_WORDS=(marrowfin-explorer "$@") COMP_CWORD=$#
  _marrowfin_explorer
  printf '%s\\n' "${COMPREPLY[@]}"
}
complete_words --to
complete_words some
"""
    offered = subprocess.run(["bash", "-c", asked], capture_output=True, text=True, check=True, cwd=tmp_path)
    assert offered.stdout.split() == ["--token-file", "some.trace"], offered
    zsh = run("--completion", "zsh").stdout
    assert zsh.startswith("#compdef marrowfin-explorer") and "--token-file" in zsh
    assert run("--completion", "fish").returncode == 2


def test_what_cannot_be_served_is_refused_with_file_and_reason(tmp_path, trace):
    assert run().returncode == 2
    assert run(trace, "--port", "70000").returncode == 2
    assert run(trace, "-c", "4096", "-d", "2").returncode == 2
    missing = run(tmp_path / "missing.trace")
    assert missing.returncode == 1
    assert "missing.trace" in missing.stderr and "No such file" in missing.stderr
    assert run(tmp_path).returncode == 1
    address = run(trace, "--listen", "somewhere")
    assert address.returncode == 3 and "somewhere" in address.stderr
    token = tmp_path / "token"
    token.write_text("short")
    assert "no token" in run(trace, "--token-file", token).stderr


def test_a_signal_ends_it_quietly(trace):
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        with Server(trace) as server, Socket(server):
            server.status()
            status, out, err = server.stop(number)
            assert (status, out, err) == (0, b"", b"")


def test_a_port_that_is_taken_gives_way_to_the_next(trace):
    with Server(trace) as one, Server(trace, arguments=["--port", str(one.port)]) as other:
        assert other.port > one.port
        assert other.status()["protocol"] == 1
        assert one.token != other.token
        assert other.request("GET", "/api/status", None, one.headers()).status == 403


def test_a_token_that_is_kept_outlives_the_server(tmp_path, trace):
    file = tmp_path / "token"
    with Server(trace, arguments=["--token-file", str(file)]) as server:
        token = server.token
    assert file.stat().st_mode & 0o777 == 0o600
    with Server(trace, arguments=["--token-file", str(file)]) as server:
        assert server.token == token


def test_both_loopback_addresses_are_served_and_no_other(trace):
    with Server(trace) as server:
        if socket.has_ipv6 and os.path.exists("/proc/net/if_inet6"):
            assert server.request("GET", "/api/status", address="::1").status == 200
        with pytest.raises(OSError):
            socket.create_connection(("127.0.0.2", server.port), timeout=5)


def test_an_address_that_was_asked_for_is_served(trace):
    with Server(trace, arguments=["--listen", "127.0.0.2"]) as server:
        assert server.host == "127.0.0.2"
        host = f"127.0.0.2:{server.port}"
        reply = server.request("GET", "/api/status", None, server.headers(Host=host), address="127.0.0.2")
        assert reply.status == 200


def test_a_browser_is_opened_where_there_is_one_and_a_screen(tmp_path, trace):
    opened = tmp_path / "opened"
    browser = tmp_path / "xdg-open"
    browser.write_text(f"#!/bin/sh\necho \"$1\" > {opened}.part\nmv {opened}.part {opened}\n")
    browser.chmod(0o755)
    environment = {**os.environ, "PATH": f"{tmp_path}:{os.environ['PATH']}", "DISPLAY": ":99"}
    with subprocess.Popen([PROGRAM, trace, "--port", "0"], stdout=subprocess.PIPE, env=environment) as process:
        link = process.stdout.readline().decode().strip()
        end = time.monotonic() + 30
        while not opened.exists():
            assert time.monotonic() < end
            time.sleep(0.01)
        assert opened.read_text().strip() == link
        process.terminate()


# Questions ----------------------------------------------------------------------------------------


def test_the_status_tells_of_all_traces(tmp_path, trace):
    other = tmp_path / "other.trace"
    other.write_bytes(fires(5) + b"cut")
    with Server(trace, other) as server:
        status = server.until_ready()
        assert [t["name"] for t in status["traces"]] == ["t.trace", "other.trace"]
        assert [t["records"] for t in status["traces"]] == [100, 5]
        assert status["traces"][0]["end"] is None
        assert status["traces"][1]["end"]["code"] == "damaged"
        assert status["traces"][0]["indexed"] is None
        assert status["build"].startswith("0.")
        assert server.ask("trace", trace=1).head["records"] == 5


def test_a_question_has_the_same_answer_by_http_and_by_socket(trace):
    with Server(trace) as server:
        server.until_ready()
        members = {"reading": "natural", "cycle": "50"}
        by_http = server.ask("state", **members)
        with Socket(server) as opened:
            opened.ask(7, server.question("state", **members))
            number, by_socket = opened.answer()
        assert number == 7
        assert by_http.head == by_socket.head and by_http.columns == by_socket.columns
        assert by_http.head["step"] == 50


def test_the_shape_of_the_command_line_is_that_of_the_trace(trace):
    with Server(trace, arguments=["-c", "2", "-d", "1", "-p", "4"]) as server:
        server.until_ready()
        head = server.ask("trace").head
        assert head["shapeFrom"] == "option"
        assert head["shape"] == {"clusters": [2, 2], "domains": [1, 1], "pes": [4, 4]}


def test_answers_of_one_socket_bear_the_numbers_of_their_questions(trace):
    with Server(trace) as server, Socket(server) as opened:
        server.until_ready()
        question = server.question("state", reading="natural", cycle="1")
        waiting = {}
        for number in range(1, 200):
            question["cycle"] = str(number % 100 + 1)
            waiting[number] = number % 100 + 1
            opened.ask(number, question)
            if len(waiting) == 8:
                answered, answer = opened.answer()
                assert answer.head["step"] == waiting.pop(answered)
        while waiting:
            answered, answer = opened.answer()
            assert answer.head["step"] == waiting.pop(answered)


def test_the_ninth_question_of_a_socket_is_busy(long_trace):
    with Server(long_trace) as server, Socket(server) as opened:
        server.until_ready()
        question = server.question("why", direction="critical")
        for number in range(20):
            opened.ask(number, question)
        refused = dict(opened.answer() for _ in range(12))
        assert set(refused) == set(range(8, 20))
        assert {answer.code for answer in refused.values()} == {"busy"}
        for number in range(8):
            opened.ask(number, None)
        ended = dict(opened.answer() for _ in range(8))
        assert set(ended) == set(range(8))
        assert {answer.code for answer in ended.values()} == {"cancelled"}
        opened.ask(99, None)  # nobody asked that
        opened.ask(100, server.question("trace"))
        assert opened.answer()[0] == 100


def test_messages_that_are_none_close_the_socket(trace):
    with Server(trace) as server:
        for payload, opcode in ((b"", 2), (b"1234", 2), (struct.pack("<II", 1, 1) + b"{}", 2), (b"{}" * 8, 1),
                                (b" " * 70000, 2)):
            with Socket(server) as opened:
                opened.send(payload, opcode)
                with pytest.raises(EOFError):
                    opened.answer()
        with Socket(server) as opened:
            opened.ask(1, {"protocol": 1})
            assert opened.answer()[1].code == "bad-question"


def test_a_number_that_is_asked_twice_leaves_the_first_question_in_work(long_trace):
    with Server(long_trace) as server, Socket(server) as opened:
        server.until_ready()
        question = server.question("why", direction="critical")
        for _ in range(3):
            opened.ask(1, question)
        codes = [opened.answer()[1].code for _ in range(2)]
        assert codes == ["bad-question", "bad-question"]
        opened.ask(1, None)
        assert opened.answer()[1].code == "cancelled"


# What becomes of traces ---------------------------------------------------------------------------


def test_growing_and_replacing_a_trace_is_news(tmp_path, trace):
    with Server(trace) as server, Socket(server) as opened:
        server.until_ready()
        before = server.status()["traces"][0]["fingerprint"]
        with trace.open("ab") as file:
            file.write(fires(50, 101))
        while (news := opened.news())["news"] != "grown":
            pass
        assert news["trace"] == before and news["now"] == before and news["records"] == 150
        new = tmp_path / "new"
        new.write_bytes(fires(30, 1000))
        new.rename(trace)
        while (news := opened.news())["news"] != "changed":
            pass
        assert news["trace"] == before and news["now"] != before
        server.until_ready()
        assert server.ask("trace").head["records"] == 30
        status = server.status()["traces"][0]
        assert status["was"] == [before] and status["changed"]


# Many, slow and closed ones -----------------------------------------------------------------------


def test_a_thousand_requests_at_once_are_answered_or_refused_with_a_reason(trace):
    with Server(trace) as server:
        server.until_ready()
        head = f"GET /api/status HTTP/1.1\r\nHost: localhost\r\nAuthorization: Bearer {server.token}\r\n" \
               "Connection: close\r\n\r\n"

        def one(_):
            return server.raw(head.encode())

        with concurrent.futures.ThreadPoolExecutor(100) as pool:
            replies = list(pool.map(one, range(1000)))
        codes = {reply[9:12] for reply in replies}
        assert codes <= {b"200", b"503"} and b"200" in codes
        assert server.request("GET", "/api/status").status == 200


def test_connections_beyond_the_bound_are_refused_with_a_reason(trace):
    with Server(trace) as server:
        opened = [socket.create_connection(("127.0.0.1", server.port)) for _ in range(255)]
        time.sleep(0.2)
        lines = ["GET /api/status HTTP/1.1", "Host: localhost", "Connection: close",
                 f"Authorization: Bearer {server.token}", "", ""]
        assert server.raw("\r\n".join(lines).encode()).startswith(b"HTTP/1.1 200")
        opened.append(socket.create_connection(("127.0.0.1", server.port)))
        time.sleep(0.2)
        assert b"503" in server.raw(f"GET / HTTP/1.1\r\nHost: localhost\r\n\r\n".encode())
        for connection in opened:
            connection.close()
        end = time.monotonic() + 30
        while server.request("GET", "/api/status").status != 200:
            assert time.monotonic() < end


def test_whoever_does_not_read_costs_no_memory(tmp_path):
    trace = tmp_path / "t.trace"
    trace.write_bytes(fires(1000))
    with Server(trace, arguments=["-c", "8", "-d", "4", "-p", "8"]) as server:
        server.until_ready()
        question = server.question("state", reading="natural", cycle="900")
        before = server.memory()
        sockets = [Socket(server) for _ in range(4)]
        for opened in sockets:
            for number in range(60):
                opened.ask(number, question)
        time.sleep(1)
        # Eight answers of 64 kB for each, and what a state takes.
        assert server.memory() - before < 64 << 20
        for opened in sockets:
            opened.socket.close()
        assert server.ask("state", reading="natural", cycle="900").head["step"] == 900


def test_connections_that_close_in_the_middle_leave_nothing_behind(trace):
    with Server(trace) as server:
        server.until_ready()
        folder = f"/proc/{server.process.pid}/fd"
        head = f"POST /api/ask HTTP/1.1\r\nHost: localhost\r\nAuthorization: Bearer {server.token}\r\n" \
               "Content-Type: application/json\r\nContent-Length: 100\r\n\r\n{\"protocol\""
        before = len(os.listdir(folder))
        for size in range(0, len(head), 7):
            connection = socket.create_connection(("127.0.0.1", server.port))
            connection.sendall(head[:size].encode())
            connection.close()
        for _ in range(20):
            with Socket(server) as opened:
                opened.ask(1, server.question("steps", reading="viewer", step=0, count=99))
        end = time.monotonic() + 30
        while len(os.listdir(folder)) > before:
            assert time.monotonic() < end, os.listdir(folder)
            time.sleep(0.05)
        assert server.ask("trace").head["records"] == 100


def test_several_requests_go_over_one_connection(trace):
    with Server(trace) as server:
        one = f"GET /api/status HTTP/1.1\r\nHost: localhost\r\nAuthorization: Bearer {server.token}\r\n"
        replies = server.raw((one + "\r\n" + one + "\r\n" + one + "Connection: close\r\n\r\n").encode())
        assert replies.count(b"HTTP/1.1 200") == 3


def test_a_request_that_comes_while_another_one_is_answered_waits_for_its_turn(long_trace):
    with Server(long_trace) as server:
        server.until_ready()
        body = json.dumps(server.question("why", direction="critical")).encode()
        front = f"Host: localhost\r\nAuthorization: Bearer {server.token}\r\n"
        one = f"POST /api/ask HTTP/1.1\r\n{front}Content-Type: application/json\r\nContent-Length: {len(body)}\r\n\r\n"
        other = f"GET /api/status HTTP/1.1\r\n{front}X-Long: {'x' * 5000}\r\nConnection: close\r\n\r\n".encode()
        with socket.create_connection(("127.0.0.1", server.port), timeout=60) as connection:
            connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            connection.sendall(one.encode() + body)
            for i in range(0, len(other), 700):
                connection.sendall(other[i:i + 700])
                time.sleep(0.01)
            got = b""
            while part := connection.recv(65536):
                got += part
        first, second = got.index(b"MFEA"), got.index(b'"traces"')
        assert got.count(b"HTTP/1.1 200") == 2 and first < second
