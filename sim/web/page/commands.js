import {act, dismiss, forgetRefusal, pendingValue, refusalOf, refuse, untilTold} from './acts.js';
import {load} from './connection.js';
import {refusal} from './controls.js';
import * as dock from './dock.js';
import {element, find, patch} from './dom.js';
import {allPorts} from './geometry.js';
import {holding} from './holding.js';
import {cageOf, follow, isAway, known, linkOf, put} from './store.js';

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
/** What an empty optional field means. */
const kWithout = {
  fault: 'all',
  result: 'the usual failure',
  count: 'until cleared',
  skip: 'none',
  probability: 'every time',
  seed: '0',
};
const chosen = {}; // what somebody has chosen, by keyOf()

const kSubjects = ['port', 'slot', 'supply'];
const kept = new Set(); // keys in `chosen` of the ports, slots and supplies whose form is done

const fieldsOf = (action) => known.actions.find((one) => one.action === action).fields;
const keyOf = (action, field) => `${action} ${field}`;

/** Forgets fields that were emptied although they need a value: they show again what holds. */
function forgetEmptied(action) {
  const fields = fieldsOf(action);
  for (const {field, optional} of fields) {
    const key = keyOf(action, field);
    const isEmptied = chosen[key] === '' && !optional;
    if (isEmptied) delete chosen[key];
  }
}

/** Keeps a value that somebody has chosen, also for another port, slot or supply. The other fields show what holds there. */
function choose(action, field, value) {
  if (chosen[keyOf(action, field)] === value) return;
  if (kSubjects.includes(field)) forgetEmptied(action);
  chosen[keyOf(action, field)] = value;
  kept.delete(keyOf(action, field));
  put('forms', value);
}

/** Forgets the values that were sent. What was typed since then stays. The port, slot or supply stays until another part is
 *  selected. */
function forget(action, given) {
  for (const {field} of fieldsOf(action)) {
    const key = keyOf(action, field);
    const isSent = chosen[key] === (given[field] ?? '');
    if (isSent && kSubjects.includes(field)) kept.add(key);
    else if (isSent) delete chosen[key];
  }
  put('forms', action);
}

function forgetKept() {
  for (const key of kept) delete chosen[key];
  kept.clear();
}

/** Somebody has decided against an act: its fields show again what holds on the board. Fields that show nothing of the board
 *  keep their values. */
function goBack(action) {
  const fields = fieldsOf(action);
  const values = valuesOf(action, fields);
  for (const {field} of fields) {
    const isHolding = holding(action, field, values) !== '';
    if (isHolding && !kSubjects.includes(field)) delete chosen[keyOf(action, field)];
  }
  put('forms', action);
}

/** Descriptions of commands that do less on the page than in the shell: it takes no file. */
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

/** The first entry of a list: no value. Where a value is needed this entry is hidden and can't be chosen, but it stays: a list
 *  must not change its entries while one of them is chosen. */
function emptyOption(field, optional) {
  const meaning = optional ? kWithout[field] : undefined;
  return element('option', {value: '', disabled: !optional, hidden: !optional}, meaning ?? '–');
}

/** The values that a form shows, by field: what somebody has chosen, else what holds. */
function valuesOf(action, fields) {
  const values = {};
  for (const {field} of fields) values[field] = chosen[keyOf(action, field)] ?? holding(action, field, values);
  return values;
}

function inputOf(action, {field, optional, values}, value) {
  const oninput = ({target}) => choose(action, field, target.value);
  const onchange = oninput; // some scripts send only this event
  const label = (input) => element('label', {'data-key': field}, labelOf(field), input);
  const choices = choicesOf(field, values);
  if (choices.length === 0) {
    return label(element('input', {name: field, value, size: 11, placeholder: kWithout[field] ?? '', oninput, onchange}));
  }
  const options = choices.map((one) => element('option', {value: one, selected: one === value}, one));
  return label(element('select', {name: field, value, oninput, onchange}, [emptyOption(field, optional), ...options]));
}

const kAlwaysActs = ['reset'];
const kAlready = 'It is so already: change a value first.';

/** True if a form shows what holds, and nobody has chosen anything in it but its port, slot or supply. */
function isUntouched({action, fields}) {
  if (kAlwaysActs.includes(action)) return false;
  const values = valuesOf(action, fields);
  const others = fields.filter(({field}) => !kSubjects.includes(field));
  const isChosen = ({field}) => chosen[keyOf(action, field)] !== undefined;
  if (others.some(isChosen)) return false;
  const holds = ({field}) => holding(action, field, values) !== '';
  return others.some(holds) && others.every((field) => field.optional || holds(field));
}

