"use strict";

// Pointer, wheel and keys, in terms of what App does.

class Input {
  constructor(app) {
    this.app = app;
    this.drag = null;
    const { canvas } = app.view;
    canvas.addEventListener("wheel", (event) => this.wheel(event), { passive: false });
    canvas.addEventListener("pointerdown", (event) => this.down(event));
    canvas.addEventListener("pointermove", (event) => this.move(event));
    canvas.addEventListener("pointerup", (event) => this.up(event));
    canvas.addEventListener("pointercancel", () => { this.drag = null; });
    canvas.addEventListener("pointerleave", () => app.pointAt(null));
    canvas.addEventListener("dblclick", (event) => {
      app.view.zoom(0.4, app.view.timeAt(event.offsetX));
      app.moved();
    });
    document.addEventListener("keydown", (event) => this.key(event));
  }

  wheel(event) {
    event.preventDefault();
    const { app } = this;
    const { view } = app;
    const lines = event.deltaMode === 1 ? 16 : 1;
    if (event.ctrlKey || event.metaKey) {
      view.zoom(Math.exp(event.deltaY * lines * 0.003), view.timeAt(event.offsetX));
      app.moved();
      return;
    }
    const along = (event.shiftKey ? event.deltaY || event.deltaX : event.deltaX) * lines;
    if (along !== 0) this.pan(along);
    if (!event.shiftKey && event.deltaY !== 0) app.scrollTo(view.scroll + event.deltaY * lines);
  }
  pan(pixels) {
    const { view } = this.app;
    const time = pixels * (view.to - view.from) / (view.right - view.left);
    view.timeIs(view.from + time, view.to + time);
    this.app.moved();
  }

  down(event) {
    if (event.button !== 0) return;
    const { view } = this.app;
    this.app.view.canvas.setPointerCapture(event.pointerId);
    const { offsetX: x, offsetY: y } = event;
    const kind = y < AXIS.overview ? "overview" : y < view.top ? "axis" : "picture";
    this.drag = { kind, x, y, lastX: x, lastY: y, far: false };
    if (kind === "overview") this.overview(x);
  }
  overview(x) {
    const { view } = this.app;
    const { low, high } = view.overviewTimes();
    const middle = low + (x - view.left) / (view.right - view.left) * (high - low);
    const half = (view.to - view.from) / 2;
    view.timeIs(middle - half, middle + half);
    this.app.moved();
  }
  move(event) {
    const { app, drag } = this;
    const { offsetX: x, offsetY: y } = event;
    if (!drag) return app.pointAt(x, y);
    if (Math.abs(x - drag.x) + Math.abs(y - drag.y) > 4) drag.far = true;
    if (drag.kind === "overview") this.overview(x);
    else if (drag.kind === "axis") app.brush(drag.x, x);
    else if (drag.far) {
      this.pan(drag.lastX - x);
      app.scrollTo(app.view.scroll + drag.lastY - y);
    }
    drag.lastX = x;
    drag.lastY = y;
  }
  up(event) {
    const { app, drag } = this;
    this.drag = null;
    if (!drag) return;
    if (drag.kind === "axis") {
      app.brush(null);
      if (drag.far) {
        const [from, to] = [drag.x, event.offsetX].sort((a, b) => a - b).map((x) => app.view.timeAt(x));
        app.view.timeIs(from, to);
        app.moved();
      }
    } else if (drag.kind === "picture" && !drag.far) {
      app.click(event.offsetX, event.offsetY);
    }
  }

  key(event) {
    const { app } = this;
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    const inField = event.target instanceof HTMLInputElement;
    if (document.querySelector("dialog[open]") || app.isOver) return;
    if (inField) {
      if (event.key === "Escape" || event.key === "Enter") {
        if (event.key === "Escape") app.searchIs("");
        app.view.canvas.focus();
        event.preventDefault();
      }
      return;
    }
    const onPicture = event.target === app.view.canvas || event.target === document.body;
    const act = (onPicture && (event.shiftKey ? this.shifted : this.keys)[event.key]) || this.anywhere[event.key];
    if (!act) return;
    event.preventDefault();
    act();
  }
  get anywhere() {
    const { app } = this;
    return {
      "/": () => app.focusSearch(),
      "?": () => app.help(),
      "Escape": () => app.letGo(),
      c: () => app.changedIs(!app.changed),
      a: () => app.applicantsIs(!app.view.applicants),
      d: () => app.densityIs(app.layout.density - 1),
      D: () => app.densityIs(app.layout.density + 1),
      t: () => app.theme(),
      "+": () => app.zoom(0.5),
      "=": () => app.zoom(0.5),
      "-": () => app.zoom(2),
      "0": () => app.fit(),
      f: () => app.fit(),
    };
  }
  get keys() {
    const { app } = this;
    const { view } = app;
    return {
      ArrowUp: () => app.step(-1),
      ArrowDown: () => app.step(1),
      PageUp: () => app.step(-Math.floor(view.shownHeight / app.layout.rowHeight)),
      PageDown: () => app.step(Math.floor(view.shownHeight / app.layout.rowHeight)),
      "[": () => app.stepPort(-1),
      "]": () => app.stepPort(1),
      ArrowLeft: () => app.stepFact(-1),
      ArrowRight: () => app.stepFact(1),
      Enter: () => app.choose(app.fact),
      Backspace: () => app.chooseCause(),
      Home: () => app.timeFrom(app.model.begin),
      End: () => app.timeFrom(Infinity),
      x: () => app.fold(),
    };
  }
  get shifted() {
    return {
      ArrowLeft: () => this.pan(-120),
      ArrowRight: () => this.pan(120),
    };
  }
}
