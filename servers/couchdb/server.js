// A CouchDB-compatible server for Netweft's live tests, demo and benchmarks: PouchDB behind
// express-pouchdb, with handlers of our own in front for what CouchDB gives and those do not.
//
//   node server.js [--port N] [--data DIR] [--user NAME:PASSWORD]...
//
// It binds to 127.0.0.1, takes port 0 (any free one, the default) or a given one, keeps its data in
// memory or, with --data, in a folder (LevelDB), asks for one of the given names and passwords, prints
// "listening on port N" on stdout once it can be asked, and ends with the process that started it.
//
// What it still does otherwise than CouchDB:
//  - Sequences are integers, as in CouchDB 1.x; "_changes" takes no other form of "since" than an integer
//    or "now". Database information has neither sizes nor "purge_seq".
//  - Numbers are JavaScript doubles: integers beyond 2^53 and spellings such as 1.0 or 1e2 are rewritten.
//    Members whose names are array indexes ("0", "17") move to the front of their object (behind "_id",
//    "_rev" and "_deleted" at the top level); "__proto__" as a member name is lost.
//  - Revision hashes are not those that CouchDB would compute. Write requests of one process are
//    committed without an fsync: they survive kill -9, not a power cut.
//  - feed=continuous knows since, heartbeat, timeout, limit, include_docs, conflicts, attachments and
//    style; no filters. feed=longpoll is express-pouchdb's own; feed=eventsource does not exist.
//  - "_db_updates" knows feed=continuous alone, and lines have no "seq". It tells one "updated" per write
//    request. Its "ddoc_updated" name is the compound text {<<"db">>,<<"_design/doc">>}.
//  - Database names must not hold "/". A database deleted and created again starts at sequence 0. What
//    reads or writes single documents or rows while its database is deleted answers 404, but "_bulk_docs",
//    attachments and the like may have their connection closed a second later.
//  - GET / introduces express-pouchdb, not CouchDB.
//  - GET with open_revs always answers JSON, never multipart. Attachments are never sent as multipart.
//  - No validate_doc_update, shows, lists, update handlers, rewrites, _find, _replicate, _security,
//    _session with cookies, _config or _users: Basic authentication alone, and each given name is an
//    administrator. "_compact" answers, and little else of the maintenance functions does.
//  - Views are built by pouchdb-mapreduce: JavaScript, "_sum", "_count" and "_stats" only, with a
//    collation close to but not equal to ICU's.
//  - HTTP/1.1 without TLS, no Range requests.
import { endWithParent } from './lib/parent.js';
import { parseOptions, UsageError } from './lib/options.js';

function readOptions() {
  try {
    return parseOptions(process.argv.slice(2));
  } catch (error) {
    if (!(error instanceof UsageError)) throw error;
    process.stderr.write(`${error.message}\n`);
    process.exit(2);
  }
}

const options = readOptions();
// Loaded only now, for bad arguments to be told at once.
const { createApplication } = await import('./lib/application.js');
const server = await createApplication(options);
server.on('error', (error) => {
  process.stderr.write(`couchdb stand-in: ${error.message}\n`);
  process.exit(1);
});
server.listen(options.port, '127.0.0.1', () => {
  process.stdout.write(`listening on port ${server.address().port}\n`);
});
for (const signal of ['SIGTERM', 'SIGINT']) process.on(signal, () => process.exit(0));
endWithParent();
