// Bodies as CouchDB writes them: compact JSON with a line feed behind it.

// A document's text. It is put together by hand because JSON.stringify moves members named like array
// indexes to the front, and "_id" and "_rev" must stand first.
export function documentText(doc) {
  const { _id, _rev, _deleted, ...rest } = doc;
  const head = [];
  if (_id !== undefined) head.push(`"_id":${JSON.stringify(_id)}`);
  if (_rev !== undefined) head.push(`"_rev":${JSON.stringify(_rev)}`);
  if (_deleted !== undefined) head.push(`"_deleted":${JSON.stringify(_deleted)}`);
  const body = JSON.stringify(rest);
  if (body !== '{}') head.push(body.slice(1, -1));
  return `{${head.join(',')}}`;
}

// The text of a view's row or a change, with these members in front and a document behind all others.
const leadingMembers = { seq: undefined, id: undefined, key: undefined, value: undefined };

export function recordText(record) {
  const { doc, ...rest } = { ...leadingMembers, ...record };
  const text = JSON.stringify(rest);
  if (doc === undefined) return text;
  return `${text.slice(0, -1)},"doc":${doc === null ? 'null' : documentText(doc)}}`;
}

// CouchDB says application/json only to a client that takes it.
export function contentType(request) {
  const accept = request.headers.accept;
  const takesJson = accept === undefined || /application\/json|application\/\*|\*\/\*/.test(accept);
  return takesJson ? 'application/json' : 'text/plain; charset=utf-8';
}

export function sendText(request, response, status, text, headers = {}) {
  const body = Buffer.from(`${text}\n`);
  response.writeHead(status, {
    ...headers,
    'Content-Type': contentType(request),
    'Content-Length': body.length,
    'Cache-Control': 'must-revalidate',
  });
  response.end(request.method === 'HEAD' ? undefined : body);
  return true;
}

export function sendJson(request, response, status, value, headers = {}) {
  return sendText(request, response, status, JSON.stringify(value), headers);
}

export function sendError(request, response, status, error, reason, headers = {}) {
  return sendJson(request, response, status, { error, reason }, headers);
}

// The answer for an error that a handler or PouchDB threw.
export function sendFailure(request, response, error) {
  return sendError(request, response, error.status ?? 500, error.name, error.reason ?? error.message);
}
