// An HTTP server that sends each request's decoded body back. Prints its port; ends with its stdin.
import http from 'node:http';

const server = http.createServer((request, response) => {
  const pieces = [];
  request.on('data', (piece) => pieces.push(piece));
  request.on('end', () => {
    const body = Buffer.concat(pieces);
    response.writeHead(200, {
      'Content-Length': body.length,
      'X-Coding': request.headers['transfer-encoding'] ?? 'none',
      Connection: 'close',
    });
    response.end(body);
  });
});

server.listen(0, '127.0.0.1', () => console.log(server.address().port));
process.stdin.on('end', () => process.exit(0));
process.stdin.resume();
