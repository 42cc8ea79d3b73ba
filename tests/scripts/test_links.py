"""Every relative link of a tracked Markdown file leads to a tracked file, and its anchor, if it has
one, to a heading there."""

import os
import pathlib
import re
import shutil
import subprocess
import urllib.parse

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]

FENCE = re.compile(r"^ {0,3}(```+|~~~+)")
CODE_SPAN = re.compile(r"(`+)(?!`).*?(?<!`)\1(?!`)")
INLINE = re.compile(r"\]\(\s*<?([^\s)>]+)>?(?:\s+[\"'(][^)]*)?\)")
DEFINITION = re.compile(r"^ {0,3}\[[^\]]+\]:\s*<?([^\s>]+)")
HTML = re.compile(r"<(?:a|img)\b[^>]*?\b(?:href|src)\s*=\s*[\"']([^\"']+)[\"']")
HEADING = re.compile(r"^ {0,3}#{1,6}\s+(.*?)\s*#*\s*$")
WITH_SCHEME = re.compile(r"^(?:[a-zA-Z][a-zA-Z0-9+.-]*:|//)")


def prose(text):
    """The lines outside fenced code."""
    fence = None
    for line in text.splitlines():
        mark = FENCE.match(line)
        if mark and fence is None:
            fence = mark.group(1)
        elif mark and mark.group(1).startswith(fence):
            fence = None
        elif fence is None:
            yield line


def links(text):
    for line in prose(text):
        line = CODE_SPAN.sub("", line)
        for pattern in (INLINE, DEFINITION, HTML):
            yield from (match.group(1) for match in pattern.finditer(line))


def anchors(text):
    """What the headings are called in links: lower case, hyphens for blanks, no punctuation, a
    number behind names that come again."""
    seen = {}
    for line in prose(text):
        heading = HEADING.match(line)
        if heading:
            title = re.sub(r"!?\[([^\]]*)\]\([^)]*\)", r"\1", heading.group(1))
            name = re.sub(r"[^\w\- ]", "", title.lower()).replace(" ", "-")
            count = seen.get(name, 0)
            seen[name] = count + 1
            yield f"{name}-{count}" if count else name


def tracked(project):
    """The tracked files of a project, and the folders that hold them."""
    result = subprocess.run(
        ["scripts/tracked-files"], cwd=project, capture_output=True, text=True, check=True
    )
    files = set(result.stdout.splitlines())
    return files, {str(parent) for file in files for parent in pathlib.PurePath(file).parents}


def broken_links(project):
    files, folders = tracked(project)
    for name in sorted(file for file in files if file.endswith(".md")):
        text = (project / name).read_text(encoding="utf-8")
        for link in links(text):
            if WITH_SCHEME.match(link):
                continue
            path, _, anchor = link.partition("#")
            path = urllib.parse.unquote(path)
            target = os.path.normpath(os.path.join(os.path.dirname(name), path)) if path else name
            if path.startswith("/") or target not in files | folders:
                yield f"{name}: {link}: no tracked file"
            elif anchor:
                page = project / target if target.endswith(".md") else None
                if not page or anchor not in anchors(page.read_text(encoding="utf-8")):
                    yield f"{name}: {link}: no such heading"


@pytest.fixture
def project(tmp_path):
    """A project of its own with the scripts and a page to link to."""
    shutil.copytree(ROOT / "scripts", tmp_path / "scripts")
    subprocess.run(["git", "init", "--quiet"], cwd=tmp_path, check=True)
    page = "# A page, and more\n## Twice\n## Twice\n```\n# no heading\n```\n"
    write(tmp_path, "docs/page.md", page)
    return tmp_path


def write(project, name, text):
    (project / name).parent.mkdir(exist_ok=True)
    (project / name).write_text(text, encoding="utf-8")
    subprocess.run(["git", "add", name], cwd=project, check=True)


def test_every_link_of_the_project_leads_somewhere():
    files, _ = tracked(ROOT)
    found = [
        link
        for name in files
        if name.endswith(".md")
        for link in links((ROOT / name).read_text(encoding="utf-8"))
    ]
    assert len(found) >= 10
    assert not list(broken_links(ROOT))


@pytest.mark.parametrize(
    "link",
    [
        "[a](docs/page.md)",
        "[a](./docs/../docs/page.md)",
        "[a](docs)",
        "[a](docs/)",
        "[a](docs/page.md#a-page-and-more)",
        "[a](docs/page.md#twice-1)",
        "[a](#here-it-is)\n# Here it is!",
        '[a](docs/page.md "a title")',
        "![a](docs/page.md)",
        "[a]: docs/page.md#twice",
        '<img src="docs/page.md">',
        "[a](https://example.org/none.md) <mailto:none@example.org> [b](//example.org/none)",
        "`[a](none.md)` ``[a](`none.md)``",
        "```\n[a](none.md)\n```",
        "~~~\n```\n[a](none.md)\n~~~",
    ],
)
def test_a_link_that_leads_somewhere_is_fine(project, link):
    write(project, "README.md", link + "\n")
    assert not list(broken_links(project))


@pytest.mark.parametrize(
    "link",
    [
        "[a](none.md)",
        "[a](page.md)",
        "[a](docs/none/page.md)",
        "[a](docs/page.md#none)",
        "[a](docs/page.md#twice-2)",
        "[a](docs/page.md#no-heading)",
        "[a](docs/page.md#A-page-and-more)",
        "[a](docs#twice)",
        "[a](#none)",
        "[a](/docs/page.md)",
        "[a](../README.md)",
        "[a](untracked.md)",
        '[a](none.md "a title")',
        "![a](docs/none.png)",
        "[a]: none.md",
        '<a href="none.md">',
        "`code` [a](none.md) `code`",
        "```\n```\n[a](none.md)",
    ],
)
def test_a_link_that_leads_nowhere_is_named(project, link):
    (project / "untracked.md").write_text("", encoding="utf-8")
    write(project, "README.md", link + "\n")
    assert len(list(broken_links(project))) == 1


def test_links_are_relative_to_the_file_that_has_them(project):
    write(project, "docs/other.md", "[a](page.md) [b](../docs/page.md#twice) [c](docs/page.md)\n")
    assert list(broken_links(project)) == ["docs/other.md: docs/page.md: no tracked file"]
