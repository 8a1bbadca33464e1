// The page of zel-frames report in a browser: node report_test.mjs PROGRAMS SCRATCH [PICTURES]. PROGRAMS is a build's
// folder; captures and pages are made in SCRATCH, screenshots put into PICTURES.
import assert from 'node:assert/strict';
import { mkdirSync, readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { pathToFileURL } from 'node:url';

import { Browser } from './browser.mjs';
import { make_captures, make_report, truth } from './captures.mjs';

const [programs, scratch, pictures] = process.argv.slice(2);
const READY = 'report !== null';
const WINDOW = 'JSON.stringify(report.timeline.window)';

const browser = new Browser();
const page_of = (name, hash = '') => pathToFileURL(join(scratch, name)).href + hash;
const shown_window = async () => JSON.parse(await browser.evaluate(WINDOW));

async function picture(name, options) {
  if (pictures) writeFileSync(join(pictures, name), await browser.screenshot(options));
}

/** The marks above the panes, each with where it stands in pixels from the plot's left end, as a share of its width. */
const marks = () => browser.evaluate(`[...document.querySelectorAll('.lane g')].map((mark) => {
  const area = report.timeline.panes[0].graph.getArea();
  const plot = document.querySelector('.plot').getBoundingClientRect();
  const box = mark.querySelector('text').getBoundingClientRect();
  return { kind: mark.dataset.kind, frame: Number(mark.dataset.frame), count: Number(mark.dataset.count),
    share: ((box.left + box.right) / 2 - plot.left - area.x) / area.w };
})`);

const plot_place = (share, pane = 'distance') => browser.evaluate(`(() => {
  const { plot, graph } = report.timeline.panes.find(({ id }) => id === '${pane}');
  plot.scrollIntoView({ block: 'center' });
  const box = plot.getBoundingClientRect();
  const area = graph.getArea();
  return { x: box.left + area.x + area.w * ${share}, y: box.top + area.y + area.h / 2 };
})()`);

async function drag(from, to, more = {}) {
  const begin = await plot_place(from);
  const end = await plot_place(to);
  await browser.mouse('mousePressed', begin.x, begin.y, more);
  await browser.mouse('mouseMoved', end.x, end.y, { buttons: 1, ...more });
  await browser.mouse('mouseReleased', end.x, end.y, more);
}

const settled = () => browser.evaluate(
  'new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done)))');

const tests = {
  // Marks drawn at another place than where the frames were lost or the clock stepped, or not drawn.
  async 'marks stand where the camera says'() {
    await browser.open(page_of('run.html'), READY);
    const { lost, stepped, axis } = truth(scratch);
    const [from, to] = await shown_window();
    const found = await marks();
    assert.deepEqual(found.map(({ kind, frame }) => [kind, frame]), [['gap', lost], ['backwards', stepped]]);
    const width = await browser.evaluate('report.timeline.panes[0].graph.getArea().w');
    for (const { frame, share } of found) {
      const expected = ((axis[frame] + axis[frame - 1]) / 2 - from) / (to - from);
      assert.ok(Math.abs(share - expected) * width < 1.5, `mark of frame ${frame} stands at ${share}, not ${expected}`);
    }
    await picture('light.png');
  },

  // Columns that are packed or unpacked wrong: every number of every frame is that of list.
  async 'every row is that of list'() {
    const expected = readFileSync(join(scratch, 'run.csv'), 'utf8').trim().split('\n').map((line) => line.split(','));
    const names = expected.shift();
    const rows = await browser.evaluate(`Array.from({ length: report.runs[0].count },
      (ignored, frame) => ${JSON.stringify(names)}.map((name) => report.runs[0].cell(name, frame)))`);
    assert.deepEqual(rows, expected);
  },

  // A pointer that shows another frame than the one below it.
  async 'the row under the pointer'() {
    const { lost } = truth(scratch);
    const share = (await marks())[0].share;
    const { x, y } = await plot_place(share);
    await browser.mouse('mouseMoved', x, y - 60);
    const frame = Number(await browser.evaluate(`document.querySelector('#rows td[data-column=frame]').textContent`));
    assert.ok(Math.abs(frame - lost) <= 1, `frame ${frame} is shown, not ${lost}`);
  },

  async 'zoom, pan and back'() {
    const whole = await shown_window();
    await drag(0.25, 0.5);
    await settled();
    const chosen = await shown_window();
    const place = (share) => whole[0] + share * (whole[1] - whole[0]);
    assert.ok(Math.abs(chosen[0] - place(0.25)) < 0.1 && Math.abs(chosen[1] - place(0.5)) < 0.1, String(chosen));
    const windows = await browser.evaluate('report.timeline.panes.map(({ graph }) => graph.xAxisRange().join())');
    assert.equal(new Set(windows).size, 1);

    await drag(0.5, 0.25, { modifiers: 8 });
    await settled();
    const panned = await shown_window();
    assert.ok(Math.abs(panned[1] - panned[0] - (chosen[1] - chosen[0])) < 1e-6);
    assert.ok(Math.abs(panned[0] - chosen[0] - 0.25 * (chosen[1] - chosen[0])) < 0.1, String(panned));

    const { x, y } = await plot_place(0.5);
    await browser.send('Input.dispatchMouseEvent',
      { type: 'mouseWheel', x, y, deltaX: 0, deltaY: -100, modifiers: 2 });
    await browser.wait(`report.timeline.window[1] - report.timeline.window[0] < ${(panned[1] - panned[0]) * 0.7}`);
    await browser.evaluate(`document.querySelector('[data-do=whole]').click()`);
    await settled();
    assert.deepEqual(await shown_window(), whole);
  },

  async 'two fingers zoom, one pans'() {
    await browser.send('Emulation.setTouchEmulationEnabled', { enabled: true, maxTouchPoints: 2 });
    const whole = await shown_window();
    const touch = async (type, shares) => {
      const touchPoints = [];
      for (const [id, share] of shares.entries()) touchPoints.push({ ...await plot_place(share), id });
      await browser.send('Input.dispatchTouchEvent', { type, touchPoints });
    };
    await touch('touchStart', [0.4, 0.6]);
    await touch('touchMove', [0.3, 0.7]);
    await touch('touchMove', [0.2, 0.8]);
    await touch('touchEnd', []);
    await settled();
    const zoomed = await shown_window();
    assert.ok(Math.abs((zoomed[1] - zoomed[0]) / (whole[1] - whole[0]) - 1 / 3) < 0.02, String(zoomed));
    await touch('touchStart', [0.6]);
    await touch('touchMove', [0.5]);
    await touch('touchMove', [0.4]);
    await touch('touchEnd', []);
    await settled();
    const panned = await shown_window();
    assert.ok(Math.abs((panned[0] - zoomed[0]) / (zoomed[1] - zoomed[0]) - 0.2) < 0.02, String(panned));
    await browser.send('Emulation.setTouchEmulationEnabled', { enabled: false });
    await browser.evaluate('report.timeline.show(...report.timeline.whole)');
    await settled();
  },

  async 'keys'() {
    await browser.evaluate(`document.getElementById('panes').focus()`);
    const whole = await shown_window();
    const { lost, stepped } = truth(scratch);
    await browser.key('n');
    assert.equal(await browser.evaluate('location.hash'), `#frame=${lost}`);
    await browser.key('ArrowRight');
    assert.equal(await browser.evaluate('location.hash'), `#frame=${lost + 1}`);
    await browser.key('n');
    assert.equal(await browser.evaluate('location.hash'), `#frame=${stepped}`);
    await browser.key('+');
    await settled();
    const zoomed = await shown_window();
    assert.ok(Math.abs((zoomed[1] - zoomed[0]) / (whole[1] - whole[0]) - 0.5) < 1e-6);
    await browser.key('0');
    await settled();
    assert.deepEqual(await shown_window(), whole);
    await browser.key('Escape');
    assert.equal(await browser.evaluate('location.hash'), '');
  },

  // A link that does not show the frame that it names.
  async 'a click pins, and the address shows the frame again'() {
    const { x, y } = await plot_place(0.6);
    await browser.mouse('mousePressed', x, y);
    await browser.mouse('mouseReleased', x, y);
    const hash = await browser.evaluate('location.hash');
    assert.match(hash, /^#frame=\d+$/);
    await browser.open(page_of('run.html', hash), READY);
    const pinned = await browser.evaluate(`document.getElementById('pinned').textContent`);
    assert.ok(pinned.startsWith(`Pinned: frame ${hash.slice(7)},`), pinned);
    const [from, to] = await shown_window();
    const place = await browser.evaluate(`report.runs[0].axis[${hash.slice(7)}]`);
    assert.ok(from < place && place < to && to - from < 6);
    await browser.evaluate(`document.querySelector('#marks a[href]').click()`);
    await browser.wait(`document.getElementById('pinned').textContent.includes('frame ${truth(scratch).lost - 1},')`);
    await browser.wait('document.querySelectorAll(".lane g").length === 1');
    await picture('pinned.png');
  },

  async 'the text reads without the script'() {
    await browser.send('Emulation.setScriptExecutionDisabled', { value: true });
    await browser.open(page_of('run.html'));
    await browser.send('Emulation.setScriptExecutionDisabled', { value: false });
    const { lost } = truth(scratch);
    const text = await browser.evaluate(`document.querySelector('#marks tbody tr').innerText`);
    assert.deepEqual(text.split('\t').slice(0, 3), [String(lost - 1), String(lost), 'gap']);
    assert.equal(await browser.evaluate('document.querySelectorAll(".pane").length'), 0);
  },

  async 'pictures'() {
    await browser.open(page_of('run.html'), READY);
    const images = await browser.evaluate(
      `[...document.querySelectorAll('.strip img')].map((image) => image.complete && image.naturalWidth)`);
    assert.deepEqual(images, Array(images.length).fill(160));
    assert.ok(images.length > 10 && images.length <= 60, `${images.length} pictures`);
  },

  async 'two runs on each other'() {
    await browser.open(page_of('two.html'), READY);
    const labels = await browser.evaluate(
      `report.timeline.panes[0].series.map(({ label }) => label).join()`);
    assert.equal(labels, 'A Δpts,B Δpts,A Δcts,B Δcts');
    assert.ok(await browser.evaluate(`document.querySelectorAll('#comparison tbody tr').length`) >= 10);
    await browser.open(page_of('two.html', '#b-frame=7'), READY);
    assert.match(await browser.evaluate(`document.getElementById('pinned').textContent`), /^Pinned: B frame 7,/);
    await browser.evaluate('report.timeline.show(...report.timeline.whole)');
    await settled();
    await picture('two.png');
  },

  async 'dark, narrow and on paper'() {
    await browser.media({ 'prefers-color-scheme': 'dark' });
    await browser.open(page_of('run.html'), READY);
    assert.equal(await browser.evaluate('getComputedStyle(document.body).backgroundColor'), 'rgb(20, 23, 28)');
    await picture('dark.png');
    await browser.size(360, 740);
    await browser.wait(`document.querySelector('.plot canvas').getBoundingClientRect().width < 360`);
    assert.ok(await browser.evaluate('document.documentElement.scrollWidth') <= 360, 'wider than the window');
    await picture('narrow.png');
    await browser.media({});
    await browser.size(1280, 900);
    const { data } = await browser.send('Page.printToPDF', { paperWidth: 8.27, paperHeight: 11.69 });
    assert.ok(data.length > 10000);
    if (pictures) writeFileSync(join(pictures, 'paper.pdf'), Buffer.from(data, 'base64'));
  },

  // A name from a file that becomes part of the page.
  async 'hostile names stay text'() {
    await browser.open(page_of('hostile.html'), READY);
    assert.equal(await browser.evaluate('typeof injected'), 'undefined');
    assert.ok((await browser.evaluate('document.title')).includes('<script>injected=1'));
  },

  // One late frame among a million that is not seen, or a page that is large or slow.
  async 'a million frames'() {
    const size = readFileSync(join(scratch, 'million.html')).length;
    assert.ok(size <= 12e6, `${size} bytes`);
    await browser.open(page_of('million.html'), READY);
    const first = await browser.evaluate(`performance.getEntriesByName('first-picture')[0].startTime`);
    const drawn = async () => {
      const [most, rows] = await browser.evaluate(`(() => {
        const { graph } = report.timeline.panes.find(({ id }) => id === 'latency');
        let most = 0;
        for (let row = 0; row < graph.numRows(); ++row) most = Math.max(most, graph.getValue(row, 1) || 0);
        return [most, graph.numRows()];
      })()`);
      assert.ok(most >= 300000, `the highest that is drawn is ${most} µs`);
      return rows;
    };
    const at_rest = await drawn();
    assert.ok(at_rest > 1000 && at_rest < 10000, `${at_rest} rows are drawn`);
    await browser.evaluate('report.timeline.draw(true)');
    assert.ok(await drawn() < at_rest / 2);
    const rate = await browser.evaluate(`new Promise((done) => {
      const { timeline } = report;
      const steps = 60;
      let n = 0;
      const begin = performance.now();
      const turn = () => {
        if (n === steps) {
          done(steps * 1000 / (performance.now() - begin));
          return;
        }
        timeline.zoom(n++ < steps / 2 ? 0.85 : 1 / 0.85, 12345);
        requestAnimationFrame(turn);
      };
      requestAnimationFrame(turn);
    })`);
    await browser.wait(`report.timeline.panes.find(({ id }) => id === 'latency').graph.numRows() > ${at_rest / 2}`);
    console.log(`  ${size} bytes, first picture after ${Math.round(first)} ms, ` +
      `${rate.toFixed(1)} frames/s while zooming`);
    await picture('million.png');
  },
};

try {
  if (pictures) mkdirSync(pictures, { recursive: true });
  make_captures(programs, scratch);
  make_report(programs, scratch);
  await browser.open_page();
  await browser.size(1280, 900);
  for (const [name, test] of Object.entries(tests)) {
    const begin = performance.now();
    await test();
    assert.deepEqual(browser.faults, [], `${name}: the console has faults`);
    const outside = browser.requests.filter((url) => !url.startsWith('file://') && !/^(data|about):/.test(url));
    assert.deepEqual(outside, [], `${name}: requests leave the page`);
    console.log(`ok: ${name} (${((performance.now() - begin) / 1000).toFixed(1)} s)`);
  }
} finally {
  await browser.close();
}
