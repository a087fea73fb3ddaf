import {act, dismiss, forgetRefusal, pendingValue, refusalOf} from './acts.js';
import {ask} from './connection.js';
import {refusal} from './controls.js';
import * as dock from './dock.js';
import {element, find, patch} from './dom.js';
import {holding} from './holding.js';
import {follow, isAway, known, put} from './store.js';

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

const kSubjects = ['port', 'slot', 'supply'];

/** Fields that were emptied and need a value follow again what holds. */
function forgetEmptied(action) {
  const {fields} = known.actions.find((one) => one.action === action);
  for (const {field, optional} of fields) {
    const isEmptied = chosen[`${action} ${field}`] === '' && !optional;
    if (isEmptied) delete chosen[`${action} ${field}`];
  }
}

/** Somebody has chosen a value. It stays, also for another port, slot or supply; the other fields follow what holds there. */
function choose(action, field, value) {
  if (kSubjects.includes(field)) forgetEmptied(action);
  chosen[`${action} ${field}`] = value;
  put('forms', value);
}

/** What was given is done, and forgotten. What was typed since then stays. */
function forget(action, given) {
  for (const {field} of known.actions.find((one) => one.action === action).fields) {
    const isDone = chosen[`${action} ${field}`] === (given[field] ?? '');
    if (isDone) delete chosen[`${action} ${field}`];
  }
}

/** What was chosen where something holds is forgotten: nobody wants it any more. What only the form knows stays. */
function goBack(action) {
  const {fields} = known.actions.find((one) => one.action === action);
  const values = valuesOf(action, fields);
  for (const {field} of fields) {
    const isHolding = holding(action, field, values) !== '';
    if (isHolding && !kSubjects.includes(field)) delete chosen[`${action} ${field}`];
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

/** The values that a form shows, by field: what somebody has chosen, else what holds. */
function valuesOf(action, fields) {
  const values = {};
  for (const {field} of fields) values[field] = chosen[`${action} ${field}`] ?? holding(action, field, values);
  return values;
}

function inputOf(action, {field, optional, values}, value) {
  const oninput = ({target}) => choose(action, field, target.value);
  const names = choicesOf(field, values);
  const made =
    names.length > 0
      ? element(
          'select',
          {name: field, value, oninput},
          [withoutOne(field, optional), ...names.map((one) => element('option', {value: one, selected: one === value}, one))],
        )
      : element('input', {name: field, value, size: 11, placeholder: kWithout[field] ?? '', oninput});
  return element('label', {'data-key': field}, labelOf(field), made);
}

function form(command) {
  const {action, fields} = command;
  const shown = valuesOf(action, fields);
  const inputs = fields.map((field) => inputOf(action, field, shown[field.field]));
  const submit = async (event) => {
    event.preventDefault();
    const given = Object.fromEntries([...new FormData(event.target)].filter(([, value]) => value !== ''));
    const control = 'form ' + action;
    dismiss(control);
    if (await act(control, action, given)) forget(action, given);
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
