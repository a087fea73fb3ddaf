import {confirm} from './confirm.js';
import {button, element, find, patchList} from './dom.js';
import {known} from './store.js';
import {degrees, plural} from './words.js';

// All boards at a glance: which one is not well?

const kPrefix = 'board:';
const boards = new Map();
let refused = '';
let filter = '';
let sorted = 'ill';
let making = false; // on a narrow screen: the form for a new board is open

async function manage(action, fields) {
  refused = '';
  const answer = await fetch('/api/' + action, {method: 'POST', body: JSON.stringify(fields)}).catch(() => null);
  if (!answer) refused = 'no connection to zelsim serve';
  else if (!answer.ok) refused = (await answer.json()).error;
  show();
  return !refused;
}

async function create(event) {
  event.preventDefault();
  const {board, slot1, slot2, slot3} = event.target.elements;
  const done = await manage('create', {board: board.value, slots: [slot1, slot2, slot3].map(({value}) => value).join(',')});
  if (done) board.value = '';
}

async function remove(name, {modules}) {
  const lost = [
    plural(modules ?? 0, 'module') + ' and all that stands on it',
    'its flash with everything in it',
    'its saved states',
  ];
  if (await confirm({title: `Delete the board ${name}?`, lost, does: 'Delete the board'}))
    await manage('delete', {board: name});
}

function ills(summary) {
  if (summary.problem) return [summary.problem];
  const {
    alarm,
    failed_supplies: supplies,
    transmit_faults: transmit,
    module_alarms: alarms,
    without_light: dark,
    faults,
    sensor_present: sensor,
  } = summary;
  return [
    alarm && 'alarm LED',
    supplies && plural(supplies, 'failed supply', 'failed supplies'),
    transmit && plural(transmit, 'transmit fault'),
    alarms && `${plural(alarms, 'module')} in alarm`,
    dark && `${plural(dark, 'port')} without light`,
    !sensor && 'no sensor',
    faults && plural(faults, 'request fault'),
  ].filter(Boolean);
}

function frontOf(name, summary) {
  const picture = `/panel.svg?board=${encodeURIComponent(name)}&v=${summary.version}`;
  return summary.problem ? null : element('img', {src: picture, alt: '', loading: 'lazy', width: 1454, height: 272});
}

function place([name, summary]) {
  const wrong = ills(summary);
  return element(
    'li',
    {'data-key': 'board-' + name, class: wrong.length ? 'ill' : ''},
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
        wrong.length
          ? wrong.map((one) => element('span', {class: 'ill-word'}, '! ' + one))
          : element('span', {class: 'well'}, '✓ well'),
      ),
    ),
    button('Delete…', () => remove(name, summary), {class: 'small quiet', 'aria-label': `Delete board ${name}`}),
  );
}

const slotOf = (number) =>
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

const isIll = (summary) => ills(summary).length > 0;

/** The boards that the filter lets through, in the order in which they are shown. */
function shownBoards() {
  const rank = ([name, summary]) => (sorted === 'ill' && isIll(summary) ? '0' : '1') + name;
  return [...boards]
    .filter(([name]) => name.toLowerCase().includes(filter.toLowerCase()))
    .sort((a, b) => (rank(a) < rank(b) ? -1 : 1));
}

function health() {
  const ill = [...boards.values()].filter(isIll).length;
  if (ill > 0) return element('span', {class: 'bad'}, `! ${ill} not well`);
  return element('span', {class: 'good'}, boards.size > 0 ? '✓ all well' : '');
}

const search = () =>
  element('input', {
    type: 'search',
    placeholder: 'Find a board',
    'aria-label': 'Find a board',
    oninput: ({target}) => {
      filter = target.value;
      show();
    },
  });

const sorting = () =>
  element(
    'label',
    {class: 'sorting'},
    element('input', {
      type: 'checkbox',
      checked: sorted === 'ill',
      onchange: ({target}) => {
        sorted = target.checked ? 'ill' : 'name';
        show();
      },
    }),
    'those not well first',
  );

function toggleMaking() {
  making = !making;
  show();
}

const form = () =>
  element(
    'form',
    {class: making ? 'row making' : 'row', onsubmit: create},
    element(
      'label',
      {},
      'New board',
      element('input', {name: 'board', required: true, placeholder: 'name', size: 12, autocomplete: 'off'}),
    ),
    slotOf(1),
    slotOf(2),
    slotOf(3),
    element('button', {type: 'submit', class: 'main'}, 'Make it'),
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

function show() {
  patchList(
    find('#rack-view'),
    [
      bar(),
      refused && element('p', {class: 'refusal', role: 'alert', 'data-key': 'refused'}, refused),
      element('ul', {class: 'rack', 'data-key': 'rack'}, shownBoards().map(place)),
      boards.size === 0 && none(),
    ],
    '#rack-view input',
  );
}

export function start() {
  find('#rack-view').hidden = false;
  find('#board-name').textContent = 'all boards';
  document.title = 'zelboard: all boards';
  return (news) => {
    for (const [part, summary] of Object.entries(news)) {
      if (!part.startsWith(kPrefix)) continue;
      const name = part.slice(kPrefix.length);
      if (summary === null) boards.delete(name);
      else boards.set(name, summary);
    }
    show();
    find('#rack-view').classList.toggle('away', known.live === false);
  };
}
