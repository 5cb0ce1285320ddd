// A client for one server: keeps its connections, takes name and password from the URL, reads JSON or text.
import http from 'node:http';

export class HttpClient {
  #agent = new http.Agent({ keepAlive: true, maxSockets: 8 });
  #base;
  #headers = {};

  constructor(url) {
    this.#base = new URL(url);
    const { username, password } = this.#base;
    if (!username) return;
    const credentials = `${decodeURIComponent(username)}:${decodeURIComponent(password)}`;
    this.#headers.Authorization = `Basic ${Buffer.from(credentials).toString('base64')}`;
  }

  // { status, text }; the path is sent as it is, so "." and ".." in it stay
  request(method, path, body) {
    const { hostname: host, port } = this.#base;
    const bytes = body === undefined ? undefined : Buffer.from(JSON.stringify(body));
    const headers = { ...this.#headers };
    if (bytes) {
      headers['Content-Type'] = 'application/json';
      headers['Content-Length'] = bytes.length; // Node sends the body of a DELETE only when told its length
    }
    return new Promise((resolve, reject) => {
      const request = http.request({ agent: this.#agent, host, port, method, path, headers }, (response) => {
        const chunks = [];
        response.on('data', (chunk) => chunks.push(chunk));
        response.on('error', reject);
        response.on('end', () => resolve({ status: response.statusCode, text: Buffer.concat(chunks).toString() }));
      });
      request.on('error', reject);
      request.end(bytes);
    });
  }

  // The answer as JSON; throws unless it has one of the given statuses.
  async json(method, path, body, statuses = [200]) {
    const { status, text } = await this.request(method, path, body);
    if (!statuses.includes(status)) throw new Error(`${method} ${path} answered ${status}: ${text.slice(0, 500)}`);
    return JSON.parse(text);
  }

  close() {
    this.#agent.destroy();
  }
}

// The client of the server of a URL such as http://127.0.0.1:5984/name, and that name.
export function clientAndName(url) {
  const name = decodeURIComponent(new URL(url).pathname.replace(/^\/|\/$/g, ''));
  if (name === '' || name.includes('/')) throw new Error(`'${url}' must name one database or index`);
  return { client: new HttpClient(url), name };
}
