// What is known of the board, by part, and who shows it. Views are called once a frame, and only when a part of theirs has
// changed. After a quiet time they are called at once: waiting for the next frame would only make the change later.

export const known = {};
const followers = [];
let changed = new Set(); // parts whose followers are not called yet
let pending = {}; // what has come of logs since then, and `anew` if a stream has begun
let asked = false; // whether showAll() will be called
let shownAt = 0;
const kFrame = 17; // milliseconds; after a longer pause views are called at once
const kUnseen = 100; // milliseconds between two calls while nobody sees the page

/** Calls `show` soon after one of the parts has changed. Its argument has what has come of logs, and `anew` if a stream has
 *  begun. */
export function follow(parts, show) {
  followers.push({parts, show});
}

/** A view that fails must not keep the others from being called. */
function call(show, logs) {
  try {
    show(logs);
  } catch (error) {
    reportError(error);
  }
}

function showAll() {
  const parts = changed;
  const logs = pending;
  changed = new Set();
  pending = {};
  asked = false;
  shownAt = performance.now();
  for (const {parts: wanted, show} of followers) {
    if (wanted.some((part) => parts.has(part))) call(show, logs);
  }
}

function touch(part) {
  changed.add(part);
  if (asked) return;
  asked = true;
  // A page that nobody sees draws no frames. It must be right when it is seen again.
  if (document.hidden) setTimeout(showAll, kUnseen);
  else if (performance.now() - shownAt > kFrame) queueMicrotask(showAll);
  else requestAnimationFrame(showAll);
}

const kLogs = ['requests', 'activity'];

function keep(part, value) {
  if (part === 'gone' && Boolean(value) !== Boolean(known.gone)) known.goneSince = new Date();
  known[part] = value;
}

/** Keeps the time of the board's state. It may have been old already when the server sent it. */
function keepAge({board, board_age: age = 0}) {
  if (board) known.boardAt = Date.now() - age;
}

/** Takes news of the server. A stream that begins anew brings whole logs: what waits of them is forgotten. */
export function take({anew, ...news}) {
  if (anew) {
    pending = {anew: true};
    touch('anew');
  }
  keepAge(news);
  for (const [part, value] of Object.entries(news)) {
    if (kLogs.includes(part)) pending[part] = (pending[part] ?? []).concat(value);
    else keep(part, value);
    touch(part);
  }
}

/** Keeps what the page itself knows, such as what is selected and which tab is open. */
export function put(part, value) {
  known[part] = value;
  touch(part);
}

// Shorter words for what is asked often.
export const isAway = () => known.live === false || Boolean(known.gone);
/** The time until which the known state holds: now, or when the connection was lost, or when the board was found gone. */
export function knownUntil() {
  const ends = [known.live === false && known.since, known.gone && known.goneSince];
  return Math.min(Date.now(), ...ends.filter(Boolean));
}
export const cageOf = (port) => known.board?.cages.find((cage) => cage.port === port);
export const linkOf = (port) => known.board?.links.find((link) => link.port === port);
export const boardIn = (slot) => (slot === 0 ? 'main' : known.board?.slots[slot - 1].board);
