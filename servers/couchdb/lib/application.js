// Puts the server together: a chain of our handlers, each asked in turn, and express-pouchdb behind them.
import http from 'node:http';
import { mkdirSync } from 'node:fs';
import path from 'node:path';
import expressPouchdb from 'express-pouchdb';
import PouchDB from 'pouchdb-core';
import mapreduce from 'pouchdb-mapreduce';
import { Databases } from './databases.js';
import { sendError, sendFailure } from './json.js';
import { parseTarget } from './target.js';
import { authentication } from './handlers/authentication.js';
import { changesFeed } from './handlers/changesFeed.js';
import { databaseCreation } from './handlers/databaseCreation.js';
import { databaseUpdates } from './handlers/databaseUpdates.js';
import { documentRead } from './handlers/documentRead.js';
import { documentWrite } from './handlers/documentWrite.js';
import { jsonBody } from './handlers/jsonBody.js';
import { passOn } from './handlers/passOn.js';
import { rows } from './handlers/rows.js';

// Each adapter takes long to load, so only the one in use is.
async function pouchConstructor(dataFolder) {
  const adapter = dataFolder === null ? 'memory' : 'leveldb';
  const { default: plugin } = await import(`pouchdb-adapter-${adapter}`);
  PouchDB.plugin(mapreduce).plugin(plugin);
  if (dataFolder === null) return PouchDB.defaults({ adapter });
  const folder = path.resolve(dataFolder);
  mkdirSync(folder, { recursive: true });
  return PouchDB.defaults({ adapter, prefix: `${folder}${path.sep}` });
}

async function expressApplication(Pouch) {
  const application = expressPouchdb({
    mode: 'minimumForPouchDB',
    overrideMode: { exclude: ['compression'] },
  });
  // A document's ETag is its revision; Express would hash each body for a weak one.
  application.set('etag', false);
  application.set('x-powered-by', false);
  await application.setPouchDB(Pouch);
  return application;
}

async function handle(chain, request, response) {
  const target = parseTarget(request.url);
  if (target === null) return sendError(request, response, 400, 'bad_request', 'malformed URL');
  for (const handler of chain) {
    if (await handler(request, response, target)) return undefined;
  }
  return undefined;
}

function failed(request, response, error) {
  if (response.headersSent) return response.destroy();
  return sendFailure(request, response, error);
}

function tuneConnections(server) {
  server.keepAliveTimeout = 120_000; // Node's default of 5 s closes connections that clients still pool
  server.headersTimeout = 150_000;
  server.requestTimeout = 0;
}

// A http.Server that is not listening yet.
export async function createApplication({ dataFolder = null, users = new Map() } = {}) {
  const Pouch = await pouchConstructor(dataFolder);
  const application = await expressApplication(Pouch);
  const databases = await Databases.open(Pouch, application);
  const chain = [
    authentication(users),
    jsonBody(),
    databaseCreation(databases),
    databaseUpdates(databases),
    changesFeed(databases),
    rows(databases),
    documentRead(databases),
    documentWrite(databases),
    passOn(databases, application),
  ];
  const server = http.createServer((request, response) => {
    handle(chain, request, response).catch((error) => failed(request, response, error));
  });
  tuneConnections(server);
  return server;
}
