"use strict";

// What the selected thing is, why it came to be so, and what it caused: beside the picture.

const MOST_LISTED = 60;

class Details {
  // `choose(fact)` selects a fact, `close()` lets go, `only(rows)` shows certain rows alone.
  constructor(element, model, actions) {
    Object.assign(this, { element, model, actions });
  }

  hide() {
    this.element.hidden = true;
    this.element.replaceChildren();
  }

  show(selected) {
    const { model, element } = this;
    const { fact, chain, effects } = selected;
    element.hidden = false;
    element.replaceChildren();
    const close = this.put(element, "button", "✕", "close");
    close.setAttribute("aria-label", "Close");
    close.onclick = () => this.actions.close();
    this.put(element, "h2", placeText(model, fact));
    this.put(element, "p", `${timeText(model.time[fact])} s`, "soft");
    this.put(element, "p", factText(model, fact));
    const where = model.where[fact];
    if (where >= 0) this.states(where, model.time[fact]);
    if (where >= 0 && this.actions.ask) {
      const bar = this.put(element, "div", "", "row");
      this.put(bar, "button", "Ask the agent why").onclick = () => this.actions.ask(model.rows[where]);
    }
    this.frame(fact);
    this.causes(chain);
    this.caused(effects);
    element.scrollTop = 0;
  }

  put(parent, tag, text, className = "") {
    const made = document.createElement(tag);
    made.textContent = text;
    if (className) made.className = className;
    parent.append(made);
    return made;
  }

  states(number, time) {
    const { model } = this;
    const row = model.rows[number];
    if (row.value) this.put(this.element, "p", row.value, "soft");
    this.put(this.element, "p", stateText(model, row, time));
  }
  frame(fact) {
    const kind = this.model.kind[fact];
    if (kind !== Kind.received && kind !== Kind.sent) return;
    this.put(this.element, "pre", this.model.frames[this.model.what[fact]].lines.join("\n"));
  }

  causes(chain) {
    this.put(this.element, "h3", "Why");
    if (chain.length === 1) {
      this.put(this.element, "p", "No cause is known: this is where it begins.", "soft");
      return;
    }
    this.list(chain.slice(1), "chain");
  }
  caused(effects) {
    const { model, element } = this;
    this.put(element, "h3", "What it caused");
    if (effects.length === 0) {
      this.put(element, "p", "Nothing.", "soft");
      return;
    }
    const of = (...kinds) => effects.filter((fact) => kinds.includes(model.kind[fact]));
    const rows = new Set(effects.map((fact) => model.where[fact]).filter((where) => where >= 0));
    const transitions = of(Kind.applicant, Kind.registrar).length;
    const sent = of(Kind.sent).length;
    const counts = [];
    if (transitions > 0) counts.push(`${countText(transitions, "transition")} of ${countText(rows.size, "attribute")}`);
    if (sent > 0) counts.push(`${countText(sent, "frame")} sent`);
    if (counts.length > 0) this.put(element, "p", counts.join(", "));
    if (rows.size > 1) {
      const bar = this.put(element, "div", "", "row");
      const only = this.put(bar, "button", "Show these alone");
      only.onclick = () => this.actions.only(rows);
    }
    this.list(effects.slice(0, MOST_LISTED), "");
    if (effects.length > MOST_LISTED) {
      this.put(element, "p", `and ${grouped.format(effects.length - MOST_LISTED)} more`, "soft");
    }
  }
  list(facts, className) {
    const list = this.put(this.element, "ol", "", className);
    for (const fact of facts) {
      const button = this.put(this.put(list, "li", ""), "button", "");
      this.put(button, "time", timeText(this.model.time[fact]));
      this.put(button, "strong", placeText(this.model, fact));
      this.put(button, "div", factText(this.model, fact));
      button.onclick = () => this.actions.choose(fact);
    }
  }
}

// "Registrar IN, Applicant QA".
function stateText(model, row, time) {
  const name = (machine) => model.names[machine][model.stateAt(row[machine], time)];
  const registrar = name("registrar");
  return registrar === undefined ? "not there" : `Registrar ${registrar}, Applicant ${name("applicant")}`;
}
