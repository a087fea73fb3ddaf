import {isPart, kSector} from './geometry.js';
import {duration, hex, resultText, timeOfDay} from './words.js';

// A line of the trace, taken apart: what was asked, of which chip or place, and how it ended.

/** "i2c 0xB0 BufRead addr=0x9e ...": node, number, name and the rest. */
const kLine = /^(gpio|i2c|flash) 0x([0-9A-Fa-f]{2}) (\S+) ?(.*)$/;
/** "open gpio", or "flash read 0x00100000+0x10". */
const kAccess = /^(open|close|read|write|lseek) (gpio|i2c|flash)|^(flash) (read|write|lseek) (.*)$/;

const kRequest = /^(gpio|i2c|flash) 0x/;

/** Whether a call failed: the kernel refused it, or the driver answered so. */
export const hasFailed = ({line, result}) => Boolean(result) && (result < 0 || kRequest.test(line));

/** Takes the line of an entry apart, but only once. @return the entry with its node, name, rest, address and result
 *    in words */
export function parse(entry) {
  if (entry.node) return entry;
  const text = entry.line;
  const request = text.match(kLine);
  const access = text.match(kAccess);
  if (request) {
    const [, node, number, name, rest] = request;
    Object.assign(entry, {node, number: parseInt(number, 16), name, rest});
  } else if (access) {
    Object.assign(entry, {
      node: access[2] ?? access[3],
      name: access[1] ?? access[4],
      rest: text.replace(/^(flash )?\w+ ?/, ''),
    });
  } else {
    Object.assign(entry, {node: 'other', name: text.split(' ')[0], rest: text.split(' ').slice(1).join(' ')});
  }
  entry.address = addressOf(entry);
  entry.resultText = resultOf(entry);
  return entry;
}

function addressOf({node, name, rest}) {
  if (node === 'i2c') return Number(rest.match(/addr=(0x[0-9a-f]+)/)?.[1] ?? NaN);
  if (node === 'flash') return Number(rest.match(/(0x[0-9a-f]+)/i)?.[1] ?? NaN);
  return NaN;
}

function resultOf({node, name, number, result, error}) {
  if (result === null || result === undefined) return '';
  const isRequest = number !== undefined;
  if (isRequest || result < 0) return resultText(result, error);
  if (name === 'read' || name === 'write') return `${result} bytes`;
  return name === 'lseek' ? hex(result) : 'ok';
}

/** The requests like this one, as `zelsim fail` takes them. */
export function targetOf({node, name, address}) {
  const hasPlace = !Number.isNaN(address) && name !== 'lseek';
  return hasPlace ? `${node}:${name}@${hex(address)}` : `${node}:${name}`;
}

const kMostParts = 6;

/** The ports, slots and supplies that a text names, as "port 3" or as "port=3". */
function namedIn(text) {
  const named = [...text.matchAll(/\b(port|slot|supply)[ =](\d+)/g)].map(([, kind, digits]) => [kind, Number(digits)]);
  const parts = named
    .filter(([kind, number]) => isPart(kind, number))
    .map(([kind, number]) => kind + number);
  if (/\b(main board|ports 24 to 27)\b/.test(text)) parts.push('slot0');
  return [...new Set(parts)];
}

/** The parts of the board that a line is about: those that it names, else the one that the request is for. */
export function partsOf(entry) {
  const {node, rest, address, reads = '', changed = ''} = entry;
  if (node === 'flash' && !Number.isNaN(address)) return [`sector${Math.floor(address / kSector)}`];
  const named = namedIn(`${rest} ${reads} ${changed}`);
  if (named.length > 0) return named.slice(0, kMostParts);
  if (/\b(port|slot|supply)=/.test(rest)) return []; // it names one that the board does not have
  return [partOfRequest(entry)].filter(Boolean);
}

function partOfRequest({node, name, address}) {
  if (name.includes('SystemLed')) return 'led-system';
  if (name.includes('AlarmLed')) return 'led-alarm';
  if (name.includes('AlarmRelay')) return 'relay';
  if (name.includes('RingMaster')) return 'led-ring-master';
  if (name.includes('RingFail')) return 'led-ring-fail';
  if (name.includes('Watchdog') || name.includes('Reset')) return 'watchdog';
  if (name.includes('Power')) return 'supply1';
  return node === 'i2c' ? partOnBus(address, name) : null;
}

