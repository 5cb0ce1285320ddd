// GET and HEAD of a document: "_id" and "_rev" stand first, and the ETag is the quoted revision.
import { documentText, sendJson, sendText } from '../json.js';
import { documentAddress } from '../target.js';

function send(request, response, doc) {
  if (Array.isArray(doc)) return sendJson(request, response, 200, doc); // open_revs
  const headers = { ETag: `"${doc._rev}"` };
  if (request.headers['if-none-match'] === headers.ETag) {
    response.writeHead(304, headers).end();
    return true;
  }
  return sendText(request, response, 200, documentText(doc), headers);
}

export function documentRead(databases) {
  return async (request, response, { segments, query }) => {
    if (request.method !== 'GET' && request.method !== 'HEAD') return false;
    const address = documentAddress(segments);
    if (address === null) return false;
    return send(request, response, await databases.use(address[0], (database) => database.get(address[1], query)));
  };
}
