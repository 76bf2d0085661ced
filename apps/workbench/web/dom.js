// Elements made with DOM calls only (the pages' policy allows no inline script or style):
// el('button', { text: 'OK', onclick: f, dataset: { key: 'a' } }, ...children). Other
// props are set as properties of the element.
export const el = (tag, props = {}, ...children) => {
  const e = document.createElement(tag);
  for (const [k, v] of Object.entries(props)) {
    if (k === 'dataset') Object.assign(e.dataset, v);
    else if (k.startsWith('on')) e.addEventListener(k.slice(2), v);
    else if (k === 'text') e.textContent = v;
    else e[k] = v;
  }
  for (const c of children) if (c != null) e.append(c);
  return e;
};
