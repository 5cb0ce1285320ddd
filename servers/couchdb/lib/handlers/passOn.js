// Everything else is express-pouchdb's. It never answers a request whose database is deleted meanwhile: then
// the connection is closed.
const graceMs = 1000;

export function passOn(databases, application) {
  return (request, response, { segments }) => {
    if (segments.length > 1) {
      const event = `deleted:${segments[0]}`;
      const abandon = () => setTimeout(() => response.writableEnded || request.socket.destroy(), graceMs);
      databases.on(event, abandon);
      response.on('close', () => databases.off(event, abandon));
    }
    application(request, response);
    return true;
  };
}
