import * as address from './address.js';
import {confirm} from './confirm.js';
import {askAt} from './connection.js';
import {button, element, find, markPage, patchList} from './dom.js';
import {writingText} from './loss.js';
import {isAway, known} from './store.js';
import {degrees, flashText, plural} from './words.js';

// All boards at a glance: which one is not well?

const kPrefix = 'board:';
const boards = new Map(); // by name: the summary of a board
let refused = {control: '', text: ''}; // the last refusal, and what was used
let wanted = ''; // the board whose card gets the focus as soon as it is shown
const kByTrouble = '';
const kByName = 'name';
let filter = address.read('find');
let sorted = address.read('sort') === kByName ? kByName : kByTrouble;
let making = false; // on a narrow screen: the form for a new board is open

const kCreate = 'create';
const kLeft = 'board that was looked at'; // a name in the session's storage
const deleteOf = (name) => 'delete ' + name;

function say(control, text) {
  refused = {control, text};
  show();
}

/** Why an act was refused, beside what was used for it. */
function refusalOf(control) {
  if (refused.control !== control || !refused.text) return null;
  return element(
    'p',
    {class: 'refusal', role: 'alert', 'data-key': 'refused'},
    element('span', {}, refused.text),
    button('×', () => say('', ''), {'aria-label': 'Dismiss', class: 'quiet'}),
  );
}

/** Makes or deletes a board. @return whether it was done */
async function manage(control, action, fields) {
  try {
    await askAt('/api/' + action, fields);
  } catch ({message}) {
    say(control, message);
    return false;
  }
  say('', '');
  return true;
}

async function create(event) {
  event.preventDefault();
  const {board, slot1, slot2, slot3} = event.target.elements;
  const name = board.value.trim();
  const slots = [slot1, slot2, slot3].map(({value}) => value).join(',');
  if (!(await manage(kCreate, 'create', {board: name, slots}))) return;
  board.value = '';
  if (!isFound(name)) seek(''); // the new board must be shown
  wanted = name;
  focusWanted();
}

/** The card of the wanted board gets the focus as soon as it is there: Enter opens it. */
function focusWanted() {
  const card = wanted && find(`[data-key="${CSS.escape('board-' + wanted)}"] a`);
  if (!card) return;
  wanted = '';
  card.focus();
}

/** Keeps the name of the board that is looked at, for the rack that is shown after it. */
export function leaveFor(name) {
  try {
    sessionStorage.setItem(kLeft, name);
  } catch {
    // a browser that keeps nothing
  }
}

/** The board that was looked at before the rack; '' if none was. */
function takeLeft() {
  try {
    const name = sessionStorage.getItem(kLeft) ?? '';
    sessionStorage.removeItem(kLeft);
    return name;
  } catch {
    return '';
  }
}

/** Whoever comes back from a board finds its card with the focus. */
function focusLeft() {
  const name = takeLeft();
  const isFocusFree = [document.body, find('#rack-view')].includes(document.activeElement);
  if (!isFocusFree) return;
  wanted = name;
  focusWanted();
  wanted = '';
}

/** How much of a board's flash is in use, in words; the board may be damaged. */
function flashInUse(flash) {
  if (!flash) return 'its flash with all that is in it';
  return flashText(flash.sectors) || 'its flash, which is erased';
}

/** A document of a board; undefined where it cannot be read. */
async function documentOf(name, path) {
  const answer = await fetch(`/api/${path}?board=${encodeURIComponent(name)}`).catch(() => null);
  return answer?.ok ? answer.json() : undefined;
}

function modulesText({cages}) {
  const modules = cages.filter(({module}) => module);
  return modules.length > 0 && `${plural(modules.length, 'module')}: ${plugged(modules)}`;
}

const plugged = (cages) => cages.map(({port, module}) => `${module} in port ${port}`).join(', ');

const statesText = ({states}) =>
  states.length > 0 && `${plural(states.length, 'saved state')}: ${states.map(({state}) => state).join(', ')}`;

/** The question before a board is deleted: what is lost with it, and who writes to it just now. What cannot be read is named as
 *  lost, too. */
