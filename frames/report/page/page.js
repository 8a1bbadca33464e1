// Unpacks the runs and draws them.
'use strict';

/** The timeline and what belongs to it, once the first picture stands. */
let report = null;

/** Draws anew when what colours or widths hang on changes. */
function watch_surroundings(timeline, draw_charts) {
  const redraw = () => {
    timeline.redraw();
    draw_charts();
  };
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', redraw);
  let width = timeline.root.clientWidth;
  new ResizeObserver(() => {
    if (timeline.root.clientWidth === width) return;
    width = timeline.root.clientWidth;
    timeline.redraw();
  }).observe(timeline.root);
  const root = document.documentElement;
  window.addEventListener('beforeprint', () => {
    root.classList.add('printing');  // light, and as wide as paper
    document.body.style.width = '700px';
    redraw();
  });
  window.addEventListener('afterprint', () => {
    root.classList.remove('printing');
    document.body.style.width = '';
    redraw();
  });
}

async function start() {
  const data = JSON.parse(document.getElementById('data').textContent);
  const runs = data.runs.map((run, i) => new Run(run, data.runs.length > 1 ? 'AB'[i] : ''));
  const shown = runs.filter((run) => run.count > 0);
  if (shown.length < runs.length) throw new Error('a capture without frames has no timeline');
  await Promise.all(runs.map((run) => run.load(CHART_COLUMNS)));
  const by_time = runs.every((run) => run.columns.time_us);
  for (const run of runs) run.prepare(by_time);
  const timeline = new Timeline(runs, by_time);
  timeline.draw();
  listen(timeline);
  follow_address(timeline);
  await new Promise((done) => requestAnimationFrame(() => setTimeout(done)));
  performance.mark('first-picture');
  const draw_charts = draw_spreads(data.spreads, runs);
  await Promise.all(runs.map((run) => run.load_rest()));
  timeline.show_rows();
  watch_surroundings(timeline, draw_charts);
  const bent = runs.find((run) => run.is_bent);
  if (bent && by_time) {
    say(`The clock goes back in ${bent.name}: there the axis goes on by the usual distance.`);
  }
  report = { timeline, runs };
}

function say(text) {
  const problem = document.getElementById('problem');
  problem.textContent = text;
  problem.hidden = false;
}

start().catch((error) => say(`The timeline cannot be drawn: ${error.message}`));
