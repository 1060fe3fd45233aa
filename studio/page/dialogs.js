// The dialogs: choosing clips, output, export, the movie, and the keys.
import { announce, fill, h } from './dom.js';
import { clock, number, secondsText, t } from './i18n.js';
import { S, doc, edit, get, plan, post, rate } from './store.js';
import { stop } from './stage.js';

function dialog(title, ...children) {
  stop();
  const box = h('dialog', { 'aria-labelledby': 'dialog-title', onclose: () => box.remove() },
    h('h2', { id: 'dialog-title' }, title), h('div', { class: 'body' }, children));
  document.body.append(box);
  box.showModal();
  return box;
}
const foot = (...buttons) => h('div', { class: 'row' }, h('span', { class: 'gap' }), buttons);

/// Lists folders and files of a kind, `clips` or `music`; `row` makes the line of a file. The list has the focus when it is there.
function browser(kind, row) {
  const place = h('div', { class: 'row' });
  const list = h('ul', { class: 'files' });
  const problem = h('p', { class: 'bad', role: 'alert' });
  let root = 0, path = '';
  const enter = (entry) => h('li', {}, h('button', { class: 'plain', disabled: !entry.path, onclick: () => { path = entry.path; load(); } }, '📁 ' + entry.name));
  async function load() {
    try {
      const entries = [];
      for (let from = 0, total = 1; from < total && from < 5000; from = entries.length) {
        const some = await get('api/media?kind=' + kind + '&root=' + root + '&path=' + encodeURIComponent(path) + '&from=' + from);
        if (!some.entries.length) break;
        entries.push(...some.entries);
        total = some.total;
      }
      problem.textContent = '';
      fill(list, entries.length ? entries.map((entry) => (entry.folder ? enter(entry) : h('li', {}, row(entry)))) : h('li', { class: 'dim' }, t(kind === 'music' ? 'noMusicHere' : 'emptyFolder')));
    } catch (error) { problem.textContent = error.message; }
    const choice = h('select', { 'aria-label': t('up'), onchange: () => { root = Number(choice.value); path = ''; load(); } },
      S.state.roots.map((name, i) => h('option', { value: i }, name)));
    choice.value = root;
    fill(place, S.state.roots.length > 1 ? choice : h('span', {}, S.state.roots[0]), h('span', { class: 'dim' }, path),
      path && h('button', { onclick: () => { path = path.includes('/') ? path.slice(0, path.lastIndexOf('/')) : ''; load(); } }, t('up')));
    (list.querySelector('input:enabled, button:enabled') || place.querySelector('button, select'))?.focus();
  }
  load();
  return [place, list, problem];
}
const megabytes = (entry) => h('span', { class: 'dim' }, number(entry.bytes / 1e6, 1) + ' MB');

export function openMedia() {
  const chosen = new Set();
  const addButton = h('button', { class: 'main', onclick: () => { add([...chosen]); box.close(); } });
  const count = () => { addButton.textContent = t('addChosen', { n: chosen.size }); addButton.disabled = !chosen.size; };
  const row = (entry) => {
    const check = h('input', { type: 'checkbox', checked: chosen.has(entry.file), disabled: !entry.file,
      onchange: () => { if (check.checked) chosen.add(entry.file); else chosen.delete(entry.file); count(); } });
    return h('label', {}, check, h('span', {}, entry.name), megabytes(entry));
  };
  const box = dialog(t('addTitle'), browser('clips', row), foot(h('button', { onclick: () => box.close() }, t('cancel')), addButton));
  count();
}

/// A button for each file, which gives it to `choose`.
const fileButton = (sign, choose) => (entry) => h('button', { class: 'plain', disabled: !entry.file, onclick: () => choose(entry.file) },
  h('span', {}, sign + entry.name), megabytes(entry));

/// Another file for a clip whose own cannot be used.
export function openReplace(index) {
  const clip = doc().clips[index];
  const choose = (file) => {
    edit('replace', (document) => [{ op: 'replace', path: '/clips/' + index, value: { ...document.clips[index], file } }]);
    box.close();
  };
  const box = dialog(t('missing', { name: clip.title || clip.file }), browser('clips', fileButton('', choose)), foot(h('button', { onclick: () => box.close() }, t('cancel'))));
}

