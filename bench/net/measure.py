"""Rows of the agent on real interfaces, each against a baseline of the same run. See docs/performance.md.

Usage: measure.py MRP TOOL [ROW...]   (scripts/bench-net)
"""

import json
import os
import resource
import subprocess
import sys
import time

os.environ["MRP"] = sys.argv[1]
TOOL = sys.argv[2]
sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../../tests/net"))

from conftest import Network, until, why_not  # noqa: E402

PORTS = 8
# Where two processes wake each other, both have to be on one processor, or that is what is measured.
PINNED = ("taskset", "-c", str(min(os.sched_getaffinity(0))))
QUIET = ("--leave-time", "60", "--leave-all-time", "3600")  # nothing but what is measured


class Row:
    def __init__(self, name, value, against, most):
        self.name, self.value, self.against, self.most = name, value, against, most

    def line(self):
        over = "  OVER" if self.most is not None and self.value > self.most else ""
        return f"{self.name:34} {self.value:9.3f}  at most {self.most}{over}   {self.against}"


def tool(net, namespace, *arguments, prefix=()):
    command = ([] if namespace is None else ["ip", "netns", "exec", net.name(namespace)]) + [
        *prefix, TOOL, *map(str, arguments)]
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise RuntimeError(done.stderr.strip())
    return [float(line) for line in done.stdout.split()]


def bridge_of(net, ports):
    for n in range(1, ports + 1):
        net.wire("b", f"p{n}", "s", f"v{n}")
    net.bridge_of("b", [f"p{n}" for n in range(1, ports + 1)])


def agent_on(net, *options, prefix=()):
    agent = net.agent("b", "--bridge", "br0", *QUIET, *options, short=False, prefix=prefix)
    until(lambda: all(port["forwarding"] for port in agent.call("ports")), "all forward")
    return agent


def processor_time(pid):
    """Nanoseconds of all threads."""
    total = 0
    for task in os.listdir(f"/proc/{pid}/task"):
        with open(f"/proc/{pid}/task/{task}/schedstat", encoding="ascii") as file:
            total += int(file.read().split()[0])
    return total


def children_time():
    """Nanoseconds of processes that have ended."""
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return (used.ru_utime + used.ru_stime) * 1e9


def wake_ups(pid):
    total = 0
    for task in os.listdir(f"/proc/{pid}/task"):
        with open(f"/proc/{pid}/task/{task}/status", encoding="ascii") as file:
            total += sum(int(line.split()[1]) for line in file if "ctxt_switches" in line)
    return total


