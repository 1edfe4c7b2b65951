"""The control socket and the commands, as programs and people use them."""

import json
import os
import signal
import socket
import subprocess
import threading
from collections import Counter

import pytest

from conftest import BOUND, MRP, Rpc, run, until

STREAM = {"streamId": "001b21aa99870001", "dmac": "91:e0:f0:00:fe:01", "vlanId": 2,
          "maxFrameSize": 256, "maxIntervalFrames": 1, "priority": 3, "rank": 1,
          "accumulatedLatency": 500}


def raw(path, octets):
    """Sends octets, ends the writing side, and gives the lines of the answer."""
    with socket.socket(socket.AF_UNIX) as client:
        client.settimeout(BOUND)
        client.connect(path)
        client.sendall(octets)
        client.shutdown(socket.SHUT_WR)
        answer = b""
        while True:
            more = client.recv(1 << 16)
            if not more:
                return [json.loads(line) for line in answer.splitlines()]
            answer += more


def request(method, params=None, **members):
    return json.dumps({"jsonrpc": "2.0", "id": 1, "method": method, "params": params or {},
                       **members}).encode() + b"\n"


def outcome(answer):
    """The number of an error, its reason where it has one, or the result."""
    if "result" in answer:
        return answer["result"]
    return answer["error"].get("data", {}).get("reason", answer["error"]["code"])


@pytest.fixture
def pair(net):
    net.wire("a", "v0", "b", "v0")
    a = net.agent("a", "--ports", "v0,absent0", "--declare", "10")
    b = net.agent("b", "--ports", "v0", "--msrp-enabled", "true")
    b.registers("v0", ["10"])
    return a, b


def test_every_request_has_its_answer(pair):
    a, _ = pair
    for octets, wanted in (
            (b"{\n", [-32700]), (b"\n", [-32700]), (b"[]\n", [-32600]),
            (b"[" + request("version").strip() + b"]\n", [-32600]),
            (b'{"id":1,"method":"version"}\n', [-32600]),
            (b'{"jsonrpc":"2.0","id":1,"method":3}\n', [-32600]),
            (b'{"jsonrpc":"2.0","method":"version"}\n', []),
            (request("nothing"), [-32601]), (request("version", [1]), [-32602]),
            (request("version").strip(), [{"version": run(MRP, "version").stdout.split()[1]}])):
        assert [outcome(answer) for answer in raw(a.control, octets)] == wanted, octets
    # In order, also of what follows an error, and after the client has said its last word.
    answers = raw(a.control, b"".join(request("version", id=n) for n in range(50)) + b"{\n"
                  + request("status", id=50))
    assert [answer["id"] for answer in answers] == list(range(50)) + [None, 50]
    for method, params, wanted in (
            ("ports", {"port": "nothing"}, "no-such-port"),
            ("declare", {"vlans": ["5"], "port": "nothing"}, "no-such-port"),
            ("declare", {"vlans": [5, "7-8"], "port": "absent0"}, {}),
            ("declare", {"vlans": []}, -32602), ("declare", {"vlans": "10"}, -32602),
            ("declare", {"vlans": [0]}, -32602), ("declare", {"vlans": ["4095"]}, -32602),
            ("declare", {"vlans": ["9-3"]}, -32602), ("declare", {}, -32602),
            ("declare", {"vlans": ["5"], "stream": STREAM}, -32602),
            ("declare", {"stream": STREAM}, "no-such-application"),
            ("declare", {"vlans": ["5"], "application": "msrp"}, -32602),
            ("streams", {}, "no-such-application"),
            ("attributes", {"application": "msrp"}, "no-such-application"),
            ("registration", {"mode": "fixed"}, -32602),
            ("registration", {"port": "v0", "mode": "other"}, -32602),
            ("get", {"application": "mvrp", "name": "mrpConfig.leaveTime"}, {"value": 0.3}),
            ("get", {"application": "mvrp", "name": "no.such"}, -32602),
            ("set", {"application": "mvrp", "name": "mrpSm.initialized", "value": False}, -32602),
            ("set", {"application": "mvrp", "name": "mrpConfig.leaveTime"}, -32602),
            ("trace", {"application": "mvrp", "level": 12}, -32602),
            ("watch", {"kinds": ["no such kind"]}, -32602), ("activate", {}, {})):
        assert outcome(raw(a.control, request(method, params))[0]) == wanted, (method, params)
    for method in ("set", "declare", "withdraw", "registration", "leave-all", "activate", "reload",
                   "trace"):
        assert outcome(raw(a.query, request(method))[0]) == "not-allowed", method


