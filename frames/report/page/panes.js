// One chart of the timeline.
'use strict';

/** Of every line, in pixels. Browsers without a graphics card draw a wider one ten times slower. */
const LINE_WIDTH = 1;
const MOVING_PIXELS = 3;

function colour(name) {
  return getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();
}

function element(name, attributes = {}, ...children) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
  made.append(...children);
  return made;
}

function svg_element(name, attributes = {}, ...children) {
  const made = document.createElementNS('http://www.w3.org/2000/svg', name);
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
  made.append(...children);
  return made;
}

/** A number with as many digits as its unit needs: 33300 µs are "33.3 ms". */
function short_value(value, unit) {
  const scales = { 'µs': [[1e6, 's'], [1e3, 'ms'], [1, 'µs']], bytes: [[1e6, 'MB'], [1e3, 'kB'], [1, 'B']],
    'bit/s': [[1e6, 'Mbit/s'], [1e3, 'kbit/s'], [1, 'bit/s']] }[unit];
  const [scale, name] = scales.find(([limit]) => Math.abs(value) >= limit) || scales[scales.length - 1];
  return `${Number((value / scale).toPrecision(6))} ${name}`;
}

/** Places of labels on the time axis: at most one in 90 pixels, at round times. */
function time_ticks(from, to, pixels, by_time) {
  const most = Math.max(pixels / 90, 1);
  const least = (to - from) / most;
  const round = [60, 120, 300, 600, 1200, 1800, 3600, 7200, 14400, 43200, 86400];
  let step = Math.pow(10, Math.floor(Math.log10(least)));
  step *= [1, 2, 5, 10].find((factor) => factor * step >= least) || 10;
  if (by_time && step > 30) step = round.find((seconds) => seconds >= least) || step;
  else if (by_time && step > 10) step = 30;
  if (!by_time) step = Math.max(step, 1);
  const decimals = Math.max(0, Math.ceil(-Math.log10(step) - 1e-9));
  const ticks = [];
  for (let n = Math.ceil(from / step - 1e-9); n * step <= to; ++n) {
    ticks.push({ v: n * step, label: by_time ? time_label(n * step, decimals, to) : String(n * step) });
  }
  return ticks;
}

function time_label(seconds, decimals, longest) {
  if (longest < 120) return `${seconds.toFixed(decimals)} s`;
  const whole = Math.floor(Math.abs(seconds) + 1e-9);
  const two = (number) => String(number).padStart(2, '0');
  const hours = Math.floor(whole / 3600);
  const rest = decimals > 0 ? (Math.abs(seconds) - whole).toFixed(decimals).slice(1) : '';
  return `${seconds < 0 ? '-' : ''}${hours > 0 ? `${hours}:` : ''}${two(Math.floor(whole / 60) % 60)}:` +
    `${two(whole % 60)}${rest}`;
}

/** Draws a series as squares, without a line: filled, or hollow for the second run. */
function squares(plot, is_hollow) {
  const context = plot.drawingContext;
  context.fillStyle = plot.color;
  context.strokeStyle = plot.color;
  for (const { canvasx, canvasy } of plot.points) {
    if (Number.isNaN(canvasy)) continue;
    if (is_hollow) context.strokeRect(canvasx - 3, canvasy - 3, 6, 6);
    else context.fillRect(canvasx - 2.5, canvasy - 2.5, 5, 5);
  }
}

/**
 * A pane: {id, title, unit, from_zero, series}; a series is {label, run, values, colour, dashed, pattern, squares}.
 * `underlay` draws below the lines.
 */
class Pane {
  constructor(pane, parent, is_last, by_time, underlay) {
    Object.assign(this, pane);
    this.by_time = by_time;
    this.is_last = is_last;
    for (const series of this.series) series.extremes = new Extremes(series.values);
    this.plot = element('div', { class: 'plot' });
    this.legend = this.make_legend();
    this.root = element('div', { class: 'pane', id: `pane-${this.id}` }, this.legend, this.plot);
    this.root.setAttribute('role', 'group');
    this.root.setAttribute('aria-label', this.spoken());
    parent.append(this.root);
    this.underlay = underlay;
  }

  /** What a screen reader says of the pane. */
  spoken() {
    const texts = this.series.map((series) => {
      series.extremes.find(0, series.run.count);
      const { low, high } = series.extremes;
      if (low < 0) return `${series.label}: none`;
      return `${series.label}: ${short_value(series.values[low], this.unit)} to ` +
        `${short_value(series.values[high], this.unit)}, the largest at frame ${high}`;
    });
    return `${this.title}. ${texts.join('. ')}`;
  }

  make_legend() {
    const legend = element('div', { class: 'legend' }, element('b', {}, this.title));
    this.series.forEach((series, index) => {
      const box = element('input', { type: 'checkbox', checked: '' });
      box.addEventListener('change', () => this.graph.setVisibility(index, box.checked));
      const ink = `var(--${series.colour})`;
      const dashes = series.pattern ? series.pattern.join(' ') : 'none';
      const shape = series.squares ? { d: 'M8 2h6v6h-6z', stroke: ink, fill: series.dashed ? 'none' : ink }
        : { d: 'M0 5H22', stroke: ink, 'stroke-width': 2, 'stroke-dasharray': dashes };
      series.output = element('output');
      legend.append(element('label', {}, box, svg_element('svg', { 'aria-hidden': 'true' }, svg_element('path', shape)),
        ` ${series.label} `, series.output));
    });
    return legend;
  }

