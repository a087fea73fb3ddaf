import {act, forgetRefusal, pendingValue, refuse} from './acts.js';
import {load} from './connection.js';
import {actButton, refusal} from './controls.js';
import * as dock from './dock.js';
import {copyButton, element, find, patch, patchList} from './dom.js';
import {follow, known, put} from './store.js';
import {faultResult, kEffects, kResults, percent, plural} from './words.js';

// Faults: which requests fail, how, and how often they did.

const form = {node: 'i2c', request: '', from: '', to: '', result: '', other: '', count: '1', skip: '', probability: '', seed: ''};

/** Which requests fail: i2c, i2c:BufRead, i2c:BufRead@0x9e, flash:write@0x0-0xffff. */
const kTarget = /^(?<node>\w+)(?::(?<request>\w+))?(?:@(?<from>0x[0-9a-f]+))?(?:-(?<to>0x[0-9a-f]+))?$/i;

function setTarget(target) {
  const {node = 'any', request = '', from = '', to = ''} = target.match(kTarget)?.groups ?? {};
  Object.assign(form, {node, request, from, to});
}

/** Opens the tab with a form that fails the requests of a target, as `zelsim fail` takes it. */
export function openFaults(target = 'i2c:BufRead@0xa0') {
  setTarget(target);
  dock.open('faults');
  put('fault-form', target);
  requestAnimationFrame(() => find('#fault-form select')?.focus());
}

/** Opens the tab with a form that fails the writes to a range of addresses. */
export function openFaultsAt(node, from, to) {
  openFaults(`${node}:write@${from}-${to}`);
}

/** The requests that the form fails, as `zelsim fail` takes them. */
function target() {
  const request = form.request ? ':' + form.request : '';
  const from = form.from ? '@' + form.from : '';
  const to = form.from && form.to ? '-' + form.to : '';
  return `${form.node}${request}${from}${to}`;
}

/** The requests of the chosen node. */
const requestsOfNode = () => (known.callables ?? []).filter(({node}) => form.node === 'any' || node === form.node);
/** Whether the chosen requests may have an address. */
const isAddressed = () => !form.request || requestsOfNode().some(({request, addressed}) => request === form.request && addressed);

/** The handler that keeps what somebody has chosen in a field. */
function keep(name) {
  return ({target: {value}}) => {
    form[name] = value;
    if (name === 'node') form.request = '';
    forgetRefusal('fault-form');
    put('fault-form', value);
  };
}

function pick(name, label, options) {
  return element(
    'label',
    {'data-key': name},
    label,
    element(
      'select',
      {name, value: form[name], onchange: keep(name)},
      options.map(([value, text = value]) => element('option', {value, selected: form[name] === value}, text)),
    ),
  );
}

const input = (name, label, placeholder, size = 11) =>
  element(
    'label',
    {'data-key': name},
    label,
    element('input', {name, value: form[name], placeholder, size, oninput: keep(name), onchange: keep(name)}),
  );

/** The fields of the act. Empty ones are left out. */
function fields() {
  const result = form.result === 'other' ? form.other : form.result;
  const {count, skip, probability} = form;
  const seed = probability ? form.seed : ''; // means nothing without a chance
  const given = {node: target(), result, count, skip, probability, seed};
  return Object.fromEntries(Object.entries(given).filter(([, value]) => value !== ''));
}

const command = () => {
  const {node, ...options} = fields();
  const words = Object.entries(options).map(([name, value]) => ` --${name} ${value}`);
  return `zelsim fail ${node}${words.join('')} --board ${known.board?.board ?? ''}`;
};

/** Whether exactly the next request fails. */
const isNextOne = () => form.count === '1' && !form.probability && !Number(form.skip);

function makeThemFail() {
  const isMissing = form.result === 'other' && form.other === '';
  if (isMissing) refuse('fault-form', 'number: missing', () => form.result + form.other);
  else act('fault-form', 'fail', fields());
}

