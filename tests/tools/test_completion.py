"""Command lines of marrowfin-trace and marrowfin-sim as bash and zsh complete them."""

import os
import pty
import select
import shutil
import subprocess
import time

import pytest

PROGRAM = os.environ["MARROWFIN_TRACE"]
SIMULATOR = os.environ["MARROWFIN_SIM"]


def tool(name):
    found = shutil.which(name)
    assert found, f"{name} is needed here: scripts/install-dependencies test"
    return found


def script(shell):
    return subprocess.run([PROGRAM, "completion", shell], check=True, capture_output=True,
                          text=True).stdout


def script_of_simulator(shell):
    return subprocess.run([SIMULATOR, "--completion", shell], check=True, capture_output=True,
                          text=True).stdout


@pytest.fixture
def folder(tmp_path):
    """A folder with files to complete and the scripts."""
    (tmp_path / "run.trace").write_bytes(b"")
    (tmp_path / "with blank.trace").write_bytes(b"")
    (tmp_path / "deep").mkdir()
    (tmp_path / "functions").mkdir()
    (tmp_path / "functions" / "_marrowfin-trace").write_text(script("zsh"))
    (tmp_path / "completion.bash").write_text(script("bash"))
    (tmp_path / "bin").mkdir()
    (tmp_path / "bin" / "marrowfin-trace").symlink_to(PROGRAM)
    (tmp_path / "functions" / "_marrowfin-sim").write_text(script_of_simulator("zsh"))
    (tmp_path / "completion-sim.bash").write_text(script_of_simulator("bash"))
    (tmp_path / "bin" / "marrowfin-sim").symlink_to(SIMULATOR)
    return tmp_path


def commands():
    """The subcommands, as --help lists them."""
    text = subprocess.run([PROGRAM, "--help"], check=True, capture_output=True, text=True).stdout
    lines = text.split("Subcommands:\n")[1].split("\n\n")[0].splitlines()
    return [line.split()[0] for line in lines if line.startswith("  ") and line[2] != " "]


def flags(*words):
    """The options that a --help tells, by their long names."""
    text = subprocess.run([PROGRAM, *words, "--help"], check=True, capture_output=True,
                          text=True).stdout
    lines = [line.split()[0] for line in text.split("\nOptions:\n")[1].splitlines()
             if line.startswith("  -")]
    return [name for line in lines for name in line.split(",") if name.startswith("--")]


# bash ---------------------------------------------------------------------------------------------


def offers(folder, *words, program="marrowfin-trace", file="completion.bash"):
    """What bash offers for the last of some words."""
    quoted = " ".join("'" + word + "'" for word in words)
    text = (f"source ./{file}; COMP_WORDS=({program} {quoted}); "
            f"COMP_CWORD={len(words)}; _{program.replace('-', '_')}; printf '%s\\n' \"${{COMPREPLY[@]}}\"")
    done = subprocess.run([tool("bash"), "--norc", "-c", text], cwd=folder, capture_output=True,
                          text=True)
    assert done.returncode == 0 and done.stderr == "", done.stderr
    return sorted(done.stdout.split("\n")[:-1]) if done.stdout != "\n" else []


def test_bash_offers_every_subcommand_and_option_that_help_tells(folder):
    assert offers(folder, "") == sorted(commands())
    assert len(commands()) > 10
    for command in commands():
        told = [] if command == "plot" else flags(command)
        offered = offers(folder, command, "--")
        assert set(told) <= set(offered), command
        assert "--help" in offered


def test_bash_completes_words_and_options_from_their_start(folder):
    assert offers(folder, "ev") == ["events"]
    assert offers(folder, "sta") == ["state", "stats"]
    assert offers(folder, "expect", "--up") == ["--update-baseline"]
    assert offers(folder, "stats", "run.trace", "--js") == ["--json"]
    assert offers(folder, "stats", "--rule") == []
    assert "heat" in offers(folder, "plot", "")
    assert "--level" in offers(folder, "plot", "heat", "--l")
    assert "--level" not in offers(folder, "plot", "--l")
    assert offers(folder, "nonsense", "--js") == []


def test_bash_completes_values_that_the_program_takes(folder):
    assert offers(folder, "stats", "--csv", "p") == ["pes"]
    assert offers(folder, "stats", "--csv", "=", "p") == ["pes"]
    assert offers(folder, "stats", "--csv", "=") == offers(folder, "stats", "--csv", "")
    assert offers(folder, "stats", "--packets", "") == ["none", "notes", "thread"]
    assert offers(folder, "events", "--type", "fire,s") == ["fire,send", "fire,switch"]
    assert offers(folder, "stats", "--thread", "") == []
    assert offers(folder, "stats", "--csv", "pes", "--pack") == ["--packet", "--packets"]
    assert offers(folder, "completion", "z") == ["zsh"]
    # The value of an option is no subcommand.
    assert offers(folder, "expect", "--rule", "plot", "--jun") == ["--junit"]


def test_bash_completes_names_of_files(folder):
    assert offers(folder, "info", "ru") == ["run.trace"]
    assert offers(folder, "info", "with") == ["with blank.trace"]
    assert "deep" in offers(folder, "stats", "-o", "")
    assert offers(folder, "stats", "--output", "=", "de") == ["deep"]


def simulator_offers(folder, *words):
    return offers(folder, *words, program="marrowfin-sim", file="completion-sim.bash")


def settings():
    """The options of the simulator, as it prints them."""
    text = subprocess.run([SIMULATOR, "--settings"], check=True, capture_output=True,
                          text=True).stdout
    names = [line.split()[0] for line in text.splitlines()]
    assert len(names) > 20
    return names


