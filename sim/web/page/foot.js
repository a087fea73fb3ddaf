import {refusal} from './controls.js';
import * as dock from './dock.js';
import {button, element, find, patch, patchList} from './dom.js';
import {hold} from './hold.js';
import * as log from './log.js';
import {requestButton} from './noticed.js';
import {follow} from './store.js';
import {undoButton} from './undo.js';
import {isAct} from './undoing.js';
import {timeOfDay} from './words.js';

// The line at the bottom: the last change. Where a program has noticed something since the last act, both stand there.

const held = hold('#foot .foot-entry button:is(:hover, :focus-visible)', show);

function footOf(entry) {
  const way = log.wayOf(entry);
  const offersUndo = way && (!way.undone || held.isInUse());
  return element(
    'span',
    {class: 'foot-entry'},
    element('span', {class: 'time'}, timeOfDay(entry.at, false)),
    element('b', {}, entry.who),
    element('span', {class: 'told'}, entry.name ?? entry.text),
    offersUndo && undoButton(entry, 'undo', {title: 'Undo (u)'}),
    requestButton(entry),
  );
}

function show() {
  const lines = log.all().filter(held.shows);
  const last = lines.at(-1);
  if (!last) {
    const text = 'Nothing has been changed since the page was opened.';
    return patch(find('#foot'), [element('span', {class: 'told'}, text)]);
  }
  const actBefore = last.request ? lines.findLast(isAct) : null;
  patchList(
    find('#foot'),
    [
      actBefore && footOf(actBefore),
      footOf(last),
      refusal('undo'),
      button('All activity', () => dock.open('activity'), {class: 'small quiet'}),
    ],
    '#foot > button:last-child',
  );
}

/** Sheets of a narrow page end above this line. */
function tellHeight() {
  document.documentElement.style.setProperty('--foot-height', `${find('#foot').offsetHeight}px`);
}

export function start() {
  new ResizeObserver(tellHeight).observe(find('#foot'));
  log.addHold(held);
  follow(['activity', 'anew', 'actions', 'log', 'acts', 'live', 'gone'], show);
}
