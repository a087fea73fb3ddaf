import {act, pendingValue} from './acts.js';
import {moduleOf} from './card.js';
import {openCatalogue} from './catalogue.js';
import {actButton, choice, doing, facts, refusal, slider} from './controls.js';
import {button, element} from './dom.js';
import {openFaults} from './faults.js';
import {slotOf} from './geometry.js';
import {hexRows} from './hex.js';
import {identificationRows} from './identification.js';
import {asSet, diagnosticsOf, kQuantities, standing, valueText} from './optics.js';
import {select} from './selection.js';
import {boardIn, cageOf, linkOf, put} from './store.js';
import {linkText, minus, plural} from './words.js';

// Acts on one port, and on several at once.

function withoutCage(port) {
  const slot = slotOf(port);
  const board = boardIn(slot);
  if (board === 'none') {
    return [
      element('p', {class: 'hint'}, `There is no board in slot ${slot}, so port ${port} has no place.`),
      doing(`fit${slot}`, `Fit an SFP board into slot ${slot}`, 'fit', {slot, board: 'sfp'}, {class: 'main'}),
      button(`Go to slot ${slot}`, () => select('slot' + slot)),
      refusal(`plug${port}`),
    ];
  }
  return [
    element('p', {class: 'hint'}, 'An RJ45 port of a copper board: nothing can be plugged here but its cable.'),
    link(port),
    button(`Go to slot ${slot}`, () => select('slot' + slot)),
    refusal(`plug${port}`),
  ];
}

function link(port, cage) {
  const now = linkOf(port);
  if (!now) return null;
  const speed = String(now.speed || 'down');
  const duplex = now.full_duplex ? 'full' : 'half';
  return [
    choice(
      `link${port}`,
      'Link partner',
      [
        ['down', 'no cable'],
        ['10', '10 Mb/s'],
        ['100', '100 Mb/s'],
        ['1000', '1 Gb/s'],
      ],
      speed,
      (to) => ['set link', {port, speed: to, duplex}],
    ),
    speed !== 'down' &&
      choice(`duplex${port}`, 'Duplex of the partner', [['half'], ['full']], duplex, (to) => [
        'set link',
        {port, speed, duplex: to},
      ]),
    facts([['Link', linkText(now, cage)]]),
  ];
}

function optics(port, cage) {
  const row = diagnosticsOf(port);
  if (!row) return null;
  const module = knownModule(port, cage);
  return element(
    'details',
    {class: 'more', open: true, 'data-key': 'optics'},
    element('summary', {}, 'Diagnostics'),
    element(
      'div',
      {class: 'quantities'},
      kQuantities.map((quantity) => {
        const {state, text} = standing(row, quantity, module);
        const value = row[quantity.key];
        const holds = asSet(port)?.[quantity.key] ?? value ?? quantity.lowest;
        const isOther = holds !== value; // without light it measures something else than is set
        const set = isOther ? `set to ${minus(holds)} ${quantity.unit}` : '';
        return element(
          'div',
          {class: 'quantity ' + state, 'data-key': quantity.key},
          slider(`${quantity.key}${port}`, quantity.name, {
            ...quantity,
            holds,
            text: (now) => (now === holds ? valueText(row, quantity) : `${minus(now)} ${quantity.unit}`),
            does: (to) => [quantity.action, {port, value: to}],
          }),
          element('small', {}, [text, set].filter(Boolean).join('; ')),
        );
      }),
    ),
  );
}

const kRetry = 2000; // milliseconds
const modules = new Map(); // what modules say, by port and name; null while a module is asked, or if it did not answer

/** Forgets that a module did not answer: the next look asks it again. */
function askAgain(key) {
  if (modules.delete(key)) put('module', key);
}

/** What the module of a port says; null while it is asked, and if it did not answer. */
function knownModule(port, cage) {
  const key = `${port} ${cage.module}`;
  if (!modules.has(key)) {
    modules.set(key, null);
    moduleOf(port).then((module) => {
      modules.set(key, module);
      put('module', key);
      if (!module) setTimeout(askAgain, kRetry, key);
    });
  }
  return modules.get(key);
}

