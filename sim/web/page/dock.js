import * as address from './address.js';
import {wantRequests} from './connection.js';
import {button, element, find, kNarrow, markPage, patch} from './dom.js';
import {follow, known, put} from './store.js';

// The tabs at the bottom right. On a wide screen the requests and the flash stand beside each other; on a narrow one a tab
// opens a sheet over the whole page.

const views = new Map(); // by name: its tab, its panel
const kWide = matchMedia('(min-width: 1900px)');
let chosen = 'requests'; // the name of the tab
let isSheet = false; // on a narrow screen: the sheet is open

/** The view beside the requests on a wide screen. */
function besideRequests() {
  return chosen === 'requests' ? 'flash' : chosen;
}

export function isOpen(name) {
  if (kNarrow.matches && !isSheet) return false;
  if (kWide.matches) return name === 'requests' || name === besideRequests();
  return chosen === name;
}

function tabOf(name, title) {
  return element(
    'button',
    {
      type: 'button',
      role: 'tab',
      id: 'tab-' + name,
      'aria-controls': 'view-' + name,
      onclick: () => open(name),
      onkeydown: move,
    },
    title,
    ' ',
    element('span', {class: 'count', id: 'count-' + name}),
  );
}

/** Adds a view with its tab. The view shows `content`. */
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
  const names = [...views.keys()];
  const i = names.indexOf(chosen);
  const to = {ArrowRight: (i + 1) % names.length, ArrowLeft: i - 1, Home: 0, End: -1}[key];
  if (to === undefined) return;
  const name = names.at(to); // -1 is the last one
  open(name, false);
  views.get(name).tab.focus();
}

function choose(name, isStep) {
  chosen = views.has(name) ? name : 'requests';
  // A reload shows what is seen now: on a narrow screen without a sheet there is no tab.
  address.write({tab: kNarrow.matches && !isSheet ? '' : chosen}, isStep);
  put('tab', chosen);
}

/** Opens a tab; on a narrow screen its sheet, too.
 *  @param isStep  false where the arrow keys go from tab to tab */
export function open(name, isStep = true) {
  isSheet = true;
  choose(name, isStep);
}

/** Opens the tab of the address. */
function restore() {
  isSheet = Boolean(address.read('tab'));
  choose(address.read('tab'), false);
}

/** Closes the sheet of a narrow screen. @return whether it was open */
export function closeSheet() {
  if (!kNarrow.matches || !isSheet) return false;
  isSheet = false;
  choose(chosen, true);
  views.get(chosen).tab.focus();
  return true;
}

/** Opens a tab by its place among the tabs. Places count from 1. */
export function openNumber(number) {
  const name = [...views.keys()][number - 1];
  if (!name) return;
  open(name);
  views.get(name).tab.focus();
}

function show() {
  for (const [name, {tab, panel}] of views) {
    tab.setAttribute('aria-selected', String(name === chosen && (isSheet || !kNarrow.matches)));
    tab.tabIndex = name === chosen ? 0 : -1;
    panel.hidden = kWide.matches ? !isOpen(name) : name !== chosen;
    panel.classList.toggle('beside', kWide.matches && name === 'requests');
  }
  find('#dock').classList.toggle('two', kWide.matches);
  find('#dock').classList.toggle('sheet', kNarrow.matches && isSheet);
  markPage('sheet-open', kNarrow.matches && isSheet);
  wantRequests(isOpen('requests') && !known.paused && !document.hidden);
}

/** A number on a tab, with words behind it. */
export function count(name, number, words = '', isBad = false) {
  const place = find('#count-' + name);
  if (!place) return;
  // The words need room that a narrow screen has not.
  patch(place, [number, words !== '' && element('span', {class: 'words'}, ' ' + words)]);
  place.classList.toggle('bad', isBad);
}

export function start() {
  const list = element(
    'div',
    {role: 'tablist', 'aria-label': 'Views'},
    [...views.values()].map(({tab}) => tab),
  );
  find('#dock').append(
    element(
      'div',
      {class: 'dock-bar'},
      list,
      button('×', closeSheet, {class: 'quiet close-sheet', 'aria-label': 'Close the sheet'}),
    ),
    element('section', {id: 'sheet-writing', class: 'writing-now', 'aria-label': 'Writing to the flash', hidden: true}),
    element(
      'div',
      {class: 'views'},
      [...views.values()].map(({panel}) => panel),
    ),
  );
  for (const width of [kWide, kNarrow]) width.addEventListener('change', () => choose(chosen, false));
  document.addEventListener('visibilitychange', show);
  follow(['tab', 'paused'], show);
  follow(['visited'], restore);
  restore();
}
