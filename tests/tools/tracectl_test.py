#!/usr/bin/env python3
"""tracectl as a process: what it asks a door about units, and what it makes of the answers.

tracectl_test.py PROGRAM
"""

import json
import os
import pathlib
import socket
import unittest

from fake_door import Answer, FakeDoor, refusal
from tracectl_case import NO_HOST, REFUSED, WRONG_USE, Tracectl

NOWHERE = "no host at /no/where.sock: No such file or directory"


def unit(name, current="we", default="we", saved=None, switch=None, counts=(0, 0, 0)):
    return {"name": name, "address": "trace/snap/units/" + name.replace(".", "/"), "current": flags(current),
            "default": flags(default), "saved": flags(saved), "switch": switch,
            "records": dict(zip(("messages", "warnings", "errors"), counts))}


def flags(letters):
    return None if letters is None else [letter in letters for letter in "mwe"]


def running(until, seconds):
    return {"until": until, "seconds": seconds, "before": [False, True, True], "by": "root"}


UNITS = [
    unit("axis.control", counts=(1, 22, 333)),
    unit("axis.drive x/y", current="mwe", switch=running("2024-03-07T10:15:30Z", 594)),
    unit("cycle.\x1b[2Jwakeup", current=None, default="-", saved="m"),
]

HEALTH = {"program": "host", "version": "1.2", "process": 123, "started": "2024-03-07T10:15:30Z", "uptimeSeconds": 3725,
          "run": "a", "units": "trace/snap/units", "configuration": "trace/snap/admin/cfg",
          "ring": {"file": "/x/ring", "first": 1, "last": 4711},
          "figures": [{"name": "lost_total", "labels": 'reason="no reader"', "help": "Lost records.", "value": 3}]}

NODES = {"": ["trace"], "trace": ["units"], "trace/units": ["a\x07b"]}


def good_host(request, body):
    """Answers as docs/door.md has it."""
    method, target = request.command, request.path
    if target.startswith("/units"):
        pattern = target.partition("?match=")[2]
        wanted = [entry for entry in UNITS if not pattern or entry["name"].startswith(pattern.replace("%2A", ""))]
        return Answer({"units": wanted})
    if target == "/health":
        return Answer(HEALTH)
    if method == "PUT":
        address = target.partition("?")[0][len("/nodes/"):]
        return Answer({"address": address, "until": "2024-03-07T10:15:30Z" if "?for=" in target else None,
                       "units": [{"address": address, "before": [False, True, True], "now": json.loads(body)}]})
    if method in ("POST", "DELETE"):
        return Answer({"done": target.partition("?")[0].rpartition("/")[2] if method == "POST" else "forget"})
    return node_answer(target)


def node_answer(target):
    address, _, query = target.removeprefix("/nodes").removeprefix("/").replace("%07", "\x07").partition("?")
    if query == "children" and address.endswith("b"):
        return refusal(404, "NB_INVALID_ADDRESS", "There is no such node.")  # such as one that is only written to
    if query == "children":
        return Answer({"address": address, "children": NODES[address]})
    if address == "trace/units/a\x07b":
        return Answer({"address": address, "value": [True, False, True]})
    return refusal(405, "NB_UNSUPPORTED", "not to be read")


