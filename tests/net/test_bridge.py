"""What a bridge keeps from being relayed, and what a reload changes in one."""

import json

import pytest

from conftest import Rpc, run, until
from test_agent import bridge_of_three

SEND = """
import socket
s = socket.socket(socket.AF_PACKET, socket.SOCK_RAW)
s.bind(("v0", 0))
msrp = bytes.fromhex("0180c200000e" "020000000099")
pdu = bytes.fromhex("22ea" "00" "0000") + bytes(40)
s.send(msrp + pdu)
s.send(msrp + bytes.fromhex("81000005") + pdu)
s.send(msrp + bytes.fromhex("88a80005") + pdu)
s.send(bytes.fromhex("0180c200000e" "020000000098" "88cc") + bytes(50))
"""


def chains(net):
    listed = run("ip", "netns", "exec", net.name("b"), "nft", "-j", "list", "ruleset", check=False)
    return {row["chain"]["name"] for row in json.loads(listed.stdout or '{"nftables":[]}')["nftables"]
            if "chain" in row and row["chain"]["table"] == "mrp"}


def test_streams_are_not_relayed_where_their_address_is(net):
    """group_fwd_mask makes the kernel relay 01:80:C2:00:00:0E, for others than MSRP."""
    agent = bridge_of_three(net, "--msrp-enabled", "true")
    if not agent.call("status")["kernel"]["relayBlocked"]:
        pytest.skip("no nftables here")
    net.ip("b", "link", "set", "br0", "type", "bridge", "group_fwd_mask", "0x4000")
    with net.capture("s2", "v0") as frames:
        run("ip", "netns", "exec", net.name("s1"), "python3", "-c", SEND)

        def sources():
            rows = frames("eth.src")
            return any(row.startswith("02:00:00:00:00:98") for row in rows) and rows

        rows = until(sources, "the frame of another protocol")
        assert not [row for row in rows if row.startswith("02:00:00:00:00:99")], rows
    agent.stop()


def test_each_bridge_has_a_chain_and_the_last_one_takes_the_table(net):
    agent = bridge_of_three(net)
    if not agent.call("status")["kernel"]["relayBlocked"]:
        pytest.skip("no nftables here")
    net.wire("b", "q1", "t1", "v0")
    net.bridge_of("b", ["q1"], name="br1")
    other = net.agent("b", "--bridge", "br1")
    until(lambda: chains(net) == {"br0", "br1"}, lambda: chains(net))
    agent.stop()
    assert chains(net) == {"br1"}
    other.stop()
    assert chains(net) == set()


def test_without_nftables_there_is_one_warning_and_service(net):
    """Whoever may not ask the kernel for a chain is as one whose kernel has none."""
    for n in (1, 2):
        net.wire("b", f"p{n}", f"s{n}", "v0")
    net.bridge_of("b", ["p1"])
    agent = net.agent("b", "--bridge", "br0", prefix=("setpriv", "--bounding-set", "-net_admin"))
    net.ip("b", "link", "set", "p2", "master", "br0")
    net.agent("s1", "--ports", "v0", "--declare", "10")
    s2 = net.agent("s2", "--ports", "v0")
    s2.registers("v0", ["10"])
    assert agent.call("status")["kernel"]["relayBlocked"] is False
    assert agent.text().count("relays frames of the protocol") == 1
    assert agent.stop() == 0


def test_what_a_limit_refuses_is_counted(net):
    agent = bridge_of_three(net, "--vlan-limit", "5")
    net.agent("s1", "--ports", "v0", "--declare", "10-19")
    until(lambda: len(agent.mvrp("p1")["registered"]) == 1, "registered")
    assert agent.mvrp("p1")["registered"] == ["10-14"]
    engine, = agent.call("counters")["engines"]
    assert engine["numOfRefusedEvents"] >= 5
    # Another port has a limit of its own.
    net.agent("s2", "--ports", "v0", "--declare", "30-33")
    agent.registers("p2", ["30-33"])
    agent.declares("p3", ["10-14", "30-33"])


def test_reload_leaves_alone_what_stays(net, tmp_path):
    file = tmp_path / "mrp.toml"
    head = '[agent]\nbridge = "br0"\n'
    mvrp = '[mvrp]\nleave-time = 0.3\nleave-all-time = 60.0\ndeclare = ["5", "6"]\n'
    file.write_text(head + mvrp)
    for n in (1, 2, 3):
        net.wire("b", f"p{n}", f"s{n}", "v0")
    net.bridge_of("b", ["p1", "p2", "p3"])
    agent = net.agent("b", "--config", str(file), short=False)
    s1 = net.agent("s1", "--ports", "v0", "--declare", "10")
    s2 = net.agent("s2", "--ports", "v0")
    s2.registers("v0", ["5-6", "10"])
    leaves = Rpc(s2.control)
    leaves.call("watch", kinds=["leave"])
    # A file that asks for another life is refused, with the log's words.
    for text, line, key in ((head.replace("br0", "br1") + mvrp, 2, "agent.bridge"),
                            ('[agent]\nports = ["p1"]\n' + mvrp, None, "agent.mode"),
                            (head + 'state = "/tmp/x"\n' + mvrp, 3, "agent.state"),
                            (head + mvrp + "[[", 7, "syntax")):
        file.write_text(text)
        with pytest.raises(RuntimeError, match="-32602") as refused:
            agent.call("reload")
        assert f"{key}: " in str(refused.value)
        assert line is None or f"{file}:{line}: {key}: " in str(refused.value), refused.value
    file.unlink()
    with pytest.raises(RuntimeError, match="cannot be read"):
        agent.call("reload")
    # Both applications, another VLAN, a forbidden one, and a port that takes no part any more.
    file.write_text(head + 'exclude = ["p3"]\n' + mvrp.replace('"6"', '"7"') +
                    '[msrp]\nenabled = true\n[port.p1]\nforbidden = ["10"]\n')
    assert agent.call("reload") == {}
    s2.registers("v0", ["5", "7"])
    assert [port["port"] for port in agent.call("ports")] == ["p1", "p2"]
    assert agent.call("status")["applications"] == ["mvrp", "msrp"]
    agent.registers("p1", [])
    # Back again: the neighbour is asked.
    file.write_text(head + mvrp)
    agent.call("reload")
    s2.registers("v0", ["5-6", "10"])
    assert agent.call("status")["applications"] == ["mvrp"]
    gone = {leaves.event()["key"] for _ in range(3)}
    assert gone == {"6", "7", "10"}
    leaves.close()
    # What commands asked for wins until the very key changes.
    agent.command("withdraw", "vlan", "5")
    agent.command("declare", "vlan", "8")
    s2.registers("v0", ["6", "8", "10"])
    agent.call("reload")
    assert agent.mvrp("p2")["declared"] == ["6", "8", "10"]
    s1.stop()
