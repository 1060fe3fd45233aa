#!/usr/bin/env node
// Measures the studio in headless Chromium over clips of 1920x1080, and says for each figure whether it is met.
//   bench/studio/measure.mjs [PART...]     parts: start, positions, seeking, play, memory (default: all)
// It builds the program as bench/join does, draws its clips, and looks at the page from outside: what is measured is what is seen.
import { execFileSync, spawn } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import { Browser } from '../../tests/studio/browser/driver.mjs';

const here = path.dirname(path.dirname(path.dirname(fileURLToPath(import.meta.url))));
const program = process.env.TUMBLEWASH_PROGRAM || path.join(here, 'build', 'release', 'app', 'tumblewash');
const kParts = ['start', 'positions', 'seeking', 'play', 'memory'];
const parts = process.argv.length > 2 ? process.argv.slice(2) : kParts;
if (parts.some((part) => !kParts.includes(part))) {
  console.error('usage: bench/studio/measure.mjs [PART...]; the parts are ' + kParts.join(', '));
  process.exit(2);
}
if (!process.env.TUMBLEWASH_PROGRAM)
  execFileSync('bash', ['-c', '. cmake/packages.sh; need_packages build test; here=$PWD; '
    + 'configure_once "$here/build/release" -S "$here" --preset release -DTUMBLEWASH_TESTS=OFF; build_quietly "$here/build/release" tumblewash'],
  { cwd: here, stdio: 'inherit' });

const kRate = 25;
const kSeconds = 6;
const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'tumblewash-bench-'));
const pause = (milliseconds) => new Promise((resolve) => { setTimeout(resolve, milliseconds); });

/// Clips with a little noise, as cameras make it: drawn scenes alone are decoded in no time.
function drawClips(keys) {
  const drawn = [];
  for (const scene of ['harbour', 'city']) {
    const raw = path.join(folder, scene + '.mp4');
    if (!fs.existsSync(raw)) {
      const half = 'pattern:' + scene + '?size=1920x1080&seconds=' + kSeconds / 2;
      execFileSync(program, ['join', half, half, '--effect', 'none', '-q', '-o', raw]);
    }
    const file = path.join(folder, scene + '-' + keys + '.mp4');
    if (!fs.existsSync(file))
      execFileSync('ffmpeg', ['-v', 'error', '-i', raw, '-vf', 'noise=alls=6:allf=t', '-c:v', 'libx264', '-preset', 'veryfast', '-crf', '23',
        '-g', String(keys), '-keyint_min', String(keys), '-sc_threshold', '0', '-c:a', 'copy', file]);
    drawn.push(file);
  }
  return drawn;
}

/// A folder with `count` clips and a document that joins them by `effect`, a second long.
function edit(name, count, effect, keys) {
  const drawn = drawClips(keys);
  const place = path.join(folder, name);
  fs.mkdirSync(place);
  const clips = [];
  for (let i = 0; i < count; ++i) {
    const file = 'clip' + String(i + 1).padStart(2, '0') + '.mp4';
    fs.copyFileSync(drawn[i % drawn.length], path.join(place, file));
    clips.push(i ? { file, seam: { effect, duration: kRate + (kRate % 2) + 'f', seed: i } } : { file });
  }
  const document = path.join(place, name + '.edit.json');
  fs.writeFileSync(document, JSON.stringify({ tumblewash: 1, clips }));
  return document;
}

const rows = [];
function row(what, value, unit, target, met) {
  rows.push({ what, value, unit, target, met });
  console.log(what.padEnd(58) + String(value).padStart(8) + ' ' + unit.padEnd(7) + target.padEnd(14) + (met === undefined ? '' : met ? 'met' : 'MISSED'));
}
const at = (sorted, part) => sorted[Math.min(sorted.length - 1, Math.floor(sorted.length * part))];
function times(what, values, medianTarget, lateTarget) {
  const sorted = [...values].sort((a, b) => a - b);
  const median = Math.round(at(sorted, 0.5)), late = Math.round(at(sorted, 0.95));
  row(what + ', median of ' + values.length, median, 'ms', medianTarget ? '<= ' + medianTarget : '', medianTarget ? median <= medianTarget : undefined);
  row(what + ', 95th percentile', late, 'ms', lateTarget ? '<= ' + lateTarget : '', lateTarget ? late <= lateTarget : undefined);
}

const ended = (child) => new Promise((resolve) => { if (child.exitCode !== null || child.signalCode) resolve(); else child.once('exit', resolve); });
/// A studio over a document; `begun` is the moment of its start.
async function studio(document, ...options) {
  const begun = performance.now();
  const child = spawn(program, ['studio', document, '--no-browser', ...options],
    { stdio: ['ignore', 'pipe', 'ignore'], env: { ...process.env, XDG_STATE_HOME: path.join(folder, '.state') } });
  for await (const piece of child.stdout) return { child, begun, address: String(piece).trim() };
  throw new Error('no address');
}
function status(child, key) {
  return Number(new RegExp(key + ':\\s+(\\d+)').exec(fs.readFileSync('/proc/' + child.pid + '/status', 'utf8'))[1]);
}
function processorTime(child) {
  const fields = fs.readFileSync('/proc/' + child.pid + '/stat', 'utf8').split(') ')[1].split(' ');
  return Number(fields[11]) + Number(fields[12]);
}
/// Waits until the program has nothing to do for a while: what it prepares is there then.
async function quiet(child) {
  for (let still = 0, before = -1; still < 8;) {
    const now = processorTime(child);
    still = now - before <= 1 ? still + 1 : 0;
    before = now;
    await pause(100);
  }
}
const end = async (each) => { each.child.kill('SIGTERM'); await ended(each.child); };
const state = (page) => page.evaluate(async () => (await fetch('api/state')).json());
const shown = (page) => page.until(() => document.querySelector('canvas')?.dataset.shown);

