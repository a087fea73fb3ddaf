import {review} from './acts.js';
import {follow, put} from './store.js';
import {isAct, isBarrier, isUndoing, prepare, waysBack} from './undoing.js';

// The log of the board as this page has it, and which of its acts can be undone.

export const kKept = 300; // entries
let entries = [];
let ways = new Map(); // by entry: the way back
const underway = new Set(); // entries whose undo the log does not tell yet
const holds = []; // of places that go on showing the entries that they have

/** All entries that are kept, the oldest one first. */
export const all = () => entries;
/** Whether an act is `undone`, and which `later` act, if any, must be undone first. Undefined for an entry without a way back. */
export const wayOf = (entry) => ways.get(entry);
export const addHold = (held) => holds.push(held);

/** Whether an entry is not undone, and is no undo itself. */
const isStanding = (entry) => !ways.get(entry)?.undone && !isUndoing(entry);
/** The newest act that can be undone. */
export const newestUndoable = () => entries.findLast((entry) => ways.has(entry) && isStanding(entry));
/** The number of the newest act. */
export const newestAct = () => entries.findLast(isAct)?.act ?? 0;

/** Why there is nothing to undo. */
export function whyNothing() {
  const barrier = entries.findLast(isBarrier);
  const sinceThen = entries.slice(entries.lastIndexOf(barrier) + 1);
  const last = sinceThen.findLast((entry) => entry.final && isStanding(entry));
  if (last) return `The last act, ${last.name}, cannot be undone.`;
  if (!barrier) return 'There is nothing to undo.';
  return isAct(barrier) ? `${barrier.name} cannot be undone.` : `Since ${barrier.text} there is nothing to undo.`;
}

/** Looks anew which entries can be undone. */
function judge() {
  ways = waysBack(entries, underway);
}

/** Says whether the undo of an entry is on its way. */
export function setUnderway(entry, isUnderway) {
  if (isUnderway) underway.add(entry);
  else underway.delete(entry);
  judge();
  put('log', entry.id);
}

/** Entries stand in the order of their times: what a program has read may be told after later changes. Entries that a place
 *  goes on showing stay, however many come. */
function insert(fresh) {
  fresh.forEach(prepare);
  const sorted = [...entries, ...fresh].sort((one, other) => one.at - other.at);
  const last = Math.max(...sorted.map(({id}) => id));
  const isHeld = (entry) => holds.some((held) => held.isHeld() && held.shows(entry));
  entries = sorted.filter((entry) => entry.id > last - kKept || isHeld(entry));
}

function take({activity, anew}) {
  if (anew) {
    entries = [];
    underway.clear();
  }
  for (const held of holds) held.keep(entries);
  if (activity) insert(activity);
  judge();
  review();
  put('newestAct', newestAct());
}

export function start() {
  follow(['activity', 'anew'], take);
  follow(['actions'], () => {
    entries.forEach(prepare);
    judge();
  });
}
