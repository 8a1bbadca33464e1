// Points for a chart: of each column of pixels the smallest and the largest value, so that no single frame is lost.
'use strict';

const GROUP = 8;  // elements of a level that are one of the next

/** Finds where the extremes of any range of values are, from those of groups of 8, 64, ... NaN counts as nothing. */
class Extremes {
  constructor(values) {
    this.values = values;
    this.levels = [];  // {lowest, highest}: places in `values`; -1 where a group has no value
    for (let length = values.length; length > GROUP;) {
      const groups = Math.ceil(length / GROUP);
      const lowest = new Int32Array(groups);
      const highest = new Int32Array(groups);
      for (let group = 0; group < groups; ++group) {
        this.low = this.high = -1;
        this.take(this.levels.length, group * GROUP, Math.min((group + 1) * GROUP, length));
        lowest[group] = this.low;
        highest[group] = this.high;
      }
      this.levels.push({ lowest, highest });
      length = groups;
    }
  }

  /** Leaves the places of the extremes from `from` to before `to` in `low` and `high`; -1 where there is no value. */
  find(from, to) {
    this.low = this.high = -1;
    let [begin, end] = [from, to];
    for (let level = 0; begin < end; ++level) {
      const first = Math.ceil(begin / GROUP);
      const last = Math.floor(end / GROUP);
      if (first >= last || level === this.levels.length) {
        this.take(level, begin, end);
        return;
      }
      this.take(level, begin, first * GROUP);
      this.take(level, last * GROUP, end);
      [begin, end] = [first, last];
    }
  }

  /** Counts in elements of a level; those of level 0 are the values. */
  take(level, from, to) {
    if (level === 0) {
      this.scan(from, to);
      return;
    }
    const { values } = this;
    const { lowest, highest } = this.levels[level - 1];
    let { low, high } = this;
    for (let i = from; i < to; ++i) {
      const lower = lowest[i];
      if (lower < 0) continue;
      if (low < 0 || values[lower] < values[low]) low = lower;
      const higher = highest[i];
      if (high < 0 || values[higher] > values[high]) high = higher;
    }
    this.low = low;
    this.high = high;
  }

  scan(from, to) {
    const { values } = this;
    let { low, high } = this;
    let least = low < 0 ? Infinity : values[low];
    let most = high < 0 ? -Infinity : values[high];
    for (let i = from; i < to; ++i) {
      const value = values[i];
      if (value < least) {
        least = value;
        low = i;
      }
      if (value > most) {
        most = value;
        high = i;
      }
    }
    this.low = low;
    this.high = high;
  }
}

/**
 * Where the columns of pixels of a window begin in an axis: the first frame of each, and the one behind the window.
 */
function first_frames(axis, first, window, columns) {
  const [from, to] = window;
  const width = (to - from) / columns;
  const places = new Int32Array(columns + 1);
  places[0] = first;
  for (let column = 1; column <= columns; ++column) {
    places[column] = next_place(axis, places[column - 1], from + column * width);
  }
  return places;
}

/** The first place from `begin` on whose x is not below `edge`: mostly near, so it is looked for in growing steps. */
function next_place(axis, begin, edge) {
  let low = begin;
  let step = 1;
  while (low + step < axis.length && axis[low + step] < edge) {
    low += step;
    step *= 2;
  }
  let high = Math.min(low + step, axis.length);
  while (low < high) {
    const middle = low + high >> 1;
    if (axis[middle] < edge) low = middle + 1;
    else high = middle;
  }
  return low;
}

/**
 * Rows for dygraphs, [x, value of series 0, value of series 1 ...], for a window of so many columns of pixels; null
 * where a series has no point. A series is {run, extremes}. One frame beyond each end lets lines run out of the window.
 */
function thinned(series, window, columns) {
  const rows = [];
  const put = (index, frame) => {
    const { run, extremes } = series[index];
    if (frame < 0 || frame >= run.count || Number.isNaN(extremes.values[frame])) return;
    const row = Array(series.length + 1).fill(null);
    row[0] = run.axis[frame];
    row[index + 1] = extremes.values[frame];
    rows.push(row);
  };
  const places = series.map(({ run }) => run.columns_of_pixels(window, columns));
  places.forEach((first, index) => put(index, first[0] - 1));
  sort_rows(rows, 0);
  for (let column = 0; column < columns; ++column) {
    const start = rows.length;
    for (let index = 0; index < series.length; ++index) {
      const begin = places[index][column];
      const end = places[index][column + 1];
      if (end <= begin) continue;
      const { extremes } = series[index];
      extremes.find(begin, end);
      const { low, high } = extremes;
      if (low < 0) continue;
      put(index, Math.min(low, high));
      if (low !== high) put(index, Math.max(low, high));
    }
    if (series.length > 1 && rows.length - start > 1) sort_rows(rows, start);
  }
  const end = rows.length;
  places.forEach((first, index) => put(index, first[columns]));
  sort_rows(rows, end);
  return rows;
}

/** Puts the few rows from `start` on in order of x; equal ones stay as they are. */
function sort_rows(rows, start) {
  for (let i = start + 1; i < rows.length; ++i) {
    const row = rows[i];
    let place = i;
    for (; place > start && rows[place - 1][0] > row[0]; --place) rows[place] = rows[place - 1];
    rows[place] = row;
  }
}
