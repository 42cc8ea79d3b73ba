"""The scripts that judge the project can say no."""

import importlib.machinery
import importlib.util
import json
import os
import pathlib
import re
import shutil
import subprocess

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]


@pytest.fixture
def project(tmp_path):
    """A project of its own with the scripts and nothing else."""
    shutil.copytree(ROOT / "scripts", tmp_path / "scripts")
    (tmp_path / "build" / "logs").mkdir(parents=True)
    return tmp_path


def run(project, *command, captures=""):
    environment = dict(os.environ, MARROWFIN_CAPTURES=captures)
    return subprocess.run(
        command, cwd=project, env=environment, capture_output=True, text=True, check=False
    )


def report(project, name, *cases):
    """Cases are (name, status) or (name, status, seconds)."""
    lines = [
        f'<testcase name="{case}" status="{status}"' + "".join(f' time="{t}"' for t in time) + "/>"
        for case, status, *time in cases
    ]
    text = "<testsuite>" + "".join(lines) + "</testsuite>"
    (project / "build" / "logs" / name).write_text(text, encoding="utf-8")


def count(project, *reports, captures=""):
    result = run(project, "scripts/count-tests", *reports, captures=captures)
    return result.returncode, result.stdout.splitlines()


def test_passes_of_all_builds_are_added_up(project):
    report(project, "dev.xml", ("a", "run"), ("b", "run"))
    report(project, "asan.xml", ("a", "run"))
    assert count(project, "dev.xml", "asan.xml", captures="c") == (0, ["3 passed, 0 failed"])


def test_a_failed_test_fails_the_run_and_is_named(project):
    report(project, "dev.xml", ("a", "run"), ("b", "fail"))
    status, lines = count(project, "dev.xml", captures="c")
    assert (status, lines) == (1, ["failed: b (dev, fail)", "1 passed, 1 failed"])


@pytest.mark.parametrize("status", ["notrun", "disabled"])
def test_a_test_that_did_not_run_counts_as_failed(project, status):
    report(project, "dev.xml", ("a", status))
    assert count(project, "dev.xml", captures="c")[1][-1] == "0 passed, 1 failed"


def test_a_report_that_is_missing_cut_or_empty_counts_as_failed(project):
    report(project, "empty.xml")
    (project / "build" / "logs" / "cut.xml").write_text("<testsuite>", encoding="utf-8")
    status, lines = count(project, "empty.xml", "cut.xml", "missing.xml", captures="c")
    assert (status, lines[-1]) == (1, "0 passed, 3 failed")


def test_only_tests_of_captures_may_wait_for_captures(project):
    report(project, "dev.xml", ("a", "run"), ("RealCapture", "notrun"))
    status, lines = count(project, "dev.xml")
    assert (status, lines[-1]) == (0, "1 passed, 0 failed")
    assert lines[-2].startswith("note: no captures were given, 1 tests")
    assert count(project, "dev.xml", captures="c")[1][-1] == "1 passed, 1 failed"
    report(project, "dev.xml", ("a", "notrun"))
    assert count(project, "dev.xml")[1][-1] == "0 passed, 1 failed"


def test_the_ten_slowest_tests_of_all_builds_are_named(project):
    report(project, "dev.xml", *[(f"t{i}", "run", i / 10) for i in range(9)])
    report(project, "asan.xml", *[(f"t{i}", "run", i) for i in range(4)], ("slow", "fail", 70.25))
    status, lines = count(project, "dev.xml", "asan.xml", captures="c")
    assert (status, lines[-1]) == (1, "13 passed, 1 failed")
    assert lines[:4] == ["the slowest tests:", "  70.2 s  slow (asan)", "  3.0 s  t3 (asan)",
                         "  2.0 s  t2 (asan)"]
    assert lines[10:12] == ["  0.3 s  t3 (dev)", "failed: slow (asan, fail)"]


@pytest.mark.parametrize("script", ["test", "coverage"])
def test_what_builds_for_long_takes_no_words_and_says_so(project, script):
    result = run(project, f"scripts/{script}", "--help")
    assert (result.returncode, result.stderr) == (2, f"usage: scripts/{script}\n")


