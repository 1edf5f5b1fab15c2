#!/usr/bin/env python3
"""tracectl and a running tracehost: tracectl_host_test.py TRACECTL TRACEHOST"""

import contextlib
import json
import os
import pathlib
import re
import select
import signal
import subprocess
import sys
import threading
import unittest

from tracectl_case import PROGRAM, REFUSED, Tracectl
from unix_http import Connection

HOST = sys.argv.pop(1)

README = (pathlib.Path(__file__).resolve().parents[2] / "README.md").read_text(encoding="utf-8")

# Lines of an input, and as they are shown.
LINES = [(b"a\x1b[2Jb|<b>\xff", "a\\x1b[2Jb|<b>\ufffd"), (b"", ""), (b"\xc2\x9b\tx", "\\x9b\\tx"), (b"last", "last")]


class RunningHost(Tracectl):
    def setUp(self):
        super().setUp()
        self.host, self.reader = None, None
        self.start()

    def command(self):
        # Only the input traces, so that nothing depends on the time.
        return [HOST, "--socket", self.socket, "--state-dir", self.folder / "state", "--priority", "0", "--duration", "0",
                "--ring", "1MiB", "--state", "cycle.*=-"]

    def start(self, *before):
        self.host = subprocess.Popen(
            [*before, *self.command()],
            stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        limit = threading.Timer(60, self.host.kill)
        limit.start()
        self.addCleanup(limit.cancel)
        self.addCleanup(self.stop, self.host, signal.SIGTERM)
        errors = b""
        while b"Version " not in errors:  # its line end comes with the next record only
            errors += (part := self.host.stderr.read1())
            self.assertTrue(part, errors)
        self.reader = threading.Thread(target=self.host.stderr.read, daemon=True)
        self.reader.start()

    def stop(self, host, sent):
        host.send_signal(sent)
        host.wait(60)
        self.reader.join(60)
        host.stdin.close()
        host.stderr.close()

    def write(self, *lines):
        self.host.stdin.write(b"".join(line + b"\n" for line in lines))
        self.host.stdin.flush()

    def at_host(self, *arguments, status=0):
        return self.ctl("--socket", self.socket, *arguments, status=status)

    def health(self):
        with Connection(self.socket) as door:
            return door.ask("GET", "/health")

    def row(self, unit):
        return self.at_host("list", unit).splitlines()[1].split("\t")

    def tail(self, *arguments):
        tail = subprocess.Popen([PROGRAM, "tail", "--socket", self.socket, *arguments], stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        limit = threading.Timer(60, tail.kill)
        limit.start()
        for action in (tail.communicate, tail.kill, limit.cancel):
            self.addCleanup(action)
        return tail

    def test_switches(self):
        self.assertRegex(self.at_host("set", "cycle.w*", "+m"), r"^cycle\.wakeup: - -> m until [0-9:]{8} \(10m\)\n$")
        self.assertEqual(self.row("cycle.wakeup")[1:4], ["m", "-", "none"])
        self.assertRegex(self.row("cycle.wakeup")[4], "^(10m|9m[0-9]+s)$")
        text = self.at_host("save", status=REFUSED)
        self.assertIn("\n  cycle.wakeup until ", text)
        self.assertEqual(self.at_host("default", "cycle.*"), "cycle.summary: - -> -\ncycle.wakeup: m -> -\n")
        self.assertEqual(self.at_host("off", "input.stdin"), "input.stdin: mwe -> -\n")
        self.assertEqual(self.at_host("save"), "saved\n")
        self.assertEqual(self.at_host("on", "input.stdin", "--for", "ever"), "input.stdin: - -> mwe\n")
        self.assertEqual(self.at_host("load"), "loaded\n")
        self.assertEqual(self.row("input.stdin")[1:4], ["-", "mwe", "-"])
        self.assertEqual(self.at_host("forget"), "forgotten\n")
        self.assertEqual(self.at_host("forget", status=REFUSED), "Nothing is saved.")
        self.assertIn("\n        wakeup  -\n", self.at_host("tree"))
        self.assertIn("version\t", self.at_host("stats"))
        self.assertIn("\tinput.stdin\n", self.at_host("top", "--every", "100ms"))

    def test_records_of_a_host_that_lives_and_of_one_that_was_killed(self):
        tail = self.tail("input.*")
        self.write(*(line for line, _ in LINES))
        # A line of the stream carries one blank between unit and message, the empty message too.
        seen = [tail.stdout.readline() for _ in LINES]
        self.assertEqual([line.split(" m input.stdin ", 1)[1] for line in seen], [shown + "\n" for _, shown in LINES])
        self.assertEqual(self.at_host("dump", "input.*"), "".join(seen))
        ring = ("--ring", str(self.folder / "state" / "records.ring"))
        formats = [["dump", "input.*"], ["export", "--csv"], ["export", "--lnav"], ["export", "--json"]]
        alive = [self.ctl("--socket", self.socket, *words) for words in formats]
        self.stop(self.host, signal.SIGKILL)
        self.assertEqual([self.ctl(*words, *ring) for words in formats], alive)
        objects = [json.loads(line) for line in alive[3].splitlines()]
        self.assertEqual([entry["message"] for entry in objects if entry.get("unit") == "input.stdin"],
                         [line.decode(errors="replace") for line, _ in LINES])

        self.start()
        self.write(b"of the next run")
        self.assertTrue(tail.stdout.readline().endswith(" m input.stdin of the next run\n"))
        tail.send_signal(signal.SIGINT)
        _, errors = tail.communicate(timeout=60)
        self.assertEqual(tail.returncode, 0)
        self.assertRegex(errors, rf"waiting for one\ntracectl: the host was started again: process {self.host.pid}\n$")

    def test_is_what_the_readme_shows(self):
        section = README.split("\n## ")[2]
        self.assertTrue(section.startswith("Switching a unit from outside\n"))
        commands = re.findall(r"^    build/release/bin/(tracectl .*?)(?: +#.*)?$", section, re.MULTILINE)[:3]
        self.assertEqual([words.split()[1] for words in commands], ["list", "set", "tail"])
        self.write(b"of the run")
        # As typed by a person whose only host is this one, and who has the folder of the programs in the path.
        folder = self.folder / "common_log_trace"
        folder.mkdir()
        (folder / "tracehost.sock").symlink_to(self.socket)
        environment = {**os.environ, "XDG_RUNTIME_DIR": str(self.folder),
                       "PATH": f"{pathlib.Path(PROGRAM).parent}:{os.environ['PATH']}"}
        outputs = []
        for command in commands:
            result = subprocess.run(["bash", "-c", f"{command} | head -n 2"], capture_output=True, text=True, check=True,
                                    env=environment, timeout=60)
            self.assertEqual(result.stderr, "")
            outputs.append(result.stdout.splitlines())
        self.assertRegex(outputs[0][1], r"^cycle\.summary\t-\t-\t")
        self.assertRegex(outputs[1][1], r"^cycle\.wakeup: - -> e until [0-9:]{8} \(10m\)$")
        self.assertEqual(len(outputs[2]), 2)

    def test_has_its_socket_for_itself(self):
        second = subprocess.run([HOST, "--socket", self.socket, "--ring", "0", "--state-dir", self.folder / "other"],
                                capture_output=True, text=True, check=False, timeout=60, stdin=subprocess.DEVNULL)
        self.assertEqual(second.returncode, 1)
        self.assertIn(f"tracehost: already runs, process {self.host.pid}, ", second.stderr)
        self.assertIn("cycle.wakeup", self.at_host("list"))

    def test_starts_once_where_two_start_at_once(self):
        self.stop(self.host, signal.SIGTERM)
        for _ in range(5):
            with contextlib.ExitStack() as stack:
                hosts = [stack.enter_context(subprocess.Popen(self.command(), stdin=subprocess.PIPE,
                                                              stdout=subprocess.DEVNULL, stderr=subprocess.PIPE))
                         for _ in range(2)]
                for host in hosts:
                    stack.callback(host.kill)
                while not any(host.poll() is not None for host in hosts):
                    select.select([], [], [], 0.01)
                hosts.sort(key=lambda host: host.poll() is None)
                self.assertEqual(hosts[0].returncode, 1)
                self.assertIn(f"already runs, process {hosts[1].pid}, ".encode(), hosts[0].stderr.read())
                self.assertIsNotNone(self.health()["ring"])
                hosts[1].terminate()
                self.assertEqual(hosts[1].wait(60), 0)

    def test_tells_a_reader_what_the_ring_of_the_run_before_had(self):
        self.write(b"one", b"two", b"three")
        while (last := self.health()["ring"]["last"]) < 3:
            pass
        self.stop(self.host, signal.SIGKILL)
        self.start()
        first = self.health()["ring"]["first"]
        self.assertGreater(first, last)
        with Connection(self.socket) as reader:
            answer = reader.send_request("GET", "/events", headers={"Last-Event-ID": "1"})
            lines = [answer.readline().decode() for _ in range(7)]
            self.assertEqual(lines[3:], ["event: gap\n", f'data: {{"missed": {first - 2}}}\n', "\n", f"id: {first}\n"])

    def test_bounds_its_readers(self):
        self.stop(self.host, signal.SIGTERM)
        self.start("prlimit", "--nofile=256")  # nearer than the door's own limit
        self.write(*(b"line %d" % number for number in range(10_000)))  # more than a socket takes
        while self.health()["ring"]["last"] < 10_000:
            pass
        for target, most, complaint in (("/records?limit=100000", 32, b"read old records"), ("/events", 64, b"readers")):
            with self.subTest(target), contextlib.ExitStack() as stack:
                answers = [stack.enter_context(Connection(self.socket)).send_request("GET", target)
                           for _ in range(most + 1)]
                self.assertEqual([answer.status for answer in answers], [200] * most + [503])
                self.assertIn(complaint, answers[-1].read())
                self.assertIn("cycle.wakeup", self.at_host("list"))
            while any(figure["name"] == "door_streams" and figure["value"] for figure in self.health()["figures"]):
                self.write(b"that a reader has gone is seen by the next record for it")
            with Connection(self.socket) as reader:
                self.assertEqual(reader.send_request("GET", target).status, 200)

    def test_runs_without_what_cannot_be_had(self):
        file = self.folder / "file"
        file.touch()
        host = subprocess.run([HOST, "--socket", file / "a.sock", "--state-dir", file, "--duration", "10ms"],
                              capture_output=True, text=True, check=False, timeout=60, stdin=subprocess.DEVNULL)
        self.assertEqual(host.returncode, 0, host.stderr)
        warnings = [line for line in host.stderr.splitlines() if "|Trace warning host.start|" in line]
        for what in ("the ring of records: ", "a door: "):
            self.assertEqual(sum(f"|Running without {what}" in line for line in warnings), 1, warnings)


if __name__ == "__main__":
    unittest.main()