function add(files) {
  if (!files.length) return;
  const s = S.selection;
  const after = s.kind === 'clip' ? s.index + 1 : Infinity;
  edit('add', (document) => {
    const at = Math.min(after, document.clips.length);
    document.clips.splice(at, 0, ...files.map((file) => ({ file })));
    return [{ op: 'replace', path: '/clips', value: document.clips }];
  });
}

const field = (label, control) => { control.id = 'f-' + label; return h('div', { class: 'row line' }, h('label', { for: control.id }, t(label)), control); };
function choice(value, words, name) {
  const element = h('select', { style: { flex: '1' } }, words.map((word) => h('option', { value: word }, name(word))));
  element.value = value === undefined ? '' : value;
  return element;
}

/// Puts a key of the document into a patch; an empty text takes it out.
function setKey(patch, document, key, value) {
  if (value !== '') patch.push({ op: 'add', path: '/' + key, value });
  else if (key in document) patch.push({ op: 'remove', path: '/' + key });
}

// Bits that a pixel of ordinary camera pictures takes at each encoder's usual quality, and how many steps of its scale halve them.
const kBits = { h264: [0.11, 20, 6], hevc: [0.06, 23, 6], vp9: [0.06, 30, 12], av1: [0.05, 30, 12], prores: [3.5], ffv1: [7], mjpeg: [1.6, 3, 4] };
function movieBytes(codec, crf, pixels, frames, soundSeconds) {
  const [bits, usual, halves] = kBits[codec] || kBits.h264;
  const quality = halves && String(crf).trim() !== '' ? Number(crf) || usual : usual;
  return pixels * frames * bits * (halves ? 2 ** ((usual - quality) / halves) : 1) / 8 + soundSeconds * 24000;
}

export function openOutput() {
  const now = doc().output || {};
  const text = (value, placeholder) => h('input', { type: 'text', value: value === undefined ? '' : value, placeholder, style: { flex: '1' }, autocomplete: 'off' });
  const size = text(now.size, plan() ? plan().width + 'x' + plan().height : t('auto'));
  const rateField = text(now.rate, plan() ? plan().rateText : t('auto'));
  const fit = choice(now.fit, ['', 'contain', 'blur', 'cover', 'stretch'], (word) => (word ? t('fit.' + word) : t('qualityAuto')));
  const codec = choice(now.codec, ['', 'h264', 'hevc', 'vp9', 'av1', 'prores', 'ffv1', 'mjpeg'], (word) => word || t('qualityAuto'));
  const crf = text(now.crf, t('qualityAuto'));
  const photos = text(doc().hold || doc().still, '4s');
  const seams = choice(doc().hold ? 'hold' : 'still', ['still', 'hold'], (word) => t(word === 'hold' ? 'photosHold' : 'photosStill'));
  seams.setAttribute('aria-label', t('photosSeams'));
  const motion = choice(doc().stillMotion || 'none', ['none', 'zoom', 'pan'], (word) => t('motion.' + word));
  const problem = h('p', { class: 'bad', role: 'alert' });
  const guess = h('p', { class: 'dim', role: 'status' });
  const estimate = () => {
    const [, w, h_] = /^(\d+)x(\d+)$/.exec(size.value.trim()) || [0, plan().width, plan().height];
    const fps = Number(rateField.value) || rate();
    const seconds = plan().frames / rate();
    guess.textContent = t('sizeGuess', { s: clock(seconds, 0), size: number(movieBytes(codec.value, crf.value, w * h_, fps * seconds, plan().sound ? seconds : 0) / 1e6, 1) });
  };
  for (const each of [size, rateField, codec, crf]) each.addEventListener('input', estimate);
  estimate();
  const save = async () => {
    await edit('output', (document) => {
      const output = { ...(document.output || {}) };
      const put = (key, value) => { if (value === '' || value === undefined) delete output[key]; else output[key] = value; };
      put('size', size.value.trim());
      put('rate', rateField.value.trim());
      put('fit', fit.value);
      put('codec', codec.value);
      put('crf', crf.value.trim() === '' ? '' : Number(crf.value));
      const patch = [{ op: 'add', path: '/output', value: output }];
      for (const [key, value] of [['still', seams.value === 'still' ? photos.value.trim() : ''], ['hold', seams.value === 'hold' ? photos.value.trim() || '4s' : ''],
        ['stillMotion', motion.value === 'none' ? '' : motion.value]]) setKey(patch, document, key, value);
      return patch;
    });
    if (S.error) problem.textContent = S.error; else box.close();
  };
  const box = dialog(t('output'), field('size', size), field('rate', rateField), field('fit', fit), field('codec', codec), field('quality', crf),
    (() => { const row = field('photos', photos); row.append(seams); return row; })(), field('photosMove', motion), guess, problem,
    h('div', { class: 'row' }, h('button', { class: 'plain', onclick: () => { post('api/quit', {}).catch((error) => { problem.textContent = error.message; }); } }, t('quit')),
      h('span', { class: 'gap' }), h('button', { onclick: () => box.close() }, t('cancel')), h('button', { class: 'main', onclick: save }, t('apply'))));
}