/** By command: what finds the thing that a port must have for it, and the thing's name. */
const kNeeded = {
  plug: [cageOf, 'cage'],
  'set loss-of-signal': [cageOf, 'cage'],
  'set tx-fault': [cageOf, 'cage'],
  'set link': [linkOf, 'copper link'],
};
const kOfModule = [(port) => cageOf(port)?.module, 'module'];

/** Why a form is not sent: it changes nothing, or a field is empty because the port has nothing to set; '' if it is sent. */
function whyNot(command, given) {
  const {action, fields} = command;
  if (isUntouched(command)) return kAlready;
  const port = Number(given.port || NaN);
  const isMissing = ({field, optional}) => !optional && !given[field];
  if (!allPorts().includes(port) || !fields.some(isMissing)) return '';
  const [found, name] = kNeeded[action] ?? kOfModule;
  return found(port) ? '' : `port: ${port} has no ${name}`;
}

const controlOf = (action) => 'form ' + action;

async function submit(command, event) {
  event.preventDefault();
  const {action, fields} = command;
  const control = controlOf(action);
  const given = Object.fromEntries([...new FormData(event.target)].filter(([, value]) => value !== ''));
  document.activeElement.select?.(); // what is typed next replaces it
  dismiss(control);
  const why = whyNot(command, given);
  if (why) return refuse(control, why, () => whyNot(command, valuesOf(action, fields)));
  const {selected} = known;
  if (await act(control, action, given)) {
    await untilTold(known.expectedAct ?? 0);
    forget(action, given);
    if (known.selected !== selected) forgetKept(); // another part was selected meanwhile
  } else if (!refusalOf(control)) {
    goBack(action); // somebody has answered a question with Keep
  }
}

function form(command) {
  const {action, fields} = command;
  const shown = valuesOf(action, fields);
  const inputs = fields.map((field) => inputOf(action, field, shown[field.field]));
  const control = controlOf(action);
  const untouched = isUntouched(command);
  return element(
    'form',
    {
      class: 'command-form',
      'data-key': action,
      onsubmit: (event) => submit(command, event),
      oninput: () => forgetRefusal(control),
      onchange: () => forgetRefusal(control),
    },
    element('div', {class: 'command-name'}, element('code', {}, action), element('span', {class: 'hint'}, sentenceOf(command))),
    element('div', {class: 'form-fields'}, inputs),
    element(
      'button',
      {
        type: 'submit',
        class: pendingValue(control) ? 'pending' : '',
        'aria-label': `Do ${action}`,
        'aria-disabled': untouched && 'true',
        title: untouched ? kAlready : '',
        disabled: isAway(),
      },
      'Do',
    ),
    refusal(control),
  );
}

const drawnOf = {}; // what each form was drawn of, by action

/** A command's form. The one on the page stays if nothing that it shows has changed: there are many, and a board changes often. */
function formNow(command) {
  const {action, fields} = command;
  const control = controlOf(action);
  const choices = fields.map(({field, values}) => choicesOf(field, values));
  const states = [isUntouched(command), pendingValue(control), refusalOf(control), isAway()];
  const shown = JSON.stringify([valuesOf(action, fields), choices, states]);
  if (drawnOf[action] === shown) return find(`#commands > [data-key="${action}"]`);
  drawnOf[action] = shown;
  return form(command);
}

function show() {
  if (!known.actions || !known.board || !dock.isOpen('commands')) return;
  patch(find('#commands'), known.actions.map(formNow));
}

/** A command line, as an action with its fields; null for an unknown command. */
export function parsed(text) {
  const line = text.replace(/^zelsim /, '');
  const rows = (known.actions ?? []).filter(({action}) => line.startsWith(action));
  const [row] = rows.sort((one, other) => other.action.length - one.action.length);
  if (!row) return null;
  const fields = {};
  const given = line.split(' ').slice(row.action.split(' ').length);
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
  follow(['anew'], () => {
    if (!known.actions) load('actions', 'actions');
    if (!known.modules) load('modules', 'modules');
  });
  follow(['selected'], forgetKept);
  follow(['actions', 'modules', 'board', 'optics_as_set', 'acts', 'forms', 'tab', 'selected', 'live', 'gone'], show);
}
