// The timeline: panes that share one window of the axis, marks above them, a frame under the pointer and a pinned one.
'use strict';

const MARKS = [
  { bit: MARK_BACKWARDS, kind: 'backwards', sign: '◀', text: 'time goes back' },
  { bit: MARK_GAP, kind: 'gap', sign: '▼', text: 'gap' },
  { bit: MARK_REPEATED, kind: 'repeated', sign: '=', text: 'time repeated' },
];
const MARK_WIDTH = 12;  // pixels; marks that lie nearer together are shown as one with their number
const MOST_AREAS = 4000;
const REST_MS = 150;  // a window that stays for so long is drawn in full

class Timeline {
  constructor(runs, by_time) {
    this.runs = runs;
    this.by_time = by_time;
    this.root = document.getElementById('panes');
    const end = Math.max(...runs.map((run) => (run.count > 0 ? run.axis[run.count - 1] : 0)));
    const margin = Math.max(end * 0.005, by_time ? 1e-3 : 1);
    this.whole = [-margin, end + margin];
    this.window = this.whole;
    this.least = by_time ? Math.max(end / Math.max(...runs.map((run) => run.count)) * 3, 2e-5) : 3;
    this.pinned = null;   // {run, frame}
    this.hovered = null;  // the same
    this.drawn_at = 0;    // when show() drew last, by the clock of the page
    for (const run of runs) {
      run.marks = [];
      for (let i = 0; i < run.count; ++i) if (run.mark(i) !== 0) run.marks.push(i);
    }
    this.make_parts();
  }

  make_parts() {
    const signs = MARKS.map(({ sign, text }) => `${sign} ${text}`).join(' · ');
    this.lanes = this.runs.map((run) => {
      const lane = svg_element('svg', { class: 'lane', 'aria-hidden': 'true', 'data-run': run.letter });
      const names = [run.letter, this.runs.length < 2 || run === this.runs[0] ? signs : ''].join(' ');
      this.root.append(element('div', { class: 'legend' }, element('b', {}, `Marks ${names.trim()}`)), lane);
      return lane;
    });
    const descriptions = pane_descriptions(this.runs);
    this.panes = descriptions.map((pane, i) => new Pane(pane, this.root, i === descriptions.length - 1, this.by_time,
      (context, area, graph) => this.draw_areas(context, area, graph)));
    this.cursor = element('div', { class: 'cursor' });
    this.pin = element('div', { class: 'pin' });
    this.choice = element('div', { class: 'choice' });
    this.root.append(this.cursor, this.pin, this.choice);
  }

  /** Shows another part of the axis, at the next turn of the screen. */
  show(from, to) {
    const [first, last] = this.whole;
    const length = Math.max(to - from, this.least);
    const start = Math.min(Math.max((from + to - length) / 2, first), last - length);
    this.window = length < last - first ? [start, start + length] : this.whole;
    if (this.is_due) return;
    this.is_due = true;
    requestAnimationFrame(() => {
      this.is_due = false;
      const now = performance.now();
      const is_moving = now - this.drawn_at < REST_MS;
      this.drawn_at = now;
      this.draw(is_moving);
      clearTimeout(this.rest);
      if (is_moving) this.rest = setTimeout(() => this.draw(), REST_MS);
    });
  }

  zoom(factor, x = this.centre()) {
    const [from, to] = this.window;
    this.show(x - (x - from) * factor, x + (to - x) * factor);
  }

  pan(share) {
    const [from, to] = this.window;
    this.show(from + share * (to - from), to + share * (to - from));
  }

  /** Where the keyboard zooms: the pinned frame if it can be seen, else the middle. */
  centre() {
    const [from, to] = this.window;
    const x = this.pinned ? this.pinned.run.axis[this.pinned.frame] : NaN;
    return x >= from && x <= to ? x : (from + to) / 2;
  }

  draw(is_moving = false) {
    for (const pane of this.panes) pane.draw(this.window, is_moving);
    this.draw_lanes();
    this.place_lines();
    this.draw_span();
  }

