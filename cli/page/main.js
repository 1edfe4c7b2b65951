"use strict";

// The page: what is in view, pointed at and selected, and what changes when that changes.

class App {
  // `ask(row)` asks an agent why; null where there is none.
  constructor(model, ask = null) {
    this.model = model;
    for (const frame of model.frames) markLeaveAll(frame);
    this.layout = new Layout(model);
    this.view = new View(document.getElementById("picture"), model, this.layout);
    this.scroller = document.getElementById("scroll");
    this.tall = document.getElementById("tall");
    this.tip = document.getElementById("tip");
    this.fact = -1;  // that the cursor stands on
    this.changed = false;
    this.wanted = false;
    this.drawings = 0;
    this.details = new Details(document.getElementById("details"), model, {
      choose: (fact) => this.choose(fact),
      close: () => this.letGo(),
      only: (rows) => this.only(rows),
      ask,
    });
    document.getElementById("title").textContent = model.title;
    document.title = `${model.title} – mrp`;
    this.controls();
    this.input = new Input(this);
    const dark = matchMedia("(prefers-color-scheme: dark)");
    this.themeIs(dark.matches);
    dark.addEventListener("change", () => this.themeIs(dark.matches));
    new ResizeObserver(() => this.resized()).observe(document.getElementById("stage"));
    this.scroller.addEventListener("scroll", () => {
      this.view.scroll = this.scroller.scrollTop;
      this.redraw();
    });
    this.summary();
    this.resized();
  }


  // --- Drawing ------------------------------------------------------------------------------------

  redraw() {
    if (this.wanted) return;
    this.wanted = true;
    requestAnimationFrame(() => this.drawNow());
  }
  drawNow() {
    this.wanted = false;
    this.view.draw();
    ++this.drawings;
  }
  resized() {
    const stage = document.getElementById("stage");
    this.view.sizeIs(stage.clientWidth, stage.clientHeight);
    this.scroller.style.top = `${this.view.top}px`;
    this.scroller.style.height = `${this.view.shownHeight}px`;
    this.measured();
    this.drawNow();
  }
  // The layout has another height.
  measured() {
    this.tall.style.height = `${this.layout.height}px`;
    this.view.scroll = this.scroller.scrollTop;
    this.redraw();
  }
  // Another time is in view.
  moved() {
    if (this.changed) this.relayout();
    this.redraw();
  }
  // Keeps the row at the top, or under the cursor, where it is.
  relayout() {
    const { layout, view } = this;
    const kept = this.view.cursor?.row ?? layout.itemAt(view.scroll + PORT_HEIGHT)?.row ?? null;
    const before = kept === null ? null : layout.topOfRow(kept);
    layout.filters.changed = this.changed ? [view.from, view.to] : null;
    layout.apply();
    this.tall.style.height = `${layout.height}px`;
    const after = kept === null ? null : layout.topOfRow(kept);
    if (before !== null && after !== null) this.scroller.scrollTop += after - before;
    this.measured();
    const { found, only, changed } = layout.filters;
    document.getElementById("found").textContent =
      found || only || changed ? countText(layout.count, "attribute") : "";
  }
  scrollTo(y) { this.scroller.scrollTop = y; }

  summary() {
    const { model } = this;
    document.getElementById("summary").textContent = [
      model.application, countText(model.ports.length, "port"), countText(model.rows.length, "attribute"),
      countText(model.all.received.length + model.all.sent.length, "frame"),
      countText(model.all.transitions.length, "transition"), `${timeText(model.end)} s`,
    ].join(" · ");
  }

  // --- Controls -----------------------------------------------------------------------------------

