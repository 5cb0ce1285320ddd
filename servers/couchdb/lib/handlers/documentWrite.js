// PUT and DELETE of a document, where express-pouchdb differs: it stores nothing under the id "null", reads
// no If-Match, and deletes the newest revision when none is named, where CouchDB answers 409.
import { sendJson } from '../json.js';
import { documentAddress } from '../target.js';

function unquoted(tag) {
  return tag?.replace(/^"(.*)"$/, '$1');
}

function put(request, database, id, query) {
  const doc = { ...request.body, _id: id };
  const rev = doc._rev ?? query.rev ?? unquoted(request.headers['if-match']);
  if (rev !== undefined) doc._rev = rev;
  return database.put(doc, query.new_edits === false ? { new_edits: false } : {});
}

async function remove(request, database, id, query) {
  await database.get(id); // 404 when there is nothing to delete
  const rev = query.rev ?? unquoted(request.headers['if-match']);
  return database.put({ _id: id, _deleted: true, ...(rev === undefined ? {} : { _rev: rev }) });
}

async function write(request, database, id, query) {
  if (request.method === 'DELETE') return [200, await remove(request, database, id, query)];
  return [201, await put(request, database, id, query)];
}

export function documentWrite(databases) {
  return async (request, response, { segments, query }) => {
    const address = documentAddress(segments);
    if (address === null) return false;
    if (request.method !== 'DELETE' && (request.method !== 'PUT' || request.body === undefined)) return false;
    const [name, id] = address;
    const [status, { rev }] = await databases.use(name, (database) => write(request, database, id, query));
    return sendJson(request, response, status, { ok: true, id, rev }, { ETag: `"${rev}"` });
  };
}
