import {act, dismiss, forgetRefusal, pendingValue, refusalOf} from './acts.js';
import {ask} from './connection.js';
import {refusal} from './controls.js';
import * as dock from './dock.js';
import {element, find, patch} from './dom.js';
import {asSet, kQuantities} from './optics.js';
import {kindOf, numberOf, selected} from './selection.js';
import {boardIn, cageOf, follow, isAway, known, linkOf, put} from './store.js';

// Every command of zelsim that does something to a board, as a form that begins with what holds.

const kLabels = {
  byte1: 'Second byte',
  node: 'Requests',
  count: 'How often',
  skip: 'Let pass first',
  seed: 'Seed of the chance',
  probability: 'Chance, 0 to 1',
  celsius: 'Temperature in °C',
  milliseconds: 'Time in ms',
  speed: 'Speed in Mb/s',
  name: 'Name of the state',
};
/** A field's name as a label. */
const labelOf = (field) => kLabels[field] ?? field[0].toUpperCase() + field.slice(1).replaceAll('-', ' ').replaceAll('_', ' ');
/** What an optional field means that is left empty. */
const kWithout = {
  fault: 'all',
  result: 'the usual failure',
  count: 'until cleared',
  skip: 'none',
  probability: 'every time',
  seed: '0',
};
const chosen = {}; // what somebody has chosen, by form and field

const supplyState = (number) => {
  const {type, good} = known.board.supplies[number - 1];
  return good || type === 'none' ? type : 'failed';
};

/** The port that a command is most likely meant for: the selected one, else one with a module; for the other end of a cable
 *  one that has a cable. */
function likelyPort(action) {
  const isFor = (port) => action !== 'set link' || linkOf(port);
  const {cages, links} = known.board;
  const chosenPorts = selected().filter((part) => kindOf(part) === 'port');
  const withModule = cages.filter(({module}) => module);
  const ports = [...chosenPorts.map(numberOf), ...[...withModule, ...links, ...cages].map(({port}) => port)];
  return ports.find(isFor) ?? ports[0];
}

/** The slot or supply that is selected, else the first one. */
function likely(kind) {
  const part = selected().find((one) => kindOf(one) === kind && numberOf(one) > 0);
  return part ? String(numberOf(part)) : '1';
}

/** What is set for a quantity of a port's module, whatever it measures just now; nothing for other commands. */
function setOptics(action, port) {
  const quantity = kQuantities.find((one) => one.action === action);
  return quantity && asSet(port)?.[quantity.key];
}

const presence = (flag) => (flag ? 'present' : 'absent');

/** What holds, for a field of a command; those before it may say of what. */
function present(action, field, fields) {
  const {i2c, gpio, settle_ms: settle, flash} = known.board;
  const port = fields.port === '' ? NaN : Number(fields.port ?? likelyPort(action));
  const cage = cageOf(port);
  const link = linkOf(port);
  const fromPort = {
    'set loss-of-signal': cage?.loss_of_signal,
    'set tx-fault': cage?.tx_fault,
    plug: cage?.module,
  };
  if (field === 'port') return String(likelyPort(action));
  if (field === 'slot') return likely('slot');
  if (field === 'supply') return likely('supply');
  if (field === 'speed') return link ? String(link.speed || 'down') : '';
  if (field === 'duplex') return link && !link.full_duplex ? 'half' : 'full';
  const holds = {
    'fit board': boardIn(Number(fields.slot ?? 1)),
    'plug module': fromPort.plug,
    'set supply state': supplyState(Number(fields.supply ?? 1)),
    'set rtc state': presence(i2c.clock_present),
    'set lm75 state': presence(i2c.sensor_present),
    'set busy value': i2c.busy,
    'set reset-key value': gpio.reset_key,
    'set reset-process byte': gpio.reset_process,
    'set io byte': i2c.io[0],
    'set io byte1': i2c.io[1],
    'set loss-of-signal value': fromPort['set loss-of-signal'],
    'set tx-fault value': fromPort['set tx-fault'],
    'set settle milliseconds': settle,
    'set chip-index byte': flash.chip_index,
    'set temperature celsius': i2c.temperature,
    'set clock time': i2c.clock,
    'reset flash': 'false',
  };
  return String(holds[`${action} ${field}`] ?? setOptics(action, port) ?? '');
}

const kSubjects = ['port', 'slot', 'supply'];

/** Somebody has chosen a value. Of another port, slot or supply other values hold: the fields begin with them. */
function choose(action, field, value) {
  if (kSubjects.includes(field)) forget(action);
  chosen[`${action} ${field}`] = value;
  put('forms', value);
}

