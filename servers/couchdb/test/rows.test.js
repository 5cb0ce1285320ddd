import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { ask, startServer, stopServer } from './support.js';

let server;
const get = (target) => ask(server.port, 'GET', target);
const post = (target, body) => ask(server.port, 'POST', target, { body });

before(async () => {
  server = await startServer();
  await ask(server.port, 'PUT', '/db');
  const views = {
    byKind: { map: 'function (doc) { if (doc.kind) emit(doc.kind, doc.n); }' },
    sum: { map: 'function (doc) { if (doc.kind) emit(doc.kind, doc.n); }', reduce: '_sum' },
  };
  await ask(server.port, 'PUT', '/db/_design/d', { body: { views } });
  const docs = ['a', 'b', 'c'].map((id, n) => ({ _id: id, n, kind: n === 1 ? 'odd' : 'even', 0: { _id: 'nested' } }));
  await post('/db/_bulk_docs', { docs });
});
after(() => stopServer(server));

test('_all_docs puts one row on each line', async () => {
  const { text } = await get('/db/_all_docs?startkey="a"&limit=2');
  const lines = text.split('\r\n');
  assert.equal(lines.length, 4);
  assert.match(lines[0], /^\{"total_rows":4,"offset":\d+,"rows":\[$/);
  assert.match(lines[1], /^\{"id":"a","key":"a","value":\{"rev":"1-\w+"\}\},$/);
  assert.equal(lines[3], ']}\n');
});

test('_all_docs by POST answers the keys in their order, with an error row for an unknown one', async () => {
  const { json } = await post('/db/_all_docs', { keys: ['c', 'nope', 'a'] });
  assert.deepEqual(json.rows.map((row) => row.id ?? row.error), ['c', 'not_found', 'a']);
});

test('included documents begin with _id and _rev', async () => {
  const { text } = await get('/db/_all_docs?include_docs=true&key="a"');
  assert.match(text, /"doc":\{"_id":"a","_rev":"1-\w+","0":/);
});

test('an included document is told as a GET tells it, attachments too', async () => {
  const _attachments = { 'f.txt': { content_type: 'text/plain', data: 'aGVsbG8=' } };
  await ask(server.port, 'PUT', '/db/attached', { body: { _attachments, z: null } });
  const [row] = (await post('/db/_all_docs?include_docs=true', { keys: ['attached'] })).json.rows;
  assert.deepEqual(row.doc, (await get('/db/attached')).json);
});

test('a view by GET answers its rows with id, key and value in this order', async () => {
  const { text } = await get('/db/_design/d/_view/byKind?key="odd"');
  assert.match(text, /\r\n\{"id":"b","key":"odd","value":1\}\r\n/);
});

test('a view by POST answers the rows of its keys', async () => {
  const { json } = await post('/db/_design/d/_view/byKind', { keys: ['odd', 'even'] });
  assert.deepEqual(json.rows.map((row) => row.id), ['b', 'a', 'c']);
});

test('a limit in the query counts for a POST too', async () => {
  const { json } = await post('/db/_design/d/_view/byKind?limit=1', { keys: ['odd', 'even'] });
  assert.equal(json.rows.length, 1);
});

test('a view is up to date right after a write', async () => {
  await ask(server.port, 'PUT', '/db/late', { body: { kind: 'late', n: 9 } });
  assert.equal((await get('/db/_design/d/_view/byKind?key="late"')).json.rows.length, 1);
});

test('a reduced view has rows without an id', async () => {
  const { json } = await get('/db/_design/d/_view/sum?key="even"');
  assert.deepEqual(json, { rows: [{ key: null, value: 2 }] });
});

test('rows may be empty', async () => {
  const { json } = await get('/db/_all_docs?key="nope"');
  assert.deepEqual(json.rows, []);
});

test('an unknown view or design document answers 404', async () => {
  assert.equal((await get('/db/_design/d/_view/nope')).status, 404);
  assert.equal((await get('/db/_design/nope/_view/nope')).status, 404);
});

test('rows of an unknown database answer 404 no_db_file', async () => {
  assert.equal((await get('/nowhere/_all_docs')).json.reason, 'no_db_file');
});
