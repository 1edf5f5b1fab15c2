#!/usr/bin/env python3
"""./run, ./check and the installation of packages, in a tree of their own and with fakes of what they call."""

import pathlib
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]

TOOLS = ["awk", "bash", "cat", "chmod", "dirname", "env", "find", "flock", "grep", "mkdir", "nproc", "readlink", "rm", "sed",
         "xargs"]

# Each call of a fake is a line of the file "calls".
NOTE = '#!/bin/bash\necho "${0##*/} $*" >>"$FOLDER/calls"\n'

FAKES = {
    # Everything is installed but what stands in MISSING.
    "dpkg-query": """
for package in "$@"; do
    case " $MISSING " in
    *" $package "*) echo "dpkg-query: no packages found matching $package" >&2; status=1 ;;
    *) [[ "$package" == -* ]] || echo "$package installed" ;;
    esac
done
exit ${status:-0}
""",
    "id": 'echo "${USER_ID:-0}"\n',
    "apt-get": '[[ "$*" != *install* || -z "${APT_FAILS:-}" ]] || { echo "no network"; exit 100; }\n',
    # Configuring leaves a build.ninja, building the program; both say something on both streams.
    "cmake": """
echo "noise"
echo "noise" >&2
[[ -z "${BUILD_FAILS:-}" ]] || exit 3
mkdir -p "$TREE/build/release/bin"
if [[ "$1" == --preset ]]; then
    echo >"$TREE/build/release/build.ninja"
else
    cat >"$TREE/build/release/bin/tracehost" <<'PROGRAM'
#!/bin/bash
printf '<%s>' "$@"
echo " in $PWD"
cat
echo "a record" >&2
exit 7
PROGRAM
    chmod +x "$TREE/build/release/bin/tracehost"
fi
""",
    "ctest": """
case "$*" in
*release*) cat <<'TEXT'
1/4 Test #1: Group.one (a) ..........   Passed    0.01 sec
2/4 Test #2: Group.two ..............***Failed    0.01 sec
3/4 Test #3: Group.three ............***Skipped   0.01 sec
4/4 Test #4: Group.four .............***Timeout   0.01 sec
TEXT
    exit 8 ;;
*) echo "1/1 Test #1: Group.one ..........   Passed    0.01 sec" ;;
esac
""",
    "clang-format": '[[ -z "${LAYOUT_FAILS:-}" ]] || { echo "bad layout"; exit 1; }\n',
    "shellcheck": "",
}


