import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { ask, startServer, stopServer } from './support.js';

let server;
const put = (target, body, headers) => ask(server.port, 'PUT', target, { body, headers });
const remove = (target, headers) => ask(server.port, 'DELETE', target, { headers });

before(async () => {
  server = await startServer();
  await put('/db');
});
after(() => stopServer(server));

test('PUT answers 201 with the new revision as ETag', async () => {
  const answer = await put('/db/new', { a: 1 });
  assert.deepEqual([answer.status, answer.headers.etag], [201, `"${answer.json.rev}"`]);
});

test('PUT reads JSON whatever its Content-Type says', async () => {
  await put('/db/typeless', '{"a":1}', { 'Content-Type': 'application/x-www-form-urlencoded' });
  assert.equal((await ask(server.port, 'GET', '/db/typeless')).json.a, 1);
});

test('PUT without the current revision answers 409', async () => {
  await put('/db/busy', {});
  const answer = await put('/db/busy', {});
  assert.deepEqual([answer.status, answer.json.error], [409, 'conflict']);
});

for (const way of ['body', 'query', 'If-Match']) {
  test(`PUT takes the revision from ${way}`, async () => {
    const { json } = await put(`/db/by-${way}`, {});
    const query = way === 'query' ? `?rev=${json.rev}` : '';
    const body = way === 'body' ? { _rev: json.rev } : {};
    const headers = way === 'If-Match' ? { 'If-Match': `"${json.rev}"` } : {};
    const answer = await put(`/db/by-${way}${query}`, body, headers);
    assert.match(answer.json.rev, /^2-/);
  });
}

test('PUT into an unknown database answers 404 no_db_file', async () => {
  assert.equal((await put('/nowhere/x', {})).json.reason, 'no_db_file');
});

test('DELETE without a revision answers 409 and leaves the document', async () => {
  await put('/db/kept', {});
  assert.equal((await remove('/db/kept')).status, 409);
  assert.equal((await ask(server.port, 'GET', '/db/kept')).status, 200);
});

test('DELETE of a missing document answers 404', async () => {
  assert.equal((await remove('/db/never?rev=1-a')).status, 404);
});

test('DELETE tells the revision of the tombstone, and the id can be used again', async () => {
  const { json } = await put('/db/again', { a: 1 });
  const deleted = await remove(`/db/again?rev=${json.rev}`);
  assert.deepEqual([deleted.status, /^2-/.test(deleted.json.rev)], [200, true]);
  assert.match((await put('/db/again', { a: 2 })).json.rev, /^3-/);
});
