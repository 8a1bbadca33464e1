// Mouse, touch, keyboard and buttons of the timeline, and the address.
'use strict';

const CLICK_PIXELS = 4;  // a press that moves less is a click
const AROUND_LINK = 60;  // frames shown on each side of one that a link names

/** Pixels from the left of the timeline. */
function pixel_of(timeline, event) {
  return event.clientX - timeline.root.getBoundingClientRect().left;
}

/** Follows presses: a mouse chooses a part or pans with Shift, a finger pans, two zoom. */
class Pointers {
  constructor(timeline) {
    this.timeline = timeline;
    this.down = new Map();  // pointer to {start, now, kind}
    const { root } = timeline;
    root.addEventListener('pointerdown', (event) => this.press(event));
    root.addEventListener('pointermove', (event) => this.move(event));
    root.addEventListener('pointerup', (event) => this.release(event));
    root.addEventListener('pointercancel', (event) => this.leave(event));
    root.addEventListener('pointerleave', () => timeline.hover(null));
    root.addEventListener('dblclick', (event) => {
      if (!event.target.closest('.legend')) timeline.show(...timeline.whole);
    });
    root.addEventListener('wheel', (event) => this.turn(event), { passive: false });
  }

  press(event) {
    if (event.button !== 0 || event.target.closest('.legend, .lane')) return;
    const pixel = pixel_of(this.timeline, event);
    const pans = event.pointerType === 'touch' || event.shiftKey;
    this.down.set(event.pointerId, { start: pixel, now: pixel, pans });
    this.before = { window: this.timeline.window, moved: false };
    this.timeline.root.setPointerCapture(event.pointerId);
    for (const pointer of this.down.values()) pointer.start = pointer.now;  // a second finger begins anew
  }

  move(event) {
    const pointer = this.down.get(event.pointerId);
    const pixel = pixel_of(this.timeline, event);
    if (!pointer) {
      if (event.pointerType !== 'touch' && !event.target.closest('.legend, .lane')) {
        this.timeline.hover(this.timeline.frame_under(pixel, event.clientY));
      }
      return;
    }
    pointer.now = pixel;
    if (Math.abs(pixel - pointer.start) >= CLICK_PIXELS) this.before.moved = true;
    if (!this.before.moved) return;
    if (this.down.size === 2) this.pinch();
    else if (pointer.pans) this.drag(pointer);
    else this.choose(pointer);
  }

  /** What lay under both fingers stays under them. */
  pinch() {
    const [one, other] = [...this.down.values()].sort((a, b) => a.start - b.start);
    const [from, to] = this.before.window;
    const width = this.width();
    const x = (pixel) => from + (pixel - this.left()) / width * (to - from);
    const scale = (x(other.start) - x(one.start)) / Math.max(other.now - one.now, 1);
    const start = x(one.start) - (one.now - this.left()) * scale;
    this.timeline.show(start, start + width * scale);
  }

  drag(pointer) {
    const [from, to] = this.before.window;
    const x = (pointer.start - pointer.now) / this.width() * (to - from);
    this.timeline.show(from + x, to + x);
  }

  choose(pointer) {
    const { style } = this.timeline.choice;
    style.display = 'block';
    style.left = `${Math.min(pointer.start, pointer.now)}px`;
    style.width = `${Math.abs(pointer.now - pointer.start)}px`;
  }

  release(event) {
    const pointer = this.down.get(event.pointerId);
    if (!pointer) return;
    const { timeline } = this;
    if (!this.before.moved) {
      const target = timeline.frame_under(pointer.now, event.clientY);
      timeline.pin_frame(target.run, target.frame);
    } else if (!pointer.pans) {
      const places = [timeline.place(pointer.start), timeline.place(pointer.now)].sort((a, b) => a - b);
      timeline.show(...places);
    }
    this.leave(event);
  }

  leave(event) {
    this.down.delete(event.pointerId);
    this.timeline.choice.style.display = 'none';
    if (!this.before) return;
    this.before.window = this.timeline.window;
    for (const pointer of this.down.values()) pointer.start = pointer.now;
  }

