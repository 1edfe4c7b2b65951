"use strict";

// What happened: the facts of PageData.h in columns that grow, and for every port and row the
// numbers of its facts, in order, so that any moment is found by halving.

class Column {
  constructor(Type) {
    this.values = new Type(1024);
    this.length = 0;
  }
  // A value, or a list of them, at the end.
  push(value) { this.append([value]); }
  append(list) {
    const length = this.length + list.length;
    if (length > this.values.length) {
      const larger = new this.values.constructor(Math.max(length, this.values.length * 2));
      larger.set(this.values.subarray(0, this.length));
      this.values = larger;
    }
    this.values.set(list, this.length);
    this.length = length;
  }
}

const GONE = -1;  // the state of a row that is not there
const REST = { registrar: 2, applicant: 0 };  // MT and VO: of one that is new

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
  // A timer runs from when it is armed until it fires, is stopped, or is armed anew.
  turn(model, fact, kind, what) {
    const running = this.running[what];
    if (running) Object.assign(running, { until: model.time[fact], end: kind, endFact: fact });
    this.running[what] = kind !== Kind.armed ? null : {
      what, fact, from: model.time[fact], due: model.dueOf(fact), until: null, end: null, endFact: -1,
    };
    if (kind === Kind.armed) this.list.push(this.running[what]);
  }
}

// How many there are from fact to fact.
class Series {
  constructor() {
    this.facts = [];
    this.counts = [];
    this.now = 0;
    this.most = 0;
  }
  change(fact, by) {
    this.now += by;
    this.facts.push(fact);
    this.counts.push(this.now);
    if (this.now > this.most) this.most = this.now;
  }
}

// An attribute on a port. What its facts mean is worked out when somebody asks: of thousands of rows
// a few are in sight.
class Row {
  constructor(model, number, port, type, key, name, value, registrar, applicant) {
    this.model = model;
    this.number = number;
    this.port = port;
    this.type = type;
    this.key = key;
    this.name = name;
    this.value = value;
    this.initial = { registrar, applicant };
    this.known = null;
  }
  get facts() { return this.all.facts; }
  get registrar() { return this.all.registrar; }
  get applicant() { return this.all.applicant; }
  get timers() { return this.all.timers; }
  get discards() { return this.all.discards; }
  get notes() { return this.all.notes; }

  get all() {
    if (this.known) return this.known;
    const { registrar, applicant } = this.initial;
    this.known = {
      facts: [], discards: [], notes: [], timers: new Timers(),
      registrar: new Lane(registrar), applicant: new Lane(applicant),
    };
    for (const fact of this.model.loadedFacts(this.number)) this.take(fact);
    return this.known;
  }

  take(fact) {
    const { facts, registrar, applicant, timers, discards, notes } = this.all;
    const { model } = this;
    const kind = model.kind[fact];
    const what = model.what[fact];
    facts.push(fact);
    switch (kind) {
      case Kind.applicant:
        // Both machines are there from the first time that one moves.
        if (registrar.last === GONE) registrar.push(fact, REST.registrar);
        applicant.push(fact, what >> 8 & 15);
        break;
      case Kind.registrar:
        if (applicant.last === GONE) applicant.push(fact, REST.applicant);
        registrar.push(fact, what >> 8 & 15);
        // What moves the Registrar ends its leave timer, or starts it.
        timers.turn(model, fact, Kind.stopped, TimerKind.leave);
        if (model.isArming(fact)) timers.turn(model, fact, Kind.armed, TimerKind.leave);
        break;
      case Kind.discard:
        discards.push(fact);
        // Told by no transition: the application has refused the registration.
        if (what === model.joinDiscarded) registrar.push(fact, REST.registrar);
        break;
      case Kind.deleted:
        registrar.push(fact, GONE);
        applicant.push(fact, GONE);
        break;
      case Kind.armed: case Kind.stopped: case Kind.fired:
        timers.turn(model, fact, kind, TimerKind.leave);
        break;
      case Kind.note:
        notes.push(fact);
    }
  }
}

class Model {
  constructor(data) {
    Object.assign(this, {
      title: data.title, application: data.application, names: data.names, types: data.types,
      texts: data.texts, frames: data.frames, begin: data.begin ?? 0, end: data.end,
    });
    this.joinDiscarded = data.names.reason.indexOf("join discarded");
    this.columns = {
      time: new Column(Float64Array), kind: new Column(Uint8Array), where: new Column(Int32Array),
      what: new Column(Uint32Array), cause: new Column(Int32Array),
    };
    this.arming = new Column(Int32Array);  // facts that arm a timer,
    this.after = new Column(Float64Array);  // and how long it is to run
    this.ports = [];
    this.rows = [];
    this.registrarNow = new Column(Int8Array);  // of each row
    // Facts of all ports by kind: for counters.
    this.all = { received: [], sent: [], transitions: [], discards: [] };
    this.registered = new Series();
    this.loaded = null;
    this.grow(data);
    this.load();
  }

