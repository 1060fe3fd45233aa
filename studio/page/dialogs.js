// The dialogs: choosing clips, output, export, the movie, and the keys.
import { announce, fill, h } from './dom.js';
import { number, secondsText, t } from './i18n.js';
import { S, doc, edit, get, plan, post } from './store.js';
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

export function openMedia() {
  const place = h('div', { class: 'row' });
  const list = h('ul', { class: 'files' });
  const problem = h('p', { class: 'bad', role: 'alert' });
  const chosen = new Map();
  let root = 0, path = '';
  const addButton = h('button', { class: 'main', onclick: () => { add([...chosen.keys()]); box.close(); } });
  const count = () => { addButton.textContent = t('addChosen', { n: chosen.size }); addButton.disabled = !chosen.size; };
  const row = (entry) => {
    if (entry.folder) return h('li', {}, h('button', { class: 'plain', disabled: !entry.path, onclick: () => { path = entry.path; load(); } }, '📁 ' + entry.name));
    const check = h('input', { type: 'checkbox', checked: chosen.has(entry.file), disabled: !entry.file,
      onchange: () => { if (check.checked) chosen.set(entry.file, true); else chosen.delete(entry.file); count(); } });
    return h('li', {}, h('label', {}, check, h('span', {}, entry.name), h('span', { class: 'dim' }, number(entry.bytes / 1e6, 1) + ' MB')));
  };
  async function load() {
    try {
      const entries = [];
      for (let from = 0, total = 1; from < total && from < 5000; from = entries.length) {
        const some = await get('api/media?root=' + root + '&path=' + encodeURIComponent(path) + '&from=' + from);
        if (!some.entries.length) break;
        entries.push(...some.entries);
        total = some.total;
      }
      problem.textContent = '';
      fill(list, entries.length ? entries.map(row) : h('li', { class: 'dim' }, t('emptyFolder')));
    } catch (error) { problem.textContent = error.message; }
    const choice = h('select', { 'aria-label': t('up'), onchange: () => { root = Number(choice.value); path = ''; load(); } },
      S.state.roots.map((name, i) => h('option', { value: i }, name)));
    choice.value = root;
    fill(place, S.state.roots.length > 1 ? choice : h('span', {}, S.state.roots[0]), h('span', { class: 'dim' }, path),
      path && h('button', { onclick: () => { path = path.includes('/') ? path.slice(0, path.lastIndexOf('/')) : ''; load(); } }, t('up')));
  }
  const box = dialog(t('addTitle'), place, list, problem, foot(h('button', { onclick: () => box.close() }, t('cancel')), addButton));
  count();
  load();
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

export function openOutput() {
  const now = doc().output || {};
  const text = (value, placeholder) => h('input', { type: 'text', value: value === undefined ? '' : value, placeholder, style: { flex: '1' }, autocomplete: 'off' });
  const size = text(now.size, plan() ? plan().width + 'x' + plan().height : t('auto'));
  const rateField = text(now.rate, plan() ? plan().rateText : t('auto'));
  const fit = choice(now.fit, ['', 'contain', 'blur', 'cover', 'stretch'], (word) => (word ? t('fit.' + word) : t('qualityAuto')));
  const codec = choice(now.codec, ['', 'h264', 'hevc', 'vp9', 'av1', 'prores', 'ffv1'], (word) => word || t('qualityAuto'));
  const crf = text(now.crf, t('qualityAuto'));
  const sound = choice(doc().sound || 'natural', ['equal-power', 'natural', 'plugin', 'none'], (word) => t('sound.' + word));
  const problem = h('p', { class: 'bad', role: 'alert' });
  const save = async () => {
    await edit('output', (document) => {
      const output = { ...(document.output || {}) };
      const put = (key, value) => { if (value === '' || value === undefined) delete output[key]; else output[key] = value; };
      put('size', size.value.trim());
      put('rate', rateField.value.trim());
      put('fit', fit.value);
      put('codec', codec.value);
      put('crf', crf.value.trim() === '' ? '' : Number(crf.value));
      const patch = [{ op: 'add', path: '/output', value: output }, { op: 'add', path: '/sound', value: sound.value }];
      return patch;
    });
    if (S.error) problem.textContent = S.error; else box.close();
  };
  const box = dialog(t('output'), field('size', size), field('rate', rateField), field('fit', fit), field('codec', codec), field('quality', crf),
    field('sound', sound), problem,
    h('div', { class: 'row' }, h('button', { class: 'plain', onclick: () => { post('api/quit', {}).catch((error) => { problem.textContent = error.message; }); } }, t('quit')),
      h('span', { class: 'gap' }), h('button', { onclick: () => box.close() }, t('cancel')), h('button', { class: 'main', onclick: save }, t('output'))));
}

export function openExport() {
  const text = h('textarea', { rows: 12, readonly: true, spellcheck: 'false', 'aria-label': t('export') });
  const remarks = h('div', { class: 'warn' });
  const format = choice('command', ['command', 'otio', 'edl', 'ffconcat', 'mlt'], (word) => (word === 'command' ? t('command') : '.' + word));
  format.setAttribute('aria-label', t('export'));
  let name = 'edit.txt';
  const load = async () => {
    try {
      const made = await post('api/export', { format: format.value });
      name = made.name;
      text.value = made.text;
      fill(remarks, made.remarks.map((line) => h('p', {}, line)));
    } catch (error) { text.value = ''; fill(remarks, h('p', {}, error.message)); }
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
  const copy = h('input', { type: 'checkbox' });
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
