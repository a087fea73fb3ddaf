import {element} from './dom.js';
import {hex} from './words.js';

/** Bytes, given as hexadecimal digits, in rows of 16 with their text. */
export function hexRows(digits, start, width = 8) {
  const bytes = digits.match(/../g) ?? [];
  const text = (byte) => {
    const code = parseInt(byte, 16);
    return code >= 32 && code < 127 ? String.fromCharCode(code) : '·';
  };
  const rows = [];
  for (let at = 0; at < bytes.length; at += 16) {
    const row = bytes.slice(at, at + 16);
    const address = hex(start + at, width).toLowerCase(); // as the bytes
    const [first, second] = [row.slice(0, 8), row.slice(8)].map((half) => half.join(' ').padEnd(23));
    rows.push(`${address}  ${first}  ${second}  ${row.map(text).join('')}`);
  }
  return element('pre', {class: 'hex', tabindex: '0', 'aria-label': 'Bytes in hexadecimal and as text'}, rows.join('\n'));
}
