"""Ports that change under load: many at once, in any order, with a flood on one of them."""

import json
import os
import random
import signal
import subprocess
import time

import pytest

from conftest import BOUND, LONG, Rpc, run, until
from test_agent import bridge_of_three


def batch(net, namespace, lines):
    """Many commands of ip at once."""
    done = subprocess.run(["ip", "-n", net.name(namespace), "-batch", "-"], input="\n".join(lines),
                          text=True, capture_output=True, check=False)
    assert done.returncode == 0, done.stderr


def test_a_port_as_the_kernel_shows_it(net):
    for n in (1, 2):
        net.wire("b", f"p{n}", f"s{n}", "v0")
    net.bridge_of("b", ["p1", "p2"])
    agent = net.agent("b", "--bridge", "br0", "--exclude", "p2")
    assert [port["port"] for port in agent.call("ports")] == ["p1"]
    net.ip("b", "link", "set", "p1", "mtu", "1400")
    until(lambda: agent.port("p1")["mtu"] == 1400, "the MTU")
    net.ip("b", "link", "set", "p1", "address", "02:00:00:00:00:77")
    until(lambda: agent.port("p1")["mac"] == "02:00:00:00:00:77", "the address")
    s1 = net.agent("s1", "--ports", "v0")
    agent.command("declare", "vlan", "5", "--port", "p1")
    s1.registers("v0", ["5"])
    assert s1.mvrp("v0")["lastOrigin"] == "02:00:00:00:00:77"
    # Membership of the listening address, and no more than that.
    members = run("ip", "-n", net.name("b"), "maddr", "show", "dev", "p1").stdout
    assert "01:80:c2:00:00:21" in members
    # The bridge goes, and comes back: it is waited for.
    net.ip("b", "link", "del", "br0")
    s1.registers("v0", [])
    assert agent.call("ports") == []
    net.bridge_of("b", ["p1"])
    s1.registers("v0", ["5"])


def test_the_root_port_is_told_from_designated_ones(net):
    """Two bridges with the kernel's own spanning tree, joined by two wires."""
    for port in ("p1", "p2"):
        net.wire("b", port, "c", port)
    for namespace, priority in (("b", "40000"), ("c", "100")):
        net.bridge_of(namespace, ["p1", "p2"], options=("stp_state", "1", "forward_delay", "200",
                                                         "priority", priority))
    agent = net.agent("b", "--bridge", "br0")

    def roles():
        return {port["port"]: (port["role"], port["forwarding"]) for port in agent.call("ports")}

    until(lambda: roles() == {"p1": ("root", True), "p2": ("alternate", False)}, roles)
    other = net.agent("c", "--bridge", "br0")
    until(lambda: [port["role"] for port in other.call("ports")] == ["designated"] * 2, "designated")
    other.command("declare", "vlan", "9")
    agent.registers("p1", ["9"])
    net.ip("c", "link", "set", "p1", "down")
    until(lambda: roles() == {"p1": ("disabled", False), "p2": ("root", True)}, roles)
    agent.registers("p2", ["9"])


def test_renamed_ports_have_the_settings_of_their_new_name(net, tmp_path):
    file = tmp_path / "mrp.toml"
    file.write_text('[agent]\nports = ["old0", "new0"]\n[port.old0]\ndeclare = ["1"]\n'
                    '[port.new0]\ndeclare = ["2"]\nforbidden = ["7"]\n')
    net.wire("a", "old0", "b", "v0")
    b = net.agent("b", "--ports", "v0", "--declare", "7,8")
    a = net.agent("a", "--config", str(file))
    b.registers("v0", ["1"])
    a.registers("old0", ["7-8"])
    net.ip("a", "link", "set", "old0", "down")
    net.ip("a", "link", "set", "old0", "name", "new0")
    net.ip("a", "link", "set", "new0", "up")
    b.registers("v0", ["2"])
    a.registers("new0", ["8"])
    assert a.port("old0")["link"] == "absent"


def test_a_request_for_an_absent_port_is_kept(net):
    net.name("a")
    a = net.agent("a", "--ports", "later0")
    assert a.port("later0") == {
        "port": "later0", "ifindex": None, "mac": None, "mtu": None, "link": "absent", "role": None,
        "forwarding": None, "applications": [], "mvrp": None, "msrp": None}
    a.command("declare", "vlan", "12", "--port", "later0")
    net.wire("a", "later0", "b", "v0")
    b = net.agent("b", "--ports", "v0")
    b.registers("v0", ["12"])


