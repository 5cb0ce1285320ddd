// The document that the River sends for a document of CouchDB: a model of its own, in JavaScript, so that a
// comparison does not rest on the library that it judges.

// Order of UTF-8 bytes, which is that of code points (UTF-16 puts the astral ones elsewhere).
function compareCodePoints(a, b) {
  let i = 0;
  while (i < a.length && i < b.length) {
    const x = a.codePointAt(i);
    const y = b.codePointAt(i);
    if (x !== y) return x - y;
    i += x > 0xffff ? 2 : 1;
  }
  return a.length - b.length;
}

// Compact JSON with the members of every object in the order of their names.
function sortedText(value) {
  if (Array.isArray(value)) return `[${value.map(sortedText).join(',')}]`;
  if (value === null || typeof value !== 'object') return JSON.stringify(value);
  const names = Object.keys(value).sort(compareCodePoints);
  return `{${names.map((name) => `${JSON.stringify(name)}:${sortedText(value[name])}`).join(',')}}`;
}

function sendOnce(text) {
  const value = JSON.parse(text.replace('"_id"', '"-id"'));
  delete value.contents;
  delete value.resources;
  return sortedText(value);
}

// The text of CouchDB's answer as an index receives it. The first "_id" in the text, be it a name or the end
// of a value, becomes "-id", and two members are dropped; for each further index of the database the same is
// done again to what the one before received. times: how many indexes take the document up to this one.
export function sentDocument(text, times = 1) {
  let sent = text;
  for (let i = 0; i < times; i += 1) sent = sendOnce(sent);
  return JSON.parse(sent);
}
