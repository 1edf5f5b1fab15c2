#!/usr/bin/env python3
"""lnav reads every record of a stream with the format file of tools/lnav.

lnav_format_test.py PROGRAM: PROGRAM writes the stream to standard error. Status 77, that is skipped, without lnav.
"""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

FORMAT = pathlib.Path(__file__).resolve().parents[2] / "tools" / "lnav" / "common_log_trace.json"
SKIPPED = 77
RECORD = re.compile(r"\d{4}-\d{2}-\d{2}T[0-9:.]+Z\|\|[0-9A-F]{8}\|Trace ")

# Title without the unit, level of lnav.
LEVELS = {"Trace message ": "info", "Trace warning ": "warning", "Trace error ": "error"}

# Records in which a field holds a separator, so that it takes their writer to tell the fields: by their message.
WITH_SEPARATORS = {
    "a field with separators": {
        "unit": 'odd|unit [0] "x"', "component": "left|right", "snap": "machine", "file": "main.cpp",
        "function": "f<'|'>", "line": "16", "log_level": "warning", "code": "080E0112"},
}

PROGRAM = ""


def fields_of(record):
    """What lnav shall make of a record without separators ahead of its message."""
    _, _, code, title, _, _, component, snap, unit, file, function, line, message = record.split("|", 12)
    level = next(level for start, level in LEVELS.items() if title == start + unit)
    return {"log_level": level, "code": code, "title": title, "component": component, "snap": snap, "unit": unit,
            "log_opid": unit, "file": file, "function": function, "line": line, "log_body": message}


class LnavFormat(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="lnav")
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        cls.environment = {**os.environ, "HOME": folder.name, "XDG_CONFIG_HOME": folder.name, "TERM": "dumb",
                           "LC_ALL": "C.UTF-8"}
        cls.lnav("-i", FORMAT)  # fails where a sample of the file is not read as it says there
        stream = subprocess.run([PROGRAM], stderr=subprocess.PIPE, check=True).stderr.decode()
        # As the page beside the format file says: without the empty first line.
        cls.lines = subprocess.run(["sed", "-u", "1d"], input=stream, capture_output=True, text=True,
                                   check=True).stdout.split("\n")
        (cls.folder / "records.log").write_text("\n".join(cls.lines) + "\n", encoding="utf-8")

    @classmethod
    def lnav(cls, *arguments):
        result = subprocess.run(["lnav", *arguments], env=cls.environment, stdin=subprocess.DEVNULL,
                                capture_output=True, text=True, check=False)
        # In this mode lnav also answers an error with status 0.
        if result.returncode != 0 or "error:" in result.stderr + result.stdout.split("\n", 1)[0]:
            raise AssertionError(result.stdout + result.stderr)
        return result.stdout

    def query(self, statement):
        return json.loads(self.lnav("-n", "-c", ";" + statement, "-c", ":write-json-to -",
                                    self.folder / "records.log"))

    def test_each_record_is_read_with_its_fields(self):
        rows = self.query("SELECT log_level, log_opid, log_body, * FROM common_log_trace")
        records = [line for line in self.lines if RECORD.match(line)]
        self.assertGreater(len(records), 10)
        self.assertEqual(len(rows), len(records))
        for row, record in zip(rows, records):
            message = row["log_body"].split("\n")[0]
            with self.subTest(record=record):
                expected = WITH_SEPARATORS.get(message) or fields_of(record)
                self.assertEqual({name: row[name] for name in expected} | {"log_body": message},
                                 expected | {"log_body": message})
                self.assertTrue(record.endswith("|" + message))

    def test_no_line_is_left_over(self):
        rows = self.query("SELECT log_format, log_level, log_text FROM all_logs")
        self.assertEqual({row["log_format"] for row in rows}, {"common_log_trace"})
        self.assertEqual("\n".join(row["log_text"] for row in rows).split("\n"), self.lines)
        # What is no record hangs on the one above it.
        self.assertTrue(all(RECORD.match(row["log_text"]) for row in rows))
        others = [line for line in self.lines if not RECORD.match(line)]
        self.assertTrue(others)
        self.assertTrue(all(line.startswith("ERR: ") for line in others), others)


if __name__ == "__main__":
    if shutil.which("lnav") is None:
        print("lnav is not installed")
        sys.exit(SKIPPED)
    PROGRAM = sys.argv.pop(1)
    unittest.main()
