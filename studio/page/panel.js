// The panel: everything about the seam, the opening, the closing or the clip that is selected.
import { byId, fill, h, keepOnly, picture } from './dom.js';
import { secondsText, t } from './i18n.js';
import { S, changeSeam, doc, edit, plan, rate, seamPath } from './store.js';
import { goSeam, peekAt, removeClip } from './stage.js';
import { duplicateClip, moveClip } from './strip.js';

let gestures = 0;
const strips = new Map(); // card address -> image, for the seam in view
const calm = matchMedia('(prefers-reduced-motion: reduce)');

/// Frame `k` of the 16 of a card.
function turn(image, k) { image.style.transform = 'translateX(' + (-100 * k / 16) + '%)'; }

function card(id, name, image, chosen, choose) {
  // The movie's shape, as large as the card allows.
  const shape = plan().width / plan().height;
  const frame = image && h('span', { class: 'frame', style: { aspectRatio: String(shape), [shape > 16 / 9 ? 'width' : 'height']: '100%' } }, image);
  const pic = h('span', { class: image ? 'pic' : 'pic none' }, frame);
  let timer = 0;
  const rest = () => { clearInterval(timer); timer = 0; if (image) turn(image, 8); };
  if (image) turn(image, 8);
  return h('button', {
    class: 'card', role: 'radio', 'aria-checked': String(chosen), 'data-key': 'card-' + id, tabindex: chosen ? 0 : -1, onclick: choose,
    onpointermove: (event) => {
      if (!image) return;
      const box = pic.getBoundingClientRect();
      turn(image, Math.max(0, Math.min(15, Math.floor(16 * (event.clientX - box.left) / box.width))));
    },
    onpointerleave: rest,
    onfocus: () => {
      if (!image || calm.matches || timer) return;
      let k = 0;
      timer = setInterval(() => { if (!pic.isConnected) return rest(); turn(image, k = (k + 1) % 16); }, 120);
    },
    onblur: rest,
  }, pic, h('span', { class: 'name' }, name));
}

function cards(seam, info) {
  const place = info ? info.place : S.selection.which;
  const effects = S.state.effects.filter((effect) => effect.place === place && effect.id !== 'none');
  const list = [{ id: 'none', name: place === 'between' ? t('cut') : t('noEffect') }, ...effects];
  const chosen = info ? info.effect : 'none';
  // The pictures depend on the clips, the length and the knobs, but not on the effect that is chosen.
  const look = info && JSON.stringify([seam, doc().clips, info.frames, info.direction, info.seed, plan().width, plan().height]);
  const used = new Set();
  const elements = list.map((effect) => {
    let image = null;
    if (info && effect.id !== 'none') {
      const key = look + effect.id;
      used.add(key);
      if (!strips.has(key)) strips.set(key, picture('card?seam=' + seam + '&effect=' + effect.id + '&rev=' + S.state.revision));
      image = strips.get(key);
    }
    return card(effect.id, effect.name, image, effect.id === chosen, () => chooseEffect(seam, info, effect.id));
  });
  keepOnly(strips, used);
  const group = h('div', {
    class: 'cards', role: 'radiogroup', 'aria-label': t('effect'),
    onkeydown: (event) => {
      const step = { ArrowRight: 1, ArrowDown: 1, ArrowLeft: -1, ArrowUp: -1 }[event.key];
      if (!step) return;
      event.preventDefault();
      event.stopPropagation();
      const all = [...group.querySelectorAll('.card')];
      const next = all[(all.indexOf(document.activeElement) + step + all.length) % all.length];
      for (const each of all) each.tabIndex = each === next ? 0 : -1;
      next.focus();
    },
  }, elements);
  return group;
}

function chooseEffect(seam, info, id) {
  if (!info) {
    const which = S.selection.which;
    if (id === 'none') return;
    edit('effect', () => [{ op: 'add', path: '/' + which, value: { effect: id } }]);
  } else if (id === 'none' && info.place !== 'between') {
    S.selection = { kind: 'end', which: info.place };
    edit('effect', () => [{ op: 'remove', path: '/' + info.place }]);
  } else changeSeam(seam, 'effect', { effect: id });
}

