import {element} from './dom.js';
import {beginning, pointsOf} from './history.js';
import {knownUntil} from './store.js';
import {spanText} from './words.js';

// A small curve of the last minutes of a value, which stands between its changes.

// Milliseconds that a curve shows.
const kLongest = 180000;
const kShortest = 20000;
// In units of the drawing.
const kWidth = 72;
const kHeight = 22;
const kMargin = 3; // above and below the curve

/** The time that all curves show: since the first known value, within limits. */
const spanAt = (now) => Math.min(kLongest, Math.max(kShortest, now - beginning()));

function pathOf(points, {lowest, highest, steps}, now) {
  const span = spanAt(now);
  const x = (at) => Math.max(0, (1 - (now - at) / span) * kWidth).toFixed(1);
  const share = (value) => (value - lowest) / (highest - lowest || 1);
  const y = (value) => (kHeight - kMargin - share(value) * (kHeight - 2 * kMargin)).toFixed(1);
  const begin = now - span;
  const endOf = (i) => points[i + 1]?.at ?? now; // a value stands until the next one
  const seen = points.filter((point, i) => endOf(i) > begin);
  let path = '';
  seen.forEach(({at, value}, i) => {
    if (i === 0) path = `M${x(at)} ${y(value)}`;
    else path += steps ? `H${x(at)}V${y(value)}` : `L${x(at)} ${y(seen[i - 1].value)}L${x(at)} ${y(value)}`;
  });
  return path && path + `H${kWidth}`;
}

/** The ends of the scale: all values have room, and those of the range at least. */
function limitsOf(name, range) {
  const values = pointsOf(name).map(({value}) => value);
  return {lowest: Math.min(range.lowest ?? Infinity, ...values), highest: Math.max(range.highest ?? -Infinity, ...values)};
}

/** @param range  `lowest` and `highest`, which have room at least; `steps` for values that jump */
export function sparkline(name, range = {}) {
  const points = pointsOf(name);
  const {lowest, highest} = limitsOf(name, range);
  const svg = document.createElementNS('http://www.w3.org/2000/svg', 'svg');
  svg.setAttribute('viewBox', `0 0 ${kWidth} ${kHeight}`);
  svg.setAttribute('preserveAspectRatio', 'none');
  svg.setAttribute('class', 'spark');
  svg.setAttribute('aria-hidden', 'true');
  const path = document.createElementNS('http://www.w3.org/2000/svg', 'path');
  path.setAttribute('d', points.length ? pathOf(points, {lowest, highest, steps: range.steps}, knownUntil()) : '');
  svg.append(path);
  return svg;
}

/** A curve with the ends of its scale beside it.
 *  @param text  gives a value with its unit, as short as it can be */
export function scaled(name, range, text) {
  const {lowest, highest} = limitsOf(name, range);
  const ends = [highest, lowest].map((value) => element('span', {}, text(Math.round(value))));
  return element(
    'span',
    {class: 'scaled', title: `The last ${spanText(spanAt(knownUntil()) / 1000)}`},
    sparkline(name, range),
    element('span', {class: 'scale-ends'}, ends),
  );
}
