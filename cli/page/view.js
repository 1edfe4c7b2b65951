"use strict";

// The picture: draws what is in sight of a model on a canvas. Whatever is narrower than a pixel is
// drawn together.

const AXIS = { overview: 30, height: 58 };  // the overview, and the ticks below it
const COUNTERS = 92;
const LANES = { received: 14, sent: 32, period: 49, registered: 74 };  // in the head of a port
const MARK = 5;  // half a frame's mark
const FONT = '"Segoe UI", "Helvetica Neue", "DejaVu Sans", system-ui, sans-serif';
const COLOURS = [
  "ground", "panel", "line", "faint", "text", "soft", "accent", "port", "in", "in-text", "lv", "lv-dark", "mt",
  "quiet", "anxious", "anxious-dark", "leaving", "leaving-dark", "received", "sent", "bad", "chain", "caused",
];

// How the states of the machines look, by their names; a line is what registers or declares nothing.
const LOOKS = {
  registrar: { IN: "in", LV: "lv", MT: "line" },
  applicant: {
    VO: "line", AO: "line", QO: "line", LO: "leaving", LA: "leaving", QA: "quiet", QP: "quiet",
    VP: "anxious", VN: "anxious", AN: "anxious", AA: "anxious", AP: "anxious",
  },
};
const INKS = { in: "in-text", lv: "lv-dark", line: "soft", quiet: "in-text", anxious: "anxious-dark", leaving: "leaving-dark" };

class View {
  constructor(canvas, model, layout) {
    Object.assign(this, { canvas, model, layout });
    this.context = canvas.getContext("2d");
    this.from = 0;
    this.to = 1;
    this.scroll = 0;
    this.applicants = true;
    this.cursor = null;     // {port} or {row}
    this.selected = null;   // {fact, chain, effects, marks}
    this.pointer = null;    // time under the pointer
    this.log = null;        // what is drawn where, when somebody wants to know
    this.fit();
  }

  // --- Time and place -----------------------------------------------------------------------------

  fit() {
    const { begin, end } = this.model;
    const margin = Math.max((end - begin) * 0.015, 1e6);
    this.from = begin - margin;
    this.to = end + margin;
  }
  timeIs(from, to) {
    const shortest = 1e4;
    const longest = Math.max((this.model.end - this.model.begin) * 1.2, 1e9);
    const span = Math.min(Math.max(to - from, shortest), longest);
    const middle = (from + to) / 2;
    const low = this.model.begin - longest * 0.1;
    const high = this.model.end + longest * 0.1;
    let start = middle - span / 2;
    start = Math.max(Math.min(start, high - span), Math.min(low, high - span));
    this.from = start;
    this.to = start + span;
  }
  zoom(factor, around = (this.from + this.to) / 2) {
    this.timeIs(around - (around - this.from) * factor, around + (this.to - around) * factor);
  }

  sizeIs(width, height) {
    const ratio = window.devicePixelRatio || 1;
    this.width = width;
    this.height = height;
    this.left = Math.round(Math.min(250, width * 0.3));
    this.right = width - 14;
    this.top = AXIS.height;
    this.bottom = Math.max(this.top + 40, height - COUNTERS);
    this.canvas.width = Math.round(width * ratio);
    this.canvas.height = Math.round(height * ratio);
    this.ratio = ratio;
  }
  x(time) { return this.left + (time - this.from) / (this.to - this.from) * (this.right - this.left); }
  timeAt(x) { return this.from + (x - this.left) / (this.right - this.left) * (this.to - this.from); }
  get shownHeight() { return this.bottom - this.top; }
  y(inside) { return this.top + inside - this.scroll; }

  // The lanes of a row from its top: [top, height].
  lanes() {
    const h = this.layout.rowHeight;
    const registrar = this.applicants && h >= 22 ? Math.round((h - 5) * 0.54) : h - (h > 6 ? 4 : h > 2 ? 1 : 0);
    const top = h > 6 ? 2 : 0;
    return {
      registrar: [top, registrar],
      applicant: this.applicants && h >= 22 ? [top + registrar + 1, h - 5 - registrar] : null,
    };
  }

