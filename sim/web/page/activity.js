import {act} from './acts.js';
import {parsed} from './commands.js';
import {refusal} from './controls.js';
import * as dock from './dock.js';
import {button, copyButton, element, find, patch, patchList} from './dom.js';
import {follow, isAway, known, put} from './store.js';
import {timeOfDay} from './words.js';

// Every change of the board: when, by whom, and the way back.

const kKept = 300;
let entries = [];
const expected = []; // commands that undo something and will be told

const isAct = ({command}) => Boolean(command);

/** Commands that undo what an entry tells, as actions. */
const wayBack = ({undo}) => (undo ?? []).map((line) => ({...parsed(line), command: `zelsim ${line}`}));

export async function undo(entry = entries.findLast((one) => one.undo?.length && !one.undone && !one.undoes)) {
  if (!entry) return;
  entry.undone = true;
  for (const {action, fields, command} of wayBack(entry)) {
    expected.push(command);
    if (await act('undo', action, fields)) continue;
    expected.splice(expected.indexOf(command), 1);
    entry.undone = false;
    break;
  }
  put('log', entry.id);
}

const script = () =>
  entries
    .filter(isAct)
    .map(({command}) => `${command} --board ${known.board?.board}`)
    .join('\n') + '\n';

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
    isAct(entry) ? element('code', {}, entry.command) : element('span', {}, entry.text),
    entry.undo?.length > 0 &&
      button('Undo', () => undo(entry), {
        class: 'small',
        disabled: Boolean(entry.undone) || isAway(),
        'aria-label': `Undo: ${entry.command}`,
        title: entry.undo.join('; '),
      }),
    requestButton(entry),
  );
}

function showLog() {
  if (!dock.isOpen('activity')) return;
  const list = find('#activity');
  const top = list.scrollTop;
  patchList(list, entries.slice().reverse().map(line), '#tab-activity');
  list.scrollTop = top > 0 ? top : 0;
  find('#activity-empty').hidden = entries.length > 0;
}

function footOf(entry) {
  return [
    element('span', {class: 'time'}, timeOfDay(entry.at, false)),
    element('b', {}, entry.who),
    element('span', {class: 'told'}, entry.command ?? entry.text),
    entry.undo?.length > 0 &&
      !entry.undone &&
      button('Undo', () => undo(entry), {class: 'small', title: 'Undo (u)', disabled: isAway()}),
    requestButton(entry),
  ];
}

/** The last change. Where a program has noticed something since the last act, both stand there. */
function showFoot() {
  const last = entries.at(-1);
  if (!last)
    return patch(find('#foot'), [element('span', {class: 'told'}, 'Nothing has been changed since the page was opened.')]);
  const lastAct = last.request ? entries.findLast(isAct) : null;
  patchList(
    find('#foot'),
    [
      lastAct && footOf(lastAct),
      footOf(last),
      refusal('undo'),
      button('All activity', () => dock.open('activity'), {class: 'small quiet'}),
    ],
    '#foot button',
  );
}

function take({activity, anew}) {
  if (anew) entries = [];
  for (const entry of activity ?? []) {
    const at = expected.indexOf(entry.command);
    entry.undoes = at >= 0;
    if (at >= 0) expected.splice(at, 1);
  }
  if (activity) entries = [...entries, ...activity].slice(-kKept);
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
  follow(['log', 'acts', 'tab', 'live', 'gone'], () => {
    showLog();
    showFoot();
  });
}
