"""What the agent does with a kernel's bridge that filters VLANs."""

import json
import os
import signal

import pytest

from conftest import run, until


@pytest.fixture
def filtering(net):
    """A bridge of two ports in b, stations behind them; skipped where no bridge filters VLANs."""
    for n in (1, 2):
        net.wire("b", f"p{n}", f"s{n}", "v0")
    made = net.ip("b", "link", "add", "br0", "type", "bridge", "vlan_filtering", "1", check=False)
    if made.returncode != 0:
        pytest.skip("no VLAN filtering in this kernel: " + made.stderr.strip())
    net.ip("b", "link", "set", "br0", "up")
    for n in (1, 2):
        net.ip("b", "link", "set", f"p{n}", "master", "br0")
    return net


def ranges(vlans):
    text = []
    for vlan in sorted(vlans):
        if text and text[-1][1] == vlan - 1:
            text[-1][1] = vlan
        else:
            text.append([vlan, vlan])
    return [str(a) if a == b else f"{a}-{b}" for a, b in text]


def entries(net, port, flagged=None):
    """VLANs of a port as the kernel shows them."""
    shown = json.loads(net.bridge("b", "-j", "-compressvlans", "vlan", "show", "dev", port).stdout
                       or "[]")
    vlans = set()
    for link in shown:
        for entry in link["vlans"]:
            if flagged is None or bool(entry.get("flags")) == flagged:
                vlans |= set(range(entry["vlan"], entry.get("vlanEnd", entry["vlan"]) + 1))
    return ranges(vlans)


def has(net, port, vlans, **how):
    until(lambda: entries(net, port, **how) == vlans, f"{port} has {vlans}, not "
          f"{entries(net, port, **how)}")


def test_registrations_become_entries(filtering):
    net = filtering
    agent = net.agent("b", "--bridge", "br0")
    assert agent.call("status")["kernel"]["vlanFiltering"] is True
    s1 = net.agent("s1", "--ports", "v0", "--declare", "10-19,30")
    has(net, "p1", ["1", "10-19", "30"])
    has(net, "p1", ["1"], flagged=True)
    has(net, "p2", ["1"])
    assert agent.mvrp("p1")["programmed"] == ["10-19", "30"]
    # VLAN 1 is the kernel's own on every port: a fixed registration, declared elsewhere.
    assert agent.mvrp("p1")["fixed"] == ["1"]
    agent.declares("p2", ["1", "10-19", "30"])
    s1.command("withdraw", "vlan", "12-14")
    has(net, "p1", ["1", "10-11", "15-19", "30"])
    assert agent.stop() == 0
    has(net, "p1", ["1"])


def test_entries_of_others_are_followed_and_never_touched(filtering):
    net = filtering
    agent = net.agent("b", "--bridge", "br0")
    s1 = net.agent("s1", "--ports", "v0", "--declare", "20")
    s2 = net.agent("s2", "--ports", "v0")
    has(net, "p1", ["1", "20"])
    net.bridge("b", "vlan", "add", "dev", "p1", "vid", "40")
    s2.registers("v0", ["1", "20", "40"])
    net.bridge("b", "vlan", "add", "dev", "br0", "vid", "50", "self")
    s2.registers("v0", ["1", "20", "40", "50"])
    # Both are wanted by a neighbour, too, who then leaves: they stay.
    s1.command("declare", "vlan", "40")
    agent.registers("p1", ["1", "20", "40"])
    s1.command("withdraw", "vlan", "40")
    net.bridge("b", "vlan", "del", "dev", "br0", "vid", "50", "self")
    s2.registers("v0", ["1", "20", "40"])
    has(net, "p1", ["1", "20", "40"])
    # The agent's own entry becomes somebody else's by its flags.
    net.bridge("b", "vlan", "add", "dev", "p1", "vid", "20", "untagged")
    until(lambda: "20" in json.dumps(agent.mvrp("p1")["fixed"]), "20 is fixed")
    s1.stop()
    agent.stop()
    has(net, "p1", ["1", "20", "40"])


def test_all_vlans(filtering):
    net = filtering
    agent = net.agent("b", "--bridge", "br0")
    s1 = net.agent("s1", "--ports", "v0", "--declare", "1-4094")
    s2 = net.agent("s2", "--ports", "v0")
    has(net, "p1", ["1-4094"])
    s2.registers("v0", ["1-4094"])
    s1.stop()
    has(net, "p1", ["1"])
    agent.stop()


def test_a_restart_does_not_touch_the_entries(filtering, tmp_path):
    net = filtering
    options = ("--bridge", "br0", "--state", str(tmp_path / "state"))
    agent = net.agent("b", *options)
    s1 = net.agent("s1", "--ports", "v0", "--declare", "10-12")
    has(net, "p1", ["1", "10-12"])
    agent.written()
    agent.stop(signal.SIGKILL)
    monitor = os.path.join(net.folder, "monitor")
    with open(monitor, "wb") as log:
        import subprocess
        watcher = subprocess.Popen(["bridge", "-n", net.name("b"), "monitor", "vlan"], stdout=log,
                                   stderr=subprocess.DEVNULL)
    again = net.agent("b", *options)
    assert again.mvrp("p1")["programmed"] == ["10-12"]
    assert again.mvrp("p1")["fixed"] == ["1"]
    again.registers("p1", ["1", "10-12"])
    s1.command("withdraw", "vlan", "11")
    has(net, "p1", ["1", "10", "12"])
    watcher.terminate()
    watcher.wait()
    s1.stop(signal.SIGKILL)
    # A neighbour that never says a word again loses its VLANs.
    has(net, "p1", ["1"])


def test_a_bridge_that_ceases_to_filter(filtering):
    net = filtering
    agent = net.agent("b", "--bridge", "br0")
    net.agent("s1", "--ports", "v0", "--declare", "10")
    has(net, "p1", ["1", "10"])
    net.ip("b", "link", "set", "br0", "type", "bridge", "vlan_filtering", "0")
    until(lambda: agent.call("status")["kernel"]["vlanFiltering"] is False, "no filtering")
    until(lambda: "does not filter VLANs" in agent.text(), "the warning")
    agent.registers("p1", ["10"])
    agent.stop()
    assert run("ip", "-n", net.name("b"), "link", "show", "br0").returncode == 0
