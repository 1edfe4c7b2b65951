"""What the agent reserves for streams in a kernel's bridge: entries, shapers, and frames that flow.

    talker s1 --- p1 | br0 | p2 --- s2 listener
                           | p3 --- s3 listener
"""

import contextlib
import json
import os
import re
import signal
import subprocess

import pytest

from conftest import BOUND, run, until
from test_web import Web, browser

SETTINGS = """
[agent]
bridge = "br0"
state = "{state}"
[msrp]
enabled = true
[port.p2]
rate = 100000000
[port.p3]
rate = 100000000
"""

SEND = """
import select, socket, struct, sys
group, count = bytes.fromhex(sys.argv[1]), int(sys.argv[2])
s = socket.socket(socket.AF_PACKET, socket.SOCK_RAW)
s.bind(("v0", 0))
source = bytes.fromhex("020000000077")
n = 0
while n < count or count == 0:
    s.send(group + source + bytes.fromhex("8100600288b6") + struct.pack("!I", n) + bytes(60))
    n += 1
    # Until nobody reads any more, a few milliseconds apart.
    if count == 0 and select.select([sys.stdin], [], [], 0.005)[0]:
        break
# What everybody gets.
s.send(bytes.fromhex("03000000aa01") + source + bytes.fromhex("8100000288b5") + bytes(60))
print(n, flush=True)
"""

# The numbers of a stream's frames, up to the frame that everybody gets.
RECEIVE = """
import socket, struct, sys
s = socket.socket(socket.AF_PACKET, socket.SOCK_RAW)
s.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 24)
s.bind(("v0", 3))
s.settimeout(60)
print("ready", flush=True)
group, last, numbers = bytes.fromhex(sys.argv[1]), bytes.fromhex("03000000aa01"), []
while True:
    frame = s.recv(2048)
    if frame[:6] == last:
        break
    if frame[:6] == group:
        at = frame.index(bytes.fromhex("88b6")) + 2
        numbers.append(struct.unpack_from("!I", frame, at)[0])
        if len(numbers) == 1:
            print("begun", flush=True)
print(*numbers, flush=True)
"""


