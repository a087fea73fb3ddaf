import * as dock from './dock.js';
import {button, copyButton, element, find, patch} from './dom.js';
import {goByKeys} from './line_keys.js';
import {showAllButton, showBar} from './request_bar.js';
import {details} from './request_details.js';
import {clearFilter, complaint, matcher, passes} from './request_filter.js';
import {hasFailed, programName, textOf} from './request_line.js';
import {lineOf, resultTold} from './request_row.js';
import {follow, known, put} from './store.js';
import {plural} from './words.js';

// What programs ask of the drivers: a list that is searched.

// Only the lines near those that are seen are taken apart and drawn: that takes time from the programs that are watched.
const kKept = 5000;
const kMore = 100;
const kLineHeight = 24;
// A flood of lines is drawn after a moment without new lines, or at the latest after kLongest.
const kMoment = 300; // milliseconds
const kLongest = 1000;
const kSpare = 8; // lines beyond those that are seen
const kNear = 200; // pixels from the top
let entries = [];
let passing = [];
let list;
let opened = null;
let number = 0;
let waiting = 0; // lines at the end of those that pass, not drawn yet
let floodSince = null; // when the first line came that is not drawn yet
let drawing; // a timer
let follows = true; // the list stays at the newest line until somebody scrolls up
const programs = new Set();
const widths = {program: 0, result: 0}; // of the longest text in a column, in characters
const failures = {count: 0};

/** Opens a line, and closes the one that was open. */
function toggle(entry) {
  const line = list.querySelector(`[data-number="${entry.id}"]`);
  opened = opened === entry ? null : entry;
  for (const open of list.querySelectorAll('.details')) open.remove();
  for (const each of list.querySelectorAll('[aria-expanded="true"]')) each.setAttribute('aria-expanded', 'false');
  if (opened !== entry) return;
  line.firstChild.setAttribute('aria-expanded', 'true');
  line.append(details(entry));
  line.scrollIntoView({block: 'nearest'});
}

function linesOf(some, expression = matcher()) {
  for (const entry of some) widen('result', resultTold(entry));
  return some.map((entry) => lineOf(entry, expression, toggle));
}

const isAtEnd = () => list.scrollHeight - list.scrollTop - list.clientHeight < 30;

function toEnd() {
  follows = true;
  list.scrollTop = list.scrollHeight;
}

/** Whoever reads an opened line, or goes through the lines by the keyboard, keeps what is seen. */
const isFollowing = () => follows && !opened && !list.querySelector('.line:focus-visible');

/** Takes lines out. A focus that would go with them stays at the list. */
function takeOut(change) {
  const held = list.contains(document.activeElement);
  change();
  if (held && !list.contains(document.activeElement)) list.focus({preventScroll: true});
}

function showNew() {
  const label = waiting > 0 ? `${plural(waiting, 'new line')} ↓` : '';
  const more = find('#requests-new');
  more.hidden = !label;
  more.textContent = label;
}

function showState() {
  const expression = matcher();
  find('#requests-text').classList.toggle('wrong', expression === undefined);
  find('#requests-text').setAttribute('aria-invalid', String(expression === undefined));
  const total = entries.length;
  const seen = passing.length;
  const told = total === 0 ? '' : seen < total ? `${seen} of ${total}` : String(total);
  find('#requests-told').textContent = complaint() || told;
  find('#requests-empty').hidden = seen > 0;
  dock.count('requests', failures.count ? `${failures.count} failed` : '', true);
  if (seen > 0) return;
  patch(find('#requests-empty'), total > 0 ? [element('p', {}, 'No line passes the filter.'), showAllButton()] : empty());
}

function empty() {
  const command = `zelsim run --board ${known.board?.board ?? 'lab'} -- zelctl monitor`;
  return [
    element(
      'p',
      {},
      'Nothing has been asked of the drivers since this tab was opened. Start a program on this board, yours or:',
    ),
    element('p', {class: 'command'}, element('code', {}, command), copyButton(command)),
  ];
}

function applyFilter() {
  const expression = matcher();
  if (expression !== undefined) passing = entries.filter((entry) => passes(entry, expression));
  return expression !== undefined;
}

function showAll() {
  if (applyFilter()) drawLast();
  showState();
  show();
}

/** The number of lines that are seen, and some more. */
const room = () => Math.ceil(list.clientHeight / kLineHeight) + kSpare;

function drawLast(expression = matcher()) {
  list.classList.toggle('searched', Boolean(expression));
  takeOut(() => list.replaceChildren(...linesOf(passing.slice(-room()), expression)));
  opened = null;
  waiting = 0;
  floodSince = null;
  toEnd();
  showNew();
}

/** Draws lines from one on; those behind them wait. */
function drawFrom(first) {
  const end = Math.min(passing.length, first + kMore);
  clearTimeout(drawing);
  floodSince = null;
  follows = false;
  opened = null;
  takeOut(() => list.replaceChildren(...linesOf(passing.slice(first, end))));
  waiting = passing.length - end;
  showNew();
}

/** Shows a request that the activity tells of: by its number on the server, which the line may not have reached yet. */
function showWanted() {
  const entry = known.wanted && entries.find(({n}) => n === known.wanted);
  if (!entry) return;
  if (!passing.includes(entry)) {
    clearFilter();
    put('wanted', entry.n); // once more when the filter is gone
    return;
  }
  put('wanted', null);
  drawFrom(Math.max(0, passing.indexOf(entry) - kMore / 2));
  const line = list.querySelector(`[data-number="${entry.id}"] .line`);
  line.click();
  line.scrollIntoView({block: 'center'});
  line.focus();
  showNew();
}

