"""The page that `report` writes, read by an HTML reader of another make."""

import base64
import hashlib
import html.parser
import json
import os
import re
import struct
import subprocess

import pytest

TRACE = os.environ["MARROWFIN_TRACE"]
SWITCH, FIRE, SEND = 2, 3, 4
VOID = {"meta", "link", "br", "hr", "img", "input"}


def record(kind, cycle, thread, *words):
    return struct.pack(f">IQII{len(words)}I", kind, cycle, thread, 4 * len(words), *words)


def busy_run():
    """8 x 8 elements, of which one fires most; each fire sends a message to the right; at the end
    hardly anything happens. Threads are packets, which fire twice."""
    records = []
    for cycle in range(600):
        for i in range(6 if cycle < 450 else 1 if cycle % 3 == 0 else 0):
            at = (3, 3) if i == 0 else ((cycle * 5 + i * 11) % 7, (cycle + i * 3) % 8)
            records.append(record(FIRE, cycle, (cycle * 6 + i) // 2, *at))
            records.append(record(SEND, cycle, i, *at, at[0] + 1, at[1]))
    return records


class Element:
    def __init__(self, name, attributes, parent):
        self.name, self.attributes, self.parent = name, dict(attributes), parent
        self.children, self.texts = [], []

    def all(self, name=None):
        for child in self.children:
            if name is None or child.name == name:
                yield child
            yield from child.all(name)

    def text(self):
        return "".join(part if isinstance(part, str) else part.text() for part in self.texts)

    def classes(self):
        return self.attributes.get("class", "").split()


class Page(html.parser.HTMLParser):
    """A tree of the page; what is left open, or closed in the wrong place, is a mistake."""

    def __init__(self, text):
        super().__init__()
        self.source = text
        self.mistakes, self.declarations = [], []
        self.root = self.open = Element("", {}, None)
        self.feed(text)
        self.close()
        if self.open is not self.root:
            self.mistakes.append(f"{self.open.name} is left open")

    def add(self, name, attributes):
        if len(dict(attributes)) != len(attributes):
            self.mistakes.append(f"{name} has an attribute twice")
        element = Element(name, attributes, self.open)
        self.open.children.append(element)
        self.open.texts.append(element)
        return element

    def handle_decl(self, decl):
        self.declarations.append(decl)

    def handle_starttag(self, tag, attrs):
        element = self.add(tag, attrs)
        if tag not in VOID:
            self.open = element

    def handle_startendtag(self, tag, attrs):
        self.add(tag, attrs)

    def handle_endtag(self, tag):
        if tag != self.open.name:
            self.mistakes.append(f"{tag} closes {self.open.name} at {self.getpos()}")
        else:
            self.open = self.open.parent

    def handle_data(self, data):
        self.open.texts.append(data)

    def one(self, name):
        found = list(self.root.all(name))
        assert len(found) == 1, name
        return found[0]

    def sections(self):
        """{heading: element} in their order."""
        return {next(s.all("h2")).text(): s for s in self.root.all("section")}

    def numbers(self):
        """{what: (value, basis)} of the table of numbers."""
        table = next(e for e in self.root.all("div") if e.attributes.get("id") == "numbers")
        rows = [[cell.text() for cell in row.children] for row in table.all("tr")]
        return {row[0]: tuple(row[1:]) for row in rows[1:]}


@pytest.fixture
def folder(tmp_path):
    (tmp_path / "run.trace").write_bytes(b"".join(busy_run()))
    return tmp_path


def run(folder, *words):
    return subprocess.run([TRACE, *words], cwd=folder, capture_output=True, check=False)


def made(folder, *flags, trace="run.trace", status=0):
    """The text of the page that is made without a word."""
    result = run(folder, "report", trace, *flags, "-o", "page.html", "--force")
    assert (result.returncode, result.stdout) == (status, b""), result.stderr
    assert status != 0 or result.stderr == b""
    return (folder / "page.html").read_text(encoding="utf-8")


def page_of(folder, *flags, **named):
    page = Page(made(folder, *flags, **named))
    assert page.mistakes == []
    return page


def test_the_page_is_whole_and_in_order(folder):
    page = page_of(folder)
    assert page.declarations == ["DOCTYPE html"]
    assert page.one("html").attributes["lang"] == "en"
    assert page.one("h1").text() == "run.trace"
    assert next(page.one("head").all("title")).text() == "run.trace – report of a run"
    assert list(page.sections()) == [
        "Numbers", "Where", "When", "Threads", "Causes", "Faults", "How this was made"]
    levels = [int(e.name[1]) for e in page.root.all() if re.fullmatch("h[1-6]", e.name)]
    assert levels[0] == 1 and all(b - a <= 1 for a, b in zip(levels, levels[1:]))


def test_what_the_page_says_first(folder):
    page = page_of(folder, "--packets", "thread")
    facts = next(e for e in page.root.all("p") if "facts" in e.classes()).text()
    assert facts.startswith("8 × 8 PEs · cycles 0 to 597 (all) · 5,500 records · thread = packet · "
                            "no companion · marrowfin-trace ")
    sentences = [e.text() for e in page.root.all("li") if "sentences" in e.parent.classes()]
    assert len(sentences) == 5
    assert sentences[0].startswith("The busiest link, (3, 3)→(4, 3), carries")
    assert sentences[0].endswith(": it is full.")
    assert sentences[1].startswith("PE (3, 3) is hot: it fires ")
    assert sentences[2].startswith("8 of 64 PEs never fire")
    assert sentences[3].startswith("Half of the packets arrive within ")
    assert sentences[4].startswith("The last 24.7 % of the run make 1.82 % of the fires.")


def test_numbers_are_those_that_stats_tells(folder):
    numbers = page_of(folder, "--packets", "thread").numbers()
    stats = json.loads(
        run(folder, "stats", "run.trace", "--packets", "thread", "--json").stdout)
    assert numbers["Records"][0] == f"{stats['records']:,}" == "5,500"
    assert numbers["Records"][1] == "2,750 fires, 2,750 sends, no transmissions"
    assert numbers["Run"] == ("598 cycles", "0 to 597")
    assert numbers["Array"][0] == "8 × 8 PEs"
    assert numbers["Busiest PE"][0].startswith("(3, 3) 0.")
    assert numbers["PEs that never fire"] == ("8", "of 64 PEs")
    assert numbers["Packets"][0] == f"{stats['packets']['delivered']:,}"
    assert numbers["Faults"][0] == "none"


def test_ids_are_told_apart_and_all_that_is_referred_to_is_there(folder):
    page = page_of(folder, "--packets", "thread")
    ids = [e.attributes["id"] for e in page.root.all() if "id" in e.attributes]
    assert len(ids) == len(set(ids)) and len(ids) > 20
    referred = set(re.findall(r"url\(#([^)]*)\)", page.source))
    for element in page.root.all():
        referred.update(element.attributes.get("aria-labelledby", "").split())
        for name, value in element.attributes.items():
            if name in ("href", "xlink:href"):
                if value.startswith("data:image/png;base64,"):
                    continue
                assert value.startswith("#"), value
                referred.add(value[1:])
    assert referred <= set(ids)
    assert len(referred) > 10


def test_pictures_have_words(folder):
    pictures = list(page_of(folder).root.all("svg"))
    assert len(pictures) >= 2
    for picture in pictures:
        assert picture.attributes["role"] == "img"
        title, finding = picture.attributes["aria-labelledby"].split()
        words = {e.attributes.get("id"): e.text() for e in picture.all() if e.name in ("title", "desc")}
        assert words[title] and words[finding]
        assert picture.parent.name == "figure"
        assert words[title] == next(picture.parent.all("h3")).text()
        assert "run.trace" in next(picture.parent.all("figcaption")).text()


def test_tables_have_captions_and_heads(folder):
    tables = list(page_of(folder, "--packets", "thread").root.all("table"))
    assert len(tables) >= 6
    for table in tables:
        assert table.children[0].name == "caption" and table.children[0].text()
        rows = [row.children for row in table.all("tr")]
        assert {len(row) for row in rows} == {len(rows[0])}
        assert {cell.attributes.get("scope") for cell in rows[0]} == {"col"}
        for row in rows[1:]:
            assert row[0].name == "th" and row[0].attributes["scope"] == "row"
            assert {cell.name for cell in row[1:]} == {"td"}


def test_the_page_asks_for_nothing_and_allows_its_own_script_alone(folder):
    page = page_of(folder)
    for element in page.root.all():
        assert not {"src", "srcset", "action", "data", "poster", "ping"} & set(element.attributes)
        assert not [name for name in element.attributes if name.startswith("on")]
        assert element.name not in ("link", "iframe", "object", "embed", "base", "img", "form")
    assert not re.findall(r"@import|url\((?!#)", page.source)
    script = page.one("script").text()
    digest = base64.b64encode(hashlib.sha256(script.encode()).digest()).decode()
    policy = next(e.attributes["content"] for e in page.root.all("meta")
                  if e.attributes.get("http-equiv") == "Content-Security-Policy")
    assert policy == (f"default-src 'none'; style-src 'unsafe-inline'; img-src data:; script-src 'sha256-{digest}'; "
                      "base-uri 'none'; form-action 'none'")
    # It stands before all that it is to keep in order.
    assert page.source.index("Content-Security-Policy") < page.source.index("<style>")


def test_the_same_run_and_options_make_the_same_bytes_wherever_they_lie(folder, tmp_path):
    flags = ("--packets", "thread", "--cycles", "0:500")
    first = made(folder, *flags)
    elsewhere = tmp_path / "elsewhere"
    elsewhere.mkdir()
    (elsewhere / "run.trace").write_bytes((folder / "run.trace").read_bytes())
    assert made(elsewhere, *flags, trace=str(elsewhere / "run.trace")) == first
    assert str(elsewhere) not in first
    assert ("marrowfin-trace report run.trace --cycles 0:500 --packets thread -o report.html"
            in Page(first).root.text())
    for other in (("--packets", "thread"), ("--theme", "dark"), ("-c", "1", "-d", "1", "-p", "16")):
        assert made(folder, *other) != first


def test_the_command_of_the_page_makes_the_page_again(folder):
    flags = ("--cycles", "0:300", "--type", "fire", "--type", "send", "--theme", "print", "-p", "8")
    first = made(folder, *flags)
    command = next(e for e in list(Page(first).root.all("code"))[::-1]).text().split()
    assert command[0] == "marrowfin-trace"
    result = run(folder, *command[1:])
    assert result.returncode == 0, result.stderr
    assert (folder / "report.html").read_text(encoding="utf-8") == first


def test_no_name_of_a_trace_breaks_the_page(folder):
    for name in (b"<script>alert(1)</script>&amp;\".trace", b"-->\n<!--.trace", b"\xff\xc3 x.trace"):
        path = os.path.join(os.fsencode(folder), name.replace(b"/", b"_"))
        with open(path, "wb") as file:
            file.write(b"".join(busy_run()))
        page = page_of(folder, trace=os.fsdecode(path))
        shown = name.replace(b"/", b"_").replace(b"\n", b"\xff").decode(errors="replace")
        assert page.one("h1").text() == shown
        assert len(list(page.root.all("script"))) == 1


def test_a_range_without_events_is_a_page_of_short_sections(folder):
    page = page_of(folder, "--thread", "77777")
    assert list(page.root.all("svg")) == []
    sections = page.sections()
    assert "No fires in this range." in sections["Where"].text()
    assert "No message went over a link" in sections["Where"].text()
    assert "No fires in this range." in sections["When"].text()
    assert "No fires in this range." in sections["Threads"].text()
    assert "this is a part" in sections["Causes"].text()
    assert [e for e in page.root.all("ul") if "sentences" in e.classes()] == []


def test_what_is_said_of_elements_is_about_those_of_the_region(folder):
    page = page_of(folder, "--region", "0,0:3,3", "--no-causes")
    stats = json.loads(run(folder, "stats", "run.trace", "--region", "0,0:3,3", "--json").stdout)
    assert stats["elements"]["units"] == 16
    numbers = page.numbers()
    assert numbers["PEs that never fire"] == (str(stats["elements"]["never"]), "of 16 PEs")
    assert numbers["Utilisation of PEs"][1].endswith("mean of 16 PEs")
    mean = stats["fires"] / 16
    most = rows_of(page, "table-pes")[0]
    assert float(most[2]) == pytest.approx(int(most[1]) / mean, rel=0.01)
    assert len(rows_of(page, "table-pes")) == 16


def test_shares_of_threads_are_of_all_fires_also_outside_the_array(folder):
    page = page_of(folder, "-c", "1", "-d", "1", "-p", "2", "--no-causes")
    shares = [float(row[2].split()[0]) for row in rows_of(page, "table-threads")]
    assert 0 < max(shares) <= 100


def test_a_run_may_take_all_cycles_that_there_are(folder):
    last = 2 ** 64 - 1
    (folder / "long.trace").write_bytes(record(FIRE, 0, 0, 0, 0) + record(FIRE, last, 0, 0, 0))
    numbers = page_of(folder, "--no-causes", trace="long.trace").numbers()
    assert numbers["Run"] == ("18,446,744,073,709,551,615 cycles", f"0 to {last:,}")
    assert numbers["Longest gap of a PE"][0] == f"{last:,} cycles"


def test_a_single_cycle_and_a_single_element_make_a_page(folder):
    (folder / "one.trace").write_bytes(record(FIRE, 5, 0, 0, 0))
    page = page_of(folder, "-c", "1", "-d", "1", "-p", "1", trace="one.trace")
    assert page.numbers()["Run"] == ("1 cycle", "5 to 5")
    assert "No phases" in page.sections()["When"].text()


def rows_of(page, name):
    """The cells of all rows of a table, of what is folded away as well."""
    table = next(e for e in page.root.all("div") if e.attributes.get("id") == name)
    return [[cell.text() for cell in row.children] for row in table.all("tr")
            if row.parent.name == "tbody"]


def test_causes_are_those_that_why_tells(folder):
    # Each fire sends a message, to which the next one answers.
    (folder / "run.trace").write_bytes(b"".join(
        record(FIRE, 5 * i, 1, i % 8, 0) + record(SEND, 5 * i + 1, 1, i % 8, 0, (i + 1) % 8, 0)
        for i in range(40)))
    page = page_of(folder)
    why = json.loads(run(folder, "why", "run.trace", "--json").stdout)
    text = page.sections()["Causes"].text()
    chain = why["chain"]
    assert f"{chain['fires']:,} fires and {chain['messages']:,} messages over" in text
    picture = next(page.sections()["Causes"].all("figure"))
    assert picture.attributes["id"] == "why"
    assert next(picture.all("h3")).text() == "Chain that led to the last fire (inferred)"
    assert chain["fires"] == 40
    assert "inferred from thread and place" in text
    assert rows_of(page, "table-bounds")[0][1] == f"{why['bounds']['end']:,}"
    assert len(rows_of(page, "table-chain")) > 1
    assert len(rows_of(page, "table-slack")) == min(100, len(why["slack"]))


def test_causes_are_of_whole_runs_and_can_be_left_out(folder):
    part = page_of(folder, "--cycles", "0:300").sections()["Causes"].text()
    assert "They are those of the whole run, and this is a part." in part
    page = page_of(folder, "--no-causes")
    assert "They were not asked for." in page.sections()["Causes"].text()
    assert "run.trace --no-causes -o" in page.root.text()


RULES = """
[[rule]]
name = "no <far> message"
measure = "distance.max"
at_most = 6
[[rule]]
name = "many fires"
measure = "fires"
at_least = 1000000
cycles = "0:299"
[[rule]]
name = "later"
measure = "fires"
at_least = 1
skip = "not yet"
"""


def test_verdicts_are_those_that_expect_tells_whatever_the_page_is_about(folder):
    (folder / "rules.toml").write_text(RULES)
    page = page_of(folder, "--expect", str(folder / "rules.toml"), "--cycles", "400:500")
    assert next(iter(page.sections())) == "Verdicts"
    assert "Not all rules hold: 1 of 3 rules fails, 1 skipped." in page.sections()["Verdicts"].text()
    expected = json.loads(run(folder, "expect", "rules.toml", "run.trace", "--json").stdout)
    found = expected["rules"][1]["findings"][0]
    rows = rows_of(page, "table-verdicts")
    assert [row[:2] for row in rows] == [
        ["many fires", "fails"], ["no <far> message", "holds"], ["later", "skipped"]]
    assert f"fires is {found['value']:,.0f}".replace(",", "") in rows[0][2].replace(",", "")
    assert rows[2][2] == "not yet"
    assert "--expect rules.toml" in page.root.text() and str(folder) not in page.root.text()


def test_rules_that_cannot_be_read_make_no_page_and_are_not_written_over(folder):
    (folder / "rules.toml").write_text("[[rule]]\nname = 5\n")
    result = run(folder, "report", "run.trace", "--expect", "rules.toml", "-o", "page.html", "--force")
    assert result.returncode == 1 and b"rules.toml" in result.stderr
    result = run(folder, "report", "run.trace", "--expect", "rules.toml", "-o", "./rules.toml")
    assert result.returncode == 2 and b"is the file of rules" in result.stderr
    assert not (folder / "page.html").exists()
    assert (folder / "rules.toml").read_text().startswith("[[rule]]")


def test_the_baseline_of_a_rule_is_not_written_over(folder):
    (folder / "rules.toml").write_text(
        "[[rule]]\nname = \"a\"\nmeasure = \"fires\"\nbaseline = \"base.json\"\nwithin = 0\n")
    base = run(folder, "stats", "run.trace", "--json").stdout
    (folder / "base.json").write_bytes(base)
    result = run(folder, "report", "run.trace", "--expect", "rules.toml", "-o", "./base.json", "--force")
    assert result.returncode == 2 and b"is a baseline of the rules" in result.stderr
    assert (folder / "base.json").read_bytes() == base


def test_the_difference_is_that_which_diff_tells(folder):
    records = busy_run()
    (folder / "old.trace").write_bytes(b"".join(records[:4000]))
    page = page_of(folder, "--against", str(folder / "old.trace"))
    assert next(iter(page.sections())) == "Difference"
    section = page.sections()["Difference"]
    diff = run(folder, "diff", "run.trace", "old.trace", "--csv", "measures").stdout.decode()
    changed = [line.split(",") for line in diff.splitlines()[1:]]
    changed = [line for line in changed if line[1] != line[2]]
    assert 10 < len(rows_of(page, "table-changes")) <= len(changed)
    fires = {row[0]: row for row in rows_of(page, "table-changes")}["fires"]
    assert fires[1:4] == ["2,750", "2,000", "+750"]
    assert "Held against old.trace: " in section.text() and "the first is cycle 333" in section.text()
    assert [e.attributes["id"] for e in section.all("figure")] == ["diff"]
    assert "--against old.trace" in page.root.text() and str(folder) not in page.root.text()


def test_the_same_run_is_equal_to_itself(folder):
    (folder / "old.trace").write_bytes((folder / "run.trace").read_bytes())
    section = page_of(folder, "--against", "old.trace").sections()["Difference"]
    assert "equal, every byte is the same" in section.text()
    assert list(section.all("table")) == []


def test_the_other_run_is_not_written_over(folder):
    (folder / "old.trace").write_bytes(b"".join(busy_run()))
    result = run(folder, "report", "run.trace", "--against", "old.trace", "-o", "old.trace")
    assert result.returncode == 2
    result = run(folder, "report", "run.trace", "--against", "none.trace", "-o", "page.html")
    assert result.returncode == 1 and b"none.trace" in result.stderr
    assert not (folder / "page.html").exists()


def test_faults_of_the_trace_are_told_in_the_page_and_by_the_status(folder):
    whole = b"".join(busy_run())
    back = record(FIRE, 3, 0, 1, 1) + record(FIRE, 2, 0, 1, 1)
    (folder / "run.trace").write_bytes(whole[:4480] + back + whole[4480:8000] + b"\0\0\0")
    page = page_of(folder, status=1)
    faults = page.sections()["Faults"].text()
    assert "The trace breaks off behind " in faults
    assert "with a cycle below that of the record before" in faults
    assert page.numbers()["Faults"][0] == "2"


def test_a_companion_that_is_not_believed_is_told(folder):
    (folder / "run.trace.notes").write_bytes(b"these are no notes at all, whatever their name says")
    result = run(folder, "report", "run.trace", "-o", "page.html", "--force")
    assert result.returncode == 0 and b"notes" in result.stderr
    page = Page((folder / "page.html").read_text(encoding="utf-8"))
    assert "Beside the trace, not believed: " in page.sections()["Faults"].text()


def test_latencies_are_drawn_where_packets_arrive(folder):
    assert "nothing tells packets" in page_of(folder).sections()["When"].text()
    page = page_of(folder, "--packets", "thread")
    assert [e.attributes["id"] for e in page.root.all("figure")] == [
        "heat", "links", "timeline", "latency", "why"]
    slowest = json.loads(
        run(folder, "stats", "run.trace", "--packets", "thread", "--json").stdout)["packets"]["slowestOnes"]
    assert rows_of(page, "table-slowest") == [
        [str(p["packet"]), "({}, {})→({}, {})".format(*p["from"], *p["to"]), f"{p['injected']:,}",
         f"{p['ejected'] - p['injected']:,}", f"{p['hops']:,}"] for p in slowest]
    assert len(slowest) == 10
    alone = page_of(folder, "--packets", "thread", "--region", "0,0:0,0", "--type", "send")
    assert "no packet arrives in this range" in alone.sections()["When"].text()


def test_large_tables_end_and_say_so(folder):
    result = run(folder, "synth", "-o", "large.trace", "--force", "--records", "20000",
                 "-c", "4", "-d", "2", "-p", "4")
    assert result.returncode == 0, result.stderr
    page = page_of(folder, trace="large.trace")
    table = next(e for e in page.root.all("div") if e.attributes.get("id") == "table-pes")
    assert len(list(table.all("tr"))) == 100 + 2
    note = next(e for e in table.all("p")).text()
    assert note == ("The first 100 of 1,024; all: "
                    "marrowfin-trace stats large.trace --csv pes")


def test_the_map_of_a_large_array_is_of_its_domains(folder):
    result = run(folder, "synth", "-o", "large.trace", "--force", "--records", "20000",
                 "-c", "16", "-d", "4", "-p", "4")
    assert result.returncode == 0, result.stderr
    page = page_of(folder, trace="large.trace")
    assert page.numbers()["Array"][0] == "256 × 256 PEs"
    assert next(page.root.all("h3")).text() == "Fires of each domain, mean of its PEs"
    assert len(page.source) < 4_000_000


@pytest.mark.parametrize("flags", [
    (), ("-o", "run.trace"), ("--pdf", "run.trace"), ("-o", "run.trace.mfindex"),
    ("-o", "a", "--pdf", "a"), ("-o", "./a", "--pdf", "a"), ("-o", "-", "--pdf", "/dev/stdout"), ("-o", "a.html", "--theme", "pink"), ("-o", "a.html", "--packets", "x")])
def test_command_lines_that_make_no_page_are_refused(folder, flags):
    before = (folder / "run.trace").read_bytes()
    result = run(folder, "report", "run.trace", *flags)
    assert result.returncode == 2 and result.stdout == b"" and result.stderr != b""
    assert sorted(os.listdir(folder)) == ["run.trace"]
    assert (folder / "run.trace").read_bytes() == before


def test_a_page_that_cannot_be_written_leaves_nothing(folder):
    result = run(folder, "report", "run.trace", "-o", "nowhere/page.html")
    assert result.returncode == 3 and result.stderr != b""
    assert not [name for name in os.listdir(folder) if "page" in name or "nowhere" in name]


def test_the_page_goes_to_standard_output(folder):
    result = run(folder, "report", "run.trace", "-o", "-")
    assert result.returncode == 0
    assert result.stdout.decode() == made(folder)


def test_without_chromium_no_pdf_is_left_and_the_package_is_named(folder):
    environment = dict(os.environ, PATH=str(folder))
    result = subprocess.run([TRACE, "report", "run.trace", "--pdf", "a.pdf"], cwd=folder,
                            capture_output=True, check=False, env=environment)
    assert result.returncode == 3
    assert b"install chromium" in result.stderr.lower()
    assert not (folder / "a.pdf").exists()


def words_of_pdf(path):
    return subprocess.run(["pdftotext", path, "-"], capture_output=True, check=True).stdout.decode()


def test_the_first_numbers_are_seen_and_more_are_folded_away(folder):
    page = page_of(folder, "--packets", "thread")
    table = next(e for e in page.root.all("div") if e.attributes.get("id") == "numbers")
    first, more = list(table.all("table"))
    names = [next(row.all("th")).text() for row in first.all("tr") if row.parent.name == "tbody"]
    assert names == ["Run", "Array", "Records", "Utilisation of PEs", "Fire rate", "Busiest PE",
                     "PEs that never fire", "Imbalance of fires", "Busiest link", "Mean link load",
                     "Bisection traffic", "Latency", "Faults"]
    assert more.parent.name == "details"
    assert "Quietest PE" in more.text() and "Hops of packets" in more.text()


def test_a_usual_run_is_printed_on_two_pages(folder):
    # Four threads that share all places, each a packet again and again.
    records = []
    for i in range(4000):
        at = (i * 5 % 7, i * 3 % 8)
        records += [record(FIRE, i, i * i // 11 % 4, *at), record(SEND, i, 0, *at, at[0] + 1, at[1])]
    (folder / "run.trace").write_bytes(b"".join(records))
    result = run(folder, "report", "run.trace", "--packets", "thread", "--pdf", "a.pdf")
    assert (result.returncode, result.stderr) == (0, b"")
    information = subprocess.run(["pdfinfo", folder / "a.pdf"], capture_output=True, check=True)
    assert re.search(rb"^Pages: +2$", information.stdout, re.M)
    words = words_of_pdf(folder / "a.pdf")
    first, second = words.split("\f")[:2]
    assert "Numbers" in first and "Busiest links" in first and "Fires by thread" in first
    for name in ("Slowest packets", "Phases", "Causes", "How this was made"):
        assert name in second, name


def test_the_pdf_has_no_date_and_always_the_same_bytes(folder):
    for name, flags in (("a.pdf", ()), ("b.pdf", ()), ("c.pdf", ("--theme", "dark"))):
        result = run(folder, "report", "run.trace", "--pdf", name, *flags)
        assert (result.returncode, result.stderr) == (0, b"")
    pdf = (folder / "a.pdf").read_bytes()
    assert pdf == (folder / "b.pdf").read_bytes()
    assert b"Date" not in pdf
    information = subprocess.run(["pdfinfo", folder / "a.pdf"], capture_output=True, check=True)
    assert b"A4" in information.stdout and information.stderr == b""
    words = words_of_pdf(folder / "a.pdf")
    # What is folded away on a screen nobody could open; where it is stands there.
    assert "more rows" not in words
    assert "The first 5 of 64; all: marrowfin-trace stats run.trace --csv pes" in " ".join(words.split())
    # On paper nothing is dark: but for the command that makes it, it is the same page.
    assert (sorted(words_of_pdf(folder / "c.pdf").replace("--theme dark", "").split())
            == sorted(words.split()))