  controls() {
    const on = (id, act) => { document.getElementById(id).onclick = act; };
    on("changed", () => this.changedIs(!this.changed));
    on("applicants", () => this.applicantsIs(!this.view.applicants));
    on("denser", () => this.densityIs(this.layout.density - 1));
    on("sparser", () => this.densityIs(this.layout.density + 1));
    on("in", () => this.zoom(0.5));
    on("out", () => this.zoom(2));
    on("fit", () => this.fit());
    on("theme", () => this.theme());
    on("help", () => this.help());
    const search = document.getElementById("search");
    search.placeholder = this.model.types.length === 1 ? "VLANs 10,20-29, address" : "Stream, address, port";
    search.addEventListener("input", () => this.searchIs(search.value));
  }
  pressed(id, on) { document.getElementById(id).setAttribute("aria-pressed", String(on)); }
  changedIs(on) {
    this.changed = on;
    this.pressed("changed", on);
    this.relayout();
  }
  applicantsIs(on) {
    this.view.applicants = on;
    this.pressed("applicants", on);
    this.redraw();
  }
  densityIs(density) {
    this.layout.density = Math.max(0, Math.min(ROW_HEIGHTS.length - 1, density));
    this.relayout();
  }
  focusSearch() {
    const search = document.getElementById("search");
    search.focus();
    search.select();
  }
  searchIs(query) {
    const search = document.getElementById("search");
    if (search.value !== query) search.value = query;
    this.layout.filters.found = this.model.search(query);
    this.relayout();
    this.scrollTo(0);
  }
  only(rows) {
    this.layout.filters.only = rows;
    this.relayout();
  }
  zoom(factor) {
    const { view, model, fact } = this;
    const around = fact >= 0 ? model.time[fact] : (view.from + view.to) / 2;
    const isSeen = around >= view.from && around <= view.to;
    view.zoom(factor, isSeen ? around : undefined);
    this.moved();
  }
  fit() {
    this.view.fit();
    this.moved();
  }
  // What an agent has told since. Who looks at the end goes on looking at the end.
  grow(data) {
    const { model, view } = this;
    const atEnd = view.to >= model.end;
    const rows = model.rows.length;
    const before = model.end;
    for (const frame of data.frames) markLeaveAll(frame);
    model.more(data);
    if (atEnd && model.end > before) view.timeIs(view.from + model.end - before, view.to + model.end - before);
    if (model.rows.length !== rows || this.changed) this.relayout();
    this.summary();
    this.redraw();
  }
  // The same span from a time on.
  timeFrom(time) {
    const span = this.view.to - this.view.from;
    const from = Math.min(time - span * 0.03, this.model.end - span * 0.97);
    this.view.timeIs(from, from + span);
    this.moved();
  }
  theme() { this.themeIs(!document.documentElement.classList.contains("dark")); }
  themeIs(dark) {
    document.documentElement.classList.toggle("dark", dark);
    this.view.colours();
    this.redraw();
  }
  help() {
    document.getElementById("keys").showModal();
    drawLegend(document.getElementById("legend"), this.view);
  }
  fold() {
    const at = this.view.cursor;
    const port = at?.port ?? (at ? this.model.rows[at.row].port : null);
    if (port !== null) this.foldPort(port);
  }
  foldPort(port) {
    const { folded } = this.layout;
    if (!folded.delete(port)) folded.add(port);
    this.view.cursor = { port };
    this.relayout();
  }

  // --- The pointer --------------------------------------------------------------------------------