/// The sound of the whole movie: music under it, the level of the clips, the seams.
export function openMusic() {
  const now = doc().music || {};
  let file = now.file;
  const decibels = (value, placeholder) => h('input', { type: 'number', step: 'any', value: value === undefined ? '' : parseFloat(value), placeholder });
  const gain = decibels(now.gain, '0');
  const duck = decibels(now.duck, '12');
  const loudness = choice(doc().loudness, [...new Set(['', '-14', '-16', '-23', doc().loudness || ''])],
    (word) => (word ? t('lufs', { n: number(parseFloat(word), 1) }) : t('asRecorded')));
  const sound = choice(doc().sound || 'natural', ['equal-power', 'natural', 'plugin', 'none'], (word) => t('sound.' + word));
  const limiter = h('input', { type: 'checkbox', checked: doc().limiter !== false });
  const problem = h('p', { class: 'bad', role: 'alert' });
  const name = h('span', { style: { flex: '1', overflowWrap: 'anywhere' } });
  const drop = h('button', { onclick: () => { file = undefined; show(); } }, t('remove'));
  const show = () => { name.textContent = file || t('noMusic'); drop.hidden = !file; gain.disabled = duck.disabled = !file; };
  const pick = h('button', { onclick: () => {
    pick.hidden = true;
    fill(list, browser('music', fileButton('♪ ', (chosen) => { file = chosen; fill(list); pick.hidden = false; show(); pick.focus(); })));
  } }, t('choose'));
  const list = h('div', { class: 'body' });
  const save = async () => {
    await edit('music', (document) => {
      const patch = [];
      const music = { file };
      if (gain.value !== '') music.gain = gain.value + 'dB';
      if (duck.value !== '') music.duck = duck.value + 'dB';
      setKey(patch, document, 'music', file ? music : '');
      setKey(patch, document, 'loudness', loudness.value);
      setKey(patch, document, 'limiter', limiter.checked ? '' : false);
      setKey(patch, document, 'sound', sound.value);
      return patch;
    });
    if (S.error) problem.textContent = S.error; else box.close();
  };
  const box = dialog(t('musicTitle'), h('div', { class: 'row line' }, h('span', { class: 'lab' }, t('music')), name, drop, pick), list,
    field('musicGain', gain), field('musicDuck', duck), field('loudness', loudness), field('soundAtSeams', sound),
    h('label', { class: 'row' }, limiter, t('limiter')), problem,
    foot(h('button', { onclick: () => box.close() }, t('cancel')), h('button', { class: 'main', onclick: save }, t('apply'))));
  show();
}

export function openExport() {
  const text = h('textarea', { rows: 12, readonly: true, spellcheck: 'false', 'aria-label': t('export') });
  const remarks = h('div', { class: 'warn' });
  const format = choice('command', ['command', 'otio', 'edl', 'ffconcat', 'mlt'], (word) => (word === 'command' ? t('command') : '.' + word));
  format.setAttribute('aria-label', t('export'));
  let name = 'edit.txt';
  const load = async () => {
    const wanted = format.value;
    try {
      const made = await post('api/export', { format: wanted });
      // Another one was chosen meanwhile.
      if (format.value !== wanted) return;
      name = made.name;
      text.value = made.text;
      fill(remarks, made.remarks.map((line) => h('p', {}, line)));
    } catch (error) { if (format.value === wanted) { text.value = ''; fill(remarks, h('p', {}, error.message)); } }
  };
  format.onchange = load;
  const box = dialog(t('export'), format, text, remarks, foot(
    h('button', { onclick: () => { text.select(); navigator.clipboard.writeText(text.value).then(() => announce(t('copied'))).catch(() => {}); } }, t('copy')),
    h('button', { onclick: () => {
      const address = URL.createObjectURL(new Blob([text.value], { type: 'text/plain' }));
      h('a', { href: address, download: name }).click();
      setTimeout(() => URL.revokeObjectURL(address), 10000);
    } }, t('download')),
    h('button', { class: 'main', onclick: () => box.close() }, t('close'))));
  load();
}

