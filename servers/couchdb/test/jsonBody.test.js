import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { ask, startServer, stopServer } from './support.js';

let server;
before(async () => {
  server = await startServer();
  await ask(server.port, 'PUT', '/db');
});
after(() => stopServer(server));

test('a POST of another type than JSON answers 415', async () => {
  const headers = { 'Content-Type': 'application/x-www-form-urlencoded' };
  const answer = await ask(server.port, 'POST', '/db/_all_docs', { body: '{"keys":[]}', headers });
  const reason = 'Content-Type must be application/json';
  assert.deepEqual([answer.status, answer.json], [415, { error: 'bad_content_type', reason }]);
});

test('a POST with a charset behind the type is JSON', async () => {
  const headers = { 'Content-Type': 'application/json; charset=utf-8' };
  assert.equal((await ask(server.port, 'POST', '/db/_all_docs', { body: '{"keys":[]}', headers })).status, 200);
});

for (const [name, body] of Object.entries({
  'broken JSON': '{"a":', 'no UTF-8': Buffer.from([0x7b, 0x22, 0xff, 0x22, 0x3a, 0x31, 0x7d]), 'an array': '[]', 'a number': '1',
})) {
  test(`a body that is ${name} answers 400`, async () => {
    assert.equal((await ask(server.port, 'PUT', '/db/bad', { body })).status, 400);
  });
}

test('_bulk_docs tells each document its result', async () => {
  const docs = [{ _id: 'one', a: 1 }, { _id: 'one', a: 2 }];
  const { status, json } = await ask(server.port, 'POST', '/db/_bulk_docs', { body: { docs } });
  assert.deepEqual([status, json[0].ok, json[1].error], [201, true, 'conflict']);
});
