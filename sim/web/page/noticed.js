import * as dock from './dock.js';
import {button} from './dom.js';
import {put} from './store.js';

/** A button that shows the request in which a program has read something anew. */
export function requestButton({request}) {
  if (!request) return null;
  const show = () => {
    dock.open('requests');
    put('wanted', request);
  };
  return button('Show the request', show, {class: 'small'});
}
