import * as address from './address.js';
import {element, find} from './dom.js';
import {wantRequests} from './connection.js';
import {follow, known, put} from './store.js';

// The tabs at the bottom right. On a wide screen the requests and the flash stand beside each other.

const views = new Map(); // by name: its tab, its panel
const kWide = matchMedia('(min-width: 1900px)');

export const isOpen = (name) => address.read('tab') === name || (kWide.matches && name === 'requests');

function tabOf(name, title) {
  return element(
    'button',
    {type: 'button', role: 'tab', id: 'tab-' + name, 'aria-controls': 'view-' + name, onclick: () => open(name), onkeydown: move},
    title,
    ' ',
    element('span', {class: 'count', id: 'count-' + name}),
  );
}

/** Adds a view with its tab. `fill` makes its content once. */
export function add(name, title, ...content) {
  const tab = tabOf(name, title);
  const panel = element(
    'div',
    {role: 'tabpanel', id: 'view-' + name, class: 'view', 'aria-labelledby': 'tab-' + name},
    ...content,
  );
  views.set(name, {tab, panel});
}

function move({key}) {
  const names = [...views.keys()].filter((name) => !views.get(name).tab.hidden);
  const i = names.indexOf(address.read('tab'));
  const to = {ArrowRight: (i + 1) % names.length, ArrowLeft: i - 1, Home: 0, End: -1}[key];
  if (to === undefined) return;
  open(names.at(to));
  views.get(names.at(to)).tab.focus();
}

export function open(name) {
  if (!views.has(name)) name = 'requests';
  address.write({tab: name});
  put('tab', name);
}

export function openNumber(number) {
  const name = [...views.keys()][number - 1];
  if (!name) return;
  open(name);
  views.get(name).tab.focus();
}

function show() {
  const chosen = address.read('tab');
  for (const [name, {tab, panel}] of views) {
    tab.setAttribute('aria-selected', String(name === chosen));
    tab.tabIndex = name === chosen ? 0 : -1;
    panel.hidden = name !== chosen && !(kWide.matches && name === 'requests');
    panel.classList.toggle('beside', kWide.matches && name === 'requests' && chosen !== 'requests');
  }
  find('#dock').classList.toggle('two', kWide.matches && chosen !== 'requests');
  wantRequests(isOpen('requests') && !known.paused && !document.hidden);
}

export function count(name, text, isBad = false) {
  const place = find('#count-' + name);
  if (!place) return;
  place.textContent = text;
  place.classList.toggle('bad', isBad);
}

export function start() {
  const list = element(
    'div',
    {role: 'tablist', 'aria-label': 'Views'},
    [...views.values()].map(({tab}) => tab),
  );
  find('#dock').append(
    list,
    element(
      'div',
      {class: 'views'},
      [...views.values()].map(({panel}) => panel),
    ),
  );
  kWide.addEventListener('change', () => put('tab', address.read('tab')));
  document.addEventListener('visibilitychange', show);
  follow(['tab', 'paused'], show);
  open(address.read('tab') || 'requests');
}