  pointAt(x, y) {
    const { view } = this;
    if (x === null || x < view.left || x > view.right || y < AXIS.overview) {
      view.pointer = null;
      this.tip.hidden = true;
    } else {
      view.pointer = view.timeAt(x);
      this.tipIs(this.tipAt(x, y), x, y);
    }
    this.redraw();
  }
  // What is under a place of the picture: lines of text, the first as heading; null for nothing.
  tipAt(x, y) {
    const { view, layout, model } = this;
    const item = y < view.top || y >= view.bottom ? null : this.itemAt(y);
    if (!item) return null;
    const fact = this.factAt(x, y, item);
    const isState = fact >= 0 && (model.kind[fact] === Kind.applicant || model.kind[fact] === Kind.registrar);
    if (fact >= 0 && (item.row === null || !isState)) return this.factTip(fact);
    if (item.row === null) return null;
    const row = model.rows[item.row];
    const time = view.timeAt(x);
    if (time < model.begin || time > model.end) return null;
    const lines = [model.rowText(row.number), `${timeText(Math.round(time))} s   ${stateText(model, row, time)}`];
    if (row.value) lines.push(row.value);
    if (fact >= 0) lines.push(`${timeText(model.time[fact])} s   ${factText(model, fact)}`);
    const timer = row.timers.list.findLast((one) => one.from <= time && (one.until ?? Infinity) >= time);
    if (timer) lines.push(`leave timer until ${timeText(timer.due)}`);
    return lines;
  }
  factTip(fact) {
    const { model } = this;
    const lines = [`${placeText(model, fact)}   ${timeText(model.time[fact])} s`, factText(model, fact)];
    const kind = model.kind[fact];
    if (kind === Kind.received || kind === Kind.sent) lines.push(...model.frames[model.what[fact]].lines);
    return lines;
  }
  tipIs(lines, x, y) {
    const { tip, view } = this;
    tip.hidden = lines === null;
    if (!lines) return;
    const head = document.createElement("b");
    head.textContent = lines[0];
    const body = document.createElement("pre");
    body.textContent = lines.slice(1).join("\n");
    tip.replaceChildren(head, body);
    const { offsetWidth: width, offsetHeight: height } = tip;
    tip.style.left = `${x + width + 24 > view.width ? Math.max(4, x - width - 14) : x + 16}px`;
    tip.style.top = `${Math.max(4, Math.min(y + 14, view.height - height - 6))}px`;
  }
  // The head of a port covers the rows that are scrolled below it.
  itemAt(y) {
    const { view, layout } = this;
    const inside = y - view.top + view.scroll;
    const top = layout.sectionAt(view.scroll);
    if (top && y - view.top < PORT_HEIGHT) {
      const end = top.top + PORT_HEIGHT + top.rows.length * layout.rowHeight;
      if (inside < end && Math.min(view.scroll, end - PORT_HEIGHT) + PORT_HEIGHT > inside) {
        return { section: top, row: null, head: Math.min(view.scroll, end - PORT_HEIGHT) };
      }
    }
    const item = layout.itemAt(inside);
    return item && { ...item, head: item.section.top };
  }
  // The fact nearest to a place, within a few pixels; of a row the last one that changed its state.
  factAt(x, y, item) {
    const { view, model } = this;
    const inside = y - view.top + view.scroll;
    if (item.row !== null) {
      const row = model.rows[item.row];
      for (const list of [row.discards, row.notes]) {
        const special = this.nearest(list, x, 4);
        if (special >= 0) return special;
      }
      const lanes = view.lanes();
      const within = inside - this.layout.topOfRow(item.row);
      const lane = lanes.applicant && within >= lanes.applicant[0] ? row.applicant : row.registrar;
      const near = this.nearest(lane.facts, x, 3);
      if (near >= 0) return near;
      const n = model.upTo(lane.facts, view.timeAt(x));
      return n > 0 ? lane.facts[n - 1] ?? -1 : -1;
    }
    const port = item.section.port;
    const within = inside - item.head;
    const list = within < (LANES.received + LANES.sent) / 2 ? port.received
      : within < (LANES.sent + LANES.period) / 2 ? port.sent
      : within < LANES.period + 9 ? port.periods.list.flatMap((one) => one.endFact >= 0 ? [one.fact, one.endFact] : [one.fact])
      : port.others;
    return this.nearest(list, x, MARK + 1);
  }
  nearest(facts, x, most) {
    const { view, model } = this;
    const n = model.before(facts, view.timeAt(x));
    let best = -1;
    let distance = most;
    for (const at of [n - 1, n]) {
      if (at < 0 || at >= facts.length) continue;
      const away = Math.abs(view.x(model.time[facts[at]]) - x);
      if (away <= distance) {
        best = facts[at];
        distance = away;
      }
    }
    return best;
  }
  click(x, y) {
    const { view } = this;
    if (y < view.top || y >= view.bottom) return;
    const item = this.itemAt(y);
    if (!item) return this.letGo();
    if (x < view.left) {
      if (item.row === null) return this.foldPort(item.section.port.number);
      view.cursor = { row: item.row };
      return this.redraw();
    }
    view.cursor = item.row === null ? { port: item.section.port.number } : { row: item.row };
    this.choose(this.factAt(x, y, item));
  }
  brush(from, to) {
    const { tip } = this;
    tip.hidden = from === null;
    if (from === null) return;
    const [low, high] = [from, to].sort((a, b) => a - b).map((x) => this.view.timeAt(x));
    this.tipIs([`${shortTime(high - low, (high - low) / 100 || 1)}`], to, 20);
  }

  // --- The cursor and what is selected ------------------------------------------------------------

