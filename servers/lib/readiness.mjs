import { setTimeout as sleep } from 'node:timers/promises';

// Asks the server for the URL until accept(response) holds, or isOver() does. False when the time is up.
export async function answersInTime(url, { headers = {}, accept, isOver, limitMs, pauseMs = 50 }) {
  const deadline = Date.now() + limitMs;
  while (Date.now() < deadline && !isOver()) {
    try {
      const response = await fetch(url, { headers, signal: AbortSignal.timeout(5000) });
      if (await accept(response)) return true;
    } catch {
      // not listening yet
    }
    await sleep(pauseMs);
  }
  return false;
}
