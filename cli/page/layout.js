"use strict";

// Where ports and rows stand from top to bottom: a section a port, its head and then its rows, all
// of one height. Places are computed, none is kept for a row.

const PORT_HEIGHT = 78;
const ROW_HEIGHTS = [2, 4, 8, 14, 22, 34];

class Layout {
  constructor(model) {
    this.model = model;
    this.density = ROW_HEIGHTS.length - 1;
    this.folded = new Set();
    this.filters = { found: null, changed: null, only: null };
    this.apply();
  }

  get rowHeight() { return ROW_HEIGHTS[this.density]; }

  shows(row) {
    const { found, changed, only } = this.filters;
    return (found === null || found.has(row)) && (only === null || only.has(row)) &&
      (changed === null || this.model.changedIn(this.model.rows[row], ...changed));
  }

  // Anew, after a filter, the density or the model has changed.
  apply() {
    const { found, only } = this.filters;
    const all = Object.values(this.filters).every((filter) => filter === null);
    const narrow = found !== null || only !== null;
    this.sections = [];
    this.index = new Int32Array(this.model.rows.length).fill(-1);  // of a row in its section
    this.sectionOf = new Map();  // by number of the port
    let top = 0;
    this.count = 0;
    for (const port of this.model.ports) {
      const shown = all ? port.rows : port.rows.filter((row) => this.shows(row));
      if (narrow && shown.length === 0) continue;
      const rows = this.folded.has(port.number) ? [] : shown;
      rows.forEach((row, n) => { this.index[row] = n; });
      const section = { port, rows, top, hidden: port.rows.length - shown.length };
      this.sectionOf.set(port.number, section);
      this.sections.push(section);
      this.count += shown.length;
      top += PORT_HEIGHT + rows.length * this.rowHeight;
    }
    this.height = top;
  }

  // The section at a height, null above and below all.
  sectionAt(y) {
    if (y < 0 || y >= this.height) return null;
    let low = 0;
    let high = this.sections.length - 1;
    while (low < high) {
      const middle = low + high + 1 >> 1;
      if (this.sections[middle].top <= y) low = middle;
      else high = middle - 1;
    }
    return this.sections[low];
  }
  // {section, row}: row is null in the head of a port.
  itemAt(y) {
    const section = this.sectionAt(y);
    if (!section) return null;
    const inside = y - section.top - PORT_HEIGHT;
    const row = inside < 0 ? null : section.rows[Math.floor(inside / this.rowHeight)] ?? null;
    return { section, row };
  }
  topOfRow(row) {
    const section = this.sectionOf.get(this.model.rows[row].port);
    if (!section || this.index[row] < 0) return null;
    return section.top + PORT_HEIGHT + this.index[row] * this.rowHeight;
  }
  topOfPort(number) { return this.sectionOf.get(number)?.top ?? null; }
}
