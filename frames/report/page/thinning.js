// Points for a chart: of each column of pixels the smallest and the largest value, so that no single frame is lost.
'use strict';

const BLOCK = 64;  // frames

/** Finds where the extremes of any range of values are. NaN counts as nothing. */
class Extremes {
  constructor(values) {
    this.values = values;
    const blocks = Math.ceil(values.length / BLOCK);
    this.lowest = new Int32Array(blocks);
    this.highest = new Int32Array(blocks);
    for (let block = 0; block < blocks; ++block) {
      this.low = this.high = -1;
      this.scan(block * BLOCK, Math.min((block + 1) * BLOCK, values.length));
      this.lowest[block] = this.low;
      this.highest[block] = this.high;
    }
  }

  /** Leaves the places of the extremes from `from` to before `to` in `low` and `high`; -1 where there is no value. */
  find(from, to) {
    this.low = this.high = -1;
    const first = Math.ceil(from / BLOCK);
    const last = Math.floor(to / BLOCK);
    if (first >= last) {
      this.scan(from, to);
      return;
    }
    this.scan(from, first * BLOCK);
    this.scan(last * BLOCK, to);
    const { values, lowest, highest } = this;
    let { low, high } = this;
    for (let block = first; block < last; ++block) {
      const lower = lowest[block];
      if (lower < 0) continue;
      if (low < 0 || values[lower] < values[low]) low = lower;
      const higher = highest[block];
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
 * Rows for dygraphs, [x, value of series 0, value of series 1 ...], for a window of so many columns of pixels; null
 * where a series has no point. A series is {run, extremes}. One frame beyond each end lets lines run out of the window.
 */
function thinned(series, window, columns) {
  const rows = [];
  const [from, to] = window;
  const width = (to - from) / columns;
  const places = series.map(({ run }) => Math.max(run.first_at(from) - 1, 0));
  const put = (index, frame) => {
    const row = [series[index].run.axis[frame]];
    for (let i = 0; i < series.length; ++i) row.push(i === index ? series[index].extremes.values[frame] : null);
    rows.push(row);
  };
  for (let index = 0; index < series.length; ++index) {  // the frame before the window
    const { run, extremes } = series[index];
    if (places[index] >= run.count || run.axis[places[index]] >= from) continue;
    if (!Number.isNaN(extremes.values[places[index]])) put(index, places[index]);
    ++places[index];
  }
  sort_rows(rows, 0);
  for (let column = 0; column <= columns; ++column) {
    const start = rows.length;
    const edge = column === columns ? Infinity : from + (column + 1) * width;
    for (let index = 0; index < series.length; ++index) {
      const { run, extremes } = series[index];
      const begin = places[index];
      const end = column === columns ? Math.min(begin + 1, run.count) : next_place(run.axis, begin, edge);
      places[index] = end;
      if (end <= begin) continue;
      extremes.find(begin, end);
      const { low, high } = extremes;
      if (low < 0) continue;
      put(index, Math.min(low, high));
      if (low !== high) put(index, Math.max(low, high));
    }
    if (series.length > 1 && rows.length - start > 1) sort_rows(rows, start);
  }
  return rows;
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

/** Puts the few rows from `start` on in order of x; equal ones stay as they are. */
function sort_rows(rows, start) {
  for (let i = start + 1; i < rows.length; ++i) {
    const row = rows[i];
    let place = i;
    for (; place > start && rows[place - 1][0] > row[0]; --place) rows[place] = rows[place - 1];
    rows[place] = row;
  }
}
