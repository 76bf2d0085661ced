// The dialogs a handler asks of the page: message box, input box, message window, the
// letter and pack pickers, the folder chooser, and the open and save file dialogs (which
// only ever see the user's home). Each one is modal in the page and ends with exactly one
// {"op":"answer","id":N,"value":...}; the server takes a page that goes away as Cancel.

import { el } from './dom.js';

const OK = 1, CANCEL = 2, ABORT = 3, RETRY = 4, IGNORE = 5, YES = 6, NO = 7;
const BUTTONS = {
  0: [OK], 1: [OK, CANCEL], 2: [ABORT, RETRY, IGNORE], 3: [YES, NO, CANCEL], 4: [YES, NO], 5: [RETRY, CANCEL],
};
const CAPTION_KEYS = { [OK]: 'OK', [CANCEL]: 'Cancel', [ABORT]: 'Abort', [RETRY]: 'Retry', [IGNORE]: 'Ignore', [YES]: 'Yes', [NO]: 'No' };
const ICONS = { 16: ['critical', '\u26d4'], 32: ['question', '?'], 48: ['exclamation', '\u26a0'], 64: ['information', '\u2139'] };


// The buttons of a message box by its style, its icon and its default button.
export function msgBoxLayout(style) {
  const buttons = BUTTONS[style & 7] || BUTTONS[0];
  const icon = ICONS[style & 0x70] || null;
  const index = (style & 0x300) >> 8;
  return { buttons, icon, defaultAnswer: buttons[Math.min(index, buttons.length - 1)] };
}

