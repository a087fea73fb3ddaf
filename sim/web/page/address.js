import {put} from './store.js';

// The page's address says what is looked at. So a reload or a colleague sees the same, and Back leads to what was looked at
// before.

let fields = new URLSearchParams(location.search);

export const read = (name) => fields.get(name) ?? '';

/** Changes fields of the address. An empty value takes a field out.
 *  @param isStep  whether Back shall lead to what was there before the change */
export function write(changes, isStep = false) {
  for (const [name, value] of Object.entries(changes)) {
    if (value) fields.set(name, value);
    else fields.delete(name);
  }
  const query = fields.toString().replaceAll('%2C', ',');
  const address = query ? '?' + query : location.pathname;
  const isThere = address === (location.search || location.pathname);
  if (isStep && !isThere) history.pushState(null, '', address);
  else history.replaceState(null, '', address);
}

addEventListener('popstate', () => {
  fields = new URLSearchParams(location.search);
  put('visited', location.search);
});
