#!/usr/bin/env python3
"""The manual pages hold what the programs say to --help: manual_page_test.py FOLDER_OF_PAGES PROGRAM..."""

import pathlib
import re
import shutil
import subprocess
import sys
import unittest

FOLDER, *PROGRAMS = (pathlib.Path(argument) for argument in sys.argv[1:])


def help_of(*command):
    return subprocess.run([*command, "--help"], stdout=subprocess.PIPE, text=True, check=True).stdout


def words(text):
    return re.findall(r"\S+", text)


class ManualPages(unittest.TestCase):
    def test_every_word_of_the_help_stands_in_the_page(self):
        for program in PROGRAMS:
            page = (FOLDER / f"{program.name}.1").read_text(encoding="utf-8")
            shown = " ".join(words(page.replace("\\-", "-").replace("\\e", "\\").replace("\\&", "")))
            top = help_of(program)
            commands = re.findall(r"^  ([a-z]+) ", top.partition("Commands:\n")[2].partition("\n\n")[0], re.MULTILINE)
            for command in [[], *([name] for name in commands)]:
                for line in help_of(program, *command).split("\n"):
                    if not line.endswith(":") and not (command and "--help" in line):
                        for part in re.split(r"  +", line.strip().removeprefix("Usage: ").replace("Status: ", "  ")):
                            with self.subTest(program=program.name, command=command, part=part):
                                self.assertIn(part, shown)

    @unittest.skipUnless(shutil.which("groff"), "groff is not installed")
    def test_the_formatter_has_nothing_to_say(self):
        for program in PROGRAMS:
            result = subprocess.run(["groff", "-man", "-Tutf8", "-ww", "-z", FOLDER / f"{program.name}.1"],
                                    capture_output=True, text=True, check=True)
            self.assertEqual(result.stderr, "")

    def test_the_sections_that_every_page_has(self):
        for program in PROGRAMS:
            page = (FOLDER / f"{program.name}.1").read_text(encoding="utf-8")
            sections = re.findall(r"^\.SH (.*)", page, re.MULTILINE)
            for section in ("NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS"):
                self.assertEqual(sections.count(section), 1, sections)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
