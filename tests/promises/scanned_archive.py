"""For check_archive: an archive with what archives have in them, what one `scan` says of it, workers that are killed on their
way, and whether what the scripts make of it is the same."""
import json
import os
import pathlib
import shutil
import sqlite3
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
PROGRAM = str(pathlib.Path(sys.argv[2]).resolve())
SCRIPTS = pathlib.Path(sys.argv[3]).resolve() if len(sys.argv) > 3 else ROOT / "examples/archive"
os.environ["PATH"] = f"/usr/bin:{os.environ['PATH']}"  # the system's Python, GNU parallel and Slurm
FILES_A_PART = 41  # the last part is smaller
# In the place of h265ps: notes each call. While there are marks, a call that has the name writes half a line and kills.
KILLER = """#!/bin/sh
echo call >>'{folder}/calls'
case "$*" in *"$(cat '{folder}/killed_name')"*)
    for mark in '{folder}'/kill.*; do
        if rm "$mark" 2>/dev/null; then
            printf '{{"file":"half'
            . '{folder}/kill_it'
            kill -KILL $$
        fi
    done ;;
esac
exec '{program}' "$@"
"""
KILL_THE_WORKER = "kill -KILL $PPID\n"
# GNU parallel is the first perl above it. What it started goes on, as on a machine whose cable is pulled.
KILL_THE_ENGINE = """pid=$$
while [ "$(cat /proc/$pid/comm)" != parallel ] && [ "$(cat /proc/$pid/comm)" != perl ]; do
    pid=$(sed 's/.*) . //; s/ .*//' /proc/$pid/stat)
done
kill -KILL $pid
"""
# A machine that loses power: all of the task, and the slurmd of its node.
KILL_THE_MACHINE = """pid=$PPID
while [ "$(cat /proc/$pid/comm)" != slurmstepd ]; do
    pids="$pids $pid"
    pid=$(sed 's/.*) . //; s/ .*//' /proc/$pid/stat)
done
kill -KILL $pid $pids "$(cat '{cluster}/slurmd.'$SLURMD_NODENAME.pid)"
echo "$SLURMD_NODENAME" >'{cluster}/lost.new'
mv '{cluster}/lost.new' '{cluster}/lost'
"""


class Wrong(Exception):
    """What does not hold."""


def expect(holds, what):
    if not holds:
        raise Wrong(what)


def run(*command, code=0, says="", environment=None, **options):
    """What a command writes, which has to end with the code, and to say the text."""
    done = subprocess.run(list(map(str, command)), env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, check=False, **options)
    said = done.stdout.decode("utf-8", "replace")
    expect(done.returncode == code, f"{command} ends with {done.returncode}, not {code}:\n{said}")
    expect(says in said and "Traceback" not in said, f"{command} says:\n{said}\nand not: {says}")
    return said


def make_archive(folder):
    """Some hundred files in folders, and what archives have in them besides."""
    for place in ("corpus", "corpus/deep/er", "containers"):
        (folder / place).mkdir(parents=True)
    for stream in sorted((ROOT / "tests/corpus").glob("*.hevc")):
        shutil.copy(stream, folder / "corpus")
        (folder / "corpus/deep/er" / stream.name).symlink_to(stream)
    for file in sorted((ROOT / "tests/containers").iterdir()):
        shutil.copy(file, folder / "containers")
    a_stream = (folder / "corpus/tool_lossless.hevc").read_bytes()
    for name in (b"new\nline \xff.hevc", b"error: colon: \x9b\xff.hevc", b"-", b"--json", b" ", b"t\tab\r"):
        with open(os.path.join(os.fsencode(folder), name), "wb") as file:
            file.write(a_stream)
    with open(os.fsencode(folder) + b"/text: \n\xff.txt", "wb") as file:
        file.write(b"no stream\n")
    (folder / "empty").touch()
    (folder / "damaged.mp4").write_bytes((folder / "containers/hvc1.mp4").read_bytes()[:300])
    (folder / "cannot be read").symlink_to("/proc/self/mem")
    (folder / "corpus/loop").symlink_to("..")
    (folder / "again").symlink_to("corpus")  # gone through once
    (folder / "nowhere").symlink_to("not there")
    os.mkfifo(folder / "fifo")


