"use strict";

// How things are said.

const Kind = {
  received: 0, sent: 1, applicant: 2, registrar: 3, discard: 4, armed: 5, stopped: 6, fired: 7,
  added: 8, deleted: 9, note: 10, leaveAllReceived: 11, leaveAllSent: 12, nothing: 13,
};
const NOWHERE = -2147483648;  // of what happened on no port
const TimerKind = { leave: 0, explicitLeave: 1, leaveAll: 2 };
const timerNames = ["leave timer", "leave timer", "LeaveAll period"];

// Seconds with six digits after the point, nine where the nanoseconds matter.
function timeText(ns) {
  const whole = Math.floor(ns / 1e9);
  const rest = ns - whole * 1e9;
  const digits = String(rest).padStart(9, "0");
  return `${whole}.${digits.endsWith("000") ? digits.slice(0, 6) : digits}`;
}

// A duration or a tick of the axis, as short as its step allows.
function shortTime(ns, step) {
  const digits = step >= 1e9 ? 0 : Math.min(9, Math.ceil(9 - Math.log10(step)));
  return `${(ns / 1e9).toFixed(digits)} s`;
}

const grouped = new Intl.NumberFormat("en-US");
function countText(n, one, many = `${one}s`) {
  return `${grouped.format(n)} ${n === 1 ? one : many}`;
}

// What a fact says, without time and place.
function factText(model, fact) {
  const what = model.what[fact];
  const names = model.names;
  const change = (machine, states, events) => {
    const from = states[what & 15];
    const to = states[what >> 8 & 15];
    const event = events[what >> 4 & 15] ?? "no event";
    const due = model.isArming(fact) ? `; leaves at ${timeText(model.dueOf(fact))} unless a Join comes` : "";
    return from === to ? `${machine} stays ${to}, ${event}${due}` : `${machine} ${from} → ${to}, ${event}${due}`;
  };
  switch (model.kind[fact]) {
    case Kind.received: return `received from ${model.frames[what].source}, ${frameTitle(model.frames[what])}`;
    case Kind.sent: return `sent, ${frameTitle(model.frames[what])}`;
    case Kind.applicant: return change("Applicant", names.applicant, names.applicantEvent);
    case Kind.registrar: return change("Registrar", names.registrar, names.registrarEvent);
    case Kind.discard: return `not acted on: ${names.reason[what]}`;
    case Kind.armed: return `${timerNames[what]} armed, due at ${timeText(model.dueOf(fact))}`;
    case Kind.stopped: return `${timerNames[what]} stopped`;
    case Kind.fired: return `${timerNames[what]} fired`;
    case Kind.added: return "committed";
    case Kind.deleted: return "deletion committed";
    case Kind.leaveAllReceived: return `LeaveAll of ${model.types[what - 1] ?? "every type"} received`;
    case Kind.leaveAllSent: return `LeaveAll of ${model.types[what - 1] ?? "every type"} sent`;
    default: return model.texts[what];
  }
}

function frameTitle(frame) {
  return `${frame.protocol}, ${frame.octets} octets`;
}

// Where a fact happened: "VLAN 10 on port1", "port1"; or that it did so on no port.
function placeText(model, fact) {
  const where = model.where[fact];
  return where === NOWHERE ? "switch" : where < 0 ? model.ports[-1 - where].name : model.rowText(where);
}

// One line with everything.
function factLine(model, fact) {
  return `${timeText(model.time[fact])}  ${placeText(model, fact)}: ${factText(model, fact)}`;
}
