"""State across a reboot of the kernel: MRP_BOOT says which life this is, MRP_STATE where it is kept.

scripts/test-kernel runs both, one User-Mode Linux after the other.
"""

import os
import signal

import pytest

from conftest import until
from test_kernel import entries, has

BOOT = os.environ.get("MRP_BOOT", "")
STATE = os.environ.get("MRP_STATE", "")


@pytest.fixture
def bridge(net):
    for n in (1, 2):
        net.wire("b", f"p{n}", f"s{n}", "v0")
    net.bridge_of("b", ["p1", "p2"], options=("vlan_filtering", "1"))
    return net


@pytest.mark.skipif(BOOT != "1", reason="the first life of two: scripts/test-kernel")
def test_what_a_life_leaves(bridge):
    agent = bridge.agent("b", "--bridge", "br0", "--state", STATE)
    bridge.agent("s1", "--ports", "v0", "--declare", "10-12")
    has(bridge, "p1", ["1", "10-12"])
    agent.command("declare", "vlan", "77")
    agent.command("registration", "forbidden", "99", "--port", "p2")
    agent.declares("p2", ["1", "10-12", "77"])
    agent.written()
    agent.stop(signal.SIGKILL)


@pytest.mark.skipif(BOOT != "2", reason="the second life of two: scripts/test-kernel")
def test_what_the_next_one_makes_of_it(bridge):
    # Somebody has made an entry since the boot: what the agent claimed before it is void.
    bridge.bridge("b", "vlan", "add", "dev", "p1", "vid", "11")
    s2 = bridge.agent("s2", "--ports", "v0")
    agent = bridge.agent("b", "--bridge", "br0", "--state", STATE)
    assert agent.mvrp("p1")["fixed"] == ["1", "11"]
    s2.registers("v0", ["1", "10-12", "77"])  # with the first LeaveAll, before s1 says a word
    assert agent.mvrp("p2")["forbidden"] == ["99"]
    # s1 is silent: a leave time later only what somebody else made is left.
    s2.registers("v0", ["1", "11", "77"])
    has(bridge, "p1", ["1", "11"])
    agent.command("withdraw", "vlan", "77")
    until(lambda: agent.mvrp("p2")["declared"] == ["1", "11"], "withdrawn")
    agent.stop()
    assert entries(bridge, "p1") == ["1", "11"]
