// Runs servers/start for tests.
import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { createInterface } from 'node:readline';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

export const startProgram = path.join(path.dirname(fileURLToPath(import.meta.url)), '..', 'start');

export function start(words, { stdin = 'pipe', env } = {}) {
  const child = spawn(startProgram, words, { stdio: [stdin, 'pipe', 'pipe'], env });
  const exited = new Promise((resolve) => child.on('exit', (status, signal) => resolve(signal ?? status)));
  const lines = createInterface({ input: child.stdout })[Symbol.asyncIterator]();
  const errors = [];
  createInterface({ input: child.stderr }).on('line', (line) => errors.push(line));
  const line = async () => (await lines.next()).value ?? null;
  return { child, exited, line, errors };
}

export async function ready(helper) {
  const line = await helper.line();
  const match = /^ready (\d+) (\d+)$/.exec(line);
  assert.ok(match, `'${line}' ${helper.errors.join('\n')}`);
  return { port: Number(match[1]), pid: Number(match[2]) };
}

// A server that is ready: { port, pid, stop() }
export async function startHelper(...words) {
  const helper = start(words);
  const { port, pid } = await ready(helper);
  const stop = () => {
    helper.child.stdin.end();
    return helper.exited;
  };
  return { port, pid, stop };
}
