// Chromium driven through the DevTools protocol over two pipes: no package but the browser and node. It checks nothing.
import { spawn } from 'node:child_process';
import path from 'node:path';

/// Against hanging alone, in milliseconds.
const kPatience = 300000;
const pause = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

const kKeys = { Tab: 9, Enter: 13, Shift: 16, Control: 17, Alt: 18, Escape: 27, ArrowLeft: 37, ArrowUp: 38, ArrowRight: 39, ArrowDown: 40, Delete: 46 };
const kModifiers = { Alt: 1, Control: 2, Shift: 8 };

class Page {
  constructor(browser, session) {
    this.browser = browser;
    this.session = session;
    this.modifiers = 0;
    /// What the page complained of: errors, exceptions, whatever was asked for elsewhere.
    this.complaints = [];
    const told = (event, tell) => browser.on(session, event, (params) => { const text = tell(params); if (text) this.complaints.push(text); });
    told('Runtime.consoleAPICalled', (e) => e.type === 'error' && JSON.stringify(e.args));
    told('Runtime.exceptionThrown', (e) => JSON.stringify(e.exceptionDetails));
    told('Log.entryAdded', (e) => e.entry.level === 'error' && e.entry.text + ' ' + (e.entry.url || ''));
    told('Network.requestWillBeSent', (e) => !/^(data:|(blob:)?http:\/\/127\.0\.0\.1:)/.test(e.request.url) && 'asked for ' + e.request.url);
  }

  send(method, params) { return this.browser.send(method, params, this.session); }

  /// What `make`, a function without free names, comes to in the page.
  async evaluate(make, ...values) {
    const { result, exceptionDetails } = await this.send('Runtime.evaluate',
      { expression: '(' + make + ')(...' + JSON.stringify(values) + ')', awaitPromise: true, returnByValue: true });
    if (exceptionDetails) throw new Error(exceptionDetails.exception?.description || exceptionDetails.text);
    return result.value;
  }

  /// Waits until `holds` is true in the page.
  async until(holds, ...values) {
    for (const end = Date.now() + kPatience; Date.now() < end; await pause(50)) if (await this.evaluate(holds, ...values)) return;
    throw new Error('never: ' + holds + ' ' + JSON.stringify(values));
  }

  async goto(address) {
    await this.send('Page.navigate', { url: address });
    await this.until((wanted) => location.href === wanted && document.readyState === 'complete', address);
  }

  bringToFront() { return this.send('Page.bringToFront'); }

  /// Clicks with the mouse on what the selector finds, as soon as it is there, stands still and is not covered.
  async click(selector, count = 1) {
    let place = null;
    await this.until(async (wanted) => {
      const element = document.querySelector(wanted);
      if (!element || element.disabled) return false;
      element.scrollIntoView({ block: 'center', inline: 'center' });
      const box = () => element.getBoundingClientRect();
      const before = box();
      await new Promise((resolve) => { setTimeout(resolve, 50); });
      const after = box();
      const over = document.elementFromPoint(after.x + after.width / 2, after.y + after.height / 2);
      return element.isConnected && before.x === after.x && before.y === after.y && (over === element || element.contains(over));
    }, selector);
    place = await this.evaluate((wanted) => {
      const { x, y, width, height } = document.querySelector(wanted).getBoundingClientRect();
      return { x: x + width / 2, y: y + height / 2 };
    }, selector);
    await this.send('Input.dispatchMouseEvent', { type: 'mouseMoved', ...place });
    for (let i = 1; i <= count; ++i)
      for (const type of ['mousePressed', 'mouseReleased'])
        await this.send('Input.dispatchMouseEvent', { type, ...place, button: 'left', clickCount: i });
  }

  /// Takes what the first selector finds to the far end of what the second finds, with the mouse.
  async drag(from, to) {
    const places = await this.evaluate((selectors) => selectors.map((each) => {
      const { x, y, width, height } = document.querySelector(each).getBoundingClientRect();
      return { left: x, right: x + width, y: y + height / 2 };
    }), [from, to]);
    const [start, end] = places;
    const mouse = (type, x, more) => this.send('Input.dispatchMouseEvent', { type, x, y: start.y, button: 'left', buttons: 1, ...more });
    const first = (start.left + start.right) / 2, last = end.left > start.left ? end.right - 3 : end.left + 3;
    await mouse('mousePressed', first, { clickCount: 1 });
    for (let i = 1; i <= 8; ++i) await mouse('mouseMoved', first + (last - first) * i / 8);
    await mouse('mouseReleased', last, { clickCount: 1 });
  }

  async focus(selector) {
    await this.until((wanted) => document.querySelector(wanted), selector);
    await this.evaluate((wanted) => document.querySelector(wanted).focus(), selector);
  }

