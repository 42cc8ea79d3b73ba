"""Marks beside a trace: written where somebody asks for it, and nothing else is."""

import json
import os
import threading

import pytest
from client import Server, fires

MARK = {"name": "sweep 3", "cycle": "1842", "piece": {"pe": [3, 7]}}


@pytest.fixture(name="served")
def a_served_trace(tmp_path):
    trace = tmp_path / "run.trace"
    trace.write_bytes(fires(100))
    with Server(trace) as server:
        yield server, trace, server.until_ready()["traces"][0]["fingerprint"]


def get(server, fingerprint):
    reply = server.request("GET", f"/api/marks?trace={fingerprint}")
    assert reply.status == 200, reply.bytes
    assert reply.headers["Content-Type"] == "application/json"
    return json.loads(reply.bytes)


def post(server, fingerprint, body, **headers):
    text = body if isinstance(body, bytes) else json.dumps(body).encode()
    fields = server.headers(**{"Content-Type": "application/json", **headers})
    return server.request("POST", f"/api/marks?trace={fingerprint}", text, fields)


def beside(trace):
    return sorted(path.name for path in trace.parent.iterdir() if path.name.startswith("run.trace") and
                  not path.name.endswith(".mfindex"))


def test_nothing_is_written_unless_it_is_asked_for(served):
    server, trace, fingerprint = served
    assert get(server, fingerprint) == {"state": "", "marks": []}
    assert server.request("GET", "/").status == 200
    assert beside(trace) == ["run.trace"]


def test_marks_come_back_also_from_another_server(served):
    server, trace, fingerprint = served
    marks = [MARK, {"name": "\u201eviel \\ los\u201c", "cycle": str(2**64 - 1)},
             {"name": "full", "cycle": "0", "piece": {"link": [3, 2, "right"]}}]
    reply = post(server, fingerprint, {"over": "", "marks": marks})
    assert reply.status == 200, reply.bytes
    kept = get(server, fingerprint)
    assert kept["marks"] == marks
    assert kept == json.loads(reply.bytes)
    assert beside(trace) == ["run.trace", "run.trace.marks"]
    assert json.loads((trace.parent / "run.trace.marks").read_text())["marks"] == marks
    with Server(trace) as other:
        again = other.until_ready()["traces"][0]["fingerprint"]
        assert get(other, again) == kept


def test_marks_that_others_have_saved_meanwhile_are_not_lost(served):
    server, _, fingerprint = served
    assert post(server, fingerprint, {"over": "", "marks": [MARK]}).status == 200
    reply = post(server, fingerprint, {"over": "", "marks": []})
    assert reply.status == 409
    kept = get(server, fingerprint)
    assert kept["marks"] == [MARK]
    assert post(server, fingerprint, {"over": kept["state"], "marks": []}).status == 200
    assert get(server, fingerprint)["marks"] == []


def test_a_file_of_other_marks_is_in_another_state(served):
    server, _, fingerprint = served
    first = json.loads(post(server, fingerprint, {"over": "", "marks": [MARK]}).bytes)["state"]
    second = json.loads(post(server, fingerprint, {"over": first, "marks": []}).bytes)["state"]
    assert first != second
    assert post(server, fingerprint, {"over": first, "marks": [MARK]}).status == 409


def test_of_many_who_save_at_once_one_does(served):
    server, _, fingerprint = served
    got = []
    many = [threading.Thread(target=lambda i=i: got.append(
        post(server, fingerprint, {"over": "", "marks": [{"name": str(i), "cycle": "1"}]}).status)) for i in range(8)]
    for one in many:
        one.start()
    for one in many:
        one.join()
    assert sorted(got) == [200] + [409] * 7
    assert len(get(server, fingerprint)["marks"]) == 1