def join_to_join(net):
    """From a Join on port 1 to the Join that leaves port 2; and frames by a bare loop on the same ports."""
    bridge_of(net, 2)
    ratios = []
    for _ in range(9):
        agent = agent_on(net, "--on-stop", "keep", prefix=PINNED)
        ours, = tool(net, "s", "join", "v1", "v2", 400, prefix=PINNED)
        agent.stop()
        # What the agent has kept blocks the relay of these frames: the loop alone hands them on.
        relay = net.execute("b", *PINNED, TOOL, "relay", "p1", "p2", stdout=subprocess.PIPE)
        try:
            relay.stdout.readline()
            bare, = tool(net, "s", "join", "v1", "v2", 400, prefix=PINNED)
        finally:
            relay.kill()
            relay.wait()
            relay.stdout.close()
        ratios.append((ours / bare, ours, bare))
    ratio, ours, bare = sorted(ratios)[len(ratios) // 2]
    return [Row("join to join", ratio, f"{ours / 1000:.1f} us against {bare / 1000:.1f} us of a bare loop", 2.0)]


def all_vlans(net):
    """4,094 VLANs in a frame, 8 ports, back to back: processor time of a frame, and memory."""
    bridge_of(net, PORTS)
    agent = agent_on(net)
    pid = agent.call("status")["pid"]
    wires = [f"v{n}" for n in range(1, PORTS + 1)]

    def received():
        return sum(row["frames"]["received"] for row in agent.call("counters")["ports"])

    tool(net, "s", "blast", 1, *wires)
    until(lambda: received() == PORTS, "received")
    # Both sides in turn, since what else the machine does comes and goes.
    rounds = []
    frames = 16
    for _ in range(9):
        before, began = received(), processor_time(pid)
        tool(net, "s", "blast", frames, *wires)
        until(lambda: received() == before + frames * PORTS, "received")
        ours = (processor_time(pid) - began) / (frames * PORTS)
        bare, memory = tool(net, None, "engine", 20)
        rounds.append((ours / bare, ours, bare))
    with open(f"/proc/{pid}/statm", encoding="ascii") as file:
        resident = int(file.read().split()[1]) * os.sysconf("SC_PAGESIZE")
    ratio, ours, bare = sorted(rounds)[len(rounds) // 2]
    rows = [Row("4,094 VLANs in a frame, 8 ports", ratio,
                f"{4094e3 / ours:.1f} million attributes a second, {4094e3 / bare:.1f} of the engine alone",
                1.5),
            Row("resident memory, MB above", (resident - memory) / 1e6,
                f"{resident / 1e6:.1f} MB, {memory / 1e6:.1f} MB of the engine alone", 12)]
    return rows + [shown_vlans(net, agent, pid)]


def shown_vlans(net, agent, pid):
    """Processor time of the command and of the agent that answers it."""
    path = os.path.join(net.folder, "vlans.json")

    def show(out):
        began = processor_time(pid) + children_time()
        subprocess.run([os.environ["MRP"], "show", "vlans", "--json", "--socket", agent.query],
                       check=True, stdout=out)
        return processor_time(pid) + children_time() - began

    with open(path, "wb") as file:
        show(file)
    rounds = []
    for _ in range(9):
        printed, = tool(net, None, "print", path)
        shown = show(subprocess.DEVNULL)
        rounds.append((shown / printed, shown, printed))
    ratio, shown, printed = sorted(rounds)[len(rounds) // 2]
    return Row("mrp show vlans --json", ratio,
               f"{shown / 1e6:.1f} ms of command and agent, {printed / 1e6:.1f} ms from memory, "
               f"{os.path.getsize(path) / 1e6:.1f} MB", 3.0)


def kernel_entries(net):
    """4,094 registrations into the kernel's bridge, where it filters VLANs."""
    net.wire("b", "p1", "s", "v1")
    made = net.ip("b", "link", "add", "br0", "type", "bridge", "vlan_filtering", "1", check=False)
    if made.returncode != 0:
        print(f"{'4,094 VLANs into the kernel':34}   no VLAN filtering in this kernel; in User-Mode "
              "Linux: scripts/in-uml scripts/bench-net", flush=True)
        return []
    net.ip("b", "link", "set", "br0", "up")
    net.ip("b", "link", "set", "p1", "master", "br0")
    by_hand, ours = tool(net, "b", "vlans", "p1")
    return [Row("4,094 VLANs into the kernel", ours / by_hand,
                f"{ours / 1e6:.2f} ms, {by_hand / 1e6:.2f} ms for one message by hand", 1.3)]


def idle(net):
    """Two ports, both applications, neighbours that are there and say what they always say."""
    bridge_of(net, 2)
    agent = net.agent("b", "--bridge", "br0", "--msrp-enabled", "true", short=False)
    net.agent("s", "--ports", "v1,v2", "--declare", "10-20", "--msrp-enabled", "true", short=False)
    pid = agent.call("status")["pid"]
    agent.registers("p1", ["10-20"])
    began, woken, used = time.monotonic(), wake_ups(pid), processor_time(pid)
    time.sleep(20)
    seconds = time.monotonic() - began
    return [Row("idle: wake-ups a second", (wake_ups(pid) - woken) / seconds, "2 ports, both applications",
                60),
            Row("idle: % of a core", (processor_time(pid) - used) / seconds / 1e7,
                "2 ports, both applications", 1)]


ROWS = {"join": join_to_join, "vlans": all_vlans, "kernel": kernel_entries, "idle": idle}


def main():
    reason = why_not()
    if reason:
        print("bench-net: no network namespaces: " + reason)
        return 77
    for name in sys.argv[3:] or ROWS:
        net = Network()
        try:
            for row in ROWS[name](net):
                print(row.line(), flush=True)
        finally:
            net.close()
    return 0


sys.exit(main())
