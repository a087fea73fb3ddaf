import * as address from './address.js';
import {known, put} from './store.js';

// What the page knows of entries of the activity: whether one is undone, undoes something, or is a part of an act on several
// ports. The browser keeps it, so that a page that is loaded again, and its other pages, know it, too.

const kMost = 1200;
let marks = new Map(); // by time and command
let board; // whose marks they are

const keyOf = ({at, command}) => `${at} ${command}`;
const place = () => `activity ${board}`;

export const isMarked = (entry) => marks.has(keyOf(entry));

export function markOf(entry) {
  const key = keyOf(entry);
  if (!marks.has(key)) marks.set(key, {});
  if (marks.size > kMost) marks.delete(marks.keys().next().value);
  return marks.get(key);
}

/** The marks that say something; those of one act share their group. */
export function keepMarks() {
  const groups = new Map();
  const rows = [];
  for (const [key, {group, ...mark}] of marks) {
    if (group && !groups.has(group)) groups.set(group, groups.size);
    if (group || Object.keys(mark).length > 0) rows.push({key, mark, group: groups.get(group)});
  }
  try {
    localStorage.setItem(place(), JSON.stringify({rows, groups: [...groups.keys()]}));
  } catch {
    // a browser that keeps nothing
  }
}

function load() {
  let kept = null;
  try {
    kept = JSON.parse(localStorage.getItem(place()));
  } catch {
    // nothing that can be read
  }
  const groups = kept?.groups ?? [];
  for (const {key, mark, group} of kept?.rows ?? [])
    marks.set(key, group === undefined ? mark : {...mark, group: groups[group]});
}

/** To be called before marks of a board are asked for. */
export function loadMarks() {
  const name = known.board?.board ?? address.read('board');
  if (name === board) return;
  board = name;
  marks = new Map();
  load();
}

addEventListener('storage', ({key}) => {
  if (board === undefined || key !== place()) return;
  load();
  put('log', key);
});
