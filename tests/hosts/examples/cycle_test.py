#!/usr/bin/env python3
"""What hosts/examples/cycle.cpp writes has the same bytes on every system, but for its times.

cycle_test.py SECONDS COMMAND...
"""

import os
import re
import subprocess
import sys

TIME = re.compile(rb"^\d{4}-\d{2}-\d{2}T\d{2}:\d{2}:\d{2}\.\d{6}Z")
RECORD = b"||080A0112|Trace message axis.control|||axis|unknownSnap|axis.control|cycle.cpp|main|LINE|Cycle %d of axis: 0.125 mm"


def main():
    seconds = int(sys.argv[1])
    environment = {name: value for name, value in os.environ.items() if name != "SNAP_NAME"}
    result = subprocess.run([*sys.argv[2:], str(seconds)], capture_output=True, check=True, env=environment)
    # A line end stands ahead of each record, and none behind the last.
    empty, *lines = result.stderr.split(b"\n")
    if empty or not all(TIME.match(line) for line in lines):
        sys.exit(f"not a stream of records: {result.stderr[:200]}")
    of_unit = [re.sub(rb"\|main\|\d+\|", b"|main|LINE|", TIME.sub(b"", line)) for line in lines
               if b"|axis.control|" in line]
    expected = [RECORD % cycle for cycle in range(200 * seconds)]
    if of_unit != expected:
        difference = [pair for pair in zip(of_unit, expected) if pair[0] != pair[1]]
        sys.exit(f"{len(of_unit)} records of {len(expected)}, differing: {difference[:3]}")


if __name__ == "__main__":
    main()