function durationRow(seam, info) {
  const set = (frames, gesture) => {
    const even = Math.max(2, Math.min(info.most, 2 * Math.round(frames / 2)));
    changeSeam(seam, 'duration', { duration: even + 'f', speed: undefined }, gesture);
  };
  const slider = h('input', { type: 'range', min: 2, max: Math.max(2, info.most), step: 2, value: info.frames, id: 'duration', 'data-key': 'duration',
    'aria-valuetext': secondsText(info.frames / rate()),
    oninput: () => { field.value = (slider.value / rate()).toFixed(2); slider.setAttribute('aria-valuetext', secondsText(slider.value / rate())); },
    onchange: () => set(Number(slider.value)) });
  // A slider that cannot move says nothing; its value is set last, when its ends are known.
  slider.value = info.frames;
  const field = h('input', { type: 'number', min: 0, step: 'any', value: (info.frames / rate()).toFixed(2), 'aria-label': t('durationUnit'), 'data-key': 'seconds',
    onchange: () => set(Number(field.value) * rate()) });
  return h('div', { class: 'row line' }, h('label', { for: 'duration' }, t('duration')), slider, field);
}

function directionRow(seam, info) {
  const arrows = { left: '←', right: '→', up: '↑', down: '↓' };
  return h('div', { class: 'row line' }, h('span', { class: 'lab', id: 'dir' }, t('direction')),
    h('div', { class: 'seg', role: 'radiogroup', 'aria-labelledby': 'dir' }, Object.entries(arrows).map(([way, arrow]) =>
      h('label', {}, h('input', { type: 'radio', name: 'direction', value: way, checked: info.direction === way, 'data-key': 'way-' + way,
        'aria-label': t('direction.' + way), onchange: () => changeSeam(seam, 'direction', { direction: way }) }), h('span', { 'aria-hidden': 'true' }, arrow)))));
}

function seedRow(seam, info) {
  const field = h('input', { type: 'number', min: 0, max: 4294967295, step: 1, value: info.seed, id: 'seed', 'data-key': 'seed', style: { flex: '1' },
    onchange: () => { const seed = Math.floor(Number(field.value)); if (seed >= 0 && seed <= 4294967295) changeSeam(seam, 'seed', { seed }); } });
  const roll = h('button', { 'data-key': 'roll', onclick: () => changeSeam(seam, 'seed', { seed: 1 + Math.floor(Math.random() * 9999) }, 'roll' + gestures) }, '⚄ ' + t('roll'));
  return h('div', { class: 'row line' }, h('label', { for: 'seed' }, t('seed')), field, roll);
}

function soundRow(seam, info) {
  const select_ = h('select', { id: 'sound', 'data-key': 'sound', style: { flex: '1' }, onchange: () => changeSeam(seam, 'sound', { sound: select_.value }) },
    ['equal-power', 'natural', 'plugin', 'none'].map((word) => h('option', { value: word }, t('sound.' + word))));
  select_.value = info.sound;
  return h('div', { class: 'row line' }, h('label', { for: 'sound' }, t('sound')), select_);
}

function useForAll(seam) {
  const path = seamPath(seam);
  edit('forAll', (document) => {
    const from = path.startsWith('/clips/') ? document.clips[Number(path.split('/')[2])].seam || {} : {};
    const info = plan().seams[seam];
    const value = { ...from, effect: info.effect };
    return document.clips.map((clip, i) => (i ? { op: 'add', path: '/clips/' + i + '/seam', value } : null)).filter(Boolean);
  });
}

function seamPanel() {
  const p = plan();
  const seam = S.selection.index;
  const info = S.selection.kind === 'seam' ? p.seams[seam] : null;
  const between = p.seams.filter((each) => each.place === 'between').length;
  const title = !info ? t(S.selection.which) : info.place === 'between' ? t('seam', { n: seam + 1, all: between }) : t(info.place);
  const effect = info && S.state.effects.find((each) => each.id === info.effect);
  const rows = [h('div', { class: 'row' }, h('h2', {}, title), h('span', { class: 'gap' }),
    info && info.place === 'between' && between > 1 && h('button', { class: 'plain', 'data-key': 'all', onclick: () => useForAll(seam) }, t('useForAll')),
    h('button', { class: 'plain', 'aria-label': t('previous'), 'data-key': 'prev', onclick: () => goSeam(-1) }, '‹'),
    h('button', { class: 'plain', 'aria-label': t('next'), 'data-key': 'next', onclick: () => goSeam(1) }, '›')),
  cards(seam, info)];
  if (info && info.frames > 0) {
    rows.push(durationRow(seam, info));
    if (effect && effect.knobs) rows.push(directionRow(seam, info), seedRow(seam, info));
    rows.push(soundRow(seam, info));
    const a = p.clips[info.place === 'between' ? seam : info.place === 'opening' ? 0 : p.clips.length - 1].name;
    const b = info.place === 'between' ? p.clips[seam + 1].name : a;
    rows.push(h('p', { class: 'dim' }, t('uses', { n: info.frames, a, b }) + ' ' + t('limit', { s: secondsText(info.most / rate()) })));
  }
  return rows;
}

