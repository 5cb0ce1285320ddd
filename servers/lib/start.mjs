// servers/start, behind its shell wrapper: see there for what it promises.
import { spawnSync } from 'node:child_process';
import path from 'node:path';
import { parseArguments } from './arguments.mjs';
import { couchdb } from './couchdb.mjs';
import { elasticsearch } from './elasticsearch.mjs';
import { Unavailable } from './failures.mjs';
import { serversFolder } from './places.mjs';
import { whenCallerIsGone } from './caller.mjs';

const kinds = { couchdb, elasticsearch };

function provide(name) {
  const missing = kinds[name].missing();
  if (missing) throw new Unavailable(`${name}: ${missing}`);
  const install = spawnSync(path.join(serversFolder, 'install'), [name], { stdio: ['ignore', 2, 2] });
  if (install.status !== 0) throw new Unavailable(`${name} is not installed`);
}

function say(line) {
  process.stdout.on('error', () => {}); // a caller that is gone reads no more
  process.stdout.write(`${line}\n`);
}

function finish(server, status) {
  server?.cleanUp();
  process.exit(status);
}

function reportDeath(options, server, status) {
  process.stderr.write(`servers/start: the ${options.server} server ended (${status}):\n${server.process.output}\n`);
  say(`died ${status}`);
}

async function run() {
  const options = parseArguments(process.argv.slice(2));
  let server = null;
  let stopping = false;
  whenCallerIsGone(async () => {
    if (stopping) return;
    stopping = true;
    await server?.process.stop();
    finish(server, 0);
  });
  provide(options.server);
  server = kinds[options.server].start(options);
  const port = await server.ready;
  if (stopping) return;
  if (port !== null) say(`ready ${port} ${server.process.pid}`);
  else server.process.kill();
  const status = await server.process.ended;
  if (stopping) return;
  reportDeath(options, server, status);
  finish(server, 1);
}

run().catch((error) => {
  process.stderr.write(`servers/start: ${error.message}\n`);
  process.exit(error.status ?? 1);
});