/** The chips on the I2C bus: their addresses, what they are called and the part that they belong to. The boards' expanders
 *  come first, by slot: `perSlot` addresses each. */
const kChips = [
  {first: 0x40, last: 0x4c, name: 'wide expander', perSlot: 4},
  {first: 0x60, last: 0x6e, name: 'clock chip', part: 'clock'},
  {first: 0x70, last: 0x7a, name: 'narrow expander', perSlot: 2},
  {first: 0x9e, last: 0x9e, name: 'temperature sensor', part: 'sensor'},
  {first: 0xa0, last: 0xa0, name: 'module page A0h'},
  {first: 0xa2, last: 0xa2, name: 'module page A2h'},
  {first: 0xac, last: 0xac, name: 'copper PHY'},
];
const chipAt = (address) => kChips.find(({first, last}) => address >= first && address <= last);

/** The part for a request on the I2C bus, by the names of requests and the addresses of chips. */
function partOnBus(address, name) {
  if (name.includes('Busy') || name === 'RefreshBus') return 'bus';
  if (name.includes('Rtc')) return 'clock';
  if (name.includes('Temperature') || name.includes('Sensor')) return 'sensor';
  const chip = chipAt(address);
  if (!chip?.perSlot) return chip?.part ?? null;
  const slot = Math.floor((address - chip.first) / chip.perSlot) + 1;
  return isPart('slot', slot) ? `slot${slot}` : null;
}

/** The kind of chip that has an address on the I2C bus; '' if it is not known. */
export const chipName = (address) => chipAt(address)?.name ?? '';

/** The fields of a record: of each its name, the value that was asked with, and the value in the answer. */
export function fieldsOf({rest}) {
  const fields = [];
  const [asked, answered] = rest.split(' -> ');
  const values = (text) => new Map([...(text ?? '').matchAll(/(\w+)=([^\s{}]+)/g)].map(([, name, value]) => [name, value]));
  const before = values(asked);
  const after = values(answered);
  for (const [name, value] of before) fields.push([name, value, after.get(name) ?? '']);
  return fields;
}

/** The bytes of a line with a transfer: what was written, or what was read. */
export function bytesOf({rest}) {
  const found = rest.match(/(?:data=|-> )((?:[0-9a-f]{2} ?)+)$/);
  return found ? found[1].trim().replaceAll(' ', '') : '';
}

/** What a request reads, or was to read. */
export const readsText = (entry) => `${entry.failed ? 'Was to read' : 'Reads'} ${entry.reads}`;

/** The program that asked, with its number. */
export const programName = ({program, pid}) => (program ? `${program}[${pid}]` : '');

/** True where the fields of a request say what it reads; an address does not. */
export const hasNames = ({rest}) => rest.startsWith('{') && !rest.startsWith('{address');

/** The texts of a line, each with its kind, in the order in which they are shown. */
export function textsOf(entry) {
  const {node, name, rest, resultText} = parse(entry);
  const {reads = '', changed = ''} = entry;
  const fields = {kind: 'rest', text: rest};
  const words = {kind: 'reads', text: reads};
  const texts = [
    {kind: 'program', text: programName(entry)},
    {kind: 'node', text: node},
    {kind: 'name', text: name},
    {kind: 'changed', text: changed},
    ...(hasNames(entry) ? [fields, words] : [words, fields]),
    {kind: 'result', text: resultText},
  ];
  return texts.filter(({text}) => text);
}

const kSigns = {changed: '◆ ', result: '= '};

/** A line as text, for a file or a mail: what is shown, and the request's number. */
export function textOf(entry) {
  const number = entry.number === undefined ? [] : [hex(entry.number, 2)];
  const texts = textsOf(entry).flatMap(({kind, text}) => {
    const shown = (kSigns[kind] ?? '') + text;
    return kind === 'node' ? [shown, ...number] : [shown];
  });
  const time = entry.at ? timeOfDay(entry.at) : '';
  const took = entry.us === undefined ? '' : `(${duration(entry.us)})`;
  return [time, ...texts, took].filter(Boolean).join(' ');
}
