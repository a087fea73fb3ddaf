import {undo} from './activity.js';
import {openCatalogue} from './catalogue.js';
import {button, find, patch} from './dom.js';
import {openHelp} from './keys.js';
import * as states from './states.js';
import {follow, isAway, known} from './store.js';
import {timeOfDay} from './words.js';

// The bar at the top: which board, whether what is shown is live, and acts on the whole.

const kSchemes = {'': ['☾', 'dark'], dark: ['☀', 'light'], light: ['◐', '']};

function applyScheme(scheme) {
  document.documentElement.dataset.scheme = scheme;
  try {
    localStorage.setItem('scheme', scheme);
  } catch {  // a browser that keeps nothing
  }
}

export function nextScheme() {
  const now = document.documentElement.dataset.scheme ?? '';
  applyScheme(kSchemes[now]?.[1] ?? '');
  showActs();
}

function showActs() {
  const scheme = document.documentElement.dataset.scheme ?? '';
  const [sign, next] = kSchemes[scheme] ?? kSchemes[''];
  const ofBoard = known.board && [
    button('Modules', () => openCatalogue(), {title: 'Catalogue of modules (c)', disabled: isAway()}),
    button('Undo', () => undo(), {title: 'Undo the last act (u)', disabled: isAway()}),
    button('Save / load', () => states.open(), {title: 'Saved states (s)', disabled: isAway()}),
  ];
  patch(find('#bar-acts'), [ofBoard, button(sign, nextScheme, {class: 'icon', 'aria-label': `Colours: ${scheme || 'as the system'}; next: ${next || 'as the system'}`, title: 'Colours (t)'}),
    button('?', openHelp, {class: 'icon', 'aria-label': 'Help and keys', title: 'Help and keys (?)'})]);
}

function showLive() {
  const place = find('#live'), trouble = find('#trouble');
  const since = known.since ? timeOfDay(known.since, false) : '';
  const lost = known.live === false ? `No connection since ${since}: is zelsim serve still running? What you see is how it was. This page tries again by itself.`
    : known.gone ? `Since ${timeOfDay(known.goneSince, false)}: ${known.gone}. What you see is how it was; the page goes on when the board is there again.` : '';
  place.textContent = known.live === undefined ? 'connecting' : known.live === false ? 'not connected' : known.gone ? 'no board' : 'live';
  place.className = known.live && !known.gone ? 'good' : known.live === undefined ? '' : 'bad';
  if (trouble.textContent !== lost) trouble.textContent = lost;
  trouble.hidden = !lost;
}

export function start() {
  try {
    applyScheme(localStorage.getItem('scheme') ?? '');
  } catch {
    applyScheme('');
  }
  follow(['live', 'gone', 'since'], showLive);
  follow(['live', 'gone'], showActs);
  let shown = null;
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