class WrongUse(Tracectl):
    CASES = [
        ([], "a command is needed, see tracectl --help"),
        (["bogus"], "there is no command 'bogus', see tracectl --help"),
        (["--bogus", "list"], "The following argument was not expected: --bogus"),
        (["list", "a", "two\nlines"], "The following argument was not expected: two\\nlines"),
        (["list", "--json", "--names"], "--json excludes --names"),
        (["set"], "GLOB is required"),
        (["set", "x"], "FLAGS is required"),
        (["set", "x", "mq"], "FLAGS: 'mq' is not made of m, w, e, also behind + or -, and not -"),
        (["set", "x", "+-"], "FLAGS: '+-' is not made of m, w, e, also behind + or -, and not -"),
        (["set", "x", "m", "--for", "3"], "--for: '3' is not a whole number with one of the units ms, s, m, h"),
        (["set", "x", "m", "--for", "999ms"], "--for: '999ms' is not between 1s and 10000h"),
        (["on", "x", "--for"], "--for: a value is missing, or there is one too many"),
        (["on"], "GLOB is required"),
        (["default"], "GLOB is required"),
        (["dump", "--last", "0"], "--last: '0' is not a number from 1 on"),
        (["dump", "--last", "-1"], "--last: '-1' is not a number from 1 on"),
        (["tail", "--severity", "x"], "--severity: 'x' is not m, w or e"),
        (["tail", "--json", "--lnav"], "--json excludes --lnav"),
        (["export"], "export: needs one of --lnav, --csv, --json"),
        (["export", "--csv", "--lnav"], "export: needs one of --lnav, --csv, --json"),
        (["tail", "--grep", "("], "--grep: '(' is no regular expression: Unmatched ( or \\("),
        (["export", "--csv", "--grep", "a{2"], "--grep: 'a{2' is no regular expression: Unmatched \\{"),
        (["top", "--every", "1ms"], "--every: '1ms' is not between 100ms and 1h"),
        (["top", "--looks", "x"], "--looks: 'x' is not a number from 1 on"),
    ]

    def test_gives_one_complaint_and_asks_nobody(self):
        for arguments, complaint in self.CASES:
            with self.subTest(arguments=arguments):
                text = self.ctl("--socket", "/no/where.sock", *arguments, status=WRONG_USE)
                self.assertEqual(text, complaint)

    def test_help_and_version(self):
        text = self.ctl("--help")
        for command in ("list", "tree", "set", "on", "off", "default", "save", "load", "forget", "tail", "dump",
                        "export", "stats", "top"):
            self.assertIn(f"\n  {command} ", text)
            self.assertIn("Usage: tracectl " + command, self.ctl(command, "--help"))
        self.assertTrue(all(len(line) <= 100 for line in text.split("\n")))
        self.assertRegex(self.ctl("--version"), r"^tracectl \d+\.\d+\.\d+\n$")


class Search(Tracectl):
    COMMANDS = [["list"], ["tree"], ["set", "x", "m"], ["on", "x"], ["off", "x"], ["default", "x"], ["save"], ["load"],
                ["forget"], ["dump"], ["stats"], ["top"], ["export", "--csv"]]

    def test_every_command_needs_a_host(self):
        for command in self.COMMANDS:
            with self.subTest(command=command):
                self.assertEqual(self.ctl(*command, "--socket", "/no/where.sock", status=NO_HOST), NOWHERE)

    def test_a_socket_that_nobody_listens_at_or_that_cannot_be(self):
        with socket.socket(socket.AF_UNIX) as dead:
            dead.bind(self.socket)
        self.assertIn("Connection refused", self.ctl("list", "--socket", self.socket, status=NO_HOST))
        self.assertIn("no host at ", self.ctl("list", "--socket", "/" + "x" * 200, status=NO_HOST))

    @unittest.skipIf(list(pathlib.Path("/run").glob("common_log_trace/*.sock")), "a host of this machine listens in /run")
    def test_finds_the_only_host_and_names_several(self):
        environment = {"XDG_RUNTIME_DIR": str(self.folder)}
        folder = self.folder / "common_log_trace"
        self.assertIn(f"nobody listens in {folder} or /run/", self.ctl("list", status=NO_HOST, environment=environment))
        folder.mkdir()
        with socket.socket(socket.AF_UNIX) as dead:
            dead.bind(str(folder / "dead.sock"))
        (folder / "file.sock").touch()
        with FakeDoor(str(folder / "first.sock"), good_host):
            self.assertIn("axis.control", self.ctl("list", "--names", environment=environment))
            with FakeDoor(str(folder / "second.sock"), good_host):
                text = self.ctl("list", status=WRONG_USE, environment=environment)
        expected = [f"{name}, process {os.getpid()}: --socket {folder}/{name}.sock" for name in ("first", "second")]
        self.assertEqual([line.strip() for line in text.split("\n")[1:]], expected)


