import {touch} from './store.js';

// What is looked at stands in the page's address, so that a reload or a colleague sees the same.

const fields = new URLSearchParams(location.search);

export const read = (name) => fields.get(name) ?? '';

export function write(changes) {
  for (const [name, value] of Object.entries(changes)) {
    if (value) fields.set(name, value);
    else fields.delete(name);
  }
  const query = fields.toString().replaceAll('%2C', ',');
  history.replaceState(null, '', query ? '?' + query : location.pathname);
  touch('address');
}
