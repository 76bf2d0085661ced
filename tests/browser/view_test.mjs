// Letters' pages in a real browser (Debian's chromium, driven by playwright-core):
// a hostile letter shown through `ravelin view` runs no script and makes no request
// outside the viewer's origin; the saved letter and pack pages show every image.
// Usage: node view_test.mjs RAVELIN_PROGRAM. Exit 77 (skipped) when the browser can't start.
import { spawn, spawnSync } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';

import { check, finish, launchBrowser, startCanary } from './harness.mjs';

const program = process.argv[2];
if (!program) { console.error('usage: node view_test.mjs RAVELIN_PROGRAM'); process.exit(2); }

const home = fs.mkdtempSync(path.join(os.tmpdir(), 'ravelin-browser-'));

// A server that must never hear from the browser.
const canary = await startCanary();
const canaryHits = canary.hits;
const c = canary.url;

const png = Buffer.from('iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mP8z8BQDwAEhQGAhKmMIQAAAABJRU5ErkJggg==', 'base64');
const b64 = (s) => Buffer.from(s).toString('base64').replace(/(.{76})/g, '$1\r\n');
const hostile = [
  'From: Mallory <mallory@example.org>', 'To: me@example.org', 'Subject: hostile', 'Date: Mon, 2 Nov 2026 09:15:00 +0000',
  'MIME-Version: 1.0', 'Content-Type: multipart/mixed; boundary="M"', '',
  '--M', 'Content-Type: multipart/related; boundary="R"', '',
  '--R', 'Content-Type: text/html; charset="utf-8"', '',
  `<html><head><meta http-equiv="refresh" content="0;url=${c}/refresh"><link rel="stylesheet" href="${c}/style.css">`,
  `<script>fetch("${c}/script");document.title="pwned"</script></head><body>`,
  `<p>Hello</p><img id="pic" src="cid:pic@x"><img src="${c}/remote.png"><img src="nope" onerror="fetch('${c}/onerror')">`,
  `<form action="${c}/form" method="post"><input name="q" value="1"></form>`,
  `<iframe src="${c}/frame"></iframe><object data="${c}/object"></object>`,
  `<div style="background:url(${c}/bg.png)">x</div></body></html>`,
  '--R', 'Content-Type: image/png', 'Content-ID: <pic@x>', 'Content-Disposition: inline; filename="pic.png"',
  'Content-Transfer-Encoding: base64', '', b64(png),
  '--R--', '',
  '--M', 'Content-Type: image/svg+xml', 'Content-Disposition: attachment; filename="evil.svg"', '',
  `<svg xmlns="http://www.w3.org/2000/svg" onload="fetch('${c}/svg')"><script>fetch("${c}/svg2")</script></svg>`,
  '--M--', ''].join('\r\n');
const emlPath = path.join(home, 'hostile.eml');
fs.writeFileSync(emlPath, hostile);

const run = (...args) => spawnSync(program, ['--home', home, ...args], { encoding: 'utf8' });
const imported = JSON.parse(run('import', emlPath, '--json').stdout);
const key = String(imported[0].key);

const browser = await launchBrowser(() => canary.close());