export function install(session) {
  const open = new Map();  // id -> { box, finish }
  const caption = (m, key, fallback) => (m.texts && m.texts[key]) || fallback;

  const frame = (m, kind, body, buttons) => {
    const overlay = el('div', { className: 'dialog-overlay', dataset: { dialog: kind, dialogId: String(m.id) } });
    const box = el('div', { className: 'dialog', role: 'dialog', ariaModal: 'true' },
      el('div', { className: 'dialog-title', text: m.title || '' }), body, el('div', { className: 'dialog-buttons' }, ...buttons));
    overlay.append(box);
    document.body.append(overlay);
    return overlay;
  };
  const start = (m, kind, body, buttons, cancelValue) => {
    let done = false;
    const overlay = frame(m, kind, body, buttons);
    const finish = (value, send = true) => {
      if (done) return;
      done = true;
      overlay.remove();
      open.delete(m.id);
      if (send) session.send({ op: 'answer', id: m.id, value });
    };
    overlay.addEventListener('keydown', (e) => {
      if (e.key === 'Escape' && cancelValue !== undefined) { e.preventDefault(); finish(cancelValue); }
    });
    open.set(m.id, { finish });
    return finish;
  };
  const button = (text, onclick, answer) => el('button', { type: 'button', text, onclick, dataset: answer == null ? {} : { answer: String(answer) } });

  const kinds = {
    MsgBox(m) {
      const { buttons, icon, defaultAnswer } = msgBoxLayout(m.style | 0);
      const body = el('div', { className: 'dialog-body msgbox' },
        icon ? el('span', { className: `icon icon-${icon[0]}`, text: icon[1], dataset: { icon: icon[0] } }) : null,
        el('div', { className: 'text', text: m.text || '' }));
      let finish;
      const bs = buttons.map((b) => button(caption(m, CAPTION_KEYS[b], CAPTION_KEYS[b]), () => finish(b), b));
      // Escape is Cancel where there is a Cancel button; a box of OK alone answers OK.
      // Without either, Escape does nothing.
      const escape = buttons.includes(CANCEL) ? CANCEL : buttons.length === 1 ? buttons[0] : undefined;
      finish = start(m, 'MsgBox', body, bs, escape);
      bs[buttons.indexOf(defaultAnswer)].focus();
    },
    InputBox(m) {
      const input = el('input', { type: 'text', value: m.value || '', dataset: { field: 'value' } });
      let finish;
      input.addEventListener('keydown', (e) => { if (e.key === 'Enter') finish(input.value); });
      const body = el('div', { className: 'dialog-body' }, el('div', { className: 'text', text: m.text || '' }), input);
      finish = start(m, 'InputBox', body, [
        button(caption(m, 'OK', 'OK'), () => finish(input.value), 'ok'),
        button(caption(m, 'Cancel', 'Cancel'), () => finish(null), 'cancel')], null);
      input.focus();
      input.select();
    },
    MessageWindow(m) {
      const area = el('textarea', { value: m.text || '', readOnly: !m.editable, rows: 12, cols: 60, dataset: { field: 'value' } });
      let finish;
      const body = el('div', { className: 'dialog-body' }, area);
      finish = start(m, 'MessageWindow', body, [
        button(caption(m, 'OK', 'OK'), () => finish(area.value), 'ok'),
        button(caption(m, 'Cancel', 'Cancel'), () => finish(null), 'cancel')], null);
      area.focus();
    },
    LetterPicker(m) {
      const rows = (m.rows || []).map((r) => {
        const box = el('input', { type: 'checkbox', value: String(r.key) });
        return el('tr', { dataset: { key: String(r.key) } }, el('td', {}, box), el('td', { text: r.subject || '' }),
          el('td', { text: r.from || '' }), el('td', { text: r.folder || '' }));
      });
      const body = el('div', { className: 'dialog-body picker' }, el('table', {}, el('tbody', {}, ...rows)));
      let finish;
      finish = start(m, 'LetterPicker', body, [
        button(caption(m, 'OK', 'OK'), () => finish([...body.querySelectorAll('input:checked')].map((b) => Number(b.value))), 'ok'),
        button(caption(m, 'Cancel', 'Cancel'), () => finish([]), 'cancel')], []);
    },
    PackPicker(m) {
      let chosen = null, finish;
      const items = (m.packs || []).map((p) => {
        const li = el('li', { tabIndex: 0, text: p.name || `#${p.number}`, dataset: { pack: String(p.number) } });
        li.addEventListener('click', () => { chosen = p; for (const x of items) x.classList.toggle('selected', x === li); });
        li.addEventListener('dblclick', () => finish({ number: p.number, name: p.name }));
        return li;
      });
      const body = el('div', { className: 'dialog-body picker' }, el('ul', { className: 'choices' }, ...items));
      const bs = [button(caption(m, 'OK', 'OK'), () => finish(chosen ? { number: chosen.number, name: chosen.name } : null), 'ok')];
      if (m.cancel !== false) bs.push(button(caption(m, 'Cancel', 'Cancel'), () => finish(null), 'cancel'));
      finish = start(m, 'PackPicker', body, bs, null);
    },
    FolderChooser(m) {
      let chosen = null, finish;
      const all = [];
      const tree = (nodes) => el('ul', { className: 'tree' }, ...nodes.map((n) => {
        const label = el('span', { tabIndex: 0, text: n.name, dataset: { project: n.project } });
        label.addEventListener('click', () => { chosen = n.project; for (const x of all) x.classList.toggle('selected', x === label); });
        all.push(label);
        return el('li', {}, label, n.children && n.children.length ? tree(n.children) : null);
      }));
      const body = el('div', { className: 'dialog-body picker' }, tree(m.tree || []));
      finish = start(m, 'FolderChooser', body, [
        button(caption(m, 'OK', 'OK'), () => finish(chosen), 'ok'),
        button(caption(m, 'Cancel', 'Cancel'), () => finish(null), 'cancel')], null);
    },
    OpenFile(m) { fileDialog(m, false); },
    SaveFile(m) { fileDialog(m, true); },
  };

  // The open and save dialogs walk the home's folders through the server; paths are
  // relative to the home.
  const listings = new Map();  // dialog id -> fn(entries)
  session.on('dialog.dir', (m) => { const fn = listings.get(m.id); if (fn) fn(m); });
  function fileDialog(m, save) {
    let dir = '', finish;
    const where = el('div', { className: 'path', dataset: { field: 'path' } });
    const list = el('ul', { className: 'choices files' });
    const name = el('input', { type: 'text', value: m.value || '', dataset: { field: 'name' } });
    const join = (a, b) => (a ? `${a}/${b}` : b);
    const show = (reply) => {
      if (!reply.entries) return;
      dir = reply.path || '';
      where.textContent = `~/${dir}`;
      list.replaceChildren(
        ...(dir ? [el('li', { className: 'folder', text: '..', dataset: { entry: '..' }, onclick: () => go(dir.split('/').slice(0, -1).join('/')) })] : []),
        ...reply.entries.map((e) => el('li', {
          className: e.folder ? 'folder' : 'file', text: e.name, dataset: { entry: e.name },
          onclick: () => (e.folder ? go(join(dir, e.name)) : (name.value = e.name)),
          ondblclick: () => { if (!e.folder) finish(join(dir, e.name)); },
        })));
    };
    const go = (path) => session.send({ op: 'dialog.dir', id: m.id, path });
    listings.set(m.id, show);
    const body = el('div', { className: 'dialog-body files' }, where, list, el('label', {}, caption(m, 'FileName', 'File name'), ' ', name));
    const done = (value) => { listings.delete(m.id); return value; };
    finish = start(m, save ? 'SaveFile' : 'OpenFile', body, [
      button(caption(m, save ? 'Save' : 'Open', save ? 'Save' : 'Open'), () => finish(done(name.value ? join(dir, name.value) : null)), 'ok'),
      button(caption(m, 'Cancel', 'Cancel'), () => finish(done(null)), 'cancel')], null);
    go('');
    name.focus();
  }

  session.on('dialog', (m) => {
    const draw = kinds[m.kind];
    if (!draw) { session.send({ op: 'answer', id: m.id, value: null }); return; }
    draw(m);
  });
  // The server gave up on a question (the server stopped): its box goes without an answer.
  session.on('dialogClose', (m) => { const d = open.get(m.id); if (d) d.finish(null, false); });
  session.on('closed', () => { for (const d of [...open.values()]) d.finish(null, false); });
}
