# SPDX-License-Identifier: MIT
"""A Slurm cluster of this machine alone, with a configuration and an authentication of its own."""

import getpass
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import time

PROGRAMS = ("munged", "slurmctld", "slurmd", "sbatch")
PATH = os.environ.get("PATH", "") + ":/usr/sbin:/sbin"

CONFIGURATION = """\
ClusterName=trial
SlurmctldHost={host}(127.0.0.1)
SlurmctldPort={controller_port}
SlurmdPort={node_port}
SlurmUser={user}
SlurmdUser={user}
AuthType=auth/munge
AuthInfo=socket={folder}/munge.socket
CredType=cred/munge
StateSaveLocation={folder}/state
SlurmdSpoolDir={folder}/spool
SlurmctldPidFile={folder}/slurmctld.pid
SlurmdPidFile={folder}/slurmd.pid
SlurmctldLogFile={folder}/slurmctld.log
SlurmdLogFile={folder}/slurmd.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
MpiDefault=none
SchedulerType=sched/backfill
SchedulerParameters=sched_min_interval=100000,batch_sched_delay=0,sched_interval=2
SelectType=select/cons_tres
SelectTypeParameters=CR_Core
ReturnToService=2
SlurmdTimeout=30
MinJobAge=300
KillWait=5
MaxArraySize=1001
NodeName={node} NodeHostname={host} NodeAddr=127.0.0.1 CPUs={cpus} Boards=1 SocketsPerBoard=1 CoresPerSocket={cpus} ThreadsPerCore=1 RealMemory=4000 State=UNKNOWN
PartitionName=trial Nodes={node} Default=YES MaxTime=INFINITE State=UP
"""


def missing():
    """Programs that are not installed."""
    return [p for p in PROGRAMS if not shutil.which(p, path=PATH)]


def free_port():
    with socket.socket() as one:
        one.bind(("127.0.0.1", 0))
        return one.getsockname()[1]


class SlurmCluster:
    """with SlurmCluster() as cluster: cluster.run("sbatch", ...)"""

    def __init__(self, cpus=None):
        self.cpus = cpus or os.cpu_count()
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="slurm-trial-", dir="/tmp"))
        self.processes = {}
        self.environment = {**os.environ, "SLURM_CONF": str(self.folder / "slurm.conf"),
                            "PATH": PATH}

    def __enter__(self):
        try:
            self.start()
        except BaseException:
            self.stop()
            raise
        return self

    def __exit__(self, *_):
        self.stop()

    def start(self):
        host = socket.gethostname().split(".")[0]
        for name in ("state", "spool"):
            (self.folder / name).mkdir()
        (self.folder / "munge.key").write_bytes(os.urandom(128))
        (self.folder / "munge.key").chmod(0o400)
        self.folder.chmod(0o755)
        (self.folder / "slurm.conf").write_text(CONFIGURATION.format(
            host=host, node=host, folder=self.folder, cpus=self.cpus, user=getpass.getuser(),
            controller_port=free_port(), node_port=free_port()))
        version = re.search(r"(\d+)\.", self.run("slurmd", "-V"))
        if int(version[1]) >= 24:  # older ones ask for no control groups, and refuse the word
            (self.folder / "cgroup.conf").write_text("CgroupPlugin=disabled\n")
        self.start_process("munged", "--foreground", "--force", "--key-file",
                           self.folder / "munge.key", "--socket", self.folder / "munge.socket",
                           "--pid-file", self.folder / "munged.pid", "--log-file",
                           self.folder / "munged.log", "--seed-file", self.folder / "munged.seed")
        self.wait(lambda: (self.folder / "munge.socket").exists(), "munged")
        self.start_process("slurmctld", "-D", "-i", "-f", self.folder / "slurm.conf")
        self.start_node()
        self.wait(lambda: "idle" in self.run("sinfo", "-h", "-o", "%T", check=False), "the node")

    def start_node(self):
        self.start_process("slurmd", "-D", "-f", self.folder / "slurm.conf")

    def start_process(self, name, *arguments):
        with open(self.folder / f"{name}.out", "ab") as log:
            self.processes[name] = subprocess.Popen(
                [shutil.which(name, path=PATH), *map(str, arguments)], stdin=subprocess.DEVNULL,
                stdout=log, stderr=log, env=self.environment)

    def wait(self, condition, what, seconds=120):
        end = time.monotonic() + seconds
        while not condition():
            gone = [n for n, p in self.processes.items() if p.poll() is not None]
            if gone or time.monotonic() > end:
                logs = "".join(f"--- {log.name}\n{log.read_text(errors='replace')[-2000:]}"
                               for log in sorted(self.folder.glob("*.[lo][ou][gt]")))
                raise RuntimeError(f"{what} did not start ({gone or 'time'}):\n{logs}")
            time.sleep(0.1)

    def run(self, *command, check=True):
        done = subprocess.run([str(c) for c in command], env=self.environment, capture_output=True,
                              text=True, check=False, timeout=600)
        if check and done.returncode != 0:
            raise RuntimeError(f"{command}: {done.stderr}")
        return done.stdout

    def jobs(self):
        """How many tasks wait or run."""
        return len(self.run("squeue", "-h", "-r", "-o", "%i").split())

    def steps(self):
        """Processes of tasks: all below the keepers of steps, which leave slurmd's family."""
        processes = {}
        for stat in pathlib.Path("/proc").glob("[0-9]*/stat"):
            try:
                pid, name, _, parent = re.match(r"(\d+) \((.*)\) (\S) (\d+)", stat.read_text()).groups()
            except OSError:  # has ended
                continue
            processes[int(pid)] = (name, int(parent))

        def is_below_a_keeper(pid):
            parent = processes[pid][1]
            return parent in processes and (
                processes[parent][0] == "slurmstepd" or is_below_a_keeper(parent))
        return [pid for pid in processes if is_below_a_keeper(pid)]

    def cancel_all(self):
        self.run("scancel", "--user", getpass.getuser(), check=False)

    def stop(self):
        if "slurmctld" in self.processes:
            self.cancel_all()
            end = time.monotonic() + 30
            while time.monotonic() < end and self.run("squeue", "-h", check=False).strip():
                time.sleep(0.2)
        for name in ("slurmd", "slurmctld", "munged"):
            process = self.processes.get(name)
            if not process or process.poll() is not None:
                continue
            process.send_signal(signal.SIGTERM)
            try:
                process.wait(20)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()
        shutil.rmtree(self.folder, ignore_errors=True)
