"""Who is let in, at every path; and what is refused whoever asks."""

import re

import pytest
from client import Server, Socket, fires

PATHS = ["/", "/api/status", "/api/ask", "/api/socket", "/api/take", "/api/marks", "/assets"]


@pytest.fixture(scope="module", name="server")
def a_server(tmp_path_factory):
    trace = tmp_path_factory.mktemp("traces") / "t.trace"
    trace.write_bytes(fires(100))
    with Server(trace) as server:
        server.until_ready()
        yield server


def asset(server):
    page = server.request("GET", "/").bytes.decode()
    return "/" + re.search(r'src="\./(assets/[^"]+\.js)"', page)[1]


def paths(server):
    return [asset(server) if path == "/assets" else path for path in PATHS]


def request(server, path, headers):
    """A request that would be answered with the right headers."""
    if path == "/api/ask":
        return server.request("POST", path, b"{}", {"Content-Type": "application/json", **headers})
    if path == "/api/socket":
        headers = {"Connection": "Upgrade", "Upgrade": "websocket", "Sec-WebSocket-Version": "13",
                   "Sec-WebSocket-Key": "AAAAAAAAAAAAAAAAAAAAAA==", **headers}
        with Socket(server, headers={}, **headers) as opened:
            opened.bytes = b""
            return opened
    return server.request("GET", path, None, headers)


def good(path):
    """What is answered; of what is to be taken away no trace is named here."""
    return {"/api/socket": 101, "/api/take": 404, "/api/marks": 404}.get(path, 200)


def test_every_path_answers_who_has_the_token(server):
    for path in paths(server):
        assert request(server, path, server.headers()).status == good(path), path
        cookie = {"Cookie": f"other=1; marrowfin-{server.port}={server.token}"}
        assert request(server, path, cookie).status == good(path), path


def test_no_path_answers_without_the_token(server):
    wrong = "0" * len(server.token)
    for path in paths(server):
        for headers in ({}, {"Authorization": "Bearer " + wrong}, {"Authorization": "Basic " + server.token},
                        {"Authorization": "Bearer "}, {"Authorization": "Bearer " + server.token + "0"},
                        {"Authorization": "Bearer " + server.token[:-1]},
                        {"Cookie": f"marrowfin-{server.port}={wrong}"},
                        {"Cookie": f"marrowfin-{server.port + 1}={server.token}"},
                        {"Cookie": f"xmarrowfin-{server.port}={server.token}"}):
            assert request(server, path, headers).status == 403, (path, headers)
    assert server.request("GET", "/?token=" + wrong, None, {}).status == 403
    assert server.request("GET", "/api/status?token=" + server.token, None, {}).status == 403


def test_every_path_asks_for_a_host_of_its_own(server):
    for path in paths(server):
        for host in ("127.0.0.1", "localhost", f"localhost:{server.port}", "127.0.0.1:9000", "[::1]:80", "[::1]"):
            assert request(server, path, server.headers(Host=host)).status == good(path), (path, host)
        for host in ("evil.example", f"evil.example:{server.port}", "127.0.0.1.evil.example", "localhost.evil",
                     "127.0.0.1:x", "127.0.0.1:", "evil@127.0.0.1", "[::1", "0.0.0.0", "127.0.0.1:123456", ""):
            assert request(server, path, server.headers(Host=host)).status == 403, (path, host)


def test_a_request_without_a_host_or_with_two_is_refused(server):
    assert server.request("GET", "/", None, server.headers(Host=None)).status == 403
    token = f"Authorization: Bearer {server.token}\r\n"
    twice = f"GET / HTTP/1.1\r\nHost: localhost\r\nHost: evil.example\r\n{token}\r\n"
    assert server.raw(twice.encode()).startswith(b"HTTP/1.1 400")


def test_every_path_asks_for_no_origin_or_its_own(server):
    own = f"http://127.0.0.1:{server.port}"
    for path in paths(server):
        assert request(server, path, server.headers(Origin=own)).status == good(path), path
        for origin in ("null", "http://evil.example", "https" + own[4:], own + ".evil.example",
                       f"http://localhost:{server.port}", f"http://127.0.0.1:{server.port + 1}", "file://"):
            assert request(server, path, server.headers(Origin=origin)).status == 403, (path, origin)


METHODS = {"/api/ask": ["POST"], "/api/marks": ["GET", "POST"]}


def test_every_path_has_its_methods_and_no_other(server):
    for path in paths(server):
        for method in ("GET", "HEAD", "POST", "PUT", "DELETE", "OPTIONS", "TRACE", "CONNECT", "PATCH", "STEAL"):
            if method in METHODS.get(path, ["GET"]):
                continue
            reply = server.request(method, path, b"", server.headers(**{"Content-Type": "application/json"}))
            assert reply.status == 405, (path, method)
            assert reply.headers["Allow"] == ", ".join(METHODS.get(path, ["GET"]))


