import {confirm} from './confirm.js';
import {send, sendTogether} from './connection.js';
import {find} from './dom.js';
import {slotOf} from './geometry.js';
import {questionFor} from './loss.js';
import {boardIn, cageOf, follow, known, put} from './store.js';

// Acts, and what has become of them. A control that was used shows that its act is on the way, then what holds. A refusal
// stands beside it until the control is used again, or until its cause has changed.

// Times are milliseconds.
const kLogIsLate = 1000; // at most
const kNewsAreLate = 120; // as a rule
const kLook = 10; // between two looks into the log
const pending = new Map(); // by control: the act that is on its way, with the value that was chosen
const refusals = new Map(); // by control: its `text`, its `cause`, and `about`, which gives the cause as it is now

export const pendingValue = (control) => pending.get(control)?.value;
export const refusalOf = (control) => refusals.get(control)?.text;

let writings = 0; // how many writings to the flash have ended since the page was opened
let isWriting = false;

/** Causes of refusals, by action: of those actions that name no port, slot or supply. */
const kCauses = {
  fail: () => known.board?.faults.map(({fault}) => fault),
  heal: () => known.board?.faults.map(({fault}) => fault),
  save: () => writings,
  load: () => [writings, known.states],
  forget: () => known.states,
};

/** Why the board may refuse an act: what is in the port or the slots, the supply, the faults, the saved states, a writing that
 *  goes on. Signals and the hits of a fault, which programs change every moment, are no cause. */
function causeOf({action, port, slot, supply}) {
  if (!known.board) return null;
  if (kCauses[action]) return kCauses[action]();
  if (port !== undefined) return [cageOf(Number(port))?.module, boardIn(slotOf(Number(port)))];
  if (slot !== undefined) return known.board.slots;
  if (supply !== undefined) return known.board.supplies[Number(supply) - 1];
  return null;
}

/** A refusal of an act that is not in kCauses also goes when another part is selected: the inspector shows that one then. */
const followsSelection = ({action}) => !(action in kCauses);

/** What a refusal is about: it goes when this changes. */
const aboutOf = (refused) =>
  JSON.stringify([refused.map(causeOf), known.live, refused.some(followsSelection) && known.selected]);

/** Has everything drawn anew that shows acts and their controls. */
export const drawAnew = () => put('acts', {});

export function dismiss(control) {
  refusals.delete(control);
  drawAnew();
}

/** Forgets a refusal when something else is typed: it was about what had been given. */
export function forgetRefusal(control) {
  if (refusals.has(control)) dismiss(control);
}

/** Says beside a control why nothing was done.
 *  @param about  gives the cause, as a text or a number. When it gives another one, the reason is forgotten */
export function refuse(control, text, about) {
  refusals.set(control, {text, about, cause: about()});
  find('#notices').textContent = text;
  drawAnew();
}

/** Forgets the refusals whose cause has changed. */
export function review() {
  let hasForgotten = false;
  for (const [control, refusal] of refusals) {
    if (refusal.cause === refusal.about()) continue;
    refusals.delete(control);
    hasForgotten = true;
  }
  if (hasForgotten) drawAnew();
}

async function sendOne({action, ...fields}) {
  return {done: [await send(action, fields)], refused: []};
}

/** Does acts as one. If the server refuses them as a whole, each of them is refused.
 *  @return the answer, in which each refused act stands with its fields and `why` */
async function doAll(acts, how) {
  try {
    const isOne = acts.length === 1 && !how.title;
    const answer = await (isOne ? sendOne(acts[0]) : sendTogether(acts, how));
    return {...answer, refused: answer.refused.map(({act: at, error}) => ({...acts[at], why: error}))};
  } catch ({message}) {
    return {done: [], refused: acts.map((one) => ({...one, why: message}))};
  }
}

/** The text about acts that were refused. */
function refusalText(acts, refused) {
  const count = refused.length < acts.length ? `${refused.length} of ${acts.length} refused: ` : '';
  return count + [...new Set(refused.map(({why}) => why))].join('; ');
}

/** Asks before each act that would lose something. @return false when somebody does not want one of them */
async function mayBeDone(acts) {
  for (const {action, ...fields} of acts) {
    const question = await questionFor(action, fields);
    if (question && !(await confirm(question))) return false;
  }
  return true;
}

/** Does acts, each with its `action` and fields, as one for a control. Asks first if something would be lost.
 *  @param value  that the control shows meanwhile
 *  @param how  the `title` of the whole; `whole` for all of them or none; for an undo the number of the act that it `undoes`,
 *    and the number of the `newest` act that the page knows
 *  @return the answer when all of it was done, else null */
export async function actTogether(control, acts, value = true, how = {}) {
  if (!(await mayBeDone(acts))) {
    drawAnew(); // the control goes back to what holds
    return null;
  }
  const newestAct = known.newestAct ?? 0;
  const underway = {value};
  pending.set(control, underway);
  refusals.delete(control);
  drawAnew();
  const answer = await doAll(acts, how);
  const {done: commands, refused} = answer;
  const isDone = refused.length === 0;
  if (commands.length > 0) put('expectedAct', newestAct + 1);
  if (isDone) find('#notices').textContent = commands.at(-1);
  else refuse(control, refusalText(acts, refused), () => aboutOf(refused));
  // The board's news come on another way and may be a little later than the answer.
  setTimeout(
    () => {
      if (pending.get(control) === underway) pending.delete(control); // else another act has begun
      drawAnew();
    },
    isDone ? kNewsAreLate : 0,
  );
  return isDone ? answer : null;
}

/** Waits until the log tells of the act with a number, but not for long. Then the page knows what it has changed, too. */
export async function untilTold(act) {
  const end = performance.now() + kLogIsLate;
  while (known.newestAct < act && performance.now() < end) {
    await new Promise((resolve) => setTimeout(resolve, kLook));
  }
}

function followWriting() {
  if (isWriting && !known.writing) ++writings;
  isWriting = Boolean(known.writing);
}

export function start() {
  follow(['writing'], followWriting);
  follow(['board', 'writing', 'states', 'selected', 'live', 'gone'], review);
}

/** Does one action for a control.
 *  @param fields  of the action; a list of them where it is done to several ports */
export const act = (control, action, fields = {}, value = true) =>
  actTogether(
    control,
    [fields].flat().map((one) => ({action, ...one})),
    value,
  );
