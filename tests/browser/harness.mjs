// What every browser test needs: Debian's chromium through playwright-core (or a skip with
// the reason, exit 77, when either is missing or the browser can't start), the list of
// checks with their verdicts, and a canary server that the browser must never reach.
import fs from 'node:fs';
import http from 'node:http';

export const SKIP = 77;

const failures = [];

// Prints one verdict and remembers a failed one for finish().
export function check(ok, what) {
  if (!ok) failures.push(what);
  console.log(`${ok ? 'ok  ' : 'FAIL'} ${what}`);
}

// The exit of a test: 1 when any check failed.
export function finish() {
  if (failures.length) {
    console.log(`${failures.length} check(s) failed`);
    process.exit(1);
  }
}

// The browser, started headless; cleanup runs before a skip (servers started so far).
export async function launchBrowser(cleanup = () => {}) {
  const skip = (why) => {
    console.log(`SKIP: ${why}`);
    cleanup();
    process.exit(SKIP);
  };
  let chromium;
  try {
    ({ chromium } = await import('playwright-core'));
  } catch (e) {
    skip(`playwright-core is not installed (scripts/setup.sh installs it): ${e.message}`);
  }
  const executablePath = ['/usr/bin/chromium', '/usr/bin/chromium-browser'].find((p) => fs.existsSync(p));
  if (!executablePath) skip('no chromium (scripts/setup.sh installs it)');
  try {
    const root = typeof process.getuid === 'function' && process.getuid() === 0;
    return await chromium.launch({ executablePath, headless: true, args: root ? ['--no-sandbox'] : [] });
  } catch (e) {
    skip(`the browser could not start: ${e.message.split('\n')[0]}`);
  }
  return null;
}

// A server on 127.0.0.1 that records every request it hears; a letter's remote loads point
// at it, so any hit is a leak.
export async function startCanary() {
  const hits = [];
  const server = http.createServer((req, res) => { hits.push(req.url); res.end('x'); });
  await new Promise((r) => server.listen(0, '127.0.0.1', r));
  return { hits, url: `http://127.0.0.1:${server.address().port}`, close: () => server.close() };
}
