import {hideCard, showCard} from './card.js';
import {isPlacing, place as placeChosen} from './catalogue.js';
import {element, find, markPage} from './dom.js';
import {slotOf} from './geometry.js';
import {isMove, partBeside, placeOf} from './panel_moves.js';
import {describe, extendTo, isSelected, kindOf, numberOf, select, selected, toggle} from './selection.js';
import {follow, isAway, known, put} from './store.js';

// The front panel: the server's drawing, whose blocks stand where the page has room for them, and a button on each part of
// it. What changes is changed in place, so that what blinks goes on.

const blocks = new Map(); // name to its element
const buttons = new Map(); // part to its button
const places = new Map(); // part to its place in the drawing
let shown = ''; // the drawing that is on the page
const kBlock = /<svg id="block-[^]*?<\/svg>/g;
let partsOfText = new Map(); // the parts of each block, by the block's text

/** The shapes that the drawing uses stand once on the page. */
function showShapes(drawing) {
  const shapes = find('#shapes');
  if (shapes.firstChild) return;
  const svg = document.createElementNS('http://www.w3.org/2000/svg', 'svg');
  svg.append(document.importNode(drawing.querySelector('defs'), true));
  shapes.append(svg);
}

function buttonOf(part) {
  return element('button', {
    type: 'button',
    class: 'place ' + kindOf(part),
    'data-part': part,
    tabindex: '-1',
    onclick: (event) => choose(part, event),
    onkeydown: (event) => move(part, event),
    onpointerenter: () => showCard(part),
    onpointerleave: hideCard,
    onfocus: ({target}) => {
      if (target.matches(':focus-visible')) showCard(part);
    },
    onblur: hideCard,
  });
}

function choose(part, {ctrlKey, metaKey, shiftKey}) {
  hideCard();
  if (isPlacing() && kindOf(part) === 'port') return placeChosen(part);
  if (kindOf(part) === 'port' && shiftKey) return extendTo(part);
  if (kindOf(part) === 'port' && (ctrlKey || metaKey)) return toggle(part);
  select(part);
  put('tapped', part);
}

/** The parts that the arrow keys reach: all that are there, and while a module is being placed only ports. */
function reachable() {
  const isReachable = (part) => !buttons.get(part).hidden && (!isPlacing() || kindOf(part) === 'port');
  return new Map([...places].filter(([part]) => isReachable(part)));
}

function move(part, event) {
  if (isMove(event.key)) {
    event.preventDefault();
    const to = partBeside(reachable(), part, event.key);
    if (!to) return;
    focusPart(to);
    if (event.shiftKey && kindOf(to) === 'port') extendTo(to, false);
  } else if (event.key === ' ' && kindOf(part) === 'port' && !isPlacing()) {
    event.preventDefault();
    toggle(part);
  }
}

/** Only one part is in the order of the tab key; the arrow keys go on from it. */
export function focusPart(part) {
  const node = buttons.get(part);
  if (!node || node.hidden) return;
  for (const each of buttons.values()) each.tabIndex = -1;
  node.tabIndex = 0;
  node.focus();
}

export const firstPart = () => known.selected?.find((part) => buttons.has(part)) ?? 'port0';
export const partAt = (x, y) =>
  document
    .elementsFromPoint(x, y)
    .map((node) => node.dataset?.part)
    .find(Boolean);

const partOf = (id) => id.replace('place-', '');

function placeButton(block, rectangle) {
  const part = partOf(rectangle.id);
  places.set(part, placeOf(rectangle, block.x, block.y));
  if (!buttons.has(part)) buttons.set(part, buttonOf(part));
  const node = buttons.get(part);
  const view = block.svg.viewBox.baseVal;
  const percent = (value, of) => `${(value / of) * 100}%`;
  const number = (name) => Number(rectangle.getAttribute(name));
  Object.assign(node.style, {
    left: percent(number('x'), view.width),
    width: percent(number('width'), view.width),
    top: percent(number('y'), view.height),
    height: percent(number('height'), view.height),
  });
  if (node.parentNode !== block.node) block.node.append(node);
  node.hidden = false;
}

