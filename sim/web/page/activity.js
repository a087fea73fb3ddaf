import {act} from './acts.js';
import {parsed} from './commands.js';
import {refusal} from './controls.js';
import * as dock from './dock.js';
import {button, copyButton, element, find, patch, patchList} from './dom.js';
import {follow, known, put} from './store.js';
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
        disabled: Boolean(entry.undone),
        'aria-label': `Undo: ${entry.command}`,
        title: entry.undo.join('; '),
      }),
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

function showFoot() {
  const last = entries.at(-1);
  patchList(
    find('#foot'),
    last
      ? [
          element('span', {class: 'time'}, timeOfDay(last.at, false)),
          element('b', {}, last.who),
          element('span', {class: 'told'}, last.command ?? last.text),
          last.undo?.length > 0 && !last.undone && button('Undo', () => undo(last), {class: 'small', title: 'Undo (u)'}),
          refusal('undo'),
          button('All activity', () => dock.open('activity'), {class: 'small quiet'}),
        ]
      : [element('span', {class: 'told'}, 'Nothing has been changed since the page was opened.')],
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
  follow(['log', 'acts', 'tab'], () => {
    showLog();
    showFoot();
  });
}
