import {button, element, find, patch} from './dom.js';
import {clearFilter, complaint, countOfChoices, filter, setFilter} from './request_filter.js';
import {parse} from './request_line.js';
import {known, put} from './store.js';

// The bar above the requests: what is looked for, and what is done with the list. Where there is little room the selects of the
// filter are behind a button.

const kMostResults = 12;
let isOpen = false; // whether the selects are shown where they are behind the button

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

/** The results by which can be filtered: not counts of bytes, nor places in the flash. */
function resultsOf(entries) {
  const texts = new Set(entries.map((entry) => parse(entry).resultText));
  return [...texts].filter((text) => text && !/bytes$|^0x/.test(text)).slice(0, kMostResults);
}

const selects = (entries, programs) => [
  selectOf('node', 'Node', [['', 'All nodes'], ['gpio'], ['i2c'], ['flash'], ['other']]),
  selectOf('program', 'Program', [['', 'All programs'], ...[...programs].map((name) => [name])]),
  selectOf('result', 'Result', [
    ['', 'All results'],
    ['failed', 'Only failures'],
    ['fault', 'Struck by a fault'],
    ['changed', 'Answer changed'],
    ...resultsOf(entries).map((text) => ['=' + text, text]),
  ]),
];

/** The field for what is looked for. A complaint about it stands below it, over the list's headings. */
const field = () =>
  element(
    'div',
    {class: 'search', 'data-key': 'search'},
    element('input', {
      id: 'requests-text',
      type: 'search',
      placeholder: 'Find',
      'aria-label': 'Find in requests',
      'aria-describedby': 'requests-wrong',
      value: filter.text,
      'data-key': 'text',
      oninput: ({target}) => setFilter({text: target.value}),
    }),
    element('p', {id: 'requests-wrong', class: 'refusal', role: 'status'}, complaint()),
  );

const expressionButton = () =>
  element(
    'button',
    {
      type: 'button',
      class: 'small',
      'aria-pressed': String(Boolean(filter.regex)),
      'aria-label': 'Regular expression',
      title: 'Regular expression',
      'data-key': 'regex',
      onclick: () => setFilter({regex: filter.regex ? '' : '1'}),
    },
    '.*',
  );

function opener() {
  const chosen = countOfChoices();
  const toggle = () => {
    isOpen = !isOpen;
    put('filter-open', isOpen);
  };
  return button(chosen ? `Filter (${chosen})` : 'Filter', toggle, {
    class: 'small opens-filter',
    'aria-expanded': String(isOpen),
    'aria-controls': 'requests-filter',
    'data-key': 'opener',
  });
}

/** @param entries  whose results the filter offers
 *  @param programs  the names that it offers */
export function showBar(entries, programs, {clear, download}) {
  find('#requests-bar').classList.toggle('open', isOpen);
  patch(find('#requests-bar'), [
    field(),
    expressionButton(),
    opener(),
    element('div', {id: 'requests-filter', 'data-key': 'filter'}, selects(entries, programs)),
    element('span', {id: 'requests-told', class: 'hint', 'data-key': 'told'}, find('#requests-told')?.textContent ?? ''),
    button(known.paused ? 'Go on' : 'Pause', () => put('paused', !known.paused), {
      class: 'small',
      'aria-pressed': String(Boolean(known.paused)),
      'data-key': 'pause',
    }),
    button('Clear', clear, {class: 'small seldom', title: 'Forget these lines', 'data-key': 'clear'}),
    button('Download', download, {class: 'small seldom', title: 'Save what is shown as text', 'data-key': 'download'}),
  ]);
}

export const showAllButton = () => button('Show all', clearFilter);
