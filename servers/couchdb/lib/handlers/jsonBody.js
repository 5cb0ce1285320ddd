// Reads the body of each request that carries JSON, in CouchDB's way: a PUT of a document is JSON whatever
// its Content-Type says; a POST says application/json, or no type at all. (Express reads a body of another
// type as an empty one, and would answer as if none had come.) Attachments pass by untouched.
import { documentAddress } from '../target.js';
import { sendError } from '../json.js';

function isMultipart(request) {
  return /^multipart\//i.test(request.headers['content-type'] ?? '');
}

function carriesJson(request, { segments }) {
  if (isMultipart(request)) return false;
  if (request.method === 'POST') return true;
  return request.method === 'PUT' && (segments.length === 1 || documentAddress(segments) !== null);
}

function hasForeignType(request) {
  const type = request.headers['content-type'];
  return request.method === 'POST' && type !== undefined && !/^application\/json\s*(;|$)/i.test(type);
}

async function readAll(request) {
  const chunks = [];
  for await (const chunk of request) chunks.push(chunk);
  return chunks.length === 1 ? chunks[0] : Buffer.concat(chunks);
}

function parse(bytes) {
  if (bytes.length === 0) return {};
  return JSON.parse(new TextDecoder('utf-8', { fatal: true, ignoreBOM: true }).decode(bytes));
}

export function jsonBody() {
  return async (request, response, target) => {
    if (!carriesJson(request, target)) return false;
    const bytes = await readAll(request);
    if (bytes.length > 0 && hasForeignType(request)) {
      return sendError(request, response, 415, 'bad_content_type', 'Content-Type must be application/json');
    }
    try {
      request.body = parse(bytes);
    } catch {
      return sendError(request, response, 400, 'bad_request', 'invalid UTF-8 JSON');
    }
    if (request.body === null || typeof request.body !== 'object' || Array.isArray(request.body)) {
      return sendError(request, response, 400, 'bad_request', 'Request body must be a JSON object');
    }
    request._body = true; // tells Express's own parser that the body was read
    return false;
  };
}
