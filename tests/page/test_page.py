"""The page that `mrp replay --html` writes, in a browser, against what the same replay prints."""

import os
import re
import subprocess
import sys

import pytest

from conftest import ROOT

KEYS = {"down": "\ue015", "right": "\ue014", "enter": "\ue007", "back": "\ue003", "escape": "\ue00c"}
EXAMPLES = [
    ("examples/captures/mvrp-end-station.pcap",),
    ("examples/captures/msrp-talker-listener.pcap",),
    ("examples/scenarios/talker-and-listener.jsonl",),
    ("examples/scenarios/leave-all.jsonl",),
    ("examples/scenarios/switch-over.jsonl", "--standby", "--status", "examples/scenarios/switch-over.status.json"),
    ("examples/scenarios/bridge-vlans.jsonl", "--bridge"),
    ("examples/captures/streams-reservation.jsonl", "--bridge"),
    ("examples/captures/streams-bandwidth.jsonl", "--bridge"),
    ("examples/captures/streams-pre-emption.jsonl", "--bridge"),
    ("examples/captures/streams-domain-mismatch.jsonl", "--bridge"),
    ("examples/captures/streams-moved-talker.jsonl", "--bridge"),
]


def named(row):
    return row["port"], row["type"], row["key"]


def states(page, asked):
    """What the page says of attributes at times: [(port, type, key), seconds]."""
    return page.js("return arguments[0].map(([name, at]) => mrpPage.state(...name, at))", asked)


def check_final_states(run, page, rows):
    end = run.state["time"]
    for row, got in zip(rows, states(page, [(named(row), end) for row in rows])):
        assert got == {"registrar": row["registrar"], "applicant": row["applicant"]}, row


@pytest.mark.parametrize("example", EXAMPLES, ids=lambda example: os.path.basename(example[0]))
def test_an_example(example, replay, page):
    run = replay(*example)
    shown = page(run)
    sent = [line for line in run.lines if line["kind"] == "tx"]

    # Counts: frames by port, as marks.
    marks = shown.drawn("frame")
    for port in {line["port"] for line in sent}:
        shown.js("mrpPage.app.scrollTo(mrpPage.layout.topOfPort(mrpPage.model.ports.findIndex("
                 "(one) => one.name === arguments[0]))); mrpPage.view.scroll = mrpPage.app.scroller.scrollTop", port)
        marks = [one for one in shown.drawn("frame") if one["port"] == port and one["which"] == "sent"]
        assert [one["time"] / 1e9 for one in marks] == [line["time"] for line in sent if line["port"] == port]

    # Every attribute at the end; one that is not told is not there, or at rest.
    check_final_states(run, shown, run.state["attributes"])
    told = {named(row) for row in run.state["attributes"]}
    known = shown.js("return mrpPage.model.rows.map((row) =>"
                     " [mrpPage.model.ports[row.port].name, row.type, row.key])")
    others = [name for name in known if tuple(name) not in told]
    for name, got in zip(others, states(shown, [(name, run.state["time"]) for name in others])):
        assert got["registrar"] in (None, "MT") and got["applicant"] in (None, "VO", "AO", "QO"), name

    # What the application was told last at each moment, on its row as it is drawn.
    last = {(named(line), line["time"]): line for line in run.lines if line["kind"] in ("join", "leave")}
    for (name, at), line in last.items():
        if name[0] == "" or not shown.js("return mrpPage.row(...arguments[0]) >= 0", name):
            continue
        got = states(shown, [(name, at)])[0]["registrar"]
        assert (got in ("IN", "LV")) == (line["kind"] == "join"), line
        bars = shown.js("""
            const row = mrpPage.row(...arguments[0]);
            mrpPage.app.scrollTo(mrpPage.layout.topOfRow(row) - 100);
            mrpPage.view.scroll = mrpPage.app.scroller.scrollTop;
            const x = mrpPage.view.x(arguments[1] * 1e9);
            return mrpPage.drawn().filter((one) => one.kind === "bar" && one.machine === "registrar" &&
              one.row === mrpPage.model.rowText(row) && one.x0 <= x + 0.01 && one.x1 > x + 0.01);""", name, at)
        if got is not None and at < run.state["time"]:
            assert [bar["state"] for bar in bars if bar["count"] == 1] in ([got], []), line
            assert len(bars) == 1