class Streams:
    """A bridge that filters VLANs, its agent, and three stations that are members of VLAN 2."""

    def __init__(self, net, tmp_path, queues=(4, 4, 4)):
        self.net = net
        for n, count in zip((1, 2, 3), queues):
            made = net.ip("b", "link", "add", f"p{n}", "numtxqueues", str(count), "type", "veth",
                          "peer", "name", "v0", "netns", net.name(f"s{n}"))
            assert made.returncode == 0
            net.ip("b", "link", "set", f"p{n}", "up")
            net.ip(f"s{n}", "link", "set", "v0", "up")
        made = net.ip("b", "link", "add", "br0", "type", "bridge", "vlan_filtering", "1",
                      check=False)
        if made.returncode != 0:
            pytest.skip("no VLAN filtering in this kernel: " + made.stderr.strip())
        tried = run("tc", "-n", net.name("b"), "qdisc", "add", "dev", "p1", "root", "mqprio",
                    "num_tc", "2", *"map 0 0 0 1 0 0 0 0 0 0 0 0 0 0 0 0".split(), "queues",
                    "1@0", "1@1", "hw", "0", check=False)
        if tried.returncode != 0:
            pytest.skip("no mqprio in this kernel: " + tried.stderr.strip())
        run("tc", "-n", net.name("b"), "qdisc", "del", "dev", "p1", "root")
        net.ip("b", "link", "set", "br0", "up")
        for n in (1, 2, 3):
            net.ip("b", "link", "set", f"p{n}", "master", "br0")
        self.file = tmp_path / "mrp.toml"
        self.file.write_text(SETTINGS.format(state=tmp_path / "state"))
        self.agent = self.start()
        self.stations = {n: net.agent(f"s{n}", "--ports", "v0", "--msrp-enabled", "true",
                                      "--declare", "2") for n in (1, 2, 3)}
        until(lambda: [r["theirs"] for r in self.agent.call("domains")] == [True] * 6,
              "domains of all stations")
        until(lambda: all("2" in p["mvrp"]["programmed"] for p in self.agent.call("ports")),
              "VLAN 2 on all ports")

    def start(self):
        return self.net.agent("b", "--config", str(self.file))

    def talks(self, stream, octets, to="91:e0:f0:00:fe"):
        self.stations[1].command(
            "declare", "stream", "--id", f"001b21aa9987{stream:04x}", "--dmac",
            f"{to}:{stream:02x}", "--vlan", "2", "--max-frame-size", str(octets),
            "--interval-frames", "1")

    def listens(self, station, stream):
        self.stations[station].command("declare", "listener", "--id",
                                       f"001b21aa9987{stream:04x}")

    def fate(self, port, stream):
        for row in self.agent.call("streams", port=port):
            if row["streamId"] == f"001b21aa9987{stream:04x}":
                return row["fate"] or {}
        return {}

    def heard(self, station, stream, what):
        for row in self.stations[station].call("streams", port="v0"):
            if row["streamId"] == f"001b21aa9987{stream:04x}" and row[what]:
                return row[what]
        return {}

    def entries(self):
        """Ports by group address, of permanent entries, as the kernel shows them."""
        shown = self.net.bridge("b", "mdb", "show").stdout
        found = re.findall(r"port (\S+) grp (91:\S+) permanent .*vid (\d+)", shown)
        return sorted(found)

    def shapers(self, port):
        shown = run("tc", "-n", self.net.name("b"), "-j", "qdisc", "show", "dev", port).stdout
        return {q["parent"].split(":")[1]: q["options"]["idleslope"]
                for q in json.loads(shown or "[]") if q["kind"] == "cbs"}

    def root(self, port):
        shown = run("tc", "-n", self.net.name("b"), "-j", "qdisc", "show", "dev", port).stdout
        return [q["kind"] for q in json.loads(shown or "[]") if q.get("root")]

    def send(self, stream, count):
        sent = run("ip", "netns", "exec", self.net.name("s1"), "python3", "-c", SEND,
                   f"91e0f000fe{stream:02x}", str(count))
        return int(sent.stdout)

    @contextlib.contextmanager
    def receiver(self, station, stream):
        """A function that waits for a line of a receiver of a stream's frames."""
        process = subprocess.Popen(
            ["ip", "netns", "exec", self.net.name(f"s{station}"), "python3", "-c", RECEIVE,
             f"91e0f000fe{stream:02x}"], stdout=subprocess.PIPE, stdin=subprocess.DEVNULL)
        try:
            assert process.stdout.readline() == b"ready\n"
            yield lambda: process.stdout.readline().decode().strip()
        finally:
            process.kill()
            process.wait(BOUND)
            process.stdout.close()

    def reserved(self, port, slope):
        until(lambda: self.shapers(port) == slope, f"{port} is shaped {slope}, not "
              f"{self.shapers(port)}: {self.agent.text()}")


@pytest.fixture
def streams(net, tmp_path):
    return Streams(net, tmp_path)


def test_a_stream_reaches_who_asked_for_it(streams):
    s = streams
    s.talks(1, 800)
    until(lambda: s.fate("p2", 1).get("declared") == "advertise", "advertised on p2")
    assert s.entries() == [] and s.shapers("p2") == {}
    s.listens(2, 1)
    s.reserved("p2", {"1": 53952})
    assert s.entries() == [("p2", "91:e0:f0:00:fe:01", "2")]
    assert s.root("p2") == ["mqprio"] and s.root("p3") == ["noqueue"]
    until(lambda: s.heard(1, 1, "listener").get("event") == "ready", "the talker hears of it")
    with s.receiver(2, 1) as at2, s.receiver(3, 1) as at3:
        assert s.send(1, 50) == 50
        assert at2() == "begun"
        assert at2() == " ".join(map(str, range(50)))
        assert at3() == ""
    # They went by the queue of their class.
    shown = run("tc", "-n", s.net.name("b"), "-s", "-j", "qdisc", "show", "dev", "p2").stdout
    assert [q["packets"] for q in json.loads(shown) if q["kind"] == "cbs"] == [50], shown
    fate = s.fate("p2", 1)
    assert (fate["needed"], fate["allowed"], fate["left"]) == (53952000, 75000000, 21048000)
    rows = {(r["port"], r["srClassId"]): r for r in s.agent.call("bandwidth")}
    assert rows["p2", 6]["reserved"] == 53952000 and rows["p2", 6]["idleSlope"] == 53952000
    assert rows["p2", 6]["boundary"] is False and rows["p1", 6]["rate"] == 10000000000


