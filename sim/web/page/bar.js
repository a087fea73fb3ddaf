import {openCatalogue} from './catalogue.js';
import {refusal} from './controls.js';
import {button, element, find, markPage, patch} from './dom.js';
import {openHelp} from './keys.js';
import * as states from './states.js';
import {follow, isAway, known} from './store.js';
import {undo} from './undo.js';
import {timeOfDay} from './words.js';

// The bar at the top: which board, whether what is shown is live, and acts on the whole.

/** By scheme: the sign of the button, and the scheme that it leads to. '' is the system's. */
const kSchemes = {'': ['☾', 'dark'], dark: ['☀', 'light'], light: ['◐', '']};

function applyScheme(scheme) {
  document.documentElement.dataset.scheme = scheme;
  try {
    localStorage.setItem('scheme', scheme);
  } catch {
    // a browser that keeps nothing
  }
}

export function nextScheme() {
  const now = document.documentElement.dataset.scheme ?? '';
  applyScheme(kSchemes[now]?.[1] ?? '');
  showActs();
}

const kUndo = 'bar-undo';

const undoLast = () =>
  element(
    'span',
    {class: 'doing', 'data-key': kUndo},
    button('Undo', () => undo(kUndo), {title: 'Undo the last act (u)', disabled: isAway()}),
    refusal(kUndo),
  );

function showActs() {
  const scheme = document.documentElement.dataset.scheme ?? '';
  const [sign, next] = kSchemes[scheme] ?? kSchemes[''];
  const ofBoard = known.board && [
    button('Modules', () => openCatalogue(), {title: 'Catalogue of modules (c)', disabled: isAway()}),
    undoLast(),
    button('Save / load', () => states.open(), {title: 'Saved states (s)', disabled: isAway()}),
  ];
  const place = find('#bar-acts');
  place.classList.toggle('of-board', Boolean(known.board));
  patch(place, [
    ofBoard,
    button(sign, nextScheme, {
      class: 'icon',
      'aria-label': `Colours: ${scheme || 'as the system'}; next: ${next || 'as the system'}`,
      title: 'Colours (t)',
    }),
    button('?', openHelp, {class: 'icon', 'aria-label': 'Help and keys', title: 'Help and keys (?)'}),
  ]);
}

// Statuses with which the server refuses a page.
const kAbsent = 404;
const kBusy = 503;
const kAway = 'What you see is how it was';

const sentence = (text) => `${text[0].toUpperCase()}${text.slice(1)}.`;

function refusedText({status, text}) {
  if (status === kAbsent) return sentence(text);
  if (status === kBusy) return 'Too many pages are open on this server: close some that nobody needs.';
  return `The server refuses this page: ${text}.`;
}

/** Why what is shown may no longer hold; '' while it does. */
function troubleText() {
  if (known.refused) return `${refusedText(known.refused)} This page tries again by itself.`;
  if (known.live === false) {
    const since = known.since ? timeOfDay(known.since, false) : '';
    if (known.silent) {
      const text = `Nothing has come from zelsim serve since ${since}: it hangs, or the network is gone.`;
      return `${text} ${kAway}. This page goes on by itself.`;
    }
    return `No connection since ${since}: is zelsim serve still running? ${kAway}. This page tries again by itself.`;
  }
  if (!known.gone) return '';
  const since = timeOfDay(known.goneSince, false);
  return `Since ${since}: ${known.gone}. ${kAway}; the page goes on when the board is there again.`;
}

function liveText() {
  if (known.live === undefined) return 'connecting';
  if (known.refused?.status === kAbsent) return 'not opened';
  if (known.silent) return 'no answer';
  if (known.live === false) return 'not connected';
  return known.gone ? 'no board' : 'live';
}

function showLive() {
  const place = find('#live');
  const trouble = find('#trouble');
  const text = troubleText();
  place.textContent = liveText();
  place.classList.toggle('good', Boolean(known.live) && !known.gone);
  place.classList.toggle('bad', known.live === false || Boolean(known.gone));
  const toRack = known.refused?.status === kAbsent && element('a', {href: '/'}, 'Show all boards');
  const name = known.board && `${known.board.board}: `;
  patch(trouble, [name, text, toRack && ' ', toRack]);
  trouble.hidden = !text;
  markPage('in-trouble', text !== '');
}

export function start() {
  try {
    applyScheme(localStorage.getItem('scheme') ?? '');
  } catch {
    applyScheme('');
  }
  follow(['live', 'gone', 'since', 'refused', 'silent'], showLive);
  follow(['live', 'gone', 'acts'], showActs);
  let shown = null; // the board whose name is shown
  follow(['board'], () => {
    if (shown === known.board?.board) return;
    shown = known.board?.board;
    find('#board-name').textContent = shown ?? '';
    document.title = shown ? `${shown} – zelboard` : 'zelboard';
    showActs();
  });
  showActs();
  showLive();
}
