import * as address from './address.js';
import {serve} from './feed.js';
import {known, put, take} from './store.js';

// To the server and back: news, documents, acts.

let feed;
let query = '';
let wantsRequests = false;
let waiting = new AbortController(); // ends what is asked just now

function subscribe() {
  feed.postMessage({query, requests: wantsRequests});
}

/** Follows a board by its name, '' for the server's only one; or with null all boards, whose news go to `takeRack`. */
export function followBoard(board, takeRack) {
  query = board === null ? 'rack' : `board=${encodeURIComponent(board)}`;
  if (window.SharedWorker) {
    const feedUrl = new URL('./feed.js', import.meta.url);
    feed = new SharedWorker(feedUrl, {type: 'module', name: 'zelboard'}).port;
  } else {
    const channel = new MessageChannel();
    feed = channel.port1;
    serve(channel.port2);
  }
  feed.onmessage = ({data}) => {
    if (typeof data === 'string') take(JSON.parse(data));
    else takeParts(data, takeRack);
  };
  subscribe();
  addEventListener('pagehide', () => feed.postMessage('ends'));
  // A page that Back brings from the browser's memory has left its feed.
  addEventListener('pageshow', ({persisted}) => {
    if (persisted) location.reload();
  });
}

/** Takes news in parts. On the rack the page keeps only the state of the connection, and the boards go to `takeRack`. */
function takeParts(parts, takeRack) {
  if (parts.silent) endWaiting();
  if (!takeRack) return take(parts);
  // What the news do not have stays as it was.
  const {live = known.live, refused = known.refused, silent = known.silent, since = known.since} = parts;
  take({live, refused, silent, since});
  takeRack(parts);
}

export function wantRequests(wants) {
  if (wants === wantsRequests) return;
  wantsRequests = wants;
  if (feed) subscribe();
}

/** The server says nothing any more: what waits for its answers fails. */
function endWaiting() {
  waiting.abort();
  waiting = new AbortController();
}

function pathOf(path) {
  const board = address.read('board');
  if (!board) return '/api/' + path;
  return `/api/${path}${path.includes('?') ? '&' : '?'}board=${encodeURIComponent(board)}`;
}

/** Asks for a document about the page's board; otherwise like askAt(). */
export const ask = (path, fields) => askAt(pathOf(path), fields);

/** Asks for a document that does not change, and keeps its member `path` as a part. A failure leaves the part unknown:
 *  who wants it loads it again when a stream begins. */
export const load = (path, part) =>
  ask(path).then(
    (answer) => put(part, answer[path]),
    () => {},
  );

/** @param fields  are posted; without them the document is got
 *  @return the document; fails with the server's reason if it refuses, or because the server does not answer */
export async function askAt(address, fields) {
  let answer;
  let content;
  const {signal} = waiting;
  const posted = fields && {method: 'POST', body: JSON.stringify(fields)};
  try {
    answer = await fetch(address, {...posted, signal});
    content = await answer.json();
  } catch {
    if (signal.aborted) throw new Error('zelsim serve does not answer; when it goes on, it may still do this');
    throw new Error('no connection to zelsim serve');
  }
  if (!answer.ok) throw new Error(content.error);
  return content;
}

/** Does several acts, each with its `action` and fields, as one.
 *  @param how  as actTogether() has it
 *  @return the commands that were `done`, and those that were `refused`, each with its `error` and its place as `act` */
export const sendTogether = (acts, how) => ask('together', {acts, ...how});

/** Does what a command does. @return the command as the shell has it */
export async function send(action, fields = {}) {
  const {done} = await ask(action.replaceAll(' ', '/'), fields);
  return done;
}