def test_a_stream_that_does_not_fit(streams):
    s = streams
    s.talks(1, 800)
    s.listens(2, 1)
    s.reserved("p2", {"1": 53952})
    with s.net.capture("s2", "v0") as at2, s.net.capture("s1", "v0") as at1:
        s.talks(2, 800)
        s.listens(2, 2)
        until(lambda: s.heard(1, 2, "listener").get("event") == "asking-failed", "asking failed")
        # As an independent decoder reads it.
        until(lambda: any(row.split(",")[0] == "1" for row in at2("mrp-msrp.failure_code")),
              "the failure code")
        until(lambda: any(row.split(",")[0] == "1"  # Asking Failed
                          for row in at1("mrp-msrp.four_packed_event")), "the declaration type")
    fate = s.fate("p2", 2)
    assert (fate["failureCode"], fate["failure"]) == (1, "insufficient bandwidth")
    assert s.heard(2, 2, "talker")["failureCode"] == 1
    assert s.fate("p3", 2)["declared"] == "advertise"
    assert len(s.entries()) == 1
    # A smaller one fits on top; the queue is shaped for the sum.
    s.talks(3, 80)
    s.listens(2, 3)
    s.reserved("p2", {"1": 61824})
    assert len(s.entries()) == 2
    # The talker leaves: what was reserved goes, and what did not fit comes in its place.
    s.stations[1].command("withdraw", "stream", "--id", "001b21aa99870001")
    s.reserved("p2", {"1": 61824})
    until(lambda: s.entries() == [("p2", "91:e0:f0:00:fe:02", "2"),
                                  ("p2", "91:e0:f0:00:fe:03", "2")], "other entries")
    s.stations[1].stop()
    s.reserved("p2", {})
    assert s.entries() == []


def test_what_a_page_tells_of_reservations(streams):
    s = streams
    s.talks(1, 800)
    s.listens(2, 1)
    s.reserved("p2", {"1": 53952})
    web = Web(s.net, s.agent)
    try:
        def metrics(family):
            lines = web.ask("/metrics")[2].splitlines()
            return {line.split()[0]: float(line.split()[1]) for line in lines
                    if line.startswith(family + "{")}

        until(lambda: metrics("mrp_reservations") == {'mrp_reservations{port="p2",class="6"}': 1},
              "a reservation")
        bandwidth = metrics("mrp_bandwidth_bits_per_second")
        for what, bits in (("limit", 75000000), ("reserved", 53952000), ("left", 21048000)):
            of = f'mrp_bandwidth_bits_per_second{{port="p2",class="6",what="{what}"}}'
            assert bandwidth[of] == bits, bandwidth
        if os.environ.get("MRP_PICTURE"):
            show_bandwidth(s, web, os.environ["MRP_PICTURE"])
        s.stations[2].command("withdraw", "listener", "--id", "001b21aa99870001")
        until(lambda: metrics("mrp_reservations") == {}, "none")
    finally:
        web.close()


def show_bandwidth(s, web, picture):
    """The page's meters, with one stream and with two. A browser takes more memory than tests give the kernel."""
    def meters():
        return page.execute_script(
            "return [...document.querySelectorAll('meter')].map((one) => one.getAttribute('aria-label'))")

    page = browser.start()
    try:
        page.get(web.url)
        until(lambda: page.execute_script("return document.documentElement.dataset.ready === 'true'"),
              "the page", bound=120)
        page.execute_script("mrpLive.show('ports')")
        until(lambda: "53,952 kb/s of 75,000 kb/s reserved" in meters(), lambda: f"a meter: {meters()}")
        s.talks(2, 80)
        s.listens(2, 2)
        until(lambda: "61,824 kb/s of 75,000 kb/s reserved" in meters(), lambda: f"another: {meters()}")
        page.execute_script("document.querySelector('meter').scrollIntoView()")
        page.save_screenshot(picture)
        print(run("tc", "-n", s.net.name("b"), "qdisc", "show", "dev", "p2").stdout)
        print(s.net.bridge("b", "mdb", "show").stdout)
        s.stations[1].command("withdraw", "stream", "--id", "001b21aa99870002")
    finally:
        page.quit()


