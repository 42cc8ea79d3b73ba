"""What every header of the trace engine says that is installed."""

import pathlib
import re

TRACE = pathlib.Path(__file__).resolve().parents[2] / "trace"

# "Threads: ...", or the same in a sentence of its own.
RULE = re.compile(
    r"threads: |one thread at a time|used by one thread|several threads|any number of threads|in any thread"
    r"|in any of the threads",
    re.IGNORECASE,
)


def installed():
    listing = (TRACE / "CMakeLists.txt").read_text(encoding="utf-8")
    public = re.search(r"\n  HEADERS\n(.*?)\n  PRIVATE_HEADERS\n", listing, re.DOTALL).group(1)
    return public.split() + ["marrowfin_trace.h"]


def comments(header):
    text = (TRACE / header).read_text(encoding="utf-8")
    return " ".join(re.findall(r"//+ *(.*)", text) + re.findall(r"^ \* *(.*)", text, re.MULTILINE))


def test_every_installed_header_says_what_threads_may_do():
    headers = installed()
    assert len(headers) > 50
    assert [header for header in headers if not RULE.search(comments(header))] == []


def test_a_header_without_a_rule_would_be_found():
    assert not RULE.search("Records by thread. Threads are told apart by their numbers.")
    assert RULE.search("For one thread at a time; trace and index must outlive it.")
