import {element, find, patch} from './dom.js';
import {describe, isSelected, kindOf, numberOf, portState} from './selection.js';
import {cageOf, follow, known, linkOf} from './store.js';
import {ask} from './connection.js';
import {linkText} from './words.js';
import {opticsRows} from './optics.js';

// A card beside the part that the pointer or the focus is on: what the module says of itself, its signals, its light.

const kRest = 350; // milliseconds on a part until its card is shown
let shown = null; // the part whose card is shown
let waiting = null; // a timer
const kSpace = 8; // pixels between the card and its part, and from the card to the window's edges
const modules = new Map(); // promises of what a module says, by port and its name

/** What the module of a port says; asked for once for each module. */
export async function moduleOf(port) {
  const key = `${port} ${cageOf(port)?.module}`;
  if (!modules.has(key)) {
    for (const old of modules.keys()) {
      if (old.startsWith(port + ' ')) modules.delete(old);
    }
    const forget = () => {
      modules.delete(key); // so that it is asked for again
      return null;
    };
    modules.set(key, ask('module?port=' + port).catch(forget));
  }
  return modules.get(key);
}

const row = (name, value) => (value ? [element('dt', {}, name), element('dd', {}, value)] : []);

function signals(cage) {
  const words = [cage.loss_of_signal ? 'no light' : 'light', cage.tx_disable ? 'transmitter off' : 'transmitter on'];
  if (cage.tx_fault) words.push('transmit fault');
  return words.join(', ');
}

async function fill(part) {
  const port = numberOf(part);
  const cage = kindOf(part) === 'port' ? cageOf(port) : null;
  if (!cage?.module) return patch(find('#card'), [element('b', {}, describe(part))]);
  const module = await moduleOf(port);
  const decoded = module?.decoded ?? {};
  if (shown !== part) return;
  patch(find('#card'), [
    element('b', {}, `Port ${port}: ${portState(port)}`),
    element(
      'dl',
      {},
      row('Vendor', decoded.vendor_name ?? decoded.vendor),
      row('Part', decoded.part_number),
      row('Serial', decoded.serial_number),
      row('Signals', signals(cage)),
      row('Link', linkText(linkOf(port), cage)),
      opticsRows(cage, module).map(({name, value, limits}) => row(name, limits ? `${value}, ${limits}` : value)),
    ),
  ]);
}

function placeBeside(part) {
  const target = find(`[data-part="${part}"]`);
  if (!target) return;
  const {left, right, bottom, top} = target.getBoundingClientRect();
  const card = find('#card');
  card.hidden = false;
  const width = card.offsetWidth;
  const height = card.offsetHeight;
  const x = Math.max(kSpace, Math.min((left + right - width) / 2, innerWidth - width - kSpace));
  const below = bottom + kSpace;
  const above = Math.max(kSpace, top - height - kSpace);
  const y = below + height < innerHeight ? below : above;
  Object.assign(card.style, {left: x + 'px', top: y + 'px'});
}

export function showCard(part) {
  clearTimeout(waiting);
  waiting = setTimeout(async () => {
    // The inspector already tells of a part that is selected. An open catalogue must not be covered.
    if (!known.board || isSelected(part) || known.catalogue) return;
    shown = part;
    await fill(part);
    if (shown === part) placeBeside(part);
  }, kRest);
}

export function hideCard() {
  clearTimeout(waiting);
  shown = null;
  find('#card').hidden = true;
}

export function start() {
  follow(['board'], () => {
    if (shown) fill(shown);
  });
  follow(['catalogue', 'selected'], hideCard);
}
