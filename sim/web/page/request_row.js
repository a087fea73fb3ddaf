import {element} from './dom.js';
import {markedTexts} from './request_filter.js';
import {hasNames, parse, readsText} from './request_line.js';
import {duration, timeOfDay} from './words.js';

// A line of the list of requests.

/** What is said when the pointer rests on a line. */
function titleOf(entry) {
  const {name, rest, program, values, changed} = entry;
  const lines = [`${name} ${rest}`];
  if (entry.reads) lines.push(readsText(entry) + (values ? `: ${values}` : ''));
  if (changed) lines.push(`Changed since ${program} read it before: ${changed}`);
  return lines.join('\n');
}

function classOf({node, failed, fault, changed}) {
  return [node, failed && 'failed', fault && 'struck', changed && 'changed'].filter(Boolean).join(' ');
}

function signOf({fault, failed}) {
  if (fault) return '⚑ ';
  return failed ? '! ' : '';
}

/** What stands in the column of results. */
export const resultTold = (entry) => signOf(entry) + parse(entry).resultText;

/** What a line says between its name and its result. It says what is read if the fields don't, or if that was looked for and
 *  found. */
function saying(entry, texts) {
  const {reads, rest} = texts;
  const words = reads && element('i', {class: 'reads'}, reads.pieces);
  if (!hasNames(entry)) return [words, words && ' ', rest?.pieces];
  return [rest.pieces, reads?.isFound && [' ', words]];
}

/** @param toggle  opens the line, or closes it */
export function lineOf(entry, expression, toggle) {
  parse(entry);
  const texts = markedTexts(entry, expression);
  const {program, node, name, changed, result} = texts;
  return element(
    'li',
    {class: classOf(entry), 'data-number': entry.id},
    element(
      'button',
      {type: 'button', class: 'line', tabindex: '-1', 'aria-expanded': 'false', onclick: () => toggle(entry)},
      element('span', {class: 'time'}, entry.at ? timeOfDay(entry.at) : ''),
      element('span', {class: 'program'}, program?.pieces),
      element(
        'span',
        {class: 'what', title: titleOf(entry)},
        element('span', {class: 'node'}, node.pieces),
        element('b', {}, name.pieces),
        ' ',
        changed && [element('b', {class: 'fresh'}, changed.pieces), ' '],
        saying(entry, texts),
      ),
      element('span', {class: 'took'}, entry.us === undefined ? '' : duration(entry.us)),
      element('span', {class: 'result'}, signOf(entry), result?.pieces),
    ),
  );
}
