#!/usr/bin/env node
// What one would write in Node.js instead of the River: brings a whole database into an index, once, and prints what
// that took as JSON. It follows the change feed, fetches each document over sixteen connections that are kept alive,
// and sends them with the bulk helper of the Elasticsearch client.
//   fill.mjs COUCHDB ELASTICSEARCH DATABASE INDEX
import { Client } from '@elastic/elasticsearch';
import http from 'node:http';
import { createInterface } from 'node:readline';

const connections = 16;

// Twice as many as there are connections, so that none waits for the one document that is taken next.
const window = 2 * connections;

const [couch, elasticsearch, database, index] = process.argv.slice(2);
const agent = new http.Agent({ keepAlive: true, maxSockets: connections });

function open(path, options = { agent }) {
  return new Promise((resolve, reject) => {
    http.get(`${couch}/${database}${path}`, options, resolve).on('error', reject);
  });
}

async function fetchJson(path) {
  const answer = await open(path);
  const chunks = [];
  for await (const chunk of answer) chunks.push(chunk);
  if (answer.statusCode !== 200) throw new Error(`${path} answered ${answer.statusCode}`);
  return JSON.parse(Buffer.concat(chunks).toString());
}

// The change feed up to a sequence.
async function* changes(last) {
  const feed = await open('/_changes?feed=continuous&heartbeat=30000&since=0', { agent: false });
  for await (const line of createInterface({ input: feed, crlfDelay: Infinity })) {
    if (line === '') continue;
    const change = JSON.parse(line);
    yield change;
    if (change.seq >= last) break;
  }
  feed.destroy();
}

async function* documents(last) {
  const fetches = [];
  for await (const { id, deleted } of changes(last)) {
    if (deleted || id.startsWith('_design/')) continue;
    fetches.push(fetchJson(`/${encodeURIComponent(id)}`));
    if (fetches.length === window) yield fetches.shift();
  }
  yield* fetches;
}

async function fill() {
  const client = new Client({ node: elasticsearch });
  const { update_seq: last } = await fetchJson('');
  const start = performance.now();
  const settings = { 'index.number_of_shards': 1, 'index.number_of_replicas': 0 };
  await client.indices.create({ index, body: { settings } });
  const { successful, failed } = await client.helpers.bulk({
    datasource: documents(last),
    onDocument: (document) => {
      const { _id: id } = document;
      document['-id'] = id;
      delete document._id;
      delete document.contents;
      delete document.resources;
      return { index: { _index: index, _type: '_doc', _id: id } };
    },
    refreshOnCompletion: index,
  });
  if (failed > 0) throw new Error(`${failed} documents were refused`);
  const { userCPUTime, systemCPUTime, maxRSS } = process.resourceUsage();
  console.log(JSON.stringify({
    documents: successful,
    seconds: (performance.now() - start) / 1000,
    cpu_seconds: (userCPUTime + systemCPUTime) / 1e6,
    peak_mebibytes: maxRSS / 1024,
  }));
}

try {
  await fill();
} catch (error) {
  console.error(error.message);
  process.exitCode = 1;
} finally {
  agent.destroy();
}
