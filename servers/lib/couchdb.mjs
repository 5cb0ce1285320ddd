// Starts the CouchDB stand-in.
import { existsSync } from 'node:fs';
import path from 'node:path';
import { answersInTime } from './readiness.mjs';
import { serversFolder } from './places.mjs';
import { ServerProcess } from './serverProcess.mjs';

const startLimitMs = 60_000;

function commandLine({ port, dataFolder, users }) {
  const words = [process.execPath, path.join(serversFolder, 'couchdb', 'server.js'), '--port', `${port}`];
  if (dataFolder !== null) words.push('--data', dataFolder);
  for (const user of users) words.push('--user', user);
  return words;
}

function authorization(users) {
  return users.length === 0 ? {} : { Authorization: `Basic ${Buffer.from(users[0]).toString('base64')}` };
}

async function waitUntilReady(server, { users }) {
  const port = await server.lineMatching(/^listening on port (\d+)$/, startLimitMs);
  const ready = port !== null && await answersInTime(`http://127.0.0.1:${port}/`, {
    headers: authorization(users),
    accept: (response) => response.status === 200,
    isOver: () => server.hasEnded,
    limitMs: startLimitMs,
  });
  return ready ? port : null;
}

export const couchdb = {
  missing() {
    return existsSync(process.execPath) ? null : 'node is missing';
  },

  // { process, ready: promise of the port, null when it did not come up; cleanUp }
  start(options) {
    const server = new ServerProcess([], commandLine(options));
    return { process: server, ready: waitUntilReady(server, options), cleanUp() {} };
  },
};
