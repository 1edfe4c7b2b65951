"""Networks of real interfaces: namespaces with veth pairs and kernel bridges, agents in them.

Nothing here touches a namespace that it has not made, and nothing waits for a time to pass: what is
waited for is an event, with a bound after which the test has failed.
"""

import contextlib
import json
import os
import select
import shutil
import signal
import socket
import sqlite3
import subprocess
import tempfile
import time

import pytest

MRP = os.environ.get("MRP", os.path.join(os.path.dirname(__file__), "../../build/bin/mrp"))
LONG = os.environ.get("LONG", "") not in ("", "0")  # tests repeat what they do for minutes
with open("/proc/cpuinfo", encoding="ascii", errors="replace") as cpus:
    EMULATED = "User Mode Linux" in cpus.read()
BOUND = 20.0  # seconds; several times what the slowest event takes

# Timers of the agents under test: a neighbour that says nothing is waited for less long.
SHORT = {"--leave-time": "0.3", "--leave-all-time": "2", "--msrp-leave-time": "0.3",
         "--msrp-leave-all-time": "2"}


def run(*command, check=True):
    return subprocess.run(command, check=check, capture_output=True, text=True)


def why_not():
    """Why namespaces are not to be had here; empty where they are."""
    if os.geteuid() != 0:
        return "not root"
    name = f"mrp{os.getpid()}try"
    made = run("ip", "netns", "add", name, check=False)
    if made.returncode != 0:
        return made.stderr.strip()
    try:
        made = run("ip", "-n", name, "link", "add", "v0", "type", "veth", "peer", "name", "v1",
                   check=False)
        return made.stderr.strip()
    finally:
        run("ip", "netns", "del", name)


def pytest_configure(config):
    config.addinivalue_line("markers", "anywhere: needs no namespaces")


def pytest_collection_modifyitems(items):
    reason = why_not()
    for item in items:
        if reason and not item.get_closest_marker("anywhere"):
            item.add_marker(pytest.mark.skip(reason="no network namespaces: " + reason))


def until(holds, what="", bound=BOUND):
    """Asks again and again until something holds, and gives what it gave."""
    end = time.monotonic() + bound
    while True:
        got = holds()
        if got:
            return got
        assert time.monotonic() < end, f"did not happen: {what() if callable(what) else what}"
        select.select([], [], [], 0.02)


class Rpc:
    """A client of an agent's socket that speaks JSON-RPC without help of the program under test."""

    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(BOUND)
        self.socket.connect(path)
        self.file = self.socket.makefile("rb")
        self.last = 0

    def call(self, method, **params):
        self.last += 1
        request = {"jsonrpc": "2.0", "id": self.last, "method": method, "params": params}
        self.socket.sendall(json.dumps(request).encode() + b"\n")
        while True:
            answer = json.loads(self.file.readline())
            if answer.get("id") == self.last:
                if "error" in answer:
                    raise RuntimeError(answer["error"])
                return answer["result"]

    def event(self):
        """The next event."""
        while True:
            line = json.loads(self.file.readline())
            if line.get("method") == "event":
                return line["params"]

    def close(self):
        self.file.close()
        self.socket.close()


class Agent:
    """An agent in a namespace, with its sockets in a folder of its own."""

    def __init__(self, network, namespace, *options, wait=True, short=True, prefix=()):
        self.folder = tempfile.mkdtemp(dir=network.folder)
        self.control = os.path.join(self.folder, "c")
        self.query = os.path.join(self.folder, "q")
        self.log = os.path.join(self.folder, "log")
        if "--config" not in options:
            options += ("--config", "/dev/null")  # whatever this host is configured for
        if short:
            options += tuple(word for name, value in SHORT.items() if name not in options
                             for word in (name, value))
        with open(self.log, "wb") as log:
            self.process = subprocess.Popen(
                ["ip", "netns", "exec", network.name(namespace), *prefix, MRP, "agent", "--socket",
                 self.control, "--query-socket", self.query, *options],
                stderr=log, stdin=subprocess.DEVNULL)
        network.agents.append(self)
        if wait:
            self.ready()

    def ready(self):
        until(lambda: "ready\n" in self.text() or self.process.poll() is not None,
              "ready: " + self.text())
        assert self.process.poll() is None, self.text()
        return self

    def text(self):
        with open(self.log, encoding="utf-8") as log:
            return log.read()

    def call(self, method, **params):
        rpc = Rpc(self.control)
        try:
            return rpc.call(method, **params)
        finally:
            rpc.close()

    def command(self, *arguments, check=True):
        """`mrp …` against this agent."""
        query = arguments[0] in ("show", "watch", "get")
        return run(MRP, *arguments, "--socket", self.query if query else self.control, check=check)

    def written(self):
        """Waits until all that is registered is on the disk: the engine commits a record some time after it is heard of."""
        def same():
            state = self.call("status")["state"]
            if state["behind"] > 0:
                return False
            known = {(row["port"], row["type"], int(row["key"])) for row in self.call("attributes")
                     if row["registrar"] in ("IN", "LV")}
            with contextlib.closing(sqlite3.connect(f"file:{state['path']}?mode=ro", uri=True)) as disk:
                return known == set(disk.execute("SELECT port, type, key FROM record WHERE registered"))
        until(same, "all is written")

    def port(self, name):
        return self.call("ports", port=name)[0]

    def mvrp(self, port):
        rows = self.call("ports", port=port)
        return (rows and rows[0]["mvrp"]) or {}

    def registers(self, port, vlans, bound=BOUND):
        until(lambda: self.mvrp(port).get("registered") == vlans,
              lambda: f"{port} registers {vlans}: {self.mvrp(port)}", bound)

    def declares(self, port, vlans):
        until(lambda: self.mvrp(port).get("declared") == vlans,
              lambda: f"{port} declares {vlans}: {self.mvrp(port)}")

    def stop(self, sig=signal.SIGTERM):
        if self.process.poll() is None:
            self.process.send_signal(sig)
        return self.process.wait(BOUND)


