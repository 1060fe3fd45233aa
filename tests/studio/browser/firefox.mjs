// The studio's page in Firefox through its Marionette port: it opens, scrubs to true frames, and plays a seam.
//   node firefox.mjs PROGRAM FIREFOX [PICTURE]     (PICTURE: where to keep what the page looks like)
import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import fs from 'node:fs';
import net from 'node:net';
import os from 'node:os';
import path from 'node:path';

const [program, firefox, picture] = process.argv.slice(2);
/// Against hanging alone, in milliseconds.
const kPatience = 300000;
const pause = (milliseconds) => new Promise((resolve) => { setTimeout(resolve, milliseconds); });
const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'tumblewash-firefox-'));
const profile = path.join(folder, 'profile');
fs.mkdirSync(profile);
fs.writeFileSync(path.join(profile, 'user.js'), ['"marionette.port", 0', '"media.autoplay.default", 0', '"browser.shell.checkDefaultBrowser", false',
  '"datareporting.policy.dataSubmissionEnabled", false', '"app.update.enabled", false', '"network.captive-portal-service.enabled", false'].map((each) => 'user_pref(' + each + ');\n').join(''));
const clip = (name) => 'pattern:' + name + '?size=320x180&seconds=2';
const file = path.join(folder, 'tour.edit.json');
fs.writeFileSync(file, JSON.stringify({ tumblewash: 1, clips: [{ file: clip('harbour') }, { file: clip('city'), seam: { effect: 'wash-away', duration: '20f', seed: 5 } }] }));

/// Messages `LENGTH:[kind, number, ...]` over one socket, one at a time.
class Marionette {
  static async open(port) {
    const own = new Marionette();
    own.socket = net.connect(port, '127.0.0.1');
    own.rest = Buffer.alloc(0);
    own.waiting = [];
    own.socket.on('data', (piece) => {
      own.rest = Buffer.concat([own.rest, piece]);
      for (let colon; (colon = own.rest.indexOf(58)) > 0;) {
        const end = colon + 1 + Number(own.rest.subarray(0, colon));
        if (own.rest.length < end) break;
        const message = JSON.parse(own.rest.subarray(colon + 1, end).toString());
        own.rest = own.rest.subarray(end);
        own.waiting.shift()?.(message);
      }
    });
    await new Promise((resolve, reject) => { own.waiting.push(resolve); own.socket.once('error', reject); });
    own.last = 0;
    return own;
  }
  async send(command, parameters = {}) {
    const text = JSON.stringify([0, ++this.last, command, parameters]);
    const answer = new Promise((resolve) => { this.waiting.push(resolve); });
    this.socket.write(Buffer.byteLength(text) + ':' + text);
    const [, , error, result] = await answer;
    if (error) throw new Error(command + ': ' + error.message);
    return result?.value === undefined ? result : result.value;
  }
  evaluate(make, ...args) { return this.send('WebDriver:ExecuteScript', { script: 'return (' + make + ')(...arguments)', args, newSandbox: false }); }
  async until(holds, ...args) {
    for (const end = Date.now() + kPatience; Date.now() < end; await pause(50)) if (await this.evaluate(holds, ...args)) return;
    throw new Error('never: ' + holds + ' ' + JSON.stringify(args));
  }
}

const studio = spawn(program, ['studio', file, '--no-browser'],
  { stdio: ['ignore', 'pipe', 'inherit'], env: { ...process.env, XDG_STATE_HOME: path.join(folder, '.state') } });
const browser = spawn(firefox, ['--headless', '--no-remote', '--marionette', '--profile', profile, '--width', '1280', '--height', '900'],
  { stdio: 'ignore', env: { ...process.env, HOME: folder, MOZ_CRASHREPORTER_DISABLE: '1' } });
const ended = (child) => new Promise((resolve) => { if (child.exitCode !== null || child.signalCode) resolve(); else child.once('exit', resolve); });

try {
  let address = '';
  for await (const piece of studio.stdout) { address = String(piece).trim(); break; }
  const active = path.join(profile, 'MarionetteActivePort');
  for (const end = Date.now() + kPatience; !fs.existsSync(active) || !fs.readFileSync(active, 'utf8'); await pause(50)) {
    assert.equal(browser.exitCode, null, 'Firefox has ended');
    assert.ok(Date.now() < end, 'Firefox does not start');
  }
  const page = await Marionette.open(Number(fs.readFileSync(active, 'utf8')));
  await page.send('WebDriver:NewSession', {});
  await page.send('WebDriver:Navigate', { url: address });
  await page.until(() => document.querySelector('canvas')?.dataset.shown);
  assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), 'the page is wider than the window');
  // The scrubber shows the frame that it is moved to.
  const range = await page.evaluate(() => { const each = document.querySelector('.scrub input'); return { min: Number(each.min), max: Number(each.max) }; });
  const seen = new Set();
  for (const part of [0.1, 0.4, 0.5, 0.6, 0.9]) {
    const frame = Math.round(range.min + part * (range.max - range.min));
    await page.evaluate((wanted) => { const each = document.querySelector('.scrub input'); each.value = wanted; each.dispatchEvent(new Event('input', { bubbles: true })); }, frame);
    await page.until((wanted) => (document.querySelector('canvas').dataset.shown || '').split('|')[1] === String(wanted), frame);
    seen.add(await page.evaluate(() => { const each = document.querySelector('canvas'); return each.getContext('2d').getImageData(0, 0, each.width, each.height).data.reduce((sum, value, i) => (sum * 31 + value + i) % 1000003, 7); }));
  }
  assert.equal(seen.size, 5, 'some frames look the same');
  await page.until(() => [...document.querySelectorAll('.card img, .tile img')].every((image) => image.naturalWidth));
  if (picture) fs.writeFileSync(picture, Buffer.from(await page.send('WebDriver:TakeScreenshot', { full: false }), 'base64'));
  // The seam plays to its end.
  await page.evaluate(() => {
    document.querySelector('video').addEventListener('ended', (event) => { document.body.dataset.played = event.target.currentTime; }, { once: true, capture: true });
    document.querySelector('#stage button.main').click();
  });
  await page.until(() => Number(document.body.dataset.played) > 0 && document.querySelector('video').hidden);
  console.log('the page in Firefox: pass');
} finally {
  browser.kill('SIGTERM');
  studio.kill('SIGTERM');
  const late = setTimeout(() => browser.kill('SIGKILL'), 20000);
  await ended(browser);
  clearTimeout(late);
  await ended(studio);
  fs.rmSync(folder, { recursive: true, force: true, maxRetries: 5 });
}