class Units(Tracectl):
    def test_list(self):
        text, _ = self.at(good_host, "list")
        self.assertEqual([line.split("\t") for line in text.splitlines()], [
            ["UNIT", "NOW", "DEFAULT", "SAVED", "LEFT", "MESSAGES", "WARNINGS", "ERRORS"],
            ["axis.control", "we", "we", "none", "-", "1", "22", "333"],
            ["axis.drive x/y", "mwe", "we", "none", "9m54s", "0", "0", "0"],
            ["cycle.\\x1b[2Jwakeup", "?", "-", "m", "-", "0", "0", "0"]])
        text, _ = self.at(good_host, "list", "--names", "axis.*")
        self.assertEqual(text, "axis.control\naxis.drive x/y\n")
        text, _ = self.at(good_host, "list", "--json")
        self.assertEqual(json.loads(text), {"units": UNITS})

    def test_tree(self):
        text, _ = self.at(good_host, "tree")
        self.assertEqual(text, "trace\n  units\n    a\\x07b  me\n")

    def test_stats(self):
        text, _ = self.at(good_host, "stats")
        self.assertIn("up\t1h2m\n", text)
        self.assertIn('lost_total{reason="no reader"}\t3\tLost records.\n', text)
        text, _ = self.at(good_host, "stats", "--json")
        self.assertEqual(json.loads(text), HEALTH)

    def test_top_shows_the_loudest_first(self):
        looks = iter([(5, 0), (5, 40), (0, 0)])

        def counting(*_):
            quiet, loud = next(looks)
            return Answer({"units": [unit("quiet", counts=(0, quiet, 0)), unit("loud", counts=(loud, 0, 0))]})
        text, _ = self.at(counting, "top", "--every", "100ms", "--looks", "2")
        rows = [line.split("\t") for line in text.splitlines()]
        self.assertEqual([row[3] for row in rows], ["UNIT", "loud", "quiet", "UNIT", "quiet", "loud"])
        self.assertGreater(float(rows[1][0]), 1)
        self.assertEqual(rows[2][:3], ["0.0", "5", "we"])


class Switches(Tracectl):
    CONTROL = "/nodes/trace/snap/units/axis/control"
    DRIVE = "/nodes/trace/snap/units/axis/drive%20x/y"

    def test_each_unit_is_one_write_and_one_line(self):
        on, two = "[true,true,true]", "[false,true,true]"
        end = " until 10:15:30 (10m)"
        control = "axis.control: we -> "
        cases = [
            (["set", "axis.*", "mwe"], control + f"mwe{end}\naxis.drive x/y: we -> mwe{end}\n",
             [(self.CONTROL + "?for=600", on), (self.DRIVE + "?for=600", on)]),
            (["on", "axis.c*"], control + f"mwe{end}\n", [(self.CONTROL + "?for=600", on)]),
            (["on", "axis.c*", "--for", "ever"], control + "mwe\n", [(self.CONTROL, on)]),
            (["on", "axis.c*", "--for", "1500ms"], control + "mwe until 10:15:30 (2s)\n", [(self.CONTROL + "?for=2", on)]),
            (["off", "axis.c*"], control + "-\n", [(self.CONTROL, "[false,false,false]")]),
            (["off", "axis.c*", "--for", "90m"], control + "- until 10:15:30 (1h30m)\n",
             [(self.CONTROL + "?for=5400", "[false,false,false]")]),
            (["set", "axis.c*", "+m"], control + f"mwe{end}\n", [(self.CONTROL + "?for=600", on)]),
            (["set", "axis.c*", "-w"], control + "e\n", [(self.CONTROL, "[false,false,true]")]),
            (["set", "axis.c*", "-we"], control + "-\n", [(self.CONTROL, "[false,false,false]")]),
            (["set", "axis.c*", "-"], control + "-\n", [(self.CONTROL, "[false,false,false]")]),
            # Without an end, the running switch of this unit would stay for ever.
            (["set", "axis.d*", "-w"], f"axis.drive x/y: we -> me{end}\n", [(self.DRIVE + "?for=600", "[true,false,true]")]),
            (["default", "axis.d*"], "axis.drive x/y: we -> we\n", [(self.DRIVE, two)]),
            (["set", "axis.*", "m", "--dry-run"],
             control + "m for 10m, not done\naxis.drive x/y: mwe -> m for 10m, not done\n", []),
        ]
        for arguments, output, writes in cases:
            with self.subTest(arguments=arguments):
                text, calls = self.at(good_host, *arguments)
                self.assertEqual(text, output)
                self.assertEqual(calls, [("PUT", *write) for write in writes])

    def test_a_pattern_without_a_unit_names_near_ones(self):
        for pattern, ending in [("axis.contrl", "; did you mean axis.control"),
                                ("drive", "; did you mean axis.drive x/y"), ("zzzzzzzzz", "")]:
            text, calls = self.at(good_host, "on", pattern, status=WRONG_USE)
            self.assertEqual((text, calls), (f"no unit matches '{pattern}'{ending}", []))

    def test_what_the_host_refuses_is_told_and_the_others_are_switched(self):
        def refusing(request, body):
            if request.command == "PUT" and "control" in request.path:
                return refusal(502, "NB_\x1b", "The node\x1b[2J failed.", "it\nbroke")
            return good_host(request, body)
        text, calls = self.at(refusing, "on", "axis.*", status=REFUSED)
        self.assertEqual(text, "axis.control not switched: The node\\x1b[2J failed: it\\nbroke")
        self.assertEqual(len(calls), 2)
        # What is not known cannot be changed in part.
        text, _ = self.at(good_host, "set", "cycle.*", "+w", status=REFUSED)
        self.assertIn("not switched: its state cannot be read", text)

    def test_store(self):
        configuration = "/nodes/trace/snap/admin/cfg/"
        for command, said, call in [(["save"], "saved", ("POST", configuration + "save", "")),
                                    (["save", "--anyway"], "saved", ("POST", configuration + "save?anyway", "")),
                                    (["load"], "loaded", ("POST", configuration + "load", "")),
                                    (["forget"], "forgotten", ("DELETE", "/saved", ""))]:
            with self.subTest(command=command):
                self.assertEqual(self.at(good_host, *command), (said + "\n", [call]))

    def test_a_save_that_running_switches_hinder(self):
        def hindered(request, body):
            if request.command == "POST":
                return refusal(409, "switches_running", "switches run", UNITS[1:2])
            return good_host(request, body)
        text, _ = self.at(hindered, "save", status=REFUSED)
        self.assertIn("\n  axis.drive x/y until 10:15:30\n", text)
        self.assertIn("tracectl save --anyway", text)


