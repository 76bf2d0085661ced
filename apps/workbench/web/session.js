// The page's line to Ravelin: one WebSocket to the server that served the page, carrying
// JSON messages dispatched by their "op". The session's secret is the first segment of
// this module's own address, so every page finds it the same way.
const secret = new URL(import.meta.url).pathname.split('/')[1];

// "/SECRET/": the start of every address of this server.
export const base = `/${secret}/`;

// Opens the WebSocket. Returns { send(obj), on(op, fn), close() }. Messages sent before
// the socket is open wait for it. The op "closed" is raised when the line ends (the
// server stopped, or the connection broke).
export function connect() {
  const handlers = new Map();
  const waiting = [];
  const scheme = location.protocol === 'https:' ? 'wss' : 'ws';
  const ws = new WebSocket(`${scheme}://${location.host}${base}ws`);
  const raise = (message) => {
    for (const fn of handlers.get(message.op) || []) {
      try { fn(message); } catch (e) { console.error(e); }
    }
  };
  ws.addEventListener('open', () => { for (const text of waiting.splice(0)) ws.send(text); });
  ws.addEventListener('message', (e) => {
    let message;
    try { message = JSON.parse(e.data); } catch { return; }
    if (message && typeof message.op === 'string') raise(message);
  });
  ws.addEventListener('close', () => raise({ op: 'closed' }));
  return {
    send(obj) {
      const text = JSON.stringify(obj);
      if (ws.readyState === WebSocket.OPEN) ws.send(text);
      else if (ws.readyState === WebSocket.CONNECTING) waiting.push(text);
    },
    on(op, fn) {
      if (!handlers.has(op)) handlers.set(op, []);
      handlers.get(op).push(fn);
    },
    close() { ws.close(); },
    get open() { return ws.readyState === WebSocket.OPEN; },
  };
}
