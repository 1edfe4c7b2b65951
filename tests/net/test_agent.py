"""Agents on real interfaces: stations back to back, bridges, links that come and go, and their ends."""

import json
import os
import signal
import socket

import pytest

from conftest import BOUND, MRP, Rpc, run, until


def back_to_back(net):
    net.wire("a", "v0", "b", "v0")


def bridge_of_three(net, *options):
    """Stations s1, s2 and s3 on ports p1, p2 and p3 of a bridge in b."""
    for n in (1, 2, 3):
        net.wire("b", f"p{n}", f"s{n}", "v0")
    net.bridge_of("b", ["p1", "p2", "p3"])
    agent = net.agent("b", "--bridge", "br0", *options)
    until(lambda: [p["forwarding"] for p in agent.call("ports")] == [True] * 3, "all forward")
    return agent


def test_two_stations(net):
    back_to_back(net)
    b = net.agent("b", "--ports", "v0")
    a = net.agent("a", "--ports", "v0", "--declare", "10,20-29")
    b.registers("v0", ["10", "20-29"])
    a.command("declare", "vlan", "100-110")
    b.registers("v0", ["10", "20-29", "100-110"])
    a.command("withdraw", "vlan", "100-105")
    b.registers("v0", ["10", "20-29", "106-110"])
    assert a.stop() == 0
    b.registers("v0", [])
    assert not os.path.exists(a.control)


def test_frames_are_what_an_independent_decoder_reads(net):
    back_to_back(net)
    b = net.agent("b", "--ports", "v0", "--msrp-enabled", "true")
    with net.capture("b", "v0") as frames:
        net.agent("a", "--ports", "v0", "--declare", "7", "--msrp-enabled", "true")
        b.registers("v0", ["7"])

        def joins():
            rows = frames("eth.dst", "eth.type", "frame.protocols", "_ws.malformed")
            return {row.split(";")[1] for row in rows} >= {"0x88f5", "0x22ea"} and rows

        rows = until(joins, "frames of both applications")
        assert {row.split(";")[0] for row in rows} <= {"01:80:c2:00:00:21", "01:80:c2:00:00:0e"}
        assert not any(row.split(";")[3] for row in rows), rows


def test_a_bridge_of_three(net):
    agent = bridge_of_three(net)
    s1 = net.agent("s1", "--ports", "v0", "--declare", "10")
    s2 = net.agent("s2", "--ports", "v0")
    s3 = net.agent("s3", "--ports", "v0", "--declare", "30")
    agent.registers("p1", ["10"])
    s2.registers("v0", ["10", "30"])
    s3.registers("v0", ["10"])
    s1.registers("v0", ["30"])
    agent.declares("p2", ["10", "30"])
    s1.command("withdraw", "vlan", "10")
    s2.registers("v0", ["30"])
    s3.registers("v0", [])


def test_links_and_ports_that_come_and_go(net):
    agent = bridge_of_three(net)
    net.agent("s1", "--ports", "v0", "--declare", "10")
    s2 = net.agent("s2", "--ports", "v0")
    s2.registers("v0", ["10"])
    # No carrier: what only that port registered is withdrawn.
    net.ip("s1", "link", "set", "v0", "down")
    s2.registers("v0", [])
    assert agent.call("ports", port="p1")[0]["link"] == "down"
    net.ip("s1", "link", "set", "v0", "up")
    s2.registers("v0", ["10"])
    # Out of the bridge, and back again.
    net.ip("b", "link", "set", "p1", "nomaster")
    s2.registers("v0", [])
    assert len(agent.call("ports")) == 2
    net.ip("b", "link", "set", "p1", "master", "br0")
    s2.registers("v0", ["10"])
    # Under another name.
    net.ip("b", "link", "set", "p1", "down")
    net.ip("b", "link", "set", "p1", "name", "other1")
    net.ip("b", "link", "set", "other1", "up")
    until(lambda: {p["port"] for p in agent.call("ports")} == {"other1", "p2", "p3"}, "renamed")
    s2.registers("v0", ["10"])
    # Gone altogether.
    net.ip("b", "link", "del", "other1")
    s2.registers("v0", [])


def test_roles_follow_the_kernel(net):
    agent = bridge_of_three(net)
    net.agent("s1", "--ports", "v0", "--declare", "10")
    s2 = net.agent("s2", "--ports", "v0")
    s2.registers("v0", ["10"])
    net.bridge("b", "link", "set", "dev", "p1", "state", "1")  # listening
    until(lambda: agent.call("ports", port="p1")[0]["role"] == "alternate", "alternate")
    s2.registers("v0", [])
    net.bridge("b", "link", "set", "dev", "p1", "state", "3")  # forwarding
    s2.registers("v0", ["10"])


