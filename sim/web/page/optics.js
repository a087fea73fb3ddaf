import {cageOf, known} from './store.js';
import {minus} from './words.js';

// What a module measures (SFF-8472 diagnostics), against its limits.

export const kQuantities = [
  {key: 'rx_power', name: 'Received power', unit: 'dBm', action: 'set rx-power', lowest: -40, highest: 8, step: 0.1},
  {key: 'tx_power', name: 'Transmitted power', unit: 'dBm', action: 'set tx-power', lowest: -40, highest: 8, step: 0.1},
  {key: 'bias', name: 'Laser bias', unit: 'mA', action: 'set bias', lowest: 0, highest: 130, step: 0.1},
  {
    key: 'temperature',
    name: 'Module temperature',
    unit: '°C',
    action: 'set module-temperature',
    lowest: -40,
    highest: 125,
    step: 0.5,
  },
  {key: 'voltage', name: 'Supply voltage', unit: 'V', action: 'set voltage', lowest: 0, highest: 6.5, step: 0.01},
];

export const diagnosticsOf = (port) => known.board?.diagnostics?.find((row) => row.port === port);
/** The values as they are set: a module measures them while its laser is on and light is there. */
export const asSet = (port) => known.optics_as_set?.find((row) => row.port === port);

const inWords = (flags, kind) =>
  kQuantities.flatMap(({key, name}) => {
    const side = flagOf(flags, key);
    return side ? [`${name.toLowerCase()}: ${side} ${kind}`] : [];
  });

/** The alarms of a port's module that stand now, in words, such as "received power: low alarm". */
export const alarmsOf = (port) => inWords(diagnosticsOf(port)?.standing_alarms, 'alarm');
/** The warnings that stand now. The board leaves out those whose alarm stands. */
export const warningsOf = (port) => inWords(diagnosticsOf(port)?.standing_warnings, 'warning');

const flagOf = (flags, key) => flags?.find((flag) => flag.startsWith(key + '_'))?.slice(key.length + 1);

const inUnit = (value, unit) => `${minus(Number(value.toFixed(2)))} ${unit}`;

const kLimits = [
  {name: 'low_alarm', side: 'low', flags: 'alarms'},
  {name: 'high_alarm', side: 'high', flags: 'alarms'},
  {name: 'low_warning', side: 'low', flags: 'warnings'},
  {name: 'high_warning', side: 'high', flags: 'warnings'},
];

/** The limit that a value is beyond now: its name, its number and the side on which the value is; undefined within all limits.
 *  The value that the page knows is rounded, so the module's own flags decide. A flag that is only latched may be over: it counts
 *  if the value says so, too. */
function limitBeyond(row, key, limits) {
  const value = row[key];
  const alarm = flagOf(row.standing_alarms, key);
  const isOfAlarm = ({name}) => name === `${alarm}_alarm`;
  const isFlagged = ({side, flags}) => row[flags]?.includes(`${key}_${side}`);
  const isBeyond = ({name, side}) => (side === 'low' ? value < limits[name] : value > limits[name]);
  const isLatchedAndBeyond = (one) => isFlagged(one) && isBeyond(one);
  const limit = kLimits.find(alarm ? isOfAlarm : isLatchedAndBeyond);
  if (!limit) return undefined;
  return {name: limit.name.replace('_', ' '), side: limit.side === 'low' ? 'below' : 'above', number: limits[limit.name]};
}

/** What explains a low value, if something else is the trouble: without light there is no power, for instance. */
function reasonOf(key, {loss_of_signal: isDark, tx_disable: isOff, tx_fault: isFaulty}) {
  if (key === 'rx_power') return isDark ? 'there is no light' : '';
  if (key !== 'tx_power' && key !== 'bias') return '';
  if (isOff) return 'the transmitter is off';
  return isFaulty ? 'the transmitter has a fault' : '';
}

/** How a value stands to its limits: '', 'latched', 'explained', 'warn' or 'bad', and in words. A module keeps a flag until a
 *  program reads it; its cause may be over then. The board says which alarms and warnings have no other cause than the value.
 *  @param module  what the server says of it; null while it is not known */
export function standing(row, {key, unit}, module) {
  const limits = module?.diagnostics?.measured?.find(({quantity}) => quantity === key);
  if (limits?.low_alarm === undefined || row[key] === null) return {state: '', text: ''};
  const beyond = limitBeyond(row, key, limits);
  if (beyond) {
    const text = `${beyond.name}: ${beyond.side} ${inUnit(beyond.number, unit)}`;
    const standsByItself = flagOf(row.standing_alarms, key) || flagOf(row.standing_warnings, key);
    const reason = standsByItself ? '' : reasonOf(key, cageOf(row.port));
    if (reason) return {state: 'explained', text: `${text}, as ${reason}`};
    return {state: beyond.name.endsWith('alarm') ? 'bad' : 'warn', text: '! ' + text};
  }
  const within = `within ${minus(Number(limits.low_warning.toFixed(2)))} to ${inUnit(limits.high_warning, unit)}`;
  const alarm = flagOf(row.alarms, key);
  const warning = flagOf(row.warnings, key);
  if (!alarm && !warning) return {state: '', text: within};
  const latched = alarm ? `${alarm} alarm` : `${warning} warning`;
  return {state: 'latched', text: `${within}; ${latched} latched until a program reads it`};
}

export function valueText(row, {key, unit}) {
  const value = row[key];
  if (value === null || value === undefined) return `no light (−∞ ${unit})`;
  return `${minus(value)} ${unit}`;
}

/** The rows of a port's card. */
export function opticsRows(cage, module) {
  const row = diagnosticsOf(cage.port);
  if (!row) return [];
  return kQuantities
    .filter(({key}) => key === 'temperature' || key.endsWith('power'))
    .map((quantity) => ({name: quantity.name, value: valueText(row, quantity), limits: standing(row, quantity, module).text}));
}