  // Where a fact stands, also out of sight; null when its port is not shown.
  pointOf(fact) {
    const model = this.model;
    const where = model.where[fact];
    const x = this.x(model.time[fact]);
    const kind = model.kind[fact];
    if (where === NOWHERE) return [x, this.top - 4];
    if (where >= 0) {
      const top = this.layout.topOfRow(where);
      if (top !== null) {
        const lanes = this.lanes();
        const lane = kind === Kind.applicant && lanes.applicant ? lanes.applicant : lanes.registrar;
        return [x, this.y(top + lane[0] + lane[1] / 2)];
      }
      const section = this.layout.topOfPort(model.rows[where].port);
      return section === null ? null : [x, this.y(section + PORT_HEIGHT - 4)];
    }
    const top = this.layout.topOfPort(-1 - where);
    if (top === null) return null;
    const isPeriod = kind >= Kind.armed && kind <= Kind.fired;
    const isIn = kind === Kind.received || kind === Kind.leaveAllReceived;
    const isOut = kind === Kind.sent || kind === Kind.leaveAllSent;
    const lane = isIn ? LANES.received : isPeriod ? LANES.period : isOut ? LANES.sent : PORT_HEIGHT - 8;
    return [x, this.y(top + lane)];
  }

  // --- Drawing ------------------------------------------------------------------------------------

  colours() {
    const style = getComputedStyle(document.documentElement);
    this.colour = Object.fromEntries(COLOURS.map((name) => [name, style.getPropertyValue(`--${name}`).trim()]));
    this.fills = { in: this.colour.in, line: null, quiet: this.colour.quiet };
    this.fills.lv = this.pattern(this.colour.lv, this.colour["lv-dark"], "hatch");
    this.fills.leaving = this.pattern(this.colour.leaving, this.colour["leaving-dark"], "back");
    this.fills.anxious = this.pattern(this.colour.anxious, this.colour["anxious-dark"], "dots");
  }
  pattern(ground, ink, kind) {
    const size = 6;
    const tile = document.createElement("canvas");
    tile.width = tile.height = size;
    const c = tile.getContext("2d");
    c.fillStyle = ground;
    c.fillRect(0, 0, size, size);
    c.fillStyle = c.strokeStyle = ink;
    c.globalAlpha = 0.55;
    if (kind === "dots") {
      c.fillRect(1, 1, 1, 1);
      c.fillRect(4, 4, 1, 1);
    } else {
      c.lineWidth = 1.2;
      const turn = kind === "back";
      for (let n = -size; n <= size; n += size) {
        c.beginPath();
        c.moveTo(turn ? n + size : n, 0);
        c.lineTo(turn ? n : n + size, size);
        c.stroke();
      }
    }
    return this.context.createPattern(tile, "repeat");
  }

  draw() {
    const c = this.context;
    c.setTransform(this.ratio, 0, 0, this.ratio, 0, 0);
    c.fillStyle = this.colour.ground;
    c.fillRect(0, 0, this.width, this.height);
    this.drawGrid();
    this.clipped(0, this.top, this.width, this.shownHeight, () => this.drawSections());
    this.clipped(this.left, this.top, this.right - this.left, this.shownHeight, () => {
      this.drawPointer();
      this.drawSelected();
    });
    this.drawAxis();
    this.drawOverview();
    this.drawCounters();
  }
  clipped(x, y, width, height, draw) {
    const c = this.context;
    c.save();
    c.beginPath();
    c.rect(x, y, width, height);
    c.clip();
    draw();
    c.restore();
  }
  text(text, x, y, colour = "text", size = 12, weight = 400, align = "left") {
    const c = this.context;
    c.font = `${weight} ${size}px ${FONT}`;
    c.fillStyle = this.colour[colour];
    c.textAlign = align;
    c.textBaseline = "middle";
    c.fillText(text, x, y);
  }
  // As much of a text as fits, its beginning and its end.
  fitted(text, width, size = 12, weight = 400) {
    const c = this.context;
    c.font = `${weight} ${size}px ${FONT}`;
    if (c.measureText(text).width <= width) return text;
    const cut = (n) => `${text.slice(0, Math.ceil(n / 2))}…${text.slice(text.length - Math.floor(n / 2))}`;
    let low = 0;
    let high = text.length - 1;
    while (low < high) {
      const middle = low + high + 1 >> 1;
      if (c.measureText(cut(middle)).width <= width) low = middle;
      else high = middle - 1;
    }
    return cut(low);
  }
  note(kind, x0, x1, y0, y1, more) {
    if (this.log) this.log.push({ kind, x0, x1, y0, y1, ...more });
  }

