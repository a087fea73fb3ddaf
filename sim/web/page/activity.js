import {pendingValue, refusalOf} from './acts.js';
import {refusal} from './controls.js';
import * as dock from './dock.js';
import {button, copyButton, element, find, patchList} from './dom.js';
import {hold} from './hold.js';
import * as log from './log.js';
import {requestButton} from './noticed.js';
import {follow, isAway, known} from './store.js';
import {undoButton} from './undo.js';
import {commandsOf, isAct, isBarrier} from './undoing.js';
import {timeOfDay} from './words.js';

// Every change of the board: when, by whom, and the way back.

const held = hold('#activity:hover, #activity-new:is(:hover, :focus-visible), #activity :focus-visible', show);

const script = () =>
  log
    .all()
    .flatMap(commandsOf)
    .map((command) => `${command} --board ${known.board?.board}`)
    .join('\n') + '\n';

const controlOf = ({id}) => 'undo' + id;

function undoInList(entry) {
  const way = log.wayOf(entry);
  if (!way) return null;
  const word = way.undone ? 'Undone' : 'Undo';
  return undoButton(entry, controlOf(entry), {'aria-label': `${word}: ${entry.name}`, title: entry.undo.join('; ')});
}

function line(entry) {
  return element(
    'li',
    {'data-key': 'entry' + entry.id, class: (isAct(entry) ? 'act' : 'change') + (isBarrier(entry) ? ' barrier' : '')},
    element('span', {class: 'time'}, timeOfDay(entry.at)),
    element('span', {class: 'program'}, entry.who),
    isAct(entry) ? element('code', {title: commandsOf(entry).join('; ')}, entry.name) : element('span', {}, entry.text),
    undoInList(entry),
    requestButton(entry),
    refusal(controlOf(entry)),
  );
}

// The drawn lines, by entry: what a line `shows`, and its `node`. To make hundreds of lines anew at each change would take
// longer than everything else on the page.
let drawn = new Map();

function drawnLine(entry) {
  const way = log.wayOf(entry);
  const control = controlOf(entry);
  const state = [way !== undefined, way?.undone, way?.later?.id, isAway(), refusalOf(control), pendingValue(control)];
  const shows = JSON.stringify([entry.name, ...state]);
  const before = drawn.get(entry);
  if (before?.shows === shows && before.node.isConnected) return before;
  return {shows, node: line(entry)};
}

function showNew(count) {
  const more = find('#activity-new');
  more.textContent = `${count < log.kKept ? count : `${log.kKept} or more`} new ↑`;
  more.classList.toggle('none', count === 0);
}

function show() {
  if (!dock.isOpen('activity')) return;
  const list = find('#activity');
  const entries = log.all();
  const lines = entries.filter(held.shows).reverse();
  const rows = lines.map(drawnLine);
  patchList(list, rows.map(({node}) => node), '#tab-activity');
  // A line whose key was on the page already keeps its old element.
  const onPage = new Map([...list.children].map((one) => [one.dataset.key, one]));
  drawn = new Map(lines.map((entry, i) => [entry, {...rows[i], node: onPage.get('entry' + entry.id)}]));
  showNew(entries.length - lines.length);
  find('#activity-empty').hidden = entries.length > 0;
}

function showNewest() {
  held.release();
  find('#activity').scrollTop = 0;
  find('#activity').focus({preventScroll: true});
}

export function start() {
  dock.add(
    'activity',
    'Activity',
    element(
      'div',
      {class: 'bar'},
      element('span', {class: 'hint'}, 'What was changed, by the page, the shell and programs.'),
      button('', showNewest, {id: 'activity-new', class: 'small none'}),
      copyButton(script, 'Copy as shell commands'),
    ),
    element('ol', {id: 'activity', tabindex: '0', 'aria-label': 'Activity'}),
    element('p', {id: 'activity-empty', class: 'empty'}, 'Nothing has been changed yet.'),
  );
  log.addHold(held);
  follow(['activity', 'anew', 'actions', 'log', 'acts', 'tab', 'live', 'gone'], show);
}
