import * as address from './address.js';
import {element} from './dom.js';
import {parse, textsOf} from './request_line.js';
import {follow, put} from './store.js';

// Which requests are shown. The filter stands in the page's address.

const kFields = ['node', 'program', 'result', 'text', 'regex'];
const inAddress = () => Object.fromEntries(kFields.map((name) => [name, address.read(name)]));
export const filter = inAddress();

const compiled = () =>
  new RegExp(filter.regex ? filter.text : filter.text.replace(/[.*+?^${}()|[\]\\]/g, '\\$&'), 'gi');

let last = null; // the last expression that was well formed

/** The expression that is looked for; null for none. While the text is no regular expression, perhaps because it is not complete
 *  yet, the last one stays. */
export function matcher() {
  try {
    last = filter.text ? compiled() : null;
  } catch {
    // `complaint` tells why
  }
  return last;
}

/** Why the text is no regular expression, in words; empty if it is one. */
export function complaint() {
  try {
    compiled();
    return '';
  } catch (error) {
    return `No regular expression: ${error.message.split(': ').at(-1).toLowerCase()}.`;
  }
}

/** What is searched is what is shown, in the same order. */
const searched = (texts) => texts.map(({text}) => text).join(' ');

export function passes(entry, expression) {
  if (filter.node && parse(entry).node !== filter.node) return false;
  if (filter.program && entry.program !== filter.program) return false;
  if (filter.result === 'failed' && !entry.failed && !entry.failures) return false;
  if (filter.result === 'fault' && !entry.fault) return false;
  if (filter.result === 'changed' && !entry.changed) return false;
  if (filter.result.startsWith('=') && parse(entry).resultText !== filter.result.slice(1)) return false;
  if (expression) {
    expression.lastIndex = 0;
    return expression.test(searched(textsOf(entry)));
  }
  return true;
}

const kNothing = {node: '', program: '', result: '', text: '', regex: ''};

/** Changes the filter, and tells the followers of 'filter'. */
export function setFilter(changes) {
  Object.assign(filter, changes);
  address.write(changes);
  put('filter', {});
}

follow(['visited'], () => {
  Object.assign(filter, inAddress());
  put('filter', {});
});

export const clearFilter = () => setFilter(kNothing);
/** Shows all requests with a kind of result. */
export const showOnly = (result) => setFilter({...kNothing, result});
/** How many of the three selects choose something. */
export const countOfChoices = () => [filter.node, filter.program, filter.result].filter(Boolean).length;

/** A text in pieces, with marks at some places. A place is its begin and its end. */
function marked(text, places) {
  const pieces = [];
  let at = 0;
  for (const [from, to] of places) {
    pieces.push(text.slice(at, from), element('mark', {}, text.slice(from, to)));
    at = to;
  }
  return [...pieces, text.slice(at)];
}

/** Where what is looked for is found. */
function placesIn(text, expression) {
  const found = [...text.matchAll(expression)].filter(([match]) => match !== '');
  return found.map(({0: match, index}) => [index, index + match.length]);
}

/** The texts of a line by their kind: the pieces with their marks, and whether something was found in it. What is found may
 *  begin in one text and end in another. */
export function markedTexts(entry, expression) {
  const texts = textsOf(entry);
  const places = expression ? placesIn(searched(texts), expression) : [];
  const shown = {};
  let begin = 0;
  for (const {kind, text} of texts) {
    const inside = places
      .map(([from, to]) => [Math.max(0, from - begin), Math.min(text.length, to - begin)])
      .filter(([from, to]) => from < to);
    shown[kind] = {pieces: marked(text, inside), isFound: inside.length > 0};
    begin += text.length + 1;
  }
  return shown;
}
