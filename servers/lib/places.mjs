// Where the servers are kept; servers/lib/places.sh says the same for the shell.
import os from 'node:os';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

export const serversFolder = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '..');
export const runsAsRoot = process.getuid() === 0;

function cacheFolder() {
  if (process.env.NETWEFT_CACHE) return process.env.NETWEFT_CACHE;
  if (runsAsRoot) return '/var/cache/netweft';
  return path.join(process.env.XDG_CACHE_HOME || path.join(os.homedir(), '.cache'), 'netweft');
}

export const elasticsearchHome = path.join(cacheFolder(), 'elasticsearch-6.8.23');