def test_a_file_that_is_not_formatted_is_refused(project):
    shutil.copy(ROOT / ".clang-format", project)
    source = project / "File.cpp"
    subprocess.run(["git", "init", "--quiet"], cwd=project, check=True)
    source.write_text("int a;\n", encoding="utf-8")
    subprocess.run(["git", "add", "File.cpp"], cwd=project, check=True)
    assert run(project, "scripts/check-format").returncode == 0
    source.write_text("int  a ;\n", encoding="utf-8")
    assert run(project, "scripts/check-format").returncode != 0


def test_formatting_nothing_is_no_success(project):
    subprocess.run(["git", "init", "--quiet"], cwd=project, check=True)
    assert run(project, "scripts/check-format").returncode != 0


def tidy(project, **sources):
    """What scripts/run-tidy says of a build of the sources in a folder trace/."""
    shutil.copy(ROOT / ".clang-tidy", project)
    (project / "trace").mkdir(exist_ok=True)
    files = [project / "trace" / f"{name}.cpp" for name in sources]
    for file, text in zip(files, sources.values()):
        file.write_text(text, encoding="utf-8")
    commands = [
        {"directory": str(project), "file": str(file), "command": f"c++ -std=c++20 -c {file}"}
        for file in files
    ]
    (project / "build" / "compile_commands.json").write_text(json.dumps(commands), encoding="utf-8")
    return run(project, "scripts/run-tidy", "build", *[f"trace/{name}.cpp" for name in sources])


FINE = "namespace { int Own() { return 1; } }\nint Fine() { return Own(); }\n"
CAST = "namespace { double Other() { return 1.5; } }\nint Cast() { return (int)Other(); }\n"


def test_what_is_wrong_in_one_of_many_sources_is_found(project):
    fine = tidy(project, a=FINE, b=CAST.replace("(int)Other()", "static_cast<int>(Other())"))
    assert (fine.returncode, fine.stdout) == (0, ""), fine.stdout
    wrong = tidy(project, a=FINE, b=CAST)
    assert wrong.returncode == 1
    assert "/trace/b.cpp:2:" in wrong.stdout and "google-readability-casting" in wrong.stdout


def test_sources_with_names_of_their_own_are_looked_at_one_by_one(project):
    same = CAST.replace("Other", "Own")
    wrong = tidy(project, a=FINE, b=same, c=FINE.replace("Fine", "AlsoFine"))
    assert wrong.returncode == 1
    assert wrong.stdout.count("google-readability-casting") == 1
    assert "clang-diagnostic-error" not in wrong.stdout


def test_a_source_that_does_not_compile_is_no_success(project):
    wrong = tidy(project, a=FINE, b="int Broken( { return 1; }\n")
    assert wrong.returncode == 1
    assert "/trace/b.cpp:1:" in wrong.stdout
    assert run(project, "scripts/run-tidy", "build", "trace/none.cpp").returncode == 2


SHORTENED = """#include <cstddef>
#include <string>
char At(const std::string& bytes, unsigned long long offset) { return bytes[%s]; }
"""


def test_half_a_number_is_not_dropped_where_addresses_have_32_bits(project):
    subprocess.run(["git", "init", "--quiet"], cwd=project, check=True)
    assert run(project, "scripts/check-shortening").returncode != 0, "there is nothing to check"
    (project / "trace").mkdir()
    source = project / "trace" / "File.cpp"
    source.write_text(SHORTENED % "static_cast<size_t>(offset)", encoding="utf-8")
    subprocess.run(["git", "add", "trace/File.cpp"], cwd=project, check=True)
    right = run(project, "scripts/check-shortening")
    assert right.returncode == 0, right.stderr
    source.write_text(SHORTENED % "offset", encoding="utf-8")
    wrong = run(project, "scripts/check-shortening")
    assert wrong.returncode != 0
    assert "loses integer precision" in wrong.stderr


def test_an_unknown_group_of_packages_is_refused(project):
    result = run(project, "scripts/install-dependencies", "nonsense")
    assert result.returncode != 0
    assert "nonsense" in result.stderr


