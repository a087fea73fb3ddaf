import {element} from './dom.js';
import {marked} from './request_filter.js';
import {parse, programName, readsText} from './request_line.js';
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

/** True where the fields of a request say what it reads; an address does not. */
const hasNames = ({rest}) => rest.startsWith('{') && !rest.startsWith('{address');

function classOf({node, failed, fault, changed}) {
  return [node, failed && 'failed', fault && 'struck', changed && 'changed'].filter(Boolean).join(' ');
}

function signOf({fault, failed}) {
  if (fault) return '⚑ ';
  return failed ? '! ' : '';
}

/** What stands in the column of results. */
export const resultTold = (entry) => signOf(entry) + parse(entry).resultText;

/** @param toggle  opens the line, or closes it */
export function lineOf(entry, expression, toggle) {
  parse(entry);
  const text = (value) => marked(value, expression);
  return element(
    'li',
    {class: classOf(entry), 'data-number': entry.id},
    element(
      'button',
      {type: 'button', class: 'line', tabindex: '-1', 'aria-expanded': 'false', onclick: () => toggle(entry)},
      element('span', {class: 'time'}, entry.at ? timeOfDay(entry.at) : ''),
      element('span', {class: 'program'}, text(programName(entry))),
      element(
        'span',
        {class: 'what', title: titleOf(entry)},
        element('span', {class: 'node'}, text(entry.node)),
        element('b', {}, text(entry.name)),
        ' ',
        entry.changed && [element('b', {class: 'fresh'}, text(entry.changed)), ' '],
        entry.reads && !hasNames(entry) && [element('i', {class: 'reads'}, text(entry.reads)), ' '],
        text(entry.rest),
      ),
      element('span', {class: 'took'}, entry.us === undefined ? '' : duration(entry.us)),
      element('span', {class: 'result'}, signOf(entry), text(entry.resultText)),
    ),
  );
}
