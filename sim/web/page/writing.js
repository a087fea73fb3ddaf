import * as dock from './dock.js';
import {button, element, find, patch} from './dom.js';
import {follow, isAway, known} from './store.js';
import {bytes, percentDone, spanText} from './words.js';

// A writing to the flash: how far it is, and how long it still takes. It stands above everything that scrolls while it goes
// on.

const kMeasured = 15000; // milliseconds over which the speed is measured
const kShortest = 1000; // a shorter measurement says little
let samples = []; // times and bytes that were done
let shown = ''; // who writes what

/** Bytes of the file that are written, in whatever regions; without a file, bytes of this region. */
const doneOf = ({file, done, written}) => (file ? done : written);

function measure(writing) {
  const {program, region, file} = writing;
  const what = `${program} ${file ?? region}`;
  const done = doneOf(writing);
  if (what !== shown || done < (samples.at(-1)?.done ?? 0) || done === 0) samples = [];
  shown = what;
  const at = Date.now();
  if (samples.at(-1)?.done !== done) samples.push({at, done});
  while (samples.length > 2 && samples[0].at < at - kMeasured) samples.shift();
}

/** Bytes a second; 0 while it is not known. */
function speed() {
  const [first, last] = [samples[0], samples.at(-1)];
  if (!first || last.at - first.at < kShortest) return 0;
  return ((last.done - first.done) / (last.at - first.at)) * 1000;
}

/** The time for the rest of the file. Without a file, at most the time for the rest of the region. */
function timeLeft({file, size, done, left}) {
  if (file && done === size) return 'all written';
  const rate = speed();
  if (!rate) return 'measuring the speed';
  return file ? `${spanText((size - done) / rate)} left` : `at most ${spanText(left / rate)} left`;
}

/** How far it is, in words. */
function progressText(writing) {
  const {file, written, size} = writing;
  const done = doneOf(writing);
  if (done === 0) return 'erasing';
  const rate = speed();
  return [
    file ? `${bytes(done)} of ${bytes(size)}` : `${bytes(written)} written`,
    rate && `${bytes(rate)}/s`,
    timeLeft(writing),
  ]
    .filter(Boolean)
    .join(' · ');
}

const tabText = (writing) => (writing.file ? `${percentDone(writing)}\u00a0%` : 'writing');

function bar(writing) {
  const {file, size, done} = writing;
  if (!file) return null;
  return [
    element('progress', {max: size, value: done, 'aria-label': `Written of ${file}`}),
    element('b', {class: 'percent'}, `${percentDone(writing)} %`),
  ];
}

function content(writing) {
  const {program, region, file} = writing;
  return [
    element('b', {class: 'what'}, `Writing ${region}`),
    element('span', {class: 'from'}, file ? `${file} by ${program}` : `by ${program}`),
    bar(writing),
    element('span', {class: 'far'}, progressText(writing)),
    button('Show the flash', () => dock.open('flash'), {class: 'small', hidden: dock.isOpen('flash')}),
  ];
}

function show() {
  const {writing} = known;
  const isOn = Boolean(writing) && !isAway();
  if (writing) measure(writing);
  dock.count('flash', isOn ? tabText(writing) : '');
  for (const place of [find('#writing-now'), find('#sheet-writing')]) {
    place.hidden = !isOn;
    if (isOn) patch(place, content(writing));
  }
}

export function start() {
  follow(['writing', 'regions', 'live', 'gone', 'tab'], show);
}
