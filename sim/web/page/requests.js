import * as dock from './dock.js';
import {button, copyButton, element, find, patch} from './dom.js';
import {showAllButton, showBar} from './request_bar.js';
import {complaint, filter, matcher, passes, setFilter, showOnly} from './request_filter.js';
import {hasFailed, programName, textOf} from './request_line.js';
import * as list from './request_list.js';
import * as store from './request_store.js';
import {follow, isAway, known, put} from './store.js';
import {plural} from './words.js';

// What programs ask of the drivers, and what of it is shown.

let number = 0; // of the last entry
const programs = new Set();

/** The entries from which the filter chooses. */
const candidates = () => store.entriesFor(filter.result);

// ---- which are shown

function countText(seen, total) {
  if (total === 0) return '';
  return seen < total ? `${seen} of ${total}` : String(total);
}

function showState() {
  const wrong = complaint();
  find('#requests-text').classList.toggle('wrong', wrong !== '');
  find('#requests-text').setAttribute('aria-invalid', String(wrong !== ''));
  const total = candidates().length;
  const seen = list.count();
  find('#requests-told').textContent = wrong ? 'not valid' : countText(seen, total);
  find('#requests-wrong').textContent = wrong;
  find('#requests-empty').hidden = seen > 0;
  find('#trace').classList.toggle('none', seen === 0);
  const failed = store.failedCount();
  dock.count('requests', failed ? String(failed) : '', failed ? 'failed' : '', true);
  if (seen > 0) return;
  patch(find('#requests-empty'), total > 0 ? [element('p', {}, 'No line passes the filter.'), showAllButton()] : empty());
}

const onlyFailures = () => button('Only failures', () => setFilter({result: 'failed'}));

/** The text for an empty list: how to get requests, if the board is there. */
function empty() {
  const earlier = store.earlierFailures();
  const kept = earlier > 0 && [
    element('p', {}, `${plural(earlier, 'failure')} of before ${earlier === 1 ? 'is' : 'are'} kept.`),
    onlyFailures(),
  ];
  if (isAway()) return [element('p', {}, 'Nothing is recorded until the board is there again.'), kept];
  const command = `zelsim run --board ${known.board?.board ?? 'lab'} -- zelctl monitor`;
  return [
    element(
      'p',
      {},
      'Nothing has been asked of the drivers since this tab was opened. Start a program on this board, yours or:',
    ),
    element('p', {class: 'command'}, element('code', {}, command), copyButton(command)),
    kept,
  ];
}

/** The entries that pass the filter. */
function passing(entries) {
  const expression = matcher();
  return entries.filter((entry) => passes(entry, expression));
}

const showPassing = () => list.showLines(passing(candidates()));

/** Shows the list and its bar anew. */
function showAnew() {
  showPassing();
  showState();
  show();
}

const kShortly = 3000; // milliseconds: how long ago a line was shown at most, to be shown once more
let shown = {n: 0, at: -kShortly}; // the request that was wanted last, and when it was shown

/** Shows the request that is wanted from the activity, by its number on the server. Its line may not have come yet. */
function showWanted() {
  const entry = known.wanted && store.byNumber(known.wanted);
  if (!entry) return;
  if (list.showLine(entry)) {
    shown = {n: entry.n, at: performance.now()};
    put('wanted', null);
    return;
  }
  showOnly(store.kindOf(entry));
  put('wanted', entry.n); // once more with this filter
}

/** The list is drawn anew when its stream begins. If a wanted line was shown shortly before, it is shown once more. */
function showWantedAgain() {
  if (performance.now() - shown.at < kShortly) put('wanted', shown.n);
}

// ---- which are kept

function missedText({missed, failures}) {
  const count = missed > 0 ? `about ${plural(missed, 'request')}` : 'requests';
  return `… ${count} not shown` + (failures ? '; some of them may have failed' : '');
}

function note(entry) {
  entry.id = ++number;
  if (entry.missed !== undefined) entry.line = missedText(entry);
  entry.failed = hasFailed(entry);
  list.widen('program', programName(entry));
  if (!entry.program || programs.has(entry.program)) return;
  programs.add(entry.program);
  put('programs', programs.size);
}

function take({requests, anew}) {
  if (!find('#requests-text')) show();
  if (anew) {
    store.beginAnew();
    showAnew();
    showWantedAgain();
  }
  if (!requests) return;
  requests.forEach(note);
  if (store.add(requests)) {
    showPassing();
    showWantedAgain();
  } else {
    list.addLines(passing(requests));
  }
  showState();
  showWanted();
}

function download() {
  const text = passing(candidates()).map(textOf).join('\n') + '\n';
  const link = element('a', {
    href: URL.createObjectURL(new Blob([text], {type: 'text/plain'})),
    download: `${known.board?.board ?? 'board'}-requests.txt`,
  });
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 1000);
}

function clear() {
  store.clear();
  showAnew();
}

/** Shows the bar. */
const show = () => showBar(store.entriesFor('failed'), programs, {clear, download});

export function focusFilter() {
  dock.open('requests');
  requestAnimationFrame(() => find('#requests-text').focus());
}

/** Leads from the field of the filter to the lines. @return whether the focus was in the field */
export function leaveFilter() {
  const field = find('#requests-text');
  if (document.activeElement !== field) return false;
  find('#lines').focus({preventScroll: true});
  if (document.activeElement === field) find('#tab-requests').focus(); // no list is shown
  return true;
}

export function start() {
  dock.add(
    'requests',
    'Requests',
    element('div', {id: 'requests-bar', class: 'bar'}),
    list.make(),
    element('div', {id: 'requests-empty', class: 'empty'}),
  );
  follow(['requests', 'anew'], take);
  follow(['programs', 'paused', 'tab', 'filter-open'], show);
  follow(['filter'], showAnew);
  follow(['wanted'], showWanted);
  follow(['acts', 'live', 'gone'], list.showOpened);
  follow(['board', 'live', 'gone'], () => {
    if (find('#requests-text') && list.count() === 0) showState();
  });
}