def planted(*options):
    """The lines that say where mistakes are planted."""
    result = run(ROOT, "scripts/mutate", "--list", *options)
    assert result.returncode == 0, result.stderr
    return [line for line in result.stdout.splitlines() if line[:1] not in "+-"]


def test_planted_mistakes_are_as_many_as_asked_for_and_spread_over_all_rooms():
    places = planted("--count", "300")
    assert len(places) == 300
    # Examples are for reading, and have tests of their own kind.
    folders = set(loaded("check-layers").FOLDERS) - {"examples"}
    rooms = {p.parent for folder in folders for p in (ROOT / folder).rglob("*.cpp")}
    assert {str(room.relative_to(ROOT)) for room in rooms} <= {
        place.split(":")[0].rsplit("/", 1)[0] for place in places
    }


def test_a_seed_plants_the_same_mistakes_again_and_another_one_others():
    first = planted("--count", "100", "--seed", "a")
    assert first == planted("--count", "100", "--seed", "a")
    assert first != planted("--count", "100", "--seed", "b")


def loaded(script):
    """A script as a module."""
    loader = importlib.machinery.SourceFileLoader(script, str(ROOT / "scripts" / script))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader(script, loader))
    loader.exec_module(module)
    return module


def test_the_report_of_coverage_counts_every_folder():
    folders = set(loaded("check-layers").FOLDERS) - {"examples"}
    script = (ROOT / "scripts" / "coverage").read_text(encoding="utf-8")
    assert {f for f in folders if f"--filter '{f}/'" in script} == folders


@pytest.fixture
def mutate():
    return loaded("mutate")


def listed(program, name, *environment):
    properties = [{"name": "ENVIRONMENT", "value": list(environment)}] if environment else []
    return {"command": [program, f"--gtest_filter={name}"], "properties": properties}


def test_mistakes_in_a_folder_are_tried_with_all_of_its_suites(mutate):
    text = (ROOT / "tests" / "CMakeLists.txt").read_text(encoding="utf-8")
    for suite in re.findall(r"add_subdirectory\(([\w/]+)\)", text):
        folder = suite.split("/")[0]
        assert suite in mutate.SUITES.get(folder, [suite]), f"{suite} of {folder}"


def test_what_was_caught_is_kept_with_the_sources(mutate, tmp_path, monkeypatch):
    monkeypatch.setattr(mutate, "CAUGHT", tmp_path / "caught.txt")
    by_file = mutate.shuffled_mutants(["trace/base/Utf8.cpp"], "1")
    caught, survived = by_file["trace/base/Utf8.cpp"][:2]
    results = mutate.Results(tmp_path / "results.json", False, "tree")
    results.put(caught, "caught by trace")
    results.put(survived, "survived")
    results.keep(by_file)
    elsewhere = mutate.Results(tmp_path / "other.json", False, "tree")
    assert elsewhere.get(caught) == "caught by trace"
    assert elsewhere.get(survived) is None
    assert mutate.Results(tmp_path / "other.json", True, "tree").get(caught) is None


def test_tests_of_one_program_with_the_same_environment_share_a_process(mutate):
    tests = [listed("a", "A.one"), listed("b", "B.one"), listed("a", "A.two"),
             listed("a", "A.one", "X=1"), {"command": ["python3", "c.py"]}]
    groups = mutate.groups_of({"tests": tests})
    assert [(g.words, g.environment, g.filters) for g in groups] == [
        (("a",), (), ("A.one", "A.two")), (("b",), (), ("B.one",)),
        (("a",), ("X=1",), ("A.one",)), (("python3", "c.py"), (), ())]


def test_what_fails_in_company_gets_a_process_of_its_own(mutate):
    group = mutate.Group(("a",), (), "", ("A.one", "A.two", "P/A.three/0"))
    output = "x\n[  FAILED  ] A.two (3 ms)\n[  FAILED  ] P/A.three/0, where GetParam() = 1\n"
    assert mutate.parts_of(group, output) == [("A.one",), ("A.two",), ("P/A.three/0",)]
    assert mutate.parts_of(group, "terminated") == [group.filters]


