import { KV500, stateOf } from '../client/kv500.js';
import { describeInsured } from './insured.js';
import { texts } from './texts.js';

const loggedRequests = 8;
const defaultPort = 5724;
const simulatorPatience = 30000; // Milliseconds; a swap takes its time.

const byId = (id) => document.getElementById(id);
const parameters = new URLSearchParams(location.search);
const port = Number(parameters.get('port')) || defaultPort;
const address = `http://127.0.0.1:${port}`;
const client = new KV500({ address, repeated: true });

// All that the page shows; `show` writes it out anew, in whichever language is chosen.
const view = {
  language: 'en',
  service: undefined, // True, false; undefined until the first answer.
  state: { reader: false, card: false, serialNumber: '' },
  connectionFailure: undefined,
  actionFailure: undefined,
  reading: undefined, // The AbortController of a `read` under way.
  result: { note: 'nothingRead' }, // { note } a text's name, or { daten }
  raw: '',
  log: [],
  polls: { count: 0, took: 0 },
  simulator: undefined,
  simulatorNote: '',
};

const words = () => texts[view.language];

function element(tag, content = '', className = '') {
  const made = document.createElement(tag);
  made.textContent = content;
  if (className) made.className = className;
  return made;
}

// Text is replaced only where it differs, so that a screen reader hears what is new and no more.
function setText(target, content) {
  if (target.textContent !== content) target.textContent = content;
}

/* ---- What is shown ---- */

function show() {
  const t = words();
  document.documentElement.lang = view.language;
  document.title = t.title;
  for (const target of document.querySelectorAll('[data-text]')) setText(target, t[target.dataset.text]);
  for (const target of document.querySelectorAll('[data-label]')) {
    target.setAttribute('aria-label', t[target.dataset.label]);
  }
  for (const button of document.querySelectorAll('[data-language]')) {
    button.setAttribute('aria-pressed', String(button.dataset.language === view.language));
  }
  setText(byId('address'), address);
  showTiles(t);
  showFailure(t);
  showResult(t);
  showLog(t);
  showHelp(t);
  showSimulator(t);
}

function showTile(id, state, content) {
  const tile = byId(id);
  tile.dataset.state = state;
  setText(tile.querySelector('strong'), content);
}

function showTiles(t) {
  const { service, state } = view;
  if (!service) {
    const pending = service === undefined;
    showTile('service-tile', pending ? 'unknown' : 'bad', pending ? t.asking : t.serviceDown);
    for (const id of ['reader-tile', 'card-tile']) showTile(id, 'unknown', pending ? t.asking : t.unknown);
    return;
  }
  showTile('service-tile', 'good', t.serviceUp);
  showTile('reader-tile', state.reader ? 'good' : 'bad', state.reader ? t.readerIn(state.serialNumber) : t.readerOut);
  showTile('card-tile', state.card ? 'good' : 'unknown', state.card ? t.cardIn : t.cardOut);
}

const currentFailure = () => view.connectionFailure ?? view.actionFailure;

function failureTexts(t, failure) {
  return t.failures[failure.code] ?? t.failures.other;
}

function showFailure(t) {
  const failure = currentFailure();
  const box = byId('failure');
  box.hidden = !failure;
  const [name, what, toDo] = failure ? failureTexts(t, failure) : ['', '', ''];
  setText(box.querySelector('h3'), name);
  // What no text was written for says at least what it says itself.
  setText(box.querySelector('.what'), failure && !t.failures[failure.code] ? `${what} (${failure})` : what);
  setText(box.querySelector('.to-do'), toDo);
}

function showResult(t) {
  const { result, reading, raw } = view;
  byId('read').setAttribute('aria-disabled', String(Boolean(reading)));
  setText(byId('read'), reading ? t.reading : t.readButton);
  const person = byId('person');
  if (result.daten) {
    const { name, lines } = describeInsured(result.daten, t, view.language);
    const list = element('dl');
    for (const [term, value] of lines) list.append(element('dt', term), element('dd', value));
    const made = element('div');
    made.append(element('p', name, 'name'), list);
    if (person.innerHTML !== made.innerHTML) person.replaceChildren(...made.childNodes);
  } else if (person.textContent !== t[result.note]) {
    person.replaceChildren(element('p', t[result.note], 'note'));
  }
  setText(byId('raw'), raw || t.noAnswerYet);
}

function showLog(t) {
  const { count, took: lastTook } = view.polls;
  setText(byId('polls'), count ? t.polls(count, lastTook) : t.noPolls);
  const rows = view.log.map(({ time, action, code, status, took }) => {
    const row = element('tr');
    const clock = time.toLocaleTimeString(view.language === 'de' ? 'de-DE' : 'en-GB');
    const outcome = code ? failureTexts(t, { code })[0] : status;
    row.append(element('td', clock), element('td', action), element('td', outcome), element('td', `${took} ms`));
    return row;
  });
  if (rows.length === 0) {
    const row = element('tr');
    const cell = element('td', t.logEmpty);
    cell.colSpan = 4;
    row.append(cell);
    rows.push(row);
  }
  byId('log').replaceChildren(...rows);
}

function showHelp(t) {
  const help = byId('help');
  if (help.lang !== view.language) {
    help.lang = view.language;
    const entries = Object.entries(t.failures).map(([code, [name, what, toDo]]) => {
      const entry = element('details');
      entry.dataset.code = code;
      entry.append(element('summary', name), element('p', what), element('p', toDo));
      return entry;
    });
    help.replaceChildren(...entries);
  }
  for (const entry of help.children) {
    entry.classList.toggle('current', entry.dataset.code === currentFailure()?.code);
  }
}

function announce(content) {
  byId('announcement').textContent = content;
}

/* ---- Reader and card ---- */

