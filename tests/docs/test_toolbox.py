"""Every command in docs/toolbox.md does what it is told to, in the order in which the page has them."""

import os
import pathlib
import re
import subprocess
import sys

import pytest

PAGE = pathlib.Path(os.environ["MARROWFIN_SOURCE_DIR"]) / "docs" / "toolbox.md"
TRACE = pathlib.Path(os.environ["MARROWFIN_TRACE"])
BLOCK = re.compile(r"^```(sh|python)\n(.*?)^```$", re.MULTILINE | re.DOTALL)


def blocks():
    found = BLOCK.findall(PAGE.read_text(encoding="utf-8"))
    assert len(found) >= 5
    return found


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    made = tmp_path_factory.mktemp("toolbox")
    subprocess.run([TRACE, "synth", "-o", "run.trace", "--records", "200000"], cwd=made, check=True,
                   stdout=subprocess.DEVNULL)
    return made


def run(folder, line):
    path = f"{TRACE.parent}:{os.environ['PATH']}"
    return subprocess.run(["bash", "-euo", "pipefail", "-c", line], cwd=folder, text=True,
                          capture_output=True, check=False,
                          env={**os.environ, "PATH": path, "XDG_CACHE_HOME": str(folder / "home")})


@pytest.mark.parametrize("kind, block", blocks())
def test_a_block_of_the_page_runs_as_it_stands(folder, kind, block):
    if kind == "python":
        result = subprocess.run([sys.executable, "-c", block], cwd=folder, text=True,
                                capture_output=True, check=False, timeout=200)
        assert (result.returncode, result.stderr) == (0, ""), block
        return
    for line in block.splitlines():
        result = run(folder, line)
        assert result.returncode == 0, f"{line}\n{result.stderr}"
        assert result.stderr == "", line
        output = re.search(r" -o (\S+)", line)
        if output and " split " not in line:
            assert (folder / output.group(1)).exists(), line


def test_a_command_that_is_wrong_would_be_noticed(folder):
    assert run(folder, "marrowfin-trace cut run.trace --no-such-flag -o x.trace").returncode != 0
    assert run(folder, "marrowfin-trace cut none.trace -o x.trace").returncode != 0
