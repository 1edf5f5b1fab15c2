#!/usr/bin/env python3
"""The reference host where it has its cycle, its standard input and its store, and no more.

tracehost_small_test.py SECONDS COMMAND...
"""

import os
import re
import subprocess
import sys
import tempfile

TIME = re.compile(rb"\d{4}-\d{2}-\d{2}T\d{2}:\d{2}:\d{2}\.\d{6}Z")
INPUT = b"first\n<4>a warning\r\n<3>\xc3\xa4n error | with 100%\nlast"
INPUT_RECORD = (b"||080%s0112|Trace %s input.stdin|||input|snap|input.stdin|inputs.cpp|tracehost::Inputs::traceLine|LINE"
                b"|%s")
INPUT_RECORDS = [INPUT_RECORD % parts for parts in (
    (b"A", b"message", b"first"), (b"E", b"warning", b"a warning"),
    (b"F", b"error", b"\xc3\xa4n error | with 100%"), (b"A", b"message", b"last"))]


def expect(condition, what):
    if not condition:
        sys.exit(str(what))


def run(command, *arguments, given=b""):
    environment = {**os.environ, "SNAP_NAME": "snap"}
    return subprocess.run([*command, *arguments], input=given, capture_output=True, env=environment, check=False)


def main():
    seconds, command = int(sys.argv[1]), sys.argv[2:]
    with tempfile.TemporaryDirectory() as folder:
        result = run(command, "--duration", f"{seconds}s", "--period", "5ms", "--state-dir", folder, "--state",
                     "cycle.wakeup=-", "--ring", "0", "--socket", "-", "--save", given=INPUT)
        expect(result.returncode == 0, result)
        # A line end stands ahead of each record, and none behind the last.
        empty, *lines = result.stderr.split(b"\n")
        expect(not empty and all(TIME.match(line) and line.count(b"|") >= 12 for line in lines), result.stderr)
        records = [re.sub(rb"::traceLine\|\d+\|", b"::traceLine|LINE|", TIME.sub(b"", line, 1)) for line in lines]
        of_input = [record for record in records if b"|input.stdin|" in record]
        expect(of_input == INPUT_RECORDS, of_input)
        summaries = [record for record in records if b"|cycle.summary|" in record]
        expect(0 < len(summaries) <= seconds, summaries)
        for record in summaries:
            expect(re.search(rb"\|cycles \d+, p50 \d+\.\d us, p99 \d+\.\d us, p99\.9 \d+\.\d us, worst \d+\.\d us$",
                             record), record)
        cycles, missed = re.match(rb"cycles: (\d+), missed: (\d+)\n", result.stdout).groups()
        expect(abs(int(cycles) + int(missed) - 200 * seconds) < 200, result.stdout)
        expect(b"\nlines of input.stdin: 4\n" in result.stdout and b"\r" not in result.stdout, result.stdout)
        expect(b", lost 0," in result.stdout, result.stdout)
        # What was saved at its end is there for the next one.
        table = run(command, "--state-dir", folder, "--list").stdout.decode().splitlines()
        rows = {row.split()[0]: row.split()[1:] for row in table}
        expect(rows["cycle.wakeup"] == ["mwe", "-", "-"], table)
        for option, value in (("--ring", "8MiB"), ("--socket", "door"), ("--follow", "log")):
            result = run(command, option, value, "--duration", "1ms")
            expect(result.returncode == 2 and not result.stdout, result)
            expect(re.fullmatch(rb"tracehost: %s: '%s' cannot be (had|followed) on this system\r?\n"
                                % (option.encode(), value.encode()), result.stderr), result)


if __name__ == "__main__":
    main()