  // Takes what is new: ports, rows, frames and facts, with the columns of a whole page.
  grow(data) {
    for (const name of data.ports.slice(this.ports.length)) {
      this.ports.push({
        name, number: this.ports.length, rows: [], received: [], sent: [], others: [], periods: new Timers(),
        facts: [], registered: new Series(),
      });
    }
    this.growRows(data.rows);
    const first = this.size;
    this.arming.append(data.due.fact.map((fact) => first + fact));
    this.after.append(data.due.after);
    const { kind, time, where, what, cause } = data.facts;
    this.columns.kind.append(kind);
    this.columns.where.append(where);
    this.columns.what.append(what);
    this.columns.cause.append(cause);
    this.columns.time.append(time);
    const times = this.time;
    for (let fact = Math.max(first, 1); fact < this.size; ++fact) times[fact] += times[fact - 1];
    for (let n = 0; n < kind.length; ++n) this.add(first + n, kind[n], where[n], what[n]);
  }
  // The same of an agent that goes on.
  more(data) {
    this.texts = data.texts;
    this.frames.push(...data.frames);
    this.end = Math.max(this.end, data.end);
    this.grow(data);
  }
  growRows(columns) {
    const { port, type, key, name, value, registrar, applicant } = columns;
    const count = port.length;
    this.registrarNow.append(new Int8Array(count).fill(GONE));
    for (let n = 0; n < count; ++n) {
      const number = this.rows.length;
      this.rows.push(new Row(this, number, port[n], type[n], key[n], name[n], value[n], registrar[n], applicant[n]));
      this.ports[port[n]].rows.push(number);
      this.registrarIs(number, null, registrar[n]);
    }
    if (count > 0) for (const port of this.ports) this.sort(port.rows);
  }

  // The facts of all rows, each row's in order and one behind the other.
  load() {
    const { where, size } = this;
    const start = new Int32Array(this.rows.length + 1);
    for (let fact = 0; fact < size; ++fact) if (where[fact] >= 0) ++start[where[fact] + 1];
    for (let n = 0; n < this.rows.length; ++n) start[n + 1] += start[n];
    const next = start.slice();
    const facts = new Int32Array(start[this.rows.length]);
    for (let fact = 0; fact < size; ++fact) if (where[fact] >= 0) facts[next[where[fact]]++] = fact;
    this.loaded = { start, facts };
  }
  loadedFacts(row) {
    const { start, facts } = this.loaded;
    return row + 1 < start.length ? facts.subarray(start[row], start[row + 1]) : [];
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
  // Whether a fact arms a timer, and when that is due.
  isArming(fact) { return this.armingAt(fact) >= 0; }
  dueOf(fact) {
    const at = this.armingAt(fact);
    return this.time[fact] + (at < 0 ? 0 : this.after.values[at]);
  }
  armingAt(fact) {
    const facts = this.arming.values;
    let low = 0;
    let high = this.arming.length;
    while (low < high) {
      const middle = low + high >> 1;
      if (facts[middle] < fact) low = middle + 1;
      else high = middle;
    }
    return low < this.arming.length && facts[low] === fact ? low : -1;
  }

  add(fact, kind, where, what) {
    if (kind === Kind.discard) this.all.discards.push(fact);
    if (where === NOWHERE || kind === Kind.nothing) return;
    if (where < 0) this.addToPort(this.ports[-1 - where], fact, kind, what);
    else this.addToRow(where, fact, kind, what);
  }

  addToPort(port, fact, kind, what) {
    port.facts.push(fact);
    if (kind === Kind.received || kind === Kind.sent) {
      const list = kind === Kind.received ? "received" : "sent";
      port[list].push(fact);
      this.all[list].push(fact);
    } else if (kind >= Kind.armed && kind <= Kind.fired) {
      port.periods.turn(this, fact, kind, what);
    } else if (kind !== Kind.leaveAllReceived && kind !== Kind.leaveAllSent) {
      port.others.push(fact);
    }
  }

  addToRow(row, fact, kind, what) {
    if (this.loaded) this.rows[row].take(fact);
    if (kind === Kind.applicant || kind === Kind.registrar) this.all.transitions.push(fact);
    if (kind === Kind.registrar) this.registrarIs(row, fact, what >> 8 & 15);
    else if (kind === Kind.deleted) this.registrarIs(row, fact, GONE);
    else if (kind === Kind.discard && what === this.joinDiscarded) this.registrarIs(row, fact, REST.registrar);
  }
  // Registered is what is IN or LV: counted on its port, and altogether.
  registrarIs(row, fact, state) {
    const now = this.registrarNow.values;
    const change = (state === 0 || state === 1 ? 1 : 0) - (now[row] === 0 || now[row] === 1 ? 1 : 0);
    now[row] = state;
    if (change === 0) return;
    this.ports[this.rows[row].port].registered.change(fact, change);
    this.registered.change(fact, change);
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
