// Rows may move under a pointer that is about to press one of them. Such a click does nothing.

const kMoment = 500; // milliseconds
let movedAt = -Infinity;
let spent = null; // where the pointer was when it has pressed something, until it moves

/** Rows have moved, or are about to. */
export function rowsMoved() {
  movedAt = performance.now();
}

const isAt = (place, {screenX, screenY}) => place?.x === screenX && place?.y === screenY;

/** Whether a press is for what stands there now. One by a key always is. One by the pointer is not shortly after the rows have
 *  moved, nor a second time at the same place. */
export function isMeant(event) {
  if (event.detail === 0) return true;
  if (isAt(spent, event) || performance.now() - movedAt < kMoment) return false;
  spent = {x: event.screenX, y: event.screenY};
  return true;
}

document.addEventListener('pointermove', (event) => {
  if (!isAt(spent, event)) spent = null;
});
