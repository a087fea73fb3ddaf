import {actTogether, pendingValue, refusalOf, refuse, review} from './acts.js';
import {parsed} from './commands.js';
import {refusal} from './controls.js';
import * as dock from './dock.js';
import {button, copyButton, element, find, patch, patchList} from './dom.js';
import {hold} from './hold.js';
import {follow, isAway, known, put} from './store.js';
import {commandsOf, isAct, isBarrier, isUndoing, prepare, titleOfUndo, waysBack} from './undoing.js';
import {timeOfDay} from './words.js';

// Every change of the board: when, by whom, and the way back.

const kKept = 300;
let entries = [];
let ways = new Map(); // back, by entry
const underway = new Set(); // entries whose undo the log does not tell yet
const heldList = hold('#activity:hover, #activity-new:is(:hover, :focus-visible), #activity :focus-visible', show);
const heldFoot = hold('#foot .foot-entry button:is(:hover, :focus-visible)', show);

// ---- undo

/** Looks anew which entries can be undone. */
function judge() {
  ways = waysBack(entries, underway);
}

function setUnderway(entry, isUnderway) {
  if (isUnderway) underway.add(entry);
  else underway.delete(entry);
  judge();
  put('log', entry.id);
}

const lastAct = () => entries.findLast((entry) => ways.has(entry) && !ways.get(entry).undone && !isUndoing(entry));

function whyNothing() {
  const barrier = entries.findLast(isBarrier);
  if (!barrier) return 'There is nothing to undo.';
  return isAct(barrier) ? `${barrier.name} cannot be undone.` : `Since ${barrier.text} there is nothing to undo.`;
}

const whyNot = (later) => (ways.has(later) ? `Undo the later act first: ${later.name}` : `${later.name} came later, and has no undo`);

/** A reason holds until there is another act to undo. */
const say = (control, why) => refuse(control, why, () => lastAct()?.id);

async function undoNow(control, entry) {
  if (isAway() || !known.actions) return;
  if (!entry) return say(control, whyNothing());
  const {undone, later} = ways.get(entry) ?? {undone: true};
  if (undone) return;
  if (later) return say(control, whyNot(later));
  setUnderway(entry, true);
  const acts = entry.undo.map(parsed).map(({action, fields}) => ({action, ...fields}));
  const isDone = await actTogether(control, acts, true, {title: titleOfUndo(entry), whole: true});
  if (!isDone) setUnderway(entry, false);
}

let turn = Promise.resolve();
/** Undoes an act, by default the last one: one after the other, however fast they are asked for.
 *  @param control  that was used, beside which a refusal stands */
export function undo(control = 'undo', entry = null) {
  const next = () => undoNow(control, entry ?? lastAct());
  turn = turn.then(next, next);
}

// ---- what is shown

const script = () =>
  entries
    .flatMap(commandsOf)
    .map((command) => `${command} --board ${known.board?.board}`)
    .join('\n') + '\n';

/** The way back of an entry. The button keeps the focus when it was pressed. */
function undoButton(entry, control, properties) {
  const {undone, later} = ways.get(entry);
  const title = later && !undone ? whyNot(later) : properties.title;
  return button(undone ? 'Undone' : 'Undo', () => undo(control, entry), {
    ...properties,
    title,
    class: `small undo${pendingValue(control) ? ' pending' : ''}`,
    'data-key': 'undo' + entry.id,
    disabled: isAway(),
    'aria-disabled': Boolean(undone || later) && 'true',
  });
}

/** A button that shows the request in which a program has read something anew. */
function requestButton({request}) {
  if (!request) return null;
  const show = () => {
    dock.open('requests');
    put('wanted', request);
  };
  return button('Show the request', show, {class: 'small'});
}

const controlOf = ({id}) => 'undo' + id;

function undoInList(entry) {
  if (!ways.has(entry)) return null;
  const word = ways.get(entry).undone ? 'Undone' : 'Undo';
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

// The drawn lines, by entry: what a line shows, and its element. Making hundreds anew at each change takes longer than all
// else on the page.
let drawn = new Map();

function drawnLine(entry) {
  const {undone, later} = ways.get(entry) ?? {};
  const control = controlOf(entry);
  const state = [ways.has(entry), undone, later?.id, isAway(), refusalOf(control), pendingValue(control)];
  const shows = JSON.stringify([entry.name, ...state]);
  const before = drawn.get(entry);
  if (before?.shows === shows && before.element.isConnected) return before;
  return {shows, element: line(entry)};
}

function showNew(count) {
  const more = find('#activity-new');
  more.textContent = `${count < kKept ? count : `${kKept} or more`} new ↑`;
  more.classList.toggle('none', count === 0);
}

function showLog() {
  if (!dock.isOpen('activity')) return;
  const list = find('#activity');
  const lines = entries.filter(heldList.shows).reverse();
  const rows = lines.map(drawnLine);
  patchList(list, rows.map(({element}) => element), '#tab-activity');
  const onPage = new Map([...list.children].map((one) => [one.dataset.key, one]));
  drawn = new Map(lines.map((entry, i) => [entry, {...rows[i], element: onPage.get('entry' + entry.id)}]));
  showNew(entries.length - lines.length);
  find('#activity-empty').hidden = entries.length > 0;
}

function showNewest() {
  heldList.release();
  find('#activity').scrollTop = 0;
  find('#activity').focus({preventScroll: true});
}

function footOf(entry) {
  const way = ways.get(entry);
  const offersUndo = way && (!way.undone || heldFoot.isInUse());
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

/** The last change. Where a program has noticed something since the last act, both stand there. */
function showFoot() {
  const lines = entries.filter(heldFoot.shows);
  const last = lines.at(-1);
  if (!last)
    return patch(find('#foot'), [element('span', {class: 'told'}, 'Nothing has been changed since the page was opened.')]);
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

function show() {
  showLog();
  showFoot();
}

// ---- which are kept

/** What a program has read may be told after later changes: entries stand in the order of their times. Those that are held
 *  stay, however many come. */
function insert(fresh) {
  fresh.forEach(prepare);
  const all = [...entries, ...fresh].sort((one, other) => one.at - other.at);
  const last = Math.max(...all.map(({id}) => id));
  const isKept = (entry) => heldList.shows(entry) || entry.id > last - kKept;
  entries = heldList.isHeld() ? all.filter(isKept) : all.slice(-kKept);
}

function take({activity, anew}) {
  if (anew) {
    entries = [];
    underway.clear();
  }
  for (const held of [heldList, heldFoot]) held.keep(entries);
  if (activity) insert(activity);
  judge();
  review();
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
  follow(['activity', 'anew'], take);
  follow(['actions'], () => {
    entries.forEach(prepare);
    judge();
  });
  follow(['activity', 'anew', 'actions', 'log', 'acts', 'tab', 'live', 'gone'], show);
}
