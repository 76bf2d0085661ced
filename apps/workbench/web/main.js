// The main page: mail folders, the project tree of both roots and the packs on the left;
// the letters of the chosen place a page at a time, a toolbar and the chosen letter's
// document on the right. The logic is the server's; this draws what it sends and reports
// what the user did. Every text comes from the server (main.init's texts).
import { base, connect } from './session.js';
import { install as installDialogs } from './dialogs.js';
import { el } from './dom.js';

const session = connect();
installDialogs(session);

let T = {};                       // the page's texts
let place = { kind: 'folder', folder: 'Inbox' };
let page = 1;
let rows = [];
let more = false;
const selected = new Set();       // keys
let anchor = null;                // the last row clicked, for Shift ranges

const fill = (text, ...args) => args.reduce((t, a, i) => t.replaceAll(`%${i + 1}`, String(a)), text || '');

// ---- the frame of the page ----

const root = document.getElementById('root');
const title = el('h1', { className: 'title' });
const status = el('span', { className: 'status', dataset: { field: 'status' } });
const progress = el('progress', { max: 1, value: 0, hidden: true, dataset: { field: 'progress' } });
const stopButton = el('button', { type: 'button', hidden: true, dataset: { action: 'stop' }, onclick: () => session.send({ op: 'main.stop' }) });
const quitButton = el('button', { type: 'button', dataset: { action: 'quit' }, onclick: () => session.send({ op: 'quit' }) });
const folders = el('ul', { className: 'folders', dataset: { list: 'folders' } });
const projects = el('div', { className: 'projects', dataset: { list: 'projects' } });
const packs = el('ul', { className: 'packs', dataset: { list: 'packs' } });
const headFolders = el('h2'), headProjects = el('h2'), headPacks = el('h2');
const caption = el('h2', { className: 'caption', dataset: { field: 'caption' } });
const toolbar = el('div', { className: 'toolbar' });
const button = (action, fn) => el('button', { type: 'button', dataset: { action }, onclick: fn });
const deleteButton = button('delete', () => act('main.delete'));
const restoreButton = button('restore', () => act('main.restore'));
const reportButton = button('report', () => session.send({ op: 'main.report', pack: place.pack }));
const prevButton = button('previous', () => { if (page > 1) list(page - 1); });
const nextButton = button('next', () => { if (more) list(page + 1); });
const pageLabel = el('span', { className: 'page', dataset: { field: 'page' } });
toolbar.append(deleteButton, restoreButton, reportButton, prevButton, pageLabel, nextButton);
const table = el('table', { className: 'letters', dataset: { list: 'letters' } });
const thead = el('thead');
const tbody = el('tbody');
table.append(thead, tbody);
const empty = el('div', { className: 'empty', hidden: true });
const viewer = el('iframe', {
  className: 'document', name: 'document', referrerPolicy: 'no-referrer', dataset: { field: 'document' },
});
// The letter's own HTML is hostile: no script, no form, nothing of this page's origin.
viewer.setAttribute('sandbox', 'allow-popups allow-popups-to-escape-sandbox');
const dropHint = el('div', { className: 'drop-hint' });

root.append(
  el('header', {}, title, el('div', { className: 'activity' }, status, progress, stopButton, quitButton)),
  el('nav', {}, headFolders, folders, headProjects, projects, headPacks, packs),
  el('main', {}, el('div', { className: 'listpane' }, caption, toolbar, el('div', { className: 'scroll' }, table, empty)),
    viewer, dropHint));

// ---- what the server sends ----

session.on('main.init', (m) => {
  T = m.texts || {};
  document.title = T.Title || 'Ravelin';
  title.textContent = T.Title;
  headFolders.textContent = T.Folders;
  headProjects.textContent = T.Projects;
  headPacks.textContent = T.Packs;
  stopButton.textContent = T.Stop;
  quitButton.textContent = T.Quit;
  deleteButton.textContent = T.Delete;
  restoreButton.textContent = T.Restore;
  reportButton.textContent = T.Report;
  prevButton.textContent = `\u2039 ${T.Previous}`;
  nextButton.textContent = `${T.Next} \u203a`;
  dropHint.textContent = T.Drop;
  empty.textContent = T.Empty;
  thead.replaceChildren(el('tr', {}, el('th', { text: T.From }), el('th', { text: T.Subject }),
    el('th', { text: T.Date }), el('th', { text: T.Size })));
  folders.replaceChildren(...m.folders.map((f) => placeItem(el('li', { text: f.caption, dataset: { folder: f.name } }),
    { kind: 'folder', folder: f.name })));
  projects.replaceChildren(tree(m.projects || []));
  packs.replaceChildren(...(m.packs || []).map((p) => placeItem(el('li', { text: p.name || `#${p.number}`, dataset: { pack: String(p.number) } }),
    { kind: 'pack', pack: p.number })));
  list(page);
});

session.on('main.list', (m) => {
  rows = m.rows || [];
  page = m.page || 1;
  more = !!m.more;
  caption.textContent = m.caption || '';
  for (const k of [...selected]) if (!rows.some((r) => r.key === k)) selected.delete(k);
  drawRows();
});