  // The first step of 1, 2, 5, 10, … nanoseconds that leaves room for a label.
  get step() {
    const least = (this.to - this.from) / Math.max(1, (this.right - this.left) / 96);
    const ten = 10 ** Math.floor(Math.log10(least));
    return [1, 2, 5, 10].map((n) => n * ten).find((step) => step >= least);
  }
  ticks(draw) {
    const step = this.step;
    for (let n = Math.ceil(this.from / step); n * step <= this.to; ++n) draw(n * step, this.x(n * step));
  }
  drawGrid() {
    const c = this.context;
    c.fillStyle = this.colour.faint;
    this.ticks((_, x) => c.fillRect(Math.round(x), this.top, 1, this.height - this.top));
    // Nothing happened before the beginning and after the end.
    const begin = Math.max(this.left, this.x(this.model.begin));
    const end = Math.min(this.right, this.x(this.model.end));
    c.globalAlpha = 0.7;
    if (begin > this.left) c.fillRect(this.left, this.top, begin - this.left, this.height);
    if (end < this.right) c.fillRect(end, this.top, this.right - end, this.height);
    c.globalAlpha = 1;
  }
  drawAxis() {
    const c = this.context;
    c.fillStyle = this.colour.panel;
    c.fillRect(0, 0, this.width, this.top);
    c.fillStyle = this.colour.line;
    c.fillRect(0, this.top - 1, this.width, 1);
    this.clipped(this.left, AXIS.overview, this.right - this.left, this.top - AXIS.overview, () => {
      this.ticks((time, x) => {
        c.fillStyle = this.colour.line;
        c.fillRect(Math.round(x), this.top - 7, 1, 6);
        this.text(shortTime(time, this.step), x, this.top - 16, "soft", 11, 400, "center");
      });
    });
    const span = this.to - this.from;
    this.text(`${shortTime(span, span / 100)} in view`, 14, this.top - 16, "soft", 11);
  }

  // All of the run: how much happens when, and the part in view.
  drawOverview() {
    const c = this.context;
    const width = Math.max(1, Math.floor((this.right - this.left) / 2));
    const { low, high } = this.overviewTimes();
    this.text("whole run", 14, AXIS.overview / 2 + 2, "soft", 11);
    const density = this.overviewDensity(low, high, width);
    c.fillStyle = this.colour.mt;
    for (let n = 0; n < width; ++n) {
      const h = density[n] * (AXIS.overview - 8);
      if (h > 0) c.fillRect(this.left + n * 2, AXIS.overview - 2 - h, 2, h);
    }
    const x = (time) => this.left + (time - low) / (high - low) * (this.right - this.left);
    const x0 = Math.max(this.left, x(this.from));
    const x1 = Math.min(this.right, x(this.to));
    c.globalAlpha = 0.14;
    c.fillStyle = this.colour.accent;
    c.fillRect(x0, 3, x1 - x0, AXIS.overview - 4);
    c.globalAlpha = 1;
    c.strokeStyle = this.colour.accent;
    c.strokeRect(x0 + 0.5, 3.5, Math.max(1, x1 - x0 - 1), AXIS.overview - 5);
  }
  overviewTimes() { const { begin, end } = this.model;
    return { low: begin, high: Math.max(end, begin + 1e6) }; }
  overviewDensity(low, high, width) {
    const key = `${low} ${high} ${width} ${this.model.size}`;
    if (this.density?.key === key) return this.density.of;
    const counts = new Float64Array(width);
    const time = this.model.time;
    const scale = width / (high - low);
    for (let n = 0; n < this.model.size; ++n) {
      counts[Math.min(width - 1, Math.max(0, Math.floor((time[n] - low) * scale)))] += 1;
    }
    const most = Math.log1p(Math.max(...counts, 1));
    this.density = { key, of: counts.map((count) => Math.log1p(count) / most) };
    return this.density.of;
  }

