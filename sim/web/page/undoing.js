import {parsed} from './commands.js';
import {slotOf} from './geometry.js';

// Which acts can be undone. The log itself tells: an undo has an entry of its own, nothing before a reset can be undone, and
// an act cannot be undone before a later act that has changed the same thing again.

const kUndone = 'undone: ';
const kRedone = 'redone: ';
const kLongestTitle = 300; // characters

/** The commands of an entry. An entry with commands is an act that somebody has done; the others have a text instead. */
export const commandsOf = ({command, commands}) => (command ? [command] : (commands ?? []));
export const isAct = (entry) => commandsOf(entry).length > 0;
export const isUndoing = ({title}) => Boolean(title?.startsWith(kUndone));
const withoutProgram = (command) => command.replace(/^zelsim /, '');

/** One action on several ports, in words. */
function nameOfSeveral(commands) {
  const all = commands.map(parsed);
  const ports = all.map((one) => one?.fields.port).filter((port) => port !== undefined);
  if (ports.length < all.length) return commands.join('; ');
  const {port, ...others} = all[0].fields;
  const words = [all[0].action, ...Object.values(others)].join(' ');
  return `${ports.length === 1 ? 'port' : 'ports'} ${ports.join(', ')}: ${words}`;
}

function nameOf({title, command, commands}) {
  if (title || command) return title ?? command;
  return commands && nameOfSeveral(commands);
}

/** The thing that a command changes, as a path. The path of a part begins with the path of the whole. Null for a fault: it has a
 *  number of its own. */
function thingOf(command) {
  const {action, fields} = parsed(command) ?? {};
  if (!action || action === 'fail' || action === 'heal') return null;
  const field = action.startsWith('set ') ? `${action}/` : '';
  if (fields.port !== undefined) return `slot ${slotOf(Number(fields.port))}/port ${fields.port}/${field}`;
  if (fields.slot !== undefined) return `slot ${fields.slot}/`;
  if (fields.supply !== undefined) return `supply ${fields.supply}/`;
  return field || null;
}

/** Adds to an entry what is asked of it often. To be called again when the actions are known, which the names of things need. */
export function prepare(entry) {
  entry.undo ??= [];
  entry.name = nameOf(entry);
  entry.things = [...new Set([...commandsOf(entry), ...entry.undo].map(thingOf))].filter(Boolean);
}

/** The title of the undo of an act, or of the undo of an undo. */
export function titleOfUndo(entry) {
  const name = withoutProgram(entry.name.replace(kUndone, '').replace(kRedone, ''));
  const beginning = isUndoing(entry) ? kRedone : kUndone;
  return (beginning + name).slice(0, kLongestTitle);
}

// ---- what the log says

/** Whether what was before an entry is gone: the board was reset, loaded or made anew. */
export const isBarrier = ({barrier}) => Boolean(barrier);

/** The entries that another entry has undone. */
function undoneOf(entries) {
  const undone = new Set(entries.map(({undoes}) => undoes).filter(Boolean));
  return entries.filter(({act}) => undone.has(act));
}

const isPartOf = (path, other) => path.startsWith(other) || other.startsWith(path);
const overlap = (one, other) => one.things.some((path) => other.things.some((its) => isPartOf(path, its)));

/** Whether an act has changed anything: it can be undone, or is final. */
const hasChanged = ({undo, final}) => undo.length > 0 || Boolean(final);

/** Whether the faults that an act has made were cleared. They may have come back since, under other numbers. */
function isCleared({undo}, later) {
  const clears = (command) => later.includes('zelsim heal') || later.includes(`zelsim ${command}`);
  return undo.every((command) => /^heal \d/.test(command) && clears(command));
}

/** By entry that has a way back: whether it is `undone`, and the `later` act that must be undone first, if there is one. Entries
 *  before a barrier, and acts whose faults were cleared, have no way back.
 *  @param underway  entries whose undo is not in the log yet */
export function waysBack(entries, underway) {
  const ways = new Map();
  const live = entries.slice(entries.findLastIndex(isBarrier) + 1);
  const undone = new Set([...undoneOf(live), ...underway]);
  const standing = []; // acts that are not undone, the last one first
  const commands = []; // of all later acts
  for (let at = live.length - 1; at >= 0; --at) {
    const entry = live[at];
    const isUndone = undone.has(entry);
    const leadsBack = entry.undo.length > 0 && (isUndone || !isCleared(entry, commands));
    if (leadsBack) ways.set(entry, {undone: isUndone, later: standing.find((later) => overlap(later, entry))});
    const stands = !isUndone && !isUndoing(entry) && hasChanged(entry);
    if (stands) standing.push(entry);
    commands.push(...commandsOf(entry));
  }
  return ways;
}