def test_bash_offers_every_setting_of_the_simulator_and_its_own_words(folder):
    own = ["--completion", "--help", "--options", "--settings", "--version"]
    assert simulator_offers(folder, "") == sorted(settings() + own)
    assert simulator_offers(folder, "--settings", "") == sorted(settings() + own)
    # Words of the program stand in front of the options.
    assert simulator_offers(folder, "-size", "4", "") == sorted(settings())
    assert simulator_offers(folder, "-array/pe") == [
        n for n in sorted(settings()) if n.startswith("-array/pe")]


def test_bash_completes_values_of_the_simulator(folder):
    assert simulator_offers(folder, "-program", "s") == ["sort", "spmv", "stencil"]
    assert simulator_offers(folder, "-placement", "r") == ["random", "row-major"]
    assert simulator_offers(folder, "-size", "4", "-companion", "") == ["false", "true"]
    assert simulator_offers(folder, "-size", "") == []
    assert simulator_offers(folder, "-outFilename", "ru") == ["run.trace"]
    assert simulator_offers(folder, "--completion", "") == ["bash", "zsh"]
    assert simulator_offers(folder, "--options", "wi") == ["with blank.trace"]
    assert simulator_offers(folder, "--options", "=", "wi") == ["with blank.trace"]
    assert "-size" in simulator_offers(folder, "--options", "run.trace", "")


def test_the_simulator_runs_with_all_that_is_offered(folder):
    for option in ("-program", "-placement", "-companion"):
        for value in simulator_offers(folder, option, ""):
            done = subprocess.run([SIMULATOR, "--settings", option, value], capture_output=True)
            assert done.returncode == 0, done.stderr
    for words in (["--completion"], ["--completion", "fish"], ["--completion", "bash", "-size"]):
        done = subprocess.run([SIMULATOR, *words], capture_output=True)
        assert done.returncode == 2 and done.stdout == b"" and b"--completion" in done.stderr


# zsh ----------------------------------------------------------------------------------------------


class Terminal:
    """A zsh that somebody types into."""

    PATIENCE = 60  # seconds, where nothing comes at all

    def __init__(self, folder):
        self.text = ""
        pid, self.descriptor = pty.fork()
        if pid == 0:
            os.chdir(folder)
            path = f"{folder}/bin:{os.environ['PATH']}"
            os.execve(tool("zsh"), ["zsh", "-f", "-i"],
                      {"PATH": path, "TERM": "dumb", "HOME": str(folder), "LANG": "C.UTF-8",
                       "COLUMNS": "200", "LINES": "100"})
        self.pid = pid
        self.type("PS1='READY> '; stty columns 200 rows 100; fpath=($PWD/functions $fpath); "
                  "autoload -Uz compinit; compinit -u -D; LISTMAX=1000; unsetopt LIST_BEEP; "
                  "bindkey '^I' complete-word; bindkey '^X' list-choices; echo SET''UP\n")
        self.wait("SETUP")
        self.wait("READY> ")

    def type(self, text):
        os.write(self.descriptor, text.encode())

    def wait(self, wanted):
        """Reads until a text has come, and forgets it and what came before."""
        end = time.monotonic() + self.PATIENCE
        while wanted not in self.text:
            left = end - time.monotonic()
            assert left > 0, f"{wanted!r} did not come: {self.text!r}"
            if select.select([self.descriptor], [], [], left)[0]:
                self.text += os.read(self.descriptor, 65536).decode(errors="replace")
        before, _, self.text = self.text.partition(wanted)
        return before + wanted

    def close(self):
        os.kill(self.pid, 9)
        os.waitpid(self.pid, 0)
        os.close(self.descriptor)


@pytest.fixture
def terminal(folder):
    terminal = Terminal(folder)
    yield terminal
    terminal.close()


@pytest.mark.parametrize("typed, completed", [
    ("marrowfin-trace ev", "ents "),
    ("marrowfin-trace expect --upd", "ate-baseline "),
    ("marrowfin-trace plot he", "at "),
    ("marrowfin-trace plot heat --no-cap", "tion "),
    ("marrowfin-trace stats --csv pe", "s "),
    ("marrowfin-trace stats --csv=pe", "s "),
    ("marrowfin-trace events --type fire,sw", "itch"),
    ("marrowfin-trace completion z", "sh "),
    ("marrowfin-trace info ru", "n.trace "),
    ("marrowfin-trace info wi", "th\\ blank.trace "),
    ("marrowfin-trace stats run.trace -o de", "ep/"),
    ("marrowfin-sim -prog", "ram "),
    ("marrowfin-sim -program st", "encil "),
    ("marrowfin-sim -size 4 -array/peL", "ink"),
    ("marrowfin-sim -placement gr", "eedy "),
    ("marrowfin-sim --options ru", "n.trace "),
    ("marrowfin-sim --compl", "etion "),
])
def test_zsh_completes_what_is_typed(terminal, typed, completed):
    terminal.type(typed)
    terminal.wait(typed)
    terminal.type("\t")
    terminal.wait(completed)


def test_zsh_lists_every_subcommand_with_what_it_does(terminal):
    terminal.type("marrowfin-trace \x18")
    for command in sorted(commands()):
        terminal.wait(f"\n{command} ")


def test_the_scripts_are_understood_by_their_shells(folder):
    for shell, name in (("bash", "completion.bash"), ("zsh", "functions/_marrowfin-trace"),
                        ("bash", "completion-sim.bash"), ("zsh", "functions/_marrowfin-sim")):
        done = subprocess.run([tool(shell), "-n", name], cwd=folder, capture_output=True, text=True)
        assert done.returncode == 0 and done.stderr == "", done.stderr
