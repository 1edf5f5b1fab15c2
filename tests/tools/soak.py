#!/usr/bin/env python3
"""Whether a host's memory stays as it is: soak.py TRACEHOST [SECONDS]

2,000 records a second by its standard input, 5 readers of events, a switch each second, behind a warm-up of 20 s with
more records. From there on it must not grow by a megabyte, and each reader must have got every record, or word of those
that it was too slow for.
"""

import itertools
import json
import pathlib
import re
import signal
import statistics
import subprocess
import sys
import tempfile
import threading
import time

from unix_http import Connection

LINES_A_SECOND = 2000
READERS = 5
# In the warm-up the ring and what the door keeps of it are filled, and the numbers of the records get the digits that
# they have at the end: one more in each of those that are kept takes more room.
WARM_UP = 20  # seconds, in the last five of which readers that were too slow come up
LINES_OF_WARM_UP = 7000  # a second
SAMPLES = 5  # seconds at the end, of which the median counts
MOST_MORE = 1_000_000
PAUSE = 0.01


class Reader(threading.Thread):
    """Takes all events from the first record on."""

    def __init__(self, path):
        super().__init__(daemon=True)
        self.connection = Connection(path)
        self.last, self.records, self.missed, self.faults = None, 0, 0, []

    def run(self):
        answer = self.connection.send_request("GET", "/events")
        while line := answer.readline():
            if line.startswith(b'data: {"missed": '):
                missed = int(line[17:-2])
                self.missed += missed
                self.last += missed
            elif line.startswith(b"id: "):
                number = int(line[4:])
                if self.last not in (None, number - 1):
                    self.faults.append(f"{number} behind {self.last}")
                self.last = number
                self.records += 1


def memory_of(process):
    """Resident bytes. The share that smaps tells depends on who else uses the same libraries just then."""
    text = pathlib.Path(f"/proc/{process}/status").read_text(encoding="ascii")
    return int(re.search(r"^VmRSS:\s+(\d+) kB$", text, re.MULTILINE)[1]) * 1024


def wait_for_door(path, host):
    limit = time.monotonic() + 60
    while True:
        try:
            return Connection(path).ask("GET", "/health")
        except OSError:
            assert host.poll() is None and time.monotonic() < limit, "there is no door"
            time.sleep(0.05)


def feed(host, seconds):
    """Writes the lines, each block at its time."""
    start = time.monotonic()
    for from_second, to_second, rate in ((0, WARM_UP - 5, LINES_OF_WARM_UP),
                                         (WARM_UP - 5, WARM_UP + seconds, LINES_A_SECOND)):
        block = int(rate * PAUSE)
        for number in range(0, (to_second - from_second) * rate, block):
            time.sleep(max(0.0, start + from_second + number / rate - time.monotonic()))
            host.stdin.write(b"".join(b"line %08d of the soak, as long as lines of a log are in the mean, or so\n" % i
                                      for i in range(number, number + block)))
            host.stdin.flush()


def main():
    program, seconds = sys.argv[1], int(sys.argv[2]) if len(sys.argv) > 2 else 120
    with tempfile.TemporaryDirectory(prefix="soak") as folder:
        path = f"{folder}/host.sock"
        host = subprocess.Popen([program, "--socket", path, "--state-dir", f"{folder}/state", "--ring", "4MiB",
                                 "--duration", "0"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                stderr=subprocess.DEVNULL)
        try:
            units = wait_for_door(path, host)["units"]
            readers = [Reader(path) for _ in range(READERS)]
            for reader in readers:
                reader.start()
            feeder = threading.Thread(target=feed, args=(host, seconds))
            start = time.monotonic()
            feeder.start()
            samples = []
            door = Connection(path)
            for second in itertools.count(1):
                time.sleep(max(0.0, start + second - time.monotonic()))
                if not feeder.is_alive():
                    break
                door.ask("PUT", f"/nodes/{units}/cycle{'?for=3' if second % 3 else ''}", json.dumps(second % 2 == 0))
                samples.append(memory_of(host.pid))
            limit = time.monotonic() + 60
            last = door.ask("GET", "/health")["ring"]["last"]
            while min(reader.last or 0 for reader in readers) < last:
                assert time.monotonic() < limit, f"readers are at {[reader.last for reader in readers]} of {last}"
                time.sleep(0.05)
            host.send_signal(signal.SIGTERM)
            summary = host.communicate(timeout=60)[0].decode()
            assert host.returncode == 0, f"status {host.returncode}: {summary}"
        finally:
            host.kill()
    before = min(samples[WARM_UP:2 * WARM_UP])
    after = statistics.median(samples[-SAMPLES:])
    lines = (WARM_UP - 5) * LINES_OF_WARM_UP + (seconds + 5) * LINES_A_SECOND
    faults = [fault for reader in readers for fault in reader.faults]
    least = min(reader.records for reader in readers)
    most_missed = max(reader.missed for reader in readers)
    print(summary)
    print("MB by second:", " ".join(f"{sample / 1e6:.2f}" for sample in samples))
    print(f"seen: {seconds} s behind {WARM_UP} s, {lines} lines, {len(samples)} switches, {READERS} readers of {least} "
          f"records or more, told of {most_missed} or less that they were too slow for; {before / 1e6:.2f} MB at first, "
          f"{after / 1e6:.2f} MB at the end")
    if faults or any(reader.records + reader.missed < lines for reader in readers):
        sys.exit(f"Records that did not come, and no word of it: {faults[:10]}")
    if after - before >= MOST_MORE:
        sys.exit(f"It has grown by {(after - before) / 1e6:.2f} MB")


if __name__ == "__main__":
    main()
