// A server as a child process that the kernel ends with us: its parent death signal is SIGKILL.
import { spawn } from 'node:child_process';
import { createInterface } from 'node:readline';
import { setTimeout as sleep } from 'node:timers/promises';

const keptLines = 40;

export class ServerProcess {
  #child;
  #lines = [];
  #waiting = new Set();
  ended; // resolves to the exit status, or to the name of the signal that ended it
  hasEnded = false;

  // privileges: options of setpriv, which sets the death signal last, as a change of user clears it
  constructor(privileges, command, { cwd, env = process.env } = {}) {
    const words = [...privileges, '--pdeathsig', 'KILL', '--', ...command];
    this.#child = spawn('setpriv', words, { cwd, env, stdio: ['ignore', 'pipe', 'pipe'] });
    this.ended = new Promise((resolve) => {
      this.#child.on('error', (error) => resolve(error.message));
      this.#child.on('close', (status, signal) => resolve(signal ?? status));
    });
    this.ended.then(() => { this.hasEnded = true; });
    for (const stream of [this.#child.stdout, this.#child.stderr]) {
      createInterface({ input: stream }).on('line', (line) => this.#take(line));
    }
  }

  get pid() {
    return this.#child.pid;
  }

  // The last lines that the server wrote.
  get output() {
    return this.#lines.join('\n');
  }

  // The first capture of the pattern in a line that is kept or comes in time; null when the server ends or
  // the time is up before.
  async lineMatching(pattern, limitMs) {
    for (const line of this.#lines) if (pattern.test(line)) return pattern.exec(line)[1];
    const found = new Promise((resolve) => { this.#waiting.add({ pattern, resolve }); });
    return Promise.race([found, this.ended.then(() => null), sleep(limitMs, null, { ref: false })]);
  }

  // SIGTERM, and SIGKILL when that was not heard in time.
  async stop(patienceMs = 3000) {
    this.#child.kill('SIGTERM');
    const stopped = await Promise.race([this.ended.then(() => true), sleep(patienceMs, false, { ref: false })]);
    if (!stopped) this.kill();
    await this.ended;
  }

  kill() {
    this.#child.kill('SIGKILL');
  }

  #take(line) {
    this.#lines.push(line);
    if (this.#lines.length > keptLines) this.#lines.shift();
    for (const waiter of this.#waiting) {
      const match = waiter.pattern.exec(line);
      if (!match) continue;
      this.#waiting.delete(waiter);
      waiter.resolve(match[1]);
    }
  }
}