def test_the_bridge_relays_no_frame_of_the_protocol(net):
    agent = bridge_of_three(net)
    if not agent.call("status")["kernel"]["relayBlocked"]:
        assert "warning" in agent.text()
        pytest.skip("no nftables here: " + agent.text())
    with net.capture("s2", "v0") as frames:
        # Frames of a sender that nobody else is, and one that shall arrive.
        send = """
import socket
s = socket.socket(socket.AF_PACKET, socket.SOCK_RAW)
s.bind(("v0", 0))
mvrp = bytes.fromhex("0180c2000021" "020000000099")
pdu = bytes.fromhex("88f5" "00" "0102" "0001" "0063" "24" "0000" "0000")
s.send(mvrp + pdu)
s.send(mvrp + bytes.fromhex("81000005") + pdu)
s.send(bytes.fromhex("0180c200000e" "020000000099") + pdu)
s.send(bytes.fromhex("030000000099" "020000000098" "88b5") + bytes(50))
"""
        run("ip", "netns", "exec", net.name("s1"), "python3", "-c", send)
        rows = until(lambda: [r for r in frames("eth.src") if r.startswith("02:00:00:00:00:98")]
                     and frames("eth.src", "eth.dst"), "the last frame")
        assert not [r for r in rows if r.startswith("02:00:00:00:00:99")], rows
    assert agent.stop() == 0
    listed = run("ip", "netns", "exec", net.name("b"), "nft", "list", "tables", check=False)
    assert "bridge mrp" not in listed.stdout


def test_killed_and_started_again(net, tmp_path):
    state = str(tmp_path / "state")
    for n in (1, 2):
        net.wire("b", f"p{n}", f"s{n}", "v0")
    net.bridge_of("b", ["p1", "p2"])
    options = ("--bridge", "br0", "--state", state)
    agent = net.agent("b", *options)
    net.agent("s1", "--ports", "v0", "--declare", "10-19")
    s2 = net.agent("s2", "--ports", "v0")
    s2.registers("v0", ["10-19"])
    agent.command("declare", "vlan", "77", "--port", "p2")
    s2.registers("v0", ["10-19", "77"])
    agent.written()
    watcher = Rpc(s2.control)
    watcher.call("watch", kinds=["leave"])
    assert agent.stop(signal.SIGKILL) == -signal.SIGKILL
    again = net.agent("b", *options)
    again.declares("p2", ["10-19", "77"])
    s2.registers("v0", ["10-19", "77"])
    # The neighbour has not lost anything meanwhile.
    watcher.socket.setblocking(False)
    with pytest.raises(BlockingIOError):
        watcher.socket.recv(1)
    watcher.close()
    second = net.agent("b", *options, wait=False)
    assert second.process.wait(BOUND) == 1
    assert "another agent leads" in second.text() or "answers" in second.text()


def test_reload(net, tmp_path):
    back_to_back(net)
    b = net.agent("b", "--ports", "v0")
    file = tmp_path / "mrp.toml"
    text = '[agent]\nports = ["v0"]\n[mvrp]\ndeclare = ["10", "11"]\n'
    file.write_text(text)
    a = net.agent("a", "--config", str(file))
    b.registers("v0", ["10-11"])
    file.write_text(text.replace('"11"', '"4095"'))
    refused = a.command("reload", check=False)
    assert refused.returncode == 1 and f"{file}:4: mvrp.declare:" in refused.stderr
    assert a.mvrp("v0")["declared"] == ["10-11"]
    file.write_text(text.replace('"11"', '"12"'))
    with net.capture("b", "v0") as frames:
        a.process.send_signal(signal.SIGHUP)
        b.registers("v0", ["10", "12"])
        until(lambda: frames("eth.type"), "the frame that withdrew")
    file.write_text(text + '[agent2]\n')
    a.process.send_signal(signal.SIGHUP)
    until(lambda: "agent2: no such table" in a.text(), "the error is logged")
    file.write_text(text.replace("v0", "v1"))
    a.command("reload")
    b.registers("v0", [])