try {
  // ---- the hostile letter through the viewer ----
  const viewer = spawn(program, ['--home', home, 'view', key, '--no-open'], { stdio: ['ignore', 'pipe', 'pipe'] });
  const url = await new Promise((resolve, reject) => {
    let out = '';
    viewer.stdout.on('data', (d) => { out += d; const m = out.match(/^(http:\/\/127\.0\.0\.1:\d+\/[0-9a-f]+\/)\n/); if (m) resolve(m[1]); });
    viewer.on('exit', (code) => reject(new Error(`view exited with ${code}`)));
  });
  const origin = new URL(url).origin;
  const page = await browser.newPage();
  const requests = [];
  const images = [];
  let dialogs = 0;
  // Requests the browser actually made; those the policy blocked never leave it.
  page.on('requestfinished', (r) => requests.push(r.url()));
  page.on('response', (r) => { if (r.request().resourceType() === 'image') images.push([r.url(), r.status()]); });
  page.on('dialog', (d) => { dialogs++; d.dismiss(); });
  await page.goto(url);
  await page.waitForTimeout(1500);
  const outside = requests.filter((u) => !u.startsWith(origin + '/') && !u.startsWith('data:'));
  check(outside.length === 0, `no request outside the viewer (${outside.join(', ')})`);
  check(canaryHits.length === 0, `the canary heard nothing (${canaryHits.join(', ')})`);
  check(dialogs === 0, 'no dialog opened');
  check((await page.title()) !== 'pwned', 'no script ran in the page');
  check(images.some(([u, s]) => u.endsWith('/f/m/pic.png') && s === 200), 'the inline image came from the file route');
  // The SVG attachment is a download, never a document.
  const svgUrl = `${url}f/m/evil.svg`;
  const context = await browser.newContext({ acceptDownloads: true });
  const svgPage = await context.newPage();
  const [download] = await Promise.all([
    svgPage.waitForEvent('download', { timeout: 5000 }).catch(() => null),
    svgPage.goto(svgUrl).catch(() => null),
  ]);
  await svgPage.waitForTimeout(500);
  check(download !== null && download.suggestedFilename() === 'evil.svg', 'the SVG attachment comes as a download');
  await context.close();
  check(canaryHits.length === 0, 'the SVG ran nothing');
  viewer.kill('SIGINT');

  // ---- saved pages show every image (a benign letter with two pictures, alone and in a pack) ----
  const benign = [
    'From: Ann <ann@example.org>', 'To: me@example.org', 'Subject: pictures', 'Date: Mon, 2 Nov 2026 09:15:00 +0000',
    'MIME-Version: 1.0', 'Content-Type: multipart/related; boundary="R"', '',
    '--R', 'Content-Type: text/html; charset="utf-8"', '',
    '<html><body><p>Two pictures</p><img src="cid:one@x"><img src="cid:two@x"></body></html>',
    '--R', 'Content-Type: image/png', 'Content-ID: <one@x>', 'Content-Disposition: inline; filename="one.png"',
    'Content-Transfer-Encoding: base64', '', b64(png),
    '--R', 'Content-Type: image/png', 'Content-ID: <two@x>', 'Content-Disposition: inline; filename="two.png"',
    'Content-Transfer-Encoding: base64', '', b64(png),
    '--R--', ''].join('\r\n');
  fs.writeFileSync(path.join(home, 'benign.eml'), benign);
  const figures = String(JSON.parse(run('import', path.join(home, 'benign.eml'), '--json').stdout)[0].key);
  const made = spawnSync('/usr/bin/python3', ['-c', `
import sqlite3, sys
db = sqlite3.connect(sys.argv[1])
cur = db.execute("INSERT INTO Packs (Name, Deleted) VALUES ('Figures', 0)")
db.execute("INSERT INTO PackItems (Pack_N, Msg_N) VALUES (?, ?)", (cur.lastrowid, int(sys.argv[2])))
db.commit()
print(cur.lastrowid)`, path.join(home, 'EmailW.mdb'), figures], { encoding: 'utf8' });
  const pack = made.stdout.trim();
  check(made.status === 0 && pack !== '', `a pack was made for the report (${made.stderr.trim()})`);
  for (const [what, args, file] of [
    ['letter', ['html', figures, '--save', path.join(home, 'letter.htm')], 'letter.htm'],
    ['pack', ['pack-report', pack, '--save', path.join(home, 'pack.htm')], 'pack.htm'],
  ]) {
    const r = run(...args);
    check(r.status === 0, `the ${what} page was saved (${r.stderr.trim()})`);
    const saved = await browser.newPage();
    await saved.goto('file://' + path.join(home, file));
    const broken = await saved.evaluate(() => [...document.images].filter((i) => !i.complete || i.naturalWidth === 0).map((i) => i.src));
    const count = await saved.evaluate(() => document.images.length);
    const local = await saved.evaluate(() => [...document.images].filter((i) => i.src.startsWith('file:')).length);
    check(local === 2, `the saved ${what} page has its two images beside it (${local})`);
    check(broken.filter((s) => s.startsWith('file:')).length === 0, `every local image of the saved ${what} page shows (${count} images)`);
  }
} finally {
  await browser.close();
  canary.close();
  fs.rmSync(home, { recursive: true, force: true });
}
finish();
console.log('all browser checks passed');
