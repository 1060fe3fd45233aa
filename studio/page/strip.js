// The strip: clips and seams to scale, in order; moved by hand or by keys.
import { announce, byId, fill, forget, h, picture } from './dom.js';
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

function tile(clip, i, scale, before, after, used) {
  const shown = Math.max(1, clip.frames - before - after);
  const width = Math.max(92, shown * scale);
  const pics = Math.min(24, Math.max(1, Math.ceil(width / 114)));
  const w = 160;
  const images = [];
  for (let k = 0; k < pics; ++k) {
    const frame = clip.kind === 'clip' ? clip.in + before + Math.floor(shown * (k + 0.5) / pics) : 0;
    const file = S.state.document.clips[i].file || 'black';
    images.push(thumbnail('clip?clip=' + i + '&f=' + frame + '&w=' + w + '#' + file + '|' + plan().width + 'x' + plan().height + '|' + k, used));
  }
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
  return h('li', { style: { width: 'max(3.6rem, ' + seam.frames * scale + 'px)' } }, h('button', {
    class: 'join' + (cut ? ' cut' : ''), 'data-key': 'seam' + index, 'aria-pressed': String(pressed),
    'aria-label': t('seamButton', { s: cut ? t('cutShort') : secondsText(seconds), n: index + 1, effect: effectName(seam.effect) }),
    onclick: () => { stop(); select({ kind: 'seam', index }, seam.first + Math.floor(seam.frames / 2)); },
  }, h('span', {}, cut ? t('cutShort') : secondsText(seconds))));
}

function end(which) {
  const pressed = S.selection.kind === 'end' && S.selection.which === which;
  return h('li', {}, h('button', { class: 'join cut', 'data-key': which, 'aria-pressed': String(pressed),
    onclick: () => { stop(); S.selection = { kind: 'end', which }; seek(which === 'opening' ? 0 : plan().frames - 1); select(S.selection); } },
  h('span', {}, t(which))));
}

export function renderStrip(openMedia) {
  const strip = byId('strip');
  const p = plan();
  if (!p) { strip.replaceChildren(); return; }
  const old = strip.querySelector('ol');
  const scrolled = old ? old.scrollLeft : 0;
  const scale = Math.max(0.2, (strip.clientWidth - 60 - 52 * p.seams.length) / Math.max(1, p.frames));
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
  items.push(opening >= 0 ? join(opening, scale) : end('opening'));
  p.clips.forEach((clip, i) => {
    items.push(tile(clip, i, scale, i ? overlap(i - 1) : overlap(opening), i < between ? overlap(i) : overlap(closing), used));
    if (i < between) items.push(join(i, scale));
  });
  items.push(closing >= 0 ? join(closing, scale) : end('closing'));
  items.push(h('li', {}, h('button', { class: 'add', 'data-key': 'add', 'aria-label': t('add'), title: t('add'), onclick: openMedia }, '+')));
  fill(strip, h('div', { class: 'row' },
    h('h2', {}, t('clips', { n: p.clips.length })),
    h('span', { class: 'dim' }, t('outputFacts', { s: clock(p.frames / rate(), 1), size: p.width + '×' + p.height, rate: number(p.rate, 3) }))),
  h('ol', {}, items));
  strip.querySelector('ol').scrollLeft = scrolled;
  for (const address of pictures.keys()) if (!used.has(address)) { forget(pictures.get(address)); pictures.delete(address); }
}