def test_a_question_is_json_and_has_an_end(server):
    for kind in ("text/plain", "application/x-www-form-urlencoded", "multipart/form-data", "", None):
        headers = server.headers(**{"Content-Type": kind})
        assert server.request("POST", "/api/ask", b"{}", headers).status == 415, kind
    headers = server.headers(**{"Content-Type": "application/json"})
    assert server.request("POST", "/api/ask", b" " * 65536, headers).status == 200
    assert server.request("POST", "/api/ask", b" " * 65537, headers).status == 413
    token = f"Authorization: Bearer {server.token}\r\nHost: localhost\r\nContent-Type: application/json\r\n"
    for length in ("99999999999999999999", "-1", "4294967296"):
        text = f"POST /api/ask HTTP/1.1\r\n{token}Content-Length: {length}\r\n\r\n"
        assert server.raw(text.encode())[9:12] in (b"400", b"413"), length
    chunks = f"POST /api/ask HTTP/1.1\r\n{token}Transfer-Encoding: chunked\r\n\r\n".encode()
    assert server.raw(chunks + b"10000\r\n" + b" " * 65536 + b"\r\n10000\r\n")[9:12] == b"413"


def raw_head(server, method, path, *fields):
    lines = [f"{method} {path} HTTP/1.1", "Host: localhost", f"Authorization: Bearer {server.token}", *fields]
    return ("\r\n".join(lines) + "\r\n\r\n").encode()


def test_heads_have_an_end_at_every_path(server):
    for path in paths(server) + ["/nowhere"]:
        for method in ("GET", "POST"):
            head = raw_head(server, method, path, "X: " + "x" * 20000)
            assert server.raw(head)[9:12] == b"431", (path, method)
            many = raw_head(server, method, path, *[f"X{i}: {i}" for i in range(4000)])
            assert server.raw(many)[9:12] == b"431", (path, method)
    assert server.raw(b"GET /" + b"a" * 100000 + b" HTTP/1.1\r\n\r\n")[9:12] in (b"400", b"431")


def test_bodies_have_an_end_at_every_path(server):
    for path in paths(server) + ["/nowhere"]:
        for method in ("GET", "POST"):
            typed = "Content-Type: application/json"
            for length in ("65537", "99999999999", "18446744073709551615"):
                head = raw_head(server, method, path, typed, "Content-Length: " + length)
                assert server.raw(head)[9:12] == b"413", (path, method, length)
            head = raw_head(server, method, path, typed, "Transfer-Encoding: chunked")
            chunks = b"10000\r\n" + b" " * 65536 + b"\r\n1\r\n \r\n0\r\n\r\n"
            assert server.raw(head + chunks)[9:12] == b"413", (path, method)


def test_bytes_that_are_no_request_are_refused(server):
    for data in (b"\0" * 100, b"hello\r\n\r\n", b"GET / HTTP/9.9\r\n\r\n", b"GET  / HTTP/1.1\r\n\r\n",
                 b"\x16\x03\x01\x02\0\x01\0\x01\xfc\x03\x03" + b"x" * 50, b"GET / HTTP/1.1\r\nA\r\n\r\n"):
        assert server.raw(data).startswith(b"HTTP/1.1 400"), data
    assert server.status()["protocol"] == 1


def test_no_path_leads_to_a_file(server):
    for path in ("/../../etc/passwd", "/assets/../../../etc/passwd", "/%2e%2e/%2e%2e/etc/passwd", "//etc/passwd",
                 "/etc/passwd", "/assets/", "/index.html", "/t.trace", "/api", "/api/", "/api/status/", "*",
                 "http://127.0.0.1/api/status"):
        assert server.request("GET", path).status == 404, path


def test_every_reply_says_what_a_page_may_do(server):
    for path in paths(server) + ["/nowhere"]:
        for headers in (server.headers(), {}):
            reply = request(server, path, headers)
            text = reply.head if path == "/api/socket" else str(reply.headers)
            assert "Content-Security-Policy: default-src 'self';" in text, path
            assert "X-Content-Type-Options: nosniff" in text, path
            assert "unsafe" not in text and "Access-Control" not in text, path


def test_the_link_sets_a_cookie_and_leads_to_an_address_without_the_token(server):
    reply = server.request("GET", f"/?view=a&token={server.token}&b=c", None, {})
    assert reply.status == 303
    assert reply.headers["Location"] == "/?view=a&b=c"
    cookie = reply.headers["Set-Cookie"]
    assert cookie == f"marrowfin-{server.port}={server.token}; Path=/; HttpOnly; SameSite=Strict"
    page = server.request("GET", reply.headers["Location"], None, {"Cookie": cookie.split(";")[0]})
    assert page.status == 200
    assert page.headers["Content-Type"] == "text/html; charset=utf-8"
    assert page.headers["Cache-Control"] == "no-store"
    for host, origin in (("evil.example", None), ("localhost", "http://evil.example")):
        headers = {"Host": host, "Origin": origin}
        assert server.request("GET", f"/?token={server.token}", None, headers).status == 403


def test_files_of_the_page_have_their_types_and_stay_where_they_were_got(server):
    reply = server.request("GET", asset(server))
    assert reply.headers["Content-Type"] == "text/javascript; charset=utf-8"
    assert "immutable" in reply.headers["Cache-Control"]


def test_the_socket_is_for_those_who_upgrade(server):
    reply = server.request("GET", "/api/socket")
    assert reply.status == 426
