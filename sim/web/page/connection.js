import * as address from './address.js';
import {serve} from './feed.js';
import {known, put, take} from './store.js';

// To the server and back: news, documents, acts.

let feed;
let query = 'rack';
let wantsRequests = false;

function subscribe() {
  feed.postMessage({query, requests: wantsRequests});
}

/** Follows a board, or with null all of them, whose news go to `takeRack`. */
export function follow(board, takeRack) {
  query = board === null ? 'rack' : `board=${encodeURIComponent(board)}`;
  const channel = new MessageChannel();
  if (window.SharedWorker) {
    const address = new URL('./feed.js', import.meta.url);
    feed = new SharedWorker(address, {type: 'module', name: 'zelboard'}).port;
  } else {
    feed = channel.port1;
    serve(channel.port2);
  }
  feed.onmessage = ({data}) => {
    if (typeof data === 'string') return take(JSON.parse(data));
    if (data.live !== undefined && data.live !== known.live) put('since', new Date());
    if (!takeRack) return take(data);
    take({live: data.live ?? known.live, refused: data.live === undefined ? known.refused : data.refused});
    takeRack(data);
  };
  subscribe();
  addEventListener('pagehide', () => feed.postMessage('ends'));
  addEventListener('pageshow', ({persisted}) => persisted && location.reload());
}

export function wantRequests(wants) {
  if (wants === wantsRequests) return;
  wantsRequests = wants;
  if (feed) subscribe();
}

function pathOf(path) {
  const board = address.read('board');
  if (!board) return '/api/' + path;
  return `/api/${path}${path.includes('?') ? '&' : '?'}board=${encodeURIComponent(board)}`;
}

/** @return the document; fails with what the server says against it */
export async function ask(path, fields) {
  let answer;
  try {
    answer = await fetch(pathOf(path), fields && {method: 'POST', body: JSON.stringify(fields)});
  } catch {
    throw new Error('no connection to zelsim serve');
  }
  const document = await answer.json();
  if (!answer.ok) throw new Error(document.error);
  return document;
}

/** Does several acts, each with its `action` and fields, as one.
 *  @param how  its `title`; `whole` for all of them or none
 *  @return the commands that were `done`, and those that were `refused`, each with its `error` and its place as `act` */
export const sendTogether = (acts, how) => ask('together', {acts, ...how});

/** Does what a command does. @return the command as the shell has it */
export async function send(action, fields = {}) {
  const {done} = await ask(action.replaceAll(' ', '/'), fields);
  return done;
}
