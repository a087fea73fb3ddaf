import * as dock from './dock.js';
import {element, find, patch} from './dom.js';
import {kPage, kPagesPerSector, kSector, kSectors, numbers} from './geometry.js';
import {regionOf} from './inspector_sector.js';
import {isSelected, kindOf, numberOf, select, selected} from './selection.js';
import {follow, isAway, known} from './store.js';
import {address, bytes, plural} from './words.js';

// The flash as a map: a band for each region with its sectors, where something is being written, and how often each sector
// was erased.

const kSmall = 16; // sectors: two such regions stand beside each other
const kSameLine = 2; // pixels by which two cells of one line may differ in height
const cells = []; // by sector
let before = null; // used pages and erases of each sector at the last look
let cursor = null; // the sector that was written last
let followed = null; // the band that was brought into view for the cursor

/** The level of wear, 0 to 5. The levels 1 to 5 begin at 1, 4, 10, 32 and 100 erases. */
const levelOf = (erases) => (erases === 0 ? 0 : Math.min(5, 1 + Math.floor(Math.log10(erases) * 2)));

function usedText(pages) {
  if (pages === 0) return 'erased';
  if (pages === kPagesPerSector) return 'full';
  return `${Math.ceil((100 * pages) / kPagesPerSector)} % used`;
}

function cellOf(sector) {
  return element('button', {
    type: 'button',
    class: 'cell',
    tabindex: '-1',
    'data-sector': sector,
    onclick: () => select('sector' + sector),
    onmouseenter: () => tell(sector),
    onfocus: () => tell(sector),
    onkeydown: move,
  });
}

const kHint = 'Choose a sector to see its bytes.';

/** Tells about the sector that is selected, or gives a hint. */
function tellSelected() {
  const sector = selected().find((part) => kindOf(part) === 'sector');
  if (sector) tell(numberOf(sector));
  else find('#flash-told').textContent = kHint;
}

function tell(sector) {
  const {used, erases} = known.sectors;
  const place = `Sector ${sector} at ${address(sector * kSector)}, ${regionOf(sector).region}`;
  find('#flash-told').textContent = `${place}: ${usedText(used[sector])}, erased ${plural(erases[sector], 'time')}`;
}

function move(event) {
  const from = Number(event.currentTarget.dataset.sector);
  const steps = {ArrowLeft: from - 1, ArrowRight: from + 1, Home: 0, End: kSectors - 1};
  let to = steps[event.key];
  if (event.key === 'ArrowDown') to = inLine(from, 1);
  if (event.key === 'ArrowUp') to = inLine(from, -1);
  if (to === undefined || !cells[to]) return;
  event.preventDefault();
  event.stopPropagation();
  focusCell(to);
}

/** The nearest cell in the line above (-1) or below (1); undefined if there is none. */
function inLine(from, way) {
  const {left, top} = cells[from].getBoundingClientRect();
  let best;
  let distance = Infinity;
  for (let to = from + way; cells[to]; to += way) {
    const there = cells[to].getBoundingClientRect();
    if (Math.abs(there.top - top) < kSameLine) continue;
    if (best !== undefined && Math.abs(there.top - cells[best].getBoundingClientRect().top) > kSameLine) break;
    if (Math.abs(there.left - left) < distance) {
      distance = Math.abs(there.left - left);
      best = to;
    }
  }
  return best;
}

function focusCell(sector) {
  for (const cell of cells) cell.tabIndex = -1;
  cells[sector].tabIndex = 0;
  cells[sector].focus();
}

function band({region, start, size}) {
  const first = start / kSector;
  const count = size / kSector;
  return element(
    'div',
    {
      class: `band${region === 'unused' ? ' unused' : ''}${count > kSmall ? ' large' : ''}`,
      'data-region': first,
    },
    element('div', {class: 'band-name'}, element('b', {}, region), element('span', {class: 'share'})),
    element(
      'div',
      {class: 'band-cells', role: 'group', 'aria-label': region},
      numbers(first, count).map((sector) => cells[sector]),
    ),
  );
}

function build() {
  cells.push(...numbers(0, kSectors).map(cellOf));
  cells[0].tabIndex = 0;
  find('#map').append(...known.regions.map(band));
}

// ---- where something is being written

/** Looks which sector was erased or filled since the last look. @return the last one of several; -1 for none, and also if a count
 *  has gone back: then the board was reset, or its flash replaced */
function changedSector() {
  const {used, erases} = known.sectors;
  const last = before;
  before = {used: [...used], erases: [...erases]};
  if (!last) return -1;
  const isReplaced = erases.some((count, sector) => count < last.erases[sector]);
  if (isReplaced) return -1;
  return used.findLastIndex((pages, sector) => erases[sector] > last.erases[sector] || pages > last.used[sector]);
}

