import {find} from './dom.js';
import {follow, isAway} from './store.js';

// While the board is gone nothing can be done to it. What had the focus gets it again when the board is back.

let held = null; // what had the focus last while the board was there
let shelter = null; // what has it instead

function shelterFocus() {
  if (!held?.isConnected || !held.matches(':disabled')) return;
  const dialog = held.closest('dialog');
  shelter = dialog?.querySelector('button:enabled') ?? held.closest('#inspector') ?? find('[role=tab][tabindex="0"]');
  shelter.focus({preventScroll: true});
}

function giveBack() {
  if (shelter && document.activeElement === shelter && held.isConnected) held.focus({preventScroll: true});
  shelter = null;
}

function show() {
  if (!isAway()) giveBack();
  else if (!shelter) shelterFocus();
}

/** To be called after the other views have started: then they are drawn before this one looks at the focus. */
export function start() {
  document.addEventListener('focusin', ({target}) => {
    if (!isAway()) held = target;
  });
  follow(['live', 'gone'], show);
}
