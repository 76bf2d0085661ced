// The workbench in a real browser (Debian's chromium, driven by playwright-core): the main
// page lists the store's letters, imports dropped files, pages through a folder of
// 100,000 letters, deletes and restores, opens a letter in the sandboxed view; a message
// box answered, and one left by closing the tab (the server goes on); a hostile letter
// runs nothing and loads nothing from outside; requests without the secret, from a
// foreign Origin or for a foreign Host are refused; Quit stops the server and clears the
// extracted files. Saves a screenshot of the main page to SCREENSHOT when one is named
// (ctest names one in the build tree; copy it over docs/workbench.png to refresh the README's).
// Usage: node workbench_test.mjs RAVELIN_PROGRAM SOURCE_DIR [SCREENSHOT]. Exit 77 (skipped)
// when the browser can't start.
import { spawn, spawnSync } from 'node:child_process';
import fs from 'node:fs';
import http from 'node:http';
import os from 'node:os';
import path from 'node:path';

import { check, finish, launchBrowser, startCanary } from './harness.mjs';

const [program, sourceDir, screenshot] = process.argv.slice(2);
if (!program || !sourceDir) { console.error('usage: node workbench_test.mjs RAVELIN_PROGRAM SOURCE_DIR'); process.exit(2); }

const homes = [];
const newHome = () => { const h = fs.mkdtempSync(path.join(os.tmpdir(), 'ravelin-workbench-')); homes.push(h); return h; };
const run = (home, ...args) => spawnSync(program, ['--home', home, ...args], { encoding: 'utf8' });

// A server that must never hear from the browser.
const canary = await startCanary();
const canaryHits = canary.hits;
const c = canary.url;

const hostile = [
  'From: Mallory <mallory@example.org>', 'To: me@example.org', 'Subject: hostile letter', 'Date: Mon, 2 Nov 2026 09:15:00 +0000',
  'MIME-Version: 1.0', 'Content-Type: text/html; charset="utf-8"', '',
  `<html><head><meta http-equiv="refresh" content="0;url=${c}/refresh"><link rel="stylesheet" href="${c}/style.css">`,
  `<script>fetch("${c}/script");parent.document.title="pwned"</script></head><body>`,
  `<p>Hello</p><img src="${c}/remote.png"><img src="nope" onerror="fetch('${c}/onerror')">`,
  `<form action="${c}/form" method="post"><input name="q" value="1"></form>`,
  `<iframe src="${c}/frame"></iframe><object data="${c}/object"></object>`,
  `<div style="background:url(${c}/bg.png)">x</div></body></html>`, ''].join('\r\n');

// Starts `ravelin serve` on a home; resolves with the process and its address. Whatever
// happens, no server outlives the test.
const servers = [];
function serve(home) {
  const child = spawn(program, ['--home', home, 'serve'], { stdio: ['ignore', 'pipe', 'pipe'] });
  servers.push(child);
  let err = '';
  child.stderr.on('data', (d) => { err += d; });
  const url = new Promise((resolve, reject) => {
    let out = '';
    child.stdout.on('data', (d) => { out += d; const m = out.match(/^(http:\/\/127\.0\.0\.1:\d+\/[0-9a-f]+\/)\n/); if (m) resolve(m[1]); });
    child.on('exit', (code) => reject(new Error(`serve exited with ${code}: ${err}`)));
  });
  const exited = new Promise((resolve) => child.on('exit', (code) => resolve(code)));
  return { child, url, exited, stderr: () => err };
}

// A raw request, with the headers as given (a browser would not let us forge Host).
function request(port, target, { method = 'GET', headers = {}, body } = {}) {
  return new Promise((resolve) => {
    const req = http.request({ host: '127.0.0.1', port, path: target, method, headers, setHost: false, agent: false }, (res) => {
      res.resume();
      res.on('end', () => resolve(res.statusCode));
    });
    req.on('upgrade', (res, socket) => { socket.destroy(); resolve(101); });
    req.on('error', () => resolve(0));
    if (body) req.write(body);
    req.end();
  });
}

const rowsOf = (page) => page.$$eval('[data-list=letters] tbody tr', (trs) => trs.map((tr) => ({
  key: Number(tr.dataset.key), subject: tr.children[1].textContent, bold: getComputedStyle(tr.children[1]).fontWeight,
})));
// Polls from here: the pages' policy forbids the evaluated strings waitForFunction uses.
const waitRows = async (page, test, arg = null) => {
  for (const end = Date.now() + 10000; Date.now() < end; await page.waitForTimeout(50))
    if (await page.evaluate(test, arg).catch(() => false)) return true;
  return false;
};