/** The server tells where programs write: the counts alone do not show a write that leaves its sector as full as it was. */
function watchWriting() {
  const sector = changedSector();
  if (sector >= 0) cursor = sector;
  cursor = known.written_sector ?? cursor;
  followed = isWriting() ? bandInView() : null;
}

/** Brings the band that a program begins to write into view, once: after that people may scroll away. @return the band */
function bandInView() {
  const band = cells[cursor].closest('.band');
  if (band !== followed && dock.isOpen('flash')) scrollMapTo(band);
  return band;
}

/** Scrolls the map alone, never the page. */
function scrollMapTo(band) {
  const view = find('#view-flash');
  const place = view.getBoundingClientRect();
  const {top, bottom} = band.getBoundingClientRect();
  if (bottom > place.bottom) view.scrollTop += bottom - place.bottom;
  else if (top < place.top) view.scrollTop -= place.top - top;
}

/** Whether a program writes, as the server says, and the place is known. */
const isWriting = () => cursor !== null && Boolean(known.writing) && !isAway();

function writingText() {
  if (cursor === null) {
    if (known.broken_off) return `Before this page was opened: ${known.broken_off}`;
    return 'Nothing has been written since this page was opened.';
  }
  const place = `${regionOf(cursor).region} at ${address(cursor * kSector)}`;
  if (isWriting()) return `Writing ${place}`;
  const end = known.broken_off ? `; ${known.broken_off}` : '';
  return `Last written: ${place}${end}`;
}

function showWriting() {
  const place = find('#writing');
  const isOn = isWriting();
  place.classList.toggle('active', isOn);
  patch(place, [writingText()]);
  cells.forEach((cell, sector) => cell.classList.toggle('cursor', isOn && sector === cursor));
}

// ---- the map

function fillOf(pages) {
  if (pages === kPagesPerSector) return 'full';
  return pages ? 'part' : 'blank';
}

function showCells() {
  const {used, erases} = known.sectors;
  cells.forEach((cell, sector) => {
    const cursorClass = cell.classList.contains('cursor') ? ' cursor' : '';
    const look = `cell ${fillOf(used[sector])} wear${levelOf(erases[sector])}${cursorClass}`;
    if (cell.className !== look) {
      cell.className = look;
      cell.setAttribute('aria-label', `Sector ${sector}, ${usedText(used[sector])}, erased ${plural(erases[sector], 'time')}`);
    }
    const pressed = String(isSelected('sector' + sector));
    if (cell.getAttribute('aria-pressed') !== pressed) cell.setAttribute('aria-pressed', pressed);
  });
}

/** How much of a region is in use. A small region has no room for its erases; its sectors show them. */
function shareText({region, size, erases}, pages) {
  if (pages === 0 && region === 'unused') return '';
  const isLarge = size / kSector > kSmall;
  return [
    pages === 0 ? bytes(size) : `${bytes(pages * kPage)} of ${bytes(size)}`,
    isLarge && erases > 0 && plural(erases, 'erase'),
  ]
    .filter(Boolean)
    .join(', ');
}

function showShares() {
  const {used} = known.sectors;
  for (const region of known.regions) {
    const first = region.start / kSector;
    const pages = used.slice(first, first + region.size / kSector).reduce((sum, count) => sum + count, 0);
    const share = find(`[data-region="${first}"] .share`);
    const text = shareText(region, pages);
    if (share.textContent !== text) share.textContent = text;
  }
}

/** At how many erases the levels 1 to 5 begin. */
const kLevelTexts = ['1', '4', '10', '32', '100+'];

function showScale() {
  const most = Math.max(...known.sectors.erases);
  patch(find('#flash-scale'), [
    element('i', {class: 'cell blank'}),
    'erased',
    element('i', {class: 'cell part'}),
    'used in part',
    element('i', {class: 'cell full'}),
    'full',
    element('span', {class: 'gap'}, 'Times erased:'),
    ...kLevelTexts.flatMap((text, i) => [element('i', {class: `cell blank wear${i + 1}`}), text]),
    element(
      'span',
      {class: 'gap'},
      most ? `most: ${plural(most, 'time')} (sector ${known.sectors.erases.indexOf(most)})` : 'no sector was erased yet',
    ),
  ]);
}

function show() {
  if (!known.sectors || !known.regions) return;
  if (cells.length === 0) build();
  watchWriting();
  showCells();
  showShares();
  showScale();
  showWriting();
}

export function start() {
  dock.add(
    'flash',
    'Flash',
    element('p', {id: 'writing', role: 'status'}),
    element('p', {id: 'flash-scale', class: 'scale'}),
    element('div', {id: 'map'}),
    element('p', {id: 'flash-told', class: 'hint'}, kHint),
  );
  follow(['sectors', 'regions', 'selected', 'writing', 'written_sector', 'broken_off', 'live', 'gone'], show);
  follow(['selected', 'regions'], () => {
    if (cells.length > 0) tellSelected();
  });
}
