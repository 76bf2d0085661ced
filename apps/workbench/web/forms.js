// Forms drawn in the page: "open" draws a form from its controls' state, "set" applies a
// batch of property changes, "close" removes it; what the user does goes back as "event"
// messages. The logic lives in the program; this module only draws and reports.
// Every control's element carries data-control="NAME", its form data-form="frmName".

const el = (tag, props = {}, ...children) => {
  const e = document.createElement(tag);
  for (const [k, v] of Object.entries(props)) {
    if (k === 'dataset') Object.assign(e.dataset, v);
    else if (k === 'className') e.className = v;
    else if (k === 'text') e.textContent = v;
    else if (k.startsWith('on')) e.addEventListener(k.slice(2), v);
    else e.setAttribute(k, v);
  }
  for (const c of children) if (c != null) e.append(c);
  return e;
};

// --- Controls by kind ----------------------------------------------------------------
// Each kind makes its element and applies one property at a time; `send(event, args)`
// reports an event of the control. Structured properties (items, buttons...) redraw
// their part whole.

const kinds = {
  Label: {
    make: () => el('span', { className: 'rv-label' }),
    apply(c, prop, v) { if (prop === 'Caption') c.el.textContent = v; },
  },

  TextBox: {
    make(c, send) {
      const wrap = el('span', { className: 'rv-textbox' });
      c.field = null;
      c.build = (mode) => {
        const field = mode === 'multi' ? el('textarea', { rows: '4' })
          : el('input', { type: mode === 'password' ? 'password' : 'text', autocomplete: 'off' });
        field.addEventListener('input', () => send('Change', { text: field.value }));
        field.addEventListener('keydown', (e) => {
          const key = e.key.length === 1 ? e.key : e.key === 'Enter' ? '\r' : e.key === 'Backspace' ? '\b' : null;
          if (key !== null && !e.ctrlKey && !e.metaKey) send('KeyPress', { key });
        });
        field.addEventListener('blur', () => send('LostFocus', {}));
        if (c.field) { field.value = c.field.value; field.readOnly = c.field.readOnly; c.field.replaceWith(field); } else wrap.append(field);
        c.field = field;
      };
      c.build('single');
      return wrap;
    },
    apply(c, prop, v) {
      if (prop === 'Mode') c.build(v);
      else if (prop === 'Text') { if (c.field.value !== v) c.field.value = v; }
      else if (prop === 'Locked') c.field.readOnly = !!v;
    },
    focusTarget: (c) => c.field,
  },

  CheckBox: {
    make(c, send) {
      c.box = el('input', { type: 'checkbox' });
      c.caption = el('span');
      c.box.addEventListener('click', () => send('Click', { value: c.box.checked ? 1 : 0 }));
      return el('label', { className: 'rv-check' }, c.box, c.caption);
    },
    apply(c, prop, v) {
      if (prop === 'Caption') c.caption.textContent = v;
      else if (prop === 'Value') { c.box.checked = v === 1; c.box.indeterminate = v === 2; }
    },
    focusTarget: (c) => c.box,
  },

  OptionButton: {
    make(c, send) {
      c.radio = el('input', { type: 'radio' });
      c.caption = el('span');
      c.radio.addEventListener('change', () => { if (c.radio.checked) send('Click', {}); });
      return el('label', { className: 'rv-option' }, c.radio, c.caption);
    },
    apply(c, prop, v) {
      if (prop === 'Caption') c.caption.textContent = v;
      else if (prop === 'Group') c.radio.name = `${c.form.id}:${v}`;
      else if (prop === 'Value') c.radio.checked = !!v;
    },
    focusTarget: (c) => c.radio,
  },

  ComboBox: {
    make(c, send) {
      c.input = el('input', { type: 'text', autocomplete: 'off' });
      c.select = el('select', { className: 'rv-combo-list' });
      c.input.addEventListener('input', () => send('Change', { text: c.input.value }));
      c.input.addEventListener('keydown', (e) => { if (e.key.length === 1) send('KeyPress', { key: e.key }); });
      c.select.addEventListener('change', () => {
        const index = c.select.selectedIndex - 1;  // the first option is the empty choice
        if (index >= 0) { c.input.value = c.list[index]; send('Click', { index }); }
      });
      c.list = [];
      return el('span', { className: 'rv-combo' }, c.input, c.select);
    },
    apply(c, prop, v) {
      if (prop === 'Style') c.input.hidden = v === 2;
      else if (prop === 'Text') { if (c.input.value !== v) c.input.value = v; }
      else if (prop === 'List') {
        c.list = v;
        c.select.replaceChildren(el('option', { value: '', text: '' }), ...v.map((t, i) => el('option', { value: String(i), text: t })));
        c.select.selectedIndex = (c.props.ListIndex ?? -1) + 1;
      } else if (prop === 'ListIndex') c.select.selectedIndex = v + 1;
    },
    focusTarget: (c) => (c.input.hidden ? c.select : c.input),
  },

  ListView: {
    make(c, send) {
      c.head = el('tr');
      c.body = el('tbody');
      const table = el('table', { className: 'rv-listview' }, el('thead', {}, c.head), c.body);
      const indexOf = (e) => {
        const row = e.target.closest('tr[data-index]');
        return row ? Number(row.dataset.index) : null;
      };
      c.body.addEventListener('click', (e) => {
        const index = indexOf(e);
        if (index === null) return;
        if (e.target.matches('input[type=checkbox]')) send('ItemCheck', { index, checked: e.target.checked });
        else { c.props.Selected = index; markSelected(c, index); send('ItemClick', { index }); }
      });
      c.body.addEventListener('dblclick', (e) => {
        const index = indexOf(e);
        if (index !== null && !e.target.matches('input')) send('DblClick', { index });
      });
      c.head.addEventListener('click', (e) => {
        const th = e.target.closest('th[data-index]');
        if (th) send('ColumnClick', { index: Number(th.dataset.index) });
      });
      return el('div', { className: 'rv-listview-wrap' }, table);
    },
    apply(c, prop, v) {
      if (prop === 'Columns') {
        c.head.replaceChildren(...v.map((col, i) => {
          const th = el('th', { 'data-index': String(i), 'data-key': col.key, text: col.text });
          if (col.width) th.style.width = `${col.width}px`;
          return th;
        }));
      } else if (prop === 'Items' || prop === 'Checkboxes') {
        const items = c.props.Items || [];
        c.body.replaceChildren(...items.map((it, i) => {
          const first = el('td', {}, c.props.Checkboxes ? el('input', { type: 'checkbox' }) : null,
            it.icon || it.smallIcon ? el('span', { className: 'rv-icon', 'data-icon': it.smallIcon || it.icon }) : null,
            el('span', { className: 'rv-item-text', text: it.text }));
          if (c.props.Checkboxes) first.firstChild.checked = it.checked;
          const row = el('tr', { 'data-index': String(i), 'data-key': it.key }, first, ...it.subItems.map((s) => el('td', { text: s })));
          if (it.toolTip) row.title = it.toolTip;
          if (it.bold) row.classList.add('rv-bold');
          return row;
        }));
        markSelected(c, c.props.Selected ?? -1);
      } else if (prop === 'Selected') markSelected(c, v);
      else if (prop === 'SortKey' || prop === 'SortOrder' || prop === 'Sorted') {
        for (const th of c.head.children) {
          const sorted = c.props.Sorted && Number(th.dataset.index) === c.props.SortKey;
          if (sorted) th.setAttribute('aria-sort', c.props.SortOrder === 1 ? 'descending' : 'ascending');
          else th.removeAttribute('aria-sort');
        }
      }
    },
  },

  TreeView: {
    make(c, send) {
      c.rootList = el('ul', { className: 'rv-tree', role: 'tree' });
      const keyOf = (e) => {
        const item = e.target.closest('li[data-key]');
        return item && e.target.closest('.rv-node-text') ? item.dataset.key : null;
      };
      c.rootList.addEventListener('click', (e) => {
        if (e.target.matches('.rv-twisty')) {
          const li = e.target.closest('li');
          li.classList.toggle('rv-expanded');
          return;
        }
        const key = keyOf(e);
        if (key !== null) { c.props.Selected = key; markNode(c, key); send('ItemClick', { key }); }
      });
      c.rootList.addEventListener('dblclick', (e) => {
        const key = keyOf(e);
        if (key !== null) send('DblClick', { key });
      });
      return c.rootList;
    },
    apply(c, prop, v) {
      if (prop === 'Nodes') {
        const lists = new Map([['', c.rootList]]);
        c.rootList.replaceChildren();
        for (const n of v) {
          const children = el('ul', { role: 'group' });
          const li = el('li', { 'data-key': n.key, role: 'treeitem' },
            el('span', { className: 'rv-twisty' }),
            n.image ? el('span', { className: 'rv-icon', 'data-icon': n.image }) : null,
            el('span', { className: 'rv-node-text', text: n.text }), children);
          if (n.expanded) li.classList.add('rv-expanded');
          lists.set(n.key, children);
          (lists.get(n.parent) || c.rootList).append(li);
          const parentLi = li.parentElement.closest('li');
          if (parentLi) parentLi.classList.add('rv-has-children');
        }
        markNode(c, c.props.Selected || '');
      } else if (prop === 'Selected') markNode(c, v);
    },
  },

  TabStrip: {
    make(c, send) {
      c.strip = el('div', { className: 'rv-tabstrip', role: 'tablist' });
      c.strip.addEventListener('click', (e) => {
        const tab = e.target.closest('[data-index]');
        if (!tab) return;
        // The page turns at once; the program's answer confirms it.
        kinds.TabStrip.apply(c, 'Tab', (c.props.Tab = Number(tab.dataset.index)));
        send('TabChange', { index: c.props.Tab });
      });
      return c.strip;
    },
    apply(c, prop, v) {
      if (prop === 'Tabs') {
        c.strip.replaceChildren(...v.map((t, i) => {
          const b = el('button', { type: 'button', role: 'tab', 'data-index': String(i), text: t.caption });
          b.hidden = !t.visible;
          return b;
        }));
      }
      if (prop === 'Tabs' || prop === 'Tab') {
        for (const b of c.strip.children) b.setAttribute('aria-selected', String(Number(b.dataset.index) === c.props.Tab));
        layoutContainers(c.form);
      }
    },
  },

  Toolbar: {
    make(c, send) {
      c.bar = el('div', { className: 'rv-toolbar', role: 'toolbar' });
      c.bar.addEventListener('click', (e) => {
        const b = e.target.closest('button[data-key]');
        if (!b || b.disabled) return;
        send(b.classList.contains('rv-dropdown-arrow') ? 'ButtonDropDown' : 'Click', { key: b.dataset.key });
      });
      return c.bar;
    },
    apply(c, prop, v) {
      if (prop !== 'Buttons') return;
      const parts = [];
      for (const b of v) {
        if (b.style === 3) { const s = el('span', { className: 'rv-separator', 'data-key': b.key }); s.hidden = !b.visible; parts.push(s); continue; }
        const button = el('button', { type: 'button', 'data-key': b.key },
          b.image ? el('span', { className: 'rv-icon', 'data-icon': b.image }) : null, el('span', { text: b.caption }));
        if (b.toolTip) button.title = b.toolTip;
        button.disabled = !b.enabled;
        button.hidden = !b.visible;
        if (b.style === 1) button.setAttribute('aria-pressed', String(!!b.value));
        parts.push(button);
        if (b.style === 5) {
          const arrow = el('button', { type: 'button', className: 'rv-dropdown-arrow', 'data-key': b.key, 'aria-label': `${b.caption} menu`, text: '\u25be' });
          arrow.disabled = !b.enabled;
          arrow.hidden = !b.visible;
          parts.push(arrow);
        }
      }
      c.bar.replaceChildren(...parts);
    },
  },

  StatusBar: {
    make: () => el('div', { className: 'rv-statusbar', role: 'status' }),
    apply(c, prop, v) {
      if (prop !== 'Panels') return;
      c.el.replaceChildren(...v.map((p, i) => el('span', { className: 'rv-panel', 'data-panel': String(i) },
        p.picture ? el('img', { src: p.picture, alt: '' }) : null, el('span', { text: p.text }))));
    },
  },

  ProgressBar: {
    make: () => el('progress', { className: 'rv-progress' }),
    apply(c) {
      const { Min = 0, Max = 100, Value = 0 } = c.props;
      c.el.max = Math.max(Max - Min, 1);
      c.el.value = Value - Min;
      c.el.dataset.value = String(Value);
    },
  },

  Timer: {
    make(c, send) {
      c.tick = () => send('Timer', {});
      return el('span', { className: 'rv-timer', hidden: '' });
    },
    apply(c) {
      clearInterval(c.interval);
      c.interval = null;
      if (c.props.Enabled && c.props.Interval > 0 && !c.form.closed) c.interval = setInterval(c.tick, c.props.Interval);
    },
    hidesItself: true,
  },

  PictureBox: {
    make(c, send) {
      c.img = el('img', { alt: '' });
      const box = el('span', { className: 'rv-picture' }, c.img);
      box.addEventListener('click', () => send('Click', {}));
      box.addEventListener('dblclick', () => send('DblClick', {}));
      return box;
    },
    apply(c, prop, v) {
      if (prop !== 'Picture') return;
      if (v) c.img.src = v; else c.img.removeAttribute('src');
      c.img.hidden = !v;
    },
  },

  Menu: {
    make(c, send) {
      c.shown = 0;
      const menu = el('div', { className: 'rv-menu', role: 'menu' });
      menu.hidden = true;
      menu.addEventListener('click', (e) => {
        const item = e.target.closest('[data-key]');
        if (!item || item.getAttribute('aria-disabled') === 'true') return;
        hideMenu(c);
        send('MenuClick', { key: item.dataset.key });
      });
      return menu;
    },
    apply(c, prop, v) {
      if (prop === 'Items') {
        c.el.replaceChildren(...v.map((i) => {
          const role = i.group ? 'menuitemradio' : 'menuitemcheckbox';
          const item = el('div', { role, 'data-key': i.key, 'aria-checked': String(!!i.checked), 'aria-disabled': String(!i.enabled), tabindex: '-1' },
            el('span', { className: 'rv-check-mark', text: i.checked ? (i.group ? '\u25cf' : '\u2713') : '' }), el('span', { text: i.caption }));
          item.hidden = !i.visible;
          return item;
        }));
      } else if (prop === 'Popup' && v && v.count > c.shown) {
        c.shown = v.count;
        showMenu(c, v.under);
      }
    },
    hidesItself: true,
  },

  HtmlFrame: {
    make(c, send) {
      // No scripts ever run in the frame; being same-origin lets the page read an edit.
      c.frame = el('iframe', { className: 'rv-htmlframe', sandbox: 'allow-same-origin', title: c.name });
      c.frame.addEventListener('load', () => {
        let doc = null;
        try { doc = c.frame.contentDocument; } catch { doc = null; }
        if (!doc) return;  // a server document in its own sandbox
        doc.designMode = c.props.EditMode ? 'on' : 'off';
        doc.addEventListener('click', (e) => {
          const a = e.target.closest && e.target.closest('a[href]');
          if (!a) return;
          e.preventDefault();
          send('Click', { href: a.getAttribute('href') });
        });
        doc.addEventListener('input', () => {
          c.lastSent = '<!DOCTYPE html>' + doc.documentElement.outerHTML;
          send('Change', { html: c.lastSent });
        });
      });
      c.prints = 0;
      return c.frame;
    },
    apply(c, prop, v) {
      if (prop === 'Location' || (prop === 'DocumentHTML' && c.props.Location)) {
        // A document of the server: shown under its own policy, read-only.
        if (c.props.Location) { c.frame.removeAttribute('srcdoc'); c.frame.src = c.props.Location; }
        else { c.frame.removeAttribute('src'); c.frame.srcdoc = c.props.DocumentHTML || ''; }
      } else if (prop === 'DocumentHTML') {
        // An edit coming back as it was sent is the frame's own text already.
        if (v !== c.lastSent) c.frame.srcdoc = v;
      } else if (prop === 'EditMode') {
        const doc = c.frame.contentDocument;
        if (doc) doc.designMode = v ? 'on' : 'off';
        c.frame.dataset.edit = String(!!v);
      } else if (prop === 'Print' && v > c.prints) {
        c.prints = v;
        c.frame.contentWindow?.print();
      }
    },
  },

  CommandButton: {
    make(c, send) {
      const b = el('button', { type: 'button', className: 'rv-command' });
      b.addEventListener('click', () => send('Click', {}));
      return b;
    },
    apply(c, prop, v) {
      if (prop === 'Caption') c.el.textContent = v;
      else if (prop === 'Default') c.el.classList.toggle('rv-default', !!v);
    },
  },
};

