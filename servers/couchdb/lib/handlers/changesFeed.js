// GET or POST /db/_changes?feed=continuous. A feed asks for the changes since its last one whenever the
// database was written to, so that a feed costs nothing while it waits, and nothing at all once its client
// has gone.
import { ContinuousFeed, heartbeatLength } from '../continuousFeed.js';
import { recordText, sendError, sendUnknownDatabase } from '../json.js';

const batchSize = 500;

async function startOf(database, since) {
  if (since === undefined || since === '') return 0;
  if (since === 'now') return (await database.info()).update_seq;
  return Number.isInteger(since) ? since : null;
}

function changeOptions(query) {
  const options = {};
  for (const name of ['include_docs', 'conflicts', 'attachments', 'style']) {
    if (name in query) options[name] = query[name];
  }
  // PouchDB adds the conflicts to a document that is not there, and fails.
  if (!options.include_docs) delete options.conflicts;
  return options;
}

class ChangesFollower {
  #database;
  #options;
  #feed;
  #since;
  #left;
  #news = true;
  #wake = () => {};

  constructor(database, options, feed, since, limit) {
    this.#database = database;
    this.#options = options;
    this.#feed = feed;
    this.#since = since;
    this.#left = limit;
  }

  // The database was written to, or the feed is over.
  wake = () => {
    this.#news = true;
    this.#wake();
  };

  end = () => this.#feed.end(`{"last_seq":${this.#since}}\n`);

  async run() {
    while (!this.#feed.closed) {
      if (this.#left <= 0) this.end();
      else if (this.#news) await this.#sendNext();
      else await new Promise((resolve) => { this.#wake = resolve; });
    }
  }

  async #sendNext() {
    this.#news = false;
    const limit = Math.min(batchSize, this.#left);
    const { results } = await this.#database.changes({ ...this.#options, since: this.#since, limit });
    if (results.length === 0 || this.#feed.closed) return;
    this.#feed.write(results.map((change) => `${changeText(change)}\n`).join(''));
    this.#since = results.at(-1).seq;
    this.#left -= results.length;
    this.#news ||= results.length === limit;
    await this.#feed.drained();
  }
}

// CouchDB puts "seq" first.
function changeText({ seq, ...rest }) {
  return recordText({ seq, ...rest });
}

async function follow(databases, name, follower, feed) {
  databases.on(`written:${name}`, follower.wake);
  databases.on(`deleted:${name}`, follower.end);
  feed.onClose(() => {
    databases.off(`written:${name}`, follower.wake);
    databases.off(`deleted:${name}`, follower.end);
    follower.wake();
  });
  try {
    await follower.run();
  } catch {
    follower.end(); // the database went away under a read
  }
}

export function changesFeed(databases) {
  return async (request, response, { segments, query }) => {
    if (segments.length !== 2 || segments[1] !== '_changes' || query.feed !== 'continuous') return false;
    if (request.method !== 'GET' && request.method !== 'POST') return false;
    const database = await databases.find(segments[0]);
    if (database === null) return sendUnknownDatabase(request, response);
    const since = await startOf(database, query.since);
    if (since === null) return sendError(request, response, 400, 'bad_request', 'invalid since');
    let follower = null;
    const feed = new ContinuousFeed(request, response, {
      heartbeatMs: heartbeatLength(query.heartbeat),
      idleMs: Number.isInteger(query.timeout) ? query.timeout : undefined,
      onTimeout: () => follower.end(),
    });
    const limit = Number.isInteger(query.limit) ? Math.max(query.limit, 1) : Infinity;
    follower = new ChangesFollower(database, changeOptions(query), feed, since, limit);
    await follow(databases, segments[0], follower, feed);
    return true;
  };
}
