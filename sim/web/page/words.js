import {kPage} from './geometry.js';

// Numbers and states in one style, and in words.

export const hex = (value, digits = 0) => '0x' + value.toString(16).toUpperCase().padStart(digits, '0');
export const address = (value) => hex(value, 8);
export const degrees = (value) => `${minus(value.toFixed(1))} °C`;
/** With the sign for minus instead of a hyphen. */
export const minus = (text) => String(text).replace('-', '−');
/** A share from 0 to 1, in per cent. */
export const percent = (share) => `${Number((100 * share).toPrecision(3))} %`;
/** How much of a file is written, in whole percent. */
export const percentDone = ({done, size}) => Math.floor((100 * done) / size);
export const plural = (count, one, many = one + 's') => `${count} ${count === 1 ? one : many}`;

/** A number with its thousands apart: 13,199. */
export const grouped = (value) => value.toLocaleString('en');

const kKilobyte = 1024;
const kMegabyte = 1024 * kKilobyte;

export function bytes(count) {
  if (count < kKilobyte) return `${count} B`;
  if (count < kMegabyte) return `${(count / kKilobyte).toFixed(count < 10 * kKilobyte ? 1 : 0)} KB`;
  return `${(count / kMegabyte).toFixed(1)} MB`;
}

export function timeOfDay(milliseconds, withMilliseconds = true) {
  const time = new Date(milliseconds);
  const two = (value) => String(value).padStart(2, '0');
  const text = `${two(time.getHours())}:${two(time.getMinutes())}:${two(time.getSeconds())}`;
  return withMilliseconds ? `${text}.${String(time.getMilliseconds()).padStart(3, '0')}` : text;
}

export function duration(microseconds) {
  if (microseconds < 1000) return `${microseconds} µs`;
  if (microseconds < 1000000) return `${(microseconds / 1000).toFixed(1)} ms`;
  return `${(microseconds / 1000000).toFixed(2)} s`;
}

export function spanText(seconds) {
  if (seconds < 60) return `${Math.max(1, Math.round(seconds))} s`;
  const whole = Math.round(seconds);
  return whole % 60 ? `${Math.floor(whole / 60)} min ${whole % 60} s` : `${whole / 60} min`;
}

/** Results of requests that have a name: the value, the name, what it means. */
export const kResults = [
  [0, 'ok', 'done'],
  [0xffff, 'FW_FAIL', 'the driver failed'],
  [0xfffe, 'FW_NOT_SET', 'no description stored'],
  [0xfffd, 'FW_ABSENT', 'not there'],
  [0xfffc, 'FW_NOT_SFP', 'the port has no SFP cage'],
  [0xfffa, 'FW_I2C_BUSY', 'the bus is busy'],
];
/** What a fault can do instead of giving a result. */
export const kEffects = {
  refused: 'the kernel refuses it (EIO)',
  busy: 'the bus is busy',
  closed: 'the node does not open',
  killed: 'the program is killed',
};

/** A result by its name, or as a number if it has none. A negative one is the kernel's refusal. */
export function resultText(result, error) {
  if (result === null || result === undefined) return '';
  if (result < 0) return error ? `refused: ${error}` : 'refused';
  const [, name] = kResults.find(([value]) => value === result) ?? [];
  return name ?? String(result);
}
export const faultResult = (result) =>
  typeof result === 'string' ? `${result}: ${kEffects[result] ?? ''}` : resultText(result);

/** The labels of the LEDs that the readings show, by the names in the board's document. */
const kLeds = {system: 'SYS', alarm: 'ALM', power_1: 'PWR1', power_2: 'PWR2', ring_master: 'RM', ring_fail: 'RF'};
export const kLedNames = Object.keys(kLeds);
export const ledLabel = (name) => kLeds[name] ?? name.replace('speed_', 'Speed ');
export const ledState = (value) => ['off', 'on', 'blinking'][value] ?? String(value);

/** The lamps of the lamp test, by their positions on the serial-GPIO chain. The board's document has none that is off. */
export const kTestLamps = ['5.1', '13.1', '5.3', '6.1'];
export const lampState = ({serial_gpio: chain}, lamp) => chain.find(({group, bit}) => `${group}.${bit}` === lamp)?.value ?? 0;

export const presence = (flag) => (flag ? 'present' : 'absent');

/** The state of a supply, as commands name it. */
export function supplyState({type, good}) {
  return good || type === 'none' ? type : 'failed';
}

export function supplyText({type, good}) {
  if (type === 'none') return 'pulled';
  return `${type.toUpperCase()} ${good ? 'good' : 'failed'}`;
}

/** What is wrong with a port's module, the worst first.
 *  @param alarms, warnings  of its diagnostics, in words */
export function troublesOf(cage, alarms, warnings) {
  const troubles = [];
  if (cage.tx_fault) troubles.push('transmit fault');
  troubles.push(...alarms);
  if (cage.loss_of_signal) troubles.push('no light');
  troubles.push(...warnings);
  return troubles;
}

/** What a port's module shows, the worst first. */
export function signsOf(cage, alarms, warnings) {
  const signs = troublesOf(cage, alarms, warnings);
  if (cage.tx_disable) signs.push('transmitter off');
  return signs.length > 0 ? signs : ['signal'];
}

export function linkText(link, cage) {
  if (!link) return '';
  if (cage?.tx_disable) return 'PHY held in reset: transmitter off';
  if (!link.speed) return 'link down';
  return `${link.speed} Mb/s ${link.full_duplex ? 'full' : 'half'} duplex`;
}

/** How much of the flash is in use; empty if nothing is. */
export function flashText({used}) {
  const sectors = used.filter((pages) => pages > 0).length;
  const size = used.reduce((sum, pages) => sum + kPage * pages, 0);
  return sectors ? `${plural(sectors, 'sector')} of the flash with ${bytes(size)} in use` : '';
}