class Network:
    """Namespaces that go away with the test, and what runs in them."""

    count = 0

    def __init__(self):
        Network.count += 1
        self.prefix = f"mrp{os.getpid()}n{Network.count}"
        self.folder = tempfile.mkdtemp(prefix="mrp-net-")
        self.namespaces = []
        self.agents = []
        self.mounts = []

    def name(self, namespace):
        name = self.prefix + namespace
        if name not in self.namespaces:
            run("ip", "netns", "add", name)
            self.namespaces.append(name)
            # Nothing but what is under test sends frames here.
            self.sysctl(namespace, "net.ipv6.conf.all.disable_ipv6=1")
            self.sysctl(namespace, "net.ipv6.conf.default.disable_ipv6=1")
        return name

    def sysctl(self, namespace, setting):
        run("ip", "netns", "exec", self.prefix + namespace, "sysctl", "-qw", setting, check=False)

    def ip(self, namespace, *arguments, check=True):
        return run("ip", "-n", self.name(namespace), *arguments, check=check)

    def bridge(self, namespace, *arguments, check=True):
        return run("bridge", "-n", self.name(namespace), *arguments, check=check)

    def wire(self, one, port, other, peer):
        """Joins a port of one namespace and one of another; both are up."""
        self.ip(one, "link", "add", port, "type", "veth", "peer", "name", peer, "netns",
                self.name(other))
        self.ip(one, "link", "set", port, "up")
        self.ip(other, "link", "set", peer, "up")

    def bridge_of(self, namespace, ports, name="br0", options=()):
        self.ip(namespace, "link", "add", name, "type", "bridge", *options)
        self.ip(namespace, "link", "set", name, "up")
        for port in ports:
            self.ip(namespace, "link", "set", port, "master", name)

    def mount(self, *arguments):
        """A filesystem of its own, gone with the test."""
        folder = os.path.join(self.folder, f"disk{len(self.mounts)}")
        os.mkdir(folder)
        mounted = run("mount", *arguments, folder, check=False)
        if mounted.returncode != 0:
            pytest.skip("no such filesystem here: " + mounted.stderr.strip())
        self.mounts.append(folder)
        return folder

    def execute(self, namespace, *command, **settings):
        """A process in a namespace."""
        return subprocess.Popen(["ip", "netns", "exec", self.name(namespace), *command], **settings)

    def agent(self, namespace, *options, **settings):
        return Agent(self, namespace, *options, **settings)

    @contextlib.contextmanager
    def capture(self, namespace, port):
        """Frames on a port, as tshark decodes them: a function gives them so far."""
        if not shutil.which("tshark"):
            pytest.skip("no tshark")
        path = os.path.join(self.folder, f"{namespace}-{port}.pcapng")
        process = subprocess.Popen(
            ["ip", "netns", "exec", self.name(namespace), "dumpcap", "-q", "-i", port, "-w", path],
            stderr=subprocess.PIPE, stdin=subprocess.DEVNULL)
        try:
            while b"File:" not in process.stderr.readline():
                assert process.poll() is None, "dumpcap ended"
            yield lambda *fields: self.decoded(path, fields)
        finally:
            process.terminate()
            process.wait(BOUND)
            process.stderr.close()

    @staticmethod
    def decoded(path, fields):
        command = ["tshark", "-n", "-r", path, "-T", "fields", "-E", "separator=;"]
        for field in fields:
            command += ["-e", field]
        return run(*command, check=False).stdout.splitlines()

    def close(self):
        for agent in self.agents:
            if agent.process.poll() is None:
                agent.process.kill()
                agent.process.wait(BOUND)
        for folder in self.mounts:
            run("umount", folder, check=False)
        for name in self.namespaces:
            run("ip", "netns", "del", name, check=False)
        shutil.rmtree(self.folder, ignore_errors=True)


@pytest.fixture
def net():
    network = Network()
    yield network
    network.close()


@pytest.fixture
def rpc():
    clients = []

    def connect(agent, query=False):
        clients.append(Rpc(agent.query if query else agent.control))
        return clients[-1]

    yield connect
    for client in clients:
        client.close()
