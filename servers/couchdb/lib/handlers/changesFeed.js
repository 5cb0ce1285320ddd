// GET or POST /db/_changes?feed=continuous. A feed reads what it has missed by itself and then listens to
// the tail that it shares with its like, so that it costs next to nothing while it waits, and nothing at all
// once its client has gone.
import { ChangesTails, readChanges } from '../changesTail.js';
import { ContinuousFeed, heartbeatLength } from '../continuousFeed.js';
import { UnknownDatabase } from '../databases.js';
import { sendError } from '../json.js';

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
  #behind = true;
  #waiting = false;
  #wake = () => {};

  constructor(database, options, feed, since, limit) {
    this.#database = database;
    this.#options = options;
    this.#feed = feed;
    this.#since = since;
    this.#left = limit;
  }

  wake = () => this.#wake();

  end = () => this.#feed.end(`{"last_seq":${this.#since}}\n`);

  // A batch of the tail: passed on at once when this feed is up to date, else read again in its turn.
  take = ({ from, lines }) => {
    if (this.#waiting && from <= this.#since) this.#send(lines.filter(({ seq }) => seq > this.#since));
    else this.#behind = true;
    this.wake();
  };

  async run() {
    while (!this.#feed.closed) {
      await this.#feed.drained();
      if (this.#left <= 0) this.end();
      else if (this.#behind) await this.#catchUp();
      else await this.#wait();
    }
  }

  async #catchUp() {
    this.#behind = false;
    const lines = await readChanges(this.#database, this.#options, this.#since);
    this.#send(lines);
    this.#behind ||= lines.length > 0;
  }

  #send(lines) {
    const sent = lines.slice(0, this.#left);
    if (sent.length === 0) return;
    this.#feed.write(sent.map(({ text }) => text).join(''));
    this.#since = sent.at(-1).seq;
    this.#left -= sent.length;
  }

  async #wait() {
    if (this.#feed.closed) return;
    this.#waiting = true;
    await new Promise((resolve) => { this.#wake = resolve; });
    this.#waiting = false;
  }
}

export function changesFeed(databases) {
  const tails = new ChangesTails();

  async function follow(name, database, options, follower, feed) {
    const unsubscribe = tails.subscribe(databases, name, database, options, follower.take);
    databases.on(`deleted:${name}`, follower.end);
    feed.onClose(() => {
      unsubscribe();
      databases.off(`deleted:${name}`, follower.end);
      follower.wake();
    });
    if (!databases.holds(name, database)) follower.end(); // deleted since it was found
    try {
      await follower.run();
    } catch {
      follower.end(); // the database went away under a read
    }
  }

  return async (request, response, { segments, query }) => {
    if (segments.length !== 2 || segments[1] !== '_changes' || query.feed !== 'continuous') return false;
    if (request.method !== 'GET' && request.method !== 'POST') return false;
    const database = await databases.find(segments[0]);
    if (database === null) throw new UnknownDatabase();
    const since = await startOf(database, query.since);
    if (since === null) return sendError(request, response, 400, 'bad_request', 'invalid since');
    let follower = null;
    const feed = new ContinuousFeed(request, response, {
      heartbeatMs: heartbeatLength(query.heartbeat),
      idleMs: Number.isInteger(query.timeout) ? query.timeout : undefined,
      onTimeout: () => follower.end(),
    });
    const options = changeOptions(query);
    const limit = Number.isInteger(query.limit) ? Math.max(query.limit, 1) : Infinity;
    follower = new ChangesFollower(database, options, feed, since, limit);
    await follow(segments[0], database, options, follower, feed);
    return true;
  };
}
