// Drives the studio's page in Chromium as people do: by mouse and by keyboard, and after kill -9.
//   node page.mjs PROGRAM CHROMIUM     (run.sh does what is needed before)
import assert from 'node:assert/strict';
import { spawn, execFileSync } from 'node:child_process';
import fs from 'node:fs';
import http from 'node:http';
import { createRequire } from 'node:module';
import os from 'node:os';
import path from 'node:path';
import puppeteer from 'puppeteer-core';

const [program, chromium] = process.argv.slice(2);
const axe = fs.readFileSync(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');
const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'tumblewash-page-'));
const clip = (name) => 'pattern:' + name + '?size=320x180&seconds=2';
const file = path.join(folder, 'tour.edit.json');
fs.writeFileSync(file, JSON.stringify({ tumblewash: 1, clips: [{ file: clip('harbour') }, { file: clip('city'), seam: { effect: 'wash-away', duration: '20f', seed: 5 } }, { file: clip('harbour') }] }));

// A second of silence.
const song = Buffer.alloc(44 + 16000);
song.write('RIFF', 0);
song.writeUInt32LE(36 + 16000, 4);
song.write('WAVEfmt ', 8);
[[16, 4], [1, 2], [1, 2], [8000, 4], [16000, 4], [2, 2], [16, 2]].reduce((at, [value, bytes]) => song.writeUIntLE(value, at, bytes), 16);
song.write('data', 36);
song.writeUInt32LE(16000, 40);
fs.writeFileSync(path.join(folder, 'song.wav'), song);

let studio = null;
async function start() {
  studio = spawn(program, ['studio', file, '--no-browser'], { stdio: ['ignore', 'pipe', 'inherit'] });
  for await (const piece of studio.stdout) return String(piece).trim();
  throw new Error('no address');
}
const ended = (child) => new Promise((resolve) => { if (child.exitCode !== null || child.signalCode) resolve(); else child.once('exit', resolve); });
function status(address, headers, method = 'GET') {
  const url = new URL(address);
  return new Promise((resolve, reject) => {
    http.request({ host: '127.0.0.1', port: url.port, path: url.pathname, method, headers }, (response) => { response.resume(); resolve(response.statusCode); }).on('error', reject).end();
  });
}

let address = await start();
const browser = await puppeteer.launch({ executablePath: chromium, headless: true, protocolTimeout: 600000,
  timeout: 300000, env: { ...process.env, HOME: folder },
  args: ['--no-sandbox', '--disable-dev-shm-usage', '--disable-gpu', '--autoplay-policy=no-user-gesture-required', '--force-color-profile=srgb'] });
// Limits against hanging alone.
const patience = { timeout: 300000 };
const complaints = [];
async function open(width, height, scheme) {
  const page = await browser.newPage();
  page.setDefaultTimeout(patience.timeout);
  page.on('console', (message) => { if (message.type() === 'error') complaints.push(message.text()); });
  page.on('pageerror', (error) => complaints.push(error.message));
  page.on('request', (request) => { if (!/^(data:|(blob:)?http:\/\/127\.0\.0\.1:)/.test(request.url())) complaints.push('asked for ' + request.url()); });
  await page.setViewport({ width, height });
  await page.emulateMediaFeatures([{ name: 'prefers-color-scheme', value: scheme }]);
  await page.goto(address);
  await page.waitForFunction(() => document.querySelector('canvas')?.dataset.shown, patience);
  return page;
}
const state = (page) => page.evaluate(async () => (await fetch('api/state')).json());
/// Clicks by the mouse, once more where the page was drawn anew just then.
async function press(page, key) {
  for (let i = 0; ; ++i) {
    try { return await page.click('[data-key="' + key + '"]'); } catch (problem) { if (i === 20) throw problem; }
  }
}
async function until(page, holds) {
  for (let i = 0; i < 3000; ++i) {
    if (holds(await state(page))) return;
    await new Promise((resolve) => setTimeout(resolve, 100));
  }
  assert.fail('never: ' + holds);
}