async function questionAbout(name) {
  const paths = ['board', 'flash', 'states'];
  const [board, flash, states] = await Promise.all(paths.map((path) => documentOf(name, path)));
  const lost = [
    board ? modulesText(board) : 'its modules',
    flashInUse(flash),
    states ? statesText(states) : 'its saved states',
  ].filter(Boolean);
  return {title: `Delete the board ${name}?`, lost, warning: writingText(flash?.writing), does: 'Delete the board'};
}

async function remove(name) {
  const question = await questionAbout(name);
  const isWanted = await confirm(question);
  if (isWanted) await manage(deleteOf(name), 'delete', {board: name});
}

/** What is wrong with a board, in words: alarms, and what else is not as it should be. */
function troubles(summary) {
  const {failed_supplies: supplies, transmit_faults: transmit, module_alarms: modules, without_light: dark} = summary;
  const alarms = [
    summary.problem,
    summary.alarm && 'alarm LED',
    supplies && plural(supplies, 'failed supply', 'failed supplies'),
    transmit && plural(transmit, 'transmit fault'),
    modules && `${plural(modules, 'module')} in alarm`,
  ];
  const others = [
    summary.module_warnings && `${plural(summary.module_warnings, 'module')} with a warning`,
    dark && `${plural(dark, 'port')} without light`,
    summary.pulled_supplies && plural(summary.pulled_supplies, 'pulled supply', 'pulled supplies'),
    !summary.problem && !summary.sensor_present && 'no sensor',
    !summary.problem && !summary.clock_present && 'no clock chip',
    summary.bus_held && 'held bus',
    summary.faults && plural(summary.faults, 'request fault'),
  ];
  return {alarms: alarms.filter(Boolean), others: others.filter(Boolean)};
}

/** The states of boards, the most urgent first. */
const kStates = {
  unreadable: {rank: 0, className: 'ill'},
  alarm: {rank: 1, className: 'ill'},
  trouble: {rank: 2, className: 'uneasy'},
  well: {rank: 3, className: ''},
};

function stateOf(summary) {
  if (summary.problem) return kStates.unreadable;
  const {alarms, others} = troubles(summary);
  if (alarms.length > 0) return kStates.alarm;
  return others.length > 0 ? kStates.trouble : kStates.well;
}

const kPictureSize = {width: 1454, height: 272}; // of the server's drawing

function frontOf(name, summary) {
  const picture = `/panel.svg?board=${encodeURIComponent(name)}&v=${summary.version}`;
  return summary.problem ? null : element('img', {src: picture, alt: '', loading: 'lazy', ...kPictureSize});
}

/** The card of a board. */
function cardOf([name, summary]) {
  const {alarms, others} = troubles(summary);
  const words = [
    ...alarms.map((one) => element('span', {class: 'ill-word'}, '! ' + one)),
    ...others.map((one) => element('span', {class: 'ill-word other'}, one)),
  ];
  return element(
    'li',
    {'data-key': 'board-' + name, class: stateOf(summary).className},
    element(
      'a',
      {href: `/?board=${encodeURIComponent(name)}`},
      element(
        'span',
        {class: 'rack-name'},
        element('b', {}, name),
        summary.problem
          ? null
          : element(
              'span',
              {class: 'hint'},
              `${plural(summary.modules, 'module')}, ${summary.sensor_present ? degrees(summary.temperature) : '–'}`,
            ),
      ),
      frontOf(name, summary),
      element(
        'span',
        {class: 'ills'},
        words.length > 0 ? words : element('span', {class: 'well'}, '✓ well'),
        element('span', {class: 'opens'}, 'Open ▸'),
      ),
    ),
    button('Delete…', () => remove(name), {
      class: 'small quiet',
      disabled: isAway(),
      'aria-label': `Delete board ${name}`,
    }),
    refusalOf(deleteOf(name)),
  );
}

const slotField = (number) =>
  element(
    'label',
    {},
    `Slot ${number}`,
    element(
      'select',
      {name: 'slot' + number},
      ['sfp', 'copper', 'none'].map((kind) => element('option', {value: kind}, kind === 'none' ? 'no board' : kind)),
    ),
  );

