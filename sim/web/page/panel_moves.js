// Where the arrow keys lead on the front panel. The rule follows the drawing, in which all blocks stand in one row. So it is the
// same on a page of any width, on which blocks may stand elsewhere. Left and right go along a row of ports from slot to slot, and
// beyond the first port to the LEDs and supplies; up and down go to the other row, and above it to the header of the slot.

const kHeader = 28; // height of a slot's header: it counts, also where a slot without a board is one place as a whole
const kDirections = {
  ArrowLeft: {axis: 'x', sign: -1},
  ArrowRight: {axis: 'x', sign: 1},
  ArrowUp: {axis: 'y', sign: -1},
  ArrowDown: {axis: 'y', sign: 1},
};

export const isMove = (key) => key in kDirections;

/** The place of a part, from its rectangle in the drawing.
 *  @param x, y  of the block in which it stands */
export function placeOf(rectangle, x, y) {
  const number = (name) => Number(rectangle.getAttribute(name));
  const height = rectangle.id.startsWith('place-slot') ? kHeader : number('height');
  return {
    x: {from: x + number('x'), to: x + number('x') + number('width')},
    y: {from: y + number('y'), to: y + number('y') + height},
  };
}

const middle = ({from, to}) => (from + to) / 2;
const overlap = (one, other) => Math.min(one.to, other.to) - Math.max(one.from, other.from);

/** The part that a key leads to: of the parts ahead that overlap this one across the key's direction the nearest; of equally near
 *  ones the one that overlaps most, else the first. Undefined if there is none.
 *  @param places  of all parts that can be reached, by part */
export function partBeside(places, part, key) {
  const {axis, sign} = kDirections[key];
  const across = axis === 'x' ? 'y' : 'x';
  const here = places.get(part);
  const ahead = [...places].map(([name, place]) => ({
    name,
    distance: sign * (middle(place[axis]) - middle(here[axis])),
    beside: overlap(place[across], here[across]),
  }));
  const reached = ahead.filter(({distance, beside}) => distance > 0 && beside > 0);
  reached.sort((one, other) => one.distance - other.distance || other.beside - one.beside);
  return reached[0]?.name;
}