try {
  // The door.
  const root = new URL(address).origin + '/';
  assert.equal(await status(root, {}), 404);
  assert.equal(await status(address, { Host: 'example.com' }), 421);
  assert.equal(await status(address, { Origin: 'http://example.com' }), 403);
  assert.equal(await status(address, {}), 200);

  const page = await open(1280, 800, 'dark');
  // The shown picture is the frame of the command, but for what a JPEG loses.
  const shown = await page.$eval('canvas', (canvas) => canvas.dataset.shown);
  const frame = Number(shown.split('|')[1]);
  const seam = (await state(page)).plan.seams[0];
  const png = path.join(folder, 'frame.png');
  execFileSync(program, ['frame', clip('harbour'), clip('city'), '-q', '-o', png, '--effect', 'wash-away', '--seed', '5', '--frame', String(frame - seam.first), '--of', '20']);
  const decibels = await page.evaluate(async (bytes) => {
    const canvas = document.querySelector('canvas');
    const { width, height } = canvas;
    const wanted = new OffscreenCanvas(width, height);
    wanted.getContext('2d').drawImage(await createImageBitmap(new Blob([new Uint8Array(bytes)])), 0, 0, width, height);
    const a = canvas.getContext('2d').getImageData(0, 0, width, height).data;
    const b = wanted.getContext('2d').getImageData(0, 0, width, height).data;
    let sum = 0;
    for (let i = 0; i < a.length; ++i) sum += (a[i] - b[i]) ** 2;
    return 10 * Math.log10(255 * 255 * a.length / sum);
  }, [...fs.readFileSync(png)]);
  assert.ok(decibels > 30, 'the picture is ' + decibels + ' dB from the frame');

  // By keyboard: a step, and ten.
  await page.keyboard.press('ArrowRight');
  await page.waitForFunction((f) => document.querySelector('canvas').dataset.shown.split('|')[1] === String(f), patience, frame + 1);
  await page.keyboard.down('Shift');
  await page.keyboard.press('ArrowLeft');
  await page.keyboard.up('Shift');
  await page.waitForFunction((f) => document.querySelector('canvas').dataset.shown.split('|')[1] === String(f), patience, frame - 9);
  // By mouse: another effect; by keyboard: its length; both undone and redone.
  await press(page, 'card-tilt-away');
  await until(page, (s) => s.plan.seams[0].effect === "tilt-away");
  await page.click('[data-key="seconds"]', { count: 3 });
  await page.keyboard.type('0.4');
  await page.keyboard.press('Enter');
  await until(page, (s) => s.plan.seams[0].frames === 10);
  await press(page, 'undo');
  await until(page, (s) => s.plan.seams[0].frames === 20);
  await press(page, 'undo');
  await until(page, (s) => s.plan.seams[0].effect === "wash-away" && s.plan.seams[0].frames === 20);
  await press(page, 'redo');
  await until(page, (s) => s.plan.seams[0].effect === "tilt-away");
  // A clip is trimmed and moved by keys.
  await press(page, 'clip1');
  await page.focus('#trim-in');
  await page.keyboard.press('ArrowRight');
  await until(page, (s) => s.plan.clips[1].in === 1);
  await page.focus('[data-key="clip1"]');
  await page.keyboard.down('Alt');
  await page.keyboard.press('ArrowRight');
  await page.keyboard.up('Alt');
  await until(page, (s) => s.plan.clips[2].in === 1);
  // The seam plays to its end, and the true frame is there again.
  await press(page, 'seam0');
  await page.evaluate(() => {
    document.querySelector('video').addEventListener('ended', (event) => { window.played = event.target.currentTime; }, { once: true, capture: true });
    document.querySelector('#stage button.main').click();
  });
  await page.waitForFunction(() => window.played > 0 && document.querySelector('video').hidden, patience);
  // Music is chosen in a dialog.
  await press(page, 'music');
  await page.evaluate(() => [...document.querySelectorAll('dialog .row button')].find((button) => button.textContent.startsWith('Choose')).click());
  await (await page.waitForSelector('dialog .files button', patience)).click();
  await page.evaluate(() => document.querySelector('dialog button.main').click());
  await until(page, (s) => s.document.music?.file === 'song.wav' && s.undo === 'music');
  await page.waitForFunction(() => !document.querySelector('dialog'), patience);
  // Two pages follow each other.
  const other = await open(360, 780, 'light');
  await page.bringToFront();
  await press(page, 'undo');
  await until(page, (s) => s.redo === 'music');
  await other.bringToFront();
  await other.waitForFunction(() => !document.querySelector('[data-key="redo"]').disabled, patience);
  assert.ok(await other.evaluate(() => document.documentElement.scrollWidth <= innerWidth), 'the page is wider than 360 pixels');
  await page.bringToFront();
  // The movie.
  await press(page, 'render');
  await page.evaluate(() => [...document.querySelectorAll('dialog button.main')].at(-1).click());
  await page.waitForSelector('dialog video', patience);
  assert.ok(fs.statSync(path.join(folder, 'tour.mp4')).size > 1000);
  await page.evaluate(() => document.querySelector('dialog').close());
  // Nothing that axe finds, in any state that is looked at.
  for (const each of [page, other]) {
    await each.bringToFront();
    for (const key of ['', 'clip0', 'music', 'output', 'export', 'keys', 'add']) {
      if (key) await press(each, key);
      const session = await each.createCDPSession();
      await session.send('Runtime.evaluate', { expression: axe });
      const found = await each.evaluate(async () => (await axe.run(document, { runOnly: ['wcag2a', 'wcag2aa', 'wcag21a', 'wcag21aa', 'wcag22aa'] })).violations.map((v) => v.id + ': ' + v.nodes[0].html));
      assert.deepEqual(found, [], key);
      await each.evaluate(() => document.querySelector('dialog')?.close());
    }
  }
  assert.deepEqual(complaints, []);
  // What was done is there after kill -9.
  const before = (await state(page)).document;
  await page.bringToFront();
  studio.kill('SIGKILL');
  await ended(studio);
  await page.waitForFunction(() => !document.getElementById('bar').hidden, patience);
  await page.close();
  await other.close();
  address = await start();
  const again = await open(1280, 800, 'light');
  assert.deepEqual((await state(again)).document, before);
  console.log('the page: pass');
} finally {
  await browser.close();
  studio.kill('SIGTERM');
  await ended(studio);
  fs.rmSync(folder, { recursive: true, force: true });
}
