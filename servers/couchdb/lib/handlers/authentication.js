// Asks for a name and password when any were given at the start.
import { timingSafeEqual, createHash } from 'node:crypto';
import { sendError } from '../json.js';

function digest(text) {
  return createHash('sha256').update(text).digest();
}

function basicCredentials(header) {
  const match = /^Basic +([A-Za-z0-9+/=]+)$/i.exec(header ?? '');
  if (!match) return null;
  const text = Buffer.from(match[1], 'base64').toString('utf8');
  const colon = text.indexOf(':');
  return colon < 0 ? null : [text.slice(0, colon), text.slice(colon + 1)];
}

export function authentication(users) {
  if (users.size === 0) return () => false;
  const digests = new Map([...users].map(([name, password]) => [name, digest(password)]));
  const refuse = (request, response, reason) =>
    sendError(request, response, 401, 'unauthorized', reason, { 'WWW-Authenticate': 'Basic realm="server"' });
  return (request, response) => {
    if (request.headers.authorization === undefined) return refuse(request, response, 'Authentication required.');
    const given = basicCredentials(request.headers.authorization);
    const expected = given && digests.get(given[0]);
    if (expected && timingSafeEqual(expected, digest(given[1]))) return false;
    return refuse(request, response, 'Name or password is incorrect.');
  };
}
