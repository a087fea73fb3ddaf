import {act} from './acts.js';
import {load} from './connection.js';
import {button, element, find, markPage, patch} from './dom.js';
import {firstPart, focusPart, partAt} from './panel.js';
import {kindOf, numberOf, select} from './selection.js';
import {cageOf, follow, isAway, known, put} from './store.js';

// The catalogue of modules, a drawer. A module is dragged from it into a cage; or it is chosen, and then a port: with the
// pointer, or with the arrow keys and Enter.

const kColumns = 2;
const kSlop = 6; // pixels after which a pressed pointer drags a module
let ports = []; // into which a chosen module goes at once
let opener = null; // what had the focus when the drawer was opened
let filter = ''; // what somebody looks for
let stop = ''; // the module that the tab key leads to

export const isPlacing = () => Boolean(known.placing);

/** Opens the drawer. If ports are given, a module that is chosen goes into them at once. */
export async function openCatalogue(...into) {
  ports = into;
  filter = '';
  opener = document.activeElement;
  if (!known.modules) await load('modules', 'modules');
  if (!known.modules) return;
  put('dropped', null);
  put('catalogue', true);
  requestAnimationFrame(() => {
    const input = find('#catalogue input');
    if (!input) return;
    input.value = '';
    input.focus();
  });
}

export function closeCatalogue() {
  if (!known.catalogue) return false;
  put('catalogue', false);
  put('placing', null);
  if (opener?.isConnected) opener.focus();
  else find('#inspector').focus();
  return true;
}

function plug(module, into) {
  const control = into.length === 1 ? `plug${into[0]}` : 'plug-all';
  return act(
    control,
    'plug',
    into.map((port) => ({port, module})),
  );
}

const kFirstFixedCage = 24; // a port of the main board

async function choose(module) {
  if (ports.length > 0) {
    const into = ports;
    closeCatalogue();
    return plug(module, into);
  }
  put('placing', module);
  const firstCage = known.board.cages[0]?.port ?? kFirstFixedCage;
  const first = firstPart();
  focusPart(cageOf(numberOf(first)) ? first : 'port' + firstCage);
}

/** A port is chosen for the module that is being placed. */
export async function place(part) {
  const module = known.placing;
  put('placing', null);
  put('catalogue', false);
  select(part);
  await plug(module, [numberOf(part)]);
  focusPart(part);
}

export function cancelPlacing() {
  if (!isPlacing()) return false;
  put('placing', null);
  find('#catalogue input')?.focus();
  return true;
}

// ---- dragging

let drag = null; // the pressed module, where it was pressed, by which pointer; `ghost`, its name below the pointer, once it moves

const isPort = (part) => Boolean(part) && kindOf(part) === 'port';

/** Marks the cage that a module is over. */
function markTarget(part) {
  for (const node of document.querySelectorAll('.place.target')) node.classList.remove('target');
  if (isPort(part) && cageOf(numberOf(part))) find(`[data-part="${part}"]`).classList.add('target');
}

/** What stands behind the name of a dragged module: over a port without a cage, that it has none; else ''. */
const whyNot = (part) => (isPort(part) && !cageOf(numberOf(part)) ? `: port ${numberOf(part)} has no cage` : '');

/** The name of the module goes below the pointer, so that the port's number stays visible, and never beyond the right edge. */
function showGhost({clientX, clientY}) {
  const {ghost} = drag;
  const left = Math.min(clientX + 12, innerWidth - ghost.offsetWidth - 8);
  Object.assign(ghost.style, {left: left + 'px', top: clientY + 18 + 'px'});
}

function begin(module, event) {
  if (event.button !== 0) return;
  put('dropped', null);
  const {currentTarget: source, clientX: x, clientY: y, pointerId: pointer} = event;
  source.dragged = false;
  drag = {module, x, y, pointer, source, ghost: null};
  source.setPointerCapture(pointer);
}

function go(event) {
  if (!drag || drag.pointer !== event.pointerId) return;
  const far = Math.hypot(event.clientX - drag.x, event.clientY - drag.y) > kSlop;
  if (!drag.ghost && !far) return;
  if (!drag.ghost) {
    drag.ghost = element('div', {class: 'ghost'}, drag.module);
    document.body.append(drag.ghost);
    markPage('dragging', true);
  }
  const part = partAt(event.clientX, event.clientY);
  markTarget(part);
  drag.ghost.textContent = drag.module + whyNot(part);
  showGhost(event);
}

/** Ends a drag. @return the module that was dragged; null where it was a click */
function letGo() {
  const {module, ghost, source} = drag;
  drag = null;
  markPage('dragging', false);
  if (!ghost) return null;
  ghost.remove();
  source.dragged = true; // the click that follows belongs to the drag
  markTarget(null);
  return module;
}

