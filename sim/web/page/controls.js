import {act, dismiss, pendingValue, refusalOf} from './acts.js';
import {button, element} from './dom.js';

// Controls of the inspector and of forms. Each has a name by which its act and its refusal are found again.

export function refusal(control) {
  const text = refusalOf(control);
  return (
    text &&
    element(
      'p',
      {class: 'refusal', role: 'alert', 'data-key': 'refusal-' + control},
      element('span', {}, text),
      button('×', () => dismiss(control), {'aria-label': 'Dismiss', class: 'quiet'}),
    )
  );
}

/** A few values, one of which holds. `does` gives the action and the fields for one that is chosen. */
export function choice(control, legend, values, holds, does) {
  const waiting = pendingValue(control);
  const shown = String(waiting ?? holds);
  const choose = (value) => act(control, ...does(value), value);
  const options = values.map(([value, text = value]) =>
    element(
      'label',
      {},
      element('input', {
        type: 'radio',
        name: control,
        value: String(value),
        checked: shown === String(value),
        onchange: () => choose(value),
      }),
      element('span', {}, text),
    ),
  );
  return element(
    'fieldset',
    {class: 'choice' + (waiting === undefined ? '' : ' pending'), 'data-key': control},
    element('legend', {}, legend),
    element('div', {class: 'options'}, options),
    refusal(control),
  );
}

/** A button that does one thing. */
export function doing(control, text, action, fields, properties = {}) {
  const waiting = pendingValue(control) !== undefined;
  return element(
    'span',
    {class: 'doing', 'data-key': control},
    button(text, () => act(control, action, fields), {
      ...properties,
      class: `${properties.class ?? ''}${waiting ? ' pending' : ''}`,
      'aria-busy': waiting,
    }),
    refusal(control),
  );
}

const sliding = new Set();
/** A number on a slider. While it is dragged one request is made at a time, and the last one brings the last value. */
export function slider(control, legend, {lowest, highest, step, holds, text, does}) {
  const slide = async ({target}) => {
    target.closest('.slider').querySelector('output').textContent = text(Number(target.value));
    if (sliding.has(control)) return;
    sliding.add(control);
    let sent;
    while (sent !== target.value) {
      sent = target.value;
      await act(control, ...does(sent));
    }
    sliding.delete(control);
  };
  return element(
    'div',
    {class: 'slider', 'data-key': control},
    element(
      'label',
      {},
      legend,
      element('output', {}, text(holds)),
      element('input', {type: 'range', min: lowest, max: highest, step, value: String(holds), name: control, oninput: slide}),
    ),
    refusal(control),
  );
}

export const facts = (pairs) =>
  element(
    'dl',
    {class: 'facts'},
    pairs
      .filter(([, value]) => value !== undefined && value !== '')
      .map(([name, value]) => element('div', {}, element('dt', {}, name), element('dd', {}, value))),
  );
