import {act, followGathered} from './acts.js';
import {isMarked, keepMarks, loadMarks, markOf} from './activity_marks.js';
import {isMeant, rowsMoved} from './aim.js';
import {parsed} from './commands.js';
import {refusal} from './controls.js';
import * as dock from './dock.js';
import {button, copyButton, element, find, patch, patchList} from './dom.js';
import {follow, isAway, known, put} from './store.js';
import {timeOfDay} from './words.js';

// Every change of the board: when, by whom, and the way back.

const kKept = 300;
let entries = [];
const expected = []; // commands that will be told, and what they belong to

const isAct = ({command}) => Boolean(command);

/** Marks the entry of a command that was done, or will when it comes. */
function expect(command, mark, since = Infinity) {
  const told = entries.find((one) => one.id > since && one.command === command && !markOf(one).group);
  if (told) Object.assign(markOf(told), mark);
  else expected.push({command, mark});
}

const portsText = (all) => `port${all.length === 1 ? '' : 's'} ${all.map(({port}) => port).join(', ')}`;

/** An act on several ports begins: its entries become one. */
function gather() {
  const since = Math.max(0, ...entries.map(({id}) => id));
  return ({action, commands, all}) => {
    if (commands.length === 0) return;
    const {port, ...fields} = all[0];
    const group = {title: `${portsText(all)}: ${[action, ...Object.values(fields)].join(' ')}`};
    for (const command of commands) expect(command, {group}, since);
    keepMarks();
    put('log', group);
  };
}

/** The entries, of which those of one act on several ports are one. */
function shown() {
  const lines = [];
  for (const entry of entries) {
    const mark = markOf(entry);
    const {group} = mark;
    const last = group && lines.findIndex((one) => one.mark === group);
    const before = last >= 0 ? lines.splice(last, 1)[0] : null;
    lines.push({
      ...entry,
      mark: group ?? mark,
      title: group ? group.title : entry.command,
      id: before?.id ?? entry.id,
      commands: [...(before?.commands ?? []), entry.command],
      undo: [...(entry.undo ?? []), ...(before?.undo ?? [])], // the last one first
    });
  }
  return lines;
}

/** Commands that undo what an entry tells, as actions. */
const wayBack = ({undo}) => undo.map((line) => ({...parsed(line), command: `zelsim ${line}`}));

const lastAct = () => shown().findLast(({undo, mark}) => undo.length > 0 && !mark.undone && !mark.undoes);

export async function undo(entry = lastAct()) {
  if (!entry || isAway()) return;
  const {mark} = entry;
  mark.undone = true;
  const back = mark.title ? {group: {title: `undone: ${mark.title}`, undoes: true}} : {undoes: true};
  for (const {action, fields, command} of wayBack(entry)) {
    expect(command, back);
    if (await act('undo', action, fields)) continue;
    expected.splice(
      expected.findIndex((one) => one.command === command),
      1,
    );
    mark.undone = false;
    break;
  }
  keepMarks();
  put('log', entry.id);
}

const script = () =>
  entries
    .filter(isAct)
    .map(({command}) => `${command} --board ${known.board?.board}`)
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
    isAct(entry) ? element('code', {title: entry.commands.join('; ')}, entry.title) : element('span', {}, entry.text),
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
  const shows = JSON.stringify([title, undo, mark.title, Boolean(mark.undone), isAway()]);
  const before = drawn.get(id);
  if (before?.shows === shows && before.mark === mark && before.element.isConnected) return before;
  return {shows, mark, element: line(entry)};
}

function showLog() {
  if (!dock.isOpen('activity')) return;
  const list = find('#activity');
  const top = list.scrollTop;
  const lines = shown().reverse();
  const rows = lines.map(drawnLine);
  patchList(list, rows.map(({element}) => element), '#tab-activity');
  const onPage = new Map([...list.children].map((one) => [one.dataset.key, one]));
  drawn = new Map(lines.map(({id}, i) => [id, {...rows[i], element: onPage.get('entry' + id)}]));
  list.scrollTop = top > 0 ? top : 0;
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
  for (const entry of activity ?? []) {
    const at = isMarked(entry) ? -1 : expected.findIndex(({command}) => command === entry.command);
    if (at >= 0) Object.assign(markOf(entry), expected.splice(at, 1)[0].mark);
    else markOf(entry);
  }
  if (activity) keepMarks();
  if (activity) insert(activity);
  if (activity) rowsMoved();
  showLog();
  showFoot();
}

export function start() {
  followGathered(gather);
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
  follow(['log', 'acts', 'tab', 'live', 'gone'], () => {
    showLog();
    showFoot();
  });
}
