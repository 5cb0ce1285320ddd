#!/usr/bin/env node
// Compares a CouchDB database with an Elasticsearch index that the River feeds from it, without the library.
// Each live document but design documents must be in the index exactly as the River sends it, as a search
// sees it, and nothing else. Prints at most 20 differences and a summary; leaves with 0 only if equal.
//
//   servers/compare.mjs http://127.0.0.1:PORT/DATABASE http://127.0.0.1:PORT/INDEX [--times N]
//                       [--where EXPRESSION] [--after EXPRESSION]...
//
// --where: the index takes the documents for which this JavaScript expression over "doc" holds (default: all).
// The River changes a document a little more for each index that it sends it to, in the order of their names:
// --times N: it is the Nth of the database's indexes (default 1), and those before it take every document.
// --after: the filter of an index before this one, once for each that has one.
import { isDeepStrictEqual, parseArgs } from 'node:util';
import { clientAndName } from './lib/httpClient.mjs';
import { Progress } from './lib/progress.mjs';
import { sentDocument } from './lib/sentDocument.mjs';

const batchSize = 100;
const shownDifferences = 20;
const usage = 'usage: servers/compare.mjs DATABASE_URL INDEX_URL [--times N] [--where EXPRESSION] [--after EXPRESSION]...';

const predicate = (expression) => new Function('doc', `return Boolean(${expression});`);

function readOptions() {
  const { values, positionals } = parseArgs({
    allowPositionals: true,
    options: {
      times: { type: 'string', default: '1' },
      where: { type: 'string', default: 'true' },
      after: { type: 'string', multiple: true, default: [] },
    },
  });
  const times = Number(values.times);
  if (positionals.length !== 2 || !Number.isInteger(times) || times < 1) throw new Error(usage);
  const [databaseUrl, indexUrl] = positionals;
  return { databaseUrl, indexUrl, times, where: predicate(values.where), after: values.after.map(predicate) };
}

class Differences {
  count = 0;

  add(text) {
    this.count += 1;
    if (this.count <= shownDifferences) console.log(text.length > 500 ? `${text.slice(0, 500)}...` : text);
  }
}

async function databaseIds({ client, name }) {
  const { rows } = await client.json('GET', `/${encodeURIComponent(name)}/_all_docs`);
  return rows.map((row) => row.id).filter((id) => !id.startsWith('_design/'));
}

// A set, since an id that is there twice would be a document too many.
async function indexIds({ client, name }, differences) {
  const ids = new Set();
  const target = `/${encodeURIComponent(name)}/_search?scroll=1m`;
  let page = await client.json('POST', target, { size: 5000, sort: ['_doc'], _source: false });
  while (page.hits.hits.length > 0) {
    for (const { _id: id } of page.hits.hits) {
      if (ids.has(id)) differences.add(`twice in the index: ${id}`);
      ids.add(id);
    }
    page = await client.json('POST', '/_search/scroll', { scroll: '1m', scroll_id: page._scroll_id });
  }
  await client.json('DELETE', '/_search/scroll', { scroll_id: page._scroll_id });
  return ids;
}

// The text of each document as a GET answers it: "_id" stands first, whatever the other members are called.
function textOf({ _id: id, ...rest }) {
  const members = JSON.stringify(rest).slice(1, -1);
  return `{"_id":${JSON.stringify(id)}${members && ','}${members}}`;
}

async function liveDocuments({ client, name }, keys) {
  const { rows } = await client.json('POST', `/${encodeURIComponent(name)}/_all_docs?include_docs=true`, { keys });
  return rows.map((row) => row.doc ?? null); // null: deleted since it was listed
}

// What the index should hold for the document, undefined for nothing.
function expected(doc, { times, where, after }) {
  if (doc === null || !where(doc)) return undefined;
  return sentDocument(textOf(doc), times + after.filter((takes) => takes(doc)).length);
}

async function indexedDocuments({ client, name }, ids) {
  const { docs } = await client.json('POST', `/${encodeURIComponent(name)}/_doc/_mget?realtime=false`, { ids });
  return docs.map((doc) => (doc.found ? doc._source : undefined));
}

function compareOne(id, wanted, found, differences) {
  if (isDeepStrictEqual(wanted, found)) return;
  if (found === undefined) differences.add(`missing in the index: ${id}`);
  else if (wanted === undefined) differences.add(`too many in the index: ${id}`);
  else differences.add(`different: ${id}\n  wanted ${JSON.stringify(wanted)}\n  found  ${JSON.stringify(found)}`);
}

async function compare(options) {
  const database = clientAndName(options.databaseUrl);
  const index = clientAndName(options.indexUrl);
  const differences = new Differences();
  const ids = await databaseIds(database);
  const strangers = await indexIds(index, differences);
  const indexed = strangers.size;
  const progress = new Progress('compared', ids.length);
  for (let i = 0; i < ids.length; i += batchSize) {
    const part = ids.slice(i, i + batchSize);
    const [docs, found] = await Promise.all([liveDocuments(database, part), indexedDocuments(index, part)]);
    const wanted = docs.map((doc) => expected(doc, options));
    part.forEach((id, k) => compareOne(id, wanted[k], found[k], differences));
    part.forEach((id) => strangers.delete(id));
    progress.show(i + part.length);
  }
  for (const id of strangers) differences.add(`too many in the index: ${id}`);
  database.client.close();
  index.client.close();
  return { differences: differences.count, documents: ids.length, indexed };
}

try {
  const { differences, documents, indexed } = await compare(readOptions());
  const verdict = differences === 0 ? 'equal' : `${differences} differences`;
  console.log(`${verdict}: ${documents} documents in the database, ${indexed} in the index`);
  process.exitCode = differences === 0 ? 0 : 1;
} catch (error) {
  console.error(error.message);
  process.exitCode = 2;
}
