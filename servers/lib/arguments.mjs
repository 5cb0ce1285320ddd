import { UsageError } from './failures.mjs';

const usage = 'usage: servers/start couchdb|elasticsearch [--port N] [--data DIR] [--user NAME:PASSWORD]...\n'
  + '         [--life short|long]';

function portNumber(text) {
  if (!/^\d{1,5}$/.test(text) || Number(text) > 65535) throw new UsageError(`bad port '${text}'\n${usage}`);
  return Number(text);
}

function user(text) {
  if (!/^[^:]+:/.test(text)) throw new UsageError(`bad user '${text}': NAME:PASSWORD is wanted\n${usage}`);
  return text;
}

function life(text) {
  if (text !== 'short' && text !== 'long') throw new UsageError(`bad life '${text}'\n${usage}`);
  return text;
}

// { server, port (0: a free one), dataFolder (null: none is kept), users: ["NAME:PASSWORD", ...], life }
export function parseArguments([server, ...words]) {
  const options = { server, port: 0, dataFolder: null, users: [], life: 'short' };
  if (server !== 'couchdb' && server !== 'elasticsearch') throw new UsageError(usage);
  for (let i = 0; i < words.length; i += 2) {
    const value = words[i + 1];
    if (value === undefined) throw new UsageError(usage);
    if (words[i] === '--port') options.port = portNumber(value);
    else if (words[i] === '--data') options.dataFolder = value;
    else if (words[i] === '--user') options.users.push(user(value));
    else if (words[i] === '--life') options.life = life(value);
    else throw new UsageError(`bad argument '${words[i]}'\n${usage}`);
  }
  if (server === 'elasticsearch' && options.users.length > 0) {
    throw new UsageError('elasticsearch has no users: the Apache-licensed build comes without security');
  }
  return options;
}
