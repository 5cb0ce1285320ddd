import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { ask, startServer, stopServer } from './support.js';

let server;
before(async () => { server = await startServer(); });
after(() => stopServer(server));

test('requests that the deletion of their database overtakes are answered or closed, none hangs', async () => {
  const answered = (promise) => promise.then(({ status }) => status, (error) => error.code);
  for (let round = 0; round < 10; round += 1) {
    await ask(server.port, 'PUT', '/brief');
    const docs = Array.from({ length: 300 }, (_, i) => ({ _id: `d${i}` }));
    const views = { v: { map: 'function (doc) { emit(doc._id); }' } };
    await ask(server.port, 'PUT', '/brief/_design/v', { body: { views } });
    const requests = [
      ask(server.port, 'POST', '/brief/_bulk_docs', { body: { docs } }),
      ask(server.port, 'PUT', '/brief/one', { body: {} }),
      ask(server.port, 'GET', '/brief/_all_docs'),
      ask(server.port, 'GET', '/brief/_design/v/_view/v'),
      ...docs.slice(0, 20).map(({ _id }) => ask(server.port, 'GET', `/brief/${_id}`)),
      ask(server.port, 'DELETE', '/brief'),
    ];
    const results = await Promise.all(requests.map(answered));
    assert.equal(results.at(-1), 200);
    for (const result of results) assert.ok([200, 201, 404, 'ECONNRESET'].includes(result), `${result}`);
  }
  assert.equal((await ask(server.port, 'GET', '/')).status, 200);
});
