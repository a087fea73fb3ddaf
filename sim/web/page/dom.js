// Elements, made and brought up to date. A view makes what it shall look like from scratch; `patch` changes only what is
// different, so that focus, scroll and what somebody types stay.

/** What is set as a property of an element. All else is set as an attribute. */
const kLive = ['checked', 'value', 'disabled', 'hidden', 'open'];

function setProperty(node, name, value) {
  if (name.startsWith('on')) {
    node[name] = value;
    node.handlers = {...node.handlers, [name]: value};
  } else if (kLive.includes(name) && name in node) {
    node[name] = value;
    // The value as the page has set it. The field's own differs from it when somebody has typed.
    if (name === 'value' || name === 'checked') node.rendered = String(value);
  } else if (value === false || value === null || value === undefined) {
    node.removeAttribute(name);
  } else {
    node.setAttribute(name, value === true ? '' : value);
  }
}

const kDeepest = 3; // lists within lists

/** The children in one list, without those that are null, undefined or false. */
const present = (children) => children.flat(kDeepest).filter((child) => child !== null && child !== undefined && child !== false);

/** Makes an element. Children that are null, undefined or false are left out. */
export function element(tag, properties = {}, ...children) {
  const made = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (name !== 'value') setProperty(made, name, value);
  }
  made.append(...present(children));
  if (properties.value !== undefined) setProperty(made, 'value', properties.value); // a list must have its options before
  return made;
}

export const button = (text, onclick, properties = {}) => element('button', {type: 'button', onclick, ...properties}, text);

/** Tells the style sheets something about the page as a whole: as a class of the body. With `:has` in a style sheet the browser
 *  would style the whole page anew whenever an element comes or goes. */
export const markPage = (name, holds) => document.body.classList.toggle(name, holds);

/** A key tells pieces of the same kind apart; without one they are told apart by their place. */
const keyOf = (node) => (node.nodeType === Node.ELEMENT_NODE ? node.getAttribute('data-key') || node.id : '');
const isSame = (old, fresh) => old.nodeName === fresh.nodeName && keyOf(old) === keyOf(fresh);

/** Whether somebody has typed in a field and is still in it: then what it shows stays. */
const isInUse = (field) => document.activeElement === field && field.value !== field.rendered;

function patchAttributes(old, fresh) {
  const isOurs = (name) => old.tagName !== 'DETAILS' || name !== 'open'; // people open and close details
  for (const {name} of [...old.attributes]) {
    if (!fresh.hasAttribute(name) && isOurs(name)) old.removeAttribute(name);
  }
  for (const {name, value} of fresh.attributes) {
    if (old.getAttribute(name) !== value && isOurs(name)) old.setAttribute(name, value);
  }
  for (const name of ['disabled', 'hidden']) {
    if (name in fresh && old[name] !== fresh[name]) old[name] = fresh[name];
  }
}

function patchHandlers(old, fresh) {
  for (const name of Object.keys(old.handlers ?? {})) {
    if (!fresh.handlers?.[name]) old[name] = null;
  }
  Object.assign(old, fresh.handlers);
  old.handlers = fresh.handlers;
}

function patchValue(old, fresh) {
  if (fresh.rendered === undefined) return;
  if (fresh.type === 'radio' || fresh.type === 'checkbox') {
    old.checked = fresh.checked;
  } else if (fresh.type === 'range') {
    if (old.value !== fresh.value) old.value = fresh.value;
  } else if (old.rendered !== fresh.rendered && !isInUse(old)) {
    old.value = fresh.value;
  }
  old.rendered = fresh.rendered;
}

function patchNode(old, fresh) {
  if (old === fresh) return;
  if (old.nodeType === Node.TEXT_NODE) {
    if (old.data !== fresh.data) old.data = fresh.data;
    return;
  }
  const keepsChoice = old.tagName === 'SELECT' && old.rendered === fresh.rendered;
  const {value} = old;
  patch(old, [...fresh.childNodes]);
  patchAttributes(old, fresh);
  patchHandlers(old, fresh);
  patchValue(old, fresh);
  if (keepsChoice && old.value !== value) old.value = value; // new options have changed it
}

/** Makes the children of `place` look like `children`. */
export function patch(place, children) {
  const fresh = present(children).map((child) => (child instanceof Node ? child : document.createTextNode(child)));
  const keyed = new Map([...place.children].filter(keyOf).map((node) => [keyOf(node), node]));
  fresh.forEach((node, i) => {
    let old = place.childNodes[i];
    const moved = keyOf(node) && keyed.get(keyOf(node));
    if (moved && moved !== old && moved.nodeName === node.nodeName) {
      place.insertBefore(moved, old ?? null);
      old = moved;
    }
    if (!old) place.append(node);
    else if (isSame(old, node)) patchNode(old, node);
    else if (keyOf(old) && fresh.some((one) => keyOf(one) === keyOf(old))) place.insertBefore(node, old);
    else old.replaceWith(node);
  });
  while (place.childNodes.length > fresh.length) place.lastChild.remove();
}

/** Like `patch`, for a list whose rows may go. A focus that is lost with its row goes to the button of a row after it, else of
 *  a row before it, else to `otherwise`. */
export function patchList(place, children, otherwise) {
  const held = place.contains(document.activeElement) ? document.activeElement : null;
  if (!held) return patch(place, children);
  const row = held.closest('[data-key]');
  const rows = [...place.querySelectorAll('[data-key]')];
  const next = rows.slice(rows.indexOf(row) + 1);
  const before = rows.slice(0, Math.max(0, rows.indexOf(row))).reverse();
  patch(place, children);
  const isLost = !held.isConnected || held.disabled;
  if (!isLost) return;
  const heirs = [...next, ...before].filter((one) => one.isConnected).map((one) => one.querySelector('button:enabled'));
  (heirs.find(Boolean) ?? find(otherwise))?.focus();
}

/** A screen so narrow that the tabs and the controls of a part are sheets over the page. The styles have the same width. */
export const kNarrow = matchMedia('(max-width: 760px)');

export const find = (selector) => document.querySelector(selector);

async function copy(text) {
  try {
    await navigator.clipboard.writeText(text);
  } catch {
    // An address without encryption has no clipboard: a selection is copied instead.
    const area = element('textarea', {class: 'unseen', value: text});
    const held = document.activeElement;
    document.body.append(area);
    area.select();
    document.execCommand('copy');
    area.remove();
    held?.focus();
  }
}

const kSaid = 1500; // milliseconds for which a button says that it has copied

/** A button that copies and says so.
 *  @param text  what to copy, or a function that gives it */
export const copyButton = (text, label = 'Copy') =>
  button(
    label,
    async ({currentTarget}) => {
      await copy(typeof text === 'function' ? text() : text);
      currentTarget.textContent = 'Copied';
      setTimeout(() => {
        currentTarget.textContent = label;
      }, kSaid);
    },
    {class: 'small'},
  );
