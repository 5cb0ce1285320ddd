// servers/start with both servers: readiness, and that no end of anybody leaves a process behind.
import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { existsSync, mkdirSync, mkdtempSync, readFileSync, readdirSync, rmSync, symlinkSync } from 'node:fs';
import { createInterface } from 'node:readline';
import os from 'node:os';
import path from 'node:path';
import { after, test } from 'node:test';
import { setTimeout as sleep } from 'node:timers/promises';
import { ready, start, startProgram } from './support.mjs';

const scratch = mkdtempSync(path.join(os.tmpdir(), 'netweft-start-test-'));
after(() => rmSync(scratch, { recursive: true, force: true }));

// A killed process that nobody has waited for yet still has a folder in /proc.
function isRunning(pid) {
  try {
    return !/^State:\s+[ZX]/m.test(readFileSync(`/proc/${pid}/status`, 'utf8'));
  } catch {
    return false;
  }
}

async function isGone(pid) {
  const deadline = Date.now() + 15_000;
  while (isRunning(pid)) {
    assert.ok(Date.now() < deadline, `process ${pid} still runs`);
    await sleep(20);
  }
}

async function request(port, method, target, body) {
  const headers = { 'Content-Type': 'application/json' };
  const response = await fetch(`http://127.0.0.1:${port}${target}`, { method, headers, body: body && JSON.stringify(body) });
  return { status: response.status, json: await response.json() };
}

const kinds = {
  couchdb: {
    write: async (port) => {
      await request(port, 'PUT', '/kept');
      assert.equal((await request(port, 'PUT', '/kept/a', { v: 1 })).status, 201);
    },
    read: async (port) => assert.equal((await request(port, 'GET', '/kept/a')).json.v, 1),
  },
  elasticsearch: {
    write: async (port) => assert.equal((await request(port, 'PUT', '/kept/_doc/a', { v: 1 })).status, 201),
    read: async (port) => {
      assert.equal((await request(port, 'GET', '/kept/_doc/a')).json._source.v, 1);
      assert.equal((await request(port, 'GET', '/')).json.version.number, '6.8.23');
    },
  },
};

for (const [kind, { write, read }] of Object.entries(kinds)) {
  test(`${kind} killed with SIGKILL is told as died, and comes back on its port with its data`, async () => {
    const data = path.join(mkdtempSync(path.join(os.tmpdir(), 'netweft-start-data-')));
    const first = start([kind, '--data', data]);
    const { port, pid } = await ready(first);
    await write(port);
    process.kill(pid, 'SIGKILL');
    assert.equal(await first.line(), 'died SIGKILL');
    assert.equal(await first.exited, 1);
    const second = start([kind, '--data', data, '--port', `${port}`]);
    const again = await ready(second);
    assert.equal(again.port, port);
    await read(port);
    second.child.stdin.end();
    assert.equal(await second.exited, 0);
    assert.equal(isRunning(again.pid), false);
    rmSync(data, { recursive: true });
  });

  test(`${kind} ends when servers/start is killed with SIGKILL`, async () => {
    const helper = start([kind]);
    const { pid } = await ready(helper);
    helper.child.kill('SIGKILL');
    await isGone(pid);
  });

  test(`${kind} ends when the caller of servers/start is killed with SIGKILL`, async () => {
    const script = `"$0" ${kind} </dev/null & echo "$!"; wait`;
    const caller = spawn('bash', ['-c', script, startProgram], { stdio: ['ignore', 'pipe', 'inherit'] });
    const lines = createInterface({ input: caller.stdout })[Symbol.asyncIterator]();
    const helperPid = Number((await lines.next()).value);
    const { pid } = await ready({ line: async () => (await lines.next()).value, errors: [] });
    caller.kill('SIGKILL');
    await isGone(pid);
    await isGone(helperPid);
  });

  test(`SIGTERM in the middle of the start of ${kind} leaves nothing behind`, async () => {
    const helper = start([kind]);
    let server = null;
    const deadline = Date.now() + 15_000;
    while (server === null && Date.now() < deadline) {
      server = serverOf(helper.child.pid);
      await sleep(5);
    }
    assert.notEqual(server, null);
    helper.child.kill('SIGTERM');
    assert.equal(await helper.exited, 0);
    assert.equal(isRunning(server), false);
  });
}

