import {actTogether, pendingValue, refusalOf, refuse, untilTold} from './acts.js';
import {parsed} from './commands.js';
import {button} from './dom.js';
import * as log from './log.js';
import {isAway, known} from './store.js';
import {titleOfUndo} from './undoing.js';

// Undoes acts. The server refuses an undo if somebody was faster.

const whyNot = (later) =>
  log.wayOf(later) ? `Undo the later act first: ${later.name}` : `${later.name} came later, and has no undo`;

/** Says beside a control how an undo ended. It stands until there is another act to undo, or another reason why there is none. */
const say = (control, why) => refuse(control, why, () => log.newestUndoable()?.id ?? log.whyNothing());

/** Says which act was undone if it was not the newest one, because the newer ones cannot be undone. */
function sayPassedOver(control, entry, names) {
  if (names.length > 0) say(control, `Undone is ${entry.name}: ${names.join(', ')} came later and cannot be undone.`);
}

async function undoNow(control, given) {
  if (isAway() || !known.actions) return;
  await untilTold(known.expectedAct ?? 0);
  const entry = given ?? log.newestUndoable();
  if (!entry) return say(control, log.whyNothing());
  const way = log.wayOf(entry);
  if (!way || way.undone) return;
  const {later} = way;
  if (later) return say(control, whyNot(later));
  const commands = entry.undo.map(parsed);
  if (commands.includes(null)) return say(control, `This page does not know how to undo ${entry.name}: load it anew`);
  log.setUnderway(entry, true);
  const newest = log.newestAct();
  const acts = commands.map(({action, fields}) => ({action, ...fields}));
  const how = {title: titleOfUndo(entry), whole: true, undoes: entry.act, newest};
  const answer = await actTogether(control, acts, true, how);
  if (answer) {
    if (!given) sayPassedOver(control, entry, answer.passed);
    return;
  }
  log.setUnderway(entry, false);
  const why = refusalOf(control);
  if (!why) return; // somebody has answered a question with Keep
  // An act of somebody else may be the cause. The log tells of it a little later. The reason stands until the act after that one.
  const isUntold = known.newestAct === newest;
  if (isUntold) await untilTold(newest + 1);
  say(control, why);
}

let turn = Promise.resolve();
/** Undoes an act, by default the newest one that can be undone. Undos are done one after the other, however fast they are asked
 *  for.
 *  @param control  that was used, beside which a refusal stands */
export function undo(control = 'undo', entry = null) {
  const next = () => undoNow(control, entry);
  turn = turn.then(next, next);
}

/** The button that undoes an entry. It stays when it was pressed, and keeps the focus. */
export function undoButton(entry, control, properties) {
  const {undone, later} = log.wayOf(entry);
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
