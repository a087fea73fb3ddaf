import {act} from './acts.js';
import {openCatalogue} from './catalogue.js';
import {actButton, doing, facts, refusal} from './controls.js';
import {copyButton, element} from './dom.js';
import {known} from './store.js';
import {troubleList} from './troubles.js';

// The board as a whole: shown when nothing on it is selected.

export function boardControls() {
  const {board} = known;
  const name = board.board;
  const modules = board.cages.filter(({module}) => module).length;
  const run = `zelsim run --board ${name} -- ./yours`;
  return [
    element('h2', {}, `Board ${name}`),
    troubleList(),
    element(
      'p',
      {class: 'hint'},
      'Choose a port, a slot, a supply or an LED on the front panel, or a reading, to see and change it.',
    ),
    facts([['Modules', modules ? String(modules) : 'none']]),
    facts([['Folder', board.folder]]),
    element(
      'div',
      {class: 'row', 'data-key': 'all'},
      modules === 0 && actButton('Plug a module…', () => openCatalogue(), {class: 'main'}),
      board.faults.length > 0 && doing('heal', 'Clear all faults', 'heal'),
    ),
    element('p', {class: 'hint'}, 'Start a program on it:'),
    element('p', {class: 'command'}, element('code', {}, run), copyButton(run)),
    element(
      'div',
      {class: 'apart', 'data-key': 'apart'},
      element('h3', {}, 'What cannot be undone'),
      element(
        'div',
        {class: 'row'},
        actButton('Reset the board…', () => act('reset', 'reset'), {class: 'danger'}),
        actButton('Erase the flash…', () => act('erase', 'flash erase'), {class: 'danger'}),
        actButton('Reset both…', () => act('reset', 'reset', {flash: true}), {class: 'danger'}),
        refusal('reset'),
        refusal('erase'),
      ),
    ),
  ];
}
