import {find} from './dom.js';

// Dialogs over the page. The focus goes back to where it was, and never to the page's body.

export function openDialog(dialog) {
  document.body.append(dialog);
  dialog.showModal();
}

export function closeDialog(dialog) {
  dialog.close();
  dialog.remove();
  if (document.activeElement === document.body) find(find('#board-view').hidden ? '#rack-view' : '#panel').focus();
}