def test_what_is_shown(pair):
    a, b = pair
    b.call("declare", stream=STREAM)
    b.call("declare", listener={"streamId": "001b21aa99870002", "event": "asking-failed"})
    streams = {row["streamId"]: row for row in b.call("streams")}
    talker = streams["001b21aa99870001"]["talker"]
    assert {name: talker[name] for name in STREAM if name != "streamId"} == {
        name: value for name, value in STREAM.items() if name != "streamId"}
    assert talker["kind"] == "advertise" and talker["failure"] is None
    assert talker["bandwidth"] == (256 + 43) * 8 * 8000
    assert streams["001b21aa99870002"]["talker"] is None
    assert streams["001b21aa99870002"]["listener"]["event"] == "asking-failed"
    assert [(row["srClassId"], row["ours"], row["theirs"]) for row in b.call("domains")] == [
        (5, True, False), (6, True, False)]
    counters = b.call("counters")
    assert [row["application"] for row in counters["engines"]] == ["mvrp", "msrp"]
    mvrp = counters["ports"][0]
    assert mvrp["frames"]["received"] >= 1
    assert sum(mvrp["events"]["received"].values()) >= 1
    row, = b.call("vlans", vlan=10)
    assert row == {"port": "v0", "vlan": 10, "registered": True, "declared": False,
                   "programmed": None, "registration": "normal", "applicant": "VO",
                   "registrar": row["registrar"]}
    due = [row for row in b.call("timers") if row["application"] == "mvrp"]
    assert len(due) == 1 and due[0]["due"] <= due[0]["leaveAllTime"]
    assert 2 <= due[0]["leaveAllTime"] <= 3  # once to one and a half times the LeaveAll time
    attribute = next(row for row in b.call("attributes", type=1) if row["application"] == "mvrp")
    assert (attribute["key"], attribute["value"]) == ("10", "000a")
    # In a bridge nobody asks for streams.
    b.call("withdraw", stream={"streamId": "001b21aa99870001"})
    assert {row["streamId"] for row in b.call("streams") if row["talker"]} == set()


def test_a_bridge_declares_no_streams_of_its_own(net):
    net.name("a")
    bridge = net.agent("a", "--bridge", "br0", "--msrp-enabled", "true")
    assert outcome(raw(bridge.control, request("declare", {"stream": STREAM}))[0]) == "not-allowed"
    status = bridge.call("status")
    assert status["mode"] == "bridge" and status["bridge"] == "br0"
    assert status["kernel"]["vlanFiltering"] is False


def test_watching_and_tracing(pair):
    a, b = pair
    watch = Rpc(b.query)
    assert watch.call("watch", port="v0", kinds=["join", "leave", "tx", "port"]) == {}
    a.command("declare", "vlan", "20")
    seen = until(lambda: next((e for e in iter(watch.event, None) if e["kind"] == "join"), None))
    assert {k: seen[k] for k in ("port", "type", "key", "value", "application")} == {
        "port": "v0", "type": 1, "key": "20", "value": "0014", "application": "mvrp"}
    assert isinstance(seen["time"], float)
    watch.close()
    level = b.call("get", application="mvrp", name="mrpConfig.leaveTime")
    trace = subprocess.Popen([MRP, "trace", "8", "--socket", b.control, "--application", "mvrp"],
                             stdout=subprocess.PIPE, text=True)
    a.command("declare", "vlan", "21")
    line = trace.stdout.readline()
    assert line.split()[0] == "mvrp" and line.split()[1].lstrip("-").isdigit()
    trace.terminate()
    trace.wait(BOUND)
    trace.stdout.close()
    assert level == b.call("get", application="mvrp", name="mrpConfig.leaveTime")