/// Moves the scrubber to a frame of the movie; how long until its picture is drawn, and painted; and when something approximate was.
const move = (page, frame) => page.evaluate((wanted) => new Promise((resolve) => {
  const canvas = document.querySelector('canvas');
  const range = document.querySelector('.scrub input');
  const begun = performance.now();
  let near = 0;
  const look = () => {
    if ((canvas.dataset.near || '').split('|')[1] === String(wanted) && !near) near = performance.now() - begun;
    if ((canvas.dataset.shown || '').split('|')[1] !== String(wanted)) return;
    watch.disconnect();
    const drawn = performance.now() - begun;
    requestAnimationFrame(() => { const late = new MessageChannel(); late.port1.onmessage = () => resolve({ drawn, painted: performance.now() - begun, near }); late.port2.postMessage(0); });
  };
  const watch = new MutationObserver(look);
  watch.observe(canvas, { attributes: true });
  range.value = wanted;
  range.dispatchEvent(new Event('input', { bubbles: true }));
}), frame);

/// Numbers 0 to n - 1 in an order that is always the same and jumps about.
function shuffled(n) {
  const list = [...Array(n).keys()];
  for (let i = n - 1, seed = 7; i > 0; --i) {
    seed = (seed * 1103515245 + 12345) % 2147483648;
    const k = seed % (i + 1);
    [list[i], list[k]] = [list[k], list[i]];
  }
  return list;
}

// So that the picture is 960 pixels wide: the panel and the margins beside it.
const kWide = 1375;
const browser = new Browser('chromium', fs.mkdtempSync(path.join(folder, 'browser-')));
async function open(address) {
  const page = await browser.page(kWide, 900, 'dark');
  await page.goto(address);
  return page;
}

