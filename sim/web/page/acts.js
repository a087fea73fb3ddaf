import {confirm} from './confirm.js';
import {send} from './connection.js';
import {find} from './dom.js';
import {cageOf, known, put, slotOf} from './store.js';
import {questionFor} from './loss.js';

// Acts, and what has become of them. A control that was used shows that its act is on the way, then what holds; a refusal
// stands beside it until it is used again, or what it is about has changed.

const pending = new Map(); // value that was chosen, by control
const refusals = new Map(); // by control

export const pendingValue = (control) => pending.get(control);
export const refusalOf = (control) => refusals.get(control)?.text;

/** What of the board an act is about: the port, the slot or the supply that it names, else everything that people change. */
function subjectOf({port, slot, supply}) {
  const {slots, supplies, cages, faults, i2c} = known.board ?? {};
  if (port !== undefined) return [cageOf(Number(port)), slots?.[slotOf(Number(port)) - 1]];
  if (slot !== undefined) return [slots, cages?.filter((cage) => slotOf(cage.port) === Number(slot))];
  if (supply !== undefined) return supplies?.[Number(supply) - 1];
  return [slots, supplies, cages, faults, i2c?.busy];
}

/** What a refusal is about: it goes when this changes. */
const causeOf = (refused) => JSON.stringify([refused.map(subjectOf), known.live, known.selected]);

let gather = () => () => {};
/** @param begin  called when an act on several ports begins. It returns what is called at its end, with what was done */
export const followGathered = (begin) => (gather = begin);

export function dismiss(control) {
  refusals.delete(control);
  put('acts', {});
}

/** Refusals whose cause is gone go, too. */
export function review() {
  let gone = false;
  for (const [control, refusal] of refusals) {
    if (refusal.cause === causeOf(refusal.refused)) continue;
    refusals.delete(control);
    gone = true;
  }
  if (gone) put('acts', {});
}

/** Does one thing for each of `all`, and goes on where one is refused. */
async function doAll(control, action, all) {
  const end = all.length > 1 ? gather() : null;
  const commands = [];
  const refused = [];
  const texts = [];
  for (const fields of all) {
    try {
      commands.push(await send(action, fields));
    } catch (error) {
      refused.push(fields);
      texts.push(error.message);
    }
  }
  end?.({action, commands, all: all.filter((fields) => !refused.includes(fields))});
  if (refused.length > 0) {
    const count = all.length > 1 ? `${refused.length} of ${all.length} refused: ` : '';
    refusals.set(control, {text: count + [...new Set(texts)].join('; '), refused, cause: causeOf(refused)});
  }
  find('#notices').textContent = refusalOf(control) ?? commands.at(-1);
  return refused.length === 0;
}

/** Does an act for a control, after a question where something would be lost.
 *  @param fields  of the action; a list of them where it is done to several ports
 *  @return true when all of it was done */
export async function act(control, action, fields = {}, value = true) {
  const all = [fields].flat();
  const question = all.length === 1 ? await questionFor(action, all[0]) : null;
  if (question && !(await confirm(question))) {
    put('acts', {}); // the control goes back to what holds
    return false;
  }
  pending.set(control, value);
  refusals.delete(control);
  put('acts', {});
  const done = await doAll(control, action, all);
  // The board's news come on another way and may be a little later than the answer.
  setTimeout(
    () => {
      pending.delete(control);
      put('acts', {});
    },
    done ? 120 : 0,
  );
  return done;
}
