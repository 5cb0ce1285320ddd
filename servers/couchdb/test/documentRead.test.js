import assert from 'node:assert/strict';
import http from 'node:http';
import { after, before, test } from 'node:test';
import { ask, startServer, stopServer } from './support.js';

let server;
const get = (target, options) => ask(server.port, 'GET', target, options);
const put = (target, body) => ask(server.port, 'PUT', target, { body });

before(async () => {
  server = await startServer();
  await put('/db');
});
after(() => stopServer(server));

test('the ETag is the quoted revision', async () => {
  const { json } = await put('/db/etag', { a: 1 });
  const answer = await get('/db/etag');
  assert.equal(answer.headers.etag, `"${json.rev}"`);
});

test('_id and _rev stand first, even before members named like numbers and a nested _id', async () => {
  const { json } = await put('/db/first', '{"nested":{"_id":"x"},"0":{"_id":"y"},"a":1}');
  const { text } = await get('/db/first');
  assert.equal(text, `{"_id":"first","_rev":"${json.rev}","0":{"_id":"y"},"nested":{"_id":"x"},"a":1}\n`);
});

test('the body of a document without members is its _id and _rev', async () => {
  const { json } = await put('/db/empty', {});
  assert.equal((await get('/db/empty')).text, `{"_id":"empty","_rev":"${json.rev}"}\n`);
});

const oddIds = { slash: 'a/b', quote: '"q"', percent: 'p%2Fc', space: 'a b', dot: '.', dots: '..', accent: 'é',
  astral: '𝄞', null: 'null', plus: 'a+b', 'slash at its end': 'a/', hash: '#a?b', nul: 'a\0b' };
for (const [name, id] of Object.entries(oddIds)) {
  test(`an id with a ${name} is found under its escaped name`, async () => {
    const target = `/db/${encodeURIComponent(id)}`;
    assert.equal((await put(target, { v: name })).json.id, id);
    const { json } = await get(target);
    assert.deepEqual([json._id, json.v], [id, name]);
  });
}

test('an escaped and a plain slash name the same design document', async () => {
  await put('/db/_design%2Fd', { x: 1 });
  assert.equal((await get('/db/_design/d')).json.x, 1);
});

test('a lone surrogate comes back as the escape it was', async () => {
  await put('/db/surrogate', '{"t":"\\ud800x"}');
  assert.match((await get('/db/surrogate')).text, /"t":"\\ud800x"/);
});

test('a text of 1 MiB comes back whole', async () => {
  const text = 'x'.repeat(1 << 20);
  await put('/db/large', { text });
  assert.equal((await get('/db/large')).json.text, text);
});

test('null survives in objects and arrays', async () => {
  await put('/db/nulls', '{"a":null,"b":[null,1]}');
  assert.match((await get('/db/nulls')).text, /"a":null,"b":\[null,1\]/);
});

test('an inline attachment is stored, told as a stub and served', async () => {
  await put('/db/attached', '{"_attachments":{"f.txt":{"content_type":"text/plain","data":"aGVsbG8="}}}');
  const stub = (await get('/db/attached')).json._attachments['f.txt'];
  assert.deepEqual([stub.stub, stub.length, stub.content_type], [true, 5, 'text/plain']);
  assert.equal((await get('/db/attached/f.txt')).text, 'hello');
  assert.equal((await get('/db/attached?attachments=true')).json._attachments['f.txt'].data, 'aGVsbG8=');
});

test('an attachment can be put by itself', async () => {
  const { json } = await put('/db/later', {});
  const target = `/db/later/b.bin?rev=${json.rev}`;
  const stored = await ask(server.port, 'PUT', target, { body: Buffer.from([0, 255]), headers: { 'Content-Type': 'a/b' } });
  assert.equal(stored.status, 201);
  assert.equal((await get('/db/later')).json._attachments['b.bin'].length, 2);
});

test('HEAD has the headers of GET and no body', async () => {
  const { json } = await put('/db/head', { a: 1 });
  const answer = await ask(server.port, 'HEAD', '/db/head');
  assert.deepEqual([answer.status, answer.headers.etag, answer.text], [200, `"${json.rev}"`, '']);
  assert.ok(Number(answer.headers['content-length']) > 0);
});

test('If-None-Match with the current revision answers 304', async () => {
  const { json } = await put('/db/cached', { a: 1 });
  const answer = await get('/db/cached', { headers: { 'If-None-Match': `"${json.rev}"` } });
  assert.deepEqual([answer.status, answer.text], [304, '']);
});

test('a missing document answers 404 missing, a deleted one 404 deleted', async () => {
  const { json } = await put('/db/gone', {});
  await ask(server.port, 'DELETE', `/db/gone?rev=${json.rev}`);
  assert.deepEqual((await get('/db/never')).json, { error: 'not_found', reason: 'missing' });
  const gone = await get('/db/gone');
  assert.deepEqual([gone.status, gone.json], [404, { error: 'not_found', reason: 'deleted' }]);
});

test('a deleted revision can be read by name', async () => {
  const { json } = await put('/db/tomb', {});
  const { json: tomb } = await ask(server.port, 'DELETE', `/db/tomb?rev=${json.rev}`);
  assert.deepEqual((await get(`/db/tomb?rev=${tomb.rev}`)).json, { _id: 'tomb', _rev: tomb.rev, _deleted: true });
});

test('conflicts made with new_edits false are told, and the higher revision wins', async () => {
  const docs = [{ _id: 'c', _rev: '1-a', v: 'a' }, { _id: 'c', _rev: '1-b', v: 'b' }];
  await ask(server.port, 'POST', '/db/_bulk_docs', { body: { new_edits: false, docs } });
  const { json } = await get('/db/c?conflicts=true');
  assert.deepEqual(json, { _id: 'c', _rev: '1-b', v: 'b', _conflicts: ['1-a'] });
});

test('an unknown database answers 404 no_db_file', async () => {
  const answer = await get('/nowhere/x');
  assert.deepEqual([answer.status, answer.json], [404, { error: 'not_found', reason: 'no_db_file' }]);
});

test('a malformed escape answers 400', async () => {
  assert.equal((await get('/db/%zz')).status, 400);
});

test('a connection is kept for at least a minute', async () => {
  const agent = new http.Agent({ keepAlive: true });
  const answer = await get('/db/first', { agent });
  agent.destroy();
  assert.ok(Number(/timeout=(\d+)/.exec(answer.headers['keep-alive'])[1]) >= 60);
});
