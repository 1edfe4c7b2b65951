"use strict";

// What happened: the facts of PageData.h in columns that grow, and for every port and row the
// numbers of its facts, in order, so that any moment is found by halving.

class Column {
  constructor(Type) {
    this.values = new Type(1024);
    this.length = 0;
  }
  push(value) {
    if (this.length === this.values.length) {
      const larger = new this.values.constructor(this.length * 2);
      larger.set(this.values);
      this.values = larger;
    }
    this.values[this.length++] = value;
  }
}

const GONE = -1;  // the state of a row that is not there

// The facts of one machine, those alone that change its state.
class Lane {
  constructor(initial) {
    this.initial = initial;
    this.last = initial;
    this.facts = [];
    this.states = [];
  }
  push(fact, state) {
    if (state === this.last) return;
    this.facts.push(fact);
    this.states.push(state);
    this.last = state;
  }
}

// What a timer did, and which of its kinds are running.
class Timers {
  constructor() {
    this.list = [];
    this.running = [null, null, null];
  }
}

class Model {
  constructor(data) {
    Object.assign(this, {
      title: data.title, application: data.application, names: data.names, types: data.types,
      texts: data.texts, frames: data.frames, end: data.end,
    });
    this.columns = {
      time: new Column(Float64Array), kind: new Column(Uint8Array), where: new Column(Int32Array),
      what: new Column(Uint32Array), cause: new Column(Int32Array),
    };
    this.ports = [];
    this.rows = [];
    this.due = new Map();
    // Facts of all ports by kind: for counters.
    this.all = { received: [], sent: [], transitions: [], discards: [] };
    this.registered = { facts: [], counts: [], now: 0 };
    this.grow(data);
  }

  // Takes what is new: ports, rows, frames and facts, with the columns of a whole page.
  grow(data) {
    for (const name of data.ports.slice(this.ports.length)) {
      this.ports.push({
        name, number: this.ports.length, rows: [], received: [], sent: [], others: [], periods: new Timers(),
        facts: [], registered: { facts: [], counts: [], now: 0 }, most: 0,
      });
    }
    const r = data.rows;
    for (let n = 0; n < r.port.length; ++n) {
      const row = {
        number: this.rows.length, port: r.port[n], type: r.type[n], key: r.key[n], name: r.name[n],
        value: r.value[n], facts: [], timers: new Timers(), discards: [],
        applicant: new Lane(r.applicant[n]), registrar: new Lane(r.registrar[n]),
      };
      this.rows.push(row);
      this.ports[row.port].rows.push(row.number);
      if (row.registrar.initial === 0 || row.registrar.initial === 1) this.count(row, null, 1);
    }
    if (r.port.length > 0) for (const port of this.ports) this.sort(port.rows);
    const f = data.facts;
    const first = this.size;
    for (let n = 0; n < data.due.fact.length; ++n) {
      this.due.set(first + data.due.fact[n], data.due.after[n]);
    }
    let time = first > 0 ? this.time[first - 1] : 0;
    for (let n = 0; n < f.kind.length; ++n) {
      time += f.time[n];
      this.add(time, f.kind[n], f.where[n], f.what[n], f.cause[n]);
    }
  }

  get size() { return this.columns.time.length; }
  get time() { return this.columns.time.values; }
  get kind() { return this.columns.kind.values; }
  get where() { return this.columns.where.values; }
  get what() { return this.columns.what.values; }
  // The number of the fact that caused another, or -1.
  causeOf(fact) {
    const distance = this.columns.cause.values[fact];
    return distance > 0 ? fact - distance : -1;
  }
  dueOf(fact) { return this.time[fact] + (this.due.get(fact) ?? 0); }

  add(time, kind, where, what, cause) {
    const fact = this.size;
    const c = this.columns;
    c.time.push(time);
    c.kind.push(kind);
    c.where.push(where);
    c.what.push(what);
    c.cause.push(cause);
    if (where < 0) this.addToPort(this.ports[-1 - where], fact, kind, what);
    else this.addToRow(this.rows[where], fact, kind, what);
    if (kind === Kind.discard) this.all.discards.push(fact);
  }

  addToPort(port, fact, kind, what) {
    port.facts.push(fact);
    if (kind === Kind.received || kind === Kind.sent) {
      const list = kind === Kind.received ? "received" : "sent";
      port[list].push(fact);
      this.all[list].push(fact);
    } else if (kind >= Kind.armed && kind <= Kind.fired) {
      this.turn(port.periods, fact, kind, what);
    } else {
      port.others.push(fact);
    }
  }

  addToRow(row, fact, kind, what) {
    row.facts.push(fact);
    switch (kind) {
      case Kind.applicant:
        row.applicant.push(fact, what >> 8 & 15);
        this.all.transitions.push(fact);
        break;
      case Kind.registrar: {
        const before = this.isRegistered(row);
        row.registrar.push(fact, what >> 8 & 15);
        this.count(row, fact, this.isRegistered(row) - before);
        this.all.transitions.push(fact);
        break;
      }
      case Kind.discard:
        row.discards.push(fact);
        break;
      case Kind.deleted:
        this.count(row, fact, -this.isRegistered(row));
        row.applicant.push(fact, GONE);
        row.registrar.push(fact, GONE);
        break;
      case Kind.armed: case Kind.stopped: case Kind.fired:
        this.turn(row.timers, fact, kind, what);
    }
  }

