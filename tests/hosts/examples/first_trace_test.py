#!/usr/bin/env python3
"""The first program of the README is hosts/examples/first_trace.cpp, and what it writes is what the README says.

first_trace_test.py PROGRAM
"""

import os
import pathlib
import re
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[3]
SOURCE = (ROOT / "hosts/examples/first_trace.cpp").read_text(encoding="utf-8")
README = (ROOT / "README.md").read_text(encoding="utf-8")
TIME = re.compile(r"^\d{4}-\d{2}-\d{2}T\d{2}:\d{2}:\d{2}\.\d{6}Z", re.MULTILINE)


def records_of_unit(**environment):
    """What the program writes for its unit, without the times, sorted: the two records take different roads."""
    inherited = {name: value for name, value in os.environ.items() if name != "SNAP_NAME"}
    result = subprocess.run([PROGRAM], capture_output=True, text=True, check=True, env={**inherited, **environment})
    return sorted(line for line in TIME.sub("T", result.stderr).split("\n") if "|axis.control|" in line)


def unmixed_records_of_unit(expected, **environment):
    """The same of the first of ten runs that gives the expected: nothing keeps the worker's word of its start out of a
    record of another thread, since the program has no tap."""
    for _ in range(10):
        records = records_of_unit(**environment)
        if records == expected:
            break
    return records


class FirstTrace(unittest.TestCase):
    def setUp(self):
        code, records = re.search(r"\n```cpp\n(.*?)```\n\n((?:    [^\n]*\n)+)", README, re.DOTALL).groups()
        self.code = code
        self.records = sorted(TIME.sub("T", line.strip()) for line in records.splitlines())

    def test_is_the_program_of_the_readme_in_at_most_ten_lines(self):
        self.assertEqual(self.code, SOURCE)
        self.assertLessEqual(len([line for line in SOURCE.splitlines() if line]), 10)

    def test_writes_what_the_readme_says(self):
        self.assertEqual(unmixed_records_of_unit(self.records), self.records)

    def test_says_the_snap_name_of_its_environment(self):
        expected = [record.replace("|unknownSnap|", "|machine|") for record in self.records]
        self.assertEqual(unmixed_records_of_unit(expected, SNAP_NAME="machine"), expected)


if __name__ == "__main__":
    PROGRAM = sys.argv.pop(1)
    unittest.main()
