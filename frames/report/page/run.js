// A run: its columns, its place on the axis, and what is worked out from the columns.
'use strict';

const MARK_GAP = 1;
const MARK_BACKWARDS = 2;
const MARK_REPEATED = 4;
const SECOND = 1e6;  // µs

/** The columns of a frame's row, in the order of zel-frames list. */
const ROW_COLUMNS = ['frame', 'sequence', 'type', 'type_name', 'key', 'time_us', 'delta_us', 'delta_cts_us', 'offset',
  'size', 'header', 'latency_us', 'utc_us', 'custom', 'file'];

/** Columns that the charts need; the others are unpacked when the first picture stands. */
const CHART_COLUMNS = ['time_us', 'latency_us', 'size', 'key', 'mark', 'missing', 'delta_cts_us'];

class Run {
  constructor(description, letter) {
    this.description = description;
    this.name = description.name;
    this.letter = letter;
    this.count = description.frames;
    this.columns = {};
  }

  async load(names) {
    const wanted = this.description.columns.filter((column) => names.includes(column.name));
    const loaded = await Promise.all(wanted.map((column) => unpacked_column(column, this.count)));
    wanted.forEach((column, i) => this.place(column, loaded[i]));
  }

  async load_rest() {
    const rest = this.description.columns.map((column) => column.name).filter((name) => !(name in this.columns));
    await this.load(rest);
  }

  /** Adds to a column what it was worked out from. */
  place(description, column) {
    this.columns[description.name] = column;
    if (!description.base) return;
    const numbers = column.numbers;
    const base = this.base_of(description.base);
    for (let i = 0; i < this.count; ++i) numbers[i] += base(i);
  }

  base_of(name) {
    const { time_us: times, latency_us: latencies, size: sizes } = this.columns;
    if (name === 'time') return (i) => times.numbers[i];
    if (name === 'bytes') {
      let bytes = 0;
      return (i) => {
        const before = bytes;
        bytes += sizes.known(i) ? sizes.numbers[i] : 0;
        return before;
      };
    }
    const arrival = (i) => times.numbers[i] + latencies.numbers[i];
    return (i) => (i === 0 ? 0 : arrival(i) - arrival(i - 1));
  }

  /** Works out distances, the axis, GOPs and bit rates. `by_time`: the axis is in seconds, else in frames. */
  prepare(by_time) {
    const times = this.columns.time_us;
    const nominal = this.description.nominal_us || 0;
    this.distances = new Float64Array(this.count).fill(NaN);
    this.axis = new Float64Array(this.count);
    this.is_bent = false;  // times go back somewhere: the axis goes on by the usual distance there
    for (let i = 1; i < this.count; ++i) {
      if (times && times.known(i) && times.known(i - 1)) {
        this.distances[i] = Number(times.numbers[i] - times.numbers[i - 1]);
      }
      const distance = this.distances[i];
      if (distance < 0) this.is_bent = true;
      const step = distance >= 0 ? distance : nominal;
      this.axis[i] = by_time ? this.axis[i - 1] + step / SECOND : i;
    }
    this.sizes = this.columns.size ? this.columns.size.doubles() : new Float64Array(this.count).fill(NaN);
    this.find_gops();
    this.work_out_rates(by_time);
  }

  find_gops() {
    const keys = this.columns.key;
    this.gops = [];
    for (let i = 0; keys && i < this.count; ++i) if (keys.numbers[i] !== 0 && keys.known(i)) this.gops.push(i);
    this.key_sizes = new Float64Array(this.count).fill(NaN);
    this.other_sizes = this.sizes;
    if (!keys) return;
    this.other_sizes = this.sizes.slice();
    for (const i of this.gops) {
      this.key_sizes[i] = this.sizes[i];
      this.other_sizes[i] = NaN;
    }
  }

  /** Bit rates at each frame in bit/s: of the second up to the frame, and of its GOP. */
  work_out_rates(by_time) {
    this.second_rates = new Float64Array(this.count).fill(NaN);
    this.gop_rates = new Float64Array(this.count).fill(NaN);
    if (!by_time) return;
    let bytes = 0;
    for (let i = 0, from = 0; i < this.count; ++i) {
      bytes += this.sizes[i] || 0;
      for (; this.axis[i] - this.axis[from] >= 1; ++from) bytes -= this.sizes[from] || 0;
      if (this.axis[i] >= 1) this.second_rates[i] = bytes * 8;
    }
    for (let gop = 0; gop + 1 < this.gops.length; ++gop) {
      const [from, to] = [this.gops[gop], this.gops[gop + 1]];
      const lasts = this.axis[to] - this.axis[from];
      if (to - from < 2 || lasts <= 0) continue;  // a rate of single frames is their size
      let sum = 0;
      for (let i = from; i < to; ++i) sum += this.sizes[i] || 0;
      this.gop_rates.fill(sum * 8 / lasts, from, to);
    }
  }

  mark(frame) {
    return this.columns.mark.numbers[frame];
  }

  /** The first frame whose place is not before x. */
  first_at(x) {
    let low = 0;
    let high = this.count;
    while (low < high) {
      const middle = low + high >> 1;
      if (this.axis[middle] < x) low = middle + 1;
      else high = middle;
    }
    return low;
  }

  /** Where the columns of pixels of a window begin, see first_frames(): the same for all series of the run. */
  columns_of_pixels(window, columns) {
    const key = [...window, columns].join();
    if (this.pixels === undefined || this.pixels.key !== key) {
      this.pixels = { key, places: first_frames(this.axis, this.first_at(window[0]), window, columns) };
    }
    return this.pixels.places;
  }

  nearest(x) {
    const after = Math.min(this.first_at(x), this.count - 1);
    return after > 0 && x - this.axis[after - 1] < this.axis[after] - x ? after - 1 : after;
  }

  /** One cell of a frame's row as text; empty where it is not known. */
  cell(name, frame) {
    const column = this.columns[name];
    if (name === 'frame') return String(frame);
    if (name === 'delta_us') {
      const times = this.columns.time_us;
      if (frame === 0) return times && times.known(0) ? '0' : '';
      if (!times || !times.known(frame) || !times.known(frame - 1)) return '';
      return String(times.numbers[frame] - times.numbers[frame - 1]);
    }
    if (name === 'file') return this.part_of(frame);
    if (name === 'type_name') return column && column.known(frame) ? this.description.type_names[column.at(frame)] : '';
    return column ? column.text(frame) : '';
  }

  part_of(frame) {
    const offset = this.columns.offset;
    let name = '';
    for (const part of this.description.parts) if (offset && offset.at(frame) >= part.start) name = part.name;
    return name;
  }

  /** Names of the columns that the run has. */
  row_columns() {
    const has = (name) => name === 'frame' || name in this.columns || name === 'delta_us' && this.columns.time_us ||
      name === 'file' && this.description.parts.length > 0;
    return ROW_COLUMNS.filter(has);
  }
}
