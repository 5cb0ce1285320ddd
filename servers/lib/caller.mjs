// Tells when the caller no longer wants the server.
import { fstatSync } from 'node:fs';

const parentCheckMs = 200;

// A script's background job has /dev/null as its stdin, which is at its end from the start and says nothing.
function stdinCanClose() {
  try {
    const stdin = fstatSync(0);
    return stdin.isFIFO() || stdin.isSocket() || process.stdin.isTTY;
  } catch {
    return false;
  }
}

export function whenCallerIsGone(callback) {
  for (const signal of ['SIGTERM', 'SIGINT', 'SIGHUP']) process.on(signal, callback);
  if (stdinCanClose()) process.stdin.on('end', callback).on('error', callback).resume();
  const parent = Number(process.env.NETWEFT_START_PARENT ?? process.ppid);
  setInterval(() => {
    if (process.ppid !== parent) callback();
  }, parentCheckMs);
}
