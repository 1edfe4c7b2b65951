"""`mrp web` beside a real agent: what it serves, to whom, and what it costs the agent."""

import http.client
import json
import os
import socket
import subprocess
import sys

import pytest

from conftest import BOUND, MRP, until

sys.path.insert(0, os.path.join(os.path.dirname(__file__), ".."))
import browser


class Web:
    def __init__(self, net, agent, *options):
        # It is nobody when root starts it.
        for folder in (net.folder, agent.folder):
            os.chmod(folder, 0o755)
        self.process = subprocess.Popen(
            [MRP, "web", "--listen", "127.0.0.1:0", "--socket", agent.query, *options], stdout=subprocess.PIPE,
            stdin=subprocess.DEVNULL, text=True)
        line = self.process.stdout.readline()
        assert line.startswith("mrp web: http://127.0.0.1:"), line
        self.url = line.split()[-1]
        self.port = int(self.url.rstrip("/").rsplit(":", 1)[1])

    def ask(self, path, method="GET", host=None, body=None):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=BOUND)
        try:
            connection.request(method, path, body=body, headers={"Host": host or f"127.0.0.1:{self.port}"})
            answer = connection.getresponse()
            return answer.status, dict(answer.getheaders()), answer.read().decode()
        finally:
            connection.close()

    def json(self, path):
        status, _, text = self.ask(path)
        assert status == 200, text
        return json.loads(text)

    def viewer(self):
        """A connection that looks on."""
        viewer = socket.create_connection(("127.0.0.1", self.port), timeout=BOUND)
        viewer.sendall(f"GET /events HTTP/1.1\r\nHost: 127.0.0.1:{self.port}\r\n\r\n".encode())
        head = b""
        while b"\r\n\r\n" not in head:
            head += viewer.recv(4096)
        assert b" 200 " in head.split(b"\r\n")[0], head
        return viewer

    def memory(self):
        with open(f"/proc/{self.process.pid}/status", encoding="utf-8") as status:
            return next(int(line.split()[1]) for line in status if line.startswith("VmRSS"))  # KiB

    def close(self):
        self.process.terminate()
        assert self.process.wait(BOUND) == 0
        self.process.stdout.close()


@pytest.fixture
def options():
    """Of the second station."""
    return []


@pytest.fixture
def web(net, options):
    """Two stations back to back, and a page beside the second."""
    net.wire("a", "v0", "b", "v0")
    b = net.agent("b", "--ports", "v0", *options)
    a = net.agent("a", "--ports", "v0", "--declare", "10,20-29")
    b.registers("v0", ["10", "20-29"])
    server = Web(net, b)
    server.a, server.b = a, b
    yield server
    server.close()


def test_what_is_served(web):
    status, headers, text = web.ask("/")
    assert status == 200 and "page.js" in text
    policy = headers["Content-Security-Policy"]
    assert "default-src 'none'" in policy and "unsafe" not in policy
    for path in ("/page.js", "/page.css"):
        assert web.ask(path)[0] == 200
    tables = web.json("/tables.json")
    assert tables["ports"][0]["mvrp"]["registered"] == ["10", "20-29"]
    picture = web.json("/picture.json?application=mvrp")
    assert sorted(map(int, picture["rows"]["key"])) == [10, *range(20, 30)]
    answer = web.json("/why?vlan=20&port=v0")["answers"][0]
    assert answer["known"] and "VLAN 20" in answer["state"]
    assert web.ask("/why?vlan=20&stream=0000000000000001")[0] == 400
    assert web.ask("/picture.json?application=other")[0] == 400
    assert web.ask("/../etc/passwd")[0] == 404


@pytest.mark.parametrize("options", [["--account", "0"]])
def test_an_agent_that_keeps_no_account_is_shown_as_it_is_found(web):
    def rows():
        picture = web.json("/picture.json?application=mvrp")
        return sorted(map(int, picture["rows"]["key"]))

    viewer = web.viewer()
    try:
        assert rows() == [10, *range(20, 30)]
        web.a.command("declare", "vlan", "77")
        until(lambda: 77 in rows(), "the new VLAN")
    finally:
        viewer.close()
    answer = web.json("/why?vlan=77&port=v0")["answers"][0]
    assert answer["known"] and "registered" in answer["state"]


def test_who_may_read_and_that_nobody_changes(web):
    for host in ("example.org", f"example.org:{web.port}", "127.0.0.1:1", "localhost.example.org", "192.0.2.1", "[::2]"):
        for path in ("/", "/tables.json", "/metrics", "/why?vlan=20"):
            assert web.ask(path, host=host)[0] == 403, host
    assert web.ask("/", host=f"localhost:{web.port}")[0] == 200
    for method in ("POST", "PUT", "DELETE", "PATCH", "OPTIONS"):
        assert web.ask("/why?vlan=20&port=v0", method=method)[0] == 405
    assert web.ask("/", method="POST", body="x" * 100000)[0] in (405, 413)
    # It is nobody, and the socket it uses changes nothing.
    if os.geteuid() == 0:
        with open(f"/proc/{web.process.pid}/status", encoding="utf-8") as status:
            lines = dict(line.split(":", 1) for line in status)
        assert "0" not in lines["Uid"].split() and int(lines["CapEff"], 16) == 0
    assert web.b.mvrp("v0")["registered"] == ["10", "20-29"]


