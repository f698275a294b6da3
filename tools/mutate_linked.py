"""Mutants of what a build directory links: one object is compiled from the changed file, everything else is what
the build has, by the commands that the build has."""

import json
import os
import pathlib
import re
import resource
import shlex
import shutil
import signal
import subprocess
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
PROGRAM = ROOT / "tools/h265ps"
GIBIBYTE = 1 << 30


def limited(command, seconds, environment=None):
    """Runs a test with limits of memory, file size and time; whether it passes."""
    def limit():
        resource.setrlimit(resource.RLIMIT_AS, (4 * GIBIBYTE, 4 * GIBIBYTE))
        resource.setrlimit(resource.RLIMIT_FSIZE, (GIBIBYTE, GIBIBYTE))
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

    process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                               env=environment, preexec_fn=limit, start_new_session=True)
    try:
        return process.wait(timeout=seconds) == 0
    except subprocess.TimeoutExpired:
        return False
    finally:
        try:  # with the children that it may have left behind
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        process.wait()


# The tests that a folder's mutants have to pass, the likely ones first.
TESTS_OF = {
    ROOT / "src/ParameterSetSyntax": ["ParameterSetSyntaxTest"],
    ROOT / "src/ParameterSetChecks": ["ParameterSetChecksTest"],
    ROOT / "src/Inspector": ["InspectorTest"],
    ROOT / "src/ContainerHost": ["ContainerHostTest"],
    PROGRAM: ["OutputStreamTest", "H265psTest"],
}


class LinkedBuild:
    """A scratch copy of a folder, whose mutants are linked to what the build directory holds."""

    def __init__(self, folder, sources, library, build):
        self.folder = folder
        self.folder.mkdir()
        (self.folder / "tmp").mkdir()
        self.sources = sources
        self.library = library
        self.build = build
        commands = json.loads((self.build / "compile_commands.json").read_text(encoding="utf-8"))
        self.compile_commands = [entry for entry in commands if pathlib.Path(entry["file"]).parent == library]
        self.tests = TESTS_OF[library]
        self.seconds = {test: 300 for test in self.tests}
        self.objects = {}  # changed ones, by the names that the build has for them
        assert self.link_program()
        for test in self.tests:
            begin = time.monotonic()
            assert self.passes(test), f"{test} fails without any change"
            self.seconds[test] = 10 + 10 * (time.monotonic() - begin)  # a mutant that runs longer runs for ever

    def link(self, target, program):
        """Links a target of the build with the changed objects in the place of, or in front of, its own."""
        lines = subprocess.run(["ninja", "-C", str(self.build), "-t", "commands", target], capture_output=True,
                               text=True, check=True).stdout.splitlines()
        command = shlex.split(next(line for line in reversed(lines) if f" -o {target} " in line).split("&&")[1])
        own = dict(self.objects)
        command = [own.pop(word, word) for word in command]
        output = command.index("-o") + 1
        command[output] = str(program)
        # What stands in front of a library takes the place of the library's.
        in_front = own.values() if self.library != PROGRAM else []
        return subprocess.run([*command[:output + 1], *in_front, *command[output + 1:]], cwd=self.build,
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode == 0

    def link_program(self):
        return self.library != PROGRAM or self.link("tools/h265ps/h265ps", self.folder / "h265ps")

    def passes(self, test):
        program = self.build / "tests" / test
        environment = dict(os.environ, TMPDIR=str(self.folder / "tmp"))
        if test == "H265psTest":
            environment["H265PS_PROGRAM"] = str(self.folder / "h265ps")
        elif self.objects:
            program = self.folder / test
            if not self.link(f"tests/{test}", program):
                return False
        try:
            return limited([str(program), "--gtest_brief=1", "--gtest_fail_fast"], self.seconds[test], environment)
        finally:
            shutil.rmtree(self.folder / "tmp")
            (self.folder / "tmp").mkdir()

    def survives(self):
        return self.link_program() and all(self.passes(test) for test in self.tests)

    def compile(self, entry, name):
        """Compiles the changed file as the build does, less optimised; headers of the folder are the scratch copy's."""
        words = shlex.split(entry["command"])
        words = [word for word in words if pathlib.Path(word).name != "ccache" and not re.match(r"-(O|W|g$)", word)]
        built = words[words.index("-o") + 1]
        path = self.folder / built.replace("/", "_")
        words[words.index("-o") + 1] = str(path)
        words[words.index("-c") + 1] = str(self.sources / name)
        words = [word.replace(str(self.library), str(self.sources)) if word.startswith("-I") else word for word in words]
        if subprocess.run([words[0], "-w", "-O0", *words[1:]], cwd=entry["directory"], stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL).returncode != 0:
            return False
        self.objects[built] = str(path)
        return True

    def outcome(self, name):
        """What becomes of the change that file NAME of the sources holds now."""
        self.objects = {}
        entries = [entry for entry in self.compile_commands if pathlib.Path(entry["file"]).name == name]
        assert entries, f"{name} is not compiled"
        try:
            if not all(self.compile(entry, name) for entry in entries):
                return "not compiled"
            return "survived" if self.survives() else "killed"
        finally:
            self.objects = {}
