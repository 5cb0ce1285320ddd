// Follows the end of a database's changes once for all the feeds that want them alike, so that a write
// costs one look-up however many feeds are open.
//
// Each batch of new lines goes to the subscribers as { from, lines: [{ seq, text }] }: all changes behind
// the sequence "from". A subscriber has been told everything since it subscribed.
import { recordText } from './json.js';

// Fewer when the documents come along, for the memory that large ones take.
function batchSize(options) {
  return options.include_docs ? 25 : 500;
}

export async function readChanges(database, options, since) {
  const { results } = await database.changes({ ...options, since, limit: batchSize(options) });
  return results.map((change) => ({ seq: change.seq, text: `${recordText(change)}\n` }));
}

class ChangesTail {
  #database;
  #options;
  #position = null;
  #subscribers = new Set();
  #dirty = false;
  #reading = false;

  constructor(database, options) {
    this.#database = database;
    this.#options = options;
    this.#start();
  }

  get isUnused() {
    return this.#subscribers.size === 0;
  }

  subscribe(callback) {
    this.#subscribers.add(callback);
  }

  unsubscribe(callback) {
    this.#subscribers.delete(callback);
  }

  written() {
    this.#dirty = true;
    this.#readAll().catch(() => {}); // the database went away under a read
  }

  async #start() {
    try {
      this.#position = (await this.#database.info()).update_seq;
      await this.#readAll();
    } catch {
      // the database went away
    }
  }

  async #readAll() {
    if (this.#reading || this.#position === null) return;
    this.#reading = true;
    try {
      while (this.#dirty) await this.#readBatch();
    } finally {
      this.#reading = false;
    }
  }

  async #readBatch() {
    this.#dirty = false;
    const from = this.#position;
    const lines = await readChanges(this.#database, this.#options, from);
    if (lines.length === 0) return;
    this.#position = lines.at(-1).seq;
    this.#dirty ||= lines.length === batchSize(this.#options);
    for (const subscriber of this.#subscribers) subscriber({ from, lines });
  }
}

// The tails in use, one per database and set of options.
export class ChangesTails {
  #tails = new Map();

  // Returns the function that ends the subscription.
  subscribe(databases, name, database, options, callback) {
    const key = JSON.stringify([name, options]);
    const { tail, written } = this.#tails.get(key) ?? this.#add(key, databases, name, database, options);
    tail.subscribe(callback);
    return () => {
      tail.unsubscribe(callback);
      if (!tail.isUnused || this.#tails.get(key)?.tail !== tail) return;
      databases.off(`written:${name}`, written);
      this.#tails.delete(key);
    };
  }

  #add(key, databases, name, database, options) {
    const tail = new ChangesTail(database, options);
    const entry = { tail, written: () => tail.written() };
    databases.on(`written:${name}`, entry.written);
    databases.once(`deleted:${name}`, () => {
      databases.off(`written:${name}`, entry.written);
      if (this.#tails.get(key) === entry) this.#tails.delete(key);
    });
    this.#tails.set(key, entry);
    return entry;
  }
}