const compareNames = new Intl.Collator('en', {numeric: true}).compare;

const isFound = (name) => name.toLowerCase().includes(filter.toLowerCase());

function seek(text) {
  if (text === filter) return;
  filter = text;
  address.write({find: filter});
  show();
}

/** The boards that the search finds, in the order in which they are shown. */
function shownBoards() {
  const rank = ([, summary]) => (sorted === kByTrouble ? stateOf(summary).rank : 0);
  return [...boards]
    .filter(([name]) => isFound(name))
    .sort((a, b) => rank(a) - rank(b) || compareNames(a[0], b[0]));
}

function health() {
  const ill = [...boards.values()].filter((summary) => stateOf(summary) !== kStates.well).length;
  if (ill > 0) return element('span', {class: 'bad'}, `! ${ill} not well`);
  return element('span', {class: 'good'}, boards.size > 0 ? '✓ all well' : '');
}

const search = () =>
  element('input', {
    type: 'search',
    placeholder: 'Find a board',
    'aria-label': 'Find a board',
    value: filter,
    oninput: ({target}) => seek(target.value),
    onchange: ({target}) => seek(target.value),
  });

const sorting = () =>
  element(
    'select',
    {
      'aria-label': 'Order of the boards',
      class: 'sorting',
      value: sorted,
      onchange: ({target}) => {
        sorted = target.value;
        address.write({sort: sorted});
        show();
      },
    },
    [
      [kByTrouble, 'Trouble first'],
      [kByName, 'By name'],
    ].map(([value, text]) => element('option', {value, selected: sorted === value}, text)),
  );

function toggleMaking() {
  making = !making;
  show();
}

/** Forgets a refusal when something else is typed: it was about the name that had been given. */
function forgetRefusal() {
  if (refused.control === kCreate) say('', '');
}

const form = () =>
  element(
    'form',
    {class: making ? 'row making' : 'row', onsubmit: create, oninput: forgetRefusal},
    element(
      'label',
      {},
      'New board',
      element('input', {name: 'board', required: true, placeholder: 'name', size: 12, autocomplete: 'off'}),
    ),
    slotField(1),
    slotField(2),
    slotField(3),
    element('button', {type: 'submit', class: 'main', disabled: isAway()}, 'Make it'),
    refusalOf(kCreate),
  );

const bar = () =>
  element(
    'div',
    {class: 'rack-bar', 'data-key': 'bar'},
    element('h2', {}, plural(boards.size, 'board')),
    health(),
    search(),
    sorting(),
    button('New board…', toggleMaking, {class: 'opens-making', 'aria-expanded': String(making)}),
    form(),
  );

const none = () =>
  element(
    'p',
    {class: 'empty', 'data-key': 'none'},
    'There is no board yet. Make one above, or in the shell: zelsim create lab --slots sfp,copper,none',
  );

const notFound = () => element('p', {class: 'empty', 'data-key': 'none'}, `No board's name has “${filter}” in it.`);

function show() {
  patchList(
    find('#rack-view'),
    [
      bar(),
      element('ul', {id: 'boards', class: 'rack', tabindex: '-1', 'aria-label': 'Boards'}, shownBoards().map(cardOf)),
      boards.size === 0 && none(),
      boards.size > 0 && shownBoards().length === 0 && notFound(),
    ],
    '#rack-view input',
  );
  focusWanted();
}

/** @return takes the news of all boards, and shows them */
export function start() {
  find('#rack-view').hidden = false;
  markPage('shows-rack', true);
  find('#board-name').textContent = 'all boards';
  document.title = 'zelboard: all boards';
  let isFirst = true;
  return (news) => {
    if (news.anew) boards.clear(); // a server that was started anew does not say which are gone
    for (const [part, summary] of Object.entries(news)) {
      if (!part.startsWith(kPrefix)) continue;
      const name = part.slice(kPrefix.length);
      if (summary === null) boards.delete(name);
      else boards.set(name, summary);
    }
    show();
    if (isFirst && boards.size > 0) {
      isFirst = false;
      focusLeft();
    }
    find('#rack-view').classList.toggle('away', known.live === false);
  };
}