  redraw() {
    for (const pane of this.panes) pane.redraw(this.window);
    this.draw_lanes();
    this.place_lines();
  }

  draw_span() {
    const [from, to] = this.window;
    const run = this.runs[0];
    const frames = Math.max(run.first_at(to) - run.first_at(from), 0);
    const length = this.by_time ? `${Number((to - from).toPrecision(4))} s, ` : '';
    document.getElementById('span').textContent = `${length}${frames} of ${run.count} frames`;
  }

  /** Pixels from the left of the timeline. */
  pixel(x) {
    return this.panes[0].graph.toDomXCoord(x);
  }

  place(pixel) {
    return this.panes[0].graph.toDataXCoord(pixel);
  }

  /** GOPs of the first run as bands, gaps and jumps of all as areas. */
  draw_areas(context, area, graph) {
    const [from, to] = this.window;
    const run = this.runs[0];
    const scale = area.w / (to - from);
    const left = (x) => area.x + (x - from) * scale;
    const frames = run.first_at(to) - run.first_at(from);
    if (run.gops.length > 1 && frames * run.gops.length / run.count * 3 < area.w) {
      context.fillStyle = colour('band');
      let gop = Math.max(run.gops.findLastIndex((frame) => run.axis[frame] <= from), 0);
      for (; gop < run.gops.length && run.axis[run.gops[gop]] < to; ++gop) {
        if (gop % 2 === 0) continue;
        const end = gop + 1 < run.gops.length ? run.gops[gop + 1] : run.count - 1;
        const x = Math.max(left(run.axis[run.gops[gop]]), area.x);
        context.fillRect(x, area.y, Math.min(left(run.axis[end]), area.x + area.w) - x, area.h);
      }
    }
    context.fillStyle = colour('mark-area');
    for (const marked of this.runs) {
      const visible = this.visible_marks(marked);
      if (visible.length > MOST_AREAS) continue;
      for (const frame of visible) {
        const x = Math.max(left(marked.axis[frame - 1]), area.x);
        const width = Math.max(Math.min(left(marked.axis[frame]), area.x + area.w) - x, 1);
        context.fillRect(x, area.y, width, area.h);
      }
    }
  }

  visible_marks(run) {
    const [from, to] = this.window;
    return run.marks.filter((frame) => run.axis[frame] >= from && run.axis[frame - 1] <= to);
  }

  /** A sign for each mark, or for those that lie at one place, above the panes. */
  draw_lanes() {
    this.runs.forEach((run, i) => {
      const groups = new Map();
      for (const frame of this.visible_marks(run)) {
        const middle = this.pixel((run.axis[frame - 1] + run.axis[frame]) / 2);
        const group = Math.floor(middle / MARK_WIDTH);
        if (groups.has(group)) groups.get(group).frames.push(frame);
        else groups.set(group, { x: middle, frames: [frame] });
      }
      this.lanes[i].replaceChildren(...[...groups.values()].map((group) => this.mark_sign(run, group)));
    });
  }

  mark_sign(run, { x, frames }) {
    const bits = frames.reduce((sum, frame) => sum | run.mark(frame), 0);
    const { kind, sign } = MARKS.find(({ bit }) => bits & bit);
    const missing = frames.reduce((sum, frame) => sum + run.columns.missing.at(frame), 0);
    const text = frames.length === 1 ? `${this.mark_text(run, frames[0])}` : `${frames.length} marks`;
    const item = svg_element('g', { 'data-frame': frames[0], 'data-kind': kind, 'data-count': frames.length },
      svg_element('title', {}, missing > 0 ? `${text}, ${missing} frames missing` : text),
      svg_element('text', { x, y: 13 }, sign + (frames.length > 1 ? frames.length : '')));
    item.addEventListener('click', () => this.pin_frame(run, frames[0]));
    return item;
  }

  mark_text(run, frame) {
    const kinds = MARKS.filter(({ bit }) => run.mark(frame) & bit).map(({ text }) => text);
    return `${kinds.join(', ')} after frame ${frame - 1}`;
  }

