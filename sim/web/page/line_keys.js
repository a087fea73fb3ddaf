// A list whose lines are gone through by the arrow keys. It is one stop of the tab key: the list itself, or the line that
// the keys have come to.

const kMoves = ['ArrowUp', 'ArrowDown', 'PageUp', 'PageDown', 'Home', 'End'];

/** @param placeOf  gives the place of the line that a key leads to, from a key and the place of the line where the focus is; -1
 *    is the list itself */
export function goByKeys(list, placeOf) {
  function stopAt(stop) {
    for (const line of list.querySelectorAll('.line[tabindex="0"]')) line.tabIndex = -1;
    list.tabIndex = -1;
    stop.tabIndex = 0;
  }

  function move(event) {
    const line = event.target.closest('.line');
    if (event.target !== list && !line) return; // a button of an opened line
    if (!kMoves.includes(event.key)) return;
    event.preventDefault();
    const to = placeOf(event.key, line ? [...list.children].indexOf(line.parentNode) : -1);
    const next = list.children[to]?.firstChild;
    if (!next) return;
    next.focus({preventScroll: true});
    next.scrollIntoView({block: 'nearest'});
  }

  list.addEventListener('keydown', move);
  list.addEventListener('focusin', ({target}) => {
    const row = [...list.children].find((one) => one.contains(target));
    stopAt(row?.firstChild ?? list);
  });
  list.addEventListener('focusout', ({relatedTarget}) => {
    if (!list.contains(relatedTarget)) stopAt(list);
  });
}
