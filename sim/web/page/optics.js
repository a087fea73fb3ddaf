import {known} from './store.js';
import {minus} from './words.js';

// What a module measures (SFF-8472 diagnostics), against its limits.

export const kQuantities = [
  {key: 'rx_power', name: 'Received power', unit: 'dBm', action: 'set rx-power', lowest: -40, highest: 8, step: 0.1},
  {key: 'tx_power', name: 'Transmitted power', unit: 'dBm', action: 'set tx-power', lowest: -40, highest: 8, step: 0.1},
  {key: 'bias', name: 'Laser bias', unit: 'mA', action: 'set bias', lowest: 0, highest: 130, step: 0.1},
  {key: 'temperature', name: 'Module temperature', unit: '°C', action: 'set module-temperature', lowest: -40, highest: 125, step: 0.5},
  {key: 'voltage', name: 'Supply voltage', unit: 'V', action: 'set voltage', lowest: 0, highest: 6.5, step: 0.01},
];

export const diagnosticsOf = (port) => known.board?.diagnostics?.find((row) => row.port === port);

const flagOf = (flags, key) => flags?.find((flag) => flag.startsWith(key + '_'))?.slice(key.length + 1);

/** How a value stands to its limits: '', 'warn' or 'bad', and in words. */
export function standing(row, key) {
  const alarm = flagOf(row.alarms, key), warning = flagOf(row.warnings, key);
  if (alarm) return {state: 'bad', text: `! ${alarm} alarm`};
  if (warning) return {state: 'warn', text: `${warning} warning`};
  return {state: '', text: 'within limits'};
}

export function valueText(row, {key, unit}) {
  const value = row[key];
  if (value === null || value === undefined) return `no light (−∞ ${unit})`;
  return `${minus(value)} ${unit}`;
}

/** The rows of a port's card. */
export function opticsRows(cage) {
  const row = diagnosticsOf(cage.port);
  if (!row) return [];
  return kQuantities.filter(({key}) => key === 'temperature' || key.endsWith('power'))
    .map((quantity) => ({name: quantity.name, value: valueText(row, quantity), limits: standing(row, quantity.key).text}));
}