function showForm() {
  if (!dock.isOpen('faults')) return;
  const names = [...new Set(requestsOfNode().map(({request}) => request))];
  patch(find('#fault-form'), [
    element(
      'div',
      {class: 'form-fields'},
      pick('node', 'Node', [['gpio'], ['i2c'], ['flash'], ['any', 'any node']]),
      pick('request', 'Request', [['', 'every request'], ...names.map((name) => [name])]),
      isAddressed() && input('from', 'Address from', form.node === 'flash' ? '0x01200000' : '0x40'),
      isAddressed() && input('to', 'Address to', 'the same'),
      pick('result', 'Result', [
        ['', 'the usual failure'],
        ...kResults.filter(([value]) => value > 0).map(([value, name, what]) => [String(value), `${name}: ${what}`]),
        ...Object.entries(kEffects).map(([name, what]) => [name, `${name}: ${what}`]),
        ['other', 'another number'],
      ]),
      form.result === 'other' && input('other', 'Number', '0x1234', 8),
      input('skip', 'Let pass first', '0', 5),
      input('count', 'Fail how often', 'until cleared', 9),
      input('probability', 'Chance, 0 to 1', 'every time', 8),
      form.probability && input('seed', 'Seed of the chance', '0', 9),
    ),
    element(
      'div',
      {class: 'row'},
      actButton(isNextOne() ? 'Fail the next one' : 'Make them fail', makeThemFail, {
        class: 'main' + (pendingValue('fault-form') ? ' pending' : ''),
      }),
      element('code', {}, command()),
      copyButton(command),
      refusal('fault-form'),
    ),
  ]);
}

const chanceOf = (probability, seed) =>
  probability !== null && element('small', {class: 'hint chance'}, `by chance: ${percent(probability)}, seed ${seed}`);

function row({fault, target: what, result, skip, count, hits, probability, seed}) {
  const clear = actButton('Clear', () => act('heal' + fault, 'heal', {fault}), {
    class: 'small',
    'aria-label': `Clear fault ${fault}`,
  });
  return element(
    'tr',
    {'data-key': 'fault' + fault},
    element('td', {class: 'number'}, String(fault)),
    element('td', {}, element('code', {}, what), chanceOf(probability, seed)),
    element('td', {}, faultResult(result)),
    element('td', {class: 'pass'}, String(skip)),
    element('td', {}, count === null ? 'until cleared' : plural(count, 'more time')),
    element('td', {class: hits ? 'struck' : '', 'data-unit': hits === 1 ? 'hit' : 'hits'}, String(hits)),
    element('td', {}, clear, refusal('heal' + fault)),
  );
}

const kHeadings = ['Fault', 'Fails', 'Result', 'Let pass', 'Still', 'Hits', 'Act'];

function table(faults) {
  const headings = kHeadings.map((name) => element('th', {scope: 'col'}, name));
  return element('table', {}, element('thead', {}, element('tr', {}, headings)), element('tbody', {}, faults.map(row)));
}

function none() {
  const text = 'Nothing fails. Choose above what shall, or open a line of the requests and choose “Fail the next one”.';
  return element('p', {class: 'empty'}, text);
}

function showCount(faults) {
  const hits = faults.reduce((sum, fault) => sum + fault.hits, 0);
  const struck = hits > 0 ? `· ${plural(hits, 'hit')}` : '';
  dock.count('faults', faults.length > 0 ? String(faults.length) : '', struck, true);
}

function showTable() {
  const faults = known.board?.faults ?? [];
  showCount(faults);
  if (!dock.isOpen('faults')) return;
  const clearAll = () => [actButton('Clear all faults', () => act('heal', 'heal')), refusal('heal')];
  const content = faults.length > 0 ? [table(faults), ...clearAll()] : [none()];
  patchList(find('#fault-table'), content, '#tab-faults');
}

export function start() {
  dock.add('faults', 'Faults', element('div', {id: 'fault-form'}), element('div', {id: 'fault-table'}));
  follow(['anew'], () => {
    if (!known.callables) load('requests', 'callables');
  });
  follow(['callables', 'fault-form', 'acts', 'board', 'tab', 'live', 'gone'], showForm);
  follow(['board', 'acts', 'tab', 'live', 'gone'], showTable);
}
