"use strict";

// The page over a running agent: the picture grows, tables are kept as they are, and every cell can
// be asked why.

const MOST_EVENTS = 300;
const MOST_STREAMS = 500;

class Live {
  constructor() {
    this.views = document.getElementById("views");
    this.section = document.getElementById("tables");
    this.events = [];
    this.lost = 0;
    this.tables = null;
    this.view = "";
    this.app = null;
    this.application = null;
    this.messages = 0;  // for tests: how many have come
  }

  async begin() {
    window.mrpLive = this;
    try {
      this.tables = await this.get("tables.json");
    } catch (error) {
      this.stateIs(false, error.message);
      this.views.hidden = false;
      setTimeout(() => location.reload(), 3000);
      return;
    }
    this.application = new URLSearchParams(location.search).get("application") ?? this.tables.status.applications[0];
    this.navigation();
    await this.picture();
    this.show(location.hash.startsWith("#view=") ? location.hash.slice(6) : "picture");
    document.documentElement.dataset.ready = "true";
  }
  async get(path) {
    const response = await fetch(path);
    const answer = await response.json();
    if (!response.ok) throw new Error(answer.error);
    return answer;
  }

  // The picture as it is now, and from there on what happens.
  async picture() {
    const data = await this.get(`picture.json?application=${this.application}`);
    if (this.app) return location.reload();
    this.app = new App(new Model(data), (row) => this.askRow(row));
    window.mrpPage = pageForTests(this.app, performance.now());
    this.source = new EventSource(`events?after=${data.after}`);
    const on = (kind, act) => this.source.addEventListener(kind, (event) => {
      act(JSON.parse(event.data));
      ++this.messages;
    });
    on("facts", ({ application, data: more }) => {
      if (application === this.application) this.app.grow(more);
    });
    on("tables", (tables) => {
      this.tables = tables;
      this.draw();
    });
    on("events", ({ events, more }) => {
      this.events = events.reverse().concat(this.events).slice(0, MOST_EVENTS);
      this.lost += more;
      if (this.view === "events") this.draw();
    });
    on("agent", ({ there }) => {
      this.stateIs(there);
      if (!there) this.wasLost = true;
      else if (this.wasLost) location.reload();
    });
    on("anew", () => location.reload());
    this.source.onerror = () => this.stateIs(false, "no connection");
    this.source.onopen = () => this.stateIs(true);
  }

  navigation() {
    const { views } = this;
    views.hidden = false;
    views.replaceChildren();
    for (const name of ["picture", "ports", "streams", "events"]) {
      const button = element(views, "button", name[0].toUpperCase() + name.slice(1));
      button.dataset.view = name;
      button.onclick = () => this.show(name);
    }
    for (const name of this.tables.status.applications) {
      if (name === this.application) continue;
      const button = element(views, "button", `${name.toUpperCase()} picture`);
      button.onclick = () => { location.search = `?application=${name}`; };
    }
    this.state = element(views, "span", "", "state");
    this.stateIs(true);
  }
  stateIs(there, text = there ? "live" : "no agent") {
    this.state ??= element(this.views, "span", "", "state");
    this.state.textContent = text;
    this.state.classList.toggle("lost", !there);
  }

  show(view) {
    this.view = view;
    const isPicture = view === "picture";
    document.getElementById("stage").hidden = !isPicture;
    document.querySelector(".tools").hidden = !isPicture;
    this.section.hidden = isPicture;
    this.app.isOver = !isPicture;
    if (!isPicture) document.getElementById("details").hidden = true;
    for (const button of this.views.querySelectorAll("[data-view]")) {
      button.setAttribute("aria-pressed", String(button.dataset.view === view));
    }
    this.draw();
  }
  draw() {
    const draw = { ports: () => this.drawPorts(), streams: () => this.drawStreams(), events: () => this.drawEvents() }[this.view];
    if (!draw) return;
    const { section } = this;
    // What has the focus keeps it.
    const focus = section.contains(document.activeElement) ? document.activeElement.dataset.key : null;
    const top = section.scrollTop;
    section.replaceChildren();
    draw();
    section.scrollTop = top;
    if (focus) section.querySelector(`[data-key="${CSS.escape(focus)}"]`)?.focus();
  }

