import {actTogether} from './acts.js';
import {keepMarks, loadMarks, markOf} from './activity_marks.js';
import {isMeant, rowsMoved} from './aim.js';
import {parsed} from './commands.js';
import {refusal} from './controls.js';
import * as dock from './dock.js';
import {button, copyButton, element, find, patch, patchList} from './dom.js';
import {follow, isAway, known, put} from './store.js';
import {timeOfDay} from './words.js';

// Every change of the board: when, by whom, and the way back.

const kKept = 300;
const kLongestTitle = 300;
let entries = [];

/** Acts are commands that somebody has done; all else was done by programs. */
const commandsOf = ({command, commands}) => (command ? [command] : (commands ?? []));
const isAct = (entry) => commandsOf(entry).length > 0;

const kUndone = 'undone: ';
const kRedone = 'redone: ';
const isUndoing = ({title}) => Boolean(title?.startsWith(kUndone));

/** One action on several ports, in words. */
function textOfSeveral(commands) {
  const all = commands.map(parsed);
  const ports = all.map((one) => one?.fields.port).filter((port) => port !== undefined);
  if (ports.length < all.length) return commands.join('; ');
  const {port, ...fields} = all[0].fields;
  return `port${ports.length === 1 ? '' : 's'} ${ports.join(', ')}: ${[all[0].action, ...Object.values(fields)].join(' ')}`;
}

function titleOf({title, command, commands}) {
  if (title || command) return title ?? command;
  return commands && textOfSeveral(commands);
}

/** The entries as they are shown. */
const shown = () => entries.map((entry) => ({...entry, title: titleOf(entry), mark: markOf(entry), undo: entry.undo ?? []}));

const lastAct = () => shown().findLast((entry) => entry.undo.length > 0 && !entry.mark.undone && !isUndoing(entry));

/** What is told of the way back of an act, or of the way back from there. */
function titleOfUndo({title}) {
  const of = title.replace(kUndone, '').replace(kRedone, '').replace(/^zelsim /, '');
  return ((isUndoing({title}) ? kRedone : kUndone) + of).slice(0, kLongestTitle);
}

export async function undo(entry = lastAct()) {
  if (!entry || isAway() || !known.actions) return;
  const {mark} = entry;
  mark.undone = true;
  const acts = entry.undo.map(parsed).map(({action, fields}) => ({action, ...fields}));
  mark.undone = await actTogether('undo', acts, true, {title: titleOfUndo(entry), whole: true});
  keepMarks();
  put('log', entry.id);
}

const script = () =>
  entries
    .flatMap(commandsOf)
    .map((command) => `${command} --board ${known.board?.board}`)
    .join('\n') + '\n';

/** The way back of an entry. The button keeps the focus when it was pressed, and then does nothing. */
function undoButton(entry, properties) {
  const isDone = Boolean(entry.mark.undone);
  const press = (event) => {
    if (!isDone && isMeant(event)) undo(entry);
  };
  return button('Undo', press, {
    class: 'small',
    'data-key': 'undo' + entry.id,
    disabled: isAway(),
    'aria-disabled': isDone && 'true',
    ...properties,
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

function line(entry) {
  return element(
    'li',
    {'data-key': 'entry' + entry.id, class: isAct(entry) ? 'act' : 'change'},
    element('span', {class: 'time'}, timeOfDay(entry.at)),
    element('span', {class: 'program'}, entry.who),
    isAct(entry) ? element('code', {title: commandsOf(entry).join('; ')}, entry.title) : element('span', {}, entry.text),
    entry.undo.length > 0 &&
      undoButton(entry, {'aria-label': `Undo: ${entry.title}`, title: entry.undo.join('; ')}),
    requestButton(entry),
  );
}

// The drawn lines, by entry: what a line shows, and its element. Making hundreds anew at each change takes longer than all
// else on the page.
let drawn = new Map();

function drawnLine(entry) {
  const {id, title, undo, mark} = entry;
  const shows = JSON.stringify([title, undo, Boolean(mark.undone), isAway()]);
  const before = drawn.get(id);
  if (before?.shows === shows && before.mark === mark && before.element.isConnected) return before;
  return {shows, mark, element: line(entry)};
}

function showLog() {
  if (!dock.isOpen('activity')) return;
  const list = find('#activity');
  const lines = shown().reverse();
  const rows = lines.map(drawnLine);
  patchList(list, rows.map(({element}) => element), '#tab-activity');
  const onPage = new Map([...list.children].map((one) => [one.dataset.key, one]));
  drawn = new Map(lines.map(({id}, i) => [id, {...rows[i], element: onPage.get('entry' + id)}]));
  find('#activity-empty').hidden = entries.length > 0;
}

function footOf(entry) {
  return element(
    'span',
    {class: 'foot-entry'},
    element('span', {class: 'time'}, timeOfDay(entry.at, false)),
    element('b', {}, entry.who),
    element('span', {class: 'told'}, entry.title ?? entry.text),
    entry.undo.length > 0 && !entry.mark.undone && undoButton(entry, {title: 'Undo (u)'}),
    requestButton(entry),
  );
}

/** The last change. Where a program has noticed something since the last act, both stand there. */
function showFoot() {
  const lines = shown();
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

/** What a program has read may be told after later changes: entries stand in the order of their times. */
function insert(fresh) {
  entries = [...entries, ...fresh].sort((one, other) => one.at - other.at).slice(-kKept);
}

function take({activity, anew}) {
  if (anew) entries = [];
  loadMarks();
  if (activity) insert(activity);
  if (activity) rowsMoved();
  showLog();
  showFoot();
}

export function start() {
  dock.add(
    'activity',
    'Activity',
    element(
      'div',
      {class: 'bar'},
      element('span', {class: 'hint'}, 'What was changed, by the page, the shell and programs.'),
      copyButton(script, 'Copy as shell commands'),
    ),
    element('ol', {id: 'activity', tabindex: '0', 'aria-label': 'Activity'}),
    element('p', {id: 'activity-empty', class: 'empty'}, 'Nothing has been changed yet.'),
  );
  follow(['activity', 'anew'], take);
  follow(['log', 'acts', 'tab', 'live', 'gone', 'actions'], () => {
    showLog();
    showFoot();
  });
}
