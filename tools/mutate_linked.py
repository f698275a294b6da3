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


def names_in_tests(pattern):
    """The rooms that tests/CMakeLists.txt makes tests of, by a regular expression with a group."""
    text = (ROOT / "tests/CMakeLists.txt").read_text(encoding="utf-8")
    return [name for match in re.finditer(pattern, text) for name in match.group(1).split()]


# The rooms whose tests a folder's mutants have to pass, the likely ones first.
ROOMS_OF = {
    ROOT / "src/ParameterSetSyntax": lambda: names_in_tests(r"h265_syntax_test\((ParameterSetSyntax\w*)"),
    ROOT / "src/ParameterSetChecks": lambda: [
        *(f"{room}Checks" for room in names_in_tests(r"foreach\(ROOM IN ITEMS (SequenceParameterSet StRef[\w\s]*)\)")),
        *names_in_tests(r"h265_checks_test\((\w+)")],
    ROOT / "src/Inspector": lambda: [
        *names_in_tests(r"h265_\w+_test\((\w+) H265ParameterSets::Inspector"),
        *names_in_tests(r"foreach\(ROOM IN ITEMS (Claim[\w\s]*|StreamDiff[\w\s]*)\)")],
    ROOT / "src/ContainerHost": lambda: names_in_tests(r"h265_container_test\((\w+)"),
    PROGRAM: lambda: ["OutputStream", *names_in_tests(r"foreach\(ROOM (H265ps [\w\s]*)\)")],
}


class LinkedBuild:
    """A scratch copy of a folder, whose mutants are linked to what the build directory holds."""

    def __init__(self, folder, sources, library, build):
        self.folder = folder
        self.folder.mkdir()
        (self.folder / "tmp").mkdir()
        self.sources = sources
        self.library = library
        self.build = build.resolve()
        commands = json.loads((self.build / "compile_commands.json").read_text(encoding="utf-8"))
        self.compile_commands = [entry for entry in commands if pathlib.Path(entry["file"]).parent == library]
        self.rooms = ROOMS_OF[library]()
        assert self.rooms, library
        self.seconds = {room: 300 for room in self.rooms}
        self.objects = {}  # changed ones, by the names that the build has for them
        assert self.link_program()
        for room in self.rooms:
            begin = time.monotonic()
            assert self.room_passes(room), f"the tests of {room} fail without any change"
            self.seconds[room] = 10 + 10 * (time.monotonic() - begin)  # a mutant that runs longer runs for ever

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

    def room_passes(self, room):
        test = self.build / f"tests/{room}Test"
        environment = dict(os.environ, TMPDIR=str(self.folder / "tmp"))
        if room.startswith("H265ps"):
            environment["H265PS_PROGRAM"] = str(self.folder / "h265ps")
        elif self.objects:
            test = self.folder / f"{room}Test"
            if not self.link(f"tests/{room}Test", test):
                return False
        try:
            return limited([str(test), "--gtest_brief=1", "--gtest_fail_fast"], self.seconds[room], environment)
        finally:
            shutil.rmtree(self.folder / "tmp")
            (self.folder / "tmp").mkdir()

    def survives(self):
        return self.link_program() and all(self.room_passes(room) for room in self.rooms)

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
