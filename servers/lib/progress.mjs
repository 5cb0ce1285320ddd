// A progress line on stderr: rewritten in place on a terminal, now and then a line of its own elsewhere.
export class Progress {
  #what;
  #total;
  #start = Date.now();
  #shown = 0;

  constructor(what, total) {
    this.#what = what;
    this.#total = total;
  }

  show(done) {
    const now = Date.now();
    const last = done >= this.#total;
    if (!last && now - this.#shown < (process.stderr.isTTY ? 100 : 2000)) return;
    this.#shown = now;
    const rate = Math.round((done * 1000) / Math.max(now - this.#start, 1));
    const percent = this.#total === 0 ? 100 : Math.floor((done * 100) / this.#total);
    const line = `${this.#what} ${done} of ${this.#total} (${percent} %), ${rate} per second`;
    process.stderr.write(process.stderr.isTTY ? `\r\x1b[K${line}${last ? '\n' : ''}` : `${line}\n`);
  }
}