def test_a_restart_does_not_stop_the_stream(streams):
    s = streams
    s.net.bridge("b", "mdb", "add", "dev", "br0", "port", "p3", "grp", "91:e0:f0:00:fe:63",
                 "permanent", "vid", "2")
    s.talks(1, 800)
    s.talks(2, 80)
    s.listens(2, 1)
    s.listens(2, 2)
    s.reserved("p2", {"1": 61824})
    s.agent.written()
    before = run("tc", "-n", s.net.name("b"), "qdisc", "show", "dev", "p2").stdout
    with s.receiver(2, 1) as at2:
        sender = subprocess.Popen(
            ["ip", "netns", "exec", s.net.name("s1"), "python3", "-c", SEND, "91e0f000fe01", "0"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        assert at2() == "begun"
        s.agent.stop(signal.SIGKILL)
        s.agent = s.start()
        # Also when what nobody has asked for again is over.
        until(lambda: s.agent.call("status")["uptime"] > 3, "some time")
        assert s.fate("p2", 1)["reserved"] and s.fate("p2", 2)["reserved"]
        sent = int(sender.communicate(b"\n", timeout=BOUND)[0])
        assert at2() == " ".join(map(str, range(sent)))
    assert run("tc", "-n", s.net.name("b"), "qdisc", "show", "dev", "p2").stdout == before
    s.agent.stop()
    assert s.root("p2") == ["noqueue"]
    # Somebody else's.
    assert s.entries() == [("p3", "91:e0:f0:00:fe:63", "2")]


def test_a_talker_that_is_silent_after_a_restart(streams):
    s = streams
    s.talks(1, 800)
    s.listens(2, 1)
    s.reserved("p2", {"1": 53952})
    s.agent.written()
    s.agent.stop(signal.SIGKILL)
    s.stations[1].stop(signal.SIGKILL)
    s.agent = s.start()
    s.reserved("p2", {})
    assert s.entries() == []


def test_a_port_without_queues(net, tmp_path):
    s = Streams(net, tmp_path, queues=(4, 4, 1))
    s.talks(1, 80)
    s.listens(3, 1)
    until(lambda: s.fate("p3", 1).get("failureCode") == 2, "refused")
    assert s.heard(3, 1, "talker")["failureCode"] == 2
    refused = s.agent.call("status")["kernel"]["refused"]
    assert len(refused) == 1 and refused[0].startswith("p3: the queues cannot be shaped"), refused
    assert s.agent.text().count("p3: the queues cannot be shaped") == 1
    assert s.entries() == []
    s.listens(2, 1)
    s.reserved("p2", {"1": 7872})


def test_an_individual_address(streams):
    s = streams
    s.talks(1, 80, to="02:00:00:00:fe")
    s.listens(2, 1)
    s.reserved("p2", {"1": 7872})

    def ports():
        shown = s.net.bridge("b", "fdb", "show", "br", "br0").stdout
        return re.findall(r"02:00:00:00:fe:01 dev (\S+) .*vlan 2 .*static", shown)

    assert ports() == ["p2"]
    # It is behind one port.
    s.listens(3, 1)
    until(lambda: s.fate("p3", 1).get("failureCode") == 2, "refused on p3")
    assert ports() == ["p2"]
    s.stations[2].stop()
    s.reserved("p2", {})
    until(lambda: ports() == ["p3"], "behind p3 instead")


def test_a_port_under_another_name(streams):
    s = streams
    s.talks(1, 80)
    s.listens(2, 1)
    s.reserved("p2", {"1": 7872})
    s.net.ip("b", "link", "set", "p2", "down")
    until(lambda: s.entries() == [], "nothing without carrier")
    s.net.ip("b", "link", "set", "p2", "name", "other2")
    until(lambda: s.root("other2") != ["mqprio"], "its queues are given back")
    s.net.ip("b", "link", "set", "other2", "up")
    s.reserved("other2", {"1": 7872})
    assert s.entries() == [("other2", "91:e0:f0:00:fe:01", "2")]
    assert s.agent.stop() == 0
    assert s.entries() == [] and s.root("other2") == ["noqueue"]