  drawSections() {
    const { sections, rowHeight } = this.layout;
    const first = this.layout.sectionAt(this.scroll);
    if (!first) {
      this.text("Nothing here matches.", this.left + 24, this.top + 32, "soft", 13);
      return;
    }
    for (let n = sections.indexOf(first); n < sections.length; ++n) {
      const section = sections[n];
      if (section.top >= this.scroll + this.shownHeight) break;
      const end = section.top + PORT_HEIGHT + section.rows.length * rowHeight;
      const begin = Math.max(0, Math.floor((this.scroll - section.top - PORT_HEIGHT) / rowHeight));
      for (let r = begin; r < section.rows.length; ++r) {
        const top = section.top + PORT_HEIGHT + r * rowHeight;
        if (top >= this.scroll + this.shownHeight) break;
        this.drawRow(this.model.rows[section.rows[r]], this.y(top), r);
      }
      // The head of a port stays in sight while its rows are.
      const head = Math.min(Math.max(section.top, this.scroll), end - PORT_HEIGHT);
      this.drawPort(section, this.y(head));
    }
  }

  drawPort(section, top) {
    const c = this.context;
    const port = section.port;
    c.fillStyle = this.colour.port;
    c.fillRect(0, top, this.width, PORT_HEIGHT);
    c.fillStyle = this.colour.line;
    c.fillRect(0, top, this.width, 1);
    c.fillRect(0, top + PORT_HEIGHT - 1, this.width, 1);
    if (this.cursor?.port === port.number) {
      c.fillStyle = this.colour.accent;
      c.fillRect(0, top, 4, PORT_HEIGHT);
    }
    const folded = this.layout.folded.has(port.number);
    this.text(folded ? "▸" : "▾", 12, top + 15, "soft", 12);
    this.text(this.fitted(port.name, this.left - 130, 14, 650), 26, top + 15, "text", 14, 650);
    const count = port.rows.length - section.hidden;
    this.text(section.hidden ? `${count} of ${port.rows.length} attributes` : countText(count, "attribute"),
      26, top + 35, "soft", 11);
    const now = this.model.countAt(port.registered, this.pointer ?? this.model.end);
    this.text(`${grouped.format(now)} registered`, 26, top + 53, "soft", 11);
    const label = (text, lane) => this.text(text, this.left - 10, top + lane, "soft", 10, 400, "right");
    label("received", LANES.received);
    label("sent", LANES.sent);
    label("LeaveAll period", LANES.period);
    label("registered", LANES.registered - 7);
    this.clipped(this.left, Math.max(top, this.top), this.right - this.left, PORT_HEIGHT, () => {
      this.drawRegistered(port, top);
      this.drawPeriods(port, top);
      this.drawFrames(port, "received", top);
      this.drawFrames(port, "sent", top);
      this.drawOthers(port.others, top + PORT_HEIGHT - 8);
    });
  }

  // How many attributes are registered, as an area.
  drawRegistered(port, top) {
    const c = this.context;
    const series = port.registered;
    const height = 16;
    const base = top + LANES.registered;
    if (!series.most) return;
    c.fillStyle = this.colour.in;
    c.globalAlpha = 0.5;
    this.steps(series, (x0, x1, count) => {
      const h = count / series.most * height;
      if (h > 0) c.fillRect(x0, base - h, x1 - x0, h);
    });
    c.globalAlpha = 1;
  }
  // The values of a series from step to step, those of one pixel together.
  steps(series, visit) {
    const model = this.model;
    const end = Math.min(this.right, this.x(model.end));
    let n = model.upTo(series.facts, Math.max(this.from, model.begin)) - 1;
    let x = Math.max(this.left, this.x(this.model.begin));
    while (x < end) {
      const next = n + 1 < series.facts.length ? this.x(this.timeOf(series.facts[n + 1])) : Infinity;
      const to = Math.min(end, Math.max(next, x + 1));
      visit(x, to, n >= 0 ? series.counts[n] : 0);
      x = to;
      n = Math.max(n, model.upTo(series.facts, this.timeAt(x)) - 1);
      if (next === Infinity) break;
    }
  }
  timeOf(fact) { return fact === null ? 0 : this.model.time[fact]; }

