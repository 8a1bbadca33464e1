// Chromium without a window, steered through pipes: no port, no module beside Node's own.
import { spawn } from 'node:child_process';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

const FLAGS = ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
  '--disable-background-networking', '--disable-component-update', '--disable-sync', '--disable-extensions',
  '--disable-dev-shm-usage', '--hide-scrollbars', '--remote-debugging-pipe', 'about:blank'];

/** One browser with one page. What the page logs and asks for is kept. */
export class Browser {
  constructor() {
    this.folder = mkdtempSync(join(tmpdir(), 'zel-browser-'));
    this.process = spawn('chromium', [`--user-data-dir=${this.folder}`, ...FLAGS],
      { stdio: ['ignore', 'ignore', 'ignore', 'pipe', 'pipe'] });
    this.waiting = new Map();
    this.listeners = [];
    this.number = 0;
    this.faults = [];    // what the console calls errors and warnings, and uncaught exceptions
    this.requests = [];  // addresses
    this.ended = new Promise((done) => this.process.on('exit', done));
    this.ended.then(() => {
      for (const { fail } of this.waiting.values()) fail(new Error('the browser has ended'));
    });
    let rest = '';
    this.process.stdio[4].setEncoding('utf8');
    this.process.stdio[4].on('data', (text) => {
      const messages = (rest + text).split('\0');
      rest = messages.pop();
      for (const message of messages) this.take(JSON.parse(message));
    });
  }

  async open_page() {
    const { targetInfos } = await this.send('Target.getTargets');
    const page = targetInfos.find(({ type }) => type === 'page');
    const { sessionId } = await this.send('Target.attachToTarget', { targetId: page.targetId, flatten: true });
    this.session = sessionId;
    for (const domain of ['Page', 'Runtime', 'Log', 'Network']) await this.send(`${domain}.enable`);
  }

  send(method, params = {}) {
    const id = ++this.number;
    this.process.stdio[3].write(JSON.stringify({ id, method, params, sessionId: this.session }) + '\0');
    return new Promise((done, fail) => this.waiting.set(id, { done, fail }));
  }

  take({ id, method, params, result, error }) {
    if (id) {
      const { done, fail } = this.waiting.get(id);
      this.waiting.delete(id);
      if (error) fail(new Error(error.message));
      else done(result);
      return;
    }
    if (method === 'Runtime.exceptionThrown') {
      this.faults.push(params.exceptionDetails.exception?.description ?? params.exceptionDetails.text);
    } else if (method === 'Runtime.consoleAPICalled' && ['error', 'warning', 'assert'].includes(params.type)) {
      this.faults.push(params.args.map(({ value, description }) => value ?? description).join(' '));
    } else if (method === 'Log.entryAdded' && ['error', 'warning'].includes(params.entry.level)) {
      this.faults.push(params.entry.text);
    } else if (method === 'Network.requestWillBeSent') {
      this.requests.push(params.request.url);
    }
    for (const listener of [...this.listeners]) listener(method, params);
  }

  event(wanted) {
    return new Promise((done) => {
      const listener = (method, params) => {
        if (method !== wanted) return;
        this.listeners.splice(this.listeners.indexOf(listener), 1);
        done(params);
      };
      this.listeners.push(listener);
    });
  }

  /** Opens a page and waits until `ready` (an expression) is true in it. */
  async open(url, ready = 'true') {
    for (const address of ['about:blank', url]) {  // by way of an empty page: another fragment alone loads nothing
      const loaded = this.event('Page.loadEventFired');
      await this.send('Page.navigate', { url: address });
      await loaded;
    }
    await this.wait(ready);
  }

  /** Waits for an expression, looking at every turn of the screen; fails after 30 s. */
  async wait(expression) {
    const is_true = await this.evaluate(`new Promise((done) => {
      const end = performance.now() + 30000;
      const look = () => {
        if (${expression}) done(true);
        else if (performance.now() > end) done(false);
        else requestAnimationFrame(look);
      };
      look();
    })`);
    if (!is_true) throw new Error(`never true in the page: ${expression}`);
  }

  async evaluate(expression) {
    const { result, exceptionDetails } = await this.send('Runtime.evaluate',
      { expression, awaitPromise: true, returnByValue: true });
    if (exceptionDetails) throw new Error(exceptionDetails.exception?.description ?? exceptionDetails.text);
    return result.value;
  }

  async size(width, height) {
    await this.send('Emulation.setDeviceMetricsOverride', { width, height, deviceScaleFactor: 1, mobile: false });
  }

  async media(features, type = '') {
    const list = Object.entries(features).map(([name, value]) => ({ name, value }));
    await this.send('Emulation.setEmulatedMedia', { media: type, features: list });
  }

  async mouse(type, x, y, more = {}) {
    const hovers = type === 'mouseMoved' && !more.buttons;
    await this.send('Input.dispatchMouseEvent',
      { type, x, y, button: hovers ? 'none' : 'left', clickCount: type === 'mouseMoved' ? 0 : 1, ...more });
  }

  async key(key, modifiers = 0) {
    const text = key.length === 1 ? { text: key } : {};
    await this.send('Input.dispatchKeyEvent', { type: 'keyDown', key, modifiers, ...text });
    await this.send('Input.dispatchKeyEvent', { type: 'keyUp', key, modifiers });
  }

  /** A picture of the window as PNG, or as the format says. */
  async screenshot(options = {}) {
    const { data } = await this.send('Page.captureScreenshot', { format: 'png', ...options });
    return Buffer.from(data, 'base64');
  }

  async close() {
    this.send('Browser.close').catch(() => {});
    await this.ended;
    rmSync(this.folder, { recursive: true, force: true, maxRetries: 5 });
  }
}
