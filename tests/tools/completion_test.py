#!/usr/bin/env python3
"""What bash offers behind a part of a tracectl command: completion_test.py PROGRAM"""

import pathlib
import subprocess
import unittest

from fake_door import Answer, FakeDoor
from tracectl_case import PROGRAM, Tracectl

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "tools" / "tracectl" / "tracectl.bash"

UNIT = {"address": "x", "current": None, "default": [True] * 3, "saved": None, "switch": None,
        "records": {"messages": 0, "warnings": 0, "errors": 0}}


def offered(*words):
    """The last word is the one that is being written."""
    script = ('source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _tracectl; '
              '((${#COMPREPLY[@]} == 0)) || printf "%s\\n" "${COMPREPLY[@]}"')
    result = subprocess.run(["bash", "-euc", script, "bash", SCRIPT, PROGRAM, *words], capture_output=True, text=True,
                            check=False, timeout=60)
    assert result.returncode == 0 and result.stderr == "", result.stderr
    return result.stdout.splitlines()


class Completion(Tracectl):
    def test_words_that_no_host_is_needed_for(self):
        for words, expected in [
                (["s"], {"set", "save", "stats"}), (["--s"], {"--socket"}),
                (["l"], {"list", "load"}),
                (["export", "--"], {"--help", "--severity", "--grep", "--ring", "--lnav", "--csv", "--json", "--socket"}),
                (["on", "x", "--f"], {"--for"}), (["on", "--for", "1"], {"1m", "10m", "1h"}),
                (["tail", "--severity", ""], {"m", "w", "e"}), (["set", "x", "+"], {"+m", "+w", "+e"}),
                (["dump", "--last", ""], set()), (["save", ""], set()), (["bogus", ""], set()),
                (["on", "axis", "--socket", "/no/where", ""], set())]:
            with self.subTest(words=words):
                self.assertEqual(set(offered(*words)), expected)

    def test_names_of_units(self):
        units = [{**UNIT, "name": name} for name in ("axis.control", "axis.a b$(x)", "cycle.wakeup")]
        with FakeDoor(self.socket, lambda *_: Answer({"units": units})):
            for command in (["on"], ["set"], ["tail", "--severity", "w"], ["list", "--json"]):
                with self.subTest(command=command):
                    self.assertEqual(offered("--socket", self.socket, *command, "a"),
                                     ["axis.control", "axis.a\\ b\\$\\(x\\)"])

    def test_sockets(self):
        pathlib.Path(self.socket).touch()
        self.assertEqual(offered("--socket", str(self.folder) + "/h"), [self.socket])


if __name__ == "__main__":
    unittest.main()
