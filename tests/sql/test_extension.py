"""Traces as tables in shells of SQLite that know nothing of them: Debian's own and Python's."""

import csv
import os
import pathlib
import re
import shutil
import sqlite3
import subprocess
import sys

import pytest

EXTENSION = pathlib.Path(os.environ["MARROWFIN_SQLITE"])
PROGRAM = pathlib.Path(os.environ["MARROWFIN_TRACE"])
PAGE = pathlib.Path(os.environ["MARROWFIN_SOURCE_DIR"]) / "docs" / "query.md"


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    made = tmp_path_factory.mktemp("extension")
    os.environ["XDG_CACHE_HOME"] = str(made / "home")
    subprocess.run([PROGRAM.parent / "marrowfin-sim", "-program", "stencil", "-outFilename", "run.trace"],
                   cwd=made, check=True, stdout=subprocess.DEVNULL)
    shutil.copy(EXTENSION, made)
    os.chdir(made)
    return made


@pytest.fixture
def database(folder):
    made = sqlite3.connect(":memory:")
    made.enable_load_extension(True)
    made.load_extension("./marrowfin_sqlite")
    yield made
    made.close()


def ask_program(sql):
    """The rows that the program tells."""
    told = subprocess.run([PROGRAM, "query", "run.trace", sql, "--format", "csv"], check=True,
                          capture_output=True, text=True)
    return list(csv.reader(told.stdout.splitlines()))[1:]


def as_text(rows):
    return [["" if value is None else str(value) for value in row] for row in rows]


@pytest.mark.parametrize("table", ["events", "fires", "sends", "switches", "activity", "pes", "threads",
                                   "notes", "counters", "about"])
def test_functions_tell_what_the_program_does(database, table):
    columns = [row[1] for row in database.execute(f"pragma table_info(marrowfin_{table})")]
    names = ", ".join(f'"{name}"' for name in columns)
    asked = database.execute(f"select {names} from marrowfin_{table}('run.trace') limit 500")
    assert as_text(asked) == ask_program(f"select {names} from {table} limit 500")


def test_conditions_arguments_and_joins_work_as_in_the_program(database):
    for sql in ["select col, row, count(*) from {fires} where cycle between 100 and 200 group by 1, 2",
                "select record from {events} where type in ('send', 'fire') and col = 3 and step < 90",
                "select unit, col, row, color from {state, 100}",
                "select col, row, fires from {activity, 100, 200} where unit = 'pe'",
                "select record from {events} order by record desc limit 7",
                "select count(*) from {sends} s join {fires} f on f.cycle = s.cycle and f.col = s.to_col"]:
        here = re.sub(r"\{(\w+)((?:, \d+)*)\}", r"marrowfin_\1('run.trace'\2)", sql)
        there = re.sub(r"\{(\w+)(?:, )([^}]*)\}", r"\1(\2)", re.sub(r"\{(\w+)\}", r"\1", sql))
        assert as_text(database.execute(here)) == ask_program(there)
        assert ask_program(there)


def test_a_packed_trace_is_asked_as_the_trace_itself(folder, database):
    subprocess.run([PROGRAM, "pack", "run.trace", "-o", "packed.mfz", "--force"], cwd=folder, check=True,
                   stdout=subprocess.DEVNULL)
    for sql in ["select * from {events} limit 100", "select * from {notes} limit 100",
                "select * from {about} where key <> 'trace'", "select * from {counters} limit 9"]:
        rows = [database.execute(re.sub(r"\{(\w+)\}", rf"marrowfin_\1('{name}')", sql)).fetchall()
                for name in ("run.trace", "packed.mfz")]
        assert rows[0] == rows[1]
        assert rows[0]
    database.execute("create virtual table packed using marrowfin('packed.mfz')")
    kinds = "select kind, count(*) from {} group by kind order by kind"
    assert as_text(database.execute(kinds.format("packed"))) == ask_program(kinds.format("events"))


def test_created_tables_have_the_columns_of_the_notes_and_stay_in_the_database(folder, tmp_path):
    for attempt in ["create virtual table run using marrowfin('run.trace')", "select 1"]:
        database = sqlite3.connect(tmp_path / "kept.db")
        database.enable_load_extension(True)
        database.load_extension("./marrowfin_sqlite")
        database.execute(attempt)
        rows = database.execute("select kind, count(*) from run group by kind order by kind")
        assert as_text(rows) == ask_program("select kind, count(*) from events group by kind order by kind")
        database.commit()
        database.close()


def test_a_trace_that_is_written_anew_is_seen(folder, database):
    shutil.copy("run.trace", "again.trace")
    whole = os.path.getsize("again.trace")
    count = "select count(*) from marrowfin_events('again.trace')"
    before = database.execute(count).fetchone()[0]
    os.remove("again.trace")
    with open("run.trace", "rb") as run, open("again.trace", "wb") as again:
        again.write(run.read(whole // 2 // 28 * 28))
    assert 0 < database.execute(count).fetchone()[0] < before


@pytest.mark.parametrize("sql, words", [
    ("select * from marrowfin_events", "no trace is named"),
    ("select * from marrowfin_events('none.trace')", "none.trace: cannot open"),
    ("select * from marrowfin_events(null)", "cannot open"),
    ("select * from marrowfin_state('run.trace')", "of a step or of a cycle"),
    ("create virtual table t using marrowfin('run.trace', 'fire')", "'fires' is meant perhaps"),
    ("create virtual table t using marrowfin()", "a trace and a table are named"),
    ("insert into marrowfin_fires(col) values (1)", "may not be modified"),
])
def test_what_is_wrong_is_told(database, sql, words):
    with pytest.raises(sqlite3.Error, match=re.escape(words)):
        database.execute(sql).fetchall()


def test_views_of_a_foreign_database_open_no_files(database):
    database.execute("create view v as select * from marrowfin_events('run.trace')")
    with pytest.raises(sqlite3.OperationalError, match="unsafe use"):
        database.execute("select * from v")


def blocks(kind):
    found = re.findall(rf"^```{kind}\n(.*?)^```$", PAGE.read_text(encoding="utf-8"), re.MULTILINE | re.DOTALL)
    assert found
    return found


@pytest.mark.parametrize("block", blocks("sqlite"))
def test_examples_of_the_document_run_in_debians_shell(folder, block):
    told = subprocess.run(["sqlite3", "-bail", ":memory:"], input=block, text=True, capture_output=True,
                          check=False)
    assert (told.returncode, told.stderr) == (0, "")
    assert told.stdout


@pytest.mark.parametrize("block", blocks("python"))
def test_the_example_for_python_runs(folder, block):
    told = subprocess.run([sys.executable, "-c", block], text=True, capture_output=True, check=True)
    assert len(told.stdout.splitlines()) > 10


def test_a_column_that_is_none_would_be_noticed(database):
    with pytest.raises(sqlite3.OperationalError):
        database.execute("select colum from marrowfin_events('run.trace')")
