import * as dock from './dock.js';
import {element, find, patch} from './dom.js';
import {isSelected, select} from './selection.js';
import {scaled, sparkline} from './sparkline.js';
import {follow, known, knownUntil} from './store.js';
import {degrees, grouped, kLedNames, kTestLamps, lampState, ledLabel, ledState, minus, plural, supplyText} from './words.js';

// The board's values and their last minutes. A click selects what a value belongs to, or opens the tab about it.

const kTabs = ['requests', 'faults']; // the readings that have a tab
const kOnOff = {lowest: 0, highest: 1, steps: true};
const kBlinks = '\u00a0◐'; // as on the panel
let ahead = 0; // milliseconds from our clock to the board's
let toldAt; // the time of the board's state from which the clock was taken last

/** Takes the board's clock. It comes in whole seconds, so a difference below a second counts only if the clock is ahead. */
function setClock({i2c}) {
  if (toldAt === known.boardAt) return;
  toldAt = known.boardAt;
  const told = Date.parse(i2c.clock + 'Z') - toldAt;
  const goesOn = Math.abs(told - ahead) < 1000;
  ahead = goesOn ? Math.max(told, ahead) : told;
}

/** Day and time of the board's clock. It runs on by itself, and stands still while the board is gone. */
const clockNow = () => new Date(knownUntil() + ahead).toISOString().split(/[T.]/);

function clock(board) {
  if (!board.i2c.clock_present) return reading('clock', 'Clock', 'no chip', null, 'warn');
  const [day, time] = clockNow();
  return reading('clock', `Clock ${day}`, `${time} UTC`, null);
}

function choose(part) {
  if (kTabs.includes(part)) dock.open(part);
  else select(part === 'leds' ? 'led-system' : part);
}

function reading(part, name, value, curve, state = '') {
  return element(
    'button',
    {
      type: 'button',
      class: 'reading ' + state,
      'data-key': part,
      'data-strip': part,
      'aria-pressed': String(isSelected(part)),
      onclick: () => choose(part),
    },
    element('span', {class: 'name'}, name),
    element('span', {class: 'value'}, value),
    curve,
  );
}

/** All LEDs and the lamps of the lamp test as lanes. */
function lights(board) {
  const {panel} = board;
  const lit = kLedNames.filter((name) => panel[name]).map((name) => ledLabel(name) + (panel[name] > 1 ? kBlinks : ''));
  const lamps = kTestLamps.filter((lamp) => lampState(board, lamp)).join(' ');
  if (lamps) lit.push(`lamp test ${lamps}`);
  const lanes = [...kLedNames.map((name) => 'led-' + name), ...kTestLamps.map((lamp) => 'lamp-' + lamp)];
  const told = kLedNames.map((name) => `${ledLabel(name)} ${ledState(panel[name])}`);
  told.push(`lamp test ${lamps || 'off'}`);
  return reading(
    'leds',
    'LEDs',
    lit.join(' ') || 'all off',
    element(
      'span',
      {class: 'lanes', title: told.join(', ')},
      lanes.map((name) => sparkline(name, kOnOff)),
    ),
  );
}

function watchdogState({watchdog_enabled: isEnabled, watchdog_toggling: isServed}) {
  if (!isEnabled) return 'off';
  return isServed ? 'served' : 'enabled';
}

const kTenThousand = 9950; // rounded to a decimal of thousands: 10.0k

/** A rate with three digits at most. */
function shortRate(value) {
  if (value < 1000) return `${value}/s`;
  return `${(value / 1000).toFixed(value < kTenThousand ? 1 : 0)}k/s`;
}

function show() {
  const {board} = known;
  if (!board) return;
  const {i2c, gpio, supplies, panel, faults} = board;
  setClock(board);
  patch(find('#strip'), [
    reading(
      'sensor',
      'Temperature',
      i2c.sensor_present ? degrees(i2c.temperature) : 'no sensor',
      scaled('temperature', {lowest: 20, highest: 45}, (value) => `${minus(value)}°`),
      i2c.sensor_present ? '' : 'warn',
    ),
    ...supplies.map((supply) =>
      reading(
        'supply' + supply.supply,
        'Supply ' + supply.supply,
        supplyText(supply),
        sparkline('supply' + supply.supply, kOnOff),
        supply.good && supply.type !== 'none' ? '' : 'warn',
      ),
    ),
    reading('led-alarm', 'Alarm', ledState(panel.alarm), sparkline('led-alarm', kOnOff), panel.alarm ? 'bad' : ''),
    lights(board),
    clock(board),
    reading('watchdog', 'Watchdog', watchdogState(gpio), null),
    reading('relay', 'Alarm relay', panel.relay ? 'closed' : 'open', null),
    reading('bus', 'I2C bus', i2c.busy ? 'held' : 'free', sparkline('busy', kOnOff), i2c.busy ? 'warn' : ''),
    reading('requests', 'Requests', `${grouped(known.rate ?? 0)}/s`, scaled('rate', {lowest: 0, highest: 10}, shortRate)),
    reading('faults', 'Faults', faults.length ? plural(faults.length, 'fault') : 'none', null, faults.length ? 'bad' : ''),
  ]);
}

export function start() {
  follow(['board', 'selected', 'live', 'gone', 'rate', 'history'], show);
  setInterval(() => {
    if (!document.hidden) show();
  }, 1000);
}
