"""An sshd of this machine alone: on a port of loopback that is free, with keys of its own, all in one folder. It runs as the
user who starts it, lets that user in, and ends with the `with` block."""
import os
import pathlib
import pwd
import shutil
import socket
import subprocess

from slurm_on_loopback import CannotStart, free_ports

SERVER = """ListenAddress 127.0.0.1:{port}
HostKey {folder}/host
AuthorizedKeysFile {folder}/user.pub
StrictModes no
UsePAM no
PidFile none
PermitRootLogin yes
MaxStartups 100
MaxSessions 100
"""
# Two machines that are this one, and one that does not answer.
CLIENT = """Host alpha beta
 Port {port}
Host gone
 Port {dead_port}
Host *
 HostName 127.0.0.1
 User {user}
 IdentityFile {folder}/user
 IdentitiesOnly yes
 BatchMode yes
 StrictHostKeyChecking no
 UserKnownHostsFile {folder}/known
 LogLevel ERROR
"""


class Sshd:
    """`ssh` is the command that reaches it."""

    def __init__(self, folder):
        self.folder, self.daemon = pathlib.Path(folder), None
        self.ssh = f"ssh -F {folder}/ssh.conf"

    def __enter__(self):
        if not os.access("/usr/sbin/sshd", os.X_OK) or not shutil.which("ssh-keygen"):
            raise CannotStart("no sshd (packages openssh-server, openssh-client)")
        self.folder.mkdir(mode=0o700)
        if os.getuid() == 0:
            os.makedirs("/run/sshd", mode=0o755, exist_ok=True)  # which sshd wants, and the system's own makes at its start
        for key in ("host", "user"):
            subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", self.folder / key], check=True)
        port, dead_port = free_ports(2)
        values = {"folder": self.folder, "port": port, "dead_port": dead_port, "user": pwd.getpwuid(os.getuid()).pw_name}
        (self.folder / "sshd.conf").write_text(SERVER.format(**values))
        (self.folder / "ssh.conf").write_text(CLIENT.format(**values))
        with open(self.folder / "sshd.log", "wb") as log:
            self.daemon = subprocess.Popen(["/usr/sbin/sshd", "-D", "-e", "-f", self.folder / "sshd.conf"], stdout=log,
                                           stderr=log)
        self.wait_for(port)
        done = subprocess.run([*self.ssh.split(), "alpha", "echo", "here"], capture_output=True, check=False)
        if done.stdout != b"here\n":
            self.stop()
            raise CannotStart(f"no login over loopback: {done.stderr} {(self.folder / 'sshd.log').read_text()}")
        return self

    def wait_for(self, port):
        """Until it answers, or is not there any more."""
        while self.daemon.poll() is None:
            try:
                socket.create_connection(("127.0.0.1", port)).close()
                return
            except OSError:
                pass

    def __exit__(self, *_):
        self.stop()

    def stop(self):
        self.daemon.terminate()
        self.daemon.wait()
