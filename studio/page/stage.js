// The picture, its scrubber and the transport: true frames on a canvas, a played stretch as a video over it.
import { byId, fill, h } from './dom.js';
import { clock, t } from './i18n.js';
import { S, edit, get, page, plan, rate, select, span } from './store.js';

const canvas = h('canvas', { 'aria-hidden': 'true' });
const video = h('video', { hidden: true, playsinline: true });
const tag = h('div', { class: 'tag' });
const low = h('div', { class: 'tag low', role: 'status' });
const over = h('canvas', { 'aria-hidden': 'true', hidden: true });
const screen = h('div', { class: 'screen' }, canvas, video, over, tag, low);
const range = h('input', { type: 'range', step: 1, oninput: () => seek(Number(range.value)) });
const parts = h('div');
const now = h('div', { class: 'now' });
const scrub = h('div', { class: 'scrub' }, parts, now, range);
const time = h('span');
const playButton = h('button', { class: 'main', onclick: () => toggle() });
const loopButton = h('button', { onclick: () => { loop = !loop; drawStage(); } });
const backButton = h('button', { onclick: () => step(-1) }, '◂');
const forwardButton = h('button', { onclick: () => step(1) }, '▸');
const arrowsButton = h('button', { 'data-key': 'arrows', onclick: () => { arrows = !arrows; drawStage(); } });
const transport = h('div', { class: 'row' }, backButton, playButton, forwardButton, time, h('span', { class: 'gap' }), arrowsButton, loopButton);

let loop = false;
let arrows = false;
let playing = null;
let reverse = 0;
let peek = null; // a frame of a clip that is being trimmed: {clip, frame}

// Frames: at most one on its way; when it is here the newest wish goes next, and what has come is always shown.
const kept = new Map();
let flying = null;
let wish = null;
// What takes long is shown from the nearest pictures that are there, until the true frame comes.
let late = false;
let guessing = false;
let guessed = '';

function keep(key, bitmap) {
  kept.set(key, bitmap);
  if (kept.size <= 64) return;
  const oldest = kept.keys().next().value;
  kept.get(oldest).close();
  kept.delete(oldest);
}
function paint(bitmap) {
  if (canvas.width !== bitmap.width || canvas.height !== bitmap.height) { canvas.width = bitmap.width; canvas.height = bitmap.height; }
  canvas.getContext('2d').drawImage(bitmap, 0, 0);
}
function say(words) { low.textContent = words; low.hidden = false; }
/// The canvas holds the true picture of this name.
function shownIs(key) {
  canvas.dataset.shown = key;
  delete canvas.dataset.near;
  low.hidden = true;
}
function width() {
  const wide = Math.round((screen.clientWidth || 640) * (window.devicePixelRatio || 1));
  return Math.max(64, Math.min(plan().width, 4096, Math.ceil(wide / 64) * 64));
}
async function fetchWish() {
  if (flying || !wish) return;
  const wanted = wish;
  wish = null;
  flying = wanted;
  const near = setTimeout(() => { late = true; guess(); }, 60);
  const slow = setTimeout(() => { if (!canvas.dataset.near) say(t('waiting')); }, 150);
  try {
    const response = await fetch(wanted.url);
    if (response.status === 200) {
      const bitmap = await createImageBitmap(await response.blob());
      keep(wanted.key, bitmap);
      paint(bitmap);
      shownIs(wanted.key);
    } else if (response.status !== 204) {
      say((await response.json()).error.message);
    }
  } catch { /* the bar says that the server is gone */ } finally {
    clearTimeout(near);
    clearTimeout(slow);
    flying = null;
    late = false;
    fetchWish();
  }
}
async function guess() {
  const wanted = wish || flying;
  if (!late || guessing || !wanted || wanted.frame === undefined || guessed === wanted.key) return;
  guessing = true;
  guessed = wanted.key;
  try {
    const response = await fetch('near?f=' + wanted.frame + '&page=' + page);
    const bitmap = response.status === 200 ? await createImageBitmap(await response.blob()) : null;
    if (bitmap && late && !playing) {
      if (canvas.dataset.shown || canvas.dataset.near) canvas.getContext('2d').drawImage(bitmap, 0, 0, canvas.width, canvas.height); else paint(bitmap);
      delete canvas.dataset.shown;
      canvas.dataset.near = wanted.key;
      say(t('approximate'));
    }
    if (bitmap) bitmap.close();
  } catch { /* the bar says that the server is gone */ } finally {
    guessing = false;
    if ((wish || flying) !== wanted) guess();
  }
}
function show() {
  const p = plan();
  if (!p || playing) return;
  const w = width();
  const key = peek ? 'c' + S.state.revision + '|' + peek.clip + '|' + peek.frame + '|' + w : 'f' + S.state.revision + '|' + S.position + '|' + w;
  if (canvas.dataset.shown === key) { wish = null; return; }
  if (flying && flying.key === key) { wish = null; return; }
  const known = kept.get(key);
  if (known) { wish = null; paint(known); shownIs(key); return; }
  const what = peek ? 'clip?clip=' + peek.clip + '&f=' + peek.frame : 'frame?f=' + S.position + '&rev=' + S.state.revision;
  wish = { key, url: what + '&w=' + w + '&page=' + page, frame: peek ? undefined : S.position };
  fetchWish();
  guess();
}

