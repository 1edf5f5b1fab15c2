#!/usr/bin/env python3
"""A program of somebody else is built with the library, run, and its records are read.

consumer_test.py [OPTIONS] BUILD   with what BUILD installs, found by find_package
consumer_test.py [OPTIONS]         with the library as a part of the program's own build

For another system than this one: --toolchain FILE, and --emulator COMMAND, its words separated by ;.

All of it happens in a folder outside of this repository, so that nothing is found that was not installed.
"""

import argparse
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

FOLDER = pathlib.Path(__file__).resolve().parent
ROOT = FOLDER.parent.parent

TIME = r"\d{4}-\d{2}-\d{2}T\d{2}:\d{2}:\d{2}\.\d{6}Z"
RECORDS = [
    TIME + r"\|\|080A0112\|Trace message axis\.control\|\|\|axis\|machine\|axis\.control\|main\.cpp\|main\|8"
           r"\|Axis 3 started",
    # The library's own path: relative to its repository, wherever that lies and whoever builds it.
    TIME + r"\|\|080F0112\|Trace error common\.log\.trace\|\|\|\|\|common\.log\.trace"
           r"\|private/src/impl/log_buffered\.cpp\|common::log::trace::LogBuffered::log\|\d+\|Invalid main .*",
]


def run(*command):
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    if result.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}\n{result.stdout}")
    return result.stdout


def expect(condition, text):
    if not condition:
        sys.exit(text)


def check_program(program, is_shared, emulator):
    environment = {name: value for name, value in os.environ.items() if name != "SNAP_NAME"}
    result = subprocess.run([*emulator, program], capture_output=True, text=True, env=environment, check=False)
    expect(result.returncode == 0, f"status {result.returncode}\n{result.stderr}")
    lines = result.stderr.split("\n")
    for record in RECORDS:
        expect(sum(bool(re.fullmatch(record, line)) for line in lines) == 1, f"not once: {record}\n{result.stderr}")
    headers = run("x86_64-w64-mingw32-objdump" if emulator else "objdump", "--private-headers", program)
    needs_library = "libcommon_log_trace." in headers
    expect(needs_library == is_shared, f"linked the wrong way: the library is needed at run time: {needs_library}")


def check_subproject(build):
    commands = (build / "compile_commands.json").read_text(encoding="utf-8")
    expect("-Werror" not in commands, "warnings are errors in somebody else's build")
    expect("log_buffered.cpp" in commands, "nothing of the library in compile_commands.json")
    targets = run("ninja", "-C", build, "-t", "targets", "all")
    own = re.findall(r"^common_log_trace/(?:tests|benchmarks)/.*", targets, re.MULTILINE)
    expect(not own, f"tests or benchmarks in somebody else's build: {own[:3]}")
    tests = run("ctest", "--test-dir", build, "--show-only")
    expect("Total Tests: 0" in tests, tests)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--shared", action="store_true")
    parser.add_argument("--launcher", default="")
    parser.add_argument("--toolchain", default="")
    parser.add_argument("--emulator", default="")
    parser.add_argument("build", nargs="?")
    arguments = parser.parse_args()

    with tempfile.TemporaryDirectory(prefix="consumer") as temporary:
        folder = pathlib.Path(temporary)
        source = shutil.copytree(FOLDER / "consumer", folder / "source")
        options = [f"-DCMAKE_CXX_COMPILER_LAUNCHER={arguments.launcher}", "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON"]
        if arguments.build:
            run("cmake", "--install", arguments.build, "--prefix", folder / "prefix")
            options += [f"-DCMAKE_PREFIX_PATH={folder / 'prefix'}"]
        else:
            options += [f"-DCOMMON_LOG_TRACE_SOURCE={ROOT}", f"-DBUILD_SHARED_LIBS={arguments.shared}"]
        emulator = arguments.emulator.split(";") if arguments.emulator else []
        if arguments.toolchain:
            # Where packages are looked for below the target's own folders alone, the place has to be told.
            package = next((folder / "prefix").rglob("common_log_trace-config.cmake"))
            options += [f"-DCMAKE_TOOLCHAIN_FILE={arguments.toolchain}", f"-Dcommon_log_trace_DIR={package.parent}"]
        run("cmake", "-G", "Ninja", "-S", source, "-B", folder / "build", *options)
        run("cmake", "--build", folder / "build", "--target", "consumer")
        program = folder / "build" / ("consumer.exe" if emulator else "consumer")
        if emulator and arguments.shared: # it finds its libraries beside itself
            for library in (folder / "prefix" / "bin").glob("*.dll"):
                shutil.copy(library, program.parent)
        check_program(program, arguments.shared, emulator)
        if not arguments.build:
            check_subproject(folder / "build")


if __name__ == "__main__":
    main()
