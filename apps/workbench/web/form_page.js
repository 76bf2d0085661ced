// A page that shows one form: the forms' drawing, the dialogs, and the request to open
// the form named by the page.
import { connect } from './session.js';
import { install as installDialogs } from './dialogs.js';

const session = connect();
installDialogs(session);
const root = document.getElementById('root');
session.on('error', (m) => { root.dataset.error = m.text; });
session.on('stopped', () => { document.body.classList.add('stopped'); });
try {
  const forms = await import('./forms.js');
  forms.install(session, root);
} catch (e) {
  root.dataset.error = `forms.js: ${e.message}`;
}
session.send({ op: 'openForm', name: document.body.dataset.openForm });