def test_a_disk_that_is_corrupt(net, tmp_path):
    back_to_back(net)
    state = tmp_path / "state"
    state.write_bytes(b"this is no database, and long enough to be taken for one" * 100)
    b = net.agent("b", "--ports", "v0", "--state", str(state))
    status = b.call("status")
    assert status["active"] and not status["state"]["healthy"]
    assert b.text().count("error") == 1
    a = net.agent("a", "--ports", "v0", "--declare", "10")
    b.registers("v0", ["10"])
    # Somebody puts it right.
    os.unlink(state)
    until(lambda: b.call("status")["state"]["healthy"], "taken up again")
    a.stop()
    b.stop(signal.SIGKILL)


def test_a_state_that_cannot_be_used_is_a_broken_disk(net, tmp_path):
    net.wire("a", "v0", "b", "v0")
    b = net.agent("b", "--ports", "v0", "--state", str(tmp_path / "no" / "folder" / "state"))
    status = b.call("status")
    assert status["active"] and not status["state"]["healthy"]
    net.agent("a", "--ports", "v0", "--declare", "10")
    b.registers("v0", ["10"])
    assert b.text().count("error") == 1, b.text()


def test_hostile_clients_cost_nobody_else(net):
    back_to_back(net)
    a = net.agent("a", "--ports", "v0")
    idle = [Rpc(a.query) for _ in range(63)]
    good = Rpc(a.query)
    late = Rpc(a.query)
    assert late.file.readline() == b""
    for text in (b"x" * 200000, b"\xff\n" * 100, b"[" * 60000 + b"\n"):
        hostile = socket.socket(socket.AF_UNIX)
        hostile.connect(a.control)
        hostile.settimeout(BOUND)
        try:
            hostile.sendall(text)
            hostile.shutdown(socket.SHUT_WR)
            while hostile.recv(65536):
                pass
        except (BrokenPipeError, ConnectionResetError):
            pass
        hostile.close()
    assert good.call("status")["active"]
    with pytest.raises(RuntimeError, match="not-allowed"):
        good.call("declare", vlans=["10"])
    for client in (*idle, good, late):
        client.close()


def test_commands_say_what_is_wrong(net, tmp_path):
    back_to_back(net)
    a = net.agent("a", "--ports", "v0")
    assert a.command("declare", "vlan", "10", "--port", "nothing", check=False).returncode == 1
    assert a.command("declare", "vlan", "0", check=False).returncode == 2
    assert a.command("show", "everything", check=False).returncode == 2
    nobody = str(tmp_path / "nobody")
    result = run(MRP, "show", "status", "--socket", nobody, check=False)
    assert result.returncode == 3 and nobody in result.stderr
    wrong = run(MRP, "agent", "--ports", "v0", "--leave-time", "0", check=False)
    assert wrong.returncode == 2
    assert wrong.stderr == ("mrp agent: error: --leave-time: mvrp.leave-time: a number of seconds, "
                            "0.1 to 60\n")
    shown = json.loads(a.command("show", "ports", "--json").stdout)
    assert shown[0]["port"] == "v0"
    for what in ("status", "ports", "vlans", "attributes", "counters", "timers"):
        text = a.command("show", what).stdout
        assert all(len(line) <= 100 for line in text.splitlines()), text
        assert "\x1b" not in text


def test_ready_is_told_to_the_service_manager(net, tmp_path):
    net.name("a")
    path = str(tmp_path / "notify")
    manager = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
    manager.bind(path)
    manager.settimeout(BOUND)
    os.environ["NOTIFY_SOCKET"] = path
    os.environ["WATCHDOG_USEC"] = "200000"
    try:
        agent = net.agent("a", "--ports", "v0")
    finally:
        del os.environ["NOTIFY_SOCKET"], os.environ["WATCHDOG_USEC"]
    assert manager.recv(100) == b"READY=1"
    assert manager.recv(100) == b"WATCHDOG=1"
    assert agent.stop() == 0
    manager.close()


def test_privileges_are_dropped(net):
    back_to_back(net)
    a = net.agent("a", "--ports", "v0", "--user", "nobody")
    status = {}
    with open(f"/proc/{a.call('status')['pid']}/status", encoding="ascii") as file:
        for line in file:
            name, _, value = line.partition(":")
            status[name] = value.split()
    wanted = 1 << 12 | 1 << 13  # CAP_NET_ADMIN, CAP_NET_RAW
    assert int(status["CapEff"][0], 16) == wanted
    assert int(status["CapPrm"][0], 16) == wanted
    assert status["Uid"][0] != "0" and status["NoNewPrivs"] == ["1"]
    b = net.agent("b", "--ports", "v0", "--declare", "5")
    a.registers("v0", ["5"])
    b.stop()
