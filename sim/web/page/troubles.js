import * as dock from './dock.js';
import {button, element} from './dom.js';
import {alarmsOf, warningsOf} from './optics.js';
import {select} from './selection.js';
import {known, linkOf} from './store.js';
import {faultResult, supplyText, troublesOf} from './words.js';

// What is wrong on the board, the worst first, each with the part or the tab that it leads to.

const hasFailed = ({type, good}) => type !== 'none' && !good;

/** A copper module has no light; its line is there all the same. */
const inWords = (trouble, isCopper) => (isCopper && trouble === 'no light' ? 'loss-of-signal line high' : trouble);

function troubleOfPort(cage) {
  if (!cage.module) return null;
  const {port} = cage;
  const alarms = alarmsOf(port);
  const words = troublesOf(cage, alarms, warningsOf(port));
  if (words.length === 0) return null;
  const isCopper = Boolean(linkOf(port));
  const text = words.map((word) => inWords(word, isCopper)).join(', ');
  return {part: 'port' + port, isBad: Boolean(cage.tx_fault) || alarms.length > 0, name: `Port ${port}`, text};
}

function troublesOfChips({i2c, gpio}) {
  return [
    !i2c.sensor_present && {part: 'sensor', name: 'Temperature sensor', text: 'absent'},
    !i2c.clock_present && {part: 'clock', name: 'Clock chip', text: 'absent'},
    Boolean(i2c.busy) && {part: 'bus', name: 'I2C bus', text: 'held by somebody'},
    Boolean(gpio.reset_key) && {part: 'watchdog', name: 'Reset key', text: 'pressed'},
  ];
}

const troubleOfFault = ({fault, target, result}) => ({
  tab: 'faults',
  key: 'fault' + fault,
  name: `Fault ${fault}`,
  text: `${target} fails, ${faultResult(result)}`,
});

/** All that is wrong: its name, what it is, and the part or the tab that it leads to. */
function troubles() {
  const {panel, supplies, cages, faults} = known.board;
  const withoutPower = supplies.filter(({type, good}) => type === 'none' || !good);
  const found = [
    Boolean(panel.alarm) && {part: 'led-alarm', isBad: true, name: 'Alarm LED', text: 'lit'},
    Boolean(panel.ring_fail) && {part: 'led-ring-fail', isBad: true, name: 'Ring fail LED', text: 'lit'},
    ...withoutPower.map((supply) => ({
      part: 'supply' + supply.supply,
      isBad: hasFailed(supply),
      name: `Supply ${supply.supply}`,
      text: supplyText(supply),
    })),
    ...cages.map(troubleOfPort),
    ...troublesOfChips(known.board),
    ...faults.map(troubleOfFault),
  ].filter(Boolean);
  return [...found.filter(({isBad}) => isBad), ...found.filter(({isBad}) => !isBad)];
}

function row({part, tab, key = part, isBad, name, text}) {
  const lead = () => {
    if (part) select(part);
    else dock.open(tab);
  };
  return element(
    'li',
    {'data-key': 'trouble-' + key},
    button([element('b', {}, name), ' ', element('span', {}, text)], lead, {
      class: isBad ? 'trouble bad' : 'trouble',
    }),
  );
}

/** The list for the board as a whole. Each entry leads to its part, or to its tab. */
export function troubleList() {
  const all = troubles();
  if (all.length === 0) {
    const text = '✓ All is well: no alarm, no failed or pulled supply, no port without light, no fault set.';
    return element('p', {class: 'all-well', 'data-key': 'troubles'}, text);
  }
  return element(
    'div',
    {'data-key': 'troubles'},
    element('h3', {}, `What is wrong: ${all.length}`),
    element('ul', {class: 'troubles', 'aria-label': 'What is wrong on the board'}, all.map(row)),
  );
}