def test_clients_that_do_not_read(pair):
    """Answers that nobody takes end a connection; events are left out, counted and told."""
    a, b = pair
    a.command("declare", "vlan", "1-4094")
    b.registers("v0", ["1-4094"])
    slow = socket.socket(socket.AF_UNIX)
    slow.settimeout(BOUND)
    slow.connect(b.query)
    with pytest.raises((BrokenPipeError, ConnectionResetError, socket.timeout)):
        while True:
            slow.sendall(request("vlans"))
    slow.close()
    watcher = Rpc(b.query)
    watcher.call("watch")
    reader = Rpc(b.query)
    reader.call("watch", kinds=["join", "leave", "overrun"])
    read = []
    rounds = 8
    # Each round: 4,093 leaves (10 is the file's, and stays) and as many joins.
    thread = threading.Thread(target=lambda: read.extend(
        reader.event()["kind"] for _ in range(rounds * 2 * 4093)))
    thread.start()
    for _ in range(rounds):
        a.command("withdraw", "vlan", "1-4094")
        b.registers("v0", ["10"])
        a.command("declare", "vlan", "1-4094")
        b.registers("v0", ["1-4094"])
    # Who reads loses nothing, and is not held up by who does not.
    thread.join(BOUND)
    assert not thread.is_alive() and "overrun" not in read
    reader.close()
    kinds = Counter()
    while not kinds["overrun"]:
        event = watcher.event()
        kinds[event["kind"]] += 1
    assert event["lost"] > 0 and kinds["join"] > 4000
    watcher.close()


def test_tables_fit(pair):
    a, b = pair
    a.command("declare", "vlan", ",".join(str(vlan) for vlan in range(1, 4094, 2)))
    b.call("declare", stream=STREAM)
    until(lambda: len(b.mvrp("v0")["registered"]) > 2000, "registered")
    for what in ("status", "ports", "vlans", "streams", "domains", "counters", "timers"):
        shown = b.command("show", what).stdout
        assert shown and max(len(line) for line in shown.splitlines()) <= 100, what
        assert json.loads(b.command("show", what, "--json").stdout) is not None
    assert max(len(line) for line in b.command("get").stdout.splitlines()) <= 100
    # Nobody there, no permission, wrong usage: three ends.
    assert b.command("show", "vlans", "--vlan", "9999", check=False).returncode == 2
    os.chmod(b.folder, 0o711)
    os.chmod(os.path.dirname(b.folder), 0o711)
    refused = subprocess.run(
        ["setpriv", "--reuid", "nobody", "--regid", "nogroup", "--clear-groups", MRP, "reload", "--socket", b.control],
        capture_output=True, text=True, check=False)
    assert refused.returncode == 1
    assert b.control in refused.stderr and "group" in refused.stderr


def test_any_value_by_name_leaves_the_agent_alive(pair):
    """Whatever a privileged client writes into what the engines describe."""
    _, b = pair
    values = (None, True, 0, 1, -1, 255, 65536, 1 << 40, 1e300, 0.05, "", "x", "00:11:22:33:44:55",
              [], {}, "mvrp", "v0")
    client = Rpc(b.control)
    for application in ("mvrp", "msrp"):
        for row in client.call("get", application=application):
            for value in values if row["settable"] else ():
                try:
                    client.call("set", application=application, name=row["name"], value=value)
                except RuntimeError:
                    pass
    assert client.call("status")["active"]
    client.close()
