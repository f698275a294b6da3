"""A Slurm cluster of this machine alone: real munged, slurmctld and two slurmd, on ports of loopback that are free, with
all that they write in one folder. They run as the user who starts them, and end with the `with` block."""
import os
import pathlib
import pwd
import shutil
import socket
import subprocess
import time

PROGRAMS = ("munged", "slurmctld", "slurmd", "sbatch", "squeue", "scontrol", "scancel", "sinfo")
NODES = ("one", "two")
CONFIGURATION = """
ClusterName=archive
SlurmctldHost={host}(127.0.0.1)
SlurmctldPort={ports[0]}
SlurmUser={user}
SlurmdUser={user}
AuthType=auth/munge
CredType=cred/munge
AuthInfo=socket={folder}/munge.socket
StateSaveLocation={folder}/state
SlurmdSpoolDir={folder}/spool.%n
SlurmctldPidFile={folder}/slurmctld.pid
SlurmdPidFile={folder}/slurmd.%n.pid
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SwitchType=switch/none
MpiDefault=none
SelectType=select/cons_tres
SelectTypeParameters=CR_Core
SlurmdParameters=config_overrides
ReturnToService=2
MaxArraySize=5
NodeName=one NodeHostname={host} NodeAddr=127.0.0.1 Port={ports[1]} CPUs=2
NodeName=two NodeHostname={host} NodeAddr=127.0.0.1 Port={ports[2]} CPUs=2
PartitionName=all Nodes=ALL Default=YES State=UP
"""


class CannotStart(Exception):
    """Why this machine has no daemon of the kind."""


class GaveUp(Exception):
    """What did not happen, and what the daemons said."""


def free_ports(count):
    sockets = [socket.socket() for _ in range(count)]
    for each in sockets:
        each.bind(("127.0.0.1", 0))
    ports = [each.getsockname()[1] for each in sockets]
    for each in sockets:
        each.close()
    return ports


class SlurmCluster:
    """`environment` is that of its commands."""

    def __init__(self, folder):
        self.folder, self.daemons = pathlib.Path(folder), []
        self.environment = {**os.environ, "PATH": f"{os.environ['PATH']}:/usr/sbin:/sbin",
                            "SLURM_CONF": str(self.folder / "slurm.conf")}

    def __enter__(self):
        gone = [program for program in PROGRAMS if not shutil.which(program, path=self.environment["PATH"])]
        if gone:
            raise CannotStart(f"no {', '.join(gone)} (packages slurm-wlm, munge)")
        try:
            self.start()
        except BaseException as reason:
            self.stop()
            if isinstance(reason, GaveUp):
                raise CannotStart(reason) from reason
            raise
        return self

    def __exit__(self, *_):
        subprocess.run(["scancel", "--user", pwd.getpwuid(os.getuid()).pw_name], env=self.environment, check=False)
        self.stop()

    def start(self):
        self.folder.mkdir(mode=0o755)
        (self.folder / "state").mkdir()
        key = self.folder / "munge.key"
        key.write_bytes(os.urandom(128))
        key.chmod(0o400)
        # Slurm reads no more than the first name of a host.
        (self.folder / "slurm.conf").write_text(CONFIGURATION.format(
            folder=self.folder, host=socket.gethostname().split(".")[0], user=pwd.getpwuid(os.getuid()).pw_name,
            ports=free_ports(3)))
        self.daemon("munged", "--foreground", f"--key-file={key}", f"--socket={self.folder}/munge.socket",
                    f"--pid-file={self.folder}/munged.pid", f"--log-file={self.folder}/munged.log",
                    f"--seed-file={self.folder}/munged.seed")
        self.wait_for("munged", (self.folder / "munge.socket").exists)
        self.daemon("slurmctld", "-D")
        for node in NODES:
            self.daemon("slurmd", "-D", "-N", node)
        self.wait_for("Slurm", lambda: self.run("sinfo", "--noheader", "--format=%T %D") == "idle 2\n")

    def daemon(self, *command):
        with open(self.folder / f"{command[0]}.{len(self.daemons)}.out", "wb") as output:
            self.daemons.append(subprocess.Popen(command, env=self.environment, stdin=subprocess.DEVNULL,
                                                 stdout=output, stderr=subprocess.STDOUT))

    def wait_for(self, what, is_there, seconds=60, may_die=False):
        end = time.monotonic() + seconds
        while not is_there():
            died = not may_die and any(daemon.poll() is not None for daemon in self.daemons)
            if died or time.monotonic() > end:
                said = "".join(path.read_text(errors="replace")[-600:] for path in sorted(self.folder.glob("*.out")))
                raise GaveUp(f"{what}: {'a daemon ended' if died else 'waited for too long'}: {said}")
            time.sleep(0.1)

    def run(self, *command):
        """What a command prints; None when it fails."""
        done = subprocess.run(command, env=self.environment, capture_output=True, text=True, check=False)
        return done.stdout if done.returncode == 0 else None

    def wait_until_idle(self):
        self.wait_for("the queue", lambda: self.run("squeue", "--noheader") == "", 120)

    def lose_node(self):
        """Waits until a node says in the file `lost` that it is, and has Slurm know without its minutes of patience."""
        lost = self.folder / "lost"
        self.wait_for("a node that is lost", lost.exists, may_die=True)
        node = lost.read_text().strip()
        self.daemons.pop(NODES.index(node) - len(NODES)).wait()
        self.run("scontrol", "update", f"nodename={node}", "state=down", "reason=lost")
        self.wait_for("the lost task in the queue",
                      lambda: "BeginTime" in (self.run("squeue", "--noheader", "--format=%r") or ""))
        for job in self.run("squeue", "--noheader", "--format=%A").split():
            self.run("scontrol", "update", f"jobid={job}", "starttime=now")

    def stop(self):
        for daemon in reversed(self.daemons):
            daemon.terminate()
        for daemon in self.daemons:
            try:
                daemon.wait(20)
            except subprocess.TimeoutExpired:
                daemon.kill()
                daemon.wait()
