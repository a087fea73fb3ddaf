// One worker for all pages of a browser: it opens one stream of events for each board, because a browser opens few
// connections to a server.

const kRetry = 1000;
const kKeptText = 2e6; // characters of requests, for a page that is opened later

class Feed {
  constructor(query) {
    this.query = query;
    this.pages = new Map(); // and whether they want requests
    this.known = {}; // parts, but no logs
    this.activity = [];
    this.requests = [];
    this.requestsSize = 0;
  }

  wants() {
    return [...this.pages.values()].includes(true);
  }

  tell(news) {
    for (const page of this.pages.keys()) page.postMessage(news);
  }

  setLive(live) {
    this.known.live = live;
    this.tell({live});
  }

  connect() {
    clearTimeout(this.retry);
    this.source?.close();
    this.asked = this.wants();
    const source = new EventSource(`/api/events?${this.query}${this.asked ? '&requests' : ''}`);
    this.source = source;
    this.activity = [];
    this.requests = [];
    this.requestsSize = 0;
    let first = true;
    source.onopen = () => this.setLive(true);
    source.onmessage = ({data}) => {
      if (data.startsWith('{"requests')) return this.tellRequests(data);
      const news = JSON.parse(data);
      this.keep(news);
      this.tell(first ? {...news, anew: true} : news);
      first = false;
    };
    source.onerror = () => {
      source.close();
      this.setLive(false);
      this.retry = setTimeout(() => this.connect(), kRetry);
    };
  }

  // Requests come by the thousand: they go on as the text that they are, to the pages that show them.
  tellRequests(text) {
    this.requests.push(text);
    this.requestsSize += text.length;
    while (this.requestsSize > kKeptText) this.requestsSize -= this.requests.shift().length;
    for (const [page, wants] of this.pages) if (wants) page.postMessage(text);
  }

  keep({activity, ...parts}) {
    if (activity) this.activity = [...this.activity, ...activity].slice(-300);
    Object.assign(this.known, parts);
  }

  listen(page, {requests}) {
    if (!this.pages.has(page) && this.source) {
      page.postMessage({...this.known, activity: this.activity, anew: true});
      if (requests) for (const text of this.requests) page.postMessage(text);
    }
    this.pages.set(page, requests);
    if (!this.source || this.wants() !== this.asked) this.connect();
  }

  leave(page) {
    this.pages.delete(page);
    if (this.pages.size === 0) {
      clearTimeout(this.retry);
      this.source?.close();
      this.source = null;
      this.known = {};
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

if (typeof document === 'undefined') globalThis.onconnect = ({ports: [port]}) => serve(port);