/// Shows a frame of a clip while one of its ends is moved; null goes back to the movie.
export function peekAt(clip, frame) { peek = clip === null ? null : { clip, frame }; show(); }

export function seek(frame) {
  stop();
  peek = null;
  const p = plan();
  if (!p) return;
  S.position = Math.max(0, Math.min(p.frames - 1, frame));
  drawStage();
}
export function step(frames) { seek(S.position + frames); }

export function stop() {
  clearInterval(reverse);
  reverse = 0;
  if (!playing) return;
  S.position = Math.max(0, Math.min(plan() ? plan().frames - 1 : 0, playing.at));
  const { address } = playing;
  playing = null;
  video.onerror = null;
  video.pause();
  video.hidden = true;
  video.removeAttribute('src');
  video.load();
  if (address) URL.revokeObjectURL(address);
  low.hidden = true;
  drawStage();
}

function follow() {
  if (!playing) return;
  const own = playing;
  const at = Math.min(own.end - 1, own.from + Math.round(video.currentTime * rate()));
  if (at !== own.at) { own.at = at; drawScrub(at); }
  if (video.requestVideoFrameCallback) video.requestVideoFrameCallback(follow); else requestAnimationFrame(follow);
}

const happens = (target, event) => new Promise((resolve) => target.addEventListener(event, resolve, { once: true }));

/// Fetches a stretch while it is made; gives each piece to `take`, and ends where nobody plays it any more.
async function pieces(own, take) {
  for (let at = 0, rest = 'more'; rest !== 'none';) {
    const response = await fetch(own.url + '&at=' + at);
    if (playing !== own || response.status === 204) return false;
    if (!response.ok) throw new Error((await response.json()).error.message);
    rest = response.headers.get('X-Rest');
    const bytes = await response.arrayBuffer();
    at += bytes.byteLength;
    await take(bytes, response.headers.get('X-Type'));
    if (playing !== own) return false;
  }
  return true;
}

/// Puts a stretch into the video as it comes; as a whole where the browser takes no pieces.
async function feed(own) {
  const all = [];
  let source = null, buffer = null;
  const take = async (bytes, type) => {
    if (!own.begun && window.MediaSource && MediaSource.isTypeSupported(type)) {
      source = new MediaSource();
      own.address = URL.createObjectURL(source);
      video.src = own.address;
      await happens(source, 'sourceopen');
      if (playing !== own) return;
      buffer = source.addSourceBuffer(type);
    }
    own.begun = true;
    if (!buffer) { all.push(bytes); return; }
    if (bytes.byteLength) {
      buffer.appendBuffer(bytes);
      await happens(buffer, 'updateend');
    }
    // What is far ahead can wait; the program waits too.
    while (playing === own && buffer.buffered.length && buffer.buffered.end(buffer.buffered.length - 1) - video.currentTime > 8)
      await new Promise((resolve) => { setTimeout(resolve, 250); });
  };
  if (!await pieces(own, take)) return;
  if (source) { if (source.readyState === 'open') source.endOfStream(); return; }
  own.address = URL.createObjectURL(new Blob(all, { type: 'video/mp4' }));
  video.src = own.address;
}

