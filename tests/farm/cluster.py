"""A Slurm cluster of two nodes on this machine: its own daemons, keys, ports and folders, all of which end with it.
Needs no rights and touches no cluster that runs here already."""
import getpass
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import time

#: Debian has the daemons where users' PATH does not look.
SEARCHED = os.pathsep.join([os.environ.get("PATH", ""), "/usr/sbin", "/usr/local/sbin"])
TOOLS = ("munged", "slurmctld", "slurmd", "sbatch")
NODES = ("n1", "n2")


def missing():
    """The tools that are not installed."""
    return [tool for tool in TOOLS if shutil.which(tool, path=SEARCHED) is None]


def free_ports(count):
    """Ports that nobody listens at."""
    sockets = [socket.create_server(("127.0.0.1", 0)) for _ in range(count)]
    ports = [s.getsockname()[1] for s in sockets]
    for s in sockets:
        s.close()
    return ports


class Cluster:
    """`env` makes sbatch, squeue and scontrol talk to it."""

    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        self.processes = {}
        control, *ports = free_ports(1 + len(NODES))
        for name in ("state", *NODES):
            (self.folder / name).mkdir(parents=True, mode=0o700)
        key, self.socket = self.folder / "key", self.folder / "munge"
        key.write_bytes(os.urandom(128))
        key.chmod(0o600)
        user = getpass.getuser()
        lines = ["ClusterName=tumblewash", f"SlurmctldHost={socket.gethostname()}(127.0.0.1)", f"SlurmctldPort={control}",
                 "AuthType=auth/munge", f"AuthInfo=socket={self.socket}", f"SlurmUser={user}", f"SlurmdUser={user}",
                 f"StateSaveLocation={self.folder}/state", f"SlurmdSpoolDir={self.folder}/%n",
                 f"SlurmctldPidFile={self.folder}/control.pid", f"SlurmdPidFile={self.folder}/%n.pid",
                 f"SlurmctldLogFile={self.folder}/control.log", f"SlurmdLogFile={self.folder}/%n.log",
                 "ProctrackType=proctrack/pgid", "TaskPlugin=task/none", "MpiDefault=none", "SchedulerType=sched/builtin",
                 "SelectType=select/cons_tres", "SelectTypeParameters=CR_CPU", "SlurmdParameters=config_overrides",
                 "AccountingStorageType=accounting_storage/none", "JobAcctGatherType=jobacct_gather/none",
                 "ReturnToService=2", "JobRequeue=1", "SlurmdTimeout=10", "SlurmctldTimeout=10", "BatchStartTimeout=30",
                 "KillWait=2", "InactiveLimit=0", "MinJobAge=600", "PartitionName=all Nodes=ALL Default=YES State=UP"]
        lines += [f"NodeName={node} NodeAddr=127.0.0.1 NodeHostname={socket.gethostname()} Port={port} CPUs=1 State=UNKNOWN"
                  for node, port in zip(NODES, ports)]
        self.conf = self.folder / "slurm.conf"
        self.conf.write_text("\n".join(lines) + "\n")
        self.env = {**os.environ, "SLURM_CONF": str(self.conf), "PATH": SEARCHED}

    def __enter__(self):
        try:
            self._start("munge", ["munged", "--foreground", "--force", f"--key-file={self.folder}/key", f"--socket={self.socket}",
                                  f"--pid-file={self.folder}/munge.pid", f"--seed-file={self.folder}/seed",
                                  f"--log-file={self.folder}/munge.log", "--num-threads=2"])
            self._until(self.socket.exists, "munged made no socket")
            self._start("control", ["slurmctld", "-D", "-f", str(self.conf)])
            for node in NODES:
                self.start_node(node)
            self._until(lambda: all(self.node_state(node) == "idle" for node in NODES), "the nodes did not come up")
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        for name in list(self.processes)[::-1]:
            self._end(name)

    def start_node(self, node):
        self._start(node, ["slurmd", "-D", "-N", node, "-f", str(self.conf)])

    def kill_node(self, node):
        """As a machine that loses its power: all it runs is gone without a word."""
        self._end(node)

    def node_state(self, node):
        return self.told(["sinfo", "-h", "-N", "-n", node, "-o", "%t"]).strip()

    def jobs(self):
        """Jobs that did not end."""
        return self.told(["squeue", "-h", "-o", "%i %t %N"]).splitlines()

    def told(self, command):
        return subprocess.run(command, env=self.env, capture_output=True, text=True, stdin=subprocess.DEVNULL).stdout

    def logs(self):
        return "\n".join(f"{log.name}:\n" + log.read_text(errors="replace")[-3000:] for log in self.folder.glob("*.log"))

    def _start(self, name, command):
        with (self.folder / f"{name}.err").open("wb") as words:
            self.processes[name] = subprocess.Popen(command, env=self.env, stdin=subprocess.DEVNULL,
                                                    stdout=subprocess.DEVNULL, stderr=words)

    def _end(self, name):
        process = self.processes.pop(name)
        for pid in tree(process.pid) + steps_of(name, self.conf) if name in NODES else [process.pid]:
            try:
                os.kill(pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
        process.wait()

    def _until(self, happened, complaint, seconds=180):
        end = time.monotonic() + seconds
        while not happened():
            for name, process in self.processes.items():
                if process.poll() is not None:
                    raise AssertionError(f"{name} ended with {process.returncode}\n{(self.folder / (name + '.err')).read_text()}"
                                         f"\n{self.logs()}")
            if time.monotonic() > end:
                raise AssertionError(complaint + "\n" + self.logs())
            time.sleep(0.1)


def tree(pid):
    """A process and all below it, children first."""
    try:
        below = [int(n) for n in pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()]
    except (FileNotFoundError, ProcessLookupError):
        return []
    return [p for child in below for p in tree(child)] + [pid]


def steps_of(node, conf):
    """What a node's jobs run: they left the daemon that started them, and tell their node in their environment."""
    found = []
    for entry in pathlib.Path("/proc").iterdir():
        if not entry.name.isdigit():
            continue
        try:
            words = (entry / "environ").read_bytes().split(b"\0")
            command = (entry / "cmdline").read_bytes()
        except (OSError, ProcessLookupError):
            continue
        ours = f"SLURM_CONF={conf}".encode() in words
        if ours and (f"SLURMD_NODENAME={node}".encode() in words or b"slurmstepd" in command and f"/{node}".encode() in command):
            found += tree(int(entry.name))
    return found
