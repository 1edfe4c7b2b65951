"""Links that lose and delay frames, where the kernel has netem."""

import pytest

from conftest import until
from test_agent import bridge_of_three


@pytest.fixture
def lossy(net):
    agent = bridge_of_three(net)
    tc = ("qdisc", "replace", "dev", "v0", "root", "netem", "delay", "40ms", "20ms", "loss", "20%")
    for n in (1, 2, 3):
        made = net.execute(f"s{n}", "tc", *tc).wait()
        if made != 0:
            pytest.skip("no netem in this kernel")
        assert net.execute("b", "tc", *(f"p{n}" if w == "v0" else w for w in tc)).wait() == 0
    return net, agent


def test_loss_and_delay_are_made_good(lossy):
    net, agent = lossy
    s1 = net.agent("s1", "--ports", "v0", "--declare", "10-19,1000-3000")
    s2 = net.agent("s2", "--ports", "v0", "--declare", "30")
    s3 = net.agent("s3", "--ports", "v0")
    s3.registers("v0", ["10-19", "30", "1000-3000"], bound=60)
    s1.command("withdraw", "vlan", "1000-3000")
    s1.command("declare", "vlan", "50")
    s3.registers("v0", ["10-19", "30", "50"], bound=60)
    s2.stop()  # its Leaves may be lost: then a LeaveAll tells
    s1.registers("v0", [])
    s3.registers("v0", ["10-19", "50"], bound=60)


def test_a_wire_that_loses_everything_for_a_while(lossy):
    net, agent = lossy
    s1 = net.agent("s1", "--ports", "v0", "--declare", "10")
    s3 = net.agent("s3", "--ports", "v0")
    s3.registers("v0", ["10"], bound=60)
    net.execute("s1", "tc", "qdisc", "replace", "dev", "v0", "root", "netem", "loss", "100%").wait()
    s3.registers("v0", [], bound=60)
    assert agent.port("p1")["link"] == "up"
    net.execute("s1", "tc", "qdisc", "del", "dev", "v0", "root").wait()
    s3.registers("v0", ["10"], bound=60)
    until(lambda: agent.mvrp("p3")["declared"] == ["10"], "declared again")
