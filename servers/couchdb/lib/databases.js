// The open databases, and what happens to them, as events:
//   'created' (name), 'deleted' (name), 'written' (name, ids of design documents written)
//   'written:NAME' and 'deleted:NAME' for those who follow one database
import { EventEmitter } from 'node:events';
import storedDatabases from 'express-pouchdb/lib/create-or-delete-dbs.js';
import wrappers from 'pouchdb-wrappers';

export class UnknownDatabase extends Error {
  status = 404;
  name = 'not_found';
  reason = 'no_db_file';
}

// PouchDB's words for an operation on a database that is being deleted.
function isDeletion(error) {
  return /database is (closed|destroyed)/.test(error.message);
}

export class Databases extends EventEmitter {
  #Pouch;
  #application;
  #open = new Map();

  static async open(Pouch, application) {
    const databases = new Databases(Pouch, application);
    await Pouch.allDbs();
    return databases;
  }

  constructor(Pouch, application) {
    super();
    this.setMaxListeners(0);
    this.#Pouch = Pouch;
    this.#application = application;
    Pouch.on('destroyed', (name) => this.#destroyed(name));
    application.dbWrapper.registerWrapper((name, database, next) => {
      this.#watchWrites(name, database);
      return next();
    });
  }

  // The PouchDB object of that name, or null when there is no such database.
  async find(name) {
    const known = this.#open.get(name);
    if (known) return known;
    if (!(await this.#Pouch.allDbs()).includes(name)) return null;
    const database = await storedDatabases.getOrCreateDB(this.#Pouch, name);
    await this.#application.dbWrapper.wrap(name, database);
    database.setMaxListeners(0); // each read of the changes listens for the database's end
    this.#open.set(name, database);
    return database;
  }

  // The result of operation(database). Throws UnknownDatabase, also when the database is deleted meanwhile:
  // PouchDB never answers what a deletion overtakes.
  async use(name, operation) {
    const database = await this.find(name);
    if (database === null) throw new UnknownDatabase();
    return new Promise((resolve, reject) => {
      const overtaken = () => reject(new UnknownDatabase());
      this.on(`deleted:${name}`, overtaken);
      const failed = (error) => reject(isDeletion(error) ? new UnknownDatabase() : error);
      operation(database).then(resolve, failed).finally(() => this.off(`deleted:${name}`, overtaken));
    });
  }

  // Whether that object is still the database of that name.
  holds(name, database) {
    return this.#open.get(name) === database;
  }

  created(name) {
    this.emit('created', name);
  }

  // Every write of a document ends in bulkDocs, whichever request it came with.
  #watchWrites(name, database) {
    wrappers.installWrapperMethods(database, {
      bulkDocs: async (original, args) => {
        const docs = args.docs ?? [];
        const results = await original();
        const designDocs = docs.map((doc) => doc?._id).filter((id) => `${id}`.startsWith('_design/'));
        this.emit('written', name, designDocs);
        this.emit(`written:${name}`);
        return results;
      },
    });
  }

  #destroyed(name) {
    if (name.includes('-mrview-')) return; // a view's own storage
    this.#open.delete(name);
    this.emit('deleted', name);
    this.emit(`deleted:${name}`);
  }
}
