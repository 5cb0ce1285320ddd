import assert from 'node:assert/strict';
import { after, before, beforeEach, afterEach, test } from 'node:test';
import { ask, openFeed, startServer, stopServer } from './support.js';

let server;
let feed;
const call = (method, target, body) => ask(server.port, method, target, { body });

before(async () => {
  server = await startServer();
  await call('PUT', '/db');
});
after(() => stopServer(server));
beforeEach(async () => {
  feed = await openFeed(server.port, '/_db_updates?feed=continuous&heartbeat=true&timeout=30000');
});
afterEach(() => feed.close());

test('the creation and the deletion of a database are told', async () => {
  await call('PUT', '/other');
  await call('DELETE', '/other');
  assert.equal(await feed.line(), '{"db_name":"other","type":"created"}');
  assert.equal(await feed.line(), '{"db_name":"other","type":"deleted"}');
});

test('a failed creation is not told', async () => {
  await call('PUT', '/db');
  await call('PUT', '/next');
  assert.equal((await feed.change()).db_name, 'next');
});

test('writes are told as updated, however they come', async () => {
  const { json } = await call('PUT', '/db/a', {});
  await call('DELETE', `/db/a?rev=${json.rev}`);
  await call('POST', '/db', { _id: 'posted' });
  await call('POST', '/db/_bulk_docs', { docs: [{ _id: 'b' }, { _id: 'c' }] });
  for (let i = 0; i < 4; i += 1) assert.deepEqual(await feed.change(), { db_name: 'db', type: 'updated' });
});

test('a design document is told with the compound name behind the update', async () => {
  await call('PUT', '/db/_design/x', {});
  assert.equal((await feed.change()).type, 'updated');
  assert.deepEqual(await feed.change(), { db_name: '{<<"db">>,<<"_design/x">>}', type: 'ddoc_updated' });
});

test('a read is not told, and a view built by it neither', async () => {
  const views = { v: { map: 'function (doc) { emit(1); }' } };
  await call('PUT', '/db/_design/view', { views });
  await call('GET', '/db/_design/view/_view/v');
  await call('PUT', '/db/behind', {});
  const types = [];
  for (let i = 0; i < 3; i += 1) types.push((await feed.change()).type);
  assert.deepEqual(types, ['updated', 'ddoc_updated', 'updated']);
});

test('the timeout is the length of the heartbeat', async () => {
  const quick = await openFeed(server.port, '/_db_updates?feed=continuous&heartbeat=true&timeout=40');
  for (let i = 0; i < 3; i += 1) assert.equal(await quick.line(), '');
  quick.close();
});

test('without a heartbeat the feed ends after the timeout', async () => {
  const short = await openFeed(server.port, '/_db_updates?feed=continuous&heartbeat=false&timeout=40');
  assert.equal(await short.line(), '{"ok":true}');
  assert.equal(await short.line(), null);
});