/** Makes a block of the page look like a fresh drawing of it. @return the block, and the rectangles of the parts in it */
function showBlock(fresh) {
  const name = fresh.id.replace('block-', '');
  if (!blocks.has(name)) {
    const svg = document.createElementNS('http://www.w3.org/2000/svg', 'svg');
    svg.setAttribute('viewBox', fresh.getAttribute('viewBox'));
    svg.setAttribute('aria-hidden', 'true');
    const node = element('div', {class: 'block', 'data-block': name});
    node.append(svg);
    find(name === 'legend' ? '#shapes' : '#panel').append(node);
    blocks.set(name, {node, svg, x: Number(fresh.getAttribute('x')), y: Number(fresh.getAttribute('y'))});
  }
  const block = blocks.get(name);
  const {svg} = block;
  const shapes = [...fresh.children];
  while (svg.children.length > shapes.length) svg.lastElementChild.remove();
  shapes.forEach((shape, i) => {
    if (!svg.children[i]) svg.append(document.importNode(shape, true));
    else if (!svg.children[i].isEqualNode(shape)) svg.children[i].replaceWith(document.importNode(shape, true));
  });
  return {block, rectangles: shapes.filter((shape) => shape.id.startsWith('place-'))};
}

// Sizes in the legend, in units of the drawing.
const kEntryWidth = 146;
const kEntryHeight = 26;
const kToLed = 8; // from the left edge of an entry to the middle of its LED

/** The entries of the legend, each a drawing of its own: shapes, and a text behind them. */
export function legend() {
  const entries = [];
  let shapes = [];
  for (const node of blocks.get('legend')?.svg.children ?? []) {
    shapes.push(node.cloneNode(true));
    if (node.nodeName !== 'text') continue;
    const left = shapes[0].nodeName === 'rect' ? 0 : kToLed; // x of an LED is its middle
    const svg = document.createElementNS('http://www.w3.org/2000/svg', 'svg');
    svg.setAttribute('viewBox', `${Number(shapes[0].getAttribute('x')) - left} 0 ${kEntryWidth} ${kEntryHeight}`);
    svg.setAttribute('role', 'img');
    svg.setAttribute('aria-label', node.textContent);
    svg.append(...shapes);
    entries.push(svg);
    shapes = [];
  }
  return entries;
}

function show() {
  if (!known.picture || !known.board) return;
  if (shown !== known.picture) draw();
  shown = known.picture;
  showSelection();
}

/** Draws a block of the picture. @return the parts in it */
function drawBlock(fresh) {
  const {block, rectangles} = showBlock(fresh);
  for (const rectangle of rectangles) placeButton(block, rectangle);
  return rectangles.map(({id}) => partOf(id));
}

/** Draws the blocks that have changed. @return the parts that are there */
function drawBlocks() {
  const texts = known.picture.match(kBlock);
  const fresh = texts.filter((text) => !partsOfText.has(text));
  // The picture without the blocks that have not changed.
  const changed = known.picture.replace(kBlock, (text) => (fresh.includes(text) ? text : ''));
  const drawing = new DOMParser().parseFromString(changed, 'image/svg+xml').documentElement;
  showShapes(drawing);
  const elements = [...drawing.querySelectorAll('svg[id^="block-"]')];
  const parts = new Map();
  for (const text of texts) parts.set(text, partsOfText.get(text) ?? drawBlock(elements[fresh.indexOf(text)]));
  partsOfText = parts;
  return new Set([...partsOfText.values()].flat());
}

/** The part for the slot of a port. */
const slotPartOf = (port) => 'slot' + slotOf(numberOf(port));

function draw() {
  const held = document.activeElement?.dataset?.part;
  const there = drawBlocks();
  for (const [part, node] of buttons) {
    if (!there.has(part)) node.hidden = true;
  }
  // A part that is no longer there hands its focus to its slot.
  if (held && !there.has(held)) focusPart(slotPartOf(held));
  const isInOrder = [...buttons.values()].some((node) => node.tabIndex === 0 && !node.hidden);
  if (isInOrder) return;
  const first = there.has(firstPart()) ? firstPart() : [...there][0];
  if (buttons.has(first)) buttons.get(first).tabIndex = 0;
}

function setAttribute(node, name, value) {
  if (node.getAttribute(name) !== value) node.setAttribute(name, value);
}

function showSelection() {
  if (!known.board) return;
  // The ports of a slot without a board have no places: their slot is marked.
  const isWithoutPlace = (part) => kindOf(part) === 'port' && (buttons.get(part)?.hidden ?? true);
  const marked = new Set(selected().filter(isWithoutPlace).map(slotPartOf));
  for (const [part, node] of buttons) {
    setAttribute(node, 'aria-label', describe(part));
    setAttribute(node, 'aria-pressed', String(isSelected(part)));
    node.classList.toggle('holds-selected', marked.has(part));
  }
  markPage('placing', isPlacing());
}

export function start() {
  follow(['picture', 'board'], show);
  follow(['selected', 'placing'], showSelection);
  follow(['live', 'gone'], () => find('#board-view').classList.toggle('away', isAway()));
}