  drawPeriods(port, top) {
    const c = this.context;
    const y = top + LANES.period;
    const list = port.periods.list;
    const first = this.firstTimer(list);
    c.strokeStyle = c.fillStyle = this.colour.soft;
    let last = -Infinity;
    for (let n = first; n < list.length && list[n].from <= this.to; ++n) {
      const timer = list[n];
      const x0 = this.x(timer.from);
      const x1 = this.x(timer.until ?? Math.min(timer.due, this.model.end));
      if (x1 - x0 < 3 && x1 - last < 3) continue;
      last = x1;
      c.fillRect(x0, y, x1 - x0, 1);
      c.fillRect(x0, y - 3, 1, 7);
      if (timer.end === Kind.fired) this.diamond(x1, y, 4, this.colour.text);
      if (timer.until === null && timer.due > this.model.end) this.text("›", x1 - 4, y, "soft", 12);
      this.note("period", x0, x1, y, y, { port: port.name, fact: timer.fact, due: timer.due, fired: timer.end === Kind.fired });
    }
  }
  // Of timers in order of their beginning, the first that may be in view.
  firstTimer(list) {
    let low = 0;
    let high = list.length;
    while (low < high) {
      const middle = low + high >> 1;
      if ((list[middle].until ?? Infinity) < this.from) low = middle + 1;
      else high = middle;
    }
    return low;
  }
  diamond(x, y, size, colour) {
    const c = this.context;
    c.fillStyle = colour;
    c.beginPath();
    c.moveTo(x, y - size);
    c.lineTo(x + size, y);
    c.lineTo(x, y + size);
    c.lineTo(x - size, y);
    c.fill();
  }

  // Frames as marks, or by their number where they stand too close.
  drawFrames(port, which, top) {
    const c = this.context;
    const model = this.model;
    const facts = port[which];
    const y = top + LANES[which];
    const begin = model.before(facts, this.from);
    const end = model.upTo(facts, this.to);
    c.fillStyle = this.colour[which];
    if (end - begin > (this.right - this.left) / 7) {
      const width = 3;
      for (let x = this.left, n = begin; x < this.right && n < end; x += width) {
        const next = model.before(facts, this.timeAt(x + width));
        if (next > n) {
          const h = Math.min(16, 3 + 3 * Math.log2(next - n));
          c.fillRect(x, which === "received" ? y - 8 : y + 8 - h, width - 0.5, h);
          this.note("frames", x, x + width, y - 8, y + 8, { port: port.name, which, count: next - n });
        }
        n = next;
      }
      return;
    }
    for (let n = begin; n < end; ++n) {
      const fact = facts[n];
      const x = this.x(model.time[fact]);
      const frame = model.frames[model.what[fact]];
      this.arrowhead(x, y, which === "received" ? 1 : -1, frame.leaveAll);
      this.note("frame", x - MARK, x + MARK, y - MARK, y + MARK,
        { port: port.name, which, fact, time: model.time[fact], leaveAll: frame.leaveAll });
    }
  }
  // Down for what comes in, up for what goes out; a LeaveAll has a bar on it.
  arrowhead(x, y, way, bar) {
    const c = this.context;
    c.beginPath();
    c.moveTo(x, y + way * MARK);
    c.lineTo(x - MARK, y - way * MARK);
    c.lineTo(x + MARK, y - way * MARK);
    c.fill();
    if (bar) c.fillRect(x - MARK - 1, y - way * (MARK + 2) - 1, 2 * MARK + 2, 2);
  }
  // Discards and notes: a cross and a dot.
  drawOthers(facts, y) {
    const c = this.context;
    const model = this.model;
    let last = -Infinity;
    for (let n = model.before(facts, this.from); n < model.upTo(facts, this.to); ++n) {
      const x = this.x(model.time[facts[n]]);
      if (x - last < 2) {
        n = Math.max(n, model.before(facts, this.timeAt(last + 2)) - 1);
        if (this.x(model.time[facts[n]]) - last < 2) continue;
      }
      last = x;
      const isDiscard = model.kind[facts[n]] === Kind.discard;
      c.strokeStyle = c.fillStyle = this.colour[isDiscard ? "bad" : "accent"];
      c.beginPath();
      if (isDiscard) {
        c.lineWidth = 2;
        c.moveTo(x - 4, y - 4);
        c.lineTo(x + 4, y + 4);
        c.moveTo(x + 4, y - 4);
        c.lineTo(x - 4, y + 4);
        c.stroke();
        c.lineWidth = 1;
      } else {
        c.arc(x, y, 3, 0, 7);
        c.fill();
      }
      this.note(isDiscard ? "discard" : "note", x - 4, x + 4, y - 4, y + 4, { fact: facts[n] });
    }
  }