def test_messages_of_the_kernel_that_were_lost(net):
    """Two thousand interfaces come and go while the agent cannot read of them."""
    agent = bridge_of_three(net)
    s1 = net.agent("s1", "--ports", "v0", "--declare", "10")
    s2 = net.agent("s2", "--ports", "v0")
    s2.registers("v0", ["10"])
    far = net.name("far")
    pid = agent.call("status")["pid"]
    os.kill(pid, signal.SIGSTOP)
    try:
        pairs = 1000
        batch(net, "b", [f"link add x{n} type veth peer name y{n} netns {far}" for n in range(pairs)]
              + [f"link set x{n} up" for n in range(pairs)])
        run("ip", "netns", "del", far)
        net.namespaces.remove(far)
        net.ip("b", "link", "set", "p1", "nomaster")
        net.ip("b", "link", "set", "p3", "down")
    finally:
        os.kill(pid, signal.SIGCONT)
    began = time.monotonic()
    until(lambda: {p["port"]: p["link"] for p in agent.call("ports")} == {"p2": "up", "p3": "down"},
          lambda: f"the ports are right: {agent.call('ports')}")
    print("ports right after", f"{time.monotonic() - began:.3f}", "s")
    until(lambda: agent.text().count("messages of the kernel were lost") == 1, agent.text)
    s2.registers("v0", [])
    net.ip("b", "link", "set", "p1", "master", "br0")
    s2.registers("v0", ["10"])
    # And while it can.
    far = net.name("far")
    batch(net, "b", [f"link add x{n} type veth peer name y{n} netns {far}" for n in range(100)])
    s1.command("declare", "vlan", "11")
    s2.registers("v0", ["10-11"])


# Frames of one sender, as fast as they go: every VLAN, and what is none.
FLOOD = """
import os, socket, sys
s = socket.socket(socket.AF_PACKET, socket.SOCK_RAW)
s.bind(("v0", 0))
head = bytes.fromhex("0180c2000021" "020000000099" "88f5")
count = 4094
vector = count.to_bytes(2, "big") + (1).to_bytes(2, "big") + bytes([1 * 36 + 1 * 6 + 1]) * (-(-count // 3))
frames = [head + bytes.fromhex("000102") + vector + bytes(4)] + [
    head + bytes([0]) + os.urandom(n % 200) for n in range(200)]
sys.stdout.write("on\\n")
sys.stdout.flush()
while True:
    for frame in frames:
        try:
            s.send(frame)
        except OSError:
            pass
"""


def test_a_flood_on_one_port_does_not_starve_another(net):
    agent = bridge_of_three(net)
    s2 = net.agent("s2", "--ports", "v0")
    s3 = net.agent("s3", "--ports", "v0")
    flood = net.execute("s1", "python3", "-c", FLOOD, stdout=subprocess.PIPE)
    try:
        flood.stdout.readline()
        s3.registers("v0", ["1-4094"])
        for n in range(10):
            s2.command("declare", "vlan", str(100 + n), "--port", "v0")
        agent.registers("p2", ["100-109"])
        counters = agent.call("counters", port="p1")
        assert counters[0]["frames"]["received"] > 100
    finally:
        flood.kill()
        flood.wait(BOUND)
        flood.stdout.close()
    # Silence: its VLANs age out, everybody else's stay.
    agent.registers("p1", [])
    s3.registers("v0", ["100-109"])


@pytest.mark.parametrize("seed", range(20 if LONG else 1))
def test_random_rounds(net, seed):
    """Two hundred random changes; at the end both sides of every wire agree."""
    rng = random.Random(seed)
    agent = bridge_of_three(net)
    stations = {n: net.agent(f"s{n}", "--ports", "v0") for n in (1, 2, 3)}
    control = {n: Rpc(station.control) for n, station in stations.items()}
    declared = {n: set() for n in stations}

    def vlans():
        first = rng.randint(1, 4094)
        return first, min(4094, first + rng.choice((0, 0, 5, 100, 1000)))

    for _ in range(200):
        n = rng.choice((1, 2, 3))
        first, last = vlans()
        what = rng.random()
        if what < 0.45:
            control[n].call("declare", vlans=[f"{first}-{last}"])
            declared[n] |= set(range(first, last + 1))
        elif what < 0.75:
            control[n].call("withdraw", vlans=[f"{first}-{last}"])
            declared[n] -= set(range(first, last + 1))
        elif what < 0.85:
            net.ip(f"s{n}", "link", "set", "v0", rng.choice(("down", "up")))
        elif what < 0.93:
            net.ip("b", "link", "set", f"p{n}", *rng.choice((("nomaster",), ("master", "br0"))))
        elif what < 0.97:
            net.bridge("b", "link", "set", "dev", f"p{n}", "state", rng.choice("13"), check=False)
        else:
            stations[n].command("leave-all")
    for n in stations:
        net.ip("b", "link", "set", f"p{n}", "master", "br0")
        net.ip(f"s{n}", "link", "set", "v0", "up")
        until(lambda: agent.port(f"p{n}")["link"] == "up", "carrier")
        net.bridge("b", "link", "set", "dev", f"p{n}", "state", "3")

    def text(members):
        spans = []
        for vlan in sorted(members):
            if spans and spans[-1][1] == vlan - 1:
                spans[-1][1] = vlan
            else:
                spans.append([vlan, vlan])
        return [str(a) if a == b else f"{a}-{b}" for a, b in spans]

    for n, station in stations.items():
        others = set().union(*(declared[m] for m in stations if m != n))
        agent.registers(f"p{n}", text(declared[n]))
        station.registers("v0", text(others))
        assert agent.mvrp(f"p{n}")["declared"] == text(others)
    for client in control.values():
        client.close()
