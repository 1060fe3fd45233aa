// The start: the header, the bar that says what is wrong, keys, and the order in which the page is drawn.
import { byId, fill, h } from './dom.js';
import { languageCode, switchLanguage, t } from './i18n.js';
import { S, listen, load, onChange, plan, redo, resolve, undo } from './store.js';
import { goSeam, isPlaying, play, playBack, renderStage, seek, speedNow, step, stop, toggle } from './stage.js';
import { renderStrip } from './strip.js';
import { renderPanel } from './panel.js';
import { drawMovie, openExport, openKeys, openMedia, openMovie, openMusic, openOutput, openReplace, rendering } from './dialogs.js';

function theme() {
  const dark = document.documentElement.dataset.theme ? document.documentElement.dataset.theme === 'dark' : !matchMedia('(prefers-color-scheme: light)').matches;
  document.documentElement.dataset.theme = dark ? 'light' : 'dark';
  try { localStorage.setItem('theme', document.documentElement.dataset.theme); } catch { /* not kept */ }
}

// Controls are replaced only when they change: a click on one that was replaced between press and release is lost.
let headMark = '';
let barMark = '';

function renderHead() {
  const s = S.state;
  const renderWords = rendering() && s.job.total ? t('render') + ' ' + Math.floor(100 * s.job.frames / s.job.total) + ' %' : t('render');
  const mark = JSON.stringify([s.file, s.saving, s.undo, s.redo, Boolean(plan()), languageCode()]);
  if (mark === headMark) {
    byId('head').querySelector('[data-key=render]').textContent = renderWords;
    return;
  }
  headMark = mark;
  const saving = { saved: ['ok', t('saved')], failed: ['bad', t('notSaved')], conflict: ['bad', t('notSaved')], none: ['dim', ''] }[s.saving];
  const stepName = (label) => t('step.' + label);
  document.title = s.file + ' – tumblewash';
  document.documentElement.lang = languageCode();
  fill(byId('head'), h('h1', {}, 'tumblewash'), h('span', { class: 'name', title: s.folder }, s.file), h('span', { class: saving[0] }, saving[1]),
    h('span', { class: 'gap' }),
    h('button', { class: 'plain', 'data-key': 'undo', 'aria-label': t('undo'), disabled: !s.undo, title: s.undo ? t('undoStep', { step: stepName(s.undo) }) : '', onclick: undo }, '↶ ', h('span', { class: 'wide' }, t('undo'))),
    h('button', { class: 'plain', 'data-key': 'redo', 'aria-label': t('redo'), disabled: !s.redo, title: s.redo ? t('redoStep', { step: stepName(s.redo) }) : '', onclick: redo }, '↷ ', h('span', { class: 'wide' }, t('redo'))),
    h('button', { class: 'plain', 'data-key': 'theme', 'aria-label': t('theme'), title: t('theme'), onclick: theme }, '◐'),
    h('button', { class: 'plain', 'data-key': 'language', lang: languageCode() === 'de' ? 'en' : 'de', onclick: () => { switchLanguage(); draw(); } }, t('language')),
    h('button', { class: 'plain', 'data-key': 'keys', 'aria-label': t('keys'), title: t('keys'), onclick: openKeys }, '?'),
    h('button', { 'data-key': 'music', disabled: !plan(), onclick: openMusic }, t('music')),
    h('button', { 'data-key': 'output', disabled: !plan(), onclick: openOutput }, t('output')),
    h('button', { 'data-key': 'export', disabled: !plan(), onclick: openExport }, t('export')),
    h('button', { class: 'main', 'data-key': 'render', disabled: !plan(), onclick: openMovie },
      renderWords));
}

function renderBar() {
  const s = S.state;
  const bar = byId('bar');
  const mark = JSON.stringify([S.gone, s && [s.file, s.saving, s.savingProblem], languageCode()]);
  if (mark === barMark) return;
  barMark = mark;
  let content = null;
  if (S.gone) content = [h('span', { class: 'warn' }, t('ended', { name: s ? s.file : '' }))];
  else if (s.saving === 'conflict') content = [h('span', { class: 'warn' }, t('changedOutside', { name: s.file })),
    ...['theirs', 'mine', 'both'].map((choice) => h('button', { onclick: () => resolve(choice) }, t(choice)))];
  else if (s.saving === 'failed') content = [h('span', { class: 'bad' }, t('notSavedWhy', { why: s.savingProblem }))];
  bar.hidden = !content;
  if (content) fill(bar, content);
}

let drawn = '';
function draw() {
  if (!S.state) return;
  renderHead();
  renderBar();
  drawMovie();
  // What a job says four times a second changes neither the strip nor the panel.
  const mark = JSON.stringify([S.state.revision, S.selection, S.selections, S.error, languageCode(), S.state.problem]);
  if (mark === drawn) return;
  drawn = mark;
  renderStage(openMedia, openReplace);
  renderStrip(openMedia);
  renderPanel();
}

function typing(element) {
  return element.closest('textarea, select, dialog') || (element.tagName === 'INPUT' && !['range', 'checkbox', 'radio'].includes(element.type));
}

document.addEventListener('keydown', (event) => {
  if (event.defaultPrevented || !S.state || document.querySelector('dialog[open]')) return;
  const key = event.key;
  if ((event.ctrlKey || event.metaKey) && !event.altKey && key.toLowerCase() === 'z') {
    if (typing(event.target)) return;
    event.preventDefault();
    return event.shiftKey ? redo() : undo();
  }
  if ((event.ctrlKey || event.metaKey) && key.toLowerCase() === 'y') { event.preventDefault(); return redo(); }
  if (!plan() || event.ctrlKey || event.metaKey || event.altKey || typing(event.target)) return;
  const own = event.target.closest('input[type=range], [role=radiogroup]') && !event.target.closest('.scrub');
  const inScrub = event.target.closest('.scrub');
  const actions = {
    ArrowLeft: () => step(event.shiftKey ? -10 : -1), ArrowRight: () => step(event.shiftKey ? 10 : 1),
    Home: () => seek(0), End: () => seek(plan().frames - 1),
  };
  const letters = {
    ',': () => step(-1), '.': () => step(1), '?': openKeys, '[': () => goSeam(-1), ']': () => goSeam(1),
    k: stop, l: () => play(isPlaying() ? Math.min(8, 2 * speedNow()) : 1), j: () => playBack(1),
  };
  if (key === ' ') {
    if (event.target.closest('button')) return;
    event.preventDefault();
    return toggle();
  }
  if (actions[key] && (!own || inScrub)) { event.preventDefault(); return actions[key](); }
  let allowed = true;
  try { allowed = localStorage.getItem('letters') !== 'off'; } catch { allowed = true; }
  if (allowed && letters[key.toLowerCase()]) { event.preventDefault(); letters[key.toLowerCase()](); }
});

try { const kept = localStorage.getItem('theme'); if (kept) document.documentElement.dataset.theme = kept; } catch { /* the system's */ }
onChange(draw);
let wide = 0;
new ResizeObserver(() => { if (Math.abs(innerWidth - wide) > 40) { wide = innerWidth; drawn = ''; draw(); } }).observe(document.body);
load().catch(() => { S.gone = true; }).finally(listen);
