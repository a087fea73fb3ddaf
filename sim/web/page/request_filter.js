import * as address from './address.js';
import {element} from './dom.js';
import {parse, programName} from './request_line.js';
import {follow, put} from './store.js';

// Which requests are shown. The filter stands in the page's address.

const kFields = ['node', 'program', 'result', 'text', 'regex'];
const inAddress = () => Object.fromEntries(kFields.map((name) => [name, address.read(name)]));
export const filter = inAddress();

const compiled = () =>
  new RegExp(filter.regex ? filter.text : filter.text.replace(/[.*+?^${}()|[\]\\]/g, '\\$&'), 'gi');

let last = null; // the last one that was well formed

/** What is looked for; null for nothing. While the text is no regular expression, perhaps as it is not complete yet, it is
 *  what was looked for before. */
export function matcher() {
  try {
    last = filter.text ? compiled() : null;
  } catch {
    // `complaint` says it
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

function searched(entry) {
  const {node, name, rest, resultText} = parse(entry);
  const {reads = '', changed = ''} = entry;
  return `${programName(entry)} ${node} ${name} ${changed} ${rest} ${reads} ${resultText}`;
}

export function passes(entry, expression) {
  if (filter.node && parse(entry).node !== filter.node) return false;
  if (filter.program && entry.program !== filter.program) return false;
  if (filter.result === 'failed' && !entry.failed) return false;
  if (filter.result === 'fault' && !entry.fault) return false;
  if (filter.result === 'changed' && !entry.changed) return false;
  if (filter.result.startsWith('=') && parse(entry).resultText !== filter.result.slice(1)) return false;
  if (expression) {
    expression.lastIndex = 0;
    return expression.test(searched(entry));
  }
  return true;
}

const kNothing = {node: '', program: '', result: '', text: '', regex: ''};

/** Followers of 'filter' are told. */
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
/** How many of the lists say what is shown. */
export const countOfChoices = () => [filter.node, filter.program, filter.result].filter(Boolean).length;

/** Text in which what is looked for is marked. */
export function marked(text, expression) {
  if (!expression) return [text];
  const pieces = [];
  let at = 0;
  expression.lastIndex = 0;
  for (const match of text.matchAll(expression)) {
    if (match[0] === '') break;
    pieces.push(text.slice(at, match.index), element('mark', {}, match[0]));
    at = match.index + match[0].length;
  }
  return [...pieces, text.slice(at)];
}
