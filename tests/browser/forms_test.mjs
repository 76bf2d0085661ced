// The sample form in a real browser (Debian's chromium, driven by playwright-core), served
// by `ravelin serve`: every control kind is drawn, every event reaches its handler and
// the handler's changes come back; a modal form answered and one abandoned by closing the
// tab; the page loads nothing from outside and breaks none of its own policy.
// Usage: node forms_test.mjs RAVELIN_PROGRAM. Exit 77 (skipped) when the browser can't start.
import { spawn } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import readline from 'node:readline';

import { check, finish, launchBrowser } from './harness.mjs';

const program = process.argv[2];
if (!program) { console.error('usage: node forms_test.mjs RAVELIN_PROGRAM'); process.exit(2); }

const home = fs.mkdtempSync(path.join(os.tmpdir(), 'ravelin-forms-'));

// The server prints its address on the first line.
const server = spawn(program, ['--home', home, 'serve'], { stdio: ['ignore', 'pipe', 'pipe'] });
server.stderr.on('data', () => {});
const url = await new Promise((resolve, reject) => {
  const timer = setTimeout(() => reject(new Error('the server printed no address')), 20000);
  readline.createInterface({ input: server.stdout }).once('line', (line) => { clearTimeout(timer); resolve(line.trim()); });
  server.once('exit', (code) => reject(new Error(`the server ended with ${code}`)));
});
const origin = new URL(url).origin;
const formUrl = new URL('form/sample', url).href;

const browser = await launchBrowser(() => server.kill('SIGTERM'));

const outside = [];
const problems = [];
const context = await browser.newContext();
context.on('request', (r) => { if (!r.url().startsWith(origin) && !/^(data|about):/.test(r.url())) outside.push(r.url()); });

async function openSample() {
  const page = await context.newPage();
  page.on('console', (m) => { if (m.type() === 'error') problems.push(m.text()); });
  page.on('pageerror', (e) => problems.push(e.message));
  await page.goto(formUrl);
  const form = page.locator('[data-form="frmSample"]');
  await form.waitFor({ timeout: 10000 });
  return { page, form };
}

const ctl = (scope, name) => scope.locator(`[data-control="${name}"]`);
const eventually = async (fn, what, timeout = 5000) => {
  const end = Date.now() + timeout;
  let last;
  while (Date.now() < end) {
    try { last = await fn(); if (last === true) return check(true, what); } catch (e) { last = e.message; }
    await new Promise((r) => setTimeout(r, 50));
  }
  check(false, `${what} (last: ${JSON.stringify(last)})`);
};

