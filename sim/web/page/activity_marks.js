import * as address from './address.js';
import {known, put} from './store.js';

// What the page knows of entries of the activity: whether one is undone. The browser keeps it, so that a page that is loaded again, and its other pages, know it, too.

const kMost = 1200;
let marks = new Map(); // by time and what was done
let board; // whose marks they are

const keyOf = ({at, command, title, commands}) => `${at} ${command ?? title ?? commands?.join(';')}`;
const place = () => `undone ${board}`;

export function markOf(entry) {
  const key = keyOf(entry);
  if (!marks.has(key)) marks.set(key, {});
  if (marks.size > kMost) marks.delete(marks.keys().next().value);
  return marks.get(key);
}

/** Keeps the marks that say something. */
export function keepMarks() {
  const rows = [...marks].filter(([, mark]) => Object.keys(mark).length > 0);
  try {
    localStorage.setItem(place(), JSON.stringify(rows));
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
  for (const [key, mark] of kept ?? []) marks.set(key, mark);
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