// The child that is, or is about to become, the server; others are commands of the shell wrapper.
function serverOf(parent) {
  const pids = textOf(`/proc/${parent}/task/${parent}/children`).split(' ').filter(Boolean).map(Number);
  const isServer = (pid) => /--pdeathsig|server\.js|bin\/elasticsearch|org\.elasticsearch/.test(textOf(`/proc/${pid}/cmdline`));
  return pids.find(isServer) ?? null;
}

function textOf(file) {
  try {
    return readFileSync(file, 'utf8').trim();
  } catch {
    return ''; // it ended meanwhile
  }
}

test('SIGTERM ends a ready server with 0', async () => {
  const helper = start(['couchdb']);
  const { pid } = await ready(helper);
  helper.child.kill('SIGTERM');
  assert.equal(await helper.exited, 0);
  assert.equal(isRunning(pid), false);
});

test('a stdin that is /dev/null says nothing', async () => {
  const helper = start(['couchdb'], { stdin: 'ignore' });
  const { port } = await ready(helper);
  await sleep(300);
  assert.equal((await request(port, 'GET', '/')).status, 200);
  helper.child.kill('SIGTERM');
  await helper.exited;
});

test('users are asked for their passwords', async () => {
  const helper = start(['couchdb', '--user', 'ann:secret', '--user', 'bob:b']);
  const { port } = await ready(helper);
  assert.equal((await request(port, 'GET', '/')).status, 401);
  helper.child.stdin.end();
  await helper.exited;
});

test('a server that cannot start is told as died', async () => {
  const first = start(['couchdb']);
  const { port } = await ready(first);
  const second = start(['couchdb', '--port', `${port}`]);
  assert.equal(await second.line(), 'died 1');
  assert.equal(await second.exited, 1);
  first.child.stdin.end();
  await first.exited;
});

test('the folder of a run of Elasticsearch is removed with it', async () => {
  const helper = start(['elasticsearch']);
  await ready(helper);
  const folders = () => readdirSync(os.tmpdir()).filter((name) => name.startsWith(`netweft-elasticsearch-${helper.child.pid}-`));
  assert.equal(folders().length, 1);
  helper.child.stdin.end();
  await helper.exited;
  assert.equal(folders().length, 0);
});

test('bad arguments leave with 2', async () => {
  for (const words of [[], ['mysql'], ['couchdb', '--port'], ['couchdb', '--port', '99999'], ['elasticsearch', '--user', 'a:b'],
    ['elasticsearch', '--life', 'eternal']]) {
    assert.equal(await start(words).exited, 2, words.join(' '));
  }
});

test('a machine without java is told in one line, with 3', async () => {
  const folder = path.join(scratch, 'bin');
  mkdirSync(folder);
  for (const name of ['bash', 'env', 'dirname', 'setpriv']) {
    symlinkSync(['/usr/bin', '/bin'].map((place) => path.join(place, name)).find(existsSync), path.join(folder, name));
  }
  symlinkSync(process.execPath, path.join(folder, 'node'));
  const helper = start(['elasticsearch'], { env: { PATH: folder } });
  assert.equal(await helper.exited, 3);
  assert.match(helper.errors.join('\n'), /^servers\/start: elasticsearch: java is missing .*openjdk-17-jre-headless/);
});

test('a data folder that the unprivileged user cannot reach is told, with 3', { skip: process.getuid() !== 0 && 'only root has one' }, async () => {
  const closed = mkdtempSync(path.join(os.tmpdir(), 'netweft-closed-'));
  const helper = start(['elasticsearch', '--data', path.join(closed, 'data')]);
  assert.equal(await helper.exited, 3);
  assert.match(helper.errors.join('\n'), /can't write to/);
  rmSync(closed, { recursive: true });
});
