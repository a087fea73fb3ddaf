import {choice, doing, facts, slider} from './controls.js';
import {button, copyButton, element, find, kNarrow, markPage, patch} from './dom.js';
import {portsOf} from './geometry.js';
import {boardControls} from './inspector_board.js';
import {portControls, portsControls} from './inspector_port.js';
import {sectorControls} from './inspector_sector.js';
import {focusPart} from './panel.js';
import {describe, kindOf, numberOf, ledOf, select, selected} from './selection.js';
import {boardIn, cageOf, follow, known} from './store.js';
import {degrees, hex, ledLabel, ledState, plural, presence, supplyState, supplyText} from './words.js';

// The selected thing, and the acts that make sense for it.

const kPresence = [['present'], ['absent']];

function slot(number) {
  if (number === 0) return [element('p', {class: 'hint'}, 'The main board is always there: it has the cages 24 to 27.')];
  const modules = portsOf(number).filter((port) => cageOf(port)?.module);
  return [
    choice(
      `slot${number}`,
      'Daughter board',
      [
        ['none', 'no board'],
        ['copper', 'copper'],
        ['sfp', 'SFP'],
      ],
      boardIn(number),
      (board) => ['fit', {slot: number, board}],
    ),
    element(
      'p',
      {class: 'hint'},
      modules.length
        ? `${plural(modules.length, 'module')} in it. Taking the board out pulls them.`
        : 'Nothing is plugged in it.',
    ),
    boardIn(number) === 'sfp' &&
      button('Select its eight ports', () => select(...portsOf(number).map((port) => 'port' + port))),
  ];
}

function supply(number) {
  const now = known.board.supplies[number - 1];
  return [
    choice(
      `supply${number}`,
      'State',
      [
        ['ac', 'AC good'],
        ['dc', 'DC good'],
        ['failed', 'failed'],
        ['none', 'pulled'],
      ],
      supplyState(now),
      (state) => ['set supply', {supply: number, state}],
    ),
    facts([
      ['Type', now.type === 'none' ? 'none plugged' : now.type.toUpperCase()],
      ['Shows', supplyText(now)],
      ['Power status, as programs read it', hex(known.board.gpio.power_status, 2)],
    ]),
  ];
}

function led(part) {
  const name = ledOf(part);
  const command = `zelsim run --board ${known.board.board} -- zelctl led set ${part.slice('led-'.length)} blink`;
  return [
    facts([['State', ledState(known.board.panel[name])]]),
    element('p', {class: 'hint'}, 'A program lights it. From a shell:'),
    element('p', {class: 'command'}, element('code', {}, command), copyButton(command)),
  ];
}

function sensor() {
  const {i2c} = known.board;
  return [
    slider('temperature', 'It measures', {
      lowest: -55,
      highest: 125,
      step: 0.5,
      holds: i2c.temperature,
      text: degrees,
      does: (celsius) => ['set temperature', {celsius}],
    }),
    choice('lm75', 'Temperature sensor', kPresence, presence(i2c.sensor_present), (state) => ['set lm75', {state}]),
  ];
}

function clock() {
  const {i2c} = known.board;
  return [
    choice('rtc', 'Clock chip', kPresence, presence(i2c.clock_present), (state) => ['set rtc', {state}]),
    doing('clock', 'Set it to the host’s time', 'set clock', {time: 'host'}),
    facts([['Mode', `${i2c.clock_mode} h`]]),
  ];
}

function bus() {
  const {i2c} = known.board;
  return [
    choice(
      'busy',
      'I2C bus',
      [
        ['0', 'free'],
        ['1', 'held by somebody'],
      ],
      i2c.busy,
      (value) => ['set busy', {value}],
    ),
    facts([['Refreshed', plural(i2c.refreshes, 'time')]]),
  ];
}

function watchdog() {
  const {gpio} = known.board;
  return [
    choice(
      'reset-key',
      'Reset key',
      [
        ['0', 'released'],
        ['1', 'pressed'],
      ],
      gpio.reset_key,
      (value) => ['set reset-key', {value}],
    ),
    facts([
      ['Watchdog', gpio.watchdog_enabled ? 'enabled' : 'off'],
      ['Toggled', plural(gpio.watchdog_toggles, 'time')],
      ['Hardware resets', String(gpio.hardware_resets)],
    ]),
  ];
}

const relay = () => [
  facts([['Relay', known.board.panel.relay ? 'closed' : 'open']]),
  element('p', {class: 'hint'}, 'A program switches it: zelctl relay set 1.'),
];

const kControls = {
  port: (part) => portControls(numberOf(part)),
  slot: (part) => slot(numberOf(part)),
  supply: (part) => supply(numberOf(part)),
  led,
  sensor,
  clock,
  bus,
  watchdog,
  relay,
  sector: (part) => sectorControls(numberOf(part)),
};

function content() {
  const parts = selected();
  if (parts.length === 0 || !kControls[kindOf(parts[0])]) return boardControls();
  if (parts.length > 1) {
    return [element('h2', {}, plural(parts.length, 'port') + ' selected'), ...portsControls(parts.map(numberOf))];
  }
  const part = parts[0];
  const title = kindOf(part) === 'led' ? `LED ${ledLabel(ledOf(part))}` : describe(part);
  return [element('h2', {}, title), ...kControls[kindOf(part)](part)];
}

/** Closes the sheet. The focus goes to where the sheet was opened: the part on the panel. */
function close() {
  const [part] = selected();
  find('#panel').focus({preventScroll: true});
  focusPart(part); // does nothing if the part is not on the panel
  select();
}

/** On a narrow page the controls of what is selected are a sheet, which this button closes. */
const closing = () => button('×', close, {class: 'quiet closes-sheet', 'aria-label': 'Select nothing', 'data-key': 'closing'});

function show() {
  if (!known.board || !known.sectors) return;
  const place = find('#inspector');
  const shown = selected().join();
  const held = place.contains(document.activeElement);
  place.classList.toggle('chosen', selected().length > 0);
  markPage('part-chosen', selected().length > 0);
  patch(place, [selected().length > 0 && closing(), ...content()]);
  const isFirst = place.dataset.shows === undefined;
  if (place.dataset.shows !== shown) place.scrollTop = 0;
  place.dataset.shows = shown;
  if (isFirst) keepInView(selected()[0]);
  // The control that had the focus may be gone now: the inspector keeps the focus.
  if (held && !place.contains(document.activeElement)) place.focus();
}

const kStacked = matchMedia('(max-width: 1000px)');

/** Where the controls are a sheet over the panel, the part that they are for stays in view. */
function keepInView(part) {
  if (kNarrow.matches) find(`[data-part="${part}"]`)?.scrollIntoView({block: 'nearest'});
}

/** Where the inspector stands below the panel, the controls of a part that was tapped come into view. */
function showControls() {
  if (!kStacked.matches) return;
  if (kNarrow.matches) return keepInView(known.tapped);
  const controls = find('#inspector [data-key=plugging]') ?? find('#inspector :is(fieldset, button, input)');
  controls?.scrollIntoView({block: 'nearest'});
}

export function start() {
  const ofBoard = ['board', 'optics_as_set', 'modules', 'module', 'sectors', 'bytes', 'states'];
  follow([...ofBoard, 'selected', 'acts', 'live', 'gone', 'narrow'], show);
  follow(['tapped'], showControls);
}
