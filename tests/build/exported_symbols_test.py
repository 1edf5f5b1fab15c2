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


def output_of(*command, **options):
    return subprocess.run(command, capture_output=True, text=True, check=True, **options).stdout


def names_of_elf(library):
    output = output_of("nm", "--dynamic", "--defined-only", "--demangle", "--format=posix", "--no-sort", library)
    # NAME TYPE VALUE SIZE, with blanks in the name
    return [re.match(r"(.*?) [A-Za-z] [0-9a-f]*(?: [0-9a-f]*)?$", symbol).group(1) for symbol in output.splitlines()]


def names_of_dll(library):
    """As on a system whose 64-bit integers are `long`. Without typeinfo: the compiler shows that of each class that an
    exported function throws or derives from, the standard library's too, and no linker script takes it back. A class
    with virtual operations is known by its vtable."""
    output = output_of("x86_64-w64-mingw32-objdump", "--private-headers", library)
    table = output.partition("[Ordinal/Name Pointer] Table")[2].partition("\n\n")[0]
    names = output_of("c++filt", input="\n".join(line.split()[-1] for line in table.splitlines() if "]" in line))
    return [name for name in names.replace("long long", "long").splitlines() if not name.startswith("typeinfo for ")]


def symbols_of(library):
    """One line for each function and variable, and one for each class. Variants of a constructor are one line."""
    lines = set()
    for name in names_of_dll(library) if library.endswith(".dll") else names_of_elf(library):
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
