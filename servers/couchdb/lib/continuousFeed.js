// The answer to a request with feed=continuous: one JSON text per line for as long as the client stays, with
// an empty line whenever nothing was sent for the length of a heartbeat.
import { contentType } from './json.js';

const defaultIntervalMs = 60_000;

// "heartbeat" as CouchDB reads it: a length in ms, true for the default one, else none.
export function heartbeatLength(value) {
  if (value === true) return defaultIntervalMs;
  return Number.isInteger(value) && value > 0 ? value : null;
}

export class ContinuousFeed {
  #response;
  #idle;
  closed = false;
  #onClose = new Set();

  // With a heartbeat the feed lasts for ever; without one, onTimeout is called after idleMs without a line.
  constructor(request, response, { heartbeatMs, idleMs = defaultIntervalMs, onTimeout }) {
    this.#response = response;
    response.writeHead(200, { 'Content-Type': contentType(request), 'Cache-Control': 'must-revalidate' });
    response.flushHeaders();
    this.#idle = setTimeout(() => (heartbeatMs ? this.#beat() : onTimeout()), heartbeatMs ?? idleMs);
    response.on('close', () => this.#close());
  }

  // Calls it once when the feed is over, whoever ended it.
  onClose(callback) {
    this.#onClose.add(callback);
  }

  write(text) {
    if (this.closed) return;
    this.#response.write(text);
    this.#idle.refresh();
  }

  // Waits until the client has taken what was written.
  async drained() {
    if (this.closed || !this.#response.writableNeedDrain) return;
    await new Promise((resolve) => {
      const done = () => {
        this.#onClose.delete(done);
        this.#response.off('drain', done);
        resolve();
      };
      this.#response.on('drain', done);
      this.#onClose.add(done);
    });
  }

  end(lastLine) {
    if (this.closed) return;
    this.#response.end(lastLine);
    this.#close();
  }

  #beat() {
    if (!this.#response.writableNeedDrain) this.#response.write('\n');
    this.#idle.refresh();
  }

  #close() {
    if (this.closed) return;
    this.closed = true;
    clearTimeout(this.#idle);
    for (const callback of this.#onClose) callback();
  }
}
