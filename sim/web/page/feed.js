// One worker for all pages of a browser: it opens one stream of events for each board, because a browser opens few
// connections to a server.

// Times are milliseconds.
const kRetry = 1000; // from a lost connection until the next try
const kLook = 1000; // between two looks whether the server is heard
const kSilence = 6000; // a server without news says every two seconds that it is there
const kKeptActivity = 300; // entries
const kKeptText = 2e6; // characters of requests, for a page that is opened later

/** Why the server refuses a stream: the status and its sentence. Null if it does not answer, or does not refuse. The stream
 *  itself does not tell. */
async function whyRefused(address) {
  const ending = new AbortController();
  try {
    const answer = await fetch(address, {signal: ending.signal});
    if (answer.ok) return null;
    return {status: answer.status, text: (await answer.json()).error};
  } catch {
    return null;
  } finally {
    ending.abort(); // if the stream is good now, this one must not go on
  }
}

class Feed {
  constructor(query) {
    this.query = query;
    this.pages = new Map(); // by page: whether it wants requests
    this.known = {}; // parts, but no logs
    this.activity = [];
    this.requests = [];
    this.requestsSize = 0;
    this.boardAt = 0; // the time of the board's state in `known`
    this.heardAt = 0;
    this.lookedAt = 0;
    this.isTrying = false; // whether tryAnew() waits for an answer
    this.watch = null; // a timer
    this.retry = null; // a timer
    this.source = null; // the stream
    this.asked = false; // whether the stream brings requests
  }

  wantsRequests() {
    return [...this.pages.values()].includes(true);
  }

  tell(news) {
    for (const page of this.pages.keys()) page.postMessage(news);
  }

  connect() {
    clearTimeout(this.retry);
    this.source?.close();
    this.asked = this.wantsRequests();
    const address = `/api/events?${this.query}${this.asked ? '&requests' : ''}`;
    const source = new EventSource(address);
    this.source = source;
    this.activity = [];
    this.requests = [];
    this.requestsSize = 0;
    let isFirst = true;
    this.heardAt = Date.now();
    this.startWatch();
    source.onopen = () => this.hear();
    source.addEventListener('alive', () => this.hear());
    source.onmessage = ({data}) => {
      this.hear();
      if (data.startsWith('{"requests')) return this.tellRequests(data);
      const news = JSON.parse(data);
      if (isFirst) this.forgetParts();
      this.keep(news);
      this.tell(isFirst ? {...news, anew: true} : news);
      isFirst = false;
    };
    source.onerror = async () => {
      source.close();
      const refused = await whyRefused(address);
      if (this.source !== source) return; // somebody has connected anew, or all pages are gone
      this.setLive(false, {refused});
      this.retry = setTimeout(() => this.connect(), kRetry);
    };
  }

  hear() {
    this.heardAt = Date.now();
    if (!this.known.live) this.setLive(true);
  }

  /** @param refused  why the server refuses the stream; null if it does not
   *  @param silent  whether the connection is there, and nothing comes
   *  @param since  when `live` became what it is now */
  setLive(live, {refused = null, silent = false, since = Date.now()} = {}) {
    const state = {live, refused, silent};
    if (live !== this.known.live) state.since = since;
    Object.assign(this.known, state);
    this.tell(state);
  }

  startWatch() {
    clearInterval(this.watch);
    this.lookedAt = Date.now();
    this.watch = setInterval(() => this.lookWhetherHeard(), kLook);
  }

  /** A server that hangs, or a network that is gone, ends no connection. */
  lookWhetherHeard() {
    const now = Date.now();
    const slept = now - this.lookedAt > 2 * kLook;
    this.lookedAt = now;
    // The browser lets a page that nobody sees sleep: news that came meanwhile are not taken yet.
    if (slept) this.heardAt = now;
    if (this.source?.readyState === EventSource.CLOSED || now - this.heardAt < kSilence) return;
    if (this.known.live !== false) this.setLive(false, {silent: true, since: this.heardAt});
    this.tryAnew();
  }

  /** The old connection may be dead while the server answers others. */
  async tryAnew() {
    if (this.isTrying) return;
    this.isTrying = true;
    const {source} = this;
    try {
      const answer = await fetch('/api/server', {signal: AbortSignal.timeout(kSilence)});
      if (answer.ok && this.source === source && Date.now() - this.heardAt >= kSilence) this.connect();
    } catch {
      // The server answers nobody.
    }
    this.isTrying = false;
  }

  /** Requests come by the thousand: their text goes on as it is, to the pages that show them. */
  tellRequests(text) {
    this.requests.push(text);
    this.requestsSize += text.length;
    while (this.requestsSize > kKeptText) {
      const oldest = this.requests.shift();
      this.requestsSize -= oldest.length;
    }
    for (const [page, wants] of this.pages) {
      if (wants) page.postMessage(text);
    }
  }

  /** A server that was started anew does not say which parts are gone. The state of the connection stays. */
  forgetParts() {
    const {live, refused, silent, since} = this.known;
    this.known = {live, refused, silent, since};
  }

  keep({activity, ...parts}) {
    if (activity) this.activity = [...this.activity, ...activity].slice(-kKeptActivity);
    if (parts.board) this.boardAt = Date.now() - (parts.board_age ?? 0);
    Object.assign(this.known, parts);
  }

  listen(page, {requests}) {
    if (!this.pages.has(page) && this.source) {
      page.postMessage({...this.known, board_age: Date.now() - this.boardAt, activity: this.activity, anew: true});
      const kept = requests ? this.requests : [];
      for (const text of kept) page.postMessage(text);
    }
    this.pages.set(page, requests);
    if (!this.source || this.wantsRequests() !== this.asked) this.connect();
  }

  leave(page) {
    this.pages.delete(page);
    if (this.pages.size === 0) {
      clearTimeout(this.retry);
      clearInterval(this.watch);
      this.source?.close();
      this.source = null;
      this.known = {};
    } else if (this.wantsRequests() !== this.asked) {
      this.connect();
    }
  }
}

const feeds = new Map();

/** Serves a page's port: messages say which feed it follows and whether it wants requests, or that it ends. */
export function serve(page) {
  let feed;
  page.onmessage = ({data}) => {
    if (data === 'ends') return feed?.leave(page);
    if (!feeds.has(data.query)) feeds.set(data.query, new Feed(data.query));
    feed = feeds.get(data.query);
    feed.listen(page, data);
  };
}

// Pages import this module, too, for browsers without such workers. In a worker there is no document.
if (typeof document === 'undefined') globalThis.onconnect = ({ports: [port]}) => serve(port);
