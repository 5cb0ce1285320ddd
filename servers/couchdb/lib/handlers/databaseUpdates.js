// GET /_db_updates?feed=continuous: one line for each database that is created, written to or deleted, and
// for each design document that is written. "timeout" is the length of the heartbeat when "heartbeat" is
// true (the default), and of the whole idle feed when it is false.
import { ContinuousFeed, heartbeatLength } from '../continuousFeed.js';
import { sendError } from '../json.js';

// The name of a design document's event is the text of an Erlang pair of binaries.
function designDocumentName(database, id) {
  return `{<<"${database}">>,<<"${id}">>}`;
}

function line(name, type) {
  return `${JSON.stringify({ db_name: name, type })}\n`;
}

function subscribe(databases, feed) {
  const listeners = {
    created: (name) => feed.write(line(name, 'created')),
    deleted: (name) => feed.write(line(name, 'deleted')),
    written: (name, designDocs) => {
      feed.write(line(name, 'updated'));
      for (const id of designDocs) feed.write(line(designDocumentName(name, id), 'ddoc_updated'));
    },
  };
  for (const [event, listener] of Object.entries(listeners)) databases.on(event, listener);
  feed.onClose(() => {
    for (const [event, listener] of Object.entries(listeners)) databases.off(event, listener);
  });
}

export function databaseUpdates(databases) {
  return (request, response, { segments, query }) => {
    if (request.method !== 'GET' || segments.length !== 1 || segments[0] !== '_db_updates') return false;
    if (query.feed !== 'continuous') {
      return sendError(request, response, 400, 'bad_request', 'only feed=continuous is supported');
    }
    const timeout = Number.isInteger(query.timeout) && query.timeout > 0 ? query.timeout : undefined;
    const heartbeat = query.heartbeat ?? true;
    const feed = new ContinuousFeed(request, response, {
      heartbeatMs: heartbeat === true && timeout ? timeout : heartbeatLength(heartbeat),
      idleMs: timeout,
      onTimeout: () => feed.end('{"ok":true}\n'),
    });
    subscribe(databases, feed);
    return true;
  };
}
