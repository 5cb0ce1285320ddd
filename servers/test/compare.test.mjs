// load-packages and compare against both real servers; the index is filled here, without the library.
import assert from 'node:assert/strict';
import { execFile } from 'node:child_process';
import path from 'node:path';
import { after, before, test } from 'node:test';
import { fileURLToPath } from 'node:url';
import { clientAndName, HttpClient } from '../lib/httpClient.mjs';
import { sentDocument } from '../lib/sentDocument.mjs';
import { startHelper } from './support.mjs';

const servers = path.join(path.dirname(fileURLToPath(import.meta.url)), '..');
let couchdb;
let elasticsearch;
let database;
let index;

function run(program, ...words) {
  return new Promise((resolve) => {
    execFile(path.join(servers, program), words, (error, stdout, stderr) => {
      resolve({ status: error ? error.code : 0, stdout, stderr });
    });
  });
}

async function bulk(indexName, sent) {
  const lines = sent.map(([id, doc]) => `${JSON.stringify({ index: { _id: id } })}\n${JSON.stringify(doc)}\n`);
  const headers = { 'Content-Type': 'application/x-ndjson' };
  const target = `${index}/${indexName}/_doc/_bulk?refresh=true`;
  const answer = await fetch(target, { method: 'POST', headers, body: lines.join('') });
  assert.equal((await answer.json()).errors, false);
}

async function fill(indexName, times, where = () => true) {
  const { client, name } = clientAndName(database);
  const { rows } = await client.json('GET', `/${name}/_all_docs`);
  const texts = await Promise.all(rows.map(({ id }) => client.request('GET', `/${name}/${encodeURIComponent(id)}`)));
  const wanted = texts.map(({ text }) => text).filter((text) => where(JSON.parse(text)));
  await bulk(indexName, wanted.map((text) => [JSON.parse(text)._id, sentDocument(text, times)]));
  client.close();
}

before(async () => {
  couchdb = await startHelper('couchdb');
  elasticsearch = await startHelper('elasticsearch');
  database = `http://127.0.0.1:${couchdb.port}/packages`;
  index = `http://127.0.0.1:${elasticsearch.port}`;
});
after(() => Promise.all([couchdb?.stop(), elasticsearch?.stop()]));

test('the packages are loaded once', async () => {
  const first = await run('load-packages.mjs', database, '--files', '50', '--batch', '100');
  const count = Number(/^loaded (\d+) documents$/m.exec(first.stdout)?.[1]);
  assert.ok(first.status === 0 && count > 60, first.stderr);
  assert.match((await run('load-packages.mjs', database, '--files', '50')).stdout, /^loaded 0 documents$/m);
  const { client } = clientAndName(database);
  assert.equal((await client.json('GET', '/packages')).doc_count, count);
  const dpkg = await client.json('GET', '/packages/dpkg');
  assert.ok(dpkg.installedSizeKiB > 0 && dpkg.fileCount > 0 && dpkg.depends.length > 0);
  client.close();
});

test('an index filled alike is equal, and each way to differ is told', async () => {
  await fill('alike', 1);
  const same = await run('compare.mjs', database, `${index}/alike`);
  assert.deepEqual([same.status, /^equal: /.test(same.stdout)], [0, true], same.stdout + same.stderr);
  const client = new HttpClient(index);
  await client.json('PUT', '/alike/_doc/stranger', {}, [201]);
  await client.json('PUT', '/alike/_doc/dpkg', { v: 1 });
  await client.json('DELETE', '/alike/_doc/bash');
  await client.json('POST', '/alike/_refresh');
  const { status, stdout } = await run('compare.mjs', database, `${index}/alike`);
  assert.equal(status, 1);
  for (const text of ['too many in the index: stranger', 'different: dpkg', 'missing in the index: bash', '3 differences']) {
    assert.ok(stdout.includes(text), stdout);
  }
  client.close();
});

test('a second and a filtered index are modelled', async () => {
  await fill('second', 2);
  assert.equal((await run('compare.mjs', database, `${index}/second`, '--times', '2')).status, 0);
  assert.equal((await run('compare.mjs', database, `${index}/second`, '--after', 'true')).status, 0);
  await fill('filtered', 1, (doc) => doc.type === 'package');
  assert.equal((await run('compare.mjs', database, `${index}/filtered`, '--where', 'doc.type === "package"')).status, 0);
  assert.equal((await run('compare.mjs', database, `${index}/filtered`)).status, 1);
});

test('what cannot be compared leaves with 2', async () => {
  assert.equal((await run('compare.mjs', database)).status, 2);
  assert.equal((await run('compare.mjs', database, `${index}/nowhere`)).status, 2);
  assert.equal((await run('compare.mjs', `${database}x`, `${index}/alike`)).status, 2);
});
