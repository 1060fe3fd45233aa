// Drives the studio's page in Chromium as people do: by mouse and by keyboard, and after kill -9.
//   node page.mjs PROGRAM CHROMIUM [AXE]     (axe-core's file, where its rules are to be tried too)
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import http from 'node:http';
import path from 'node:path';
import { Session, press, state, until } from './support.mjs';

const [program, chromium, axe] = process.argv.slice(2);
const session = new Session(program, chromium, 'tour');
const { folder, file } = session;
const clip = (name) => 'pattern:' + name + '?size=320x180&seconds=2';
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

function status(address, headers, method = 'GET') {
  const url = new URL(address);
  return new Promise((resolve, reject) => {
    http.request({ host: '127.0.0.1', port: url.port, path: url.pathname, method, headers }, (response) => { response.resume(); resolve(response.statusCode); }).on('error', reject).end();
  });
}

try {
  await session.start();
  const { address } = session;
  // The door.
  const root = new URL(address).origin + '/';
  assert.equal(await status(root, {}), 404);
  assert.equal(await status(address, { Host: 'example.com' }), 421);
  assert.equal(await status(address, { Origin: 'http://example.com' }), 403);
  assert.equal(await status(address, {}), 200);

  const page = await session.open(1280, 800, 'dark');
  // The shown picture is the frame of the command, but for what a JPEG loses.
  let shown = null;
  while (!shown) shown = await page.evaluate(() => document.querySelector('canvas').dataset.shown);
  const frame = Number(shown.split('|')[1]);
  const seam = (await state(page)).plan.seams[0];
  const png = path.join(folder, 'frame.png');
  execFileSync(program, ['frame', clip('harbour'), clip('city'), '-q', '-o', png, '--effect', 'wash-away', '--seed', '5', '--frame', String(frame - seam.first), '--of', '20']);
  const decibels = await page.evaluate(async (bytes) => {
    const canvas = document.querySelector('canvas');
    const { width, height } = canvas;
    const wanted = new OffscreenCanvas(width, height);
    wanted.getContext('2d').drawImage(await createImageBitmap(new Blob([Uint8Array.from(atob(bytes), (c) => c.charCodeAt(0))])), 0, 0, width, height);
    const a = canvas.getContext('2d').getImageData(0, 0, width, height).data;
    const b = wanted.getContext('2d').getImageData(0, 0, width, height).data;
    let sum = 0;
    for (let i = 0; i < a.length; ++i) sum += (a[i] - b[i]) ** 2;
    return 10 * Math.log10(255 * 255 * a.length / sum);
  }, fs.readFileSync(png).toString('base64'));
  assert.ok(decibels > 30, 'the picture is ' + decibels + ' dB from the frame');

  // While the true frame is on its way a near picture stands for it, and the page says so.
  await page.until(() => [...document.querySelectorAll('.tile img')].every((each) => each.naturalWidth));
  const held = await page.hold('*/frame?*');
  await page.evaluate(() => document.querySelector('[data-key="seam1"]').click());
  await page.until(() => document.querySelector('canvas').dataset.near);
  const words = () => page.evaluate(() => { const each = document.querySelector('.tag.low'); return each.hidden ? '' : each.textContent; });
  assert.match(await words(), /^approximate/);
  assert.equal(await page.evaluate(() => document.querySelector('canvas').dataset.shown), undefined);
  await held.release();
  await page.until(() => document.querySelector('canvas').dataset.shown && !document.querySelector('canvas').dataset.near);
  assert.equal(await words(), '');
  await press(page, 'seam0');
  await page.until((f) => (document.querySelector('canvas').dataset.shown || '').split('|')[1] === String(f), frame);
  // By keyboard: a step, and ten.
  await page.press('ArrowRight');
  await page.until((f) => (document.querySelector('canvas').dataset.shown || '').split('|')[1] === String(f), frame + 1);
  await page.press('ArrowLeft', 'Shift');
  await page.until((f) => (document.querySelector('canvas').dataset.shown || '').split('|')[1] === String(f), frame - 9);
  // By mouse: another effect; by keyboard: its length; both undone and redone.
  await press(page, 'card-tilt-away');
  await until(page, (s) => s.plan.seams[0].effect === "tilt-away");
  await page.click('[data-key="seconds"]', 3);
  await page.type('0.4');
  await page.press('Enter');
  await until(page, (s) => s.plan.seams[0].frames === 10);
  await press(page, 'undo');
  await until(page, (s) => s.plan.seams[0].frames === 20);
  await press(page, 'undo');
  await until(page, (s) => s.plan.seams[0].effect === "wash-away" && s.plan.seams[0].frames === 20);
  await press(page, 'redo');
  await until(page, (s) => s.plan.seams[0].effect === "tilt-away");
  // How the effect moves the picture, as arrows over it.
  await press(page, 'arrows');
  await page.until(() => document.querySelector('canvas[data-arrows]')?.dataset.arrows > 20 && !document.querySelector('canvas[data-arrows]').hidden);
  await press(page, 'arrows');
  await page.until(() => document.querySelector('canvas[data-arrows]').hidden);
  // A clip is trimmed and moved by keys.
  await press(page, 'clip1');
  await page.focus('#trim-in');
  await page.press('ArrowRight');
  await until(page, (s) => s.plan.clips[1].in === 1);
  await page.focus('[data-key="clip1"]');
  await page.press('ArrowRight', 'Alt');
  await until(page, (s) => s.plan.clips[2].in === 1);
  // The seam plays to its end, and the true frame is there again.
  await press(page, 'seam0');
  await page.evaluate(() => {
    document.querySelector('video').addEventListener('ended', (event) => { window.played = event.target.currentTime; }, { once: true, capture: true });
    document.querySelector('#stage button.main').click();
  });
  await page.until(() => window.played > 0 && document.querySelector('video').hidden);
  // Music is chosen in a dialog.
  await press(page, 'music');
  await page.evaluate(() => [...document.querySelectorAll('dialog .row button')].find((button) => button.textContent.startsWith('Choose')).click());
  await page.click('dialog .files button');
  await page.evaluate(() => document.querySelector('dialog button.main').click());
  await until(page, (s) => s.document.music?.file === 'song.wav' && s.undo === 'music');
  await page.until(() => !document.querySelector('dialog'));
  // Two pages follow each other.
  const other = await session.open(360, 780, 'light');
  await page.bringToFront();
  await press(page, 'undo');
  await until(page, (s) => s.redo === 'music');
  await other.bringToFront();
  await other.until(() => !document.querySelector('[data-key="redo"]').disabled);
  assert.ok(await other.evaluate(() => document.documentElement.scrollWidth <= innerWidth), 'the page is wider than 360 pixels');
  await page.bringToFront();
  // The movie.
  await press(page, 'render');
  await page.evaluate(() => [...document.querySelectorAll('dialog button.main')].at(-1).click());
  await page.until(() => document.querySelector('dialog video'));
  assert.ok(fs.statSync(path.join(folder, 'tour.mp4')).size > 1000);
  await page.evaluate(() => document.querySelector('dialog').close());
  // A page that is closed while a movie is made is not missed, and the next one finds the movie.
  const lost = await session.open(1280, 800, 'dark');
  await press(lost, 'render');
  await lost.evaluate(() => { document.querySelector('#f-movieName').value = 'again.mp4'; });
  await lost.evaluate(() => [...document.querySelectorAll('dialog button.main')].at(-1).click());
  await until(lost, (s) => s.job.output.endsWith('again.mp4') && s.job.state !== 'failed');
  assert.deepEqual(lost.complaints, []);
  await session.close(lost);
  const found = await session.open(1280, 800, 'dark');
  await press(found, 'render');
  await found.until(() => document.querySelector('dialog video'));
  assert.ok(fs.statSync(path.join(folder, 'again.mp4')).size > 1000);
  await found.evaluate(() => document.querySelector('dialog').close());
  // Browsers have six connections to a server: more pages than that work nevertheless.
  const many = [found];
  while (many.length < 7) many.push(await session.open(640, 480, 'light'));
  for (const each of many) {
    await each.bringToFront();
    await press(each, 'seam1');
    await each.until(() => document.querySelector('[data-key="seam1"]').getAttribute('aria-pressed') === 'true' && document.querySelector('canvas').dataset.shown);
    assert.deepEqual(each.complaints, []);
    await session.close(each);
  }
  // The output dialog says about how large the movie gets, and a better quality is larger.
  await page.bringToFront();
  await press(page, 'output');
  const guesses = await page.evaluate(() => ['', '10'].map((crf) => {
    const field = document.querySelector('#f-quality');
    field.value = crf;
    field.dispatchEvent(new Event('input'));
    return Number(/([0-9.,]+) MB/.exec(document.querySelector('dialog .dim').textContent)[1]);
  }));
  assert.ok(guesses[0] > 0 && guesses[1] > guesses[0], 'sizes of ' + guesses);
  await page.evaluate(() => document.querySelector('dialog').close());
  await page.until(() => !document.querySelector('dialog'));
  // Every control has a name, and axe finds nothing, in any state that is looked at.
  for (const each of [page, other]) {
    await each.bringToFront();
    for (const key of ['', 'clip0', 'music', 'output', 'export', 'keys', 'add']) {
      if (key) await press(each, key);
      assert.deepEqual(await each.nameless(), [], key);
      if (axe) {
        await each.send('Runtime.evaluate', { expression: fs.readFileSync(axe, 'utf8') });
        const found = await each.evaluate(async () => (await axe.run(document, { runOnly: ['wcag2a', 'wcag2aa', 'wcag21a', 'wcag21aa', 'wcag22aa'] })).violations.map((v) => v.id + ': ' + v.nodes[0].html));
        assert.deepEqual(found, [], key);
      }
      await each.evaluate(() => document.querySelector('dialog')?.close());
      await each.until(() => !document.querySelector('dialog'));
    }
  }
  for (const each of session.pages) assert.deepEqual(each.complaints, []);
  // What was done is there after kill -9.
  const before = (await state(page)).document;
  await page.bringToFront();
  await session.stop('SIGKILL');
  await page.until(() => !document.getElementById('bar').hidden);
  await page.close();
  await other.close();
  await session.start();
  const again = await session.open(1280, 800, 'light');
  const after = await state(again);
  assert.deepEqual(after.document, before);
  // So are the steps that lead there and on.
  assert.equal(after.redo, 'music');
  assert.notEqual(after.undo, '');
  console.log('the page: pass');
} finally {
  await session.end();
}
