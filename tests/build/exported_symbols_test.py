#!/usr/bin/env python3
"""What the shared library shows is what stands in exported_symbols.txt, no more and no less.

exported_symbols_test.py LIBRARY            compares
exported_symbols_test.py LIBRARY --update   writes the list anew
"""

import difflib
import pathlib
import re
import subprocess
import sys

LIST = pathlib.Path(__file__).with_name("exported_symbols.txt")

HEAD = "# What the shared library shows: names in common::log, which is left out. See exported_symbols_test.py."

# Spellings of the compiler that a reader of the headers would not use, and what all have in common.
SHORTER = [
    (re.compile(r"std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> ?>"), "std::string"),
    (re.compile(r"\[abi:cxx11\]"), ""),
    (re.compile(r"\bcommon::log::"), ""),
]
# The data that a class with virtual operations brings along: one line for all of it.
OF_CLASS = re.compile(r"^(?:vtable|typeinfo name|typeinfo|VTT) for (.*)")


def symbols_of(library):
    """One line for each function and variable, and one for each class. Variants of a constructor are one line."""
    output = subprocess.run(["nm", "--dynamic", "--defined-only", "--demangle", "--format=posix", "--no-sort", library],
                            capture_output=True, text=True, check=True).stdout
    lines = set()
    for symbol in output.splitlines():
        # NAME TYPE VALUE SIZE, with blanks in the name
        name = re.match(r"(.*?) [A-Za-z] [0-9a-f]*(?: [0-9a-f]*)?$", symbol).group(1)
        for long, short in SHORTER:
            name = long.sub(short, name)
        lines.add(OF_CLASS.sub(r"class \1", name))
    return [HEAD] + sorted(lines, key=lambda line: (line.removeprefix("class "), line))


def main():
    actual = symbols_of(sys.argv[1])
    if "--update" in sys.argv[2:]:
        LIST.write_text("\n".join(actual) + "\n", encoding="utf-8")
        return 0
    expected = LIST.read_text(encoding="utf-8").splitlines()
    difference = list(difflib.unified_diff(expected, actual, LIST.name, "the library", lineterm="", n=0))
    if difference:
        print("\n".join(difference))
        print(f"\nWhere this is meant: {sys.argv[0]} {sys.argv[1]} --update")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
