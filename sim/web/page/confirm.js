import {closeDialog, openDialog} from './dialog.js';
import {button, element} from './dom.js';
import {follow, isAway} from './store.js';

// Asks once before something goes that no undo brings back, and names what goes. The question goes when the board does.

let withdraw = null; // the question that is open

follow(['live', 'gone'], () => isAway() && withdraw?.());

/** @param lost  what goes; empty for nothing
 *  @param kept  a sentence about what stays
 *  @return whether it shall be done */
export function confirm({title, lost, kept, does}) {
  return new Promise((resolve) => {
    const close = (yes) => {
      withdraw = null;
      closeDialog(dialog);
      resolve(yes);
    };
    withdraw = () => close(false);
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
      element('h2', {id: 'confirm-title'}, title),
      lost.length > 0 && element('p', {}, 'This goes:'),
      lost.length > 0 &&
        element(
          'ul',
          {},
          lost.map((one) => element('li', {}, one)),
        ),
      kept && element('p', {class: lost.length > 0 ? 'hint' : ''}, kept),
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
