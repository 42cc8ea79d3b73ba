"""The recorded answers of the protocol, asked of the server. MARROWFIN_KEEP_ANSWERS=1 records them anew."""

import json
import math
import os
import pathlib
import subprocess

import pytest
from client import PROGRAM, Server, record

FOLDER = pathlib.Path(__file__).parents[1] / "conformance"


def plain(value):
    """JSON has no numbers that are none."""
    return None if isinstance(value, float) and math.isnan(value) else value


@pytest.mark.parametrize("packed", [False, True])
def test_every_recorded_question_has_its_recorded_answer(tmp_path, packed):
    cases = json.loads((FOLDER / "questions.json").read_text(encoding="utf-8"))
    trace = tmp_path / "t.trace"
    trace.write_bytes(b"".join(record(kind, *map(int, numbers))
                               for kind, *numbers in (line.split() for line in cases["trace"])))
    if packed:
        tool = pathlib.Path(PROGRAM).with_name("marrowfin-trace")
        trace.rename(tmp_path / "raw")
        subprocess.run([tool, "pack", tmp_path / "raw", "-o", trace], check=True, capture_output=True)
    answers = []
    with Server(trace) as server:
        server.until_ready()
        for question in cases["questions"]:
            shape = {} if question["ask"] in ("trace", "palette", "activity", "counter", "nothing") else \
                {"shape": cases["shape"]}
            answer = server.ask(**question, **shape)
            answer.head.get("error", {}).pop("file", None)
            answer.head.pop("columns")
            columns = {name: [plain(value) for value in values] for name, values in answer.columns.items()}
            answers.append({"question": {**question, **shape}, "head": answer.head, "columns": columns})
    if os.environ.get("MARROWFIN_KEEP_ANSWERS"):
        text = ",\n".join(json.dumps(answer, sort_keys=True) for answer in answers)
        (FOLDER / "answers.json").write_text(f"[\n{text}\n]\n", encoding="utf-8")
    recorded = json.loads((FOLDER / "answers.json").read_text(encoding="utf-8"))
    assert len(recorded) == len(answers)
    for expected, answer in zip(recorded, json.loads(json.dumps(answers))):
        assert answer == expected, expected["question"]