function forgetCard() {
  view.reading?.abort();
  if (view.result.daten || view.raw) {
    view.result = { note: 'cardGone' };
    view.raw = '';
  }
  view.actionFailure = undefined;
}

/** While the page is hidden nobody looks at the reader, and the card can be another one after it. */
function forgetWhenHidden() {
  if (!document.hidden) return;
  const held = view.result.daten || view.raw;
  forgetCard();
  if (held) view.result = { note: 'hiddenMeanwhile' };
  show();
}

function onEvent({ type, status, error }) {
  if (type === 'failed') {
    view.service = false;
    view.connectionFailure = error;
    view.state = { reader: false, card: false, serialNumber: '' };
    forgetCard();
  } else {
    view.service = true;
    view.connectionFailure = undefined;
    view.state = stateOf(status);
    if (type === 'card-out') forgetCard();
    if (type === 'ready') view.actionFailure = undefined;
    announce(words().events[type]);
  }
  show();
}

/** Runs a call and writes it into the log, whatever becomes of it. */
async function logged(action, call) {
  const time = new Date();
  const started = performance.now();
  const entry = { time, action };
  try {
    const answer = await call();
    entry.status = `${answer.status}`;
    return answer;
  } catch (failure) {
    entry.code = failure.code ?? 'other';
    throw failure;
  } finally {
    entry.took = Math.round(performance.now() - started);
    view.log = [entry, ...view.log].slice(0, loggedRequests);
  }
}

function noteOf({ status, message, daten }) {
  if (daten) return undefined;
  if (status === 'undefined') return 'noReader';
  return message === 'NO_Card_found' ? 'noCard' : 'otherCard';
}

async function readCard() {
  if (view.reading) return;
  const controller = new AbortController();
  view.reading = controller;
  view.actionFailure = undefined;
  show();
  try {
    const answer = await logged('read', () => client.read({ signal: controller.signal }));
    view.result = answer.daten ? { daten: answer.daten } : { note: noteOf(answer) };
    view.raw = JSON.stringify(answer, null, 2);
  } catch (failure) {
    view.actionFailure = failure;
    view.result = { note: failure.text ? 'rawOnly' : 'readFailed' };
    view.raw = failure.text ?? (failure.answer ? JSON.stringify(failure.answer, null, 2) : '');
  } finally {
    view.reading = undefined;
    show();
  }
}

async function closeCard() {
  view.actionFailure = undefined;
  try {
    const answer = await logged('close', () => client.close());
    view.result = { note: answer.status === 'NO_DEVICE' ? 'closeNoDevice' : 'closed' };
    view.raw = JSON.stringify(answer, null, 2);
  } catch (failure) {
    // To a person, ending what has ended is no failure.
    const isEmpty = failure.code === 'action-failed';
    view.actionFailure = isEmpty ? undefined : failure;
    view.result = { note: isEmpty ? 'noCard' : 'readFailed' };
    view.raw = failure.answer ? JSON.stringify(failure.answer, null, 2) : '';
  }
  show();
}

function countPolls() {
  const observer = new PerformanceObserver((list) => {
    const polls = list.getEntries().filter(({ name }) => name === `${address}/?action=status`);
    if (polls.length === 0) return;
    view.polls.count += polls.length;
    view.polls.took = Math.round(polls.at(-1).duration);
    showLog(words());
    performance.clearResourceTimings(); // The browser keeps a few hundred and then stops.
  });
  observer.observe({ type: 'resource', buffered: true });
}

/* ---- The simulator's buttons, where the demo server stands behind the page ---- */

async function askSimulator(command) {
  const signal = AbortSignal.timeout(simulatorPatience);
  const request = command ? { method: 'POST', body: JSON.stringify(command), signal } : { signal };
  const response = await fetch('/simulator', request);
  if (!response.headers.get('Content-Type')?.startsWith('application/json')) throw new Error('not the demo server');
  return response.json();
}

function showSimulator(t) {
  const { simulator } = view;
  byId('simulator').hidden = !simulator;
  if (!simulator) return;
  const group = byId('sample-cards');
  if (group.childElementCount === 0) {
    for (const name of simulator.cards) {
      const button = element('button');
      button.type = 'button';
      button.dataset.act = 'insert';
      button.dataset.card = name;
      group.append(button);
    }
  }
  for (const button of group.children) {
    const { card } = button.dataset;
    setText(button, t.sample[card] ?? card);
    button.setAttribute('aria-pressed', String(simulator.card === card));
  }
  setText(byId('simulator-reply'), view.simulatorNote === 'working' ? t.working : view.simulatorNote);
}

async function actOnSimulator({ act: action, card }) {
  view.simulatorNote = 'working';
  show();
  try {
    view.simulator = await askSimulator({ action, card });
    const { reply } = view.simulator;
    view.simulatorNote = reply === 'ok' ? words().done : words().refused(reply.replace(/^error: /, ''));
  } catch {
    view.simulatorNote = words().refused(words().demoGone);
  }
  show();
}

async function findSimulator() {
  try {
    view.simulator = await askSimulator();
    show();
  } catch {
    // The page stands on a plain web server: the reader is a real one.
  }
}

/* ---- Start ---- */

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
  view.language = language;
  try {
    localStorage.setItem('language', language);
  } catch {
    // As above.
  }
  show();
}

document.addEventListener('click', ({ target }) => {
  const { dataset = {} } = target.closest('button') ?? {};
  if (dataset.language) chooseLanguage(dataset.language);
  if (dataset.act) actOnSimulator(dataset);
});
document.addEventListener('visibilitychange', forgetWhenHidden);
byId('read').addEventListener('click', readCard);
byId('close').addEventListener('click', closeCard);

view.language = firstLanguage();
show();
countPolls();
client.onCard(onEvent);
findSimulator();