def test_nothing_is_fetched(replay, page):
    run = replay(EXAMPLES[0][0])
    shown = page(run)
    assert shown.js("return performance.getEntriesByType('resource').length") == 0
    with open(run.page, encoding="utf-8") as file:
        source = file.read()
    assert not re.search(r"(src|href)\s*=|@import|url\(", source)
    assert "default-src 'none'" in source


def test_the_pointer_over_a_frame_shows_it_decoded(replay, page):
    run = replay("examples/scenarios/leave-all.jsonl")
    shown = page(run)
    mark = shown.drawn("frame")[-1]
    shown.mouse((mark["x0"] + mark["x1"]) / 2, (mark["y0"] + mark["y1"]) / 2)
    tip = shown.text("tip").splitlines()
    # The text form of the same run tells the same frame at the same time, in the same words.
    lines = run.text().splitlines()
    time = f"{mark['time'] / 1e9:.6f}"
    at = next(n for n, line in enumerate(lines) if line.split()[:2] == [time, "tx"])
    decoded = []
    for line in lines[at + 1:]:
        if not line.startswith(" " * 20):
            break
        decoded.append(line.strip())
    assert decoded and tip[2:] == decoded
    assert time in tip[0] and mark["port"] in tip[0]


def test_the_chain_of_what_a_leave_all_ended(replay, page):
    # VLAN 11 was not declared again after the neighbour's LeaveAll: its timer ended it.
    run = replay("examples/scenarios/leave-all.jsonl")
    left = next(line for line in run.lines if line["kind"] == "leave")
    shown = page(run)
    point = shown.js("""
        const row = mrpPage.model.rows[mrpPage.row(...arguments[0])];
        const fact = row.facts.findLast((one) => mrpPage.model.kind[one] === 3 &&
          mrpPage.model.time[one] === Math.round(arguments[1] * 1e9));
        mrpPage.app.cursorIs({ row: row.number });
        mrpPage.view.scroll = mrpPage.app.scroller.scrollTop;
        return mrpPage.view.pointOf(fact);""", named(left), left["time"])
    shown.mouse(*point, click=True)
    chain = shown.js("return mrpPage.view.selected.chain")
    told = shown.js("return arguments[0].map((fact) => factLine(mrpPage.model, fact))", chain)
    assert "LV → MT, leavetimer!" in told[0]
    assert "leave timer fired" in told[1]
    assert "IN → LV, rLA!" in told[2]
    assert "LeaveAll of VLAN received" in told[3]
    assert "received from" in told[4] and len(told) == 5
    # Each arrow leads from a cause to what it caused, between the places where both are drawn.
    arrows = shown.drawn("arrow")
    assert [(one["to"], one["from"]) for one in arrows] == list(zip(chain, chain[1:]))
    ends = shown.js("return arguments[0].map((fact) => mrpPage.view.pointOf(fact))", chain)
    for arrow, to, begin in zip(arrows, ends, ends[1:]):
        assert (arrow["x0"], arrow["y0"]) == tuple(begin) and (arrow["x1"], arrow["y1"]) == tuple(to)
    mark = next(one for one in shown.drawn("frame") if one["fact"] == chain[-1])
    assert mark["x0"] <= arrows[-1]["x0"] <= mark["x1"] and mark["y0"] <= arrows[-1]["y0"] <= mark["y1"]
    assert "leave timer fired" in shown.text("details")
    # The other way: the frame has caused it, and what it caused is marked.
    shown.mouse((mark["x0"] + mark["x1"]) / 2, (mark["y0"] + mark["y1"]) / 2, click=True)
    assert shown.js("return mrpPage.view.selected.effects.includes(arguments[0])", chain[0])
    assert chain[0] in [one["fact"] for one in shown.drawn("caused")]


