// Elements made of plain values. Texts become text, never markup.
export function h(tag, attributes, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes || {})) {
    if (value === undefined || value === null || value === false) continue;
    if (name.startsWith('on')) element.addEventListener(name.slice(2), value);
    else if (name === 'class') element.className = value;
    else if (name === 'style') Object.assign(element.style, value);
    else if (name === 'value' || name === 'checked' || name === 'disabled') element[name] = value;
    else element.setAttribute(name, value === true ? '' : String(value));
  }
  for (const child of children.flat(3)) {
    if (child === undefined || child === null || child === false) continue;
    element.append(child instanceof Node ? child : document.createTextNode(String(child)));
  }
  return element;
}

/// Puts children into `parent` and gives the focus back to the control that had it, found by its data-key.
export function fill(parent, ...children) {
  const active = document.activeElement;
  const key = parent.contains(active) && active.dataset ? active.dataset.key : undefined;
  parent.replaceChildren(...children.flat(3).filter((child) => child !== null && child !== undefined && child !== false));
  if (key === undefined) return;
  for (const element of parent.querySelectorAll('[data-key]'))
    if (element.dataset.key === key) { element.focus({ preventScroll: true }); return; }
}

export const byId = (id) => document.getElementById(id);

// Pictures come two at a time: a browser has six connections to a server, and the frame under the hand must not
// wait behind a row of small ones.
const waiting = [];
let loading = 0;
function next() {
  while (loading < 2 && waiting.length) {
    const { image, source } = waiting.shift();
    ++loading;
    const done = () => { --loading; next(); };
    image.addEventListener('load', done, { once: true });
    image.addEventListener('error', done, { once: true });
    image.src = source;
  }
}
/// A picture that is loaded when its turn comes.
export function picture(source) {
  const image = h('img', { alt: '', draggable: 'false' });
  waiting.push({ image, source });
  next();
  return image;
}
/// Drops all pictures, by their names, that are not in `used`; those that wait are not loaded any more.
export function keepOnly(pictures, used) {
  for (const [name, image] of pictures) {
    if (used.has(name)) continue;
    pictures.delete(name);
    const place = waiting.findIndex((each) => each.image === image);
    if (place >= 0) waiting.splice(place, 1);
  }
}

/// Says something to people who do not see the page.
export function announce(text) { byId('live').textContent = text; }