  table(columns) {
    const table = element(this.section, "table");
    const head = element(element(table, "thead"), "tr");
    for (const column of columns) element(head, "th", column).scope = "col";
    const body = element(table, "tbody");
    return () => element(body, "tr");
  }
  drawPorts() {
    const { ports, counters, bandwidth } = this.tables;
    element(this.section, "h2", "Ports");
    const row = this.table(["Port", "Link", "Role", "Registered VLANs", "Declared VLANs", "Received", "Sent", "LeaveAll in"]);
    const frames = (port, which) => counters.ports.filter((one) => one.port === port)
      .reduce((sum, one) => sum + one.frames[which], 0);
    for (const port of ports) {
      const line = row();
      element(line, "td", port.port);
      element(line, "td", port.link, port.link === "up" ? "" : "bad");
      element(line, "td", port.role ?? (port.forwarding ? "forwards" : ""));
      this.vlans(element(line, "td"), port.port, port.mvrp?.registered ?? [], "r");
      this.vlans(element(line, "td"), port.port, port.mvrp?.declared ?? [], "d");
      element(line, "td", grouped.format(frames(port.port, "received")), "number");
      element(line, "td", grouped.format(frames(port.port, "sent")), "number");
      const due = port.mvrp?.leaveAllDue;
      element(line, "td", typeof due === "number" ? `${due.toFixed(1)} s` : "", "number");
    }
    this.drawBandwidth(bandwidth);
  }
  // One button for each VLAN or range, which asks about its first.
  vlans(cell, port, ranges, column) {
    for (const range of ranges) {
      const [first, last = first] = range.split("-").map(Number);
      this.why(cell, range, `${column} ${port} ${range}`, { vlan: first, port }, first, last);
    }
  }
  drawBandwidth(rows) {
    if (!rows || rows.length === 0) return;
    element(this.section, "h2", "Bandwidth for streams");
    const row = this.table(["Port", "Class", "Reserved", "", "Left", "Of"]);
    const rate = (bits) => `${grouped.format(Math.round(bits / 1000))} kb/s`;
    for (const one of rows) {
      const line = row();
      element(line, "td", one.port);
      const name = { 6: "A", 5: "B" }[one.srClassId] ?? one.srClassId;
      this.why(element(line, "td"), `class ${name}`, `b ${one.port} ${name}`, { class: one.srClassId, port: one.port });
      element(line, "td", rate(one.reserved), "number");
      const meter = element(element(line, "td"), "meter");
      meter.max = Math.max(1, one.limit);
      meter.value = one.reserved;
      meter.high = one.limit * 0.9;
      meter.setAttribute("aria-label", `${rate(one.reserved)} of ${rate(one.limit)} reserved`);
      element(line, "td", rate(one.left), "number");
      element(line, "td", rate(one.limit), "number");
    }
  }
  drawStreams() {
    const streams = this.tables.streams ?? [];
    element(this.section, "h2", countText(streams.length, "stream on a port", "streams on ports"));
    const row = this.table(["Port", "Stream", "Talker", "Destination", "VLAN", "Bandwidth", "Listener"]);
    for (const one of streams.slice(0, MOST_STREAMS)) {
      const line = row();
      const { talker, listener } = one;
      const ask = (cell, text, column) =>
        this.why(cell, text, `${column} ${one.port} ${one.streamId}`, { stream: one.streamId, port: one.port });
      element(line, "td", one.port);
      ask(element(line, "td"), one.streamId, "s");
      const failed = talker?.kind === "failed";
      ask(element(line, "td", "", failed ? "bad" : ""),
        talker ? `${talker.kind}${failed ? `, ${talker.failureCode} ${talker.failure ?? ""}` : ""} (${talker.registrar}, ${talker.applicant})` : "–", "t");
      element(line, "td", talker?.dmac ?? "");
      element(line, "td", talker?.vlanId ?? "", "number");
      element(line, "td", talker?.bandwidth ? `${grouped.format(Math.round(talker.bandwidth / 1000))} kb/s` : "", "number");
      ask(element(line, "td"), listener ? `${listener.event} (${listener.registrar}, ${listener.applicant})` : "–", "l");
    }
    if (streams.length > MOST_STREAMS) {
      element(this.section, "p", `and ${grouped.format(streams.length - MOST_STREAMS)} more`);
    }
  }
  drawEvents() {
    element(this.section, "h2", "Events, newest first");
    if (this.lost > 0) element(this.section, "p", `${grouped.format(this.lost)} more came too fast to be shown.`);
    const row = this.table(["Time", "What", "Application", "Port", "About"]);
    for (const event of this.events) {
      const { time, kind, application, port, ...rest } = event;
      const line = row();
      element(line, "td", typeof time === "number" ? timeText(Math.round(time * 1e9)) : "", "number");
      element(line, "td", kind);
      element(line, "td", application ?? "");
      element(line, "td", port ?? "");
      const cell = element(line, "td");
      const about = rest.text ?? Object.entries(rest).filter(([name]) => name !== "value")
        .map(([name, value]) => `${name} ${Array.isArray(value) ? value.join(",") : value}`).join(", ");
      if (application === "mvrp" && rest.key) this.why(cell, about, `e ${time} ${port} ${rest.key}`, { vlan: Number(rest.key), port });
      else cell.textContent = about;
    }
  }