def test_a_copy_is_like_another_one_in_which_a_test_left_a_pipe(mutate, tmp_path):
    first = mutate.Workshop(tmp_path / "first", 1)
    left = first.sandbox.folder / "build" / "left"
    left.mkdir()
    os.mkfifo(left / "pipe")
    (left / "file").write_text("kept", encoding="utf-8")
    second = mutate.Workshop(tmp_path / "second", 1)
    second.prepare_like(first)
    copied = second.sandbox.folder / "build" / "left"
    assert (copied / "pipe").is_fifo()
    assert (copied / "file").read_text(encoding="utf-8") == "kept"


def test_the_sandbox_of_planted_mistakes_holds():
    result = run(ROOT, "scripts/mutate", "--try-sandbox")
    assert result.returncode == 0, result.stderr


def test_a_sandbox_that_does_not_hold_is_refused(project):
    """With a program in its place that gives the command everything."""
    tools = project / "tools"
    tools.mkdir()
    leaky = tools / "bwrap"
    leaky.write_text(
        "#!/bin/sh\n"
        'while [ "$1" != -- ]; do [ "$1" = --bind ] && [ "$3" = /tmp/tree ] && tree=$2; shift; done\n'
        "shift\n"
        'mkdir -p "$tree/tmp"; echo broken >"$tree/../probe"; echo done >"$tree/tmp/report"\n',
        encoding="utf-8",
    )
    leaky.chmod(0o755)
    path = f"{tools}:{os.environ['PATH']}"
    result = run(project, "env", f"PATH={path}", "scripts/mutate", "--try-sandbox")
    assert result.returncode != 0
    assert "does not hold" in result.stderr


def test_a_missing_sandbox_is_refused(project):
    nowhere = project / "nowhere"
    nowhere.mkdir()
    result = run(project, "env", f"PATH={nowhere}", "/usr/bin/python3", "scripts/mutate",
                 "--try-sandbox")
    assert result.returncode == 2
    assert "bubblewrap" in result.stderr


def fake_build(folder, stats):
    """Programs that write how they were called; `stats` is what the trace tool says of a run."""
    folder.mkdir()
    writes = '''#!/bin/bash
while [[ $# -gt 0 ]]; do
  case $1 in
    -o | --csv | --json | --trace | -outFilename) [[ ${2:-} == *.* ]] && echo made >"$2" ;;
  esac
  shift
done
'''
    for name in ("mesh_noc", "marrowfin-sim", "marrowfin-trace"):
        text = writes + (f"echo {stats}\n" if name == "marrowfin-trace" else "")
        (folder / name).write_text(text, encoding="utf-8")
        (folder / name).chmod(0o755)
    return str(folder)


def test_builds_that_tell_other_things_are_told_apart(project, tmp_path):
    one, same, other = (
        fake_build(tmp_path / name, text)
        for name, text in (("one", "1"), ("same", "1"), ("other", "2"))
    )
    right = run(project, "scripts/same-bytes", one, same)
    assert (right.returncode, right.stderr) == (0, "")
    assert re.search(r"^same-bytes: [1-9]\d+ files compared$", right.stdout, re.MULTILINE)
    assert "differs" not in right.stdout
    wrong = run(project, "scripts/same-bytes", one, other)
    assert wrong.returncode == 1
    assert "same-bytes: stats-mesh.json differs" in wrong.stdout
    assert "heat-mesh.svg" not in wrong.stdout
    assert run(project, "scripts/same-bytes", one).returncode == 2


def test_only_targets_that_are_there_are_fuzzed(project):
    (project / "fuzz" / "corpus" / "reader").mkdir(parents=True)
    wrong = run(project, "scripts/fuzz", "reeder")
    assert wrong.returncode == 2
    assert "there is no target reeder; there are: reader" in wrong.stderr
    for minutes in (["soon"], ["08"], ["0"], []):
        wrong = run(project, "scripts/fuzz", "--minutes", *minutes)
        assert (wrong.returncode, wrong.stderr) == (2, "fuzz: --minutes takes a number from 1 to 9999\n")