  drawRow(row, top, index) {
    const c = this.context;
    const h = this.layout.rowHeight;
    const isCursor = this.cursor?.row === row.number;
    if (isCursor) {
      c.fillStyle = this.colour.accent;
      c.globalAlpha = 0.12;
      c.fillRect(0, top, this.width, h);
      c.globalAlpha = 1;
      c.fillRect(0, top, 4, h);
    }
    if (h >= 14) {
      c.fillStyle = this.colour.faint;
      c.fillRect(0, top + h - 1, this.width, 1);
    }
    this.drawLabel(row, top, index, isCursor);
    const lanes = this.lanes();
    if (lanes.applicant) {
      this.text("Reg", this.left - 10, top + lanes.registrar[0] + lanes.registrar[1] / 2, "soft", 9, 400, "right");
      this.text("App", this.left - 10, top + lanes.applicant[0] + lanes.applicant[1] / 2, "soft", 9, 400, "right");
    }
    this.clipped(this.left, Math.max(top, this.top), this.right - this.left, h, () => {
      this.drawLane(row, "registrar", top + lanes.registrar[0], lanes.registrar[1]);
      if (lanes.applicant) this.drawLane(row, "applicant", top + lanes.applicant[0], lanes.applicant[1]);
      if (h >= 22) {
        this.drawTimers(row, top + lanes.registrar[0] + lanes.registrar[1]);
        this.drawOthers(row.discards, top + h / 2);
        this.drawOthers(row.notes, top + h / 2);
      }
      this.drawMarked(row, top, lanes);
    });
  }

  // Labels where there is room, so that rows that are lower have one now and then.
  drawLabel(row, top, index, isCursor) {
    const h = this.layout.rowHeight;
    const every = Math.max(1, Math.ceil(13 / h));
    if (index % every !== 0) return;
    const colour = isCursor ? "accent" : "text";
    const weight = isCursor ? 650 : 400;
    const width = this.left - 62;
    const kind = this.model.typeText(row);
    if (h >= 34 && this.model.types.length > 1) {
      this.text(kind, 26, top + 10, "soft", 10);
      this.text(this.fitted(row.name, width, 12, weight), 26, top + 23, colour, 12, weight);
      return;
    }
    const size = h >= 22 ? 12 : 11;
    this.text(this.fitted(`${kind} ${row.name}`, width, size, weight), 26, top + (every > 1 ? 6 : h / 2), colour, size,
      weight);
  }

  drawLane(row, machine, y, h) {
    this.segments(row[machine], (x0, x1, state, fact, count) => {
      if (state === GONE && count === 1) return;
      const name = this.model.names[machine][state];
      this.bar(machine, name, x0, x1, y, h, count);
      this.note("bar", x0, x1, y, y + h,
        { row: this.model.rowText(row.number), machine, state: name ?? null, fact, count });
    });
  }
  bar(machine, name, x0, x1, y, h, count) {
    const c = this.context;
    const look = LOOKS[machine][name];
    const width = Math.max(x1 - x0, 0.6);
    if (look === "line" || look === undefined) {
      c.fillStyle = this.colour.mt;
      c.fillRect(x0, y + h / 2 - (h > 3 ? 1 : 0.5), width, h > 3 ? 2 : 1);
    } else {
      c.fillStyle = this.fills[look];
      c.fillRect(x0, y, width, h);
      if (h > 6 && width > 3) {
        c.fillStyle = this.colour.ground;
        c.fillRect(x0, y, 1, h);
      }
    }
    if (count > 1) {
      c.fillStyle = this.colour.text;
      c.globalAlpha = 0.55;
      c.fillRect(x0, y, width, h);
      c.globalAlpha = 1;
    }
    if (h < 9 || name === undefined || count > 1) return;
    const size = Math.min(10, h);
    const room = name.length * size * 0.75 + 3;
    if (width < room) return;
    // Kept in sight of a bar that begins before the view.
    const x = Math.min(Math.max(x0, this.left) + 4, x1 - room + 3);
    if (look === "line") {
      c.fillStyle = this.colour.ground;
      c.fillRect(x - 2, y, room, h);
    }
    this.text(name, x, y + h / 2 + 0.5, INKS[look] ?? "text", size, 650);
  }