class Scripts(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="scripts")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.tree = self.folder / "a tree"
        self.bin = self.folder / "bin"
        for path in (self.tree / "scripts", self.bin):
            path.mkdir(parents=True)
        for name in ("run", "check", "scripts/install_packages", "scripts/packages"):
            shutil.copy(ROOT / name, self.tree / name)
        (self.tree / "source.cpp").touch()
        for tool in TOOLS:
            (self.bin / tool).symlink_to(shutil.which(tool, path="/usr/bin:/bin"))
        for name, text in FAKES.items():
            self.fake(self.bin / name, text)
        for name in ("check_includes", "fetch_sources", "promises", "tidy"):
            self.fake(self.tree / "scripts" / name, "")

    def fake(self, path, text):
        path.write_text(NOTE + text, encoding="utf-8")
        path.chmod(0o755)

    def call(self, name, *arguments, stdin="", **environment):
        # A session of its own: without a terminal, whoever runs the tests.
        return subprocess.run([self.tree / name, *arguments], input=stdin, capture_output=True, text=True, check=False,
                              cwd=self.folder, start_new_session=True,
                              env={"PATH": str(self.bin), "FOLDER": str(self.folder), "TREE": str(self.tree),
                                   **environment})

    def calls(self, name):
        path = self.folder / "calls"
        lines = path.read_text(encoding="utf-8").splitlines() if path.exists() else []
        return [line for line in lines if line.startswith(name + " ")]

    def test_install_touches_nothing_where_all_is_there(self):
        result = self.call("scripts/install_packages", "run", "tests", "check")
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", ""))
        self.assertEqual(self.calls("apt-get"), [])

    def test_install_takes_what_is_missing_of_the_groups_asked_for(self):
        result = self.call("scripts/install_packages", "run", MISSING="cmake libgtest-dev")
        self.assertEqual((result.returncode, result.stdout), (0, ""))
        update, install = self.calls("apt-get")
        self.assertTrue(update.endswith(" update"))
        self.assertTrue(install.endswith(" install -y --no-install-recommends cmake"), install)

    def test_install_names_what_is_missing_where_it_cannot_be_had(self):
        command = "apt-get update && apt-get install --no-install-recommends g++ cmake"
        for case in ({"USER_ID": "1000"}, {"APT_FAILS": "1"}):
            with self.subTest(case):
                result = self.call("scripts/install_packages", "run", MISSING="g++ cmake", **case)
                self.assertEqual((result.returncode, result.stdout), (1, ""))
                self.assertIn(command, result.stderr)
                self.assertEqual("no network" in result.stderr, "APT_FAILS" in case)

    def test_install_goes_by_sudo_without_asking_for_a_password(self):
        self.fake(self.bin / "sudo", '[[ "$1" == -n ]] && shift && exec "$@"\n')
        result = self.call("scripts/install_packages", "run", MISSING="cmake", USER_ID="1000")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual((len(self.calls("sudo")), len(self.calls("apt-get"))), (2, 2))

    def test_run_becomes_the_program(self):
        result = self.call("run", "--x", "y z", stdin="a line\n")
        self.assertEqual(result.returncode, 7)
        self.assertEqual(result.stdout, f"<--x><y z> in {self.folder}\na line\n")
        self.assertEqual(result.stderr, "a record\n")

    def test_run_configures_once(self):
        for _ in range(2):
            self.call("run")
        self.assertEqual([call.split()[1] for call in self.calls("cmake")], ["--preset", "--build", "--build"])

    def test_run_stops_where_something_fails(self):
        for case in ({"BUILD_FAILS": "1"}, {"MISSING": "cmake", "APT_FAILS": "1"}):
            with self.subTest(case):
                result = self.call("run", **case)
                self.assertEqual((result.returncode, result.stdout), (1, ""))
                self.assertIn("noise" if "BUILD_FAILS" in case else "apt-get install", result.stderr)

    def test_check_counts_cases_and_steps_and_goes_on(self):
        result = self.call("check", LAYOUT_FAILS="1")
        self.assertEqual(result.returncode, 1)
        # Passed: packages, two builds, includes, scripts, clang-tidy, and one case of each build.
        self.assertEqual(result.stdout.splitlines()[-1], "8 passed, 3 failed")
        self.assertIn("bad layout", result.stdout)
        self.assertIn("FAILED  release: tests: 1 passed, 2 failed, 1 skipped\n    failed: Group.two\n"
                      "    failed: Group.four\n    skipped: Group.three\n", result.stdout)
        self.assertEqual(len(self.calls("tidy")), 1)

    def test_check_fast_does_the_tests_of_the_release_build_alone(self):
        result = self.call("check", "--fast")
        self.assertEqual((result.returncode, result.stdout.splitlines()[-1]), (1, "3 passed, 2 failed"))
        self.assertEqual((len(self.calls("ctest")), self.calls("tidy")), (1, []))

    def test_check_of_windows_is_a_part_of_all(self):
        cases = {(): ["release", "asan"], ("--windows",): ["windows"], ("--all",): ["release", "windows", "asan"]}
        for options, presets in cases.items():
            with self.subTest(options):
                before = len(self.calls("ctest"))
                self.call("check", *options)
                self.assertEqual([call.split()[2] for call in self.calls("ctest")[before:]], presets)
        self.assertEqual((len(self.calls("fetch_sources")), len(self.calls("tidy"))), (2, 2))

    def test_check_long_tries_the_promises_instead(self):
        for status in (0, 1):
            self.fake(self.tree / "scripts" / "promises", f"exit {status}\n")
            self.assertEqual(self.call("check", "--long").returncode, status)
        self.assertEqual((len(self.calls("promises")), self.calls("ctest")), (2, []))

    def test_check_fails_where_nothing_can_be_built(self):
        for case in ({"MISSING": "cmake", "APT_FAILS": "1"}, {"BUILD_FAILS": "1"}):
            with self.subTest(case):
                result = self.call("check", "--fast", **case)
                self.assertEqual(result.returncode, 1)
                self.assertRegex(result.stdout.splitlines()[-1], r"^\d passed, [1-9] failed$")

    def test_check_refuses_an_unknown_option(self):
        result = self.call("check", "--fats")
        self.assertEqual((result.returncode, result.stdout, result.stderr.count("\n")), (2, "", 1))
        self.assertEqual(self.calls("cmake"), [])


if __name__ == "__main__":
    unittest.main()