/// Plays what the scrubber goes over, from the position, or from the start where that is its end.
export function play(speed = 1) {
  const p = plan();
  if (!p) return;
  clearInterval(reverse);
  if (playing) { video.playbackRate = speed; return; }
  peek = null;
  const { from, end } = span();
  const start = S.position >= from && S.position < end - 1 ? S.position : from;
  const own = { from: start, end: Math.min(end, start + Math.round(60 * rate())), at: start };
  own.url = 'play?rev=' + S.state.revision + '&page=' + page + '&from=' + own.from + '&end=' + own.end;
  playing = own;
  say(t('preparing'));
  const fail = (why) => {
    if (playing !== own) return;
    stop();
    say(t('render.failed', { why }));
  };
  video.onloadeddata = () => {
    if (playing !== own) return;
    video.hidden = false;
    low.hidden = true;
    video.playbackRate = speed;
    video.play().then(follow).catch(() => { if (playing === own) stop(); });
  };
  video.onended = () => {
    if (playing !== own) return;
    own.at = own.end - 1;
    stop();
    if (loop) { S.position = from; play(speed); }
  };
  video.onerror = () => fail(video.error ? video.error.message : '');
  feed(own).catch((problem) => fail(problem.message));
  drawStage();
}
export function toggle() { if (playing || reverse) stop(); else play(); }
export function playBack(speed) {
  stop();
  reverse = setInterval(() => {
    if (S.position <= 0) return stop();
    S.position -= 1;
    drawStage();
  }, 1000 / (rate() * speed));
}
export const isPlaying = () => Boolean(playing);
export const speedNow = () => (playing ? video.playbackRate : 0);

function label() {
  const p = plan();
  const index = seamHere();
  if (index < 0) {
    const clip = p.clips.findLastIndex((each) => S.position >= each.first);
    return clip < 0 ? '' : p.clips[clip].name;
  }
  const seam = p.seams[index];
  return t('frameOf', { effect: effectName(seam.effect), n: S.position - seam.first, all: seam.frames });
}
export function effectName(id) {
  if (id === 'none') return t('cut');
  const effect = S.state.effects.find((each) => each.id === id);
  return effect ? effect.name : id;
}

const seamHere = () => plan().seams.findIndex((seam) => seam.frames > 0 && S.position >= seam.first && S.position < seam.first + seam.frames);

// Each arrow about where a cell's picture comes to, as long as the cell where it moves farthest: the movements themselves
// would cover one another.
function paintArrows(pen, list) {
  const { width: columns, height: rows } = pen.canvas;
  pen.clearRect(0, 0, columns, rows);
  const ways = list.map(([fx, fy, tx, ty]) => ({ x: tx * columns, y: ty * rows, dx: (tx - fx) * columns, dy: (ty - fy) * rows }));
  const most = Math.max(1, ...ways.map(({ dx, dy }) => Math.hypot(dx, dy)));
  const cell = 0.85 * Math.sqrt(columns * rows / Math.max(1, list.length));
  for (const [line, colour] of [[cell / 6, '#000'], [cell / 14, '#fff']]) {
    pen.lineWidth = line;
    pen.strokeStyle = colour;
    pen.beginPath();
    for (const way of ways) traceArrow(pen, way, cell, cell * Math.hypot(way.dx, way.dy) / most);
    pen.stroke();
  }
}

// Too short ones are left out.
function traceArrow(pen, { x, y, dx, dy }, cell, length) {
  if (length < cell / 20) return;
  const head = Math.min(cell / 3.5, 0.6 * length);
  const way = Math.atan2(dy, dx);
  const [ex, ey] = [x + length / 2 * Math.cos(way), y + length / 2 * Math.sin(way)];
  pen.moveTo(2 * x - ex, 2 * y - ey);
  pen.lineTo(ex, ey);
  for (const turn of [2.6, -2.6]) { pen.moveTo(ex, ey); pen.lineTo(ex + head * Math.cos(way + turn), ey + head * Math.sin(way + turn)); }
}

// How the effect moves the pictures, at full strength: asked for once for each look of a seam.
let drawnArrows = '';
async function drawArrows() {
  const seam = seamHere();
  const effect = seam < 0 ? null : S.state.effects.find((each) => each.id === plan().seams[seam].effect);
  const some = Boolean(effect && effect.field);
  arrowsButton.hidden = !some;
  arrowsButton.textContent = t('movement');
  arrowsButton.setAttribute('aria-pressed', String(arrows));
  arrowsButton.className = arrows ? 'main' : '';
  over.hidden = !some || !arrows || Boolean(playing);
  const key = S.state.revision + '|' + seam + '|' + width();
  if (over.hidden || drawnArrows === key) return;
  drawnArrows = key;
  over.width = width();
  over.height = Math.round(over.width * plan().height / plan().width);
  let list = [];
  try { list = (await get('field?seam=' + seam)).arrows; } catch { drawnArrows = ''; }
  if (drawnArrows !== key) return;
  paintArrows(over.getContext('2d'), list);
  over.dataset.arrows = list.length;
}

