#!/usr/bin/env python3
"""scripts/check_includes finds what it is there for: each case is a small tree, and what is reported of it."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "check_includes"

# What the cases include, beside the file of the case itself.
FILES = [
    "public/common/log/trace/log.h",
    "nodebus/comm/nodebus.h",
    "private/src/impl/handler.h",
    "private/src/impl/log_buffered.h",
    "private/src/impl/helper/string.h",
    "private/src/impl/helper/severity.h",
    "private/src/impl/outputs/hook.h",
    "common.log/public/src/impl/helper/clock_ticks.h",
    "common_zep/public/common_zep/thread.h",
    "hosts/lib/public/common/log/host/record_tap.h",
    "hosts/lib/src/tap_core.h",
    "tests/support/capture.h",
]

# File of the case, its only include, and whether it may.
CASES = [
    ("public/common/log/new.h", "<cstdint>", True),
    ("public/common/log/new.h", "<common/log/trace/log.h>", True),
    ("public/common/log/new.h", "<comm/nodebus.h>", True),
    ("public/common/log/new.h", "<boost/lockfree/queue.hpp>", False),
    ("public/common/log/new.h", "<flatbuffers/flatbuffers.h>", False),
    ("public/common/log/new.h", "<enabling_states_generated.h>", False),
    ("public/common/log/new.h", "<unistd.h>", False),
    ("public/common/log/new.h", '"helper/string.h"', False),
    ("public/common/log/new.h", "<common_zep/thread.h>", False),
    ("nodebus/comm/nodebus/new.h", "<common/log/trace/log.h>", False),
    ("common.log/public/src/impl/new.cpp", '"helper/clock_ticks.h"', True),
    ("common.log/public/src/impl/new.cpp", '"helper/string.h"', True),
    ("common.log/public/src/impl/new.cpp", '"helper/severity.h"', False),
    ("common.log/public/src/impl/new.cpp", '"handler.h"', False),
    ("private/src/impl/new.cpp", '"handler.h"', True),
    ("private/src/impl/new.cpp", '"helper/severity.h"', True),
    ("private/src/impl/new.cpp", "<boost/lockfree/queue.hpp>", True),
    ("private/src/impl/new.cpp", "<common_zep/thread.h>", True),
    ("private/src/impl/new.cpp", '"outputs/hook.h"', False),
    ("private/src/impl/new.cpp", '"../../../tests/support/capture.h"', False),
    ("private/src/impl/new.cpp", '"nowhere.h"', False),
    ("private/src/impl/new.cpp", "<pthread.h>", False),
    ("private/src/impl/helper/new.cpp", '"helper/severity.h"', True),
    ("private/src/impl/helper/new.cpp", '"handler.h"', False),
    ("private/src/impl/outputs/new.cpp", '"log_buffered.h"', True),
    ("private/src/impl/outputs/new.cpp", '"handler.h"', False),
    ("private/src/impl/outputs/new.cpp", "<boost/lockfree/queue.hpp>", False),
    ("common_zep/src/new.cpp", "<pthread.h>", True),
    ("common_zep/src/new.cpp", "<common/log/trace/log.h>", False),
    ("hosts/tracehost/new.cpp", "<common/log/host/record_tap.h>", True),
    ("hosts/tracehost/new.cpp", "<CLI/CLI.hpp>", True),
    ("hosts/tracehost/new.cpp", '"handler.h"', False),
    ("hosts/tracehost/new.cpp", '"../lib/src/tap_core.h"', False),
    ("benchmarks/new.cpp", '"helper/string.h"', False),
    ("tests/private/new.cpp", '"helper/string.h"', True),
    ("elsewhere/new.cpp", "<cstdint>", False),
]


def check(file, text):
    """The status of the script for a tree with one more file, and what it says."""
    with tempfile.TemporaryDirectory() as folder:
        for name in FILES + [file]:
            path = pathlib.Path(folder, name)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text if name == file else "#pragma once\n", encoding="utf-8")
        result = subprocess.run([sys.executable, SCRIPT, folder], capture_output=True, text=True, check=False)
        return result.returncode, result.stdout


class CheckIncludes(unittest.TestCase):
    def test_rules(self):
        for file, include, is_allowed in CASES:
            with self.subTest(file=file, include=include):
                status, output = check(file, f"// first line\n#include {include}\n")
                if is_allowed:
                    self.assertEqual((status, output), (0, ""))
                else:
                    line = 1 if file.startswith("elsewhere") else 2
                    self.assertEqual((status, output.count("\n")), (1, 1), output)
                    self.assertTrue(output.startswith(f"{file}:{line}: "), output)

    def test_finds_an_include_however_it_is_written(self):
        for text in ("  #  include <boost/version.hpp>\n", "#include/**/<boost/version.hpp>\n", "#include WHAT\n"):
            with self.subTest(text=text):
                self.assertEqual(check("public/new.h", text)[0], 1)

    def test_passes_over_comments(self):
        for text in ("// #include <boost/version.hpp>\n", "/*\n#include <boost/version.hpp>\n*/\n"):
            with self.subTest(text=text):
                self.assertEqual(check("public/new.h", text), (0, ""))

    def test_an_empty_tree_does_not_pass(self):
        with tempfile.TemporaryDirectory() as folder:
            result = subprocess.run([sys.executable, SCRIPT, folder], capture_output=True, check=False)
            self.assertEqual(result.returncode, 1)


if __name__ == "__main__":
    unittest.main()
