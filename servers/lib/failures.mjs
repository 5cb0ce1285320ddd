// Ends of servers/start with a status of their own.
export class UsageError extends Error {
  status = 2;
}

// Something that the server needs is not there.
export class Unavailable extends Error {
  status = 3;
}