  choose(fact) {
    if (fact < 0) return this.letGo();
    const { model, view } = this;
    const effects = model.effects(fact);
    const frames = effects.filter((at) => model.kind[at] === Kind.sent).slice(0, 500);
    view.selected = { fact, chain: model.chain(fact), effects, frames, marks: new Set(effects) };
    this.stand(fact);
    this.details.show(view.selected);
    this.say(factLine(model, fact));
  }
  chooseCause() {
    if (this.fact >= 0 && this.model.causeOf(this.fact) >= 0) this.choose(this.model.causeOf(this.fact));
  }
  letGo() {
    this.view.selected = null;
    this.fact = -1;
    this.layout.filters.only = null;
    this.details.hide();
    this.relayout();
  }
  // The cursor stands on a fact, which is in view.
  stand(fact) {
    const { model, view } = this;
    this.fact = fact;
    const where = model.where[fact];
    view.cursor = where === NOWHERE ? null : where < 0 ? { port: -1 - where } : { row: where };
    const time = model.time[fact];
    if (time < view.from || time > view.to) {
      const half = (view.to - view.from) / 2;
      view.timeIs(time - half, time + half);
      this.moved();
    }
    this.reveal();
  }
  // The cursor is in view.
  reveal() {
    const { layout, view } = this;
    const at = view.cursor;
    if (!at) return;
    const top = at.row === undefined ? layout.topOfPort(at.port) : layout.topOfRow(at.row);
    if (top === null) return this.redraw();
    const height = at.row === undefined ? PORT_HEIGHT : layout.rowHeight;
    const above = at.row === undefined ? 0 : PORT_HEIGHT;
    if (top - above < view.scroll) this.scrollTo(top - above);
    else if (top + height > view.scroll + view.shownHeight) this.scrollTo(top + height - view.shownHeight);
    this.redraw();
  }
  step(by) {
    const { layout, view, model } = this;
    const { sections } = layout;
    if (sections.length === 0) return;
    const at = view.cursor;
    const port = at?.port ?? (at ? model.rows[at.row].port : null);
    let s = Math.max(0, sections.indexOf(layout.sectionOf.get(port)));
    let n = at ? (at.row === undefined ? -1 : layout.index[at.row]) + by : -1;
    while (n >= sections[s].rows.length && s + 1 < sections.length) n -= sections[s++].rows.length + 1;
    while (n < -1 && s > 0) n += sections[--s].rows.length + 1;
    n = Math.max(-1, Math.min(sections[s].rows.length - 1, n));
    this.cursorIs(n < 0 ? { port: sections[s].port.number } : { row: sections[s].rows[n] });
  }
  stepPort(by) {
    const { sections, sectionOf } = this.layout;
    const at = this.view.cursor;
    const port = at?.port ?? (at ? this.model.rows[at.row].port : null);
    const s = port === null ? 0 : sections.indexOf(sectionOf.get(port)) + by;
    const section = sections[Math.max(0, Math.min(sections.length - 1, s))];
    if (section) this.cursorIs({ port: section.port.number });
  }
  cursorIs(cursor) {
    this.view.cursor = cursor;
    this.fact = -1;
    this.reveal();
    const { model } = this;
    this.say(cursor.row === undefined
      ? `${model.ports[cursor.port].name}, ${countText(model.ports[cursor.port].rows.length, "attribute")}`
      : `${model.rowText(cursor.row)}: ${stateText(model, model.rows[cursor.row], model.end)} at the end`);
  }
  // What happened before or after, on the row or port of the cursor.
  stepFact(by) {
    const { model, view } = this;
    if (!view.cursor) return this.step(1);
    const { row, port } = view.cursor;
    const facts = row === undefined ? model.ports[port].facts : model.rows[row].facts;
    if (facts.length === 0) return;
    let n = facts.indexOf(this.fact);
    if (n < 0) n = by > 0 ? model.before(facts, view.from) : model.upTo(facts, view.to) - 1;
    else n += by;
    if (n < 0 || n >= facts.length) return;
    const fact = facts[n];
    this.stand(fact);
    const point = view.pointOf(fact);
    this.tipIs(row === undefined ? this.factTip(fact) : [model.rowText(row), `${timeText(model.time[fact])} s   ${factText(model, fact)}`],
      point ? point[0] : view.left, point ? point[1] : view.top);
    view.pointer = model.time[fact];
    if (view.selected) this.choose(fact);
    this.say(factLine(model, fact));
  }
  // The number of a row, -1 for none.
  rowOf(port, type, key) {
    const { model } = this;
    const rows = model.ports.find((one) => one.name === port)?.rows ?? [];
    return rows.find((at) => model.rows[at].type === type && model.rows[at].key === String(key)) ?? -1;
  }
  say(text) { document.getElementById("spoken").textContent = text; }
}

function markLeaveAll(frame) {
  frame.leaveAll = frame.lines.some((line) => line.includes("LeaveAll"));
}