session.on('main.doc', (m) => { viewer.src = m.url; viewer.title = m.title || ''; });
session.on('main.changed', () => { refreshPacks(); list(page); });
session.on('main.status', (m) => { status.textContent = m.text || ''; });
session.on('main.progress', (m) => {
  const running = m.max > 0;
  progress.hidden = !running;
  stopButton.hidden = !running;
  if (running) { progress.max = m.max; progress.value = m.value; }
});
const ended = (text) => {
  document.body.classList.add('stopped');
  status.textContent = text;
  for (const b of document.querySelectorAll('button')) b.disabled = true;
};
session.on('stopped', () => ended(T.Closed || 'The workbench has stopped.'));
session.on('closed', () => { if (!document.body.classList.contains('stopped')) ended(T.Lost || 'The connection was lost.'); });

// ---- the places ----

function samePlace(a, b) {
  return a.kind === b.kind && a.folder === b.folder && a.project === b.project && !!a.archive === !!b.archive && a.pack === b.pack;
}

function placeItem(item, where) {
  item.tabIndex = 0;
  item.classList.add('place');
  item.placeRef = where;
  item.classList.toggle('current', samePlace(where, place));
  const choose = () => {
    place = where;
    selected.clear();
    for (const x of document.querySelectorAll('.place')) x.classList.toggle('current', x === item);
    list(1);
  };
  item.addEventListener('click', (e) => { e.stopPropagation(); choose(); });
  item.addEventListener('keydown', (e) => { if (e.key === 'Enter') choose(); });
  return item;
}

function tree(nodes) {
  return el('ul', { className: 'tree' }, ...nodes.map((n) => {
    const label = placeItem(el('span', { text: n.name, dataset: { project: n.project, archive: String(!!n.archive) } }),
      { kind: 'project', project: n.project, archive: !!n.archive });
    return el('li', {}, label, n.children && n.children.length ? tree(n.children) : null);
  }));
}

function refreshPacks() { session.send({ op: 'main.init' }); }

function list(n) { session.send({ op: 'main.list', place, page: n }); }

// ---- the letters ----

function shownDate(serial) {
  if (serial == null) return '';
  const d = new Date(Math.round((serial - 25569) * 86400000));
  return d.toLocaleString(undefined, { dateStyle: 'short', timeStyle: 'short' });
}

function drawRows() {
  tbody.replaceChildren(...rows.map((r) => {
    const tr = el('tr', { tabIndex: 0, dataset: { key: String(r.key), folder: r.folder } },
      el('td', { text: r.from }), el('td', { text: r.subject }), el('td', { text: shownDate(r.date) }),
      el('td', { className: 'num', text: String(r.size) }));
    tr.classList.toggle('unread', !r.read);
    tr.classList.toggle('selected', selected.has(r.key));
    tr.addEventListener('click', (e) => choose(r.key, e));
    tr.addEventListener('dblclick', () => open(r.key));
    tr.addEventListener('keydown', (e) => {
      if (e.key === 'Enter') open(r.key);
      if (e.key === 'Delete') act('main.delete');
    });
    return tr;
  }));
  empty.hidden = rows.length > 0;
  pageLabel.textContent = fill(T.Page, page);
  prevButton.disabled = page <= 1;
  nextButton.disabled = !more;
  reportButton.hidden = place.kind !== 'pack';
  restoreButton.hidden = !(place.kind === 'folder' && place.folder === 'Recycle');
}

function choose(key, e) {
  if (e.shiftKey && anchor != null) {
    const a = rows.findIndex((r) => r.key === anchor), b = rows.findIndex((r) => r.key === key);
    for (let i = Math.min(a, b); i <= Math.max(a, b); ++i) if (i >= 0) selected.add(rows[i].key);
  } else if (e.ctrlKey || e.metaKey) {
    if (selected.has(key)) selected.delete(key); else selected.add(key);
  } else {
    selected.clear();
    selected.add(key);
    open(key);
  }
  anchor = key;
  for (const tr of tbody.children) tr.classList.toggle('selected', selected.has(Number(tr.dataset.key)));
}

function open(key) {
  session.send({ op: 'main.open', key });
  const r = rows.find((x) => x.key === key);
  if (r) r.read = true;
  const tr = tbody.querySelector(`tr[data-key="${key}"]`);
  if (tr) tr.classList.remove('unread');
}

function act(op) {
  if (selected.size === 0) { status.textContent = T.NoSelection; return; }
  session.send({ op, keys: [...selected] });
  selected.clear();
  viewer.removeAttribute('src');
}

// ---- import by dropping files ----

document.addEventListener('dragover', (e) => { e.preventDefault(); document.body.classList.add('dropping'); });
document.addEventListener('dragleave', (e) => { if (!e.relatedTarget) document.body.classList.remove('dropping'); });
document.addEventListener('drop', async (e) => {
  e.preventDefault();
  document.body.classList.remove('dropping');
  const files = [...(e.dataTransfer?.files || [])];
  for (const f of files) await importFile(f);
});

// Stores one file (.eml or mbox); the answer tells what was stored.
export async function importFile(file) {
  const res = await fetch(`${base}import?name=${encodeURIComponent(file.name)}`, {
    method: 'POST', body: file, headers: { 'Content-Type': 'application/octet-stream' },
  });
  const answer = await res.json().catch(() => ({}));
  if (answer.message) status.textContent = answer.message;
  return answer;
}

session.send({ op: 'main.init' });
