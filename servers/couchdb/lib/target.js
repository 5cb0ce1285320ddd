// What a request's URL asks for: { segments, query }, with the path's segments decoded one by one, so that
// an encoded slash stays inside its segment and "." and ".." are names like any other. Null when an escape
// is malformed. Query values are read as JSON where they are JSON (since=5, keys=["a"]), else as text.
export function parseTarget(url) {
  const question = url.indexOf('?');
  const path = question < 0 ? url : url.slice(0, question);
  try {
    const segments = path.split('/').slice(1).map(decodeURIComponent);
    if (segments.length > 1 && segments.at(-1) === '') segments.pop();
    return { segments, query: question < 0 ? {} : parseQuery(url.slice(question + 1)) };
  } catch {
    return null;
  }
}

function parseQuery(text) {
  const query = {};
  for (const [name, value] of new URLSearchParams(text)) query[name] = jsonOrText(value);
  return query;
}

function jsonOrText(text) {
  try {
    return JSON.parse(text);
  } catch {
    return text;
  }
}

// [database, document id] when the segments address a document, else null.
export function documentAddress(segments) {
  const [database, first, second] = segments;
  if (segments.length === 3 && (first === '_design' || first === '_local')) return [database, `${first}/${second}`];
  if (segments.length !== 2) return null;
  const reserved = first.startsWith('_') && !first.startsWith('_design/') && !first.startsWith('_local/');
  return reserved ? null : [database, first];
}