const busy = () => ['checking', 'running', 'finishing', 'cancelling'].includes(S.state.job.state);
let movie = null;

export function openMovie() {
  if (movie) return;
  const stem = S.state.file.replace(/\.edit\.json$/, '');
  const name = h('input', { type: 'text', value: stem + '.mp4', style: { flex: '1' }, autocomplete: 'off' });
  const where = h('p', { class: 'dim' }, S.state.folder);
  const copy = h('input', { type: 'checkbox', checked: S.state.document.output?.copyBodies !== 'never' });
  const bar = h('progress', { max: 1, value: 0, 'aria-label': t('render') });
  const words = h('p', { role: 'status' });
  const notes = h('div', { class: 'warn' });
  const shown = h('div');
  const start = async (force) => {
    try { S.state.job = await post('api/render', { name: name.value.trim(), force, copy: copy.checked }); draw(); }
    catch (error) {
      if (error.code === 'exists' && !force) {
        fill(notes, h('div', { class: 'row' }, h('p', {}, t('askReplace', { name: name.value.trim() })), h('button', { onclick: () => start(true) }, t('render'))));
      } else words.textContent = error.message;
    }
  };
  const go = h('button', { class: 'main', onclick: () => start(false) }, t('render'));
  const halt = h('button', { onclick: () => post('api/cancel', { id: S.state.job.id }).catch(() => {}) }, t('cancel'));
  const box = dialog(t('render'), field('movieName', name), where, h('label', { class: 'row' }, copy, t('copyBodies')), bar, words, notes, shown,
    foot(halt, h('button', { onclick: () => box.close() }, t('close')), go));
  box.addEventListener('close', () => { movie = null; });
  let played = 0;
  const draw = () => {
    const job = S.state.job;
    const file = job.output.split('/').pop();
    halt.hidden = !busy();
    go.disabled = busy();
    bar.hidden = !busy();
    if (job.total) bar.value = job.frames / job.total; else bar.removeAttribute('value');
    if (job.state === 'idle') return;
    words.className = job.state === 'failed' ? 'bad' : job.state === 'done' ? 'ok' : '';
    words.textContent = job.state === 'running' && job.left >= 0
      ? t('render.left', { n: job.frames, all: job.total, fps: number(job.fps, 1), s: secondsText(job.left) })
      : t('render.' + (job.state === 'running' ? 'checking' : job.state), { name: file, s: secondsText(job.seconds), why: job.error });
    if (busy()) notes.replaceChildren();
    if (job.state === 'done' && played !== job.id) {
      played = job.id;
      fill(notes, job.warnings.map((line) => h('p', {}, line)));
      fill(shown, h('video', { controls: true, src: 'output/' + job.id, 'aria-label': file }));
    } else if (job.state !== 'done') shown.replaceChildren();
  };
  movie = draw;
  draw();
}
export function drawMovie() { if (movie && S.state) movie(); }
export const rendering = () => S.state && busy();

export function openKeys() {
  const rows = [['← →', 'keys.arrows'], ['Home End', 'keys.home'], ['Space', 'keys.space'], ['J K L', 'keys.jkl'], ['[ ]', 'keys.seams'],
    ['Alt + ← →', 'keys.move'], ['Delete', 'keys.remove'], ['Ctrl + Z', 'keys.undo']];
  const letters = h('input', { type: 'checkbox', checked: localStorage.getItem('letters') !== 'off',
    onchange: () => localStorage.setItem('letters', letters.checked ? 'on' : 'off') });
  const box = dialog(t('keys'), h('dl', { class: 'keys' }, rows.map(([keys, what]) => [h('dt', {}, h('kbd', {}, keys)), h('dd', {}, t(what))])),
    h('label', { class: 'row' }, letters, t('keys.off')), foot(h('button', { class: 'main', onclick: () => box.close() }, t('close'))));
}