class BadDoors(Tracectl):
    """Nothing that comes back is believed."""

    HEAD = b"HTTP/1.1 200 OK\r\n"
    ANSWERS = [
        ("no JSON", Answer(b"<html>"), "no JSON"),
        ("nothing", Answer(raw=b""), "ended the connection"),
        ("cut", Answer(raw=HEAD + b"Content-Length: 100\r\n\r\n{\"units\":["), "ended the connection"),
        ("no HTTP", Answer(raw=b"\x1b[2J hello\r\n\r\n"), "cannot be used"),
        ("another type", Answer({"units": 3}), "'units' is missing in it or is no array"),
        ("no object", Answer([1]), "'units' is missing"),
        ("deep", Answer(b"[" * 100000 + b"]" * 100000), "'units' is missing"),
        ("a state of two", Answer({"units": [{**UNITS[0], "current": [True, False]}]}), "'current' is missing"),
        ("a negative count", Answer({"units": [{**UNITS[0], "records": {"messages": -1}}]}), "'messages' is missing"),
        ("a refusal without words", Answer(b"no", 500), "refused by the host with status 500"),
        ("a refusal of another type", Answer({"error": 3}, 400), "refused by the host with status 400"),
        ("a redirection", Answer(b"", 302), "status 302"),
        ("a length above all", Answer(raw=HEAD + b"Content-Length: 99999999999999999999\r\n\r\n{"), "no JSON"),
    ]

    def test_a_bad_answer_is_one_sentence(self):
        for name, answer, complaint in self.ANSWERS:
            with self.subTest(name):
                text, _ = self.at(lambda *_, answer=answer: answer, "list", status=REFUSED)
                self.assertIn(complaint, text)
                self.assertNotIn("\n", text)

    def test_a_door_that_hangs_is_left(self):
        text, _ = self.at(lambda *_: Answer(hangs=True), "list", status=REFUSED)
        self.assertIn("does not answer", text)

    def test_a_tree_without_end_is_left(self):
        text, _ = self.at(lambda *_: Answer({"children": ["x"]}), "tree", status=REFUSED)
        self.assertIn("no tree of names", text)


if __name__ == "__main__":
    unittest.main()
