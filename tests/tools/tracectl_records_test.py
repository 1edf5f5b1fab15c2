#!/usr/bin/env python3
"""tracectl as a process: records of a door and of a ring.

tracectl_records_test.py PROGRAM RING_OF_TEXTS
"""

import contextlib
import csv
import io
import json
import os
import pathlib
import pty
import select
import shutil
import signal
import subprocess
import sys
import threading
import unittest
import urllib.parse

from fake_door import Answer, FakeDoor, refusal
from tracectl_case import DONE, NO_HOST, PROGRAM, REFUSED, Tracectl

RING_OF_TEXTS = sys.argv.pop(1)

TIME = "2024-03-07T10:15:30.123456Z"

# Messages of records as they are written, and as they are shown: one line without a control character each.
MESSAGES = [
    (b"Axis 3 started", "Axis 3 started"),
    (b"two\nlines\r\n", "two\\nlines\\r\\n"),
    (b"a|b||c|", "a|b||c|"),
    (b"\x1b[2J\x1b]0;title\x07 \x00 \x7f \xc2\x9b31m", "\\x1b[2J\\x1b]0;title\\x07 \\x00 \\x7f \\x9b31m"),
    (b"<script>alert(\"1\")</script> &amp; 'x', y", "<script>alert(\"1\")</script> &amp; 'x', y"),
    (b"", ""),
    (b"broken \xff\xc3 \xed\xa0\x80", "broken \ufffd\ufffd \ufffd\ufffd\ufffd"),
    ("\u00e4 \u20ac \U0001f600 \\n".encode(), "\u00e4 \u20ac \U0001f600 \\n"),
]


def record(message, severity="message", unit="axis.control", component=b"axis", file=b"main.cpp", line=b"12"):
    code = {"message": b"080A0112", "warning": b"080E0112", "error": b"080F0112"}[severity]
    return (b"\n%s||%s|Trace %s %s|||%s|machine|%s|%s|main|%s|%s" % (
        TIME.encode(), code, severity.encode(), unit.encode(), component, unit.encode(), file, line, message))


SEVERITIES = ["message", "warning", "error"]
# A zero byte would end a text on the way into the ring of these tests.
WRITTEN = [(message.replace(b"\x00", b"\x01"), shown.replace("\\x00", "\\x01")) for message, shown in MESSAGES]
RECORDS = [record(message, SEVERITIES[index % 3], "unit.%d" % index) for index, (message, _) in enumerate(WRITTEN)]
LINES = [f"{TIME} {SEVERITIES[index % 3][0]} unit.{index} {shown}\n" for index, (_, shown) in enumerate(WRITTEN)]
OTHERS = [b"\nERR: no\x1b record", b"\n" + b"|" * 13]
OTHER_LINES = ["ERR: no\\x1b record\n", "|" * 13 + "\n"]


def record_json(number, message="Axis 3 started", severity="message", unit="axis.control"):
    return {"number": number, "time": TIME, "severity": severity, "code": "080A0112",
            "title": f"Trace {severity} {unit}", "component": "", "snap": "", "unit": unit, "file": "", "function": "",
            "line": None, "message": message}


def line_of(number):
    return f"{TIME} m axis.control {number}\n"