function markSelected(c, index) {
  for (const row of c.body.children) row.classList.toggle('rv-selected', Number(row.dataset.index) === index);
  for (const row of c.body.children) row.setAttribute('aria-selected', String(Number(row.dataset.index) === index));
}

function markNode(c, key) {
  for (const li of c.rootList.querySelectorAll('li[data-key]')) li.classList.toggle('rv-selected', li.dataset.key === key);
}

let openMenu = null;
function hideMenu(c) {
  c.el.hidden = true;
  if (openMenu === c) openMenu = null;
}
let lastPointer = { x: 0, y: 0 };
function showMenu(c, under) {
  if (openMenu) hideMenu(openMenu);
  const anchor = under && c.form.controls.get(under);
  const box = c.form.el.getBoundingClientRect();
  let x = lastPointer.x - box.left, y = lastPointer.y - box.top;
  if (anchor) {
    const r = anchor.el.getBoundingClientRect();
    x = r.left - box.left;
    y = r.bottom - box.top;
  }
  c.el.style.left = `${Math.max(0, x)}px`;
  c.el.style.top = `${Math.max(0, y)}px`;
  c.el.hidden = false;
  openMenu = c;
}

// Controls placed on a tab strip's page show only while that page is current.
function layoutContainers(form) {
  for (const c of form.controls.values()) {
    const box = c.props.Container;
    const strip = box && form.controls.get(box.control);
    const onPage = !strip || strip.props.Tab === box.page;
    c.el.hidden = !c.props.Visible || !onPage || !!c.kind.hidesItself;
    if (c.kind.hidesItself && c.kind === kinds.Menu) c.el.hidden = openMenu !== c;
  }
}

