import {button, element, find, patch} from './dom.js';
import {goByKeys} from './line_keys.js';
import {details} from './request_details.js';
import {matcher} from './request_filter.js';
import {lineOf, resultTold} from './request_row.js';
import {plural} from './words.js';

// The list of requests as it is drawn. Only the lines near those that are seen are taken apart and drawn: it takes time that
// the watched programs want.

const kKept = 5000; // entries
const kMore = 100; // lines that are drawn together
const kLineHeight = 24; // pixels
const kAtEnd = 30; // pixels to the end of the list: nearer, it is at its end
// A flood of lines is drawn after a moment without new lines, or at the latest after kLongest.
const kMoment = 300; // milliseconds
const kLongest = 1000;
const kSettled = 150; // from a new size of the window until the opened line is brought into view
const kSpare = 8; // lines beyond those that are seen
const kNear = 200; // pixels from the top: nearer, earlier lines are drawn
let passing = []; // the entries that pass the filter
let list;
let height = 0; // of the list, as the browser has laid it out last; 0 while nobody sees it
let padding = 0; // pixels below the last line
let opened = null; // the entry whose line is opened
let waiting = 0; // lines at the end of those that pass, not drawn yet
let floodSince = null; // when the first line came that is not drawn yet
let drawing; // a timer
let keeping; // a timer
let follows = true; // the list stays at the newest line until somebody scrolls up
const widths = {program: 0, result: 0}; // of the longest text in a column, in characters

/** A column is as wide as its longest text: nothing in it is cut. */
export function widen(column, text) {
  if (text.length <= widths[column]) return;
  widths[column] = text.length;
  list.parentNode.style.setProperty(`--${column}`, `${text.length}ch`);
}

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

/** Draws what the opened line says anew: whether its act was refused, and whether the board is there. */
export function showOpened() {
  const place = list.querySelector('.details');
  if (!opened || !place) return;
  const wasRefused = place.querySelector('.refusal') !== null;
  patch(place, [...details(opened).childNodes]);
  if (!wasRefused) place.querySelector('.refusal')?.scrollIntoView({block: 'nearest'});
}

function linesOf(entries, expression = matcher()) {
  for (const entry of entries) widen('result', resultTold(entry));
  return entries.map((entry) => lineOf(entry, expression, toggle));
}

const isAtEnd = () => list.scrollHeight - list.scrollTop - height < kAtEnd;

/** Pixels from a place in the list to the first line that begins there or below. */
function toNextLine(place) {
  const next = [...list.children].find((line) => line.offsetTop - list.offsetTop >= place);
  return next ? Math.ceil(next.offsetTop - list.offsetTop - place) : 0;
}

/** Goes to the end of the list. If the line at the top would be cut, room below the last line moves it out of view, unless that
 *  takes a row or more. */
function scrollToEnd() {
  if (!follows || height === 0) return;
  const top = list.scrollHeight - padding - height;
  const rest = top > 0 ? toNextLine(top) : 0; // of a line that is cut
  const wanted = rest < kLineHeight ? rest : 0;
  if (wanted !== padding) list.style.paddingBottom = `${wanted}px`;
  padding = wanted;
  list.scrollTop = list.scrollHeight;
}

/** Goes to the newest line when all views are drawn: the browser lays out the page once for all of them. */
function toEnd() {
  follows = true;
  queueMicrotask(scrollToEnd);
}

/** Whether the list goes on to new lines. It stays while somebody reads an opened line, or goes through the lines by the
 *  keyboard. */
const isFollowing = () => follows && !opened && !list.querySelector('.line:focus-visible');

/** Makes a change that takes lines out. If the focus is lost with them, the list gets it. */
function takeOut(change) {
  const held = list.contains(document.activeElement);
  change();
  if (held && !list.contains(document.activeElement)) list.focus({preventScroll: true});
}

function showNew() {
  const count = waiting < kKept ? plural(waiting, 'new line') : `More than ${kKept} new lines`;
  const label = waiting > 0 ? `${count} ↓` : '';
  const more = find('#requests-new');
  more.hidden = !label;
  more.textContent = label;
}

/** The number of lines that are seen, and some more. */
const room = () => Math.ceil(height / kLineHeight) + kSpare;

/** Draws the newest lines. */
function drawLast() {
  const expression = matcher();
  list.classList.toggle('searched', Boolean(expression));
  takeOut(() => list.replaceChildren(...linesOf(passing.slice(-room()), expression)));
  opened = null;
  waiting = 0;
  floodSince = null;
  toEnd();
  showNew();
}

