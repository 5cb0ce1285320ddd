#!/usr/bin/env node
// Holds an index against the sequence that is stored in it: every change of the database up to that one must be seen by
// a search, without a refresh. Prints what is not, at most 20 lines, and leaves with 0 only if all is. For indexes of at
// most 10,000 documents, without a filter, and while no River writes to them.
//
//   tests/live/stored-sequence.mjs http://127.0.0.1:PORT/DATABASE http://127.0.0.1:PORT/INDEX
import { clientAndName } from '../../servers/lib/httpClient.mjs';

const [databaseUrl, indexUrl] = process.argv.slice(2);
const database = clientAndName(databaseUrl);
const index = clientAndName(indexUrl);

async function storedSequence() {
  const reply = await index.client.json('GET', `/${index.name}/_mapping`, undefined, [200, 404]);
  return reply[index.name]?.mappings?._doc?._meta?.lastrefreshseq ?? 0;
}

async function shownRevisions() {
  const query = { size: 10000, sort: ['_doc'], _source: ['_rev'] };
  const { hits } = await index.client.json('POST', `/${index.name}/_search`, query);
  return new Map(hits.hits.map((hit) => [hit._id, hit._source._rev]));
}

// The sequence is read first: a document that changes later has a row beyond it, which does not count.
async function main() {
  const stored = await storedSequence();
  if (stored === 0) return 0;
  const { results } = await database.client.json('GET', `/${encodeURIComponent(database.name)}/_changes?since=0`);
  const shown = await shownRevisions();
  const missing = [];
  for (const { seq, id, deleted, changes } of results) {
    if (seq > stored || id.startsWith('_design/')) continue;
    const wanted = deleted ? undefined : changes[0].rev;
    if (shown.get(id) !== wanted) missing.push(`${id} at ${seq}: ${wanted} wanted, ${shown.get(id)} shown`);
  }
  console.log(`sequence ${stored} is stored in ${index.name}; ${missing.length} changes up to it are not shown`);
  for (const line of missing.slice(0, 20)) console.log(line);
  return missing.length === 0 ? 0 : 1;
}

process.exitCode = await main();
database.client.close();
index.client.close();
