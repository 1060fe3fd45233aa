// The strip: clips and seams to scale, in order; moved by hand or by keys.
import { announce, byId, fill, h, keepOnly, picture } from './dom.js';
import { clock, number, secondsText, t } from './i18n.js';
import { S, edit, plan, rate, select } from './store.js';
import { effectName, removeClip, seek, stop } from './stage.js';

const pictures = new Map(); // a picture's address -> its element, kept while it is in use

function thumbnail(address, used) {
  used.add(address);
  if (!pictures.has(address)) pictures.set(address, picture(address.split('#')[0]));
  return pictures.get(address);
}

/// Moves clip `from` to place `to`; the seams stay between the places.
export function moveClip(from, to) {
  const all = plan().clips.length;
  if (to < 0 || to >= all || to === from) return Promise.resolve();
  const name = plan().clips[from].name;
  S.selection = { kind: 'clip', index: to };
  return edit('move', (document) => {
    const seams = document.clips.map((clip) => clip.seam);
    document.clips.splice(to, 0, document.clips.splice(from, 1)[0]);
    document.clips.forEach((clip, i) => { delete clip.seam; if (i > 0 && seams[i]) clip.seam = seams[i]; });
    return [{ op: 'replace', path: '/clips', value: document.clips }];
  }).then(() => {
    announce(t('moved', { name, n: to + 1, all }));
    if (S.selection.kind === 'clip' && S.selection.index === to) seek(plan().clips[to].first);
  });
}
export function duplicateClip(index) {
  return edit('duplicate', (document) => {
    const copy = structuredClone(document.clips[index]);
    delete copy.seam;
    return [{ op: 'add', path: '/clips/' + (index + 1), value: copy }];
  });
}

let drag = null;
function dragStart(event, index) {
  if (event.button !== 0 || event.pointerType === 'touch') return;
  drag = { index, x: event.clientX, moved: false, over: index };
  event.currentTarget.setPointerCapture(event.pointerId);
}
function dragMove(event) {
  if (!drag) return;
  if (!drag.moved && Math.abs(event.clientX - drag.x) < 4) return;
  drag.moved = true;
  const tiles = [...byId('strip').querySelectorAll('.tile')];
  drag.over = tiles.reduce((place, tile, i) => {
    const box = tile.getBoundingClientRect();
    return event.clientX > box.left + box.width / 2 ? i : place;
  }, 0);
  if (event.clientX <= tiles[0].getBoundingClientRect().left + tiles[0].offsetWidth / 2) drag.over = 0;
  tiles.forEach((tile, i) => tile.classList.toggle('over', i === drag.over && i !== drag.index));
}
function dragEnd(event, index) {
  const done = drag;
  drag = null;
  for (const tile of byId('strip').querySelectorAll('.tile')) tile.classList.remove('over');
  if (!done || !done.moved) return;
  event.preventDefault();
  suppressed = true;
  setTimeout(() => { suppressed = false; }, 0);
  moveClip(index, done.over);
}
let suppressed = false;

const kLeastTile = 92, kTilePicture = 64, kMostPictures = 24;
const rem = () => parseFloat(getComputedStyle(document.documentElement).fontSize);
const tileWidth = (shown, scale) => Math.max(kLeastTile, shown * scale);
const joinWidth = (frames, scale) => Math.max(3.6 * rem(), frames * scale);

/// Pixels for a frame, such that all of the strip fits into `room`, or the least where it does not. `shown` are frames of clips that lie in no seam.
function scaleFor(room, shown, seams) {
  const total = (scale) => shown.reduce((sum, frames) => sum + tileWidth(frames, scale) + 2, 0) + seams.reduce((sum, seam) => sum + joinWidth(seam.frames, scale) + 2, 0);
  let [least, most] = [0.2, 100];
  if (total(least) > room) return least;
  while (most - least > 0.001 * least) { const middle = (least + most) / 2; if (total(middle) > room) most = middle; else least = middle; }
  return least;
}

/// How wide the tile of a clip is, and the addresses of its pictures, which do not show what lies in seams.
function layout(clip, i, scale, before, shown) {
  const width = tileWidth(shown, scale);
  const pics = Math.min(kMostPictures, Math.max(1, Math.ceil(width / (kTilePicture * plan().width / plan().height))));
  const file = S.state.document.clips[i].file || 'black';
  const address = (_, k) => {
    const frame = clip.kind === 'clip' ? clip.in + before + Math.floor(shown * (k + 0.5) / pics) : 0;
    return 'clip?clip=' + i + '&f=' + frame + '&w=160#' + file + '|' + plan().width + 'x' + plan().height + '|' + k;
  };
  return { width, before, addresses: Array.from({ length: pics }, address) };
}