  isRegistered(row) { return row.registrar.last === 0 || row.registrar.last === 1 ? 1 : 0; }

  // One more or one less is registered: on its port, and altogether.
  count(row, fact, change) {
    if (change === 0) return;
    for (const series of [this.ports[row.port].registered, this.registered]) {
      series.now += change;
      series.facts.push(fact);
      series.counts.push(series.now);
      series.most = Math.max(series.most ?? 0, series.now);
    }
  }

  // A timer runs from when it is armed until it fires, is stopped, or is armed anew.
  turn(timers, fact, kind, what) {
    const running = timers.running[what];
    if (running) Object.assign(running, { until: this.time[fact], end: kind, endFact: fact });
    timers.running[what] = kind !== Kind.armed ? null : {
      what, fact, from: this.time[fact], due: this.dueOf(fact), until: null, end: null, endFact: -1,
    };
    if (kind === Kind.armed) timers.list.push(timers.running[what]);
  }

  // By type and key.
  sort(rows) {
    const of = this.rows;
    rows.sort((a, b) => of[a].type - of[b].type || of[a].key.length - of[b].key.length ||
      (of[a].key < of[b].key ? -1 : of[a].key > of[b].key ? 1 : 0));
  }

  typeText(row) { return this.types[row.type - 1] ?? `type ${row.type}`; }
  rowName(row) { return `${this.typeText(row)} ${row.name}`; }
  rowText(number) {
    const row = this.rows[number];
    return `${this.rowName(row)} on ${this.ports[row.port].name}`;
  }

  // How many of a list of facts happened before a time.
  before(facts, time) {
    const times = this.time;
    let low = 0;
    let high = facts.length;
    while (low < high) {
      const middle = low + high >> 1;
      const fact = facts[middle];
      if ((fact === null ? 0 : times[fact]) < time) low = middle + 1;
      else high = middle;
    }
    return low;
  }
  // How many happened up to a time, it included.
  upTo(facts, time) { return this.before(facts, time + 0.5); }

  // The state of a lane after all that happened at a time; GONE where there is none.
  stateAt(lane, time) {
    const n = this.upTo(lane.facts, time);
    return n > 0 ? lane.states[n - 1] : lane.initial;
  }
  countAt(series, time) {
    const n = this.upTo(series.facts, time);
    return n > 0 ? series.counts[n - 1] : 0;
  }

  changedIn(row, from, to) {
    return [row.registrar, row.applicant].some(
      (lane) => this.before(lane.facts, from) < this.upTo(lane.facts, to));
  }

  // From a fact back to its first cause: the fact first.
  chain(fact) {
    const chain = [];
    for (let at = fact; at >= 0; at = this.causeOf(at)) chain.push(at);
    return chain;
  }

  // All that a fact caused, at once or through others, in order.
  effects(fact) {
    const caused = new Uint8Array(this.size - fact);
    caused[0] = 1;
    const effects = [];
    const cause = this.columns.cause.values;
    for (let at = fact + 1; at < this.size; ++at) {
      const distance = cause[at];
      if (distance > 0 && at - distance >= fact && caused[at - distance - fact]) {
        caused[at - fact] = 1;
        effects.push(at);
      }
    }
    return effects;
  }

  // The rows that a search means: VLANs and ranges of them, or part of a name, of a value, of a
  // port's name, or of the address that a frame came from which changed the row.
  search(query) {
    const text = query.trim().toLowerCase();
    if (text === "") return null;
    if (/^[\d\s,-]+$/.test(text) && this.types.length === 1) return this.searchRanges(text);
    const plain = text.replace(/^(vlan|stream)\s+/, "");
    const found = new Set();
    const digits = plain.replace(/[:.-]/g, "");
    const isHex = /^[0-9a-f]{4,}$/.test(digits);
    for (const row of this.rows) {
      const words = `${this.rowText(row.number)} ${row.value}`.toLowerCase();
      if (words.includes(plain) || (isHex && words.replace(/[:.-]/g, "").includes(digits))) found.add(row.number);
    }
    if (isHex) this.searchSource(digits, found);
    return found;
  }
  searchRanges(text) {
    const ranges = text.split(/[\s,]+/).filter(Boolean).map((part) => {
      const [first, last = first] = part.split("-").map(Number);
      return [first, last];
    });
    const found = new Set();
    for (const row of this.rows) {
      const key = Number(row.key);
      if (ranges.some(([first, last]) => key >= first && key <= last)) found.add(row.number);
    }
    return found;
  }
  searchSource(digits, found) {
    const from = this.frames.map((frame) => frame.source.replaceAll(":", "").includes(digits));
    if (!from.includes(true)) return;
    for (let fact = 0; fact < this.size; ++fact) {
      const cause = this.causeOf(fact);
      if (cause >= 0 && this.where[fact] >= 0 && this.kind[cause] === Kind.received && from[this.what[cause]]) {
        found.add(this.where[fact]);
      }
    }
  }
}