/** Draws some lines, from the one at `first` on. The lines behind them wait. */
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

/** Draws earlier lines above those that are drawn. These stay where they are seen. */
function drawEarlier() {
  const end = passing.length - waiting - list.children.length;
  if (end <= 0) return;
  const contentBefore = list.scrollHeight;
  list.prepend(...linesOf(passing.slice(Math.max(0, end - kMore), end)));
  list.scrollTop += list.scrollHeight - contentBefore;
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

/** Draws the newest lines after a moment without new ones. */
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

// ---- what is shown

/** The number of lines that pass the filter. */
export const count = () => passing.length;

/** Shows other lines than before, from the newest on. */
export function showLines(entries) {
  passing = entries;
  drawLast();
}

/** Adds lines at the end. While somebody reads, they wait there. */
export function addLines(entries) {
  const following = isFollowing();
  passing = passing.concat(entries).slice(-kKept);
  waiting = Math.min(waiting + entries.length, passing.length);
  if (height === 0) return; // they are drawn when the list is seen
  if (following && waiting >= room()) {
    drawFlood();
  } else if (following && waiting > 0) {
    drawLater();
    takeOut(dropEarliest);
    toEnd();
  }
  if (!following) showNew();
}

/** Shows a line, opened. @return false where it does not pass the filter */
export function showLine(entry) {
  if (!passing.includes(entry)) return false;
  drawFrom(Math.max(0, passing.indexOf(entry) - kMore / 2));
  const line = list.querySelector(`[data-number="${entry.id}"] .line`);
  line.click();
  line.scrollIntoView({block: 'center'});
  line.focus();
  return true;
}

// ---- what moves the list: the pointer, keys, the window

function scrolled() {
  if (height === 0) return;
  follows = isAtEnd();
  if (follows && waiting > 0) drawLater();
  else if (!follows && list.scrollTop < kNear) drawEarlier();
}

function resized() {
  height = list.clientHeight;
  if (height === 0 || !isFollowing()) return;
  if (waiting > 0 || list.children.length < Math.min(room(), passing.length)) drawLast();
  else toEnd();
}

/** An opened line stays in view when the window gets another size. */
function keepOpened() {
  if (!opened || height === 0) return;
  list.querySelector(`[data-number="${opened.id}"]`)?.firstChild.scrollIntoView({block: 'nearest'});
}

function showNewest() {
  drawLast();
  list.focus({preventScroll: true});
}

/** The place among the drawn lines that a key leads to. Lines that are not drawn yet are drawn. */
function placeOf(key, at) {
  if (key === 'Home') {
    drawFrom(0);
    return 0;
  }
  const isToNewest = key === 'End' || at < 0; // also from the list itself
  if (isToNewest) {
    if (waiting > 0) drawLast();
    return list.children.length - 1;
  }
  const page = Math.max(1, Math.floor(height / kLineHeight) - 1);
  const drawn = list.children.length;
  const to = at + {ArrowUp: -1, ArrowDown: 1, PageUp: -page, PageDown: page}[key];
  if (to >= drawn && waiting > 0) drawLater();
  if (to < 1) drawEarlier();
  const earlier = to < 1 ? list.children.length - drawn : 0;
  return Math.min(Math.max(to + earlier, 0), list.children.length - 1);
}

/** What stands above the columns. */
const heading = () =>
  element(
    'div',
    {id: 'lines-head', class: 'line', 'aria-hidden': 'true'},
    element('span', {class: 'time'}, 'Time'),
    element('span', {class: 'program'}, 'Program'),
    element('span', {class: 'what'}, element('span', {class: 'node'}, 'Node'), 'Request'),
    element('span', {class: 'took'}, 'Took'),
    element('span', {class: 'result'}, 'Result'),
  );

/** Makes the list and what belongs to it. */
export function make() {
  list = element('ol', {
    id: 'lines',
    tabindex: '0',
    'aria-label': 'Requests to the drivers; arrow keys go through them, Enter opens one',
    onscroll: scrolled,
  });
  goByKeys(list, placeOf);
  new ResizeObserver(resized).observe(list);
  addEventListener('resize', () => {
    clearTimeout(keeping);
    keeping = setTimeout(keepOpened, kSettled);
  });
  return [
    element('div', {id: 'trace'}, heading(), button('', showNewest, {id: 'requests-new', hidden: true}), list),
  ];
}
