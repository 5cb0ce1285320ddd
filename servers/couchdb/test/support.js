// Starts the server as a process of its own and asks it over raw paths, which fetch would normalise.
import { spawn } from 'node:child_process';
import { createInterface } from 'node:readline';
import http from 'node:http';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

const main = path.join(path.dirname(fileURLToPath(import.meta.url)), '..', 'server.js');

export async function startServer(...words) {
  const child = spawn(process.execPath, [main, ...words], { stdio: ['ignore', 'pipe', 'inherit'] });
  const exited = new Promise((resolve) => child.on('exit', (status, signal) => resolve(signal ?? status)));
  const firstLine = new Promise((resolve) => createInterface({ input: child.stdout }).once('line', resolve));
  const line = await Promise.race([firstLine, exited]);
  return { child, exited, line, port: Number(/^listening on port (\d+)$/.exec(line)?.[1]) };
}

export async function stopServer(server, signal = 'SIGKILL') {
  server.child.kill(signal);
  return server.exited;
}

// { status, headers, text, json }
export function ask(port, method, target, { body, headers = {}, agent } = {}) {
  const text = typeof body === 'object' && !Buffer.isBuffer(body) ? JSON.stringify(body) : body;
  const withType = method === 'POST' && !('Content-Type' in headers)
    ? { 'Content-Type': 'application/json', ...headers } : headers;
  return new Promise((resolve, reject) => {
    const request = http.request({ port, host: '127.0.0.1', method, path: target, headers: withType, agent }, (response) => {
      const chunks = [];
      response.on('data', (chunk) => chunks.push(chunk));
      response.on('end', () => {
        const answer = Buffer.concat(chunks).toString();
        const { statusCode: status, headers: received } = response;
        resolve({ status, headers: received, text: answer, get json() { return JSON.parse(answer); } });
      });
    });
    request.on('error', reject);
    request.end(text);
  });
}

// A feed as a reader of lines: await feed.line() gives the next one ("" is a heartbeat), null at the end.
export function openFeed(port, target) {
  return new Promise((resolve, reject) => {
    const request = http.get({ port, host: '127.0.0.1', path: target, agent: false }, (response) => {
      const iterator = createInterface({ input: response })[Symbol.asyncIterator]();
      const line = async () => {
        const { value, done } = await iterator.next();
        return done ? null : value;
      };
      resolve({
        status: response.statusCode,
        line,
        async change() {
          for (;;) {
            const text = await line();
            if (text !== '') return text === null ? null : JSON.parse(text);
          }
        },
        close: () => request.destroy(),
      });
    });
    request.on('error', reject);
  });
}
