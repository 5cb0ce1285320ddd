// Ends this process when the one that started it is gone, also after a SIGKILL, which leaves no other
// sign than a new parent.
export function endWithParent(intervalMs = 250) {
  const parent = process.ppid;
  setInterval(() => {
    if (process.ppid !== parent) process.exit(0);
  }, intervalMs).unref();
}
