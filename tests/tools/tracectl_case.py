"""What the tests of tracectl as a process have in common."""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

from fake_door import FakeDoor

LNAV_FORMAT = pathlib.Path(__file__).resolve().parents[2] / "tools" / "lnav" / "common_log_trace.json"
PROGRAM = sys.argv.pop(1)  # the first argument of each of these tests

# What may reach no terminal: all but line ends, tabs between columns, and the carriage returns of CSV.
CONTROL = r"[\x00-\x08\x0b\x0c\x0e-\x1f\x7f-\x9f]|\r(?!\n)"

DONE, REFUSED, WRONG_USE, NO_HOST = range(4)


class Tracectl(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="ctl")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.socket = str(self.folder / "host.sock")

    def ctl(self, *arguments, status=DONE, environment=None):
        """What the program wrote: standard output, or its complaint where that is expected."""
        result = subprocess.run([PROGRAM, *arguments], capture_output=True, check=False, timeout=60,
                                stdin=subprocess.DEVNULL,
                                env={**os.environ, "http_proxy": "http://nowhere", **(environment or {})})
        output, errors = result.stdout.decode(), result.stderr.decode()
        self.assertEqual(result.returncode, status, output + errors)
        self.assertNotRegex(output + errors, CONTROL)
        if status == DONE:
            self.assertEqual(errors, "")
            return output
        self.assertTrue(errors.startswith("tracectl: "), errors)
        return errors.removeprefix("tracectl: ").removesuffix("\n")

    def lnav(self, statement, source):
        """What the viewer answers from a file. From a pipe it may answer before it has read all."""
        environment = {**os.environ, "HOME": str(self.folder), "XDG_CONFIG_HOME": str(self.folder), "TERM": "dumb",
                       "LC_ALL": "C.UTF-8"}
        for arguments in (["-i", LNAV_FORMAT], ["-n", "-c", ";" + statement, "-c", ":write-json-to -", source]):
            result = subprocess.run(["lnav", *arguments], env=environment, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                                    check=True, timeout=60)
        return json.loads(result.stdout)

    def at(self, answer, *arguments, status=DONE):
        """The same for a door, and the calls other than looks at units and health that came to it."""
        with FakeDoor(self.socket, answer) as door:
            output = self.ctl("--socket", self.socket, *arguments, status=status)
            calls = [call for call in door.calls if call[1] != "/health" and not call[1].startswith("/units")]
        return output, calls
