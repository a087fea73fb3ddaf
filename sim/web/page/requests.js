import * as address from './address.js';
import {act} from './acts.js';
import {refusal} from './controls.js';
import * as dock from './dock.js';
import {button, copyButton, element, find, patch} from './dom.js';
import {openFaults, targetFor} from './faults.js';
import {hexRows} from './hex.js';
import {bytesOf, chipName, fieldsOf, hasFailed, parse, partOf, targetOf} from './request_line.js';
import {describe, select} from './selection.js';
import {follow, known, put} from './store.js';
import {duration, hex, plural, timeOfDay} from './words.js';

// What programs ask of the drivers: a list that is searched.

// Only the lines near those that are seen are taken apart and drawn: that takes time from the programs that are watched.
const kKept = 5000;
const kMore = 100;
const kLineHeight = 24;
// Where more lines come than are seen they are drawn when no more have come for a moment, and at last after so long.
const kMoment = 300; // milliseconds
const kLongest = 1000;
const kSpare = 8; // lines above those that are seen, for a scroll bar
const kNear = 200; // lines; the last one pixels
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

// ---- filter

const kFields = ['node', 'program', 'result', 'text', 'regex'];
const filter = Object.fromEntries(kFields.map((name) => [name, address.read(name)]));

function matcher() {
  if (!filter.text) return null;
  try {
    const source = filter.regex ? filter.text : filter.text.replace(/[.*+?^${}()|[\]\\]/g, '\\$&');
    return new RegExp(source, 'gi');
  } catch {
    return undefined; // no regular expression yet
  }
}

function searched(entry) {
  const {node, name, rest, resultText} = parse(entry);
  const {reads = '', changed = ''} = entry;
  return `${programName(entry)} ${node} ${name} ${changed} ${rest} ${reads} ${resultText}`;
}
const programName = ({program, pid}) => (program ? `${program}[${pid}]` : '');

function passes(entry, expression) {
  if (filter.node && parse(entry).node !== filter.node) return false;
  if (filter.program && entry.program !== filter.program) return false;
  if (filter.result === 'failed' && !entry.failed) return false;
  if (filter.result === 'fault' && !entry.fault) return false;
  if (filter.result === 'changed' && !entry.changed) return false;
  if (filter.result.startsWith('=') && parse(entry).resultText !== filter.result.slice(1)) return false;
  if (expression) {
    expression.lastIndex = 0;
    return expression.test(searched(entry));
  }
  return true;
}

function setFilter(changes) {
  Object.assign(filter, changes);
  address.write(changes);
  showAll();
}

/** Text in which what is looked for is marked. */
function marked(text, expression) {
  if (!expression) return [text];
  const pieces = [];
  let at = 0;
  expression.lastIndex = 0;
  for (const match of text.matchAll(expression)) {
    if (match[0] === '') break;
    pieces.push(text.slice(at, match.index), element('mark', {}, match[0]));
    at = match.index + match[0].length;
  }
  return [...pieces, text.slice(at)];
}

// ---- lines

function details(entry) {
  parse(entry);
  const part = partOf(entry);
  const target = targetOf(entry);
  const fields = fieldsOf(entry);
  const digits = bytesOf(entry);
  const control = 'fail-next';
  return element(
    'div',
    {class: 'details'},
    element('code', {}, entry.line),
    entry.reads && element('p', {}, element('b', {}, `Reads ${entry.reads}`), entry.values ? `: ${entry.values}` : ''),
    entry.changed && element('p', {}, element('b', {class: 'fresh'}, entry.changed), ` since ${entry.program} read it before`),
    element(
      'div',
      {class: 'row'},
      part && button(describe(part).split(':')[0], () => select(part), {class: 'small', title: 'Select it'}),
      entry.node !== 'other' &&
        button('Fail the next one', () => act(control, 'fail', {node: targetFor(target), count: '1'}), {class: 'small'}),
      entry.node !== 'other' && button('Make it fail…', () => openFaults(null, target), {class: 'small'}),
      button('Only these', () => setFilter({node: entry.node === 'other' ? '' : entry.node, text: entry.name, regex: ''}), {
        class: 'small',
      }),
      copyButton(textOf(entry), 'Copy line'),
      refusal(control),
    ),
    element(
      'p',
      {class: 'hint'},
      [
        entry.node !== 'other' && entry.number !== undefined ? `${entry.node} request ${hex(entry.number, 2)}` : entry.node,
        chipName(entry.address),
        entry.fault ? `answered by fault ${entry.fault}` : '',
        entry.us !== undefined ? `took ${duration(entry.us)}` : '',
      ]
        .filter(Boolean)
        .join(' · '),
    ),
    fields.length > 0 &&
      element(
        'table',
        {class: 'fields'},
        element(
          'thead',
          {},
          element(
            'tr',
            {},
            ['Field', 'Asked', 'Answered'].map((name) => element('th', {scope: 'col'}, name)),
          ),
        ),
        element(
          'tbody',
          {},
          fields.map(([name, asked, answered]) =>
            element('tr', {}, element('th', {scope: 'row'}, name), element('td', {}, asked), element('td', {}, answered)),
          ),
        ),
      ),
    digits && hexRows(digits, 0, 2),
    !digits && entry.before && hexRows(entry.before, 0, 2),
  );
}