// --- Forms ---------------------------------------------------------------------------

export function install(session, root) {
  const forms = new Map();  // number -> form

  const applyProp = (form, c, prop, value) => {
    c.props[prop] = value;
    if (prop === 'Visible' || prop === 'Container') { layoutContainers(form); if (c.kind !== kinds.Timer) return; }
    if (prop === 'Enabled') {
      c.el.classList.toggle('rv-disabled', !value);
      // Toolbar buttons keep their own Enabled; everything else in the control follows it.
      for (const e of [c.el, ...c.el.querySelectorAll('input, select, textarea, button:not([data-key])')]) {
        if (e instanceof HTMLInputElement || e instanceof HTMLSelectElement || e instanceof HTMLTextAreaElement || e instanceof HTMLButtonElement) e.disabled = !value;
      }
      if (c.kind !== kinds.Timer) return;
    }
    if (prop === 'ToolTipText') { if (value) c.el.title = value; else c.el.removeAttribute('title'); return; }
    c.kind.apply(c, prop, value);
  };

  const draw = (m) => {
    const form = { id: m.form, name: m.name, controls: new Map(), closed: false };
    const title = el('span', { className: 'rv-form-caption', text: m.caption });
    const close = el('button', { type: 'button', className: 'rv-form-close', 'aria-label': 'Close', text: '\u00d7' });
    close.addEventListener('click', () => session.send({ op: 'event', form: m.form, control: '', event: 'QueryUnload', args: {} }));
    const body = el('div', { className: 'rv-form-body' });
    form.el = el('section', { className: 'rv-form', 'data-form': m.name, 'data-form-id': String(m.form), role: m.modal ? 'dialog' : 'region', 'aria-label': m.caption },
      el('header', { className: 'rv-form-title' }, title, close), body);
    form.caption = title;
    for (const drawn of m.controls) {
      const kind = kinds[drawn.kind];
      if (!kind) continue;
      const c = { name: drawn.name, kind, form, props: {} };
      const send = (event, args) => {
        if (form.closed || c.props.Enabled === false) return;
        session.send({ op: 'event', form: form.id, control: c.name, event, args });
      };
      c.el = kind.make(c, send);
      c.el.dataset.control = drawn.name;
      c.el.dataset.kind = drawn.kind;
      form.controls.set(drawn.name, c);
      body.append(c.el);
    }
    for (const drawn of m.controls) {
      const c = form.controls.get(drawn.name);
      if (!c) continue;
      // Every property is known before any is drawn: a choice finds its list's entries.
      const props = Object.entries(drawn.props);
      for (const [prop, value] of props) c.props[prop] = value;
      for (const [prop, value] of props) applyProp(form, c, prop, value);
    }
    layoutContainers(form);
    // Enter presses the default button, Escape the cancel one.
    form.el.addEventListener('keydown', (e) => {
      if (e.target.tagName === 'TEXTAREA' || (e.key !== 'Enter' && e.key !== 'Escape')) return;
      const prop = e.key === 'Enter' ? 'Default' : 'Cancel';
      for (const c of form.controls.values()) {
        if (c.kind === kinds.CommandButton && c.props[prop] && c.props.Enabled !== false) {
          e.preventDefault();
          session.send({ op: 'event', form: form.id, control: c.name, event: 'Click', args: {} });
          return;
        }
      }
    });
    if (m.modal) {
      form.overlay = el('div', { className: 'rv-modal-overlay' }, form.el);
      document.body.append(form.overlay);
    } else {
      root.append(form.el);
    }
    forms.set(m.form, form);
    const first = [...form.controls.values()].find((c) => c.kind.focusTarget && !c.el.hidden);
    if (m.modal && first) first.kind.focusTarget(first).focus();
  };

  session.on('open', draw);
  session.on('set', (m) => {
    for (const ch of m.changes) {
      const form = forms.get(ch.form);
      if (!form) continue;
      if (ch.control === '') {
        if (ch.prop === 'Caption') { form.caption.textContent = ch.value; form.el.setAttribute('aria-label', ch.value); }
        continue;
      }
      const c = form.controls.get(ch.control);
      if (c) applyProp(form, c, ch.prop, ch.value);
    }
  });
  session.on('close', (m) => {
    const form = forms.get(m.form);
    if (!form) return;
    form.closed = true;
    for (const c of form.controls.values()) if (c.interval) clearInterval(c.interval);
    if (openMenu && openMenu.form === form) hideMenu(openMenu);
    (form.overlay || form.el).remove();
    forms.delete(m.form);
  });
  session.on('closed', () => {
    for (const form of forms.values()) {
      form.closed = true;
      for (const c of form.controls.values()) if (c.interval) clearInterval(c.interval);
      form.el.classList.add('rv-form-gone');
    }
  });

  document.addEventListener('pointerdown', (e) => {
    lastPointer = { x: e.clientX, y: e.clientY };
    if (openMenu && !openMenu.el.contains(e.target)) hideMenu(openMenu);
  }, true);
  document.addEventListener('keydown', (e) => { if (e.key === 'Escape' && openMenu) hideMenu(openMenu); });
}
