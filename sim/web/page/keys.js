import {nextScheme} from './bar.js';
import {cancelDrag, cancelPlacing, closeCatalogue, openCatalogue} from './catalogue.js';
import {closeDialog, openDialog} from './dialog.js';
import * as dock from './dock.js';
import {button, element, find} from './dom.js';
import {firstPart, focusPart, legend} from './panel.js';
import {focusFilter, leaveFilter} from './requests.js';
import {select, selected} from './selection.js';
import * as states from './states.js';
import {isAway, known} from './store.js';
import {undo} from './undo.js';

// The keys of the page, and the help that names them.

/** Acts on the board do nothing while it is gone. */
const whileThere = (does) => () => {
  if (!isAway()) does();
};

/** Keys, with what they do in words and in deed. */
const kKeys = [
  ['p', 'to the front panel', () => focusPart(firstPart())],
  ['i', 'to the inspector', () => find('#inspector').focus()],
  ['/', 'find in the requests', focusFilter],
  ['c', 'catalogue of modules', whileThere(() => openCatalogue())],
  ['u', 'undo the last act', whileThere(() => undo())],
  ['s', 'saved states', whileThere(() => states.open())],
  ['t', 'dark, light or as the system', nextScheme],
  ['?', 'this help', () => openHelp()],
];
const kAnywhere = ['t', '?'];
/** The rack has few keys, and so has a page that has no board yet. */
const keysHere = () => kKeys.filter(([key]) => known.board || kAnywhere.includes(key));
const kOthers = [
  ['1 to 5', 'requests, flash, faults, activity, commands'],
  ['arrow keys', 'from part to part, from sector to sector, from line to line'],
  ['Enter', 'select; plug the chosen module'],
  ['Space', 'select several ports; Shift with arrows or a click selects a range'],
  ['Escape', 'leave the filter of the requests; close what is on top; else select nothing'],
];

const aboutBoard = () => [
  element('h3', {}, 'Signs on the panel'),
  element('div', {class: 'signs'}, legend()),
  element(
    'p',
    {class: 'hint'},
    'Signs stand side by side where more than one holds. A part tells more when the pointer or the focus is on it.',
  ),
  element('h3', {}, 'To see a program notice that light is lost'),
  element(
    'p',
    {},
    'Choose a port with a module, then “Light: cut”. In the requests the line in which a program reads it has a ◆ ' +
      'and says what has changed; the activity line at the bottom names the program and leads there.',
  ),
];

export function openHelp() {
  if (find('#help')) return;
  const close = () => closeDialog(dialog);
  const rows = known.board ? [...kKeys, ...kOthers] : [...keysHere(), ['Escape', 'close what is on top']];
  const ofBoard = known.board ? aboutBoard() : [];
  const dialog = element(
    'dialog',
    {
      id: 'help',
      'aria-label': 'Help and keys',
      oncancel: (event) => {
        event.preventDefault();
        close();
      },
    },
    element('div', {class: 'row'}, element('h2', {}, 'Help'), button('×', close, {class: 'quiet', 'aria-label': 'Close'})),
    ...ofBoard,
    element('h3', {}, 'Keys'),
    element(
      'dl',
      {class: 'keys'},
      rows.map(([key, what]) => element('div', {}, element('dt', {}, element('kbd', {}, key)), element('dd', {}, what))),
    ),
  );
  openDialog(dialog);
}

/** Whether a key belongs to a field or to a dialog. */
function isTaken({target}) {
  const text = target.closest('input:not([type=radio], [type=checkbox], [type=range]), textarea, select');
  return Boolean(text) || Boolean(find('dialog[open]'));
}

function escape(event) {
  if (cancelDrag()) return;
  if (leaveFilter()) return event.preventDefault(); // the browser would empty the field
  if (find('dialog[open]')) return; // it closes itself
  if (dock.closeSheet()) return;
  if (cancelPlacing() || closeCatalogue()) return;
  if (selected().length > 0) select();
}

export function start() {
  document.addEventListener('keydown', (event) => {
    if (event.key === 'Escape') return escape(event);
    if (isTaken(event) || event.ctrlKey || event.metaKey || event.altKey) return;
    const [, , does] = keysHere().find(([key]) => key === event.key) ?? [];
    if (does) {
      event.preventDefault();
      does();
    } else if (known.board && /^[1-5]$/.test(event.key)) {
      dock.openNumber(Number(event.key));
    }
  });
}
