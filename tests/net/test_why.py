"""Why, asked of agents on real interfaces: who withdrew what, and what a dump of it is good for."""

import json
import os
import shutil
import subprocess

import pytest

from conftest import MRP, run, until


def why(agent, *question, check=True):
    return run(MRP, "why", *question, "--socket", agent.query, check=check)


def answers(agent, *question):
    return json.loads(why(agent, *question, "--json").stdout)["answers"]


def test_a_neighbour_and_a_command_are_told_apart(net):
    net.wire("a", "v0", "b", "v0")
    b = net.agent("b", "--ports", "v0")
    a = net.agent("a", "--ports", "v0", "--declare", "10,30")
    b.registers("v0", ["10", "30"])
    assert answers(b, "vlan", "30", "--port", "v0")[0]["cause"] == "joined"

    a.command("withdraw", "vlan", "30")
    b.registers("v0", ["10"])
    theirs = answers(b, "vlan", "30", "--port", "v0")[0]
    assert theirs["cause"] == "withdrawn-by-neighbour", theirs
    assert theirs["state"] == "VLAN 30 is not registered on v0."
    source = run("ip", "-n", net.name("a"), "-j", "link", "show", "v0").stdout
    assert theirs["because"][1]["source"] == json.loads(source)[0]["address"]

    # On the other side it was a command, of this user.
    ours = [x for x in answers(a, "vlan", "30", "--port", "v0") if x["about"] == "declaration"][0]
    asked = [step for step in ours["because"] if step["by"] == "command"]
    assert asked and asked[0]["user"] == os.geteuid(), ours
    assert "withdrawn by a command of root" in why(a, "vlan", "30").stdout

    nothing = answers(b, "vlan", "77")
    assert nothing[0]["cause"] == "nothing-known" and nothing[0]["lookedAt"], nothing
    assert why(b, "vlan", "77", "--port", "gone", check=False).returncode == 1
    assert why(b, "vlan", "9999", check=False).returncode == 2
    assert run(MRP, "why", "vlan", "1", "--socket", b.query + "x", check=False).returncode == 3


def test_a_dump_is_looked_at_elsewhere(net):
    net.wire("a", "v0", "b", "v0")
    b = net.agent("b", "--ports", "v0", "--msrp-enabled", "true")
    a = net.agent("a", "--ports", "v0", "--declare", "10,30", "--msrp-enabled", "true")
    b.registers("v0", ["10", "30"])
    a.command("withdraw", "vlan", "30")
    b.registers("v0", ["10"])
    folder = os.path.join(b.folder, "dump")
    told = run(MRP, "dump", folder, "--socket", b.query).stdout
    assert told.startswith(folder + ": "), told
    names = set(os.listdir(folder))
    assert names == {"README.txt", "mrp.toml", "frames.pcapng", "status.json", "ports.json",
                     "counters.json", "attributes.json", "account-mvrp.jsonl",
                     "account-msrp.jsonl"}, names
    run(MRP, "agent", "--check", "--config", os.path.join(folder, "mrp.toml"))
    with open(os.path.join(folder, "account-mvrp.jsonl"), encoding="utf-8") as lines:
        records = [json.loads(line) for line in lines]
    assert [r["number"] for r in records] == list(range(1, len(records) + 1))

    replay = json.loads(run(MRP, "why", "vlan", "30", "--port", "v0", "--json", "--replay",
                            folder).stdout)["answers"][0]
    assert replay["cause"] == "withdrawn-by-neighbour", replay
    state = run(MRP, "replay", folder, "--application", "mvrp", "--json").stdout.splitlines()[-1]
    keys = [x["key"] for x in json.loads(state)["attributes"] if x["registrar"] == "IN"]
    assert keys == ["10"], state
    # A folder that is not empty is left alone.
    assert run(MRP, "dump", folder, "--socket", b.query, check=False).returncode == 2

    if not shutil.which("tshark") or not shutil.which("capinfos"):
        pytest.skip("no tshark here")
    frames = os.path.join(folder, "frames.pcapng")
    decoded = subprocess.run(
        ["tshark", "-r", frames, "-T", "fields", "-e", "frame.interface_name", "-e", "eth.type",
         "-e", "frame.packet_flags_direction", "-e", "_ws.malformed"], capture_output=True, text=True,
        check=True)
    warnings = [line for line in decoded.stderr.splitlines() if "Running as user" not in line]
    assert not warnings, warnings
    rows = [line.split("\t") for line in decoded.stdout.splitlines()]
    assert {row[0] for row in rows} == {"v0"}
    assert {row[1] for row in rows} == {"0x88f5", "0x22ea"}
    assert {int(row[2], 16) for row in rows} == {1, 2}
    assert not any(row[3] for row in rows)
    info = subprocess.run(["capinfos", "-M", frames], capture_output=True, text=True, check=True)
    assert not info.stderr, info.stderr
    assert "nanoseconds" in info.stdout and "mrp " in info.stdout, info.stdout


def test_a_ring_of_nothing(net):
    net.wire("a", "v0", "b", "v0")
    b = net.agent("b", "--ports", "v0", "--account", "0", "--frame-memory", "0")
    net.agent("a", "--ports", "v0", "--declare", "10")
    b.registers("v0", ["10"])
    answer = answers(b, "vlan", "10", "--port", "v0")[0]
    assert answer["state"] == "VLAN 10 is registered on v0."
    assert answer["cause"] == "before-the-account" and not answer["because"]
