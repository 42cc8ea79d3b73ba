"""marrowfin-trace render: films and sheets, picture by picture against pictures of one moment."""

import os
import signal
import stat
import struct
import subprocess
import time

import numpy
import pytest
from PIL import Image, ImageSequence

PROGRAM = os.environ["MARROWFIN_TRACE"]
SHAPE = ("-c", "2", "-d", "2", "-p", "4")


def record(kind, cycle, thread, *words):
    return struct.pack(f">IQII{len(words)}I", kind, cycle, thread, 4 * len(words), *words)


def busy_trace(cycles):
    """Something of everything in each cycle; of every third one nothing."""
    parts = [record(3, 0, 0, 0, 0)]
    for cycle in range(1, cycles):
        if cycle % 3:
            parts.append(record(3, cycle, cycle, cycle % 16, cycle // 5 % 16))
            parts.append(record(2, cycle, cycle + 1, 4 + cycle % 2 * 8, 4))
            parts.append(record(4, cycle, 0, cycle % 16, 3, 15 - cycle % 16, 12))
    return b"".join(parts)


@pytest.fixture
def folder(tmp_path):
    (tmp_path / "t.trace").write_bytes(busy_trace(60))
    return tmp_path


def environment(**changes):
    sanitizer = os.environ.get("ASAN_OPTIONS", "")
    # What draws leaves memory to the end of the process.
    options = f"{sanitizer}:detect_leaks=0".lstrip(":")
    return dict(os.environ, ASAN_OPTIONS=options, **changes)


def render(folder, *words, status=0, **changes):
    result = subprocess.run(
        [PROGRAM, "render", "t.trace", *SHAPE, *words, "--force"],
        cwd=folder,
        env=environment(**changes),
        capture_output=True,
        timeout=100,
        check=False,
    )
    assert result.returncode == status, result.stderr
    return result


def picture(folder, *words):
    render(folder, *words, "-o", "one.png")
    with Image.open(folder / "one.png") as image:
        return numpy.array(image)


def frames(path):
    with Image.open(path) as film:
        return [numpy.array(frame.convert("RGB")) for frame in ImageSequence.Iterator(film)]


def only(folder, *names):
    """Whether nothing else is in the folder: what was given and the index that was made."""
    return sorted(path.name for path in folder.iterdir()) == sorted(
        ["t.trace", "t.trace.mfindex", *names]
    )


@pytest.mark.parametrize("format", ["gif", "apng"])
def test_every_frame_is_the_picture_of_its_step(folder, format):
    render(folder, "--from", "3", "--to", "17", "-o", f"a.{format}")
    shown = frames(folder / f"a.{format}")
    assert len(shown) == 15
    for step, frame in enumerate(shown, 3):
        assert (frame == picture(folder, "--step", str(step))).all(), step
        assert (frame != picture(folder, "--step", str(step + 1))).any(), "the control"


def test_a_film_is_of_all_steps_that_the_viewer_draws_unless_some_are_named(folder):
    render(folder, "-o", "a.apng")
    shown = frames(folder / "a.apng")
    assert len(shown) == 41  # of 40 cycles with events, and the array as built
    assert (shown[-1] == picture(folder, "--step", "40")).all()
    render(folder, "--step", "41", "-o", "b.png", status=1)


@pytest.mark.parametrize("every", [2, 7, 33])
def test_steps_may_be_passed_over(folder, every):
    render(folder, "--every", str(every), "--to", "39", "-o", "a.apng")
    shown = frames(folder / "a.apng")
    assert len(shown) == 39 // every + 1
    for number, frame in enumerate(shown):
        assert (frame == picture(folder, "--step", str(number * every))).all()


def test_by_cycles_a_cycle_without_events_has_a_frame_too(folder):
    render(folder, "--cycles", "--from", "10", "--to", "14", "-o", "a.apng")
    shown = frames(folder / "a.apng")
    assert len(shown) == 5
    for cycle, frame in enumerate(shown, 10):
        assert (frame == picture(folder, "--cycle", str(cycle))).all()
    assert (shown[2] == shown[1]).all(), "nothing happens in cycle 12"
    assert (shown[3] != shown[2]).any()


def test_the_viewers_options_count_for_films(folder):
    words = ("-F", "20", "--size", "300x200", "--spin", "40")
    render(folder, *words, "--from", "2", "--to", "4", "-o", "a.apng")
    for step, frame in enumerate(frames(folder / "a.apng"), 2):
        assert (frame == picture(folder, *words, "--step", str(step))).all()


@pytest.mark.parametrize("format, codec", [("mp4", "h264"), ("webm", "vp9")])
def test_a_film_for_players_has_its_pictures_and_its_pace(folder, format, codec):
    render(folder, "--to", "19", "--fps", "30", "--size", "201x151", "-o", f"a.{format}")
    probe = subprocess.run(
        ["ffprobe", "-v", "error", "-count_frames", "-of", "csv=p=0", "-show_entries"]
        + ["stream=codec_name,width,height,r_frame_rate,nb_read_frames", folder / f"a.{format}"],
        capture_output=True,
        text=True,
        check=True,
    )
    # Sides of odd length get one white pixel more.
    assert probe.stdout.strip() == f"{codec},202,152,30/1,20"
    subprocess.run(
        ["ffmpeg", "-v", "error", "-i", folder / f"a.{format}", folder / "f%d.png"], check=True
    )
    with Image.open(folder / "f20.png") as image:
        last = numpy.array(image.convert("RGB"))[:151, :201].astype(int)
    expected = picture(folder, "--step", "19", "--size", "201x151")
    assert abs(last - expected).mean() < 6
    assert abs(last - picture(folder, "--step", "1", "--size", "201x151")).mean() > 6, "the control"


@pytest.mark.parametrize("format", ["mp4", "webm", "gif", "apng"])
def test_the_same_options_give_the_same_bytes_also_on_standard_output(folder, format):
    render(folder, "--to", "9", "-o", f"a.{format}")
    result = render(folder, "--to", "9", "-o", "-", "--film", format)
    assert result.stdout == (folder / f"a.{format}").read_bytes()
    assert result.stderr == b""


def test_a_sheet_has_pictures_row_by_row_from_the_first_moment_to_the_last(folder):
    sheet = picture(folder, "--sheet", "3x2", "--from", "5", "--to", "30")
    assert sheet.shape == (2 * 208, 3 * 208, 3)
    for number, step in enumerate((5, 10, 15, 20, 25, 30)):
        row, column = divmod(number, 3)
        tile = sheet[row * 208 : (row + 1) * 208, column * 208 : (column + 1) * 208]
        assert (tile == picture(folder, "--step", str(step))).all(), step


def test_a_sheet_of_more_places_than_moments_is_white_where_none_is(folder):
    sheet = picture(folder, "--sheet", "2x2", "--from", "5", "--to", "7", "--size", "100x90")
    assert sheet.shape == (180, 200, 3)
    assert (sheet[90:, 100:] == 255).all()
    assert (sheet[90:, :100] == picture(folder, "--step", "7", "--size", "100x90")).all()


REFUSED = [
    (("--from", "5", "--to", "4", "-o", "a.gif"), b"--from lies behind --to"),
    (("--cycles", "-F", "3", "-o", "a.gif"), b"no skipping to a cycle"),
    (("--step", "3", "-o", "a.gif"), b"ask for a picture of one moment"),
    (("--step", "3", "--from", "3", "-o", "a.png"), b"a picture shows one moment"),
    (("--sheet", "2x2", "-o", "a.mp4"), b"a sheet is a picture and no film"),
    (("--sheet", "2x2", "--film", "gif", "-o", "a.png"), b"a sheet is a picture and no film"),
    (("--sheet", "0x2", "-o", "a.png"), b"is no size"),
    (("--sheet", "100x100", "-o", "a.png"), b"longer than 16384"),
    (("--every", "0", "-o", "a.gif"), b"--every"),
    (("--fps", "0", "-o", "a.gif"), b"--fps"),
    (("--film", "avi", "-o", "a.avi"), b"--film"),
]


@pytest.mark.parametrize("words, reason", REFUSED)
def test_what_is_not_clear_is_refused_and_nothing_written(folder, words, reason):
    assert reason in render(folder, *words, status=2).stderr
    assert not list(folder.glob("a.*"))


def test_steps_that_are_never_drawn_are_in_no_film(folder):
    result = render(folder, "--to", "41", "-o", "a.gif", status=1)
    assert result.stderr == (
        b"marrowfin-trace: t.trace: the viewer draws no step 41: the last is step 40\n"
        b"  Ask for steps up to that.\n"
    )
    render(folder, "--from", "99", "-o", "a.gif", status=1)
    assert only(folder)


def test_of_a_broken_trace_a_film_must_end_before_the_break(folder):
    (folder / "t.trace").write_bytes(busy_trace(60)[:-5])
    assert b"Give --to" in render(folder, "-o", "a.apng", status=1).stderr
    assert b"Give --to" in render(folder, "--cycles", "-o", "a.apng", status=1).stderr
    assert only(folder)
    render(folder, "--to", "20", "-o", "a.apng")
    assert len(frames(folder / "a.apng")) == 21


def fake_ffmpeg(folder, script):
    program = folder / "bin" / "ffmpeg"
    program.parent.mkdir()
    program.write_text("#!/bin/sh\n" + script)
    program.chmod(program.stat().st_mode | stat.S_IXUSR)
    return {"PATH": f"{program.parent}:/usr/bin:/bin"}


def test_a_missing_ffmpeg_is_told(folder):
    (folder / "empty").mkdir()
    result = render(folder, "-o", "a.mp4", status=3, PATH=str(folder / "empty"))
    assert result.stderr == (
        b"marrowfin-trace: ffmpeg: cannot start: No such file or directory\n"
        b"  Install ffmpeg, which makes films.\n"
    )
    assert only(folder, "empty")


FAILING = {
    "complains at once": ("echo no such codec >&2; exit 1", b"ffmpeg: no such codec"),
    "complains at the end": ("cat >/dev/null; echo disk full >&2; exit 1", b"ffmpeg: disk full"),
    "dies": ("kill -9 $$", b"ffmpeg: ended without a word"),
    "makes nothing": ("cat >/dev/null", b"ffmpeg: made nothing"),
}


@pytest.mark.parametrize("script, reason", FAILING.values(), ids=FAILING.keys())
def test_an_ffmpeg_that_fails_is_told_and_what_was_there_stays(folder, script, reason):
    (folder / "a.mp4").write_bytes(b"before")
    result = render(folder, "-o", "a.mp4", status=3, **fake_ffmpeg(folder, script))
    assert reason in result.stderr
    assert (folder / "a.mp4").read_bytes() == b"before"
    assert only(folder, "a.mp4", "bin")


def test_an_interrupted_film_leaves_nothing_behind(folder):
    (folder / "t.trace").write_bytes(busy_trace(30000))
    began = folder / "began"
    changes = fake_ffmpeg(folder, f"echo $$ > {began}; exec cat >/dev/null")
    with subprocess.Popen(
        [PROGRAM, "render", "t.trace", *SHAPE, "--size", "1000x1000", "-o", "a.mp4"],
        cwd=folder,
        env=environment(**changes),
        stderr=subprocess.DEVNULL,
    ) as process:
        while not (began.exists() and began.read_text().strip()):
            assert process.poll() is None
            time.sleep(0.01)
        process.send_signal(signal.SIGINT)
        assert process.wait(timeout=60) == -signal.SIGINT
    assert only(folder, "began", "bin")
    assert not os.path.exists(f"/proc/{began.read_text().strip()}")
