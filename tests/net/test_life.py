"""How the agent starts, waits, takes over and ends, and what is left when it has."""

import contextlib
import json
import os
import shutil
import signal
import socket
import stat
import subprocess
import time

import pytest

from conftest import BOUND, EMULATED, LONG, MRP, Rpc, run, until


def bridge_with_stations(net, declare="10-19"):
    """A bridge of p1 and p2 in b; s1 declares, s2 registers and asks for nothing on its own."""
    for n in (1, 2):
        net.wire("b", f"p{n}", f"s{n}", "v0")
    net.bridge_of("b", ["p1", "p2"])
    s1 = net.agent("s1", "--ports", "v0", "--declare", declare)
    s2 = net.agent("s2", "--ports", "v0", "--leave-all-time", "60")
    return s1, s2


class Leaves:
    """Counts what an agent's neighbours have left."""

    def __init__(self, agent):
        self.rpc = Rpc(agent.control)
        self.rpc.call("watch", kinds=["leave"])

    def none(self):
        self.rpc.socket.setblocking(False)
        try:
            return not self.rpc.socket.recv(1)
        except BlockingIOError:
            return True
        finally:
            self.rpc.close()


def tables(net, namespace):
    return run("ip", "netns", "exec", net.name(namespace), "nft", "list", "tables",
               check=False).stdout


def test_keep_leaves_neighbours_bridge_and_state_alone(net, tmp_path):
    _, s2 = bridge_with_stations(net)
    options = ("--bridge", "br0", "--state", str(tmp_path / "state"), "--on-stop", "keep")
    agent = net.agent("b", *options)
    s2.registers("v0", ["10-19"])
    agent.command("declare", "vlan", "77")
    s2.registers("v0", ["10-19", "77"])
    blocked = agent.call("status")["kernel"]["relayBlocked"]
    leaves = Leaves(s2)
    with net.capture("s2", "v0") as frames:
        assert agent.stop() == 0
        assert not os.path.exists(agent.control) and not os.path.exists(agent.query)
        assert ("bridge mrp" in tables(net, "b")) == blocked
        again = net.agent("b", *options)
        again.declares("p2", ["10-19", "77"])
        first = until(lambda: frames("mrp-mvrp.leave_all_event", "mrp-mvrp.vid"), "a frame")[0]
    # It begins with what it declares and a LeaveAll, before any neighbour has said a word.
    assert "1" in first.split(";")[0].split(",")
    s2.registers("v0", ["10-19", "77"])
    assert leaves.none()
    # Without `keep` all of it goes.
    again.stop()
    last = net.agent("b", *options[:-1], "withdraw")
    last.declares("p2", ["10-19", "77"])
    last.stop()
    s2.registers("v0", [])
    assert "bridge mrp" not in tables(net, "b")


def test_a_second_agent_and_a_standby(net, tmp_path):
    _, s2 = bridge_with_stations(net)
    options = ("--bridge", "br0", "--state", str(tmp_path / "state"))
    leader = net.agent("b", *options)
    second = net.agent("b", *options, wait=False)
    assert second.process.wait(BOUND) == 1
    assert "another agent leads" in second.text()
    standby = net.agent("b", *options, "--standby", "true")
    assert standby.call("status")["active"] is False
    refused = standby.command("declare", "vlan", "5", check=False)
    assert refused.returncode == 1 and "standby" in refused.stderr
    refused = standby.command("activate", check=False)
    assert refused.returncode == 1 and "unavailable" in refused.stderr
    # A leader that stops sends its Leaves before the next one sends a word.
    s2.registers("v0", ["10-19"])
    with net.capture("s2", "v0") as frames:
        leader.stop()
        until(lambda: standby.call("status")["active"], "the standby leads")

        def events():
            rows = frames("mrp-mvrp.leave_all_event", "mrp-mvrp.three_packed_event")
            return next((rows[:i] for i, row in enumerate(rows) if "1" in row.split(";")[0]), None)

        before = until(events, "the LeaveAll of the standby")
        assert any("5" in row.split(";")[1].split(",") for row in before), before
    s2.registers("v0", ["10-19"])
    assert "taking over" in standby.text()
    # The leader has taken its chain away, and the standby made its own.
    until(lambda: ("bridge mrp" in tables(net, "b")) == standby.call("status")["kernel"]["relayBlocked"],
          "the relay")