class Check:
    """An archive, what one scan says of it, and work folders."""

    def __init__(self, folder):
        self.folder, self.archive = folder, folder / "archive"
        make_archive(self.archive)
        whole = subprocess.run([PROGRAM, "scan", "--json", self.archive], capture_output=True, check=False)
        expect(whole.returncode == 2, f"the file that cannot be read is read: {whole.returncode}")
        self.lines = sorted(whole.stdout.splitlines())
        self.messages = sorted(line for line in whole.stderr.splitlines() if b": passed over: " not in line)
        expect(len(self.lines) > 150 and len(self.messages) >= 5, "the archive has too little in it")
        self.killer = folder / "h265ps"
        self.killer.write_text(KILLER.format(folder=folder, program=PROGRAM))
        self.killer.chmod(0o755)
        self.environment = {**os.environ, "H265PS": str(self.killer)}
        self.sound = {**os.environ, "H265PS": PROGRAM}

    def new_work(self):
        work = pathlib.Path(tempfile.mkdtemp(dir=self.folder, prefix="work"))
        run(SCRIPTS / "split", self.archive, work, FILES_A_PART, says="2 passed over")
        return work, sorted(path.name for path in (work / "parts").iterdir())

    def kill(self, times, how=KILL_THE_WORKER, name=""):
        """The next workers, of the file of that name."""
        (self.folder / "killed_name").write_text(name)
        (self.folder / "kill_it").write_text(how)
        for number in range(times):
            (self.folder / f"kill.{number}").touch()
        (self.folder / "calls").write_text("")

    def calls(self):
        expect(not list(self.folder.glob("kill.*")), "nothing was killed")
        return (self.folder / "calls").read_text().count("call")

    def left(self, work):
        return run(SCRIPTS / "missing", work).split()

    def is_whole(self, work):
        """The results are those of one scan, and so is the table."""
        results = [(work / "results" / part.name) for part in (work / "parts").iterdir()]
        lines = sorted(line for result in results for line in (result / "streams.jsonl").read_bytes().splitlines())
        expect(lines == self.lines, f"{len(lines)} lines, and one scan has {len(self.lines)}")
        messages = sorted(line for result in results for line in (result / "unread.txt").read_bytes().splitlines())
        expect(messages == self.messages, f"{messages}, and one scan has {self.messages}")
        table = work / "table.sqlite"
        dumps = []
        for _ in range(2):
            run(SCRIPTS / "collect", table, work, says=f"{len(lines)} streams and {len(messages)} unread files")
            with sqlite3.connect(table) as database:
                dumps.append(list(database.iterdump()))
        expect(dumps[0] == dumps[1], "collecting a second time changes the table")
        self.table_is_right(table)

    def table_is_right(self, table):
        database = sqlite3.connect(table)
        expect(sorted(text.encode() for text, in database.execute("SELECT json FROM stream")) == self.lines,
               "the documents of the table are not the lines")
        for file, track, width, rate, json_text in database.execute(
                "SELECT file, track, width, frame_rate, json FROM stream"):
            document = json.loads(json_text)
            expect((track, width) == (document["track"], document["width"]), f"the row of {file}")
            expect((rate is None) == (document["frame_rate"] is None), f"the frame rate of {file}")
        # Every file of which something is said can be opened, whatever is in its name.
        for table_name in ("stream", "unread"):
            for file, name in database.execute(f"SELECT file, name FROM {table_name}"):
                expect(os.path.lexists(name or os.fsencode(file)), f"{table_name}: there is no file {name or file}")
        errors = database.execute("SELECT file, reason FROM unread WHERE kind = 'error'").fetchall()
        expect({file for file, _ in errors} == {str(self.archive / "cannot be read"), str(self.archive / "damaged.mp4")},
               f"the errors are {errors}")
        database.close()
