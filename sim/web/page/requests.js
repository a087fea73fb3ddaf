import * as dock from './dock.js';
import {button, copyButton, element, find, patch} from './dom.js';
import {showAllButton, showBar} from './request_bar.js';
import {details} from './request_details.js';
import {clearFilter, matcher, passes} from './request_filter.js';
import {hasFailed, textOf} from './request_line.js';
import {lineOf} from './request_row.js';
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
const programs = new Set();
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

const linesOf = (some, expression = matcher()) => some.map((entry) => lineOf(entry, expression, toggle));

const isAtEnd = () => list.scrollHeight - list.scrollTop - list.clientHeight < 30;
const toEnd = () => (list.scrollTop = list.scrollHeight);

function showNew() {
  const label = waiting > 0 ? `${plural(waiting, 'new line')} ↓` : '';
  const more = find('#requests-new');
  more.hidden = !label;
  more.textContent = label;
}

function showState() {
  const expression = matcher();
  find('#requests-text').classList.toggle('wrong', expression === undefined);
  const total = entries.length;
  const seen = passing.length;
  const told = total === 0 ? '' : seen < total ? `${seen} of ${total}` : String(total);
  find('#requests-told').textContent = told;
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
  list.replaceChildren(...linesOf(passing.slice(-room()), expression));
  opened = null;
  waiting = 0;
  floodSince = null;
  toEnd();
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
  const at = passing.indexOf(entry);
  const end = Math.min(passing.length, at + kMore);
  clearTimeout(drawing);
  list.replaceChildren(...linesOf(passing.slice(Math.max(0, at - kMore), end)));
  waiting = passing.length - end;
  opened = null;
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

function drawFlood() {
  clearTimeout(drawing);
  const now = performance.now();
  floodSince ??= now;
  const pause = Math.min(kMoment, floodSince + kLongest - now);
  drawing = setTimeout(() => {
    floodSince = null;
    if (isAtEnd() && !opened) drawLast();
    else showNew();
  }, pause);
}

// While somebody reads, lines wait at the end.
function add(fresh) {
  const expression = matcher();
  const passed = fresh.filter((entry) => passes(entry, expression));
  const following = isAtEnd() && !opened;
  passing = passing.concat(passed).slice(-kKept);
  waiting = Math.min(waiting + passed.length, passing.length);
  if (following && waiting >= room()) {
    drawFlood();
  } else if (following && waiting > 0) {
    drawLater();
    while (list.children.length > room()) list.firstChild.remove();
    toEnd();
  }
  if (!following) showNew();
  showState();
}

function forget() {
  entries = [];
  passing = [];
  waiting = 0;
  failures.count = 0;
  list.replaceChildren();
}

function note(entry) {
  entry.id = ++number;
  entry.line ??= '… requests were missed';
  entry.failed = hasFailed(entry);
  if (entry.failed) ++failures.count;
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

export function focusFilter() {
  dock.open('requests');
  requestAnimationFrame(() => find('#requests-text').focus());
}

export function start() {
  list = element('ol', {
    id: 'lines',
    tabindex: '0',
    'aria-label': 'Requests to the drivers',
    onscroll: () => {
      if (isAtEnd() && waiting > 0) drawLater();
      else if (!isAtEnd() && list.scrollTop < kNear) drawEarlier();
    },
  });
  dock.add(
    'requests',
    'Requests',
    element('div', {id: 'requests-bar', class: 'bar'}),
    list,
    element('div', {id: 'requests-empty', class: 'empty'}),
    button('', () => drawLast(), {id: 'requests-new', hidden: true}),
  );
  follow(['requests', 'anew'], take);
  follow(['programs', 'paused', 'tab', 'filter-open'], show);
  follow(['filter'], showAll);
  follow(['wanted'], showWanted);
  follow(['board'], () => entries.length === 0 && showState());
}
