// Nothing moves under a pointer that is about to press it, nor away from the focus of the keyboard. While one of them
// is in a place, the place goes on showing the entries that it has.

const kMoves = ['pointerover', 'focusin', 'focusout'];

/** @param selector  finds an element while the place is in use
 *  @param show  shows what has come meanwhile */
export function hold(selector, show) {
  let last = null; // number of the newest entry that is shown there; null: nothing is held
  const isInUse = () => document.querySelector(selector) !== null;
  const release = () => {
    if (last === null) return;
    last = null;
    show();
  };
  const check = () => {
    if (last === null) return;
    // While the focus goes from one element to another, it is nowhere for a moment.
    setTimeout(() => {
      if (!isInUse()) release();
    });
  };
  for (const move of kMoves) document.addEventListener(move, check);
  document.documentElement.addEventListener('pointerleave', check);
  return {
    /** To be called with the entries that are shown before others come. */
    keep(entries) {
      if (entries.length === 0 || !isInUse()) last = null;
      else last ??= Math.max(...entries.map(({id}) => id));
    },
    isInUse,
    release,
    isHeld: () => last !== null,
    shows: ({id}) => last === null || id <= last,
  };
}
