export class UsageError extends Error {}

const usage = 'usage: node server.js [--port N] [--data DIR] [--user NAME:PASSWORD]...';

function portNumber(text) {
  const port = Number(text);
  if (!/^\d+$/.test(text ?? '') || port > 65535) throw new UsageError(`bad port '${text}'\n${usage}`);
  return port;
}

function credentials(text) {
  const colon = (text ?? '').indexOf(':');
  if (colon < 1) throw new UsageError(`bad user '${text}': NAME:PASSWORD is wanted\n${usage}`);
  return [text.slice(0, colon), text.slice(colon + 1)];
}

// { port, dataFolder (null: memory), users: Map of name to password (empty: everybody may) }
export function parseOptions(words) {
  const options = { port: 0, dataFolder: null, users: new Map() };
  for (let i = 0; i < words.length; i += 2) {
    const value = words[i + 1];
    if (words[i] === '--port') options.port = portNumber(value);
    else if (words[i] === '--data' && value) options.dataFolder = value;
    else if (words[i] === '--user') options.users.set(...credentials(value));
    else throw new UsageError(`bad argument '${words[i]}'\n${usage}`);
  }
  return options;
}
