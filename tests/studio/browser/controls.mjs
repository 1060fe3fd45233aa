// Every control of the studio's page does what it says, by mouse and by keyboard; and the page in trouble.
//   node controls.mjs PROGRAM CHROMIUM
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import { Session, press, state, until } from './support.mjs';

const [program, chromium] = process.argv.slice(2);
const session = new Session(program, chromium, 'controls');
// A name that would be markup if it were taken as such.
const kNames = ['a.mp4', 'b <img src=x onerror=alert(1)>.mp4', 'c.mp4'];
execFileSync(program, ['join', 'pattern:harbour?size=320x180&seconds=1', 'pattern:city?size=320x180&seconds=1', '--effect', 'none', '-q', '-o', session.at(kNames[0])]);
for (const name of kNames.slice(1)) fs.copyFileSync(session.at(kNames[0]), session.at(name));

const files = (s) => s.document.clips.map((clip) => clip.file);
/// What a page complained of, but for refusals that it was asked to bring about, and pictures that were on their way when their clip or seam went.
const complaintsOf = (page) => page.complaints.filter((line) => !/status of 422 .*\/api\/(edit|export)$|status of (404|409) .*\/(card|clip|frame|near)\?/.test(line));
const closed = (page) => page.until(() => !document.querySelector('dialog'));
const button = (page, label) => page.evaluate((wanted) => {
  const found = [...document.querySelectorAll('dialog button, #bar button')].find((each) => each.textContent.trim() === wanted);
  found.click();
}, label);
const there = (page, selector) => page.until((wanted) => document.querySelector(wanted), selector);
const set = async (page, selector, value) => { await there(page, selector); return page.evaluate((where, what) => {
  const field = document.querySelector(where);
  field.value = what;
  for (const name of ['input', 'change']) field.dispatchEvent(new Event(name, { bubbles: true }));
}, selector, value); };

