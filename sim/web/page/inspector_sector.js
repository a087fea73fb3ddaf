import {ask} from './connection.js';
import {facts} from './controls.js';
import {button, copyButton, element} from './dom.js';
import {openFaultsAt} from './faults.js';
import {kPage, kSector} from './geometry.js';
import {hexRows} from './hex.js';
import {known, put} from './store.js';
import {address, bytes, hex, plural} from './words.js';

// A sector of the flash, with its bytes.

const kPiece = 4096; // bytes
const kPieces = kSector / kPiece;
const kRetry = 2000; // milliseconds
let shown = {}; // `sector`, `piece`, `version`: the counters when it was read, and its `digits` or an `error`

export const regionOf = (sector) => known.regions.findLast(({start}) => start / kSector <= sector);

/** Reads a piece of a sector, if it was not read since it changed. The old bytes stand until then. */
async function load(sector, piece) {
  const {used, erases} = known.sectors;
  const version = `${used[sector]} ${erases[sector]} ${regionOf(sector).programs}`;
  const isSame = shown.sector === sector && shown.piece === piece;
  if (isSame && shown.version === version) return;
  const {digits, error} = isSame ? shown : {digits: '', error: ''};
  shown = {sector, piece, version, digits, error};
  const path = `flash/bytes?start=${sector * kSector + piece * kPiece}&size=${kPiece}`;
  const answer = await ask(path).catch(({message}) => ({bytes: '', error: message}));
  if (shown.sector !== sector || shown.piece !== piece) return;
  shown.digits = answer.bytes;
  shown.error = answer.error;
  put('bytes', version);
  if (shown.error) setTimeout(readAgain, kRetry, shown);
}

/** Forgets that a piece could not be read: the inspector is drawn anew, and reads it again. */
function readAgain(failed) {
  failed.version = '';
  put('bytes', '');
}

function content(start) {
  if (shown.digits) return hexRows(shown.digits, start, 6);
  return shown.error ? element('p', {class: 'refusal'}, shown.error) : element('p', {class: 'hint'}, 'Reading…');
}

export function sectorControls(sector) {
  const {used, erases} = known.sectors;
  const region = regionOf(sector);
  const start = sector * kSector;
  const piece = shown.sector === sector ? shown.piece : 0;
  load(sector, piece);
  const to = (next) => load(sector, next).then(() => put('bytes', next));
  return [
    facts([
      ['Region', region.region],
      ['Address', address(start)],
      ['In use', `${bytes(used[sector] * kPage)} of ${bytes(kSector)}`],
      ['Erased', plural(erases[sector], 'time')],
    ]),
    element(
      'div',
      {class: 'row', 'data-key': 'pieces'},
      button('◂', () => to(piece - 1), {disabled: piece === 0, 'aria-label': 'The 4 KB before'}),
      element('span', {}, `${address(start + piece * kPiece)}, 4 KB of 64`),
      button('▸', () => to(piece + 1), {disabled: piece === kPieces - 1, 'aria-label': 'The next 4 KB'}),
      copyButton(
        `zelsim flash save sector.bin --region ${address(start)}+${hex(kSector)} --board ${known.board.board}`,
        'Copy command to save it',
      ),
      button('Make it fail…', () => openFaultsAt('flash', address(start), address(start + kSector - 1))),
    ),
    content(start + piece * kPiece),
  ];
}