try {
  const { page, form } = await openSample();
  const status = () => ctl(form, 'StatusBar1').locator('[data-panel="0"]').innerText();
  const statusIs = (text, what) => eventually(async () => (await status()) === text || await status(), what);

  // Every kind is drawn, each under its logic's name.
  const kinds = await form.locator('[data-control]').evaluateAll((es) => [...new Set(es.map((e) => e.dataset.kind))]);
  check(kinds.length === 16, `every control kind is drawn (${kinds.sort().join(', ')})`);
  check(await ctl(form, 'StatusBar1').locator('[data-panel="1"]').innerText() === 'Ready', 'state set in Load is drawn');

  // Text box: KeyPress, then Change; the handler's label and preview come back.
  await ctl(form, 'txtName').locator('input').pressSequentially('Ann');
  await eventually(async () => (await ctl(form, 'lblEcho').innerText()) === 'Hello, Ann', 'TextBox Change: the handler echoes the text');
  check(await ctl(form, 'lblKey').innerText() === 'n', 'TextBox KeyPress: the last key reaches the handler');
  await eventually(async () => (await page.frameLocator('[data-control="DHTMLEdit1"]').locator('b').innerText()) === 'Ann',
    'HtmlFrame: the document set by the handler is shown');
  await ctl(form, 'lblEcho').click();
  await statusIs('txtName left', 'TextBox LostFocus');

  // Check box, option buttons, combo box.
  await ctl(form, 'chkKeepOpen').locator('input').click();
  await statusIs('Closing is refused', 'CheckBox Click with its value');
  await ctl(form, 'optHtml').locator('input').click();
  await statusIs('Format: HTML', 'OptionButton Click');
  check(!(await ctl(form, 'optPlain').locator('input').isChecked()), 'OptionButton: the other of the group is cleared');
  await ctl(form, 'cmbColour').locator('select').selectOption({ label: 'Blue' });
  await statusIs('Colour chosen: Blue', 'ComboBox Click on an entry');
  await ctl(form, 'cmbColour').locator('input').fill('Teal');
  await statusIs('Colour typed: Teal', 'ComboBox Change when typed');

  // List view: item click selects, double click, check box, column sorting.
  const rows = ctl(form, 'LvwItems').locator('tbody tr');
  await rows.filter({ hasText: 'alpha.txt' }).locator('.rv-item-text').click();
  await statusIs('Item: alpha.txt', 'ListView ItemClick');
  await eventually(async () => await ctl(form, 'Toolbar1').locator('button[data-key="Remove"]').isEnabled(),
    'the handler enables the toolbar button');
  // A double click is two clicks first: beta is the chosen item from here on.
  await rows.filter({ hasText: 'beta.txt' }).locator('.rv-item-text').dblclick();
  await statusIs('Opened: beta.txt', 'ListView DblClick');
  await rows.filter({ hasText: 'beta.txt' }).locator('input[type=checkbox]').click();
  await statusIs('beta.txt checked', 'ListView ItemCheck');
  await ctl(form, 'LvwItems').locator('th[data-key="Name"]').click();
  await statusIs('Sorted by column 0', 'ListView ColumnClick');
  await eventually(async () => (await rows.locator('.rv-item-text').allInnerTexts()).join() === 'alpha.txt,beta.txt,Gamma.txt',
    'ListView: sorted by name, case ignored');
  await ctl(form, 'LvwItems').locator('th[data-key="Name"]').click();
  await eventually(async () => (await rows.locator('.rv-item-text').allInnerTexts()).join() === 'Gamma.txt,beta.txt,alpha.txt',
    'ListView: a second click sorts descending');
  check(await rows.filter({ hasText: 'beta.txt' }).getAttribute('class') === 'rv-selected', 'ListView: the selection follows its item');

  // Tree view.
  const tree = ctl(form, 'tvFolders');
  await tree.locator('.rv-node-text', { hasText: 'Clients' }).click();
  await statusIs('Folder: Clients', 'TreeView ItemClick');
  await tree.locator('.rv-node-text', { hasText: 'Projects' }).dblclick();
  await eventually(async () => !(await tree.locator('li[data-key="root"]').getAttribute('class')).includes('rv-expanded'),
    'TreeView DblClick: the handler collapses the node');

  // Tab strip: pages show the controls placed on them.
  check(await ctl(form, 'txtNotes').isHidden(), 'a control on another tab page is hidden');
  await ctl(form, 'SSTab1').getByRole('tab', { name: 'Attachments' }).click();
  await statusIs('Tab: Attachments', 'TabStrip TabChange');
  await eventually(async () => await ctl(form, 'txtNotes').isVisible(), 'the page\'s control shows with its tab');
  await ctl(form, 'txtNotes').locator('textarea').fill('two\nlines');
  await statusIs('Notes: 9 characters', 'multi-line TextBox Change');
  await ctl(form, 'SSTab1').getByRole('tab', { name: 'Projects' }).click();
  await eventually(async () => await ctl(form, 'txtPassword').isVisible(), 'the third page shows the password box');
  check(await ctl(form, 'txtPassword').locator('input').getAttribute('type') === 'password', 'password TextBox hides its text');
  await ctl(form, 'txtPassword').locator('input').fill('secret');
  await statusIs('Password: 6 characters', 'password TextBox Change');

  // Toolbar, progress bar.
  const toolbar = ctl(form, 'Toolbar1');
  check(await toolbar.locator('button[data-key="Add"]').getAttribute('title') === 'Add an item', 'Toolbar: tool tips');
  await toolbar.locator('button[data-key="Step"]').click();
  await statusIs('Progress 1', 'Toolbar Click');
  await eventually(async () => (await ctl(form, 'Progressbar1').getAttribute('data-value')) === '1', 'ProgressBar shows the value');
  await toolbar.locator('button[data-key="Bold"]').click();
  await statusIs('Bold on', 'Toolbar check button');
  check(await toolbar.locator('button[data-key="Bold"]').getAttribute('aria-pressed') === 'true', 'Toolbar: the check button stays pressed');
  await eventually(async () => (await rows.filter({ hasText: 'beta.txt' }).getAttribute('class')).includes('rv-bold'),
    'ListView: the handler bolds the selected item');
  await toolbar.locator('button[data-key="Add"]').click();
  await eventually(async () => (await rows.count()) === 4, 'Toolbar Add: the list grows');
  await toolbar.locator('button[data-key="Remove"]').click();
  await eventually(async () => (await rows.count()) === 3 && (await rows.filter({ hasText: 'beta.txt' }).count()) === 0,
    'Toolbar Remove: the selected item goes');

  // Timer: started from the toolbar, stopped by its handler after three ticks.
  await toolbar.locator('button[data-key="Clock"]').click();
  await eventually(async () => (await ctl(form, 'lblTicks').innerText()) === '3', 'Timer ticks reach the handler');
  await new Promise((r) => setTimeout(r, 600));
  check(await ctl(form, 'lblTicks').innerText() === '3', 'Timer: stopped by its handler');

  // Popup menu with a radio group, from the toolbar's drop-down.
  await toolbar.locator('button.rv-dropdown-arrow[data-key="View"]').click();
  const menu = ctl(form, 'mnView');
  await eventually(async () => await menu.isVisible(), 'Toolbar ButtonDropDown: the handler pops the menu up');
  await menu.getByRole('menuitemradio', { name: 'List' }).click();
  await statusIs('Menu: List, view List', 'Menu MenuClick; the radio group checks the item');
  check(await menu.isHidden(), 'the menu closes after a choice');
  check(await menu.locator('[data-key="List"]').getAttribute('aria-checked') === 'true'
    && await menu.locator('[data-key="Report"]').getAttribute('aria-checked') === 'false', 'Menu: one checked item in the group');

  // Picture box.
  const picture = ctl(form, 'picLogo');
  check(await picture.locator('img').evaluate((i) => i.complete && i.naturalWidth > 0), 'PictureBox shows its picture');
  await picture.click();
  await statusIs('Picture clicked', 'PictureBox Click');
  await picture.dblclick();
  await statusIs('Picture double-clicked', 'PictureBox DblClick');

  // HTML frame: a link is reported, not followed; in edit mode the user's edit comes back.
  const frame = page.frameLocator('[data-control="DHTMLEdit1"]');
  await frame.locator('a').click();
  await statusIs('Link: https://example.org/', 'HtmlFrame Click on a link');
  await ctl(form, 'chkEdit').locator('input').click();
  await eventually(async () => (await ctl(form, 'DHTMLEdit1').getAttribute('data-edit')) === 'true', 'HtmlFrame EditMode on');
  await frame.locator('b').click();
  await page.keyboard.type('!');
  await eventually(async () => /^Edited: Hello, A.*!/.test(await status()), 'HtmlFrame Change when edited');

  // A modal form inside a handler: drawn over the page, answered with Enter.
  await ctl(form, 'cmdAsk').click();
  const ask = page.locator('[data-form="frmSampleAsk"]');
  await ask.waitFor({ timeout: 5000 });
  check(await status() === 'Asking', 'what the handler set before the modal form is drawn first');
  check(await ctl(ask, 'txtAnswer').locator('input').inputValue() === 'Ann', 'the modal form comes prefilled');
  await ctl(ask, 'txtAnswer').locator('input').fill('Yes');
  await ctl(ask, 'txtAnswer').locator('input').press('Enter');
  await eventually(async () => (await ctl(form, 'lblAnswer').innerText()) === 'OK: Yes', 'the modal form\'s answer reaches the waiting handler');
  check(await ask.count() === 0, 'the modal form is gone');
  await ctl(form, 'cmdAsk').click();
  await ask.waitFor({ timeout: 5000 });
  await ctl(ask, 'txtAnswer').locator('input').press('Escape');
  await eventually(async () => (await ctl(form, 'lblAnswer').innerText()) === 'Cancel', 'Escape presses the Cancel button');

  // Closing: QueryUnload refuses while the box is checked, then lets the form go.
  await form.locator('.rv-form-close').click();
  await statusIs('Closing refused', 'QueryUnload may cancel the close');
  check(await form.count() === 1, 'the refused form stays');
  await ctl(form, 'chkKeepOpen').locator('input').click();
  await statusIs('Closing is allowed', 'the check box clears');
  await form.locator('.rv-form-close').click();
  await eventually(async () => (await form.count()) === 0, 'the form closes');
  await page.close();

  // A modal form abandoned by closing the tab: the server goes on serving other pages.
  const second = await openSample();
  await ctl(second.form, 'cmdAsk').click();
  await second.page.locator('[data-form="frmSampleAsk"]').waitFor({ timeout: 5000 });
  await second.page.close();
  const third = await openSample();
  await ctl(third.form, 'txtName').locator('input').fill('Bea');
  await eventually(async () => (await ctl(third.form, 'lblEcho').innerText()) === 'Hello, Bea',
    'after a tab closed on a modal form, the server still answers');
  await third.page.close();
} catch (e) {
  check(false, `the run ended early: ${e.message}`);
} finally {
  await browser.close();
  server.kill('SIGTERM');
}

check(outside.length === 0, `nothing is loaded from outside the server (${outside.join(' ')})`);
check(problems.length === 0, `no script errors or policy violations (${problems.join(' | ')})`);
await new Promise((r) => (server.exitCode !== null ? r() : server.once('exit', r)));
check(server.exitCode === 0, 'the server stops cleanly on SIGTERM');
fs.rmSync(home, { recursive: true, force: true });
finish();
console.log('all passed');
