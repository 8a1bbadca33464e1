// Captures for the page: of the software camera, with lost frames and a clock that steps back; of made-up numbers.
import { execFileSync } from 'node:child_process';
import { closeSync, openSync, readFileSync, writeFileSync, writeSync } from 'node:fs';
import { join } from 'node:path';

const LOST = 300;     // the first of the frames that the camera drops
const DROPPED = 8;
const STEPPED = 450;  // the first frame after the clock's step
const HOSTILE = '<img src=x onerror=injected=1><script>injected=1;"\'.txt';
const MILLION = 1_000_000;
const HICCUP = 654321;  // a frame of the million that comes 300 ms late

const camera_file = (more) => `[camera]\npacing = virtual\nlog = truth.log\nlog_getters = false\n${more}`;

const LOSSES = `
[frame hiccup]
from = ${LOST}
count = ${DROPPED}
drop = true

[frame back]
from = ${STEPPED}
clock_step_us = -100000
`;

/** Runs a program of the build in the scratch folder; its standard output. */
function run(programs, scratch, program, words, variables = {}) {
  return execFileSync(join(programs, program), words, {
    cwd: scratch,
    env: { ...process.env, LD_LIBRARY_PATH: join(programs, 'camera'), ...variables },
    maxBuffer: 1 << 28,
    stdio: ['ignore', 'pipe', 'inherit'],
  });
}

/** A console text of a million frames with the noise of real ones, one of them 300 ms late. */
function write_million(path) {
  let state = 1;
  const noise = (range) => {
    state = state + 0x6D2B79F5 | 0;
    let bits = Math.imul(state ^ state >>> 15, 1 | state);
    bits = bits + Math.imul(bits ^ bits >>> 7, 61 | bits) ^ bits;
    return Math.floor(((bits ^ bits >>> 14) >>> 0) / 4294967296 * range);
  };
  const file = openSync(path, 'w');
  let lines = [];
  let before = { jitter: 0, latency: 20000 };
  const pad = (number) => String(number).padStart(7);
  let late = 0;  // what is left of the hiccup: the frames behind it come in a burst
  for (let frame = 0; frame < MILLION; ++frame) {
    late = frame === HICCUP ? 300000 : Math.max(late - 33333, 0);
    const jitter = noise(400);
    const latency = 20000 + noise(4000) + late;
    const distance = frame === 0 ? 0 : 33333 + jitter - before.jitter;
    const arrival = frame === 0 ? 0 : Math.max(distance + latency - before.latency, 0);
    const size = frame % 30 === 0 ? 60000 + noise(8000) : 8000 + noise(4000);
    lines.push(`zel-client: frame = ${String(frame).padStart(4)}, Δcts = ${pad(arrival)}, Δpts = ${pad(distance)}, ` +
      `latency = ${pad(latency)} µs, size = ${size}/131072`);
    before = { jitter, latency };
    if (lines.length === 10000) {
      writeSync(file, lines.join('\n') + '\n');
      lines = [];
    }
  }
  closeSync(file);
}

export function make_captures(programs, scratch) {
  writeFileSync(join(scratch, 'camera.conf'), camera_file(LOSSES));
  writeFileSync(join(scratch, 'plain.conf'), camera_file('').replace('truth.log', 'plain.log'));
  const words = ['--frames=600', '--framerate=30', '--gop_length=30', '--stats', '--meta'];
  for (const [name, conf] of [['run', 'camera.conf'], ['other', 'plain.conf']]) {
    const text = run(programs, scratch, 'zel-client', [...words, `--output=${name}.h264`, '320', '180'],
      { ZEL_CAMERA: conf });
    writeFileSync(join(scratch, `${name}.txt`), text);
  }
  writeFileSync(join(scratch, HOSTILE), readFileSync(join(scratch, 'run.txt')));
  write_million(join(scratch, 'million.txt'));
}

export function make_report(programs, scratch) {
  const frames = (...words) => run(programs, scratch, 'zel-frames', words);
  writeFileSync(join(scratch, 'run.csv'), frames('list', '--csv', '--log', 'run.txt', 'run.h264'));
  frames('report', '--force', '-o', 'run.html', '--log', 'run.txt', 'run.h264');
  frames('report', '--force', '-o', 'two.html', '--no-pictures', '--log', 'run.txt', '--log-b', 'other.txt',
    'run.h264', 'other.h264');
  frames('report', '--force', '-o', 'hostile.html', HOSTILE);
  frames('report', '--force', '-o', 'million.html', 'million.txt');
}

/** What the camera's log says: the frame behind the lost ones, the one behind the step, all places on the axis in s. */
export function truth(scratch) {
  const lines = readFileSync(join(scratch, 'truth.log'), 'utf8').trim().split('\n').map((line) => JSON.parse(line));
  const handed = lines.filter(({ kind }) => kind === 'frame').slice(0, 600);
  const axis = [0];
  let lost = 0;
  let stepped = 0;
  for (let i = 1; i < handed.length; ++i) {
    const distance = handed[i].timestamp - handed[i - 1].timestamp;
    if (handed[i].sequence !== handed[i - 1].sequence + 1) lost = i;
    if (distance < 0) stepped = i;
    axis.push(axis[i - 1] + (distance < 0 ? 33333 : distance) / 1e6);
  }
  return { lost, stepped, axis };
}
