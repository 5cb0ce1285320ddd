#!/usr/bin/env node
// Writes the records of this machine's Debian packages into a CouchDB database, which is created if it is
// missing. Prints "loaded N documents" on stdout; documents that are there already are left as they are.
//
//   servers/load-packages.mjs http://127.0.0.1:PORT/DATABASE [--files MAX] [--batch SIZE]
//
// --files also writes one document for each path that a package owns, at most MAX of them.
import { parseArgs } from 'node:util';
import { clientAndName } from './lib/httpClient.mjs';
import { readPackageDocuments } from './lib/packageRecords.mjs';
import { Progress } from './lib/progress.mjs';

function readOptions() {
  const { values, positionals } = parseArgs({
    allowPositionals: true,
    options: { files: { type: 'string', default: '0' }, batch: { type: 'string', default: '500' } },
  });
  const options = { url: positionals[0], files: Number(values.files), batch: Number(values.batch) };
  if (positionals.length !== 1 || !Number.isInteger(options.files) || !(options.batch >= 1)) {
    throw new Error('usage: servers/load-packages.mjs http://127.0.0.1:PORT/DATABASE [--files MAX] [--batch SIZE]');
  }
  return options;
}

function countWritten(results) {
  const failed = results.find((result) => result.error && result.error !== 'conflict');
  if (failed) throw new Error(`document ${failed.id}: ${failed.error} ${failed.reason}`);
  return results.filter((result) => !result.error).length;
}

async function load({ url, files, batch }) {
  const { client, name } = clientAndName(url);
  await client.json('PUT', `/${encodeURIComponent(name)}`, undefined, [201, 202, 412]);
  const docs = readPackageDocuments(files);
  const progress = new Progress('loaded', docs.length);
  let written = 0;
  for (let i = 0; i < docs.length; i += batch) {
    const part = docs.slice(i, i + batch);
    const results = await client.json('POST', `/${encodeURIComponent(name)}/_bulk_docs`, { docs: part }, [201, 202]);
    written += countWritten(results);
    progress.show(i + part.length);
  }
  client.close();
  return written;
}

try {
  console.log(`loaded ${await load(readOptions())} documents`);
} catch (error) {
  console.error(error.message);
  process.exitCode = 1;
}
