// GET and POST of /db/_all_docs and of a view, one row per line as CouchDB writes them.
import { contentType, recordText } from '../json.js';

const rowsPerWrite = 500;

// A function that reads the rows from a database, or null when the segments name none.
function reader(segments) {
  const [, first, designDoc, view, name] = segments;
  if (segments.length === 2 && first === '_all_docs') return (database, options) => database.allDocs(options);
  if (segments.length === 5 && first === '_design' && view === '_view') {
    return (database, options) => database.query(`${designDoc}/${name}`, options);
  }
  return null;
}

function send(request, response, { rows, total_rows: total, offset }) {
  response.writeHead(200, { 'Content-Type': contentType(request), 'Cache-Control': 'must-revalidate' });
  if (request.method === 'HEAD') return response.end();
  response.write(total === undefined ? '{"rows":[\r\n' : `{"total_rows":${total},"offset":${offset ?? null},"rows":[\r\n`);
  for (let i = 0; i < rows.length; i += rowsPerWrite) {
    const text = rows.slice(i, i + rowsPerWrite).map(recordText).join(',\r\n');
    response.write(i === 0 ? text : `,\r\n${text}`);
  }
  return response.end('\r\n]}\n');
}

export function rows(databases) {
  return async (request, response, { segments, query }) => {
    const read = reader(segments);
    if (read === null || !['GET', 'HEAD', 'POST'].includes(request.method)) return false;
    const options = { ...request.body, ...query };
    send(request, response, await databases.use(segments[0], (database) => read(database, options)));
    return true;
  };
}
