import {closeDialog, openDialog} from './dialog.js';
import {button, element, patch} from './dom.js';
import {follow, isAway} from './store.js';

// Asks before an act that loses something, and names what is lost. The question is withdrawn when the board is gone.

let withdraw = null; // withdraws the question that is open
let drawAnew = null; // draws the question that is open as it is now

follow(['live', 'gone'], () => {
  if (isAway()) withdraw?.();
});
follow(['writing', 'sectors', 'difference'], () => drawAnew?.());

function content({title, lost, kept, warning}) {
  return [
    element('h2', {id: 'confirm-title'}, title),
    warning && element('p', {class: 'warning', role: 'status', 'data-key': 'warning'}, warning),
    lost.length > 0 && element('p', {}, 'This goes:'),
    lost.length > 0 &&
      element(
        'ul',
        {},
        lost.map((one) => element('li', {}, one)),
      ),
    kept && element('p', {class: lost.length > 0 ? 'hint' : ''}, kept),
  ];
}

/** @param question  what to ask, or a function that gives it as it is now: programs may go on meanwhile. It has
 *    `title`; `lost`, what goes, empty for nothing; `kept`, a sentence about what stays; `warning`, what goes on just now;
 *    `does`, what is done
 *  @return whether it shall be done */
export function confirm(question) {
  let last = question;
  const asked = () => {
    if (typeof question === 'function') last = question() ?? last; // the last one stays if there is nothing to ask any more
    return last;
  };
  const {lost, does} = asked();
  return new Promise((resolve) => {
    const close = (yes) => {
      withdraw = null;
      drawAnew = null;
      closeDialog(dialog);
      resolve(yes);
    };
    withdraw = () => close(false);
    const text = element('div', {class: 'question'});
    drawAnew = () => patch(text, content(asked()));
    drawAnew();
    const dialog = element(
      'dialog',
      {
        class: 'confirm',
        'aria-labelledby': 'confirm-title',
        oncancel: (event) => {
          event.preventDefault();
          close(false);
        },
      },
      text,
      element(
        'div',
        {class: 'row end'},
        button(lost.length > 0 ? 'Keep everything' : 'Leave it as it is', () => close(false), {class: 'main', autofocus: true}),
        button(does, () => close(true), {class: 'danger'}),
      ),
    );
    openDialog(dialog);
  });
}