/** What was chosen in a form is forgotten. */
function forget(action) {
  const {fields} = known.actions.find((one) => one.action === action);
  for (const {field} of fields) delete chosen[`${action} ${field}`];
}

/** What was chosen where something holds is forgotten: nobody wants it any more. What only the form knows stays. */
function goBack(action) {
  const {fields} = known.actions.find((one) => one.action === action);
  const values = {};
  for (const {field} of fields) {
    const holds = present(action, field, values);
    values[field] = chosen[`${action} ${field}`] ?? holds;
    if (holds !== '' && !kSubjects.includes(field)) delete chosen[`${action} ${field}`];
  }
  put('forms', action);
}

/** What the page does less than the shell: it takes no file. */
const kOnPage = {plug: 'Plug a module of the catalogue'};

/** What a command does, as a sentence. One that begins with a unit, such as dBm, stays as it is. */
function sentenceOf({action, what}) {
  const text = kOnPage[action] ?? what;
  return /^[a-z][A-Z]/.test(text) ? text : text[0].toUpperCase() + text.slice(1);
}

/** The values that a field can have; none where it takes any text. */
function choicesOf(field, values) {
  if (field === 'module') return (known.modules ?? []).map(({module}) => module);
  if (field === 'slot') return ['1', '2', '3'];
  if (field === 'supply') return ['1', '2'];
  if (field === 'fault') return known.board.faults.map(({fault}) => String(fault));
  return values;
}

/** The first entry of a list, for no value. Where one is needed it can't be chosen, and stays: a list never changes its
 *  entries when one of them is chosen. */
const withoutOne = (field, optional) =>
  element('option', {value: '', disabled: !optional, hidden: !optional}, optional ? (kWithout[field] ?? '–') : '–');

function inputOf(action, {field, optional, values}, fields) {
  const value = chosen[`${action} ${field}`] ?? present(action, field, fields);
  fields[field] = value;
  const change = ({target}) => choose(action, field, target.value);
  const names = choicesOf(field, values);
  const made =
    names.length > 0
      ? element(
          'select',
          {name: field, value, onchange: change},
          [withoutOne(field, optional), ...names.map((one) => element('option', {value: one, selected: one === value}, one))],
        )
      : element('input', {name: field, value, size: 11, placeholder: kWithout[field] ?? '', onchange: change});
  return element('label', {'data-key': field}, labelOf(field), made);
}

function form(command) {
  const {action, fields} = command;
  const values = {};
  const inputs = fields.map((field) => inputOf(action, field, values));
  const submit = async (event) => {
    event.preventDefault();
    const given = Object.fromEntries([...new FormData(event.target)].filter(([, value]) => value !== ''));
    const control = 'form ' + action;
    dismiss(control);
    if (await act(control, action, given)) forget(action);
    else if (!refusalOf(control)) goBack(action); // the answer to a question was to keep what is there
  };
  return element(
    'form',
    {class: 'command-form', 'data-key': action, onsubmit: submit, oninput: () => forgetRefusal('form ' + action)},
    element('div', {class: 'command-name'}, element('code', {}, action), element('span', {class: 'hint'}, sentenceOf(command))),
    element('div', {class: 'form-fields'}, inputs),
    element(
      'button',
      {
        type: 'submit',
        class: pendingValue('form ' + action) ? 'pending' : '',
        'aria-label': `Do ${action}`,
        disabled: isAway(),
      },
      'Do',
    ),
    refusal('form ' + action),
  );
}

function show() {
  if (!known.actions || !known.board || !dock.isOpen('commands')) return;
  patch(find('#commands'), known.actions.map(form));
}

/** A command line, as an action with its fields; null for one that is none. */
export function parsed(text) {
  const words = text.replace(/^zelsim /, '').split(' ');
  const row = (known.actions ?? [])
    .filter(({action}) => text.replace(/^zelsim /, '').startsWith(action))
    .sort((a, b) => b.action.length - a.action.length)[0];
  if (!row) return null;
  const fields = {};
  const given = words.slice(row.action.split(' ').length);
  const plain = row.fields.filter(({option}) => !option);
  while (given.length > 0) {
    const word = given.shift();
    if (word.startsWith('--')) {
      fields[word.slice(2)] = given.shift();
    } else if (plain.length > 0) {
      fields[plain.shift().field] = word;
    }
  }
  return {action: row.action, fields};
}

export function start() {
  dock.add('commands', 'Commands', element('div', {id: 'commands'}));
  ask('actions').then(({actions}) => put('actions', actions));
  ask('modules').then(({modules}) => put('modules', modules));
  follow(['actions', 'modules', 'board', 'optics_as_set', 'acts', 'forms', 'tab', 'selected', 'live', 'gone'], show);
}
