#!/usr/bin/env python3
"""Makes a manual page of what a program says to --help: manual_page.py PROGRAM VERSION OUTPUT

The help has to be as the parser of the command line lays it out: a description, the usage, sections that end with a
colon and hold indented entries, and paragraphs of text. Each entry of the section "Commands" is asked for its own help.
What stands behind "Status:" in a paragraph becomes the section of the exit status.
"""

import pathlib
import re
import subprocess
import sys

ENTRY = re.compile(r"  (\S.*?)(?:  +(\S.*))?")
STATUS = "Status: "


class Help:
    """The parts of one help text."""

    def __init__(self, command):
        lines = subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout.split("\n")
        usage = next(index for index, line in enumerate(lines) if line.startswith("Usage: "))
        self.description = " ".join(lines[:usage]).strip()
        self.usage = lines[usage].removeprefix("Usage: ")
        self.sections = {}  # name: entries as [name, text]
        self.paragraphs = []
        self._read(lines[usage + 1:])

    def _read(self, lines):
        section, paragraph = None, []
        for line in lines + [""]:
            if line.endswith(":") and not line.startswith(" ") and not paragraph:
                section = self.sections.setdefault(line[:-1], [])
            elif section is not None and (entry := ENTRY.fullmatch(line)):
                section.append([entry[1], entry[2] or ""])
            elif section and line.startswith("   ") and line.strip():
                section[-1][1] = f"{section[-1][1]} {line.strip()}".strip()
            elif line.strip():
                section = None
                paragraph.append(line)
            elif paragraph:
                self.paragraphs.append(" ".join(paragraph))
                paragraph = []


def roff(text):
    """A text as it stands, at the start of a line too."""
    escaped = text.replace("\\", "\\e").replace("-", "\\-")
    return "\\&" + escaped if escaped[:1] in (".", "'") else escaped


def entries(section, level):
    for name, text in section:
        if level == 0 or not name.endswith("--help"):
            yield from (".TP", f".B {roff(name)}", roff(text) or "\\&")


def body(text, level):
    """All but description and commands."""
    for name, section in text.sections.items():
        if name != "Commands":
            yield from ([f".SH {name.upper()}"] if level == 0 else []) + list(entries(section, level))
    parts = [paragraph.partition(STATUS) for paragraph in text.paragraphs]
    if any(before for before, _, _ in parts) and level == 0:
        yield ".SH NOTES"
    for before, _, _ in parts:
        if before:
            yield from (".PP", roff(before.strip()))
    for _, _, status in parts:
        if status:
            yield from (".SH EXIT STATUS", roff(status))


def page(program, version):
    name = pathlib.Path(program).name
    top = Help([program, "--help"])
    what = top.description.partition(".")[0]
    yield from (f'.TH {name.upper()} 1 "" "{name} {version}"', ".SH NAME",
                f"{name} \\- {roff(what[0].lower() + what[1:])}", ".SH SYNOPSIS", roff(top.usage),
                ".SH DESCRIPTION", roff(top.description))
    if "Commands" in top.sections:
        yield ".SH COMMANDS"
    for command, _ in top.sections.get("Commands", []):
        text = Help([program, command, "--help"])
        yield from (f'.SS "{roff(text.usage)}"', roff(text.description))
        yield from body(text, 1)
    yield from body(top, 0)


def main():
    program, version, output = sys.argv[1:]
    pathlib.Path(output).write_text("\n".join(page(program, version)) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main()