  options(window) {
    this.pixels = Math.max(Math.round(this.plot.clientWidth - 70), 50);
    const styles = {};
    for (const series of this.series) {
      styles[series.label] = { color: colour(series.colour), strokePattern: series.pattern };
      if (series.squares) styles[series.label].plotter = (plot) => squares(plot, series.dashed);
    }
    return {
      series: styles,
      axisLineColor: colour('line'),
      gridLineColor: colour('line'),
      ...this.data(window),
    };
  }

  /** What changes with the window. While it moves, a column is as wide as several pixels: that is drawn faster. */
  data(window, is_moving = false) {
    const columns = is_moving ? Math.ceil(this.pixels / MOVING_PIXELS) : this.pixels;
    const rows = thinned(this.series, window, columns);
    const frames = Math.max(...this.series.map(({ run }) => run.first_at(window[1]) - run.first_at(window[0])));
    if (rows.length === 0) rows.push([window[0], ...this.series.map(() => null)]);
    return { file: rows, dateWindow: window, valueRange: this.value_range(rows), drawPoints: frames < this.pixels / 4 };
  }

  value_range(rows) {
    let low = Infinity;
    let high = -Infinity;
    for (const row of rows) {
      for (let i = 1; i < row.length; ++i) {
        const value = row[i];
        if (value === null) continue;
        if (value < low) low = value;
        if (value > high) high = value;
      }
    }
    if (low > high) return [0, 1];
    if (this.from_zero) low = Math.min(low, 0);
    const missing = Math.max(this.least_span - (high - low), 0) / 2;
    const margin = (high - low + 2 * missing) * 0.06;
    return [this.from_zero ? low : low - missing - margin, high + missing + margin];
  }

  draw(window, is_moving = false) {
    if (this.graph) {
      this.graph.updateOptions(this.data(window, is_moving));
      return;
    }
    const { file, ...options } = this.options(window);
    this.graph = new Dygraph(this.plot, file, {
      ...options,
      labels: ['x', ...this.series.map(({ label }) => label)],
      legend: 'never',
      interactionModel: {},
      highlightCircleSize: 0,
      connectSeparatedPoints: true,
      strokeWidth: LINE_WIDTH,
      pointSize: 1.8,
      axes: {
        x: {
          drawAxis: this.is_last,
          ticker: (from, to, pixels) => time_ticks(from, to, pixels, this.by_time),
        },
        y: { axisLabelWidth: 66, pixelsPerLabel: 26, axisLabelFormatter: (value) => short_value(value, this.unit) },
      },
      underlayCallback: (context, area, graph) => this.underlay(context, area, graph),
    });
  }

  /** After a change of colours or width. */
  redraw(window) {
    this.graph.resize();
    this.graph.updateOptions(this.options(window));
  }

  /** Writes the frame's values beside the names of its run's series. */
  show_values(run, frame) {
    for (const series of this.series) {
      if (series.run !== run) continue;
      const value = frame === null ? NaN : series.values[frame];
      series.output.textContent = Number.isNaN(value) ? '' : `${Math.round(value)} ${this.unit}`;
    }
  }
}

/** Of lines: the first and the second series of each run, which differ without their colours too. */
const PATTERNS = [[null, [2, 2]], [[5, 3], [8, 2, 2, 2]]];

/** The panes for these runs. */
function pane_descriptions(runs) {
  const series = (label, name, second, more = {}) => runs.map((run, i) => ({
    label: run.letter ? `${run.letter} ${label}` : label,
    run,
    values: typeof name === 'string' ? (run.columns[name] ? run.columns[name].doubles() : null) : name(run),
    colour: `${i === 0 ? 'a' : 'b'}${second ? 2 : 1}`,
    dashed: i > 0,
    pattern: PATTERNS[i][second ? 1 : 0],
    ...more,
  })).filter(({ values }) => values !== null && values.some((value) => !Number.isNaN(value)));
  const arrivals = (run) => {
    if (!run.columns.delta_cts_us) return null;
    const values = run.columns.delta_cts_us.doubles().slice();
    values[0] = NaN;  // the first frame has no distance
    return values;
  };
  return [
    { id: 'distance', title: 'Distance', unit: 'µs', least_span: 1000,
      series: [...series('Δpts', (run) => run.distances, false), ...series('Δcts', arrivals, true)] },
    { id: 'latency', title: 'Latency', unit: 'µs', least_span: 1000, series: series('latency', 'latency_us', false) },
    { id: 'size', title: 'Frame size', unit: 'bytes', least_span: 100, from_zero: true,
      series: [...series(runs.some(({ gops }) => gops.length > 0) ? 'other' : 'size', (run) => run.other_sizes, false),
        ...series('key', (run) => run.key_sizes, true, { squares: true })] },
    { id: 'rate', title: 'Bit rate', unit: 'bit/s', least_span: 1000, from_zero: true,
      series: [...series('over 1 s', (run) => run.second_rates, false),
        ...series('over a GOP', (run) => run.gop_rates, true)] },
  ].filter(({ series: found }) => found.length > 0);
}