// Every state as it looks in the picture.
function drawLegend(canvas, view) {
  const drawn = Object.create(view, { context: { value: canvas.getContext("2d") } });
  const c = drawn.context;
  c.clearRect(0, 0, canvas.width, canvas.height);
  drawn.left = 0;
  drawn.text("Registrar", 0, 16, "text", 12, 650);
  ["IN", "LV", "MT"].forEach((name, n) => drawn.bar("registrar", name, 90 + n * 120, 190 + n * 120, 8, 15, 1));
  drawn.text("Applicant", 0, 50, "text", 12, 650);
  Object.keys(LOOKS.applicant).forEach((name, n) => {
    const x = 90 + n % 6 * 90;
    const y = 42 + Math.floor(n / 6) * 24;
    drawn.bar("applicant", name, x, x + 80, y, 15, 1);
  });
  drawn.text("Frames", 0, 108, "text", 12, 650);
  const mark = (x, colour, way, bar, label) => {
    c.fillStyle = view.colour[colour];
    drawn.arrowhead(x, 108, way, bar);
    drawn.text(label, x + 12, 108, "soft", 12);
  };
  mark(96, "received", 1, false, "received");
  mark(186, "sent", -1, false, "sent");
  mark(256, "received", 1, true, "with LeaveAll");
  drawn.text("Timers", 0, 134, "text", 12, 650);
  c.fillStyle = view.colour["lv-dark"];
  c.fillRect(90, 134, 60, 1.5);
  drawn.diamond(150, 134, 4, view.colour["lv-dark"]);
  drawn.text("fired", 160, 134, "soft", 12);
  c.fillRect(216, 134, 60, 1.5);
  c.fillRect(275, 129, 1.5, 6);
  drawn.text("stopped or armed anew", 284, 134, "soft", 12);
  drawn.text("Darkened", 0, 160, "text", 12, 650);
  drawn.bar("registrar", "IN", 90, 150, 152, 15, 2);
  drawn.text("several changes within a pixel: zoom in", 160, 160, "soft", 12);
}

// For tests and scripts: what is in the page, and what stands where. All of it is the page's own:
//   model, layout, view   as they are
//   drawn()               draws, and gives what was drawn: [{kind, x0, x1, y0, y1, …}]
//   tip(x, y)             the text that the pointer would show there, null for nothing
//   state(port, type, key, seconds)   {registrar, applicant} by name, null for none
//   row(port, type, key)  its number, -1 for none
//   drawings              how often the picture was drawn; firstDrawing: when first, in ms
function pageForTests(app, firstDrawing) {
  const { model, view, layout } = app;
  const row = (...name) => app.rowOf(...name);
  return {
    app, model, view, layout, row, firstDrawing,
    get drawings() { return app.drawings; },
    drawn() {
      view.log = [];
      view.draw();
      const log = view.log;
      view.log = null;
      return log;
    },
    tip: (x, y) => app.tipAt(x, y),
    state(port, type, key, seconds) {
      const number = row(port, type, key);
      if (number < 0) return null;
      const name = (machine) =>
        model.names[machine][model.stateAt(model.rows[number][machine], seconds * 1e9)] ?? null;
      return { registrar: name("registrar"), applicant: name("applicant") };
    },
  };
}

// What the address asks for: #from=1&to=2 (seconds), search=10-20, theme=dark,
// at=port1/1/10/2.5 (port, type, key and time of a Registrar's transition, or the last one before).
function openAt(app, text) {
  const asked = new URLSearchParams(text);
  if (asked.has("theme")) app.themeIs(asked.get("theme") === "dark");
  if (asked.has("search")) app.searchIs(asked.get("search"));
  if (asked.has("from") && asked.has("to")) {
    app.view.timeIs(Number(asked.get("from")) * 1e9, Number(asked.get("to")) * 1e9);
    app.moved();
  }
  const [port, type, key, time] = (asked.get("at") ?? "").split("/");
  const row = app.rowOf(port, Number(type), key);
  if (row < 0) return;
  const { facts } = app.model.rows[row].registrar;
  const n = app.model.upTo(facts, Number(time) * 1e9);
  if (n > 0 && facts[n - 1] !== null) app.choose(facts[n - 1]);
}

function start() {
  const data = document.getElementById("data");
  if (!data) return void new Live().begin();
  const app = new App(new Model(JSON.parse(data.textContent)));
  openAt(app, location.hash.slice(1));
  window.mrpPage = pageForTests(app, performance.now());
  document.documentElement.dataset.ready = "true";
}

start();