function tile(clip, i, { width, before, addresses }, used) {
  const images = addresses.map((address) => thumbnail(address, used));
  const seconds = clip.frames / rate();
  const pressed = S.selection.kind === 'clip' && S.selection.index === i;
  return h('li', { style: { width: width + 'px' } }, h('button', {
    class: 'tile', 'data-key': 'clip' + i, 'aria-pressed': String(pressed), title: clip.name,
    onclick: () => { if (!suppressed) { stop(); select({ kind: 'clip', index: i }, clip.first + before); } },
    onpointerdown: (event) => dragStart(event, i), onpointermove: dragMove,
    onpointerup: (event) => dragEnd(event, i), onpointercancel: () => { drag = null; },
    onkeydown: (event) => {
      if (event.altKey && event.key === 'ArrowLeft') { event.preventDefault(); event.stopPropagation(); moveClip(i, i - 1); }
      if (event.altKey && event.key === 'ArrowRight') { event.preventDefault(); event.stopPropagation(); moveClip(i, i + 1); }
      if (event.key === 'Delete') { event.stopPropagation(); removeClip(i); }
    },
  }, h('span', { class: 'pics' }, images), h('span', { class: 'words' }, h('span', {}, clip.name), ' ', h('span', { class: 'dim' }, secondsText(seconds)))));
}

function join(index, scale) {
  const seam = plan().seams[index];
  const cut = seam.frames === 0;
  const seconds = seam.frames / rate();
  const pressed = S.selection.kind === 'seam' && S.selection.index === index;
  return h('li', { style: { width: joinWidth(seam.frames, scale) + 'px' } }, h('button', {
    class: 'join' + (cut ? ' cut' : ''), 'data-key': 'seam' + index, 'aria-pressed': String(pressed),
    'aria-label': t('seamButton', { s: cut ? t('cutShort') : secondsText(seconds), n: index + 1, effect: effectName(seam.effect) }),
    onclick: () => { stop(); select({ kind: 'seam', index }, seam.first + Math.floor(seam.frames / 2)); },
  }, h('span', {}, cut ? t('cutShort') : secondsText(seconds))));
}

function end(which) {
  const pressed = S.selection.kind === 'end' && S.selection.which === which;
  return h('li', {}, h('button', { class: 'join cut end', 'data-key': which, 'aria-pressed': String(pressed),
    onclick: () => { stop(); S.selection = { kind: 'end', which }; seek(which === 'opening' ? 0 : plan().frames - 1); select(S.selection); } },
  h('span', {}, t(which))));
}

// What was selected last is in view; afterwards the strip stays where it is scrolled to.
let selections = -1;
function reveal(list) {
  const chosen = list.querySelector('[aria-pressed=true]');
  if (!chosen) return;
  const box = chosen.getBoundingClientRect(), around = list.getBoundingClientRect();
  if (box.left < around.left) list.scrollLeft -= around.left - box.left;
  else if (box.right > around.right) list.scrollLeft += box.right - around.right;
}

export function renderStrip(openMedia) {
  const strip = byId('strip');
  const p = plan();
  if (!p) { strip.replaceChildren(); keepOnly(pictures, new Set()); return; }
  const old = strip.querySelector('ol');
  const scrolled = old ? old.scrollLeft : 0;
  const used = new Set();
  const items = [];
  const between = p.clips.length - 1;
  const opening = p.seams.findIndex((seam) => seam.place === 'opening');
  const closing = p.seams.findIndex((seam) => seam.place === 'closing');
  const overlap = (index) => {
    if (index < 0 || index >= p.seams.length) return 0;
    const half = S.state.effects.some((effect) => effect.id === p.seams[index].effect && effect.halves);
    return half ? p.seams[index].frames / 2 : p.seams[index].frames;
  };
  const before = (i) => overlap(i ? i - 1 : opening);
  const shown = p.clips.map((clip, i) => Math.max(1, clip.frames - before(i) - overlap(i < between ? i : closing)));
  // What stands beside clips and seams: margins, and the buttons at both ends.
  const ends = (opening < 0 ? 1 : 0) + (closing < 0 ? 1 : 0);
  const scale = scaleFor(document.documentElement.clientWidth - 1.6 * rem() - 60 - ends * (4.6 * rem() + 2), shown, p.seams);
  const layouts = p.clips.map((clip, i) => layout(clip, i, scale, before(i), shown[i]));
  // A first picture of every clip comes before a second one of any.
  for (let k = 0; k < kMostPictures; ++k) for (const { addresses } of layouts) if (k < addresses.length) thumbnail(addresses[k], used);
  items.push(opening >= 0 ? join(opening, scale) : end('opening'));
  p.clips.forEach((clip, i) => {
    items.push(tile(clip, i, layouts[i], used));
    if (i < between) items.push(join(i, scale));
  });
  items.push(closing >= 0 ? join(closing, scale) : end('closing'));
  items.push(h('li', {}, h('button', { class: 'add', 'data-key': 'add', 'aria-label': t('add'), title: t('add'), onclick: openMedia }, '+')));
  fill(strip, h('div', { class: 'row' },
    h('h2', {}, t('clips', { n: p.clips.length })),
    h('span', { class: 'dim' }, t('outputFacts', { s: clock(p.frames / rate(), 1), size: p.width + '×' + p.height, rate: number(p.rate, 3) }))),
  h('ol', {}, items));
  const list = strip.querySelector('ol');
  list.scrollLeft = scrolled;
  if (selections !== S.selections) reveal(list);
  selections = S.selections;
  keepOnly(pictures, used);
}
