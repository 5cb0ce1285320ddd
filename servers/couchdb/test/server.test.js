import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { mkdtempSync, rmSync } from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { after, test } from 'node:test';
import { setTimeout as sleep } from 'node:timers/promises';
import { ask, openFeed, startServer, stopServer } from './support.js';

const folder = mkdtempSync(path.join(os.tmpdir(), 'netweft-couchdb-test-'));
after(() => rmSync(folder, { recursive: true }));

test('databases, documents, sequences and views outlive kill -9 on the same port', async () => {
  const data = path.join(folder, 'kept');
  const first = await startServer('--data', data);
  await ask(first.port, 'PUT', '/db');
  const { json } = await ask(first.port, 'PUT', '/db/a%2Fb', { body: { v: 1 } });
  await ask(first.port, 'PUT', '/db/_design/d', { body: { views: { v: { map: 'function (doc) { emit(doc.v); }' } } } });
  assert.equal((await ask(first.port, 'GET', '/db/_design/d/_view/v')).json.rows.length, 1);
  await stopServer(first, 'SIGKILL');
  const second = await startServer('--data', data, '--port', `${first.port}`);
  assert.equal(second.port, first.port);
  assert.deepEqual((await ask(second.port, 'GET', '/_all_dbs')).json, ['db']);
  assert.equal((await ask(second.port, 'GET', '/db/a%2Fb')).headers.etag, `"${json.rev}"`);
  assert.equal((await ask(second.port, 'GET', '/db')).json.update_seq, 2);
  assert.equal((await ask(second.port, 'GET', '/db/_design/d/_view/v')).json.rows.length, 1);
  await stopServer(second);
});

test('a restart is not told as the creation of its databases', async () => {
  const data = path.join(folder, 'events');
  const first = await startServer('--data', data);
  await ask(first.port, 'PUT', '/old');
  await stopServer(first);
  const second = await startServer('--data', data);
  const feed = await openFeed(second.port, '/_db_updates?feed=continuous');
  await ask(second.port, 'GET', '/old');
  await ask(second.port, 'PUT', '/new');
  assert.equal((await feed.change()).db_name, 'new');
  feed.close();
  await stopServer(second);
});

test('a port that is taken is an error', async () => {
  const first = await startServer();
  const second = await startServer('--port', `${first.port}`);
  assert.equal(await second.exited, 1);
  await stopServer(first);
});

test('bad arguments leave with 2', async () => {
  for (const words of [['--port', 'x'], ['--user', 'nobody'], ['--what'], ['--data']]) {
    assert.equal(await (await startServer(...words)).exited, 2);
  }
});

test('SIGTERM ends it with 0, open feeds or not', async () => {
  const server = await startServer();
  const feed = await openFeed(server.port, '/_db_updates?feed=continuous');
  const ended = feed.line().catch(() => null);
  assert.equal(await stopServer(server, 'SIGTERM'), 0);
  assert.equal(await ended, null);
});

test('it ends with its parent', async () => {
  const main = path.join(import.meta.dirname ?? path.dirname(new URL(import.meta.url).pathname), '..', 'server.js');
  const script = `require('child_process').spawn(process.execPath, [${JSON.stringify(main)}], { stdio: 'inherit' });
    setInterval(() => {}, 1000)`;
  const parent = spawn(process.execPath, ['-e', script], { stdio: ['ignore', 'pipe', 'inherit'] });
  const line = await new Promise((resolve) => parent.stdout.once('data', (data) => resolve(`${data}`)));
  const port = Number(/port (\d+)/.exec(line)[1]);
  parent.kill('SIGKILL');
  const deadline = Date.now() + 10_000;
  while (await ask(port, 'GET', '/').then(() => true, () => false)) {
    assert.ok(Date.now() < deadline, 'the server still answers');
    await sleep(50);
  }
});
