import {act} from './acts.js';
import {actButton, refusal} from './controls.js';
import {button, copyButton, element} from './dom.js';
import {openFaults} from './faults.js';
import {hexRows} from './hex.js';
import {setFilter} from './request_filter.js';
import {bytesOf, chipName, fieldsOf, parse, partsOf, readsText, targetOf, textOf} from './request_line.js';
import {describe, select} from './selection.js';
import {duration, hex} from './words.js';

// A request that is opened: what it reads, its fields and bytes, and what can be done with requests like it.

function partButton(part) {
  const [name] = describe(part).split(':'); // without its state
  return button(name, () => select(part), {class: 'small', title: 'Select it'});
}

export function details(entry) {
  parse(entry);
  const target = targetOf(entry);
  const fields = fieldsOf(entry);
  const digits = bytesOf(entry);
  const control = `fail-next ${entry.id}`;
  return element(
    'div',
    {class: 'details'},
    element('code', {}, entry.line),
    entry.reads && element('p', {}, element('b', {}, readsText(entry)), entry.values ? `: ${entry.values}` : ''),
    entry.changed && element('p', {}, element('b', {class: 'fresh'}, entry.changed), ` since ${entry.program} read it before`),
    element(
      'div',
      {class: 'row'},
      partsOf(entry).map(partButton),
      entry.node !== 'other' &&
        actButton('Fail the next one', () => act(control, 'fail', {node: target, count: '1'}), {class: 'small'}),
      entry.node !== 'other' && button('Make it fail…', () => openFaults(target), {class: 'small'}),
      button('Only these', () => setFilter({node: entry.node === 'other' ? '' : entry.node, text: entry.name, regex: ''}), {
        class: 'small',
      }),
      copyButton(textOf(entry), 'Copy line'),
      refusal(control),
    ),
    element(
      'p',
      {class: 'hint'},
      [
        entry.node !== 'other' && entry.number !== undefined ? `${entry.node} request ${hex(entry.number, 2)}` : entry.node,
        chipName(entry.address),
        entry.fault ? `answered by fault ${entry.fault}` : '',
        entry.us !== undefined ? `took ${duration(entry.us)}` : '',
      ]
        .filter(Boolean)
        .join(' · '),
    ),
    fields.length > 0 &&
      element(
        'table',
        {class: 'fields'},
        element(
          'thead',
          {},
          element(
            'tr',
            {},
            ['Field', 'Asked', 'Answered'].map((name) => element('th', {scope: 'col'}, name)),
          ),
        ),
        element(
          'tbody',
          {},
          fields.map(([name, asked, answered]) =>
            element('tr', {}, element('th', {scope: 'row'}, name), element('td', {}, asked), element('td', {}, answered)),
          ),
        ),
      ),
    digits && hexRows(digits, 0, 2),
    !digits && entry.before && hexRows(entry.before, 0, 2),
  );
}