  turn(event) {
    if (event.ctrlKey || event.metaKey) {
      event.preventDefault();
      const x = this.timeline.place(pixel_of(this.timeline, event));
      this.timeline.zoom(Math.exp(Math.max(-1, Math.min(1, event.deltaY / 200))), x);
    } else if (event.shiftKey || Math.abs(event.deltaX) > Math.abs(event.deltaY)) {
      event.preventDefault();
      this.timeline.pan((event.deltaX || event.deltaY) / this.width());
    }
  }

  left() {
    return this.timeline.panes[0].graph.getArea().x;
  }

  width() {
    return this.timeline.panes[0].graph.getArea().w;
  }
}

/** Pins the frame that many frames behind the pinned one, or the first that is seen. */
function step(timeline, frames) {
  const { pinned, runs, window } = timeline;
  const run = pinned ? pinned.run : runs[0];
  const frame = pinned ? pinned.frame + frames : run.first_at(window[0]);
  timeline.pin_frame(run, Math.min(Math.max(frame, 0), run.count - 1));
}

/** Pins the next marked frame in a direction. */
function step_to_mark(timeline, direction) {
  const { pinned, runs } = timeline;
  const run = pinned ? pinned.run : runs[0];
  const from = pinned ? pinned.frame : -1;
  const found = direction > 0 ? run.marks.find((frame) => frame > from)
    : run.marks.findLast((frame) => frame < from);
  if (found !== undefined) timeline.pin_frame(run, found);
}

const ACTIONS = {
  whole: (timeline) => timeline.show(...timeline.whole),
  in: (timeline) => timeline.zoom(0.5),
  out: (timeline) => timeline.zoom(2),
  left: (timeline) => timeline.pan(-0.25),
  right: (timeline) => timeline.pan(0.25),
  before: (timeline) => step_to_mark(timeline, -1),
  after: (timeline) => step_to_mark(timeline, 1),
};

function handle_key(timeline, event) {
  if (event.ctrlKey || event.metaKey || event.altKey || event.target.tagName === 'INPUT') return;
  const keys = {
    '+': ACTIONS.in, '=': ACTIONS.in, '-': ACTIONS.out, 0: ACTIONS.whole, Home: ACTIONS.whole,
    ArrowUp: ACTIONS.in, ArrowDown: ACTIONS.out,
    ArrowLeft: event.shiftKey ? ACTIONS.left : () => step(timeline, -1),
    ArrowRight: event.shiftKey ? ACTIONS.right : () => step(timeline, 1),
    n: ACTIONS.after, p: ACTIONS.before, Escape: () => timeline.pin_frame(null, null),
  };
  const action = keys[event.key] || keys[event.key.toLowerCase()];
  if (!action) return;
  event.preventDefault();
  action(timeline);
}

/** Pins the frame that the address names; one that a link names is shown with some frames around it. */
function follow_address(timeline) {
  const match = /^#(b-)?frame=(\d+)$/.exec(location.hash);
  const run = match && timeline.runs[match[1] ? 1 : 0];
  const frame = match ? Number(match[2]) : NaN;
  if (!run || !(frame < run.count)) return false;
  const [from, to] = timeline.window;
  const first = run.axis[Math.max(frame - AROUND_LINK, 0)];
  const last = run.axis[Math.min(frame + AROUND_LINK, run.count - 1)];
  const share = (run.axis[frame] - from) / (to - from);
  if (last - first < 0.9 * (to - from) || !(share > 0.1 && share < 0.9)) timeline.show(first, last);
  timeline.pin_frame(run, frame, false);
  return true;
}

function listen(timeline) {
  const pointers = new Pointers(timeline);
  timeline.root.addEventListener('keydown', (event) => handle_key(timeline, event));
  const tools = document.querySelector('.tools');
  tools.hidden = false;
  tools.addEventListener('click', (event) => {
    const button = event.target.closest('button');
    if (button) ACTIONS[button.dataset.do](timeline);
  });
  window.addEventListener('hashchange', () => {
    if (follow_address(timeline)) document.getElementById('timeline').scrollIntoView({ block: 'start' });
  });
  return pointers;
}