class Ring(Tracectl):
    """dump and export without a host."""

    def setUp(self):
        super().setUp()
        self.ring = str(self.folder / "ring")
        subprocess.run([RING_OF_TEXTS, self.ring], input=b"\0".join(RECORDS + OTHERS) + b"\0", check=True)

    def of_ring(self, *arguments):
        return self.ctl(*arguments, "--ring", self.ring)

    def test_dump(self):
        everything = LINES + OTHER_LINES
        for arguments, lines in [
                (["--last", "100"], everything), ([], everything[-10:]), (["--last", "1"], everything[-1:]),
                (["--last", "100", "--severity", "w"], [line for line in LINES if line.split(" ")[1] in "we"]),
                (["--last", "2", "--severity", "e"], [LINES[2], LINES[5]]),
                (["--last", "100", "unit.?", "--grep", "(Axis|script)"], [LINES[0], LINES[4]]),
                (["--last", "100", "--grep", " e unit"], [LINES[2], LINES[5]]),
                (["--last", "1", "unit.*"], LINES[-1:]), (["nobody"], [])]:
            with self.subTest(arguments=arguments):
                self.assertEqual(self.of_ring("dump", *arguments), "".join(lines))

    def test_colour_comes_on_a_terminal_alone(self):
        shown = [f"\x1b[2m{line[:len(TIME)]}\x1b[0m {colour}{line[len(TIME) + 1:-1]}\x1b[0m\n"
                 for line, colour in zip(LINES[-3:], ["\x1b[1;31m", "", "\x1b[33m"])]
        for environment, lines in ({}, shown), ({"NO_COLOR": "1"}, LINES[-3:]), ({"NO_COLOR": ""}, shown):
            ours, terminal = pty.openpty()
            with self.subTest(environment), os.fdopen(ours, "rb", buffering=0) as output:
                subprocess.run([PROGRAM, "dump", "unit.?", "--last", "3", "--ring", self.ring], stdin=subprocess.DEVNULL,
                               stdout=terminal, check=True, timeout=60,
                               env={name: text for name, text in os.environ.items() if name != "NO_COLOR"} | environment)
                self.assertEqual(output.read(65536).decode().replace("\r\n", "\n"), "".join(lines))
                os.close(terminal)

    def test_json_is_one_object_a_line(self):
        for command in (["dump", "--last", "100"], ["export"]):
            lines = self.of_ring(*command, "--json").splitlines()
            objects = [json.loads(line) for line in lines]
            self.assertEqual([entry["number"] for entry in objects], list(range(1, len(RECORDS + OTHERS) + 1)))
            messages = [message.decode(errors="replace") for message, _ in WRITTEN]
            self.assertEqual([entry["message"].replace("\ufffd", "") for entry in objects[:len(RECORDS)]],
                             [message.replace("\ufffd", "") for message in messages])

    def test_csv_is_a_table(self):
        text = self.of_ring("export", "--csv")
        self.assertEqual(text.count("\r\n"), len(RECORDS + OTHERS) + 1)
        rows = list(csv.DictReader(io.StringIO(text, newline=""), strict=True))
        self.assertEqual([row["message"] for row in rows],
                         [shown for _, shown in WRITTEN] + [line[:-1] for line in OTHER_LINES])
        self.assertEqual({**rows[1], "message": ""},
                         {"number": "2", "time": TIME, "severity": "warning", "code": "080E0112",
                          "title": "Trace warning unit.1", "component": "axis", "snap": "machine", "unit": "unit.1",
                          "file": "main.cpp", "function": "main", "line": "12", "message": ""})

    @unittest.skipUnless(shutil.which("lnav"), "lnav is not installed")
    def test_lnav_reads_each_record(self):
        (self.folder / "records.log").write_text(self.of_ring("export", "--lnav"), encoding="utf-8")
        rows = self.lnav("SELECT unit, log_level, log_body FROM common_log_trace", self.folder / "records.log")
        levels = {"message": "info", "warning": "warning", "error": "error"}
        # What is no record belongs to the one above.
        shown = [shown for _, shown in WRITTEN]
        shown[-1] += "\n" + "".join(OTHER_LINES)[:-1]
        self.assertEqual([(row["unit"], row["log_level"], row["log_body"]) for row in rows],
                         [(f"unit.{index}", levels[SEVERITIES[index % 3]], text) for index, text in enumerate(shown)])

    def test_what_is_no_ring_is_told(self):
        for path in ("/no/ring", str(self.folder), __file__):
            self.assertIn(path, self.ctl("dump", "--ring", path, status=REFUSED))


class Records(Tracectl):
    """dump and export of a host."""

    COUNT = 250_000

    def answer(self, request, _):
        """Numbers from 1 to COUNT, of which the odd ones are those of "odd"."""
        if request.path == "/health":
            return Answer({"ring": {"file": "x", "first": 1, "last": self.COUNT}})
        query = {name: values[0] for name, values in urllib.parse.parse_qs(request.path.partition("?")[2]).items()}
        step = 2 if query.get("unit") == "odd" else 1
        numbers = range(1, self.COUNT + 1, step)
        if "last" in query:
            numbers = numbers[-int(query["last"]):]
        numbers = [number for number in numbers if number > int(query.get("after", 0))][:int(query["limit"])]
        return Answer("".join('{"number":%d,"text":"\\n%d"}\n' % (number, number) for number in numbers).encode())

    def test_asks_as_often_as_it_takes(self):
        text, calls = self.at(self.answer, "export", "--lnav")
        self.assertEqual(text.count("\n"), self.COUNT)
        self.assertEqual([call[1] for call in calls],
                         [f"/records?limit=100000&after={after}" for after in (0, 100000, 200000)])
        text, calls = self.at(self.answer, "dump", "--last", "3")
        self.assertEqual(text.split(), ["249998", "249999", "250000"])
        self.assertEqual([call[1] for call in calls], ["/records?limit=3&last=3"])
        text, calls = self.at(self.answer, "dump", "--last", "2", "--grep", "^7..$")
        self.assertEqual(text.split(), ["798", "799"])
        _, calls = self.at(self.answer, "dump", "a b*", "--severity", "w")
        self.assertEqual(calls[0][1], "/records?limit=10&last=10&unit=a%20b%2A&severity=w")

    def test_bad_answers(self):
        one = json.dumps(record_json(1)).encode() + b"\n"
        for body, complaint in [(b"{\n", "a record is no JSON"), (b"[]\n", "'number' is missing"),
                                (one + one, "not in order"), (one[:-1], "in the midst of a line"),
                                (one.replace(b'"message"', b'"loud"'), "a severity that there is not"),
                                (one.replace(b'""', b"3"), "is missing in it or is no text")]:
            with self.subTest(body=body):
                text, _ = self.at(lambda *_, body=body: Answer(body), "dump", status=REFUSED)
                self.assertIn(complaint, text)
        text, _ = self.at(lambda *_: refusal(404, "no_ring", "No ring"), "dump", status=REFUSED)
        self.assertEqual(text, "No ring")

    def test_a_gap_is_told(self):
        body = "".join(json.dumps(record_json(number, str(number))) + "\n" for number in (3, 4, 9)).encode()
        text, _ = self.at(lambda *_: Answer(body), "dump")
        self.assertEqual(text, line_of(3) + line_of(4) + "... 4 records missing\n" + line_of(9))


