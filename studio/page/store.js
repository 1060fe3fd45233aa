// The state as the server tells it, what is selected, and the only way to change the document.
import { announce } from './dom.js';
import { t } from './i18n.js';

export const page = Math.random().toString(36).slice(2);
export const S = { state: null, selection: { kind: 'none' }, position: 0, gone: false, error: '', selections: 0 };

const listeners = new Set();
export const onChange = (listener) => listeners.add(listener);
export function changed() { for (const listener of listeners) listener(); }

export const plan = () => (S.state ? S.state.plan : null);
export const doc = () => S.state.document;
export const rate = () => (plan() ? plan().rate : 25);

async function call(path, body) {
  const options = body === undefined ? {} : { method: 'POST', headers: { 'Content-Type': 'application/json' }, body: JSON.stringify(body) };
  const response = await fetch(path, options);
  const text = await response.text();
  const json = text ? JSON.parse(text) : {};
  if (!response.ok) throw Object.assign(new Error(json.error ? json.error.message : String(response.status)), { code: json.error && json.error.code });
  return json;
}

/// Takes a state over, unless a newer one is here already.
function take(state) {
  if (S.state && state.revision < S.state.revision) return;
  S.state = state;
  S.gone = false;
  keepSelection();
  changed();
}

export async function load() { take(await call('api/state')); }

let queue = Promise.resolve();
/// One request after another, so that each knows the revision that the one before has made.
function inTurn(work) {
  queue = queue.then(work).catch(async (problem) => {
    S.error = problem.code === 'revision' ? '' : problem.message;
    if (S.error) announce(S.error);
    await load().catch(() => {});
    changed();
  });
  return queue;
}

/// Changes the document. `make` is given the document and returns a JSON Patch, so that it fits whatever was
/// changed meanwhile.
export function edit(step, make, gesture) {
  return inTurn(async () => {
    const patch = make(structuredClone(doc()));
    if (!patch || !patch.length) return;
    S.error = '';
    take(await call('api/edit', { revision: S.state.revision, label: step, gesture: gesture || '', patch }));
  });
}
export const undo = () => inTurn(async () => {
  if (S.state.undo) { const step = S.state.undo; take(await call('api/undo', { revision: S.state.revision })); announce(t('undoStep', { step: t('step.' + step) })); }
});
export const redo = () => inTurn(async () => {
  if (S.state.redo) { const step = S.state.redo; take(await call('api/redo', { revision: S.state.revision })); announce(t('redoStep', { step: t('step.' + step) })); }
});
export const resolve = (choice) => inTurn(async () => take(await call('api/resolve', { choice })));
export const get = (path) => call(path);
export const post = (path, body) => call(path, body);

/// The seam that leads into clip `i + 1`, and where it stands in the document.
export function seamPath(seam) {
  const info = plan().seams[seam];
  return info.place === 'between' ? '/clips/' + (seam + 1) + '/seam' : '/' + info.place;
}
function seamIn(document, path) {
  const parts = path.split('/').slice(1);
  return parts.length === 1 ? document[parts[0]] : document.clips[Number(parts[1])].seam;
}
/// Changes fields of a seam; undefined takes one away.
export function changeSeam(seam, step, fields, gesture) {
  const path = seamPath(seam);
  return edit(step, (document) => {
    const value = { ...(seamIn(document, path) || {}), ...fields };
    for (const key of Object.keys(value)) if (value[key] === undefined) delete value[key];
    return [{ op: 'add', path, value }];
  }, gesture);
}

export function select(selection, position) {
  S.selection = selection;
  S.selections += 1;
  S.error = '';
  if (position !== undefined) S.position = position;
  changed();
}

function keepSelection() {
  const p = plan();
  const s = S.selection;
  if (!p) { S.selection = { kind: 'none' }; return; }
  if (s.kind === 'seam' && s.index < p.seams.length) { /* stays */ }
  else if (s.kind === 'clip' && s.index < p.clips.length) { /* stays */ }
  else if (s.kind === 'end') {
    const index = p.seams.findIndex((seam) => seam.place === s.which);
    if (index >= 0) S.selection = { kind: 'seam', index };
  } else if (p.clips.length > 1) {
    S.selection = { kind: 'seam', index: 0 };
    S.position = p.look;
  } else S.selection = { kind: 'clip', index: 0 };
  S.position = Math.max(0, Math.min(S.position, p.frames - 1));
}

/// What the scrubber goes over: two seconds around a seam, or a clip.
export function span() {
  const p = plan();
  const s = S.selection;
  const around = Math.round(2 * rate());
  let from = 0, end = p.frames;
  if (s.kind === 'seam' && p.seams[s.index]) {
    from = p.seams[s.index].first - around;
    end = p.seams[s.index].first + p.seams[s.index].frames + around;
  } else if (s.kind === 'clip') {
    from = p.clips[s.index].first;
    end = from + p.clips[s.index].frames;
  } else if (s.kind === 'end') {
    if (s.which === 'opening') end = 2 * around; else from = p.frames - 2 * around;
  }
  return { from: Math.max(0, from), end: Math.max(1, Math.min(p.frames, end)) };
}

export function listen() {
  let source = null;
  const open = () => {
    if (source) return;
    source = new EventSource('api/events');
    source.addEventListener('revision', (event) => { if (!S.state || JSON.parse(event.data).revision > S.state.revision) load().catch(() => {}); });
    source.addEventListener('saving', () => load().catch(() => {}));
    source.addEventListener('job', (event) => { if (S.state) { S.state.job = JSON.parse(event.data); changed(); } });
    source.addEventListener('bye', () => { S.gone = true; changed(); });
    source.onopen = () => load().catch(() => {});
    source.onerror = () => { fetch('api/state').catch(() => { S.gone = true; changed(); }); };
  };
  // A stream that nobody looks at would keep one of the browser's six connections.
  document.addEventListener('visibilitychange', () => {
    if (document.hidden && source) { source.close(); source = null; } else if (!document.hidden) { open(); load().catch(() => {}); }
  });
  open();
}