function drawScrub(position) {
  const p = plan();
  const { from, end } = span();
  const percent = (frame) => (100 * Math.max(0, Math.min(1, (frame - from) / Math.max(1, end - from)))) + '%';
  const wide = (first, count) => ({ left: percent(first), width: 'calc(' + percent(Math.min(end, first + count)) + ' - ' + percent(first) + ')' });
  range.min = from;
  range.max = end - 1;
  range.value = position;
  range.setAttribute('aria-label', t('now'));
  range.setAttribute('aria-valuetext', t('scrubValue', { n: position, s: clock(position / rate()) }));
  now.style.left = percent(position + 0.5);
  time.textContent = clock(position / rate()) + ' / ' + clock(p.frames / rate());
  if (playing && parts.dataset.key === from + '|' + end) return;
  parts.dataset.key = from + '|' + end;
  const seams = p.seams.filter((seam) => seam.frames > 0 && seam.first < end && seam.first + seam.frames > from)
    .map((seam) => h('div', { class: 'seam', style: wide(seam.first, seam.frames) }));
  const clips = p.clips.map((clip, i) => ({ clip, i })).filter(({ clip }) => clip.first < end && clip.first + clip.frames > from)
    .map(({ clip, i }) => h('div', { class: 'part ' + (i % 2 ? 'b' : 'a'), style: wide(clip.first, clip.frames) }, clip.name));
  parts.replaceChildren(...seams, ...clips, h('span', { class: 'end' }, clock(from / rate(), 1)), h('span', { class: 'end to' }, clock(end / rate(), 1)));
}

export function drawStage() {
  const p = plan();
  if (!p) return;
  screen.style.aspectRatio = p.width + ' / ' + p.height;
  tag.textContent = label();
  drawScrub(playing ? playing.at : S.position);
  playButton.textContent = (playing ? '■ ' : '▶ ') + t(playing ? 'stop' : S.selection.kind === 'seam' ? 'playSeam' : 'play');
  loopButton.textContent = t('loop');
  loopButton.setAttribute('aria-pressed', String(loop));
  loopButton.className = loop ? 'main' : '';
  backButton.setAttribute('aria-label', t('stepBack'));
  forwardButton.setAttribute('aria-label', t('forward'));
  drawArrows();
  show();
}

/// Takes a clip out, and the seam that leads into it.
export function removeClip(index) {
  return edit('remove', (document) => {
    document.clips.splice(index, 1);
    if (document.clips.length) delete document.clips[0].seam;
    return [{ op: 'replace', path: '/clips', value: document.clips }];
  });
}

let shownPlan = null;
export function renderStage(openMedia, replaceClip) {
  const stage = byId('stage');
  if (!S.state) return;
  if (!plan()) {
    stop();
    shownPlan = null;
    fill(stage, h('div', { class: 'empty' },
      h('p', {}, S.state.problem || t('empty')),
      S.state.document.clips.length > 1 && h('ul', { class: 'broken' }, S.state.document.clips.map((clip, i) => h('li', { class: 'row' },
        h('span', {}, clip.title || clip.file || 'black'),
        h('span', {}, clip.file && h('button', { 'data-key': 'replace' + i, onclick: () => replaceClip(i) }, t('replace')), ' ',
          h('button', { 'data-key': 'drop' + i, onclick: () => removeClip(i) }, t('remove')))))),
      h('button', { class: 'main', 'data-key': 'first', onclick: openMedia }, t('add'))));
    return;
  }
  if (playing && shownPlan !== S.state.revision) stop();
  shownPlan = S.state.revision;
  if (!stage.contains(screen)) stage.replaceChildren(screen, scrub, transport);
  drawStage();
}

export function goSeam(direction) {
  const p = plan();
  if (!p || !p.seams.length) return;
  const order = p.seams.map((seam, index) => ({ index, first: seam.first })).sort((a, b) => a.first - b.first);
  const here = S.selection.kind === 'seam' ? order.findIndex((each) => each.index === S.selection.index)
    : order.findIndex((each) => each.first > S.position) - (direction > 0 ? 1 : 0);
  const next = order[Math.max(0, Math.min(order.length - 1, here + direction))];
  stop();
  select({ kind: 'seam', index: next.index }, p.seams[next.index].first + Math.floor(p.seams[next.index].frames / 2));
}

new ResizeObserver(() => { if (plan()) show(); }).observe(screen);