  // The states of a lane from left to right; changes within a pixel come as one, with their count.
  segments(lane, visit) {
    const model = this.model;
    const { facts, states } = lane;
    const end = Math.min(this.right, this.x(model.end));
    let n = model.upTo(facts, Math.max(model.begin, this.from)) - 1;
    let x = Math.max(this.left, this.x(this.model.begin));
    let crowd = null;
    const flush = () => {
      if (crowd) visit(crowd.x0, crowd.x1, crowd.state, crowd.fact, crowd.count);
      crowd = null;
    };
    while (x < end) {
      const state = n >= 0 ? states[n] : lane.initial;
      const next = n + 1 < facts.length ? Math.min(end, this.x(model.time[facts[n + 1]])) : end;
      if (next - x >= 1 || next >= end) {
        flush();
        visit(x, next, state, n >= 0 ? facts[n] : -1, 1);
        x = next;
        n = Math.max(n + 1, model.upTo(facts, this.timeAt(x)) - 1);
        if (n >= facts.length) break;
        continue;
      }
      const to = Math.floor(x) + 1;
      const last = Math.max(n + 1, model.before(facts, this.timeAt(to)) - 1);
      if (!crowd) crowd = { x0: x, x1: to, state, fact: facts[n + 1], count: 1 };
      crowd.x1 = to;
      crowd.count += last - n;
      crowd.state = states[last];
      n = last;
      x = to;
    }
    flush();
  }

  drawTimers(row, y) {
    const c = this.context;
    const list = row.timers.list;
    if (list.length === 0) return;
    for (let n = this.firstTimer(list); n < list.length && list[n].from <= this.to; ++n) {
      const timer = list[n];
      const x0 = this.x(timer.from);
      const x1 = this.x(timer.until ?? Math.min(timer.due, this.model.end));
      if (x1 - x0 < 6) continue;
      c.fillStyle = this.colour["lv-dark"];
      c.fillRect(x0, y - 2, x1 - x0, 1.5);
      if (timer.end === Kind.fired) this.diamond(x1, y - 2, 3.5, this.colour["lv-dark"]);
      else c.fillRect(x1 - 1, y - 6, 1.5, 6);
      this.note("timer", x0, x1, y - 3, y, { row: this.model.rowText(row.number), fact: timer.fact, due: timer.due,
        fired: timer.end === Kind.fired });
    }
  }

  // What the selected fact has caused, ringed.
  drawMarked(row, top, lanes) {
    const marks = this.selected?.marks;
    if (!marks) return;
    const model = this.model;
    const begin = model.before(row.facts, this.from);
    const end = model.upTo(row.facts, this.to);
    const c = this.context;
    c.strokeStyle = this.colour.caused;
    c.lineWidth = 2;
    let last = -Infinity;
    for (let n = begin; n < end; ++n) {
      const fact = row.facts[n];
      const kind = model.kind[fact];
      if (!marks.has(fact) || (kind !== Kind.applicant && kind !== Kind.registrar)) continue;
      const x = this.x(model.time[fact]);
      const lane = kind === Kind.applicant ? lanes.applicant : lanes.registrar;
      if (!lane || (x - last < 1 && this.layout.rowHeight < 22)) continue;
      last = x;
      if (this.layout.rowHeight >= 8) c.strokeRect(x - 2, top + lane[0] - 1, 5, lane[1] + 1);
      else {
        c.fillStyle = this.colour.caused;
        c.fillRect(x - 1, top, 3, this.layout.rowHeight);
      }
      this.note("caused", x - 2, x + 3, top + lane[0], top + lane[0] + lane[1], { fact });
    }
    c.lineWidth = 1;
  }

  drawPointer() {
    if (this.pointer === null) return;
    const c = this.context;
    c.fillStyle = this.colour.accent;
    c.globalAlpha = 0.5;
    c.fillRect(Math.round(this.x(this.pointer)), this.top, 1, this.shownHeight);
    c.globalAlpha = 1;
  }

