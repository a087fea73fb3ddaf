import * as address from './address.js';
import {isPart, kNumbered, numbers, slotOf} from './geometry.js';
import {alarmsOf, warningsOf} from './optics.js';
import {boardIn, cageOf, follow, known, linkOf, put} from './store.js';
import {ledLabel, ledState, linkText, signsOf, supplyText} from './words.js';

// What is selected: parts of the board by name, such as port5, slot2, supply1, led-alarm, sensor or sector32. Several ports
// may be selected for one act.

export const kindOf = (part) => (part.startsWith('led-') ? 'led' : part.replace(/\d+$/, ''));
export const numberOf = (part) => Number(part.match(/\d+$/)?.[0]);
/** The name of an LED in the board's document: the part led-ring-fail is ring_fail there, led-power1 is power_1. */
export const ledOf = (part) =>
  part
    .slice('led-'.length)
    .replace('-', '_')
    .replace(/power(\d)/, 'power_$1');

export const selected = () => known.selected ?? [];
export const isSelected = (part) => selected().includes(part);

function choose(parts, isStep) {
  put('selected', parts);
  address.write({select: parts.join(',')}, isStep);
}

export const select = (...parts) => choose(parts, true);

const selectedPorts = () => selected().filter((part) => kindOf(part) === 'port');

/** Adds a port to those that are selected, or takes it out. */
export function toggle(part) {
  const ports = selectedPorts();
  if (ports.includes(part)) select(...ports.filter((one) => one !== part));
  else select(...ports, part);
}

/** Selects all ports from the one that was selected last to this one.
 *  @param isStep  false where the arrow keys extend a range port by port */
export function extendTo(part, isStep = true) {
  const ports = selectedPorts();
  const ends = [ports.at(-1) ?? part, part].map(numberOf);
  const first = Math.min(...ends);
  const last = Math.max(...ends);
  const range = numbers(first, last - first + 1).map((number) => 'port' + number);
  choose([...new Set([...ports, ...range])], isStep);
}

/** Whether a name from the page's address can be a part of a board. */
function canBe(part) {
  if (!/^[a-z][a-z0-9-]*$/.test(part)) return false;
  const kind = kindOf(part);
  return !kNumbered.includes(kind) || isPart(kind, numberOf(part));
}

/** Selects what the address says. */
function restore() {
  put('selected', address.read('select').split(',').filter(canBe));
}

export function start() {
  restore();
  follow(['visited'], restore);
}

/** How a port stands, in words: no board, an empty cage, or its module with its signs. */
export function portState(port) {
  const slot = slotOf(port);
  const board = boardIn(slot);
  const cage = cageOf(port);
  if (board === 'none') return `no board in slot ${slot}`;
  if (board === 'copper') return `RJ45, ${linkText(linkOf(port))}`;
  if (!cage?.module) return 'empty cage';
  return `${cage.module}, ${signsOf(cage, alarmsOf(port), warningsOf(port)).join(', ')}`;
}

function slotText(slot) {
  if (slot === 0) return 'Main board';
  const board = boardIn(slot);
  return board === 'none' ? `Slot ${slot}: no board` : `Slot ${slot}: ${board} board`;
}

/** What a part is and how it stands, in words. */
export function describe(part) {
  const number = numberOf(part);
  const board = known.board;
  if (!board) return part;
  switch (kindOf(part)) {
    case 'port':
      return `Port ${number}: ${portState(number)}`;
    case 'slot':
      return slotText(number);
    case 'supply':
      return `Supply ${number}: ${supplyText(board.supplies[number - 1])}`;
    case 'led':
      return `LED ${ledLabel(ledOf(part))}: ${ledState(board.panel[ledOf(part)])}`;
    case 'sector':
      return `Sector ${number}`;
    case 'sensor':
      return 'Temperature sensor';
    case 'clock':
      return 'Clock chip';
    case 'bus':
      return 'I2C bus';
    case 'watchdog':
      return 'Watchdog and reset';
    case 'relay':
      return `Alarm relay: ${board.panel.relay ? 'closed' : 'open'}`;
    default:
      return part;
  }
}
