import {asSet, kQuantities} from './optics.js';
import {kindOf, numberOf, selected} from './selection.js';
import {boardIn, cageOf, known, linkOf} from './store.js';
import {presence, supplyState} from './words.js';

// What holds on the board for each field of a command: the forms begin with it.

/** The port that a command is most likely meant for: the selected one, else one with a module, a copper link or a cage. For
 *  `set link` only ports with a copper link count, if there are any. */
function likelyPort(action) {
  const isFor = (port) => action !== 'set link' || linkOf(port);
  const {cages, links} = known.board;
  const chosenPorts = selected().filter((part) => kindOf(part) === 'port');
  const withModule = cages.filter(({module}) => module);
  const ports = [...chosenPorts.map(numberOf), ...[...withModule, ...links, ...cages].map(({port}) => port)];
  return ports.find(isFor) ?? ports[0];
}

/** The slot or supply that is selected, else the first one. */
function likely(kind) {
  const part = selected().find((one) => kindOf(one) === kind && numberOf(one) > 0);
  return part ? numberOf(part) : 1;
}

function speedOf(link) {
  if (!link) return '';
  return link.speed || 'down';
}

const duplexOf = (link) => (link && !link.full_duplex ? 'half' : 'full');

/** By action and field: what holds on a board, for the port, slot or supply that is chosen in the same form. */
const kHolding = {
  'fit board': (board, {slot}) => boardIn(slot),
  'plug module': (board, {port}) => cageOf(port)?.module,
  'set supply state': ({supplies}, {supply}) => supplyState(supplies[supply - 1]),
  'set rtc state': ({i2c}) => presence(i2c.clock_present),
  'set lm75 state': ({i2c}) => presence(i2c.sensor_present),
  'set busy value': ({i2c}) => i2c.busy,
  'set reset-key value': ({gpio}) => gpio.reset_key,
  'set reset-process byte': ({gpio}) => gpio.reset_process,
  'set io byte': ({i2c}) => i2c.io[0],
  'set io byte1': ({i2c}) => i2c.io[1],
  'set loss-of-signal value': (board, {port}) => cageOf(port)?.loss_of_signal,
  'set tx-fault value': (board, {port}) => cageOf(port)?.tx_fault,
  'set link speed': (board, {port}) => speedOf(linkOf(port)),
  'set link duplex': (board, {port}) => duplexOf(linkOf(port)),
  'set settle milliseconds': (board) => board.settle_ms,
  'set chip-index byte': ({flash}) => flash.chip_index,
  'set temperature celsius': ({i2c}) => i2c.temperature,
  'set clock time': ({i2c}) => i2c.clock,
  'reset flash': () => false,
  // What is set for a quantity of a port's module, whatever it measures just now.
  ...Object.fromEntries(kQuantities.map(({action, key}) => [`${action} value`, (board, {port}) => asSet(port)?.[key]])),
};

/** The port, slot and supply that a form is about. NaN for a port that was emptied. */
const subjectsOf = (action, {port = likelyPort(action), slot = likely('slot'), supply = likely('supply')}) => ({
  port: port === '' ? NaN : Number(port),
  slot: Number(slot),
  supply: Number(supply),
});

/** What holds for a field of a command; '' where nothing does.
 *  @param fields  the values of the fields before it, which may name the port, slot or supply */
export function holding(action, field, fields) {
  const subjects = subjectsOf(action, {});
  const value = subjects[field] ?? kHolding[`${action} ${field}`]?.(known.board, subjectsOf(action, fields));
  return String(value ?? '');
}