  // --- Why ----------------------------------------------------------------------------------------

  why(cell, text, key, params, first, last) {
    const button = element(cell, "button", text);
    button.dataset.key = key;
    button.title = "Why?";
    button.onclick = () => this.ask(params, first, last);
  }
  askRow(row) {
    const { model } = this.app;
    const port = model.ports[row.port].name;
    if (model.types.length === 1) return this.ask({ vlan: Number(row.key), port });
    if (model.typeText(row) === "domain") return this.ask({ class: Number(row.key), port });
    return this.ask({ stream: BigInt(row.key).toString(16).padStart(16, "0"), port });
  }
  async ask(params, first, last) {
    const dialog = document.getElementById("why");
    const body = document.getElementById("answer");
    body.replaceChildren();
    let answers = [];
    try {
      answers = (await this.get(`why?${new URLSearchParams(params)}`)).answers;
    } catch (error) {
      element(body, "p", error.message, "bad");
    }
    for (const answer of answers) this.answer(body, answer);
    if (last > first) {
      const bar = element(body, "p");
      for (const [text, vlan] of [["◂", params.vlan - 1], ["▸", params.vlan + 1]]) {
        const button = element(bar, "button", `${text} VLAN ${vlan}`);
        button.disabled = vlan < first || vlan > last;
        button.onclick = () => this.ask({ ...params, vlan }, first, last);
      }
    }
    if (!dialog.open) dialog.showModal();
    dialog.dataset.asked = String(Number(dialog.dataset.asked ?? 0) + 1);
  }
  answer(body, answer) {
    element(element(body, "p"), "strong", answer.state);
    const list = element(body, "ol");
    for (const step of answer.because) {
      const facts = [step.clock, step.port, step.frame ? `frame ${step.frame}` : "", step.source ?? ""];
      element(list, "li", `${facts.filter(Boolean).join(" · ")} – ${step.text}`);
    }
    for (const check of answer.checks) {
      element(body, "p", `${check.passed ? "✓" : "✗"} ${check.name}${check.numbers ? `: ${check.numbers}` : ""}`);
    }
    for (const next of answer.next) element(body, "p", `${next.clock ?? ""} ${next.text}`, "next");
    if (answer.remedy) element(body, "p", answer.remedy);
    if (!answer.known) element(body, "p", `Looked at: ${answer.lookedAt.join("; ")}`, "soft");
  }
}

function element(parent, tag, text = "", className = "") {
  const made = document.createElement(tag);
  if (text !== "") made.textContent = text;
  if (className) made.className = className;
  parent.append(made);
  return made;
}