def test_requests_outlive_a_kill_and_files_do_not(net, tmp_path):
    net.wire("a", "v0", "b", "v0")
    b = net.agent("b", "--ports", "v0")
    options = ("--ports", "v0", "--state", str(tmp_path / "state"))
    a = net.agent("a", *options, "--declare", "10,11")
    a.command("declare", "vlan", "20", "--port", "v0")
    a.command("withdraw", "vlan", "11")
    a.command("registration", "forbidden", "30", "--port", "v0")
    b.registers("v0", ["10", "20"])
    a.written()
    a.stop(signal.SIGKILL)
    again = net.agent("a", *options, "--declare", "11,12")
    # 10 was the file's alone, and goes with a Leave; 11 is another word of the file; 20 stays.
    b.registers("v0", ["12", "20"])
    assert again.mvrp("v0")["forbidden"] == ["30"]
    again.command("withdraw", "vlan", "20")
    b.registers("v0", ["12"])


def test_sockets(net, tmp_path):
    net.name("a")
    path = tmp_path / "new" / "c"
    sockets = ("--socket", str(path), "--query-socket", str(path) + "q")

    def agent(*options, **settings):
        return net.execute("a", MRP, "agent", "--ports", "v0", *options, text=True,
                           stderr=subprocess.PIPE, **settings)

    first = agent(*sockets, "--group", "daemon")
    assert first.stderr.readline() == "mrp agent: info: ready\n"  # though the port is not there yet
    assert stat.S_IMODE(os.stat(path.parent).st_mode) == 0o755
    assert stat.S_IMODE(os.stat(path).st_mode) == 0o660
    assert stat.S_IMODE(os.stat(str(path) + "q").st_mode) == 0o666
    assert os.stat(path).st_gid == os.stat(str(path) + "q").st_gid != 0
    second = agent(*sockets)
    assert second.wait(BOUND) == 1 and "another agent answers" in second.stderr.read()
    first.kill()
    first.wait(BOUND)
    assert path.exists()
    third = agent(*sockets)  # nobody answers there any more
    assert third.stderr.readline() == "mrp agent: info: ready\n"
    third.send_signal(signal.SIGINT)
    assert third.wait(BOUND) == 0 and not path.exists()
    for process in (first, second, third):
        process.stderr.close()
    for options, status, said in (
            (("--user", "nobody", "--state", "/root/state"), 1, "cannot write the state"),
            (("--user", "no such user"), 2, "--user: agent.user:"),
            (("--group", "no such group"), 2, "--group: agent.group:"),
            (("--standby", "true"), 2, "standby needs agent.state"),
            (("--socket", str(tmp_path / "no" / "folder" / "c")), 1, "folder")):
        wrong = agent(*(sockets[2:] if "--socket" in options else sockets), *options)
        assert wrong.wait(BOUND) == status
        assert said in wrong.stderr.read()
        wrong.stderr.close()


@pytest.mark.anywhere
def test_priorities_where_the_journal_reads(tmp_path):
    log = tmp_path / "log"
    with open(log, "wb") as file:
        of = os.fstat(file.fileno())
        stream = f"{of.st_dev}:{of.st_ino}"
        for environment, line in ((stream, "<6>ready\n"), ("1:1", "mrp agent: info: ready\n")):
            file.truncate(0)
            agent = subprocess.Popen(
                [MRP, "agent", "--ports", "no-such0", "--socket", str(tmp_path / "c"),
                 "--query-socket", str(tmp_path / "q"), "--log", "error"], stderr=file,
                env=dict(os.environ, JOURNAL_STREAM=environment))
            until(lambda: line in log.read_text(), lambda: log.read_text())
            agent.terminate()
            assert agent.wait(BOUND) == 0


def test_one_thread_and_one_that_writes(net, tmp_path):
    net.wire("a", "v0", "b", "v0")
    a = net.agent("a", "--ports", "v0", "--state", str(tmp_path / "state"), "--declare", "10")
    b = net.agent("b", "--ports", "v0")
    b.registers("v0", ["10"])
    a.written()
    for agent, threads in ((a, 2), (b, 1)):
        tasks = f"/proc/{agent.call('status')['pid']}/task"
        assert len(os.listdir(tasks)) == threads
        for task in os.listdir(tasks):
            with open(f"{tasks}/{task}/children", encoding="ascii") as children:
                assert children.read() == ""


# --- Disks ---------------------------------------------------------------------------------------

def test_a_full_disk_costs_persistence_and_no_service(net):
    disk = net.mount("-t", "tmpfs", "-o", "size=256k", "tmpfs")
    state = os.path.join(disk, "state")
    net.wire("a", "v0", "b", "v0")
    b = net.agent("b", "--ports", "v0")
    a = net.agent("a", "--ports", "v0", "--declare", "10", "--state", state)
    b.registers("v0", ["10"])
    a.written()
    filler = os.path.join(disk, "filler")
    with open(filler, "wb", buffering=0) as file, pytest.raises(OSError):
        while True:
            file.write(bytes(4096))
    a.command("declare", "vlan", "100-4000")
    b.registers("v0", ["10", "100-4000"])
    until(lambda: not a.call("status")["state"]["healthy"], "the disk is full")
    a.command("withdraw", "vlan", "200-4000")
    b.registers("v0", ["10", "100-199"])
    assert a.text().count("error") == 1, a.text()  # once a minute
    # Room again: all that matters by now is written, and read by the next one.
    os.unlink(filler)
    until(lambda: a.call("status")["state"]["healthy"], "taken up again")
    a.written()
    a.stop(signal.SIGKILL)
    again = net.agent("a", "--ports", "v0", "--declare", "10", "--state", state)
    assert again.mvrp("v0")["declared"] == ["10", "100-199"]