function setClip(index, step, change, gesture) {
  return edit(step, (document) => {
    const clip = document.clips[index];
    change(clip);
    return [{ op: 'replace', path: '/clips/' + index, value: clip }];
  }, gesture);
}

function trimRow(index, which, label) {
  const clip = plan().clips[index];
  const end = clip.in + clip.frames;
  const value = which === 'in' ? clip.in : end;
  const [least, most] = which === 'in' ? [0, end - 1] : [clip.in + 1, clip.whole];
  const commit = (frame) => {
    peekAt(null);
    const wanted = Math.max(least, Math.min(most, Math.round(frame)));
    setClip(index, 'trim', (each) => {
      if (which === 'in') { if (wanted > 0) each.in = wanted + 'f'; else delete each.in; }
      else if (wanted < clip.whole) each.out = wanted + 'f'; else delete each.out;
    });
  };
  const words = (frame) => t('scrubValue', { n: frame, s: secondsText(frame / rate()) });
  const slider = h('input', { type: 'range', min: 0, max: clip.whole, step: 1, id: 'trim-' + which, 'data-key': 'trim-' + which, 'aria-valuetext': words(value),
    oninput: () => {
      const frame = Math.max(least, Math.min(most, Number(slider.value)));
      slider.value = frame;
      field.value = (frame / rate()).toFixed(2);
      slider.setAttribute('aria-valuetext', words(frame));
      peekAt(index, which === 'in' ? frame : frame - 1);
    },
    onchange: () => commit(Number(slider.value)) });
  slider.value = value;
  const field = h('input', { type: 'number', min: 0, step: 'any', value: (value / rate()).toFixed(2), 'aria-label': label, 'data-key': 'field-' + which,
    onchange: () => commit(Number(field.value) * rate()) });
  return h('div', { class: 'row line' }, h('label', { for: 'trim-' + which }, label), slider, field);
}

function gainRow(index) {
  const field = h('input', { type: 'number', step: 'any', min: -96, max: 24, value: parseFloat(doc().clips[index].gain || 0), id: 'gain', 'data-key': 'gain',
    onchange: () => setClip(index, 'gain', (each) => { if (Number(field.value)) each.gain = Number(field.value) + 'dB'; else delete each.gain; }) });
  return h('div', { class: 'row line' }, h('label', { for: 'gain' }, t('gain')), field);
}

function lengthRow(index) {
  const clip = plan().clips[index];
  const field = h('input', { type: 'number', min: 0, step: 'any', value: (clip.frames / rate()).toFixed(2), id: 'length', 'data-key': 'length',
    onchange: () => {
      const frames = Math.max(1, Math.round(Number(field.value) * rate())) + 'f';
      setClip(index, 'length', (each) => { if (clip.kind === 'black') each.black = frames; else { each.length = frames; delete each.in; delete each.out; } });
    } });
  return h('div', { class: 'row line' }, h('label', { for: 'length' }, t('length')), field);
}

function clipPanel() {
  const index = S.selection.index;
  const clip = plan().clips[index];
  const all = plan().clips.length;
  const rows = [h('h2', {}, t('clip', { n: index + 1, all })), h('p', { class: 'dim' }, clip.name)];
  if (clip.kind === 'clip') rows.push(trimRow(index, 'in', t('trimStart')), trimRow(index, 'out', t('trimEnd')));
  else rows.push(lengthRow(index));
  if (clip.sound) rows.push(gainRow(index));
  rows.push(h('div', { class: 'row' },
    h('button', { 'data-key': 'left', disabled: index === 0, onclick: () => moveClip(index, index - 1) }, t('moveLeft')),
    h('button', { 'data-key': 'right', disabled: index === all - 1, onclick: () => moveClip(index, index + 1) }, t('moveRight')),
    h('button', { 'data-key': 'twice', onclick: () => duplicateClip(index) }, t('duplicate')),
    h('button', { 'data-key': 'remove', disabled: all === 1, onclick: () => removeClip(index) }, t('remove'))));
  if (all === 1) rows.push(h('p', { class: 'dim' }, t('oneClip')));
  return rows;
}

export function renderPanel() {
  const panel = byId('panel');
  panel.hidden = !plan();
  if (!plan()) return keepOnly(strips, new Set());
  ++gestures;
  const rows = S.selection.kind === 'clip' ? clipPanel() : S.selection.kind === 'none' ? [] : seamPanel();
  if (S.error) rows.push(h('p', { class: 'bad', role: 'alert' }, S.error));
  fill(panel, rows);
}