function identification(port, cage) {
  const module = knownModule(port, cage);
  if (!module) return null;
  return [
    element(
      'details',
      {class: 'more', 'data-key': 'identification'},
      element('summary', {}, 'Identification'),
      facts(identificationRows(module.decoded)),
    ),
    element(
      'details',
      {class: 'more', 'data-key': 'page'},
      element('summary', {}, 'Bytes of page A0h'),
      hexRows(module.page, 0, 2),
    ),
  ];
}

/** A copper module has no light; its line is there all the same. */
const kOptical = {title: 'Light', good: 'there', bad: 'cut'};
const kCopper = {title: 'Loss-of-signal line', good: 'low', bad: 'high'};

const light = (name, ports, holds, {title, good, bad} = kOptical) =>
  choice(
    name,
    title,
    [
      ['0', good],
      ['1', bad],
    ],
    holds,
    (value) => toAll(ports, 'set loss-of-signal', {value}),
  );

const transmitter = (name, ports, holds) =>
  choice(
    name,
    'Transmitter',
    [
      ['0', 'good'],
      ['1', 'fault'],
    ],
    holds,
    (value) => toAll(ports, 'set tx-fault', {value}),
  );

/** An action with its fields, once for each port. */
const toAll = (ports, action, fields) => [action, ports.map((port) => ({port, ...fields}))];

export function portControls(port) {
  const cage = cageOf(port);
  if (!cage) return withoutCage(port);
  const plugging = element(
    'div',
    {class: 'row', 'data-key': 'plugging'},
    actButton(cage.module ? 'Plug another module…' : 'Plug a module…', () => openCatalogue(port), {
      class: cage.module ? '' : 'main',
    }),
    cage.module && doing(`unplug${port}`, 'Pull it out', 'unplug', {port}),
    button('Make requests fail…', () => openFaults()),
    refusal(`plug${port}`),
  );
  if (!cage.module) {
    return [element('p', {class: 'hint'}, 'The cage is empty. Choose a module, or drag one from the catalogue.'), plugging];
  }
  return [
    element(
      'div',
      {class: 'beside', 'data-key': 'signals'},
      light(`los${port}`, [port], cage.loss_of_signal, linkOf(port) ? kCopper : kOptical),
      transmitter(`txfault${port}`, [port], cage.tx_fault),
      facts([['Set by programs', `transmitter ${cage.tx_disable ? 'off' : 'on'}`]]),
    ),
    cage.loss_of_signal !== 0 &&
      element(
        'p',
        {class: 'hint', 'data-key': 'noticing'},
        'A program that reads this is named in the line at the bottom of the page.',
      ),
    plugging,
    link(port, cage),
    optics(port, cage),
    identification(port, cage),
  ];
}

/** The value that all have. '' if they differ: then no choice is shown as chosen. */
const common = (values) => (values.every((value) => value === values[0]) ? values[0] : '');

export function portsControls(ports) {
  const cages = ports.map(cageOf).filter(Boolean);
  const fitted = cages.filter(({module}) => module);
  const without = ports.length - cages.length;
  const told = [
    `${plural(fitted.length, 'module')} in ${plural(cages.length, 'cage')}`,
    without && `${plural(without, 'port')} without a cage`,
  ];
  const all = cages.length === 1 ? 'it' : 'all';
  const fittedPorts = fitted.map(({port}) => port);
  const pull = () => act('unplug-all', ...toAll(fittedPorts, 'unplug'));
  return [
    element('p', {class: 'hint'}, `${told.filter(Boolean).join(', ')}: ports ${ports.join(', ')}.`),
    fitted.length > 0 &&
      element(
        'div',
        {class: 'beside', 'data-key': 'signals'},
        light('los-all', fittedPorts, common(fitted.map((cage) => cage.loss_of_signal))),
        transmitter('txfault-all', fittedPorts, common(fitted.map((cage) => cage.tx_fault))),
      ),
    element(
      'div',
      {class: 'row', 'data-key': 'plugging'},
      cages.length > 0 &&
        actButton(`Plug a module into ${all}…`, () => openCatalogue(...cages.map(({port}) => port)), {
          class: fitted.length < cages.length ? 'main' : '',
        }),
      fitted.length > 0 &&
        actButton(`Pull ${plural(fitted.length, 'module')}`, pull, {'aria-busy': pendingValue('unplug-all') !== undefined}),
      button('Select none', () => select()),
      refusal('plug-all'),
      refusal('unplug-all'),
    ),
  ];
}
