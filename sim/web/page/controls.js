import {act, dismiss, drawAnew, pendingValue, refusalOf, untilTold} from './acts.js';
import {button, element} from './dom.js';
import {isAway, known} from './store.js';

// Controls of the inspector and of forms. Each has a name by which its act and its refusal are found again.

export function refusal(control) {
  const text = refusalOf(control);
  if (!text) return null;
  return element(
    'p',
    {class: 'refusal', role: 'alert', 'data-key': 'refusal-' + control},
    element('span', {}, text),
    button('×', () => dismiss(control), {'aria-label': 'Dismiss', class: 'quiet'}),
  );
}

/** A button that acts on the board. It is disabled while the board is gone. */
export const actButton = (text, onclick, properties = {}) =>
  button(text, onclick, {'data-acts': true, disabled: isAway(), ...properties});

const moved = new Map(); // by control: the value that the arrow keys have come to, not done yet

/** Arrow keys go from value to value and do nothing; Enter or Space does the one that they have come to. */
function moveChoice(control, values, choose, event) {
  const {key, currentTarget: input} = event;
  const direction = {ArrowRight: 1, ArrowDown: 1, ArrowLeft: -1, ArrowUp: -1}[key];
  if (direction === undefined && key !== 'Enter' && key !== ' ') return;
  event.preventDefault();
  const at = values.findIndex(([value]) => String(value) === input.value);
  if (direction === undefined) {
    moved.delete(control);
    choose(values[at][0]);
    return;
  }
  const to = String(values.at((at + direction) % values.length)[0]);
  moved.set(control, to);
  const place = input.closest('.options');
  drawAnew();
  place.querySelector(`[value="${CSS.escape(to)}"]`).focus();
}

function leaveChoice(control, {currentTarget, relatedTarget}) {
  if (!moved.has(control) || currentTarget.closest('.options').contains(relatedTarget)) return;
  moved.delete(control);
  drawAnew();
}

/** A few values, one of which holds.
 *  @param values  each with its text if it has another one
 *  @param does  gives the action and the fields for a value that is chosen */
export function choice(control, legend, values, holds, does) {
  const waiting = pendingValue(control);
  const shown = String(waiting ?? moved.get(control) ?? holds);
  const isMoved = waiting === undefined && moved.has(control) && shown !== String(holds);
  const choose = (value) => {
    moved.delete(control);
    if (String(value) === String(holds)) return drawAnew();
    const [action, fields] = does(value);
    act(control, action, fields, value);
  };
  const options = values.map(([value, text = value]) =>
    element(
      'label',
      {},
      element('input', {
        type: 'radio',
        name: control,
        value: String(value),
        checked: shown === String(value),
        disabled: isAway(),
        onchange: () => choose(value),
        onkeydown: (event) => moveChoice(control, values, choose, event),
        onblur: (event) => leaveChoice(control, event),
      }),
      element('span', {}, text),
    ),
  );
  return element(
    'fieldset',
    {
      class: 'choice' + (waiting === undefined ? '' : ' pending') + (isMoved ? ' moved' : ''),
      'data-key': control,
    },
    element('legend', {}, legend),
    element('div', {class: 'options'}, options),
    isMoved && element('small', {class: 'hint', role: 'status', 'data-key': 'moved-' + control}, 'Enter does it.'),
    refusal(control),
  );
}

/** A button that does one thing. */
export function doing(control, text, action, fields, properties = {}) {
  const waiting = pendingValue(control) !== undefined;
  return element(
    'span',
    {class: 'doing', 'data-key': control},
    actButton(text, () => act(control, action, fields), {
      ...properties,
      class: `${properties.class ?? ''}${waiting ? ' pending' : ''}`,
      'aria-busy': waiting,
    }),
    refusal(control),
  );
}

const slid = new Map(); // by control: where a slider stands while it is dragged or its act is on the way
const sliding = new Set(); // controls whose act is on the way
let dragged = null; // the control of the slider that is dragged
const kSlop = 8; // pixels along a slider, after which a finger drags it
let finger = null; // touches a slider, and may still begin to scroll the page: where it began; `send` sends what it has set

/** Lets a slider show what holds as soon as that is known, unless somebody goes on with it. */
async function settle(control) {
  if (sliding.has(control) || dragged === control) return;
  const last = slid.get(control);
  await untilTold(known.expectedAct ?? 0);
  if (slid.get(control) !== last) return;
  slid.delete(control);
  drawAnew();
}

function endDrag({type}) {
  if (dragged === null) return;
  const control = dragged;
  const undecided = finger;
  dragged = null;
  finger = null;
  if (undecided && type === 'pointercancel') {
    slid.delete(control); // the finger scrolls the page
    drawAnew();
    return;
  }
  undecided?.send();
  settle(control);
}

function startDrag(control, event) {
  const {button: pressed, pointerType, clientX: x, clientY: y, currentTarget: input} = event;
  if (pressed !== 0) return;
  endDrag(event);
  dragged = control;
  slid.set(control, {value: input.value});
  if (pointerType === 'touch') finger = {x, y, send: () => {}};
}

function goOn({clientX: x, clientY: y}) {
  if (!finger) return;
  const along = Math.abs(x - finger.x);
  if (along < kSlop || along < Math.abs(y - finger.y)) return;
  const {send} = finger;
  finger = null;
  send();
}

for (const end of ['pointerup', 'pointercancel']) document.addEventListener(end, endDrag, true);

/** A number on a slider. While it is dragged one request is made at a time, and the last one brings the last value. */
export function slider(control, legend, {lowest, highest, step, holds, text, does}) {
  const shown = slid.get(control)?.value ?? String(holds);
  const send = async () => {
    if (sliding.has(control)) return;
    sliding.add(control);
    let sent;
    let done = true;
    while (done) {
      const wanted = slid.get(control)?.value; // none after a touch that scrolls the page
      if (wanted === undefined || wanted === sent) break;
      sent = wanted;
      const [action, fields] = does(sent);
      done = await act(control, action, fields);
    }
    sliding.delete(control);
    if (done) return settle(control);
    slid.delete(control);
    drawAnew();
  };
  const slide = ({target}) => {
    slid.set(control, {value: target.value});
    target.closest('.slider').querySelector('output').textContent = text(Number(target.value));
    if (finger) finger.send = send;
    else send();
  };
  return element(
    'div',
    {class: 'slider', 'data-key': control},
    element(
      'label',
      {},
      legend,
      element('output', {}, text(Number(shown))),
      element('input', {
        type: 'range',
        min: lowest,
        max: highest,
        step,
        value: shown,
        name: control,
        onpointerdown: (event) => startDrag(control, event),
        onpointermove: goOn,
        oninput: slide,
        disabled: isAway(),
      }),
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