/** What is said when the pointer rests on a line. */
function titleOf({name, rest, program, reads, values, changed}) {
  const lines = [`${name} ${rest}`];
  if (reads) lines.push(`Reads ${reads}${values ? `: ${values}` : ''}`);
  if (changed) lines.push(`Changed since ${program} read it before: ${changed}`);
  return lines.join('\n');
}

/** True where the fields of a request say what it reads; an address does not. */
const hasNames = ({rest}) => rest.startsWith('{') && !rest.startsWith('{address');

function classOf({node, failed, fault, changed}) {
  return [node, failed && 'failed', fault && 'struck', changed && 'changed'].filter(Boolean).join(' ');
}

function lineOf(entry, expression) {
  parse(entry);
  const text = (value) => marked(value, expression);
  const toggle = () => {
    const line = list.querySelector(`[data-number="${entry.id}"]`);
    opened = opened === entry ? null : entry;
    for (const open of list.querySelectorAll('.details')) open.remove();
    for (const each of list.querySelectorAll('[aria-expanded="true"]')) each.setAttribute('aria-expanded', 'false');
    if (opened !== entry) return;
    line.firstChild.setAttribute('aria-expanded', 'true');
    line.append(details(entry));
    line.scrollIntoView({block: 'nearest'});
  };
  return element(
    'li',
    {class: classOf(entry), 'data-number': entry.id},
    element(
      'button',
      {type: 'button', class: 'line', 'aria-expanded': 'false', onclick: toggle},
      element('span', {class: 'time'}, entry.at ? timeOfDay(entry.at) : ''),
      element('span', {class: 'program'}, text(programName(entry))),
      element('span', {class: 'node'}, text(entry.node)),
      element(
        'span',
        {class: 'what', title: titleOf(entry)},
        element('b', {}, text(entry.name)),
        ' ',
        entry.changed && [element('b', {class: 'fresh'}, text(entry.changed)), ' '],
        entry.reads && !hasNames(entry) && [element('i', {class: 'reads'}, text(entry.reads)), ' '],
        text(entry.rest),
      ),
      element('span', {class: 'took'}, entry.us === undefined ? '' : duration(entry.us)),
      element('span', {class: 'result'}, entry.fault ? '⚑ ' : entry.failed ? '! ' : '', text(entry.resultText)),
    ),
  );
}

const follows = () => list.scrollHeight - list.scrollTop - list.clientHeight < 30;
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
  patch(
    find('#requests-empty'),
    total > 0
      ? [
          element('p', {}, 'No line passes the filter.'),
          button('Show all', () => {
            setFilter({node: '', program: '', result: '', text: '', regex: ''});
            show();
          }),
        ]
      : empty(),
  );
}

function empty() {
  const command = `zelsim run --board ${known.board?.board ?? 'lab'} -- ./yours`;
  return [
    element('p', {}, 'Nothing has been asked of the drivers since this tab was opened. Start a program on this board:'),
    element('p', {class: 'command'}, element('code', {}, command), copyButton(command)),
  ];
}

function showAll() {
  const expression = matcher();
  if (expression === undefined) return showState();
  passing = entries.filter((entry) => passes(entry, expression));
  drawLast(expression);
  showState();
  show();
}