def test_a_hundred_viewers_cost_the_agent_one_connection(web):
    viewers = [web.viewer() for _ in range(100)]
    try:
        web.a.command("declare", "vlan", "77")
        for viewer in viewers:
            seen = b""
            while b'"77"' not in seen:
                more = viewer.recv(1 << 16)
                assert more
                seen += more
        # Connected sockets of that name; the kernel lists them where their client is.
        with open("/proc/net/unix", encoding="utf-8") as sockets:
            accepted = [line for line in sockets if line.rstrip().endswith(web.b.query) and line.split()[5] == "03"]
        assert len(accepted) == 1
        assert web.json("/tables.json")["ports"][0]["mvrp"]["registered"] == ["10", "20-29", "77"]
    finally:
        for viewer in viewers:
            viewer.close()


def test_a_viewer_that_does_not_read(web):
    slow = web.viewer()
    quick = web.viewer()
    try:
        before = web.memory()
        for _ in range(6):
            web.a.command("declare", "vlan", "1000-4000")
            web.b.registers("v0", ["10", "20-29", "1000-4000"])
            web.a.command("withdraw", "vlan", "1000-4000")
            web.b.registers("v0", ["10", "20-29"])
        web.a.command("declare", "vlan", "78")
        seen = b""
        while b'"78"' not in seen:
            more = quick.recv(1 << 20)
            assert more
            seen = (seen + more)[-(1 << 20):]
        # The history is bounded, whoever reads; the picture by its facts.
        assert web.memory() - before < 150_000
    finally:
        slow.close()
        quick.close()


def test_metrics(web):
    parser = pytest.importorskip("prometheus_client.openmetrics.parser")
    status, headers, text = web.ask("/metrics")
    assert status == 200 and headers["Content-Type"].startswith("application/openmetrics-text")
    families = {family.name: family for family in parser.text_string_to_metric_families(text)}

    def value(family, **labels):
        return next(sample.value for sample in families[family].samples
                    if all(sample.labels.get(name) == text for name, text in labels.items()))

    assert value("mrp_up") == 1 and value("mrp_state_healthy") == 1 and value("mrp_active") == 1
    assert value("mrp_registrations", port="v0", type="vlan") == 11
    counters = web.b.call("counters")
    row = counters["ports"][0]
    # Counters only grow between the two questions.
    assert 0 < value("mrp_frames", direction="received") <= row["frames"]["received"]
    assert 0 < value("mrp_events", direction="received", event="JoinMt") <= row["events"]["received"]["JoinMt"]
    assert 11 <= value("mrp_transitions", port="v0") <= row["transitions"]
    assert value("mrp_indications", kind="join") == counters["engines"][0]["numOfJoinIndications"]
    # As many series with thousands of VLANs as with eleven.
    series = sum(len(family.samples) for family in families.values())
    web.a.command("declare", "vlan", "1000-4000")
    web.b.registers("v0", ["10", "20-29", "1000-4000"])
    more = list(parser.text_string_to_metric_families(web.ask("/metrics")[2]))
    assert sum(len(family.samples) for family in more) <= series + 2
    # Without an agent there are metrics still, and they say so.
    web.b.stop()
    until(lambda: "mrp_up 0" in web.ask("/metrics")[2], "no agent")


def test_the_page_follows(web):
    reason = browser.why_not()
    if reason:
        pytest.skip(reason)
    driver = browser.start()
    try:
        driver.get(web.url)
        # Every wait is for something that the page does.
        def happens(condition):
            return driver.execute_async_script("""
                const done = arguments[arguments.length - 1];
                const look = new Function("return " + arguments[0]);
                const turn = () => { if (look()) done(true); else requestAnimationFrame(turn); };
                turn();""", condition)

        happens("document.documentElement.dataset.ready === 'true'")
        assert driver.execute_script("return mrpPage.model.rows.length") == 11
        web.a.command("declare", "vlan", "77")
        happens("mrpPage.row('v0', 1, '77') >= 0")
        assert driver.execute_script("return mrpPage.state('v0', 1, '77', mrpPage.model.end / 1e9)")["registrar"] == "IN"
        driver.execute_script("mrpLive.show('ports')")
        happens("document.querySelector('[data-key=\\'r v0 77\\']')")
        driver.execute_script("document.querySelector('[data-key=\\'r v0 77\\']').click()")
        happens("document.getElementById('why').dataset.asked === '1'")
        assert "VLAN 77" in driver.execute_script("return document.getElementById('answer').innerText")
        assert [entry["message"] for entry in driver.get_log("browser") if "favicon" not in entry["message"]] == []
        picture = os.environ.get("MRP_PICTURES")
        if picture:
            driver.save_screenshot(os.path.join(picture, "live-ports.png"))
    finally:
        driver.quit()