  async key(type, key) {
    const code = kKeys[key] ? { key, code: key, windowsVirtualKeyCode: kKeys[key] } : { key };
    const text = key === 'Enter' ? '\r' : kKeys[key] ? undefined : key;
    if (kModifiers[key]) this.modifiers = type === 'keyDown' ? this.modifiers | kModifiers[key] : this.modifiers & ~kModifiers[key];
    await this.send('Input.dispatchKeyEvent', { type: type === 'keyDown' && !text ? 'rawKeyDown' : type, modifiers: this.modifiers,
      ...code, ...(type === 'keyDown' && text ? { text, unmodifiedText: text } : {}) });
  }
  /// Presses a key, with others held.
  async press(key, ...held) {
    for (const each of held) await this.key('keyDown', each);
    await this.key('keyDown', key);
    await this.key('keyUp', key);
    for (const each of held) await this.key('keyUp', each);
  }
  async type(text) { for (const letter of text) await this.press(letter); }

  /// Controls that a screen reader has no name for.
  async nameless() {
    await this.send('Accessibility.enable');
    const { nodes } = await this.send('Accessibility.getFullAXTree');
    const roles = ['button', 'textbox', 'combobox', 'listbox', 'slider', 'spinbutton', 'checkbox', 'radio', 'radiogroup', 'link', 'dialog'];
    return nodes.filter((node) => !node.ignored && roles.includes(node.role?.value) && !node.name?.value?.trim()).map((node) => node.role.value);
  }

  /// Keeps requests for these addresses back until `release`.
  async hold(pattern) {
    const waiting = [];
    let open = false;
    const go = ({ requestId }) => this.send('Fetch.continueRequest', { requestId }).catch(() => {});
    this.browser.on(this.session, 'Fetch.requestPaused', (event) => { if (open) go(event); else waiting.push(event); });
    await this.send('Fetch.enable', { patterns: [{ urlPattern: pattern }] });
    return { release: async () => { open = true; for (const event of waiting) await go(event); await this.send('Fetch.disable'); } };
  }

  close() { return this.send('Page.close'); }
}

export class Browser {
  /// Starts the browser with a profile of its own in `folder`. Root needs it without a sandbox, containers without /dev/shm.
  constructor(program, folder) {
    this.answers = new Map();
    this.listeners = new Map();
    this.words = '';
    this.child = spawn(program, ['--headless=new', '--remote-debugging-pipe', '--no-sandbox', '--disable-dev-shm-usage', '--disable-gpu',
      '--no-first-run', '--disable-extensions', '--disable-background-networking', '--disable-component-update', '--disable-sync',
      '--autoplay-policy=no-user-gesture-required', '--force-color-profile=srgb', '--user-data-dir=' + path.join(folder, 'profile'), 'about:blank'],
    { stdio: ['ignore', 'ignore', 'pipe', 'pipe', 'pipe'], env: { ...process.env, HOME: folder } });
    this.child.stderr.on('data', (piece) => { this.words = (this.words + piece).slice(-4000); });
    this.child.stdio[3].on('error', () => {});
    this.ended = new Promise((resolve) => { this.child.once('exit', resolve); });
    this.ended.then(() => { for (const { reject } of this.answers.values()) reject(new Error('the browser has ended: ' + this.words)); });
    let rest = Buffer.alloc(0);
    this.child.stdio[4].on('data', (piece) => {
      rest = Buffer.concat([rest, piece]);
      for (let end; (end = rest.indexOf(0)) >= 0; rest = rest.subarray(end + 1)) this.take(JSON.parse(rest.subarray(0, end).toString()));
    });
    this.last = 0;
  }

  take({ id, result, error, method, params, sessionId }) {
    if (method) return (this.listeners.get(sessionId + ' ' + method) || []).forEach((listener) => listener(params));
    const answer = this.answers.get(id);
    this.answers.delete(id);
    if (error) answer.reject(new Error(error.message)); else answer.resolve(result);
  }

  on(session, event, listener) {
    const key = session + ' ' + event;
    this.listeners.set(key, [...(this.listeners.get(key) || []), listener]);
  }

  send(method, params = {}, sessionId = undefined) {
    const id = ++this.last;
    return new Promise((resolve, reject) => {
      this.answers.set(id, { resolve, reject });
      this.child.stdio[3].write(JSON.stringify({ id, method, params, sessionId }) + '\0');
    });
  }

  /// A page of this size with dark or light colours, not at any address yet.
  async page(width, height, scheme) {
    const { targetId } = await this.send('Target.createTarget', { url: 'about:blank' });
    const { sessionId } = await this.send('Target.attachToTarget', { targetId, flatten: true });
    const page = new Page(this, sessionId);
    for (const domain of ['Page', 'Runtime', 'Log', 'Network']) await page.send(domain + '.enable');
    await page.send('Emulation.setDeviceMetricsOverride', { width, height, deviceScaleFactor: 1, mobile: false });
    await page.send('Emulation.setEmulatedMedia', { features: [{ name: 'prefers-color-scheme', value: scheme }] });
    return page;
  }

  async close() {
    this.send('Browser.close').catch(() => {});
    const late = setTimeout(() => this.child.kill('SIGKILL'), 20000);
    await this.ended;
    clearTimeout(late);
  }
}
