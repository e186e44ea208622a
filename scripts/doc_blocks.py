#!/usr/bin/env python3
"""Compares the code and outputs in the pages with their sources.

    doc_blocks.py OUTPUTS             fails and says where a page differs
    doc_blocks.py OUTPUTS --update    corrects the pages

A cpp or xml block in a page comes after a comment that says where it is from:

    <!-- code FILE REGION -->        a region of a source: what is between the comments
                                     [REGION] and [end] in it, moved to the left
    <!-- output FILE [SECTION] -->   a file in the directory OUTPUTS, or the part of it below the
                                     line "== SECTION", up to the next such line

Other blocks may have one. Links within the repository must lead to a file, and to a heading
where they name one.
"""

import pathlib
import re
import subprocess
import sys
import textwrap

ROOT = pathlib.Path(__file__).resolve().parent.parent
SOURCE = re.compile(r"<!-- (code|output) (\S+)(?: (\S+))? -->")
HELD = ("cpp", "xml")
LINK = re.compile(r"\[[^\]]*\]\(([^)\s]+)\)")


def region(file, name):
    lines = (ROOT / file).read_text().splitlines()
    marks = [i for i, line in enumerate(lines) if f"[{name}]" in line.split()]
    if len(marks) != 1:
        raise LookupError(f"{file} has {len(marks)} regions [{name}]")
    found = []
    for line in lines[marks[0] + 1 :]:
        words = line.split()
        if "[end]" in words:
            return textwrap.dedent("\n".join(found)).strip("\n").splitlines()
        if not (len(words) in (2, 3) and re.fullmatch(r"\[[\w-]+\]", words[1])):
            found.append(line)
    raise LookupError(f"{file}: the region [{name}] has no end")


def output(directory, file, section):
    lines = (directory / file).read_text().splitlines()
    if section is None:
        return lines
    if f"== {section}" not in lines:
        raise LookupError(f"{file} has no section {section}")
    rest = lines[lines.index(f"== {section}") + 1 :]
    end = next((i for i, line in enumerate(rest) if line.startswith("== ")), len(rest))
    return rest[:end]


def blocks(lines):
    """The code blocks as (first line's index, end's index, language, the line above)."""
    start = None
    for i, line in enumerate(lines):
        if not line.startswith("```"):
            continue
        if start is None:
            start = i
        else:
            yield start + 1, i, lines[start][3:], lines[start - 1] if start else ""
            start = None


def check_blocks(page, directory, update):
    faults = []
    lines = page.read_text().splitlines()
    for first, end, language, above in reversed(list(blocks(lines))):
        source = SOURCE.fullmatch(above)
        if source is None:
            if language in HELD:
                faults.append((first, f"a {language} block without a source"))
            continue
        kind, file, name = source.groups()
        try:
            wanted = region(file, name) if kind == "code" else output(directory, file, name)
        except (OSError, LookupError) as error:
            faults.append((first, str(error)))
            continue
        if lines[first:end] != wanted:
            if update:
                lines[first:end] = wanted
            else:
                faults.append((first, f"differs from {kind} {file} {name or ''}"))
    if update:
        page.write_text("\n".join(lines) + "\n")
    return faults


def slugs(page):
    inside = False
    for line in page.read_text().splitlines():
        inside ^= line.startswith("```")
        if not inside and line.startswith("#"):
            title = re.sub(r"[^\w\- ]", "", line.lstrip("#").strip().lower())
            yield title.replace(" ", "-")


def check_links(page):
    faults = []
    for number, line in enumerate(page.read_text().splitlines()):
        for target in LINK.findall(line):
            if re.match(r"[a-z]+:", target):
                continue
            path, _, anchor = target.partition("#")
            file = (page.parent / path).resolve() if path else page
            if not file.exists():
                faults.append((number, f"leads nowhere: {target}"))
            elif anchor and anchor not in slugs(file):
                faults.append((number, f"no such heading: {target}"))
    return faults


def main():
    directory = pathlib.Path(sys.argv[1])
    update = "--update" in sys.argv[2:]
    listed = subprocess.run(["git", "ls-files", "*.md"], cwd=ROOT, text=True, check=True,
                            stdout=subprocess.PIPE).stdout.split()
    found = False
    for page in (ROOT / name for name in listed):
        for number, fault in sorted(check_blocks(page, directory, update) + check_links(page)):
            print(f"{page.relative_to(ROOT)}:{number + 1}: {fault}", file=sys.stderr)
            found = True
    sys.exit(1 if found else 0)


main()
