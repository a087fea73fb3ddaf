import {ask} from './connection.js';
import {allPorts, kSector, portsOf} from './geometry.js';
import {boardIn, cageOf, known, put} from './store.js';
import {flashText, percentDone, plural} from './words.js';

// What an act loses, and what of it an undo brings back. The same question is asked wherever the act can be done.

const modulesIn = (ports) => ports.map((port) => [port, cageOf(port)?.module]).filter(([, module]) => module);

/** What is lost of the flash.
 *  @param difference  the sectors that are lost, and the number of erases that are forgotten; without it all of them */
function contents(difference) {
  if (!known.sectors || !known.regions) return [];
  const {erases} = known.sectors;
  const lost = difference && new Set(difference.sectors);
  const used = known.sectors.used.map((pages, sector) => (!lost || lost.has(sector) ? pages : 0));
  const inUse = flashText({used});
  const isInUse = ({start, size}) => used.slice(start / kSector, (start + size) / kSector).some((pages) => pages > 0);
  const names = known.regions.filter(isInUse).map(({region}) => region);
  const regions = names.filter((name) => name !== 'unused');
  const erased = difference?.erases ?? erases.reduce((sum, count) => sum + count, 0);
  return [
    inUse && `${inUse}: ${regions.join(', ')}`,
    erased && `the counts of ${plural(erased, 'sector erase')}`,
  ].filter(Boolean);
}

const partsInWords = (names) => kParts.filter(([part]) => names.includes(part)).map(([, words]) => words);

/** What is lost beside the flash.
 *  @param difference  from a saved state; without it everything is lost */
function surroundings(difference) {
  const modules = modulesIn(difference?.modules ?? allPorts());
  const faults = (difference ?? known.board)?.faults.length ?? 0;
  const parts = difference ? partsInWords(difference.parts) : kAllParts;
  const plugged = modules.map(([port, name]) => `${name} in port ${port}`).join(', ');
  return [
    modules.length > 0 && `${plural(modules.length, 'module')}: ${plugged}`,
    faults > 0 && plural(faults, 'fault'),
    parts.length > 0 && `${parts.join(', ')} as they stand`,
  ].filter(Boolean);
}

/** What an undo brings back of a board with its modules. A board that is fitted begins as after power-up. */
function whatComesBack(modules) {
  const isForeign = ([, name]) => known.modules && !known.modules.some(({module}) => module === name);
  const foreign = modules.find(isForeign);
  if (foreign) return `It cannot be undone: ${foreign[1]} is not in the catalogue.`;
  return 'Undo brings the board and its modules back; their transmitters are then off, until a program switches them on.';
}

/** Whether a state is saved under a name. Asks the server: the page may not know the newest states. True if it does not answer:
 *  then a state may be lost. */
async function isSaved(name) {
  const answer = await ask('states').catch(() => null);
  if (answer) put('states', answer.states);
  return answer?.states.some(({state}) => state === name) ?? true;
}

/** Parts of the board's document, in words. */
const kParts = [
  ['panel', 'LEDs'],
  ['gpio', 'flags'],
  ['registers', 'registers'],
  ['supplies', 'supplies'],
  ['slots', 'boards'],
  ['cages', 'signals of the cages'],
  ['links', 'links'],
  ['diagnostics', 'measured values of modules'],
  ['serial_gpio', 'lamps of the ports'],
  ['i2c', 'clock, temperature and bus'],
  ['settle_ms', 'settling time'],
];
const kAllParts = ['LEDs, flags, registers, supplies, temperature and clock'];

/** Who writes to the flash just now. */
export function writingText(writing) {
  if (!writing) return null;
  const {program, region, file} = writing;
  const far = file ? ` (${percentDone(writing)} % of ${file})` : '';
  return `${program} is writing ${region}${far} just now.`;
}

const kRenewTime = 2000; // milliseconds
const kAboutStates = ['save', 'load', 'forget'];

/** What is lost by going back to a saved state. Programs may go on while the question stands.
 *  @return a function that gives what is known of it, and soon asks the server for it again */
async function differenceFrom(state) {
  const askAnew = (otherwise) => ask('flash/difference?state=' + state).catch(() => otherwise);
  let difference = await askAnew(null);
  let timer = null;
  const renew = async () => {
    difference = await askAnew(difference);
    timer = null;
    put('difference', difference);
  };
  return () => {
    timer ??= setTimeout(renew, kRenewTime);
    return difference;
  };
}

/** The question before an act.
 *  @return a function that gives it as it is now; null if there is nothing to ask: the act loses nothing, or will be refused */
export async function questionFor(action, fields) {
  const saved = kAboutStates.includes(action) && (await isSaved(fields.state));
  const goesBack = action === 'load' && saved;
  const differenceNow = goesBack ? await differenceFrom(fields.state) : () => null;
  const question = () => {
    const asked = questionNow(action, fields, saved, differenceNow());
    return asked && {...asked, warning: writingText(known.writing)};
  };
  return question() && question;
}

function questionNow(action, fields, saved, difference) {
  const name = known.board?.board ?? 'the board';
  if (action === 'flash erase') {
    const lost = contents();
    const kept = lost.length > 0 ? 'Modules, LEDs and settings stay as they are.' : 'The flash is erased already.';
    return {title: 'Erase the whole flash?', lost, kept, does: 'Erase the flash'};
  }
  if (action === 'reset') {
    const alsoFlash = [true, 'true'].includes(fields.flash);
    const lost = alsoFlash ? [...surroundings(), ...contents()] : surroundings();
    const boards = 'The boards that it was made with are fitted again';
    return {
      title: `Put ${name} back to how it was made?`,
      lost,
      kept: alsoFlash ? `${boards}.` : `${boards}; the flash keeps its contents.`,
      does: alsoFlash ? 'Reset and erase' : 'Reset the board',
    };
  }
  if (action === 'load' && saved) {
    const lost = [...surroundings(difference), ...contents(difference)];
    const kept = lost.length === 0 ? 'The board is as it was saved.' : '';
    return {title: `Go back to “${fields.state}”?`, lost, kept, does: 'Go back to it'};
  }
  if (action === 'save' && saved) {
    return {title: `Save over “${fields.state}”?`, lost: ['the state that was saved under this name'], does: 'Save over it'};
  }
  if (action === 'forget' && saved) {
    return {title: `Forget “${fields.state}”?`, lost: ['the state that was saved under this name'], does: 'Forget it'};
  }
  if (action === 'fit') {
    const slot = Number(fields.slot);
    const modules = modulesIn(portsOf(slot));
    if (modules.length === 0 || boardIn(slot) === undefined) return null;
    const lost = modules.map(([port, module]) => `${module} in port ${port} is pulled`);
    const does = fields.board === 'none' ? 'Take the board out' : `Fit the ${fields.board} board`;
    const kept = whatComesBack(modules);
    return {
      title: `Take the ${boardIn(slot)} board out of slot ${slot} with ${plural(modules.length, 'module')} in it?`,
      lost,
      kept,
      does,
    };
  }
  return null;
}