def frozen(disk, on):
    run("fsfreeze", "--freeze" if on else "--unfreeze", disk)


@contextlib.contextmanager
def stuck(net):
    """Agents a, on a filesystem that takes no write and gives no answer, and b, its neighbour."""
    image = os.path.join(net.folder, "image")
    run("truncate", "-s", "16M", image)
    if not shutil.which("mkfs.ext4") or run("mkfs.ext4", "-q", image, check=False).returncode != 0:
        pytest.skip("no mkfs.ext4")
    disk = net.mount("-o", "loop", image)
    net.wire("a", "v0", "b", "v0")
    b = net.agent("b", "--ports", "v0")
    a = net.agent("a", "--ports", "v0", "--declare", "10", "--state", os.path.join(disk, "state"))
    b.registers("v0", ["10"])
    a.written()
    frozen(disk, True)
    try:
        a.command("declare", "vlan", "20-4000")
        b.registers("v0", ["10", "20-4000"])
        assert a.call("status")["state"]["behind"] > 0
        yield a, b
    finally:
        frozen(disk, False)


def test_a_stuck_disk_holds_up_neither_service_nor_the_end(net):
    with stuck(net) as (a, b):
        pid = a.call("status")["pid"]
        began = time.monotonic()
        a.process.terminate()
        until(lambda: not os.path.exists(a.control), "its sockets are gone")
        b.registers("v0", [])

        # The kernel keeps the entry of a process whose write it has not ended; nothing else is left.
        def ended():
            with open(f"/proc/{pid}/stat", encoding="ascii") as file:
                return file.read().rsplit(")", 1)[1].split()[0] == "Z"

        until(ended, "the agent has ended")
        assert time.monotonic() - began < 5  # far above the second that it may take
        assert "does not answer" in a.text()
    assert a.process.wait(BOUND) == 0


def test_a_second_signal_ends_at_once(net, monkeypatch):
    """The first one waits for a disk, for a moment."""
    manager = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
    manager.bind(os.path.join(net.folder, "notify"))
    manager.settimeout(BOUND)
    monkeypatch.setenv("NOTIFY_SOCKET", manager.getsockname())
    with contextlib.closing(manager), stuck(net) as (a, _):
        a.process.terminate()
        while manager.recv(100) != b"STOPPING=1":
            pass
        a.process.terminate()
    assert a.process.wait(BOUND) == -signal.SIGTERM
    assert "does not answer" not in a.text()


@pytest.mark.skipif(EMULATED, reason="the times of an emulated kernel say nothing")
def test_takeover(net, tmp_path, record_property):
    """A standby takes over when the leader is killed; the times to its first LeaveAll are printed."""
    state = str(tmp_path / "state")
    ports = 8
    for n in range(1, ports + 1):
        net.wire("b", f"p{n}", "s", f"v{n}")
    net.bridge_of("b", [f"p{n}" for n in range(1, ports + 1)])
    station = net.agent("s", "--ports", ",".join(f"v{n}" for n in range(1, ports + 1)),
                        "--declare", "1-4094", short=False)
    options = ("--bridge", "br0", "--state", state)
    leader = net.agent("b", *options, short=False)

    def all_registered():
        return all(row["mvrp"]["registered"] == ["1-4094"] for row in station.call("ports"))

    until(all_registered, "everything is registered")
    leaves = Leaves(station)
    times = []
    for _ in range(100 if LONG else 3):
        leader.written()
        standby = net.agent("b", *options, "--standby", "true", short=False)
        with net.capture("s", "v2") as frames:
            killed = time.time()
            leader.process.kill()
            leader.process.wait(BOUND)

            def first():
                for row in frames("frame.time_epoch", "mrp-mvrp.leave_all_event"):
                    at, leave_all = row.split(";")
                    if float(at) > killed and "1" in leave_all.split(","):
                        return float(at)
                return None

            times.append(until(first, "the first LeaveAll of the new leader") - killed)
        leader = standby
    until(all_registered, "everything is still registered")
    assert leaves.none()
    record_property("seconds", times)
    print("takeover in", " ".join(f"{t:.3f}" for t in times), "s; worst", f"{max(times):.3f}", "s")
    assert len(times) == (100 if LONG else 3)
