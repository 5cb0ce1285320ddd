import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { ask, startServer, stopServer } from './support.js';

let server;
before(async () => { server = await startServer(); });
after(() => stopServer(server));

test('a database is created once', async () => {
  assert.equal((await ask(server.port, 'PUT', '/once')).status, 201);
  const again = await ask(server.port, 'PUT', '/once');
  assert.deepEqual([again.status, again.json.error], [412, 'file_exists']);
});

for (const name of ['Upper', '_x', '1a', 'a%2Fb', 'a%20b', 'a.b']) {
  test(`the name ${name} is refused`, async () => {
    const answer = await ask(server.port, 'PUT', `/${name}`);
    assert.deepEqual([answer.status, answer.json.error], [400, 'illegal_database_name']);
  });
}

test('update_seq of the database information is an integer that grows with each write', async () => {
  await ask(server.port, 'PUT', '/grows');
  await ask(server.port, 'PUT', '/grows/a', { body: {} });
  assert.equal((await ask(server.port, 'GET', '/grows')).json.update_seq, 1);
});

test('information about an unknown database answers 404 no_db_file', async () => {
  const answer = await ask(server.port, 'GET', '/nowhere');
  assert.deepEqual([answer.status, answer.json], [404, { error: 'not_found', reason: 'no_db_file' }]);
});

test('_all_dbs names the databases', async () => {
  await ask(server.port, 'PUT', '/listed');
  assert.ok((await ask(server.port, 'GET', '/_all_dbs')).json.includes('listed'));
});