def event(data, kind="", number=None):
    return "".join([f"event: {kind}\n" if kind else "", f"id: {number}\n" if number else "",
                    f"data: {json.dumps(data) if not isinstance(data, str) else data}\n\n"]).encode()


def run_event(run, process, following):
    return event({"run": run, "process": process, "next": following}, "run")


def records_from(first, last):
    return b"".join(event(record_json(number, str(number)), number=number) for number in range(first, last + 1))


class Events(FakeDoor):
    """A door whose events a test sends."""

    def __init__(self, path, start):
        self.asked = []  # (target, Last-Event-ID) of each connection
        self.hasStream = threading.Condition()
        self.streams = []

        def serve(request, _):
            self.asked.append((request.path, request.headers.get("Last-Event-ID")))
            request.wfile.write(b"HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\n\r\n" + start)
            request.wfile.flush()
            with self.hasStream:
                self.streams.append(request.wfile)
                self.hasStream.notify_all()
            self.ended.wait(60)
        super().__init__(path, serve)

    def send(self, data, connection=0):
        with self.hasStream:
            self.hasStream.wait_for(lambda: len(self.streams) > connection, 60)
        self.streams[connection].write(data)
        self.streams[connection].flush()


class Tail(Tracectl):
    def start(self, *arguments):
        tail = subprocess.Popen([PROGRAM, "tail", *arguments, "--socket", self.socket], stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        limit = threading.Timer(60, tail.kill)  # so that no test waits for ever for a line that does not come
        limit.start()
        self.addCleanup(limit.cancel)
        self.addCleanup(tail.communicate)
        self.addCleanup(tail.kill)
        return tail

    def end(self, tail, status=DONE, sends=signal.SIGINT):
        """What it still had to say."""
        if sends:
            tail.send_signal(sends)
        output, errors = tail.communicate(timeout=60)
        self.assertEqual(tail.returncode, status, errors)
        return output, errors

    def read(self, tail, text):
        """Reads exactly this."""
        self.assertEqual("".join(tail.stdout.readline() for _ in text.splitlines()), text)

    def test_formats(self):
        start = run_event("a", 7, 9) + b": alive\r\n\r\n" + b"".join([
            event(record_json(1, "a\x1b\n", "error", "x"), number=1), event({"missed": 1}, "gap"),
            event({"missed": 2}, "gap"), event("{\"number\":5,\r\ndata:\t\"text\":\"\\nERR: \x7f\"}", number=5),
            event(record_json(6, "<b>"), number=6), event({}, "something new")])
        for arguments, text in [
                ([], f"{TIME} e x a\\x1b\\n\n... 3 records passed over\nERR: \\x7f\n{TIME} m axis.control <b>\n"),
                (["--grep", "<.>$"], f"... 3 records passed over\n{TIME} m axis.control <b>\n"),
                (["--json"], json.dumps(record_json(1, "a\x1b\n", "error", "x")) + '\n{"missed":3}\n'
                 '{"number":5,  "text":"\\nERR: \\u007f"}\n' + json.dumps(record_json(6, "<b>")) + "\n"),
                (["--lnav"], f"{TIME}||080A0112|Trace error x|||||x||||a\\x1b\\n\n... 3 records passed over\n"
                 f"ERR: \\x7f\n{TIME}||080A0112|Trace message axis.control|||||axis.control||||<b>\n")]:
            with self.subTest(arguments=arguments), Events(self.socket, start):
                tail = self.start(*arguments)
                self.read(tail, text)
                self.assertEqual(self.end(tail), ("", ""))

    def test_follows_the_next_run_of_the_host(self):
        tail = self.start("axis.*")
        self.assertEqual(tail.stderr.readline(), f"tracectl: no host answers at {self.socket}; waiting for one\n")
        with Events(self.socket, run_event("a", 7, 13) + records_from(11, 12)) as door:
            self.assertEqual(tail.stderr.readline(), "tracectl: the host is there: process 7\n")
            self.read(tail, line_of(11) + line_of(12))
            door.send(records_from(13, 13))
            self.read(tail, line_of(13))
        self.assertEqual(door.asked, [("/events?last=10&unit=axis.%2A", None)])
        self.assertIn("; waiting for one\n", tail.stderr.readline())
        with Events(self.socket, run_event("b", 8, 20) + records_from(14, 15)) as door:
            self.assertEqual(tail.stderr.readline(), "tracectl: the host was started again: process 8\n")
            self.read(tail, line_of(14) + line_of(15))
        self.assertEqual(door.asked, [("/events?unit=axis.%2A", "13")])
        self.end(tail)

    def test_follows_a_run_that_counts_anew(self):
        tail = self.start()
        with Events(self.socket, run_event("a", 7, 13) + records_from(11, 12)):
            self.read(tail, line_of(11) + line_of(12))
        with Events(self.socket, run_event("b", 8, 3) + records_from(1, 2)) as door:
            self.read(tail, line_of(1) + line_of(2))
        self.assertEqual(door.asked, [("/events", "12"), ("/events?after=0", None)])
        self.end(tail)

    def test_ends_quietly(self):
        for name, is_idle in (("idle", True), ("busy", False)):
            with self.subTest(name), Events(self.socket, run_event("a", 7, 2) + records_from(1, 1)) as door:
                tail = self.start()
                self.read(tail, line_of(1))
                tail.stdout.close()
                if not is_idle:
                    # It may have noticed already that nobody reads, and be gone.
                    with contextlib.suppress(BrokenPipeError, ConnectionResetError):
                        door.send(records_from(2, 3))
                self.assertEqual(tail.wait(60), DONE)
                self.assertEqual(tail.stderr.read(), "")
        for sent in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(sent), Events(self.socket, run_event("a", 7, 2) + records_from(1, 1)):
                tail = self.start()
                self.read(tail, line_of(1))
                self.assertEqual(self.end(tail, sends=sent), ("", ""))

    @unittest.skipUnless(shutil.which("lnav"), "lnav is not installed")
    def test_lnav_reads_what_it_wrote(self):
        with Events(self.socket, run_event("a", 7, 1)) as door:
            tail = self.start("--lnav")
            # The last event ends it.
            events = threading.Thread(target=lambda: [door.send(data) for data in (
                records_from(1, 2), records_from(3, 500), event("1", "run"))])
            events.start()
            written = self.folder / "tail.log"
            written.write_text(tail.communicate(timeout=60)[0], encoding="utf-8")
            events.join()
            self.assertEqual(tail.returncode, REFUSED)
            self.assertEqual(self.lnav("SELECT unit, log_body FROM common_log_trace", written),
                             [{"unit": "axis.control", "log_body": str(number)} for number in range(1, 501)])

    def test_a_slow_reader_gets_a_count(self):
        count = 100_000
        with Events(self.socket, run_event("a", 7, 1)) as door:
            tail = self.start()
            for first in range(1, count, 1000):
                door.send(records_from(first, first + 999))
            # Nobody reads yet, and what waits for that is given up after a while. The last ones are shown in any case.
            select.select([], [], [], 1.5)
            door.send(records_from(count + 1, count + 1))
            shown, passed_over, line = 0, 0, ""
            while line != line_of(count + 1):
                line = tail.stdout.readline()
                if line.startswith("... "):
                    passed_over += int(line.split()[1])
                else:
                    shown += 1
            self.assertEqual(shown + passed_over, count + 1)
            self.assertGreater(passed_over, count // 2)
            self.end(tail)

    def test_bad_events_end_it(self):
        for data, complaint in [(event("{", number=1), "a record is no JSON"), (event("1", "run"), "'run' is missing"),
                                (event({}, number="x"), "id of an event is no number"),
                                (event({}, "gap"), "'missed' is missing"), (b"data: " + b"x" * 17_000_000, "has no end")]:
            with self.subTest(complaint), Events(self.socket, data):
                self.assertIn(complaint, self.end(self.start(), REFUSED, None)[1])
        for answer, complaint in [(refusal(404, "no_ring", "There is no ring"), "There is no ring"),
                                  (Answer({}), "no event stream")]:
            text, _ = self.at(lambda *_, answer=answer: answer, "tail", status=REFUSED)
            self.assertIn(complaint, text)


if __name__ == "__main__":
    unittest.main()
