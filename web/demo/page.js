import { KV500, stateOf } from '../client/kv500.js';
import { canAct, initialState } from './state.js';
import { askSimulator } from './simulator-panel.js';
import { texts } from './texts.js';
import { show, showPolls } from './view.js';

const loggedCalls = 8;
const defaultPort = 5724;
const copiedFor = 3000; // Milliseconds.

// What is no number stays in the address and makes it none, which is said.
const port = encodeURIComponent(new URLSearchParams(location.search).get('port') || defaultPort);
const address = `http://127.0.0.1:${port}`;
const client = new KV500({ address, repeated: true });

let state = { ...initialState, address, language: firstLanguage() };

function change(values) {
  state = { ...state, ...values };
  show(state);
}

/* ---- Reader and card ---- */

function onEvent({ type, status, error }) {
  if (type === 'failed') change({ service: error });
  else if (type === 'hidden') change({ service: 'asking' });
  else change({ service: 'up', device: stateOf(status) });
  if (state.simulator && !state.acting) findSimulator(); // Another tab may have changed it.
}

function log(action, since, outcome) {
  const at = new Date();
  return [{ action, at, took: at - since, ...outcome }, ...state.calls].slice(0, loggedCalls);
}

function watch() {
  return client.onPatient({
    event: onEvent,
    reading: () => change({ card: { phase: 'reading', since: Date.now() } }),
    read: (patient) => change({
      card: { phase: 'read', patient },
      calls: log('read', state.card.since, { status: patient.answer.status }),
    }),
    failed: (error) => change({
      card: { phase: 'failed', error },
      calls: state.card.phase === 'reading' ? log('read', state.card.since, { code: error.code }) : state.calls,
    }),
    gone: () => change({ card: { phase: 'none' }, copied: false }),
  });
}

async function closeCard() {
  const since = Date.now();
  const outcome = await client.close().then(({ status }) => ({ status }), ({ code }) => ({ code }));
  change({ calls: log('close', since, outcome) });
}

async function copyNumber() {
  const number = document.querySelector('#person .number strong');
  try {
    await navigator.clipboard.writeText(number.textContent);
    change({ copied: true });
    setTimeout(() => change({ copied: false }), copiedFor);
  } catch {
    getSelection().selectAllChildren(number); // Copying is for the person then.
  }
}

function countPolls() {
  const observer = new PerformanceObserver((list) => {
    const polls = list.getEntries().filter(({ name }) => name === `${address}/?action=status`);
    if (polls.length === 0) return;
    state.polls = { count: state.polls.count + polls.length, took: Math.round(polls.at(-1).duration) };
    showPolls(state);
    performance.clearResourceTimings(); // The browser keeps a few hundred and then stops.
  });
  observer.observe({ type: 'resource', buffered: true });
}

/* ---- The simulator ---- */

async function actOnSimulator({ act: action, card }) {
  if (!canAct(state, action, card)) return;
  change({ acting: true, refusal: undefined });
  const outcome = await askSimulator({ action, card }).catch(() => ({ refusal: 'gone' }));
  change({ acting: false, ...outcome });
}

async function findSimulator() {
  try {
    const { simulator } = await askSimulator();
    if (!state.acting) change({ simulator });
  } catch {
    // The page stands on a plain web server: the reader is a real one.
  }
}

/* ---- Language ---- */

/** The language chosen last, if the browser keeps such things for this page; else its own. */
function firstLanguage() {
  let kept;
  try {
    kept = localStorage.getItem('language');
  } catch {
    // Storage is switched off: the choice holds as long as the page.
  }
  return kept in texts ? kept : navigator.language.startsWith('de') ? 'de' : 'en';
}

function chooseLanguage(language) {
  change({ language });
  try {
    localStorage.setItem('language', language);
  } catch {
    // As above.
  }
}

/* ---- Start ---- */

show(state);
countPolls();
let stop = watch();
findSimulator();
setInterval(() => {
  if (state.card.phase === 'reading') show(state);
}, 1000);

const pressed = {
  read: () => {
    stop(); // All that is there is told anew.
    stop = watch();
  },
  close: closeCard,
  copy: copyNumber,
};
document.addEventListener('click', ({ target }) => {
  const button = target.closest('button');
  if (!button || button.getAttribute('aria-disabled') === 'true') return;
  const { language, act } = button.dataset;
  if (language) chooseLanguage(language);
  else if (act) actOnSimulator(button.dataset);
  else pressed[button.id]();
});
