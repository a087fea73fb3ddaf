import {ask} from './connection.js';
import {follow, known, put} from './store.js';
import {kTestLamps, lampState} from './words.js';

// The last minutes of a few values: for each value its changes, with their times. The server keeps them, too: a page begins
// with what the server has.

const kKept = 300000; // milliseconds
const series = new Map(); // by name: the points, each with its time `at` and its `value`

function record(name, value) {
  const now = Date.now();
  if (value === undefined || value === null) return;
  if (!series.has(name)) series.set(name, []);
  const points = series.get(name);
  if (points.at(-1)?.value === value) return;
  points.push({at: now, value});
  while (points.length > 2 && points[1].at < now - kKept) points.shift();
}

export const pointsOf = (name) => series.get(name) ?? [];

/** When the first value that is known was recorded. */
export const beginning = () => Math.min(Date.now(), ...[...series.values()].map((points) => points[0]?.at ?? Infinity));

function recordBoard() {
  const {board} = known;
  if (!board) return;
  record('temperature', board.i2c.sensor_present ? board.i2c.temperature : null);
  board.supplies.forEach(({supply, good, type}) => record('supply' + supply, good && type !== 'none' ? 1 : 0));
  for (const [name, value] of Object.entries(board.panel)) record('led-' + name, value);
  for (const lamp of kTestLamps) record('lamp-' + lamp, lampState(board, lamp));
  record('busy', board.i2c.busy);
}

/** Takes the values that the server has kept. Its clock may differ from this machine's. */
async function load() {
  const answer = await ask('history').catch(() => null);
  if (!answer) return;
  const ahead = Date.now() - answer.now;
  for (const [name, pairs] of Object.entries(answer.series)) {
    series.set(
      name,
      pairs.map(([at, value]) => ({at: at + ahead, value})),
    );
  }
  recordBoard();
  put('history', answer.now);
}

export function start() {
  follow(['anew'], load);
  follow(['board'], recordBoard);
  follow(['rate'], () => record('rate', known.rate));
}
