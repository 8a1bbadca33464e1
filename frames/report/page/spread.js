// The charts of how latency and distance are distributed.
'use strict';

const PERCENTS = ['0', '90', '99', '99.9', '99.99', '99.999', '99.9999', '99.99999'];
const LOWEST_COUNT = 0.7;  // the foot of bars on a logarithmic axis

function spread_colours(runs) {
  return runs.map((run, i) => colour(i === 0 ? 'a1' : 'b1'));
}

/** Bars: filled for the first run, outlined and dashed for the second. */
function bars(plot) {
  const context = plot.drawingContext;
  const area = plot.plotArea;
  const points = plot.points.filter(({ yval }) => yval !== null && !Number.isNaN(yval));
  const width = plot.points.length > 1 ? plot.points[1].canvasx - plot.points[0].canvasx : 4;
  context.fillStyle = plot.color;
  context.strokeStyle = plot.color;
  for (const point of points) {
    const box = [point.canvasx - width / 2, point.canvasy, Math.max(width - 1, 1), area.y + area.h - point.canvasy];
    if (plot.seriesIndex === 0) context.fillRect(...box);
    else context.strokeRect(...box);
  }
}

function chart_options(runs) {
  return {
    labels: ['x', ...runs.map((run) => run.letter || 'frames')],
    colors: spread_colours(runs),
    legend: 'never',
    interactionModel: {},
    highlightCircleSize: 0,
    axisLineColor: colour('line'),
    gridLineColor: colour('line'),
  };
}

function draw_histogram(spread, runs) {
  const { from, width, counts } = spread.histogram;
  const rows = counts[0].map((ignored, bin) => [from + bin * width, ...counts.map((run) => run[bin] || null)]);
  const most = Math.max(1, ...counts.flat());
  return new Dygraph(document.getElementById(`${spread.id}-histogram`), rows, {
    ...chart_options(runs),
    plotter: bars,
    logscale: true,
    valueRange: [LOWEST_COUNT, most * 1.5],
    dateWindow: [from - width, from + counts[0].length * width],
    axes: {
      x: { pixelsPerLabel: 80, axisLabelWidth: 76, axisLabelFormatter: (value) => short_value(value, 'µs') },
      y: { axisLabelWidth: 60,
        ticker: () => [...Array(9).keys()].map((n) => ({ v: Math.pow(10, n), label: String(Math.pow(10, n)) }))
          .filter(({ v }) => v <= most * 1.5) },
    },
  });
}

function draw_curve(spread, runs) {
  const rows = [];
  spread.curves.forEach((curve, run) => {
    for (const [x, value] of curve) {
      const row = [x, ...runs.map(() => null)];
      row[run + 1] = value;
      rows.push(row);
    }
  });
  rows.sort((one, other) => one[0] - other[0]);
  const end = rows[rows.length - 1][0];
  const half = { v: Math.log10(2), label: '50 %' };
  const ticks = [half, ...PERCENTS.map((percent, v) => ({ v, label: `${percent} %` }))].filter(({ v }) => v <= end);
  return new Dygraph(document.getElementById(`${spread.id}-curve`), rows, {
    ...chart_options(runs),
    series: Object.fromEntries(
      runs.map((run, i) => [run.letter || 'frames', { strokePattern: i > 0 ? [5, 3] : null }])),
    connectSeparatedPoints: true,
    strokeWidth: 1.5,
    dateWindow: [0, end * 1.02],
    axes: {
      x: { ticker: () => ticks },
      y: { axisLabelWidth: 66, axisLabelFormatter: (value) => short_value(value, 'µs') },
    },
  });
}

/** Draws all of them; returns what draws them anew after a change of colours. */
function draw_spreads(spreads, runs) {
  let graphs = [];
  const draw = () => {
    for (const graph of graphs) graph.destroy();
    graphs = spreads.flatMap((spread) => [draw_histogram(spread, runs), draw_curve(spread, runs)]);
  };
  draw();
  return draw;
}
