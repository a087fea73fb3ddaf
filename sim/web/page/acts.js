import {confirm} from './confirm.js';
import {send} from './connection.js';
import {find} from './dom.js';
import {known, put} from './store.js';
import {questionFor} from './loss.js';

// Acts, and what has become of them. A control that was used shows that its act is on the way, then what holds; a refusal
// stands beside it until it is used again, or what it is about has changed.

const pending = new Map(); // value that was chosen, by control
const refusals = new Map(); // by control

export const pendingValue = (control) => pending.get(control);
export const refusalOf = (control) => refusals.get(control)?.text;

/** What a refusal is about: it goes when this changes. */
const causeOf = () => {
  const {slots, supplies, cages, faults, i2c} = known.board ?? {};
  return JSON.stringify([slots, supplies, cages, faults, i2c?.busy, known.live, known.selected]);
};

export function dismiss(control) {
  refusals.delete(control);
  put('acts', {});
}

/** Refusals whose cause is gone go, too. */
export function review() {
  const cause = causeOf();
  let gone = false;
  for (const [control, refusal] of refusals) {
    if (refusal.cause === cause) continue;
    refusals.delete(control);
    gone = true;
  }
  if (gone) put('acts', {});
}

/** Does an act for a control, after a question where something would be lost. @return true when it was done */
export async function act(control, action, fields = {}, value = true) {
  const question = questionFor(action, fields);
  if (question && !(await confirm(question))) {
    put('acts', {}); // the control goes back to what holds
    return false;
  }
  pending.set(control, value);
  refusals.delete(control);
  put('acts', {});
  let done = false;
  try {
    const told = await send(action, fields);
    find('#notices').textContent = told;
    done = true;
  } catch (error) {
    refusals.set(control, {text: error.message, cause: causeOf()});
    find('#notices').textContent = error.message;
  }
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