const browser = await launchBrowser(() => canary.close());

try {
  // ---- the samples, listed, one dropped, opened, deleted and restored ----
  const home = newHome();
  const samples = fs.readdirSync(path.join(sourceDir, 'samples')).filter((f) => f.endsWith('.eml')).sort();
  const imported = run(home, 'import', ...samples.map((f) => path.join(sourceDir, 'samples', f)));
  check(imported.status === 0, `the samples were imported (${imported.stderr.trim()})`);
  const server = serve(home);
  const url = await server.url;
  const origin = new URL(url).origin;
  const port = Number(new URL(url).port);
  const secret = new URL(url).pathname.split('/')[1];

  const page = await browser.newPage({ viewport: { width: 1280, height: 800 } });
  const requests = [];
  page.on('requestfinished', (r) => requests.push(r.url()));
  let nativeDialogs = 0;
  page.on('dialog', (d) => { nativeDialogs++; d.dismiss(); });
  await page.goto(url);
  check(await waitRows(page, (n) => document.querySelectorAll('[data-list=letters] tbody tr').length >= n, samples.length),
    'the Inbox lists the imported samples');
  let rows = await rowsOf(page);
  check(rows.length === samples.length, `one row per sample (${rows.length})`);
  check(rows.every((r) => Number(r.bold) >= 600), 'unread letters are bold');
  check(rows.length > 1 && rows[0].key > rows[rows.length - 1].key, 'newest first');

  // Dropping a file imports it (POST with the secret), and the list shows it.
  await page.evaluate((text) => {
    const dt = new DataTransfer();
    dt.items.add(new File([text], 'hostile.eml', { type: 'message/rfc822' }));
    document.dispatchEvent(new DragEvent('drop', { dataTransfer: dt, bubbles: true, cancelable: true }));
  }, hostile);
  check(await waitRows(page, () => [...document.querySelectorAll('[data-list=letters] tbody tr td:nth-child(2)')]
    .some((td) => td.textContent === 'hostile letter')), 'a dropped letter is imported and listed');
  check(/1/.test(await page.textContent('[data-field=status]')), 'the import is told in the status line');

  // The hostile letter opens in the sandboxed view and runs nothing.
  rows = await rowsOf(page);
  const hostileKey = rows.find((r) => r.subject === 'hostile letter').key;
  await page.click(`tr[data-key="${hostileKey}"]`);
  const frame = await page.waitForSelector('iframe[data-field=document][src]');
  await page.waitForTimeout(1500);
  const doc = await (await frame.contentFrame()).content();
  check(doc.includes('Hello'), 'the letter shows in the document view');
  check(await frame.getAttribute('sandbox') === 'allow-popups allow-popups-to-escape-sandbox', 'the view is a sandbox without scripts');
  const outside = requests.filter((u) => !u.startsWith(origin + '/') && !u.startsWith('data:'));
  check(outside.length === 0, `no request outside the workbench (${outside.join(', ')})`);
  check(canaryHits.length === 0, `the canary heard nothing (${canaryHits.join(', ')})`);
  check(await page.title() !== 'pwned' && nativeDialogs === 0, 'no script of the letter ran');
  check(Number(await page.$eval(`tr[data-key="${hostileKey}"] td:nth-child(2)`, (td) => getComputedStyle(td).fontWeight)) < 600,
    'an opened letter is no longer bold');

  // The main page and the screenshot for the README.
  const plainKey = rows.find((r) => r.subject !== 'hostile letter').key;
  await page.click(`tr[data-key="${plainKey}"]`);
  await page.waitForTimeout(800);
  if (screenshot) await page.screenshot({ path: screenshot });

  // Delete to Recycle, then restore.
  await page.click(`tr[data-key="${hostileKey}"]`);
  await page.click('[data-action=delete]');
  check(await waitRows(page, (k) => !document.querySelector(`tr[data-key="${k}"]`), hostileKey), 'a deleted letter leaves the Inbox');
  await page.click('[data-folder=Recycle]');
  check(await waitRows(page, (k) => !!document.querySelector(`tr[data-key="${k}"]`), hostileKey), 'the deleted letter is in Recycle');
  await page.click(`tr[data-key="${hostileKey}"]`);
  await page.click('[data-action=restore]');
  check(await waitRows(page, (k) => !document.querySelector(`tr[data-key="${k}"]`), hostileKey), 'the restored letter leaves Recycle');
  await page.click('[data-folder=Inbox]');
  check(await waitRows(page, (k) => !!document.querySelector(`tr[data-key="${k}"]`), hostileKey), 'the restored letter is back in the Inbox');

  // A message box answered: removing for good is asked first; No keeps the letter.
  await page.click(`tr[data-key="${hostileKey}"]`);
  await page.click('[data-action=delete]');
  await waitRows(page, (k) => !document.querySelector(`tr[data-key="${k}"]`), hostileKey);
  await page.click('[data-folder=Recycle]');
  await waitRows(page, (k) => !!document.querySelector(`tr[data-key="${k}"]`), hostileKey);
  await page.click(`tr[data-key="${hostileKey}"]`);
  await page.click('[data-action=delete]');
  const box = await page.waitForSelector('[data-dialog=MsgBox]', { timeout: 5000 }).catch(() => null);
  check(box !== null, 'removing for good asks in a message box drawn in the page');
  if (box) {
    const buttons = await box.$$eval('button', (bs) => bs.map((b) => [b.dataset.answer, b === document.activeElement]));
    check(buttons.map((b) => b[0]).join() === '6,7' && buttons[1][1], 'the box has Yes and No, No by default');
    check(await box.$('[data-icon=exclamation]') !== null, 'the box shows its icon');
    await (await box.$('button[data-answer="7"]')).click();
    await page.waitForTimeout(500);
    check(!!(await page.$(`tr[data-key="${hostileKey}"]`)), 'answered No, the letter stays');
  }

  // A message box abandoned: the tab is closed while the question is open.
  const second = await browser.newPage();
  await second.goto(url);
  await second.click('[data-folder=Recycle]');
  await waitRows(second, (k) => !!document.querySelector(`tr[data-key="${k}"]`), hostileKey);
  await second.click(`tr[data-key="${hostileKey}"]`);
  await second.click('[data-action=delete]');
  check(await second.waitForSelector('[data-dialog=MsgBox]', { timeout: 5000 }).then(() => true, () => false),
    'the second page is asked too');
  await second.close();
  await page.waitForTimeout(500);
  await page.click('[data-folder=Inbox]');
  await page.click('[data-folder=Recycle]');
  check(await waitRows(page, (k) => !!document.querySelector(`tr[data-key="${k}"]`), hostileKey),
    'a closed tab answered Cancel: the letter stays, and the server still answers');

  // A long import shows its progress and stops on Stop, keeping what it stored.
  const many = [];
  for (let i = 0; i < 3000; ++i)
    many.push(`From a@example.org Mon Nov  2 09:15:00 2026\nFrom: a@example.org\nSubject: bulk ${i}\n\nletter ${i}\n`);
  const importing = page.evaluate((text) => {
    const dt = new DataTransfer();
    dt.items.add(new File([text], 'bulk.mbox'));
    document.dispatchEvent(new DragEvent('drop', { dataTransfer: dt, bubbles: true, cancelable: true }));
  }, many.join('\n'));
  await importing;
  const stop = await page.waitForSelector('[data-action=stop]:not([hidden])', { timeout: 10000 }).catch(() => null);
  check(stop !== null && await page.isVisible('[data-field=progress]'), 'a long import shows its progress and Stop');
  if (stop) await stop.click();
  check(await waitRows(page, () => /imported/.test(document.querySelector('[data-field=status]').textContent) &&
    document.querySelector('[data-action=stop]').hidden), 'the import ends');
  const told = await page.textContent('[data-field=status]');
  const stored = Number((told.match(/(\d+)/) || [])[1]);
  check(stored > 0 && stored < 3000, `Stop ends the import with what was stored (${told})`);

  // ---- refusals ----
  const host = `127.0.0.1:${port}`;
  check(await request(port, '/', { headers: { Host: host } }) === 404, 'no secret: refused');
  check(await request(port, `/${'0'.repeat(32)}/`, { headers: { Host: host } }) === 404, 'a wrong secret: refused');
  check(await request(port, `/${secret}/`, { headers: { Host: `evil.example:${port}` } }) === 421, 'a foreign Host: refused');
  check(await request(port, `/${secret}/`, { headers: { Host: host } }) === 200, 'the secret and our Host: served');
  const upgrade = (o, target = `/ws?secret=${secret}`) => request(port, target, { headers: {
    Host: host, Origin: o, Connection: 'Upgrade', Upgrade: 'websocket', 'Sec-WebSocket-Version': '13',
    'Sec-WebSocket-Key': 'dGhlIHNhbXBsZSBub25jZQ==' } });
  check(await upgrade('http://evil.example') === 403, 'a WebSocket from a foreign Origin: refused');
  check(await upgrade(origin, '/ws') === 404, 'a WebSocket without the secret: refused');
  check(await upgrade(origin) === 101, 'a WebSocket from our own page: accepted');
  check(await request(port, `/${secret}/import?name=x.eml`, { method: 'POST', body: 'Subject: x\r\n\r\nx',
    headers: { Host: host, Origin: 'http://evil.example' } }) === 403, 'an import from a foreign Origin: refused');
  check(await request(port, `/${secret}/import?name=x.eml`, { headers: { Host: host } }) === 405, 'an import by GET: refused');

  // ---- Quit: the server stops and the extracted files go ----
  await page.click('[data-action=quit]');
  const code = await Promise.race([server.exited, new Promise((r) => setTimeout(() => r('timeout'), 10000))]);
  check(code === 0, `Quit stops the server (${code}: ${server.stderr().trim()})`);
  const leftovers = ['mFiles', 'tmpFiles'].flatMap((d) => (fs.existsSync(path.join(home, d)) ? fs.readdirSync(path.join(home, d)) : []));
  check(leftovers.length === 0, `the extracted files are cleared (${leftovers.join(', ')})`);
  if (code !== 0) server.child.kill('SIGKILL');

  // ---- a folder of 100,000 letters, a page at a time ----
  const big = newHome();
  run(big, 'import', path.join(sourceDir, 'samples', 'plain.eml'));
  const filled = spawnSync('/usr/bin/python3', ['-c', `
import sqlite3, sys
db = sqlite3.connect(sys.argv[1])
# The store's text collation ignores case; the letters here are plain ASCII.
db.create_collation("RVTEXT", lambda a, b: (a.lower() > b.lower()) - (a.lower() < b.lower()))
db.executemany('INSERT INTO Letters (Subject, "From", "To", MailFolder, DateReceived, Read, Size) VALUES (?,?,?,?,?,?,?)',
  (("Letter %d" % i, "s%d@example.org" % (i % 300), "me@example.org", "Inbox", 43000 + i / 50.0, i % 3 == 0, 1000) for i in range(100000)))
db.commit()`, path.join(big, 'EmailW.mdb')], { encoding: 'utf8' });
  check(filled.status === 0, `100,000 letters were written (${filled.stderr.trim()})`);
  const bigServer = serve(big);
  const bigPage = await browser.newPage();
  await bigPage.goto(await bigServer.url);
  check(await waitRows(bigPage, () => document.querySelectorAll('[data-list=letters] tbody tr').length > 0), 'the big Inbox shows its first page');
  const first = await rowsOf(bigPage);
  check(first[0].subject === 'Letter 99999', `the newest letter comes first (${first[0] && first[0].subject})`);
  let last = first;
  for (let i = 0; i < 3; ++i) {
    await bigPage.click('[data-action=next]');
    await waitRows(bigPage, (k) => !document.querySelector(`tr[data-key="${k}"]`), last[0].key);
    const next = await rowsOf(bigPage);
    check(next.length === first.length && next[0].key === last[last.length - 1].key - 1, `page ${i + 2} follows page ${i + 1}`);
    last = next;
  }
  check(/4/.test(await bigPage.textContent('[data-field=page]')), 'the page number is shown');
  await bigPage.click('[data-action=previous]');
  await waitRows(bigPage, (k) => !document.querySelector(`tr[data-key="${k}"]`), last[0].key);
  check((await rowsOf(bigPage))[0].key === last[0].key + first.length, 'back one page');
  bigServer.child.kill('SIGINT');
  check(await Promise.race([bigServer.exited, new Promise((r) => setTimeout(() => r('timeout'), 10000))]) === 0,
    'Ctrl-C stops the server cleanly');
} finally {
  await browser.close();
  canary.close();
  for (const child of servers) if (child.exitCode === null && child.signalCode === null) child.kill('SIGKILL');
  for (const h of homes) fs.rmSync(h, { recursive: true, force: true });
}
finish();
console.log('all browser checks passed');