/** The number of lines that are seen, and some more. */
const room = () => Math.ceil(list.clientHeight / kLineHeight) + kSpare;

function drawLast(expression = matcher()) {
  list.classList.toggle('searched', Boolean(expression));
  list.replaceChildren(...passing.slice(-room()).map((entry) => lineOf(entry, expression)));
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
  put('wanted', null);
  if (!passing.includes(entry)) setFilter({node: '', program: '', result: '', text: '', regex: ''});
  const at = passing.indexOf(entry);
  const end = Math.min(passing.length, at + kMore);
  clearTimeout(drawing);
  list.replaceChildren(...passing.slice(Math.max(0, at - kMore), end).map((one) => lineOf(one, matcher())));
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
  const expression = matcher();
  list.prepend(...passing.slice(Math.max(0, end - kMore), end).map((entry) => lineOf(entry, expression)));
  list.scrollTop += list.scrollHeight - height;
}

function drawLater() {
  const begin = passing.length - waiting;
  const expression = matcher();
  const later = passing.slice(begin, begin + kMore);
  list.append(...later.map((entry) => lineOf(entry, expression)));
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
    if (follows() && !opened) drawLast();
    else showNew();
  }, pause);
}

// While somebody reads, lines wait at the end.
function add(fresh) {
  const expression = matcher();
  const passed = fresh.filter((entry) => passes(entry, expression));
  const following = follows() && !opened;
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

const textOf = (entry) =>
  [
    entry.at ? timeOfDay(entry.at) : '',
    programName(entry),
    entry.line,
    parse(entry).resultText && '= ' + entry.resultText,
    entry.us === undefined ? '' : `(${duration(entry.us)})`,
  ]
    .filter(Boolean)
    .join(' ');

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

// ---- the bar above

function selectOf(name, label, options) {
  return element(
    'select',
    {
      'aria-label': label,
      value: filter[name],
      'data-key': 'filter-' + name,
      onchange: ({target}) => setFilter({[name]: target.value}),
    },
    options.map(([value, text = value]) => element('option', {value, selected: filter[name] === value}, text)),
  );
}

function bar() {
  const results = [...new Set(entries.map((entry) => parse(entry).resultText))]
    .filter((text) => text && !/bytes$|^0x/.test(text))
    .slice(0, 12);
  return [
    selectOf('node', 'Node', [['', 'All nodes'], ['gpio'], ['i2c'], ['flash'], ['other']]),
    selectOf('program', 'Program', [['', 'All programs'], ...[...programs].map((name) => [name])]),
    selectOf('result', 'Result', [
      ['', 'All results'],
      ['failed', 'Only failures'],
      ['fault', 'Struck by a fault'],
      ['changed', 'Answer changed'],
      ...results.map((text) => ['=' + text, text]),
    ]),
    element('input', {
      id: 'requests-text',
      type: 'search',
      placeholder: 'Find',
      'aria-label': 'Find in requests',
      value: filter.text,
      'data-key': 'text',
      oninput: ({target}) => setFilter({text: target.value}),
    }),
    element(
      'button',
      {
        type: 'button',
        class: 'small',
        'aria-pressed': String(Boolean(filter.regex)),
        title: 'Regular expression',
        'data-key': 'regex',
        onclick: () => setFilter({regex: filter.regex ? '' : '1'}),
      },
      '.*',
    ),
    element('span', {id: 'requests-told', class: 'hint', 'data-key': 'told'}, find('#requests-told')?.textContent ?? ''),
    button(known.paused ? 'Go on' : 'Pause', () => put('paused', !known.paused), {
      class: 'small',
      'aria-pressed': String(Boolean(known.paused)),
      'data-key': 'pause',
    }),
    button(
      'Clear',
      () => {
        entries = [];
        failures.count = 0;
        showAll();
      },
      {class: 'small', 'data-key': 'clear'},
    ),
    button('Download', download, {class: 'small', 'data-key': 'download'}),
  ];
}

function show() {
  patch(find('#requests-bar'), bar());
}

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
      if (follows() && waiting > 0) drawLater();
      else if (!follows() && list.scrollTop < kNear) drawEarlier();
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
  follow(['programs', 'paused', 'tab'], show);
  follow(['wanted'], showWanted);
  follow(['board'], () => entries.length === 0 && showState());
}
