import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { ask, startServer, stopServer } from './support.js';

let server;
const basic = (text) => ({ headers: { Authorization: `Basic ${Buffer.from(text).toString('base64')}` } });

before(async () => { server = await startServer('--user', 'ann:se:cret', '--user', 'bob:b'); });
after(() => stopServer(server));

test('nothing is told to a caller without a name', async () => {
  const answer = await ask(server.port, 'GET', '/_all_dbs');
  assert.deepEqual([answer.status, answer.json.error], [401, 'unauthorized']);
  assert.match(answer.headers['www-authenticate'], /^Basic /);
});

for (const words of ['ann:wrong', 'ann:', 'carol:b', 'bob:se:cret', 'ann']) {
  test(`${words} is refused`, async () => {
    assert.equal((await ask(server.port, 'GET', '/', basic(words))).status, 401);
  });
}

for (const words of ['ann:se:cret', 'bob:b']) {
  test(`${words} is let in`, async () => {
    assert.equal((await ask(server.port, 'GET', '/', basic(words))).status, 200);
  });
}

test('a feed asks for a name too', async () => {
  const answer = await ask(server.port, 'GET', '/_db_updates?feed=continuous');
  assert.equal(answer.status, 401);
});