def test_keys_alone(replay, page):
    run = replay("examples/scenarios/leave-all.jsonl")
    shown = page(run)
    shown.js("document.getElementById('picture').focus()")
    shown.press(KEYS["down"], KEYS["down"])
    row = shown.js("return mrpPage.model.rowText(mrpPage.view.cursor.row)")
    assert row in shown.text("spoken")
    shown.press(KEYS["right"])
    assert "MT → IN" in shown.text("spoken")
    shown.press(KEYS["enter"], KEYS["back"])
    assert "received from" in shown.text("spoken") and "What it caused".upper() in shown.text("details").upper()
    span = shown.js("return mrpPage.view.to - mrpPage.view.from")
    shown.press("+")
    assert shown.js("return mrpPage.view.to - mrpPage.view.from") < span
    shown.press("0", KEYS["escape"], "/", *"11-12")
    rows = {named(row)[2] for row in run.state["attributes"]} | {"11", "12"}
    assert shown.js("return mrpPage.layout.count") == len({key for key in rows if key in ("11", "12")})
    shown.press(KEYS["escape"])
    assert shown.js("return mrpPage.layout.filters.found") is None
    # Only what changes in view: nothing does after the last input.
    shown.look(run.state["time"] - 0.001, run.state["time"])
    shown.press("c")
    assert shown.js("return mrpPage.layout.count") == 0


def test_searching(replay, page):
    shown = page(replay("examples/captures/streams-reservation.jsonl", "--bridge"))

    def found(text):
        shown.js("mrpPage.app.searchIs(arguments[0])", text)
        return shown.js("return mrpPage.layout.sections.flatMap((one) => one.rows.map("
                        "(row) => mrpPage.model.rowText(row)))")

    stream = shown.js("return mrpPage.model.rows.find((row) => row.type === 1).name")
    assert found(stream) and all(stream in row for row in found(stream))
    assert found(stream.replace(":", "")) == found(stream)
    # A stream's destination address is in the talker's value.
    assert any("talker" in row for row in found("91:e0:f0"))
    assert found("no such thing") == []


@pytest.fixture(scope="module")
def large(tmp_path_factory):
    from conftest import Replay

    folder = tmp_path_factory.mktemp("large")
    scenario = folder / "large.jsonl"
    with open(scenario, "w", encoding="utf-8") as out:
        subprocess.run([sys.executable, os.path.join(ROOT, "tests/page/large.py")], stdout=out, check=True)
    return Replay(str(folder), [str(scenario)], ["--leave-all-time", "3000"])


def test_an_hour_of_eight_ports(large, page):
    shown = page(large)
    transitions = shown.js("return mrpPage.model.all.transitions.length")
    first = shown.js("return mrpPage.firstDrawing")
    print(f"\n{transitions} transitions: first drawing after {first:.0f} ms")
    assert transitions > 500_000
    assert shown.js("return mrpPage.model.rows.length") == len({named(r) for r in large.lines if r["kind"] == "join"})
    check_final_states(large, shown, large.state["attributes"][::37])

    # What a step of scrolling costs, in milliseconds: all of the hour in sight, and a minute of it.
    for seconds in (3600, 60):
        shown.look(0, seconds)
        steps = sorted(shown.js("""
            const { app, view, layout } = mrpPage;
            return Array.from({ length: 100 }, (_, step) => {
              app.scrollTo(layout.height * step / 100);
              view.scroll = app.scroller.scrollTop;
              const began = performance.now();
              view.draw();
              return performance.now() - began;
            });"""))
        print(f"a drawing of {seconds} s: {steps[50]:.1f} ms, at worst {steps[-1]:.1f}")

    # Rows are no elements, and what is drawn is bounded by the picture, not by the run.
    assert shown.js("return document.querySelectorAll('*').length") < 400
    room = shown.js("return (mrpPage.view.right - mrpPage.view.left) * (mrpPage.view.shownHeight / 10)")
    for density in range(6):
        shown.js("mrpPage.app.densityIs(arguments[0])", density)
        shown.js("mrpPage.app.scrollTo(mrpPage.layout.height / 2);"
                 "mrpPage.view.scroll = mrpPage.app.scroller.scrollTop")
        bars = shown.drawn("bar")
        rows = {bar["row"] for bar in bars}
        assert "port" in next(iter(rows)) and len(bars) < room
        assert not any(row.endswith("port1") for row in rows)
        # Crowded or not, bars of a lane neither overlap nor leave gaps where there is a state.
        row = sorted(rows)[len(rows) // 2]
        lane = sorted((bar for bar in bars if bar["row"] == row and bar["machine"] == "registrar"),
                      key=lambda bar: bar["x0"])
        assert all(one["x1"] <= two["x0"] + 0.01 for one, two in zip(lane, lane[1:]))
    shown.js("mrpPage.app.searchIs('100-102')")
    assert shown.js("return mrpPage.layout.count") == 24