  place_lines() {
    for (const [line, target] of [[this.cursor, this.hovered], [this.pin, this.pinned]]) {
      const x = target === null ? NaN : target.run.axis[target.frame];
      const is_seen = x >= this.window[0] && x <= this.window[1];
      line.style.display = is_seen ? 'block' : 'none';
      if (is_seen) line.style.left = `${this.pixel(x)}px`;
    }
  }

  /**
   * The frame under the pointer: of those in its column of pixels the one whose line is nearest, so that a single
   * high frame among thousands can be pointed at.
   */
  frame_under(pixel_x, client_y) {
    const pane = this.panes.find(({ plot }) => {
      const { top, bottom } = plot.getBoundingClientRect();
      return client_y >= top && client_y <= bottom;
    }) || this.panes[0];
    const value = pane.graph.toDataYCoord(client_y - pane.plot.getBoundingClientRect().top);
    const [from, to] = [this.place(pixel_x - 1), this.place(pixel_x + 1)];
    let best = null;
    let least = Infinity;
    for (const { run, values } of pane.series) {
      for (let i = run.first_at(from); i < run.count && run.axis[i] <= to; ++i) {
        const distance = Math.abs(values[i] - value);
        if (distance < least) [least, best] = [distance, { run, frame: i }];
      }
    }
    return best || this.nearest(pane, this.place(pixel_x));
  }

  nearest(pane, x) {
    const run = (pane.series.find((series) => series.run === (this.pinned || {}).run) || pane.series[0]).run;
    return { run, frame: run.nearest(x) };
  }

  hover(target) {
    this.hovered = target;
    this.place_lines();
    this.show_rows();
  }

  /** Pins a frame and writes it in the address; null unpins. `in_sight`: the window moves so that it is seen. */
  pin_frame(run, frame, in_sight = true) {
    this.pinned = run === null ? null : { run, frame };
    const hash = run === null ? '' : `#${run === this.runs[0] ? '' : 'b-'}frame=${frame}`;
    if (location.hash !== hash) history.replaceState(null, '', hash || location.pathname + location.search);
    const status = document.getElementById('pinned');
    status.textContent = run === null ? '' : this.pinned_text(run, frame);
    if (run !== null && in_sight) {
      const [from, to] = this.window;
      const x = run.axis[frame];
      if (!(x >= from && x <= to)) this.show(x - (to - from) / 2, x + (to - from) / 2);
    }
    this.place_lines();
    this.show_rows();
  }

  pinned_text(run, frame) {
    const mark = run.mark(frame) !== 0 ? `, ${this.mark_text(run, frame)}` : '';
    const time = this.by_time ? `, ${run.axis[frame].toFixed(6)} s` : '';
    return `Pinned: ${run.letter ? `${run.letter} ` : ''}frame ${frame}${time}${mark}`;
  }

  /** The table of the frame under the pointer and the pinned one, and the values beside the names of the series. */
  show_rows() {
    const table = document.getElementById('rows');
    const targets = [['under the pointer', this.hovered], ['pinned', this.pinned]].filter(([, target]) => target);
    const names = ROW_COLUMNS.filter((name) => this.runs.some((run) => run.row_columns().includes(name)));
    const head = element('tr', {}, element('td'), ...names.map((name) => element('th', { scope: 'col' }, name)));
    const rows = targets.map(([title, { run, frame }]) => element('tr', {},
      element('th', { scope: 'row' }, run.letter ? `${title}, ${run.letter}` : title),
      ...names.map((name) => element('td', { 'data-column': name }, run.cell(name, frame) || '–'))));
    table.replaceChildren(table.caption, element('thead', {}, head), element('tbody', {}, ...rows));
    const shown = this.hovered || this.pinned;
    for (const pane of this.panes) {
      for (const run of this.runs) pane.show_values(run, shown && shown.run === run ? shown.frame : null);
    }
  }
}
