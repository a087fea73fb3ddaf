import {element, find} from './dom.js';
import {known, put} from './store.js';
import {hex} from './words.js';

const kNarrow = 470; // pixels
const kGroup = 8; // bytes

// The width is read when the browser has laid out the page. To read it while drawing would make the browser lay out everything
// once more.
new ResizeObserver(() => {
  const isNarrow = find('#inspector').clientWidth < kNarrow;
  if (isNarrow !== known.narrow) put('narrow', isNarrow);
}).observe(find('#inspector'));

/** Bytes, given as hexadecimal digits, in rows with their text: of 16 bytes, or of 8 where the inspector is narrow.
 *  @param width  digits of an address, at least */
export function hexRows(digits, start, width) {
  const isNarrow = known.narrow;
  const perRow = isNarrow ? kGroup : 2 * kGroup;
  const bytes = digits.match(/../g) ?? [];
  const text = (byte) => {
    const code = parseInt(byte, 16);
    return code >= 32 && code < 127 ? String.fromCharCode(code) : '·';
  };
  const rows = [];
  for (let at = 0; at < bytes.length; at += perRow) {
    const row = bytes.slice(at, at + perRow);
    const address = hex(start + at, width).toLowerCase(); // like the bytes
    const groups = isNarrow ? [row] : [row.slice(0, kGroup), row.slice(kGroup)];
    const inGroups = groups.map((group) => group.join(' ').padEnd(3 * kGroup - 1)).join('  ');
    rows.push(`${address}  ${inGroups}  ${row.map(text).join('')}`);
  }
  const attributes = {
    class: isNarrow ? 'hex narrow' : 'hex',
    tabindex: '0',
    'aria-label': 'Bytes in hexadecimal and as text',
  };
  return element('pre', attributes, rows.join('\n'));
}
