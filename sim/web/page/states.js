import {act, forgetRefusal} from './acts.js';
import {ask} from './connection.js';
import {actButton, refusal} from './controls.js';
import {closeDialog, openDialog} from './dialog.js';
import {button, element, patchList} from './dom.js';
import {follow, isAway, known, put} from './store.js';

// The whole board with its flash, kept under names.

let dialog = null;

async function refresh() {
  const {states} = await ask('states').catch(() => ({states: []}));
  put('states', states);
}

async function save(event) {
  event.preventDefault();
  const state = event.target.elements.state.value.trim();
  if (await act('save', 'save', {state})) await refresh();
}

async function load(state) {
  if (await act('load', 'load', {state})) close();
}

/** A refusal stands where one of load() stands: above the list. */
async function forget(state) {
  if (await act('load', 'forget', {state})) await refresh();
}

function close() {
  if (dialog) closeDialog(dialog);
  dialog = null;
}

function show() {
  if (!dialog) return;
  const states = known.states ?? [];
  patchList(
    dialog,
    [
      element(
        'div',
        {class: 'row'},
        element('h2', {}, 'Saved states'),
        button('×', close, {class: 'quiet', 'aria-label': 'Close'}),
      ),
      element('p', {class: 'hint'}, 'The whole board with its flash, under a name. In the shell: zelsim save and zelsim load.'),
      element(
        'form',
        {class: 'row', onsubmit: save},
        element(
          'label',
          {},
          'Name',
          element('input', {
            name: 'state',
            required: true,
            autofocus: true,
            autocomplete: 'off',
            oninput: () => forgetRefusal('save'),
          }),
        ),
        element('button', {type: 'submit', class: 'main', disabled: isAway()}, 'Save this state'),
        refusal('save'),
      ),
      refusal('load'),
      states.length === 0
        ? element('p', {class: 'empty'}, 'No state has been saved yet.')
        : element(
            'ul',
            {class: 'states'},
            states.map(({state, saved}) =>
              element(
                'li',
                {'data-key': state},
                element('b', {}, state),
                element('span', {class: 'hint'}, saved.replace('T', ' ')),
                actButton('Go back to it…', () => load(state), {class: 'small'}),
                actButton('Forget…', () => forget(state), {class: 'small danger'}),
              ),
            ),
          ),
    ],
    '#states input',
  );
}

export async function open() {
  if (dialog) return close();
  dialog = element('dialog', {
    id: 'states',
    'aria-label': 'Saved states',
    oncancel: (event) => {
      event.preventDefault();
      close();
    },
  });
  show();
  openDialog(dialog);
  await refresh();
  dialog?.querySelector('input')?.focus();
}

export function start() {
  follow(['states', 'acts', 'live', 'gone'], show);
}