/** Draws earlier lines above those that are there, which stay where they are. */
function drawEarlier() {
  const end = passing.length - waiting - list.children.length;
  if (end <= 0) return;
  const height = list.scrollHeight;
  list.prepend(...linesOf(passing.slice(Math.max(0, end - kMore), end)));
  list.scrollTop += list.scrollHeight - height;
}

function drawLater() {
  const begin = passing.length - waiting;
  const later = passing.slice(begin, begin + kMore);
  list.append(...linesOf(later));
  waiting -= later.length;
  showNew();
}

function dropEarliest() {
  while (list.children.length > room()) list.firstChild.remove();
}

function drawFlood() {
  clearTimeout(drawing);
  const now = performance.now();
  floodSince ??= now;
  const pause = Math.min(kMoment, floodSince + kLongest - now);
  drawing = setTimeout(() => {
    floodSince = null;
    if (isFollowing()) drawLast();
    else showNew();
  }, pause);
}

// While somebody reads, lines wait at the end.
function add(fresh) {
  const expression = matcher();
  const passed = fresh.filter((entry) => passes(entry, expression));
  const following = isFollowing();
  passing = passing.concat(passed).slice(-kKept);
  waiting = Math.min(waiting + passed.length, passing.length);
  if (list.clientHeight === 0) return showState(); // it is drawn when it is seen
  if (following && waiting >= room()) {
    drawFlood();
  } else if (following && waiting > 0) {
    drawLater();
    takeOut(dropEarliest);
    toEnd();
  }
  if (!following) showNew();
  showState();
}

function forget() {
  entries = [];
  passing = [];
  waiting = 0;
  follows = true;
  failures.count = 0;
  list.replaceChildren();
}

/** A column is as wide as its longest text: nothing in it is cut. */
function widen(column, text) {
  if (text.length <= widths[column]) return;
  widths[column] = text.length;
  list.style.setProperty(`--${column}`, `${text.length}ch`);
}

function note(entry) {
  entry.id = ++number;
  entry.line ??= '… requests were missed';
  entry.failed = hasFailed(entry);
  if (entry.failed) ++failures.count;
  widen('program', programName(entry));
  if (!entry.program || programs.has(entry.program)) return;
  programs.add(entry.program);
  put('programs', programs.size);
}

function take({requests, anew}) {
  if (!find('#requests-text')) show();
  if (anew) forget();
  if (!requests) return;
  requests.forEach(note);
  entries = entries.concat(requests).slice(-kKept);
  add(requests);
  showWanted();
}

function download() {
  const expression = matcher();
  const text =
    entries
      .filter((entry) => passes(entry, expression))
      .map(textOf)
      .join('\n') + '\n';
  const link = element('a', {
    href: URL.createObjectURL(new Blob([text], {type: 'text/plain'})),
    download: `${known.board?.board ?? 'board'}-requests.txt`,
  });
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 1000);
}

function clear() {
  entries = [];
  failures.count = 0;
  showAll();
}

const show = () => showBar(entries, programs, {clear, download});

// ---- what moves the list: the pointer, keys, the window

function scrolled() {
  if (list.clientHeight === 0) return;
  follows = isAtEnd();
  if (follows && waiting > 0) drawLater();
  else if (!follows && list.scrollTop < kNear) drawEarlier();
}

function resized() {
  if (list.clientHeight === 0 || !isFollowing()) return;
  if (waiting > 0 || list.children.length < Math.min(room(), passing.length)) drawLast();
  else toEnd();
}

function showNewest() {
  drawLast();
  list.focus({preventScroll: true});
}

/** The place among the drawn lines that a key leads to. Lines that are not drawn yet are drawn. */
function placeOf(key, at) {
  if (key === 'Home') drawFrom(0);
  if (key === 'Home') return 0;
  const isToNewest = key === 'End' || at < 0; // also from the list itself
  if (isToNewest && waiting > 0) drawLast();
  if (isToNewest) return list.children.length - 1;
  const page = Math.max(1, Math.floor(list.clientHeight / kLineHeight) - 1);
  const drawn = list.children.length;
  const to = at + {ArrowUp: -1, ArrowDown: 1, PageUp: -page, PageDown: page}[key];
  if (to >= drawn && waiting > 0) drawLater();
  if (to < 1) drawEarlier();
  const earlier = to < 1 ? list.children.length - drawn : 0;
  return Math.min(Math.max(to + earlier, 0), list.children.length - 1);
}

export function focusFilter() {
  dock.open('requests');
  requestAnimationFrame(() => find('#requests-text').focus());
}

export function start() {
  list = element('ol', {
    id: 'lines',
    tabindex: '0',
    'aria-label': 'Requests to the drivers; arrow keys go through them, Enter opens one',
    onscroll: scrolled,
  });
  goByKeys(list, placeOf);
  new ResizeObserver(resized).observe(list);
  dock.add(
    'requests',
    'Requests',
    element('div', {id: 'requests-bar', class: 'bar'}),
    list,
    element('div', {id: 'requests-empty', class: 'empty'}),
    button('', showNewest, {id: 'requests-new', hidden: true}),
  );
  follow(['requests', 'anew'], take);
  follow(['programs', 'paused', 'tab', 'filter-open'], show);
  follow(['filter'], showAll);
  follow(['wanted'], showWanted);
  follow(['board'], () => entries.length === 0 && showState());
}