const measure = {
  async start() {
    const document = edit('start', 12, 'wash-away', 250);
    // Once for the browser itself, whose first page is its slowest, and for the files in the system's cache.
    for (const turn of [0, 1, 2, 3]) {
      const page = await browser.page(kWide, 900, 'dark');
      const one = await studio(document);
      await page.send('Page.navigate', { url: one.address });
      await page.until(() => document.querySelectorAll('.tile').length === 12 && document.querySelector('canvas').dataset.shown);
      const first = performance.now() - one.begun;
      await page.until(() => [...document.querySelectorAll('.tile img')].every((each) => each.naturalWidth));
      const whole = performance.now() - one.begun;
      if (turn) {
        row('first page with 12 clips and the true frame, run ' + turn, Math.round(first), 'ms', '<= 1500', first <= 1500);
        row('every thumbnail of its strip', Math.round(whole), 'ms', '');
      }
      await page.close();
      await end(one);
    }
  },

  async positions() {
    for (const effect of ['wash-away', 'wash-reveal', 'tilt-away', 'tumble-away', 'morph']) {
      const one = await studio(edit('positions-' + effect, 2, effect, 250));
      const page = await open(one.address);
      await shown(page);
      await quiet(one.child);
      const seam = (await state(page)).plan.seams[0];
      const drawn = [], painted = [];
      for (const k of shuffled(seam.frames)) {
        if (k === Math.floor(seam.frames / 2)) continue;
        const taken = await move(page, seam.first + k);
        drawn.push(taken.drawn);
        painted.push(taken.painted);
        await pause(60);
      }
      const targets = effect === 'morph' ? [] : [60, 150];
      times(effect + ': a new position, drawn', drawn, ...targets);
      times(effect + ': a new position, painted', painted);
      await page.close();
      await end(one);
    }
  },

  async seeking() {
    for (const keys of [30, 250]) {
      const one = await studio(edit('seeking-' + keys, 8, 'wash-away', keys));
      const page = await open(one.address);
      await shown(page);
      await page.until(() => [...document.querySelectorAll('.tile img')].every((each) => each.naturalWidth));
      await quiet(one.child);
      const near = [], painted = [];
      for (const seam of (await state(page)).plan.seams.slice(1)) {
        // At once, as a hand does it on the way to another seam.
        const taken = await page.evaluate(async (index) => {
          const canvas = document.querySelector('canvas');
          const before = canvas.dataset.shown, nearBefore = canvas.dataset.near;
          const begun = performance.now();
          const result = { near: 0 };
          await new Promise((resolve) => {
            const watch = new MutationObserver(() => {
              if (canvas.dataset.near !== nearBefore && !result.near) result.near = performance.now() - begun;
              if (canvas.dataset.shown && canvas.dataset.shown !== before) { watch.disconnect(); resolve(); }
            });
            watch.observe(canvas, { attributes: true });
            document.querySelector('[data-key=seam' + index + ']').click();
          });
          result.painted = performance.now() - begun;
          return result;
        }, (await state(page)).plan.seams.findIndex((each) => each.first === seam.first));
        near.push(taken.near || taken.painted);
        painted.push(taken.painted);
        await quiet(one.child);
      }
      const name = 'another seam, key frames every ' + keys;
      times(name + ': a first picture', near, 150, 150);
      times(name + ': the true one', painted);
      await page.close();
      await end(one);
    }
  },

  async play() {
    for (const effect of ['wash-away', 'tumble-away']) {
      const one = await studio(edit('play-' + effect, 2, effect, 250));
      const page = await open(one.address);
      await shown(page);
      await quiet(one.child);
      const seen = await page.evaluate(() => new Promise((resolve) => {
        const video = document.querySelector('video');
        const stamps = [];
        let first = 0;
        const begun = performance.now();
        const frame = (now, facts) => { if (!first) first = performance.now() - begun; stamps.push([now, facts.mediaTime, facts.presentedFrames]); video.requestVideoFrameCallback(frame); };
        video.requestVideoFrameCallback(frame);
        video.addEventListener('waiting', () => { stamps.push([performance.now(), -1, 0]); });
        video.addEventListener('ended', () => resolve({ first, stamps, quality: { dropped: video.getVideoPlaybackQuality().droppedVideoFrames, total: video.getVideoPlaybackQuality().totalVideoFrames } }), { capture: true, once: true });
        const range = document.querySelector('.scrub input');
        range.value = range.min;
        range.dispatchEvent(new Event('input', { bubbles: true }));
        document.querySelector('#stage button.main').click();
      }));
      const begun = seen.stamps[0][0];
      const waits = seen.stamps.filter(([now, time]) => time < 0 && now - begun > 1000 && now < seen.stamps.at(-1)[0] - 100).length;
      const media = seen.stamps.filter(([, time]) => time >= 0);
      const rate = (media.length - 1) / ((media.at(-1)[0] - media[0][0]) / 1000);
      row(effect + ': play until the first picture', Math.round(seen.first), 'ms', '<= 1000', seen.first <= 1000);
      row(effect + ': frames dropped, of ' + seen.quality.total, seen.quality.dropped, '', '<= 0', seen.quality.dropped === 0);
      row(effect + ': frames shown each second', rate.toFixed(1), '/s', '>= 24.5', rate >= 24.5);
      row(effect + ': halts after the first second', waits, '', '<= 0', waits === 0);
      await page.close();
      await end(one);
    }
  },

  async memory() {
    const one = await studio(edit('memory', 30, 'wash-away', 250));
    const page = await open(one.address);
    await shown(page);
    const say = (what) => row(what, Math.round(status(one.child, 'VmHWM') / 1024), 'MiB', '');
    say('30 clips: opened');
    for (let left = 0; left < 30; ++left) {
      await page.evaluate((i) => document.querySelector('[data-key=clip' + i + ']').scrollIntoView({ inline: 'center' }), left);
      await pause(100);
    }
    await page.until(() => [...document.querySelectorAll('.tile img')].every((each) => each.naturalWidth));
    say('30 clips: strip seen');
    for (const index of [3, 9, 14, 20, 27]) {
      await page.evaluate((i) => document.querySelector('[data-key=seam' + i + ']').click(), index);
      const seam = (await state(page)).plan.seams[index];
      for (let k = 0; k < seam.frames; k += 3) await move(page, seam.first + k);
      await page.until(() => [...document.querySelectorAll('.card img')].every((each) => each.naturalWidth));
      await quiet(one.child);
      say('30 clips: seam ' + index + ' scrubbed, its cards seen');
    }
    for (const index of [5, 20]) {
      await page.evaluate((i) => document.querySelector('[data-key=seam' + i + ']').click(), index);
      await page.evaluate(() => new Promise((resolve) => {
        document.querySelector('video').addEventListener('ended', resolve, { capture: true, once: true });
        document.querySelector('#stage button.main').click();
      }));
      await quiet(one.child);
    }
    const most = Math.round(status(one.child, 'VmHWM') / 1024);
    row('30 clips: strip, five seams, two played: peak', most, 'MiB', '< 700', most < 700);
    row('30 clips: in use then', Math.round(status(one.child, 'VmRSS') / 1024), 'MiB', '');
    await page.close();
    await end(one);
  },
};

try {
  console.log(new Date().toISOString().slice(0, 10) + ', ' + /model name\s*:\s*(.*)/.exec(fs.readFileSync('/proc/cpuinfo', 'utf8'))[1] + ', load ' + os.loadavg()[0].toFixed(1));
  for (const part of kParts) if (parts.includes(part)) await measure[part]();
} finally {
  await browser.close();
  fs.rmSync(folder, { recursive: true, force: true, maxRetries: 5 });
}
process.exitCode = rows.some((each) => each.met === false) ? 1 : 0;
