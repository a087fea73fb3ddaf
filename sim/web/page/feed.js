// The worker of all pages of a browser, which opens few connections to a server at a time: one stream of events for each
// board that is looked at.

const kRetry = 1000;

class Feed {
  constructor(query) {
    this.query = query;
    this.pages = new Map(); // and whether they want requests
    this.known = {}; // parts, but no logs
    this.logs = {};
  }

  wants() {
    return [...this.pages.values()].includes(true);
  }

  tell(news) {
    for (const page of this.pages.keys()) page.postMessage(news);
  }

  connect() {
    clearTimeout(this.retry);
    this.source?.close();
    this.asked = this.wants();
    const source = (this.source = new EventSource(`/api/events?${this.query}${this.asked ? '&requests' : ''}`));
    this.logs = {};
    let first = true;
    source.onopen = () => this.tell({live: (this.known.live = true)});
    source.onmessage = ({data}) => {
      const news = JSON.parse(data);
      this.keep(news);
      this.tell(first ? {...news, anew: true} : news);
      first = false;
    };
    source.onerror = () => {
      source.close();
      this.tell({live: (this.known.live = false)});
      this.retry = setTimeout(() => this.connect(), kRetry);
    };
  }

  keep(news) {
    for (const [name, value] of Object.entries(news)) {
      if (['requests', 'activity'].includes(name)) this.logs[name] = [...(this.logs[name] ?? []), ...value].slice(-4000);
      else this.known[name] = value;
    }
  }

  listen(page, {requests}) {
    if (!this.pages.has(page) && this.source) {
      const {requests: lines, ...logs} = this.logs;
      page.postMessage({...this.known, ...logs, ...(requests && lines ? {requests: lines} : {}), anew: true});
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