def test_what_is_no_list_of_marks_is_refused_and_nothing_is_written(served):
    server, trace, fingerprint = served
    good = {"over": "", "marks": [MARK]}
    for body in (b"", b"[]", b"{", b"null", b"\xff", {}, {**good, "more": 1}, {**good, "marks": {}}, {**good, "marks": [1]},
                 {**good, "over": 1}, {**good, "marks": [{}]}, {**good, "marks": [{"name": "a"}]},
                 {**good, "marks": [{**MARK, "cycle": 5}]}, {**good, "marks": [{**MARK, "cycle": "-1"}]},
                 {**good, "marks": [{**MARK, "cycle": str(2**64)}]}, {**good, "marks": [{**MARK, "name": ""}]},
                 {**good, "marks": [{**MARK, "name": "x" * 201}]}, {**good, "marks": [{**MARK, "name": "a\nb"}]},
                 {**good, "marks": [{**MARK, "name": 1}]}, {**good, "marks": [MARK, MARK]},
                 {**good, "marks": [{**MARK, "file": "/etc/passwd"}]}, {**good, "marks": [{**MARK, "piece": [1, 2]}]},
                 {**good, "marks": [{**MARK, "piece": {"pe": [1]}}]}, {**good, "marks": [{**MARK, "piece": {"room": [1, 2]}}]},
                 {**good, "marks": [{**MARK, "piece": {"link": [1, 2, "away"]}}]},
                 {**good, "marks": [{**MARK, "name": str(i)} for i in range(257)]},
                 b'{"over":"","marks":[],"marks":[]}'):
        reply = post(server, fingerprint, body)
        assert reply.status == 400, (body, reply.bytes)
    assert beside(trace) == ["run.trace"]


def test_a_trace_is_named_by_its_fingerprint_alone(served):
    server, trace, _ = served
    for name in ("", "0", "run.trace", "..%2Fx", str(trace), "../run.trace"):
        assert post(server, name, {"over": "", "marks": []}).status == 404, name
    assert server.request("GET", "/api/marks").status == 404
    assert beside(trace) == ["run.trace"]


def test_who_may_not_ask_may_not_write(served):
    server, trace, fingerprint = served
    body = {"over": "", "marks": [MARK]}
    assert post(server, fingerprint, body, Authorization=None).status == 403
    assert post(server, fingerprint, body, Authorization="Bearer 0").status == 403
    assert post(server, fingerprint, body, Host="evil.example").status == 403
    assert post(server, fingerprint, body, Origin="http://evil.example").status == 403
    assert post(server, fingerprint, body, Origin="null").status == 403
    for kind in ("text/plain", "application/x-www-form-urlencoded", "multipart/form-data", "", None):
        assert post(server, fingerprint, body, **{"Content-Type": kind}).status == 415, kind
    assert post(server, fingerprint, b" " * 65537).status == 413
    for method in ("PUT", "DELETE", "PATCH"):
        path = f"/api/marks?trace={fingerprint}"
        assert server.request(method, path, b"{}", server.headers(**{"Content-Type": "application/json"})).status == 405
    assert beside(trace) == ["run.trace"]


def test_a_link_that_somebody_put_there_is_replaced_and_not_followed(served):
    server, trace, fingerprint = served
    target = trace.parent / "precious"
    target.write_text('{"marrowfin-marks":1,"marks":[]}')
    (trace.parent / "run.trace.marks").symlink_to(target)
    kept = get(server, fingerprint)
    assert post(server, fingerprint, {"over": kept["state"], "marks": [MARK]}).status == 200
    assert target.read_text() == '{"marrowfin-marks":1,"marks":[]}'
    assert not (trace.parent / "run.trace.marks").is_symlink()


@pytest.mark.parametrize("text", ["", "[]", "no", "{}", '{"marrowfin-marks":2,"marks":[]}',
                                  '{"marrowfin-marks":1,"marks":[{"name":"a"}]}', "{" + " " * 70000 + "}"])
def test_a_file_of_something_else_is_told_and_left_alone(served, text):
    server, trace, fingerprint = served
    file = trace.parent / "run.trace.marks"
    file.write_text(text)
    reply = server.request("GET", f"/api/marks?trace={fingerprint}")
    assert reply.status == 422
    assert b"run.trace.marks" in reply.bytes
    assert post(server, fingerprint, {"over": "", "marks": [MARK]}).status == 422
    assert file.read_text() == text


def test_a_pipe_under_the_name_of_the_marks_stops_nobody(served):
    server, trace, fingerprint = served
    os.mkfifo(trace.parent / "run.trace.marks")
    assert server.request("GET", f"/api/marks?trace={fingerprint}").status == 422


def test_where_nothing_can_be_written_that_is_told(served):
    server, trace, fingerprint = served
    (trace.parent / "run.trace.marks").mkdir()
    reply = server.request("GET", f"/api/marks?trace={fingerprint}")
    assert reply.status == 422
    assert post(server, fingerprint, {"over": "", "marks": [MARK]}).status == 422
    assert (trace.parent / "run.trace.marks").is_dir()
