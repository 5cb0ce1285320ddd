import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { ask, openFeed, startServer, stopServer } from './support.js';

let server;
let count = 0;
const put = (target, body) => ask(server.port, 'PUT', target, { body });
const feedOf = (name, query = '') => openFeed(server.port, `/${name}/_changes?feed=continuous${query}`);

before(async () => { server = await startServer(); });
after(() => stopServer(server));

async function newDatabase(ids = []) {
  const name = `db${count += 1}`;
  await put(`/${name}`);
  for (const id of ids) await put(`/${name}/${id}`, {});
  return name;
}

test('the headers come at once, before any line', async () => {
  const feed = await feedOf(await newDatabase(), '&heartbeat=60000');
  assert.equal(feed.status, 200);
  feed.close();
});

test('changes before and after the start of the feed come in one order', async () => {
  const name = await newDatabase(['a']);
  const feed = await feedOf(name, '&heartbeat=60000');
  assert.deepEqual([(await feed.change()).id], ['a']);
  await put(`/${name}/b`, {});
  const change = await feed.change();
  assert.deepEqual([change.seq, change.id, change.deleted], [2, 'b', undefined]);
  feed.close();
});

test('a line starts with seq and has the revision of the change', async () => {
  const name = await newDatabase();
  const { json } = await put(`/${name}/a`, {});
  const feed = await feedOf(name);
  assert.equal(await feed.line(), `{"seq":1,"id":"a","changes":[{"rev":"${json.rev}"}]}`);
  feed.close();
});

test('a deletion is told as deleted', async () => {
  const name = await newDatabase();
  const { json } = await put(`/${name}/a`, {});
  await ask(server.port, 'DELETE', `/${name}/a?rev=${json.rev}`);
  const feed = await feedOf(name);
  assert.equal((await feed.change()).deleted, true);
  feed.close();
});

test('since leaves out what came before', async () => {
  const feed = await feedOf(await newDatabase(['a', 'b', 'c']), '&since=2');
  assert.equal((await feed.change()).id, 'c');
  feed.close();
});

test('since=now waits for what comes', async () => {
  const name = await newDatabase(['a']);
  const feed = await feedOf(name, '&since=now');
  await put(`/${name}/b`, {});
  assert.equal((await feed.change()).id, 'b');
  feed.close();
});

test('include_docs and conflicts add the document, _id and _rev first', async () => {
  const name = await newDatabase();
  const docs = [{ _id: 'c', _rev: '1-a', 0: 1 }, { _id: 'c', _rev: '1-b', 0: 2 }];
  await ask(server.port, 'POST', `/${name}/_bulk_docs`, { body: { new_edits: false, docs } });
  const feed = await feedOf(name, '&include_docs=true&conflicts=true');
  assert.match(await feed.line(), /"doc":\{"_id":"c","_rev":"1-b","0":2,"_conflicts":\["1-a"\]\}\}$/);
  feed.close();
});

test('conflicts without include_docs is no error', async () => {
  const feed = await feedOf(await newDatabase(['a']), '&conflicts=true');
  assert.equal((await feed.change()).id, 'a');
  feed.close();
});

test('heartbeats come in the asked length', async () => {
  const feed = await feedOf(await newDatabase(), '&heartbeat=50');
  const start = performance.now();
  for (let i = 0; i < 4; i += 1) assert.equal(await feed.line(), '');
  const elapsed = performance.now() - start;
  assert.ok(elapsed > 120, `4 heartbeats took ${elapsed} ms`);
  feed.close();
});

test('without a heartbeat the feed ends with last_seq after the timeout', async () => {
  const feed = await feedOf(await newDatabase(['a']), '&since=1&timeout=50');
  assert.equal(await feed.line(), '{"last_seq":1}');
  assert.equal(await feed.line(), null);
});

test('a limit ends the feed with last_seq', async () => {
  const feed = await feedOf(await newDatabase(['a', 'b', 'c']), '&limit=2&heartbeat=60000');
  const lines = [await feed.line(), await feed.line(), await feed.line(), await feed.line()];
  assert.deepEqual([lines[2], lines[3]], ['{"last_seq":2}', null]);
});

test('the deletion of its database ends the feed with last_seq', async () => {
  const name = await newDatabase(['a']);
  const feed = await feedOf(name, '&heartbeat=60000');
  await feed.change();
  await ask(server.port, 'DELETE', `/${name}`);
  assert.equal(await feed.line(), '{"last_seq":1}');
  assert.equal(await feed.line(), null);
});

test('a database created again has a feed of its own', async () => {
  const name = await newDatabase(['a']);
  await ask(server.port, 'DELETE', `/${name}`);
  await put(`/${name}`);
  const feed = await feedOf(name, '&heartbeat=60000');
  await put(`/${name}/z`, {});
  assert.deepEqual([(await feed.change()).seq], [1]);
  feed.close();
});

test('an unknown database answers 404 no_db_file', async () => {
  const answer = await ask(server.port, 'GET', '/nowhere/_changes?feed=continuous');
  assert.deepEqual([answer.status, answer.text], [404, '{"error":"not_found","reason":"no_db_file"}\n']);
});

test('a since that is no sequence answers 400', async () => {
  const name = await newDatabase();
  assert.equal((await ask(server.port, 'GET', `/${name}/_changes?feed=continuous&since=x`)).status, 400);
});

test('many changes come whole and in order to a feed that is written to meanwhile', async () => {
  const name = await newDatabase();
  const write = (from) => ask(server.port, 'POST', `/${name}/_bulk_docs`, {
    body: { docs: Array.from({ length: 700 }, (_, i) => ({ _id: `d${from + i}` })) },
  });
  await write(0);
  const feeds = await Promise.all([feedOf(name), feedOf(name), feedOf(name, '&include_docs=true')]);
  const writes = (async () => { for (let i = 1; i < 4; i += 1) await write(i * 700); })();
  for (const feed of feeds) {
    for (let seq = 1; seq <= 2800; seq += 1) assert.equal((await feed.change()).seq, seq);
    feed.close();
  }
  await writes;
});

test('feeds that nobody reads any more do not slow writes', async () => {
  const name = await newDatabase();
  const write = async () => {
    const start = performance.now();
    for (let i = 0; i < 100; i += 1) await put(`/${name}/w${count += 1}`, {});
    return performance.now() - start;
  };
  await write();
  const alone = await write();
  const feeds = await Promise.all(Array.from({ length: 300 }, () => feedOf(name, '&since=now&heartbeat=60000')));
  for (const feed of feeds) feed.close();
  const abandoned = await write();
  assert.ok(abandoned < alone * 3 + 200, `${abandoned} ms with 300 abandoned feeds, ${alone} ms without`);
});
