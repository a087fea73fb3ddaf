import * as dock from './dock.js';
import {element, find, numbers, patch} from './dom.js';
import {isSelected, select} from './selection.js';
import {regionOf} from './inspector_sector.js';
import {follow, known} from './store.js';
import {address, bytes, plural, spanText} from './words.js';

// The flash as a map: a band for each region with its sectors, where something is being written, and how often each sector
// was erased.

const kSectors = 512;
const kSector = 0x10000;
const kPage = 256;
const cells = [];
let before = null; // used pages and erases of each sector, as they were last
let burst = null; // what is being written now

const levelOf = (erases) => (erases === 0 ? 0 : Math.min(5, 1 + Math.floor(Math.log10(erases) * 2)));
const usedText = (pages) => (pages === 0 ? 'erased' : pages === 256 ? 'full' : `${Math.ceil(pages / 2.56)} % used`);

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

function tell(sector) {
  const {used, erases} = known.sectors;
  const place = `Sector ${sector} at ${address(sector * kSector)}, ${regionOf(sector).region}`;
  find('#flash-told').textContent = `${place}: ${usedText(used[sector])}, erased ${plural(erases[sector], 'time')}`;
}

// Up and down go to the nearest cell of the line above or below.
function move(event) {
  const from = Number(event.currentTarget.dataset.sector);
  const steps = {ArrowLeft: from - 1, ArrowRight: from + 1, Home: 0, End: kSectors - 1};
  let to = steps[event.key];
  if (event.key === 'ArrowDown' || event.key === 'ArrowUp') to = inLine(from, event.key === 'ArrowDown' ? 1 : -1);
  if (to === undefined || !cells[to]) return;
  event.preventDefault();
  event.stopPropagation();
  focusCell(to);
}

function inLine(from, way) {
  const {left, top} = cells[from].getBoundingClientRect();
  let best;
  let distance = Infinity;
  for (let to = from + way; cells[to]; to += way) {
    const there = cells[to].getBoundingClientRect();
    if (Math.abs(there.top - top) < 2) continue;
    if (best !== undefined && Math.abs(there.top - cells[best].getBoundingClientRect().top) > 2) break;
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
    {class: 'band' + (region === 'unused' ? ' unused' : ''), 'data-region': first},
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

// ---- what is being written

const kQuiet = 2500; // milliseconds without a change end it

// How much a program means to write nobody knows: what is known is how much it has written, and how fast.
function watchWriting() {
  const {used, erases} = known.sectors;
  const now = Date.now();
  if (!before) {
    before = {used: [...used], erases: [...erases]};
    return;
  }
  let last = null;
  numbers(0, kSectors).forEach((sector) => {
    const erased = erases[sector] !== before.erases[sector];
    const filled = used[sector] > before.used[sector];
    if (!erased && !filled) return;
    if (!burst || now - burst.at > kQuiet) burst = {began: now, at: now, erased: new Set(), pages: 0, writing: 0};
    burst.at = now;
    last = sector;
    if (erased) burst.erased.add(sector);
    if (filled) {
      burst.writing ||= now;
      burst.pages += used[sector] - (erased ? 0 : before.used[sector]);
    }
  });
  if (last !== null) burst.cursor = last;
  before = {used: [...used], erases: [...erases]};
}

function progress() {
  const region = regionOf(burst.cursor);
  const place = ` at ${address(burst.cursor * kSector)}: `;
  if (burst.pages === 0)
    return [element('b', {}, `Erasing ${region.region}`), place + plural(burst.erased.size, 'sector') + ' erased'];
  const seconds = Math.max(0.2, (burst.at - burst.writing) / 1000);
  const speed = (burst.pages * kPage) / seconds;
  const done = burst.cursor * kSector + known.sectors.used[burst.cursor] * kPage - region.start;
  const left = region.size - done;
  const isKnown = seconds > 1 && left > 0; // a speed of less than a second says little
  const later = isKnown ? `, ${bytes(speed)}/s; the rest of the region would take ${spanText(left / speed)} at most` : '';
  return [
    element('b', {}, `Writing ${region.region}`),
    `${place}${bytes(burst.pages * kPage)} written${later}`,
    element('progress', {
      max: 1,
      'aria-label': `Place in ${region.region}`,
      title: `Place in ${region.region}`,
      value: done / region.size,
    }),
  ];
}

function showWriting() {
  const active = burst && Date.now() - burst.at < kQuiet;
  const place = find('#writing');
  place.classList.toggle('active', Boolean(active));
  patch(
    place,
    active
      ? progress()
      : burst
        ? [`Last written: ${regionOf(burst.cursor).region}, ${bytes(burst.pages * 256)}`]
        : ['Nothing is being written.'],
  );
  cells.forEach((cell, sector) => cell.classList.toggle('cursor', Boolean(active) && sector === burst.cursor));
  dock.count('flash', active ? 'writing' : '');
}

// ---- the map

function fillOf(pages) {
  if (pages === 256) return 'full';
  return pages ? 'part' : 'blank';
}

function showCells() {
  const {used, erases} = known.sectors;
  cells.forEach((cell, sector) => {
    const cursor = cell.classList.contains('cursor') ? ' cursor' : '';
    const look = `cell ${fillOf(used[sector])} wear${levelOf(erases[sector])}${cursor}`;
    if (cell.className !== look) {
      cell.className = look;
      cell.setAttribute('aria-label', `Sector ${sector}, ${usedText(used[sector])}, erased ${plural(erases[sector], 'time')}`);
    }
    const pressed = String(isSelected('sector' + sector));
    if (cell.getAttribute('aria-pressed') !== pressed) cell.setAttribute('aria-pressed', pressed);
  });
}

function showShares() {
  const {used} = known.sectors;
  for (const {start, size, erases, region} of known.regions) {
    const first = start / kSector;
    const pages = used.slice(first, first + size / kSector).reduce((sum, count) => sum + count, 0);
    const share = find(`[data-region="${first}"] .share`);
    const text =
      region === 'unused' && !pages
        ? ''
        : `${bytes(pages * 256)} of ${bytes(size)}${erases ? `, ${plural(erases, 'erase')}` : ''}`;
    if (share.textContent !== text) share.textContent = text;
  }
}

function showScale() {
  const most = Math.max(...known.sectors.erases);
  patch(find('#flash-scale'), [
    element('i', {class: 'cell blank'}),
    'erased',
    element('i', {class: 'cell part'}),
    'used in part',
    element('i', {class: 'cell full'}),
    'full',
    element('span', {class: 'gap'}, 'Erased:'),
    ...[
      ['1', 1],
      ['4', 2],
      ['10', 3],
      ['32', 4],
      ['100+', 5],
    ].flatMap(([text, level]) => [element('i', {class: `cell blank wear${level}`}), text]),
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
    element('p', {id: 'flash-told', class: 'hint'}, 'Choose a sector to see its bytes.'),
  );
  follow(['sectors', 'regions', 'selected'], show);
  setInterval(() => known.sectors && known.regions && cells.length && !document.hidden && burst && showWriting(), 500);
}