function end(event) {
  if (!drag) return;
  const module = letGo();
  if (!module || event.type !== 'pointerup') return;
  const part = partAt(event.clientX, event.clientY);
  if (!isPort(part)) return put('dropped', module);
  select(part); // the inspector tells why if the port has no cage
  plug(module, [numberOf(part)]);
}

/** Ends a drag with nothing plugged. @return whether there was one */
export function cancelDrag() {
  if (!drag?.ghost) return false;
  letGo();
  return true;
}

function rateText(rate) {
  if (rate >= 1000) return `${rate / 1000} GBd`;
  return rate ? `${rate} MBd` : '';
}

/** The module that a key leads to from another one, in a list of two columns. From the first row ArrowUp leads to the search.
 *  Undefined if the key leads nowhere. */
function moduleAt(key, items, from) {
  const last = items.length - 1;
  const places = {
    ArrowLeft: from - 1,
    ArrowRight: from + 1,
    ArrowUp: from - kColumns,
    ArrowDown: from + kColumns,
    Home: 0,
    End: last,
  };
  if (key === 'ArrowUp' && from < kColumns) return find('#catalogue input');
  return key in places ? items[Math.min(places[key], last)] : undefined;
}

/** The arrow keys go from the search into the list, and through it. */
function move(event) {
  const items = [...find('#catalogue').querySelectorAll('.module')];
  const from = items.indexOf(event.currentTarget);
  let to;
  if (from >= 0) to = moduleAt(event.key, items, from);
  else if (event.key === 'ArrowDown') to = items[0]; // from the search
  if (!to) return;
  event.preventDefault();
  to.focus();
}

/** The list is one stop of the tab key. */
function stopAt({currentTarget}) {
  stop = currentTarget.dataset.key;
  for (const one of find('#catalogue').querySelectorAll('.module')) one.tabIndex = one === currentTarget ? 0 : -1;
}

function item({module, part_number: part, rate_mbd: rate, phy}) {
  const click = ({currentTarget}) => {
    if (currentTarget.dragged) currentTarget.dragged = false;
    else choose(module);
  };
  return element(
    'button',
    {
      type: 'button',
      class: 'module',
      'data-key': module,
      'aria-pressed': String(known.placing === module),
      tabindex: module === stop ? '0' : '-1',
      onclick: click,
      onkeydown: move,
      onfocus: stopAt,
      onpointerdown: (event) => begin(module, event),
      onpointermove: go,
      onpointerup: end,
      onpointercancel: end,
    },
    element('b', {}, module),
    element('span', {}, part.trim()),
    element(
      'small',
      {},
      [rateText(rate), phy ? 'copper PHY' : ''].filter(Boolean).join(', '),
    ),
  );
}

/** What to do now, in words. */
function nextStep() {
  if (ports.length > 0) return `Choose one for port ${ports.join(', ')}.`;
  if (known.placing) return `${known.placing}: choose a port (a click, or arrow keys and Enter).`;
  if (known.dropped) return `${known.dropped} was dropped beside the cages: nothing is plugged. Drag it into a cage.`;
  return 'Drag one into a cage, or choose one and then a port.';
}

function show() {
  let drawer = find('#catalogue');
  if (!drawer && !known.catalogue) return;
  if (!drawer) {
    drawer = element('aside', {id: 'catalogue', 'aria-label': 'Catalogue of modules'});
    document.body.append(drawer);
  }
  drawer.hidden = !known.catalogue;
  markPage('catalogue-open', !drawer.hidden);
  if (drawer.hidden) return;
  const shown = known.modules.filter(({module, part_number: part}) =>
    `${module} ${part}`.toLowerCase().includes(filter.toLowerCase()),
  );
  if (!shown.some(({module}) => module === stop)) stop = shown[0]?.module;
  patch(drawer, [
    element(
      'div',
      {class: 'row'},
      element('h2', {}, 'Modules'),
      button('×', closeCatalogue, {class: 'quiet', 'aria-label': 'Close the catalogue'}),
    ),
    element('p', {class: 'hint', role: 'status'}, nextStep()),
    element('input', {
      type: 'search',
      placeholder: 'Find a module',
      'aria-label': 'Find a module',
      onkeydown: (event) => {
        if (event.key !== 'Enter' || shown.length !== 1) return move(event);
        event.preventDefault(); // else the key would press the element that gets the focus
        choose(shown[0].module);
      },
      oninput: ({target: {value}}) => {
        filter = value;
        show(); // at once: the next key may be Tab or Enter, which act on the list that is shown
      },
    }),
    element('div', {class: 'modules', role: 'group', 'aria-label': 'Modules'}, shown.map(item)),
    shown.length === 0 && element('p', {class: 'hint'}, 'No module of this name.'),
  ]);
}

export function start() {
  follow(['catalogue', 'modules', 'placing', 'dropped'], show);
  follow(['live', 'gone'], () => {
    if (isAway()) closeCatalogue();
  });
}