try {
  await session.start();
  // Empty: one sentence and one button. Clips are chosen by mouse.
  const page = await session.open(1280, 800, 'dark', () => document.querySelector('[data-key=first]'));
  assert.match(await page.evaluate(() => document.querySelector('.empty').textContent), /^No clips yet/);
  await press(page, 'first');
  await page.click('dialog .files li:nth-child(1) input');
  await page.click('dialog .files li:nth-child(2) input');
  await page.click('dialog button.main');
  await until(page, (s) => s.plan?.clips.length === 2);
  assert.deepEqual(files(await state(page)), kNames.slice(0, 2));
  // Names are text.
  await page.until(() => document.querySelectorAll('.tile').length === 2);
  assert.equal(await page.evaluate(() => document.querySelectorAll('.tile .words span')[2].textContent), kNames[1]);
  // By keyboard: the list has the focus.
  await page.focus('[data-key=add]');
  await page.press('Enter');
  await page.until(() => document.activeElement.closest('.files li'));
  for (const _ of [0, 1]) await page.press('Tab');
  await page.press(' ');
  for (const _ of [0, 1]) await page.press('Tab');
  await page.press('Enter');
  await until(page, (s) => s.plan.clips.length === 3);
  assert.deepEqual(files(await state(page)), kNames);
  await closed(page);

  // The order, by mouse; duplicates and removes, by mouse and by key.
  await page.until(() => document.querySelectorAll('.tile').length === 3);
  // The strip takes all of the window and no more.
  const strip = await page.evaluate(() => { const list = document.querySelector('#strip ol'); return [list.scrollWidth, list.clientWidth, list.lastChild.getBoundingClientRect().right]; });
  assert.ok(strip[0] <= strip[1] && strip[2] > 0.95 * strip[1], 'the strip is ' + strip);
  await page.drag('[data-key=clip0]', '[data-key=clip2]');
  await until(page, (s) => s.document.clips[2].file === 'a.mp4');
  await press(page, 'clip0');
  await press(page, 'twice');
  await until(page, (s) => s.plan.clips.length === 4);
  await press(page, 'remove');
  await until(page, (s) => s.plan.clips.length === 3);
  await press(page, 'clip0');
  await press(page, 'right');
  await until(page, (s) => s.document.clips[0].file === 'c.mp4');
  await press(page, 'clip1');
  await press(page, 'twice');
  await until(page, (s) => s.plan.clips.length === 4);
  await page.focus('[data-key=clip1]');
  await page.press('Delete');
  await until(page, (s) => s.plan.clips.length === 3);
  // A clip's ends and its volume by their fields.
  await press(page, 'clip0');
  await set(page, '[data-key=field-out]', '1.6');
  await until(page, (s) => s.plan.clips[0].frames === 40);
  await set(page, '#gain', '-6');
  await until(page, (s) => s.document.clips[0].gain === '-6dB');

  // A seam: an effect by keyboard, the rest by mouse.
  await press(page, 'seam0');
  await press(page, 'card-morph');
  await until(page, (s) => s.plan.seams[0].effect === 'morph');
  await page.focus('[data-key=card-morph]');
  await page.press('ArrowRight');
  await page.press('Enter');
  await until(page, (s) => s.plan.seams[0].effect === 'wash-away');
  await page.click('.seg label:nth-child(3)');
  await until(page, (s) => s.plan.seams[0].direction === 'up');
  await page.focus('[data-key=way-up]');
  await page.press('ArrowRight');
  await until(page, (s) => s.plan.seams[0].direction === 'down');
  await set(page, '#seed', '77');
  await until(page, (s) => s.plan.seams[0].seed === 77);
  await press(page, 'roll');
  await until(page, (s) => s.plan.seams[0].seed !== 77);
  await set(page, '#sound', 'none');
  await until(page, (s) => s.plan.seams[0].sound === 'none');
  await press(page, 'all');
  await until(page, (s) => s.plan.seams[1].effect === 'wash-away' && s.plan.seams[1].direction === 'down');
  // No control lets a seam be longer than its clips.
  await set(page, '[data-key=seconds]', '100');
  await until(page, (s) => s.plan.seams[0].frames === s.plan.seams[0].most);
  // The pointer moves the card, the focus too.
  const moved = () => page.evaluate(() => document.querySelector('[data-key=card-morph] img').style.transform);
  await page.until(() => document.querySelector('[data-key=card-morph] img')?.naturalWidth);
  const still = await moved();
  const card = await page.evaluate(() => { const { x, y } = document.querySelector('[data-key=card-morph]').getBoundingClientRect(); return { x: x + 3, y: y + 9 }; });
  await page.send('Input.dispatchMouseEvent', { type: 'mouseMoved', ...card });
  assert.notEqual(await moved(), still);
  // Opening and closing, and none again.
  for (const place of ['opening', 'closing']) {
    await press(page, place);
    await page.click('.card:nth-child(2)');
    await page.until(() => document.querySelector('.card[aria-checked=true]').dataset.key !== 'card-none');
    assert.ok((await state(page)).document[place], place);
  }
  await press(page, 'card-none');
  await until(page, (s) => !s.document.closing && s.document.opening);

  // The output, its size and its estimate; every export.
  await press(page, 'output');
  await page.until(() => document.querySelector('#f-size'));
  await set(page, '#f-size', '160x90');
  await page.click('dialog button.main');
  await until(page, (s) => s.plan.width === 160);
  await closed(page);
  // Cards have the movie's shape, whatever it is.
  await press(page, 'output');
  await set(page, '#f-size', '90x160');
  await page.click('dialog button.main');
  await until(page, (s) => s.plan.width === 90);
  await closed(page);
  await press(page, 'seam0');
  await page.until(() => { const frame = document.querySelector('[data-key=card-morph] .frame')?.getBoundingClientRect(); return frame && Math.abs(frame.width / frame.height - 9 / 16) < 0.05; });
  await press(page, 'output');
  await set(page, '#f-size', 'large');
  await button(page, 'Apply');
  await page.until(() => document.querySelector('dialog [role=alert]').textContent);
  await button(page, 'Cancel');
  await closed(page);
  await press(page, 'export');
  await page.until(() => document.querySelector('dialog textarea')?.value);
  for (const format of ['otio', 'edl', 'ffconcat', 'mlt', 'command']) {
    await page.evaluate(() => { document.querySelector('dialog textarea').value = ''; document.querySelector('dialog .warn').replaceChildren(); });
    await set(page, 'dialog select', format);
    await page.until(() => document.querySelector('dialog textarea').value || document.querySelector('dialog .warn').textContent);
  }
  assert.match(await page.evaluate(() => document.querySelector('dialog textarea').value), /^tumblewash render controls.edit.json /);
  await page.press('Escape');
  await closed(page);
  assert.deepEqual(await page.nameless(), []);

  // All of it is undone by key, and done again.
  const end = (await state(page)).document;
  await page.focus('[data-key=seam0]');
  const steps = async (label, ...keys) => {
    for (let s = await state(page); s[label]; s = await state(page)) {
      const { revision } = s;
      await page.press(...keys);
      await until(page, (now) => now.revision > revision);
    }
  };
  await steps('undo', 'z', 'Control');
  assert.deepEqual((await state(page)).document.clips, []);
  await steps('redo', 'Z', 'Control', 'Shift');
  assert.deepEqual((await state(page)).document, end);

  // Colours and language stay as they were chosen.
  await press(page, 'theme');
  assert.equal(await page.evaluate(() => document.documentElement.dataset.theme), 'light');
  await press(page, 'language');
  await page.goto(session.address + '?again');
  await page.until(() => document.querySelector('[data-key=render]')?.textContent.startsWith('Film erstellen'));
  assert.deepEqual(await page.evaluate(() => [document.documentElement.lang, document.documentElement.dataset.theme]), ['de', 'light']);
  await press(page, 'language');

  // Another program writes the document: nobody's work is lost.
  const theirs = { ...end, title: 'theirs' };
  fs.writeFileSync(session.file, JSON.stringify(theirs));
  await page.until(() => document.querySelectorAll('#bar button').length === 3);
  await button(page, 'Keep both');
  await until(page, (s) => s.saving === 'saved');
  assert.equal(JSON.parse(fs.readFileSync(session.file)).title, 'theirs');
  assert.notEqual((await state(page)).document.title, 'theirs');

  // The page ends the studio, and says so.
  assert.deepEqual(complaintsOf(page), []);
  await press(page, 'output');
  await button(page, 'End the studio');
  await session.gone();
  await page.until(() => !document.querySelector('#bar').hidden);
  await session.close(page);

  // A document with a clip that is gone: another file takes its place.
  fs.writeFileSync(session.file, JSON.stringify({ tumblewash: 1, clips: [{ file: 'a.mp4' }, { file: 'gone.mp4' }] }));
  await session.start();
  const broken = await session.open(360, 780, 'light', () => document.querySelector('[data-key=replace1]'));
  assert.match(await broken.evaluate(() => document.querySelector('.empty p').textContent), /gone\.mp4: no such file/);
  assert.deepEqual(await broken.nameless(), []);
  await press(broken, 'replace1');
  await broken.click('dialog .files li:nth-child(3) button');
  await until(broken, (s) => s.plan?.clips.length === 2 && s.document.clips[1].file === 'c.mp4');
  await broken.until(() => document.querySelector('canvas')?.dataset.shown);
  assert.ok(await broken.evaluate(() => document.documentElement.scrollWidth <= innerWidth), 'the page is wider than 360 pixels');
  assert.deepEqual(broken.complaints, []);
  console.log('the controls of the page: pass');
} finally {
  await session.end();
}