  // The chain of causes as arrows, from each cause to what it caused.
  drawSelected() {
    if (!this.selected) return;
    const { chain } = this.selected;
    const c = this.context;
    for (let n = 0; n + 1 < chain.length; ++n) {
      const to = this.pointOf(chain[n]);
      const from = this.pointOf(chain[n + 1]);
      if (from && to) this.arrow(from, to, chain[n + 1], chain[n]);
    }
    for (const fact of this.selected.frames) {
      const point = this.pointOf(fact);
      if (point) this.ring(point, 8, "caused");
    }
    const at = this.pointOf(chain[0]);
    if (at) this.ring(at, 9, "chain");
    c.lineWidth = 1;
  }
  ring([x, y], size, colour) {
    const c = this.context;
    c.strokeStyle = this.colour[colour];
    c.lineWidth = 2;
    c.beginPath();
    c.arc(x, y, size, 0, 7);
    c.stroke();
  }
  arrow([x0, y0], [x1, y1], from, to) {
    const c = this.context;
    // What follows at once stands right below or above: the arrow makes a bow then.
    const bow = Math.abs(x1 - x0) < 40 && Math.abs(y1 - y0) > 8 ? 26 : 0;
    const cx0 = bow ? x0 + bow : x0 + (x1 - x0) * 0.4;
    const cx1 = bow ? x1 + bow : x1 - (x1 - x0) * 0.4;
    c.strokeStyle = c.fillStyle = this.colour.chain;
    c.lineWidth = 2;
    c.beginPath();
    c.moveTo(x0, y0);
    c.bezierCurveTo(cx0, y0, cx1, y1, x1, y1);
    c.stroke();
    const angle = Math.atan2(0, x1 - cx1 || 1);
    c.beginPath();
    c.moveTo(x1, y1);
    for (const turn of [-0.45, 0.45]) {
      c.lineTo(x1 - 9 * Math.cos(angle + turn), y1 - 9 * Math.sin(angle + turn));
    }
    c.fill();
    this.note("arrow", x0, x1, y0, y1, { from, to });
  }

  // Counters as lines, each to its own height, with its number at the pointer or the end.
  drawCounters() {
    const c = this.context;
    const model = this.model;
    const top = this.bottom;
    c.fillStyle = this.colour.panel;
    c.fillRect(0, top, this.left, this.height - top);
    c.fillStyle = this.colour.line;
    c.fillRect(0, top, this.width, 1);
    const time = this.pointer ?? model.end;
    const lines = this.counters();
    lines.forEach((line, n) => {
      const y = top + 14 + n * 15;
      c.fillStyle = this.colour[line.colour];
      this.swatch(14, y, line.dash);
      this.text(line.name, 44, y, "text", 11);
      this.text(grouped.format(line.at(time)), this.left - 10, y, "text", 11, 650, "right");
    });
    this.clipped(this.left, top, this.right - this.left, this.height - top, () => {
      for (const line of lines) this.counterLine(line, top + 8, this.height - 8);
      if (this.pointer !== null) {
        c.fillStyle = this.colour.accent;
        c.fillRect(Math.round(this.x(this.pointer)), top, 1, COUNTERS);
        this.text(timeText(Math.round(this.pointer)), this.x(this.pointer) + 5, this.height - 10, "accent", 11, 650);
      }
    });
  }
  counters() {
    const model = this.model;
    const sum = (facts) => ({ at: (time) => model.upTo(facts, time), most: facts.length });
    return [
      { name: "registered", colour: "in", dash: [], at: (time) => model.countAt(model.registered, time),
        most: model.registered.most ?? 0 },
      { name: "received", colour: "received", dash: [6, 2], ...sum(model.all.received) },
      { name: "sent", colour: "sent", dash: [2, 2], ...sum(model.all.sent) },
      { name: "transitions", colour: "soft", dash: [8, 2, 2, 2], ...sum(model.all.transitions) },
      { name: "not acted on", colour: "bad", dash: [1, 3], ...sum(model.all.discards) },
    ];
  }
  swatch(x, y, dash) {
    const c = this.context;
    c.strokeStyle = c.fillStyle;
    c.lineWidth = 2;
    c.setLineDash(dash);
    c.beginPath();
    c.moveTo(x, y);
    c.lineTo(x + 24, y);
    c.stroke();
    c.setLineDash([]);
    c.lineWidth = 1;
  }
  counterLine(line, top, bottom) {
    if (!line.most) return;
    const c = this.context;
    c.strokeStyle = this.colour[line.colour];
    c.lineWidth = 1.5;
    c.setLineDash(line.dash);
    c.beginPath();
    const begin = Math.max(this.left, this.x(this.model.begin));
    const end = Math.min(this.right, this.x(this.model.end));
    let last = null;
    for (let x = begin; x <= end; x += 1) {
      const y = bottom - line.at(this.timeAt(x)) / line.most * (bottom - top);
      if (last === null) c.moveTo(x, y);
      else if (y !== last) {
        c.lineTo(x, last);
        c.lineTo(x, y);
      }
      last = y;
    }
    if (last !== null) c.lineTo(end, last);
    c.stroke();
    c.setLineDash([]);
    c.lineWidth = 1;
    this.note("counter", begin, end, top, bottom, { name: line.name, value: line.at(this.model.end) });
  }
}
