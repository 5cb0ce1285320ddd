// Starts the real Elasticsearch, which refuses to run as root: then it runs as the user "nobody".
import { copyFileSync, existsSync, mkdirSync, mkdtempSync, readFileSync, readdirSync, rmSync, writeFileSync } from 'node:fs';
import { execFileSync, spawnSync } from 'node:child_process';
import os from 'node:os';
import path from 'node:path';
import { Unavailable } from './failures.mjs';
import { answersInTime } from './readiness.mjs';
import { elasticsearchHome, runsAsRoot, serversFolder } from './places.mjs';
import { ServerProcess } from './serverProcess.mjs';

const startLimitMs = 120_000; // 3 s by itself, half a minute beside a parallel build on the same cores
const recoveryLimitMs = 20_000;
// The first of the JVM's two compilers alone: a start and a few thousand documents take half of the processor
// time. What runs for longer is slower for it.
const shortLivedJvm = '-XX:TieredStopAtLevel=1\n';
const runFolderPrefix = 'netweft-elasticsearch-';
const privileges = runsAsRoot ? ['--reuid', 'nobody', '--regid', 'nogroup', '--clear-groups'] : [];

// The folder of one run: configuration, logs, temporary files and, unless they are to be kept, the data.
// Its name holds our process id, by which the folders of killed helpers are known.
function makeRunFolder() {
  const folder = mkdtempSync(path.join(os.tmpdir(), `${runFolderPrefix}${process.pid}-`));
  for (const name of ['config', 'logs', 'tmp', 'data']) mkdirSync(path.join(folder, name));
  return folder;
}

function removeAbandonedRunFolders() {
  for (const name of readdirSync(os.tmpdir())) {
    const match = name.startsWith(runFolderPrefix) && /^(\d+)-/.exec(name.slice(runFolderPrefix.length));
    if (match && !existsSync(`/proc/${match[1]}`)) {
      rmSync(path.join(os.tmpdir(), name), { recursive: true, force: true });
    }
  }
}

// "single-node" keeps it from looking for others. The disk thresholds would make indexes read-only on a
// nearly full disk, and tests fail for a reason that is not theirs.
function configuration(port, dataFolder, logFolder) {
  return [
    'cluster.name: netweft',
    'discovery.type: single-node',
    'network.host: 127.0.0.1',
    `http.port: ${port}`,
    'transport.port: 0',
    'cluster.routing.allocation.disk.threshold_enabled: false',
    `path.data: ${JSON.stringify(dataFolder)}`,
    `path.logs: ${JSON.stringify(logFolder)}`,
    '',
  ].join('\n');
}

function writeConfiguration(runFolder, port, dataFolder, life) {
  const folder = path.join(runFolder, 'config');
  writeFileSync(path.join(folder, 'elasticsearch.yml'), configuration(port, dataFolder, path.join(runFolder, 'logs')));
  const jvmOptions = readFileSync(path.join(serversFolder, 'elasticsearch', 'jvm.options'), 'utf8');
  writeFileSync(path.join(folder, 'jvm.options'), jvmOptions + (life === 'short' ? shortLivedJvm : ''));
  copyFileSync(path.join(elasticsearchHome, 'config', 'log4j2.properties'), path.join(folder, 'log4j2.properties'));
}

function giveToServer(folder) {
  if (runsAsRoot) execFileSync('chown', ['-R', 'nobody:nogroup', folder]);
}

function checkReachable(folder) {
  const test = spawnSync('setpriv', [...privileges, 'test', '-w', folder]);
  if (test.status === 0) return;
  throw new Unavailable(`elasticsearch can't run as root, and its unprivileged user can't write to ${folder}: `
    + 'each folder above it must let others pass');
}

function prepareDataFolder(runFolder, dataFolder) {
  const folder = dataFolder === null ? path.join(runFolder, 'data') : path.resolve(dataFolder);
  mkdirSync(folder, { recursive: true });
  return folder;
}

function environment(runFolder) {
  const env = { ...process.env, ES_PATH_CONF: path.join(runFolder, 'config'), ES_TMPDIR: path.join(runFolder, 'tmp') };
  for (const name of ['JAVA_OPTS', 'JAVA_TOOL_OPTIONS', 'ES_JAVA_OPTS', 'NODE_OPTIONS']) delete env[name];
  return env;
}

// Right after a restart the shards of kept indexes are not open yet. An index that stays red for a reason
// of its own must not keep the server from being ready for ever.
function waitForShards(port, server) {
  return answersInTime(`http://127.0.0.1:${port}/_cluster/health`, {
    accept: async (response) => response.status === 200 && (await response.json()).status !== 'red',
    isOver: () => server.hasEnded,
    limitMs: recoveryLimitMs,
  });
}

async function waitUntilReady(server) {
  const port = await server.lineMatching(/Netty4HttpServerTransport.*publish_address \{[^}]*:(\d+)\}/, startLimitMs);
  if (port === null) return null;
  const answers = await answersInTime(`http://127.0.0.1:${port}/`, {
    accept: (response) => response.status === 200,
    isOver: () => server.hasEnded,
    limitMs: startLimitMs,
  });
  if (!answers) return null;
  await waitForShards(port, server);
  return server.hasEnded ? null : port;
}

export const elasticsearch = {
  missing() {
    const java = spawnSync('java', ['-version']);
    return java.status === 0 ? null : 'java is missing (Debian package openjdk-17-jre-headless)';
  },

  // { process, ready: promise of the port, null when it did not come up; cleanUp }
  start({ port, dataFolder, life }) {
    removeAbandonedRunFolders();
    const runFolder = makeRunFolder();
    const cleanUp = () => rmSync(runFolder, { recursive: true, force: true });
    try {
      const data = prepareDataFolder(runFolder, dataFolder);
      writeConfiguration(runFolder, port, data, life);
      for (const folder of [runFolder, data]) {
        giveToServer(folder);
        checkReachable(folder);
      }
      const command = [path.join(elasticsearchHome, 'bin', 'elasticsearch')];
      const server = new ServerProcess(privileges, command, { cwd: '/', env: environment(runFolder) });
      return { process: server, ready: waitUntilReady(server), cleanUp };
    } catch (error) {
      cleanUp();
      throw error;
    }
  },
};
