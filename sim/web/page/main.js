import * as activity from './activity.js';
import * as acts from './acts.js';
import * as address from './address.js';
import * as away from './away.js';
import * as bar from './bar.js';
import * as card from './card.js';
import * as catalogue from './catalogue.js';
import * as commands from './commands.js';
import * as connection from './connection.js';
import * as dock from './dock.js';
import {find, patch} from './dom.js';
import * as faults from './faults.js';
import * as flash from './flash.js';
import * as foot from './foot.js';
import * as history from './history.js';
import * as inspector from './inspector.js';
import * as keys from './keys.js';
import * as log from './log.js';
import * as panel from './panel.js';
import * as rack from './rack.js';
import * as requests from './requests.js';
import * as selection from './selection.js';
import * as states from './states.js';
import * as strip from './strip.js';
import * as writing from './writing.js';

// A page shows a board. It shows all boards if the server has a rack of them and the address names none.

/** The views, in the order in which they start and are called when something has changed. */
const kViews = [
  selection,
  acts,
  history,
  panel,
  strip,
  card,
  catalogue,
  requests,
  flash,
  faults,
  log,
  activity,
  foot,
  commands,
  inspector,
  writing,
  states,
  keys,
  away,
];

function showBoard(name) {
  find('#board-view').hidden = false;
  find('#foot').hidden = false;
  for (const view of kViews) view.start();
  dock.start(); // last: it shows the tabs that the views have added
  connection.followBoard(name);
}

const kTries = 3;
const kPause = 1000; // milliseconds between two of them

/** Asks whether the server shows a rack of boards. If it does not answer, it is taken for one with a single board. */
async function serverKind() {
  for (let tries = 0; tries < kTries; ++tries) {
    const answer = await fetch('/api/server').catch(() => null);
    if (answer?.ok) return answer.json();
    await new Promise((resolve) => setTimeout(resolve, kPause));
  }
  return {rack: false};
}

const {rack: hasRack} = await serverKind();
bar.start();
const showsRack = hasRack && !address.read('board');
if (showsRack) {
  keys.start();
  connection.followBoard(null, rack.start());
} else {
  showBoard(address.read('board'));
  if (hasRack) rack.leaveFor(address.read('board'));
}
if (showsRack) {
  patch(find('.skip'), ['To the boards']);
  find('.skip').href = '#boards';
}
// The keyboard begins at what the page shows.
if (document.activeElement === document.body) find(showsRack ? '#rack-view' : '#panel').focus({preventScroll: true});
