"""docs/operations.md, followed line by line: every command of its console blocks, every answer as it stands there."""

import os
import re
import subprocess

import pytest

from conftest import MRP

PAGE = os.path.join(os.path.dirname(__file__), "../../docs/operations.md")

# A host of its own: its files of configuration, state and sockets, and the service manager's part.
HOST = r"""
set -u
mount -t tmpfs tmpfs /var/lib && mkdir /var/lib/mrp
export PATH="$FOLDER/bin:$PATH" TERM=dumb
cp -a /etc "$FOLDER/etc" && mount --bind "$FOLDER/etc" /etc && mkdir -p /etc/mrp
mount -t tmpfs tmpfs /run/mrp
command -v mrp || exit 1
systemctl() {
  case "$1" in
    start)
      mrp agent 2>"$FOLDER/agent.log" &
      agent=$!
      until mrp show ports --json 2>/dev/null | grep -q '"declared":\["1","10","20-29"' &&
            mrp show ports --json | grep -q '"registered":\["1","30"\]'; do sleep 0.05; done
      until mrp show status | grep -q ' 0 behind'; do sleep 0.05; done ;;
    kill) kill -9 $agent; wait $agent 2>/dev/null ;;
    stop) kill $agent; wait $agent ;;
  esac
}
settled() { until [ "$(mrp show vlans 2>/dev/null | grep -c 'QP\|AA\|VP')" = 0 ]; do sleep 0.05; done; }
"""


def blocks(kind):
    with open(PAGE, encoding="utf-8") as page:
        return re.findall(r"^```" + kind + r"\n(.*?)^```", page.read(), re.M | re.S)


def steps():
    for block in blocks("console"):
        for part in re.split(r"^\$ ", block, flags=re.M)[1:]:
            command, _, answer = part.partition("\n")
            yield command, answer


def masked(text):
    """Times, numbers of processes and of interfaces are another run's."""
    text = re.sub(r"\d+\.\d+ s\b", "TIME", text)
    text = re.sub(r" +TIME", " TIME", text)
    return re.sub(r"process \d+|index \d+", "NUMBER", text)


def test_the_page_says_what_one_gets(net):
    for n in (1, 2):
        net.wire("b", f"eth{n}", f"s{n}", "eth0")
        net.ip("b", "link", "set", f"eth{n}", "address", f"02:00:00:00:00:1{n}")
        net.ip(f"s{n}", "link", "set", "eth0", "address", f"02:00:00:00:00:2{n}")
    if net.ip("b", "link", "add", "try0", "type", "bridge", "vlan_filtering", "1",
              check=False).returncode != 0:
        pytest.skip("no VLAN filtering in this kernel")
    net.ip("b", "link", "del", "try0")
    net.agent("s1", "--ports", "eth0", "--declare", "10,20-29", short=False)
    net.agent("s2", "--ports", "eth0", "--declare", "30", short=False)
    folder = net.folder
    os.mkdir(os.path.join(folder, "bin"))
    os.symlink(MRP, os.path.join(folder, "bin", "mrp"))
    made = not os.path.exists("/run/mrp")
    if made:
        os.mkdir("/run/mrp")
    toml = blocks("toml")[0]
    script = HOST + f"cat >/etc/mrp/mrp.toml <<'END'\n{toml}END\n"
    commands = list(steps())
    for number, (command, _) in enumerate(commands):
        script += f"echo '@@{number}'\n{{ {command}\n}} 2>&1\n"
        script += "settled\n" if command.startswith(("mrp declare", "mrp withdraw")) else ""
    done = subprocess.run(
        ["unshare", "--mount", "ip", "netns", "exec", net.name("b"), "bash", "-c", script],
        env=dict(os.environ, FOLDER=folder), capture_output=True, text=True, timeout=120,
        stdin=subprocess.DEVNULL, check=False)
    if made:
        os.rmdir("/run/mrp")
    answers = dict(re.findall(r"^@@(\d+)\n(.*?)(?=^@@|\Z)", done.stdout, re.M | re.S))
    for number, (command, wanted) in enumerate(commands):
        got = answers.get(str(number), "(nothing ran)" + done.stderr)
        assert masked(got) == masked(wanted), f"$ {command}\n{got}"
    assert len(commands) > 20
