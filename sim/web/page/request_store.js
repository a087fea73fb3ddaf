// The requests that are kept: the last ones; and for longer those that somebody may look for later, as they failed, were struck
// by a fault, or their answer changed.

const kLast = 5000;
const kLonger = 1000; // of each kind
const kCounted = 10000;
let last = [];
let failures = []; // earlier than the last ones; also those that were struck by a fault
let changes = []; // earlier than the last ones
let failed = 0; // how many have failed
let counted = new Set(); // keys of failures of earlier streams, which the server may send once more
let stream = 0; // counts the server's streams: requests of two streams may have the same number

// An entry about missed requests of which some may have failed is a failure, too.
const isFailure = ({failed: hasFailed, fault, failures: mayHaveFailed}) => hasFailed || Boolean(fault) || Boolean(mayHaveFailed);
const isChange = ({changed}) => Boolean(changed);

function keepLonger(gone) {
  failures = failures.concat(gone.filter(isFailure)).slice(-kLonger);
  changes = changes.concat(gone.filter(isChange)).slice(-kLonger);
}

const isOlder = (entry) => entry.stream !== stream;
const keyOf = ({n, at}) => `${n} ${at}`;

/** A stream begins with all that the server still has. Kept entries of an earlier stream that come once more are forgotten.
 *  @return whether something was forgotten */
function forgetRepeated(entries) {
  if (!failures.some(isOlder) && !changes.some(isOlder)) return false;
  const keys = new Set(entries.map(keyOf));
  const comesAgain = (entry) => isOlder(entry) && keys.has(keyOf(entry));
  const before = failures.length + changes.length;
  failures = failures.filter((entry) => !comesAgain(entry));
  changes = changes.filter((entry) => !comesAgain(entry));
  return failures.length + changes.length < before;
}

/** @return whether some of them were kept already, and have another place now */
export function add(entries) {
  const hasForgotten = forgetRepeated(entries);
  for (const entry of entries) {
    entry.stream = stream;
    if (entry.failed && !counted.has(keyOf(entry))) ++failed;
  }
  last = last.concat(entries);
  keepLonger(last.splice(0, Math.max(0, last.length - kLast)));
  return hasForgotten;
}

/** Another stream begins. What is kept for longer stays. */
export function beginAnew() {
  const keys = [...failures, ...last].filter((entry) => entry.failed).map(keyOf);
  counted = new Set([...counted, ...keys].slice(-kCounted));
  keepLonger(last);
  last = [];
  ++stream;
}

export function clear() {
  last = [];
  failures = [];
  changes = [];
  failed = 0;
  counted.clear();
}

export const failedCount = () => failed;
/** The number of failures, and of requests that were struck by a fault, that are earlier than the last requests. */
export const earlierFailures = () => failures.length;

/** The entries among which a kind of result, as the filter names it, is looked for; in their order. */
export function entriesFor(result) {
  if (result === 'changed') return [...changes, ...last];
  const isOfFailures = ['failed', 'fault'].includes(result) || (result.startsWith('=') && result !== '=ok');
  return isOfFailures ? [...failures, ...last] : last;
}

/** A request by its number on the server; undefined where it has not come yet, or is not kept any more. */
export function byNumber(n) {
  const isIt = (entry) => entry.n === n && entry.stream === stream;
  return last.find(isIt) ?? changes.find(isIt) ?? failures.find(isIt);
}

/** The kind of result under which a request is found. */
export function kindOf(entry) {
  if (last.includes(entry)) return '';
  if (changes.includes(entry)) return 'changed';
  return entry.failed || entry.failures ? 'failed' : 'fault';
}
