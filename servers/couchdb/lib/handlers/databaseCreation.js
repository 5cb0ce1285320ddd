// Refuses the database names that CouchDB refuses (and those with a slash, which PouchDB would store under
// another name), and tells the database events about each new database.
import { sendError } from '../json.js';

const legalName = /^[a-z][a-z0-9_$()+-]*$/;

export function databaseCreation(databases) {
  return (request, response, { segments }) => {
    if (request.method !== 'PUT' || segments.length !== 1) return false;
    const [name] = segments;
    if (!legalName.test(name)) {
      const reason = `Name: '${name}'. Only lowercase characters (a-z), digits (0-9), and any of the characters `
        + '_, $, (, ), +, and - are allowed. Must begin with a letter.';
      return sendError(request, response, 400, 'illegal_database_name', reason);
    }
    response.on('close', () => {
      if (response.statusCode === 201) databases.created(name);
    });
    return false;
  };
}
