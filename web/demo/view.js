// Writes the state out. Whatever is there already stays untouched: a screen reader hears what is new
// and no more, and the focus stays where it is.
import { describeInsured } from './insured.js';
import { canAct, failureOf, rawOf, situationOf, stripOf } from './state.js';
import { explain, texts } from './texts.js';

const byId = (id) => document.getElementById(id);

export function element(tag, content = '', className = '') {
  const made = document.createElement(tag);
  made.textContent = content;
  if (className) made.className = className;
  return made;
}

function setText(target, content) {
  if (target.textContent !== content) target.textContent = content;
}

/** Fills a list of terms anew, if it differs. */
function setTerms(list, terms) {
  const made = element('dl');
  for (const [term, value] of terms) made.append(element('dt', term), element('dd', value));
  if (list.innerHTML !== made.innerHTML) list.replaceChildren(...made.childNodes);
}

/** A button that can't do anything keeps the focus, so that a keyboard does not lose its place. */
function setEnabled(button, enabled) {
  button.setAttribute('aria-disabled', String(!enabled));
}

const clock = (time, language) => time.toLocaleTimeString(language === 'de' ? 'de-DE' : 'en-GB');

export function show(state) {
  const t = texts[state.language];
  document.documentElement.lang = state.language;
  document.title = t.title;
  for (const target of document.querySelectorAll('[data-text]')) setText(target, t[target.dataset.text]);
  for (const target of document.querySelectorAll('[data-label]')) target.setAttribute('aria-label', t[target.dataset.label]);
  for (const button of document.querySelectorAll('[data-language]')) {
    button.setAttribute('aria-pressed', String(button.dataset.language === state.language));
  }
  setText(byId('address'), state.address);
  showStrip(state, t);
  showPatient(state, t);
  showRequests(state, t);
  showHelp(state, t);
  showSimulator(state, t);
}

function showStrip(state, t) {
  const parts = document.querySelectorAll('#strip dl > div');
  for (const [i, [content, how]] of stripOf(state, t).entries()) {
    parts[i].dataset.state = how;
    setText(parts[i].querySelector('dd'), content);
  }
}

/** The person, or what stands in the way, or what to do next: exactly one of these. */
function showPatient(state, t) {
  const situation = situationOf(state);
  const failure = failureOf(state);
  const { card, language } = state;
  byId('patient').dataset.situation = situation;
  byId('situation').hidden = Boolean(failure) || situation === 'read';
  byId('failure').hidden = !failure;
  byId('person').hidden = situation !== 'read';
  const what = t.situations[situation] ?? '';
  const seconds = card.phase === 'reading' ? Math.floor((Date.now() - card.since) / 1000) : 0;
  setText(byId('situation').querySelector('.what'), what);
  setText(byId('situation').querySelector('.since'), situation === 'reading' && seconds ? t.readingSince(seconds) : '');
  const [name, cause, toDo, line] = failure ? explain(t, failure, state.address) : ['', '', ''];
  const box = byId('failure');
  setText(box.querySelector('h2'), name);
  setText(box.querySelector('.what'), cause);
  setText(box.querySelector('.to-do'), toDo);
  setText(box.querySelector('.line code'), line ?? '');
  box.querySelector('.line').hidden = !line;
  const spokenName = showPerson(situation === 'read' ? card.patient : undefined, state, t);
  const readAt = situation === 'read' ? t.readAt(clock(card.patient.readAt, language)) : '';
  setText(byId('read-at'), readAt);
  byId('read').hidden = situation !== 'read' && situation !== 'failed';
  setText(byId('spoken'), spokenName ? t.spokenRead(spokenName) : [what || name, toDo].filter(Boolean).join(' '));
}

/** Gives the name. */
function showPerson(patient, state, t) {
  const person = byId('person');
  const { name, about, number, lines } = patient
    ? describeInsured(patient.daten, t, state.language, new Date())
    : { name: '', about: '', number: '', lines: [] };
  setText(person.querySelector('.name'), name);
  setText(person.querySelector('.about'), about);
  person.querySelector('.number').hidden = !number;
  setText(person.querySelector('.number strong'), number);
  setText(byId('copy'), state.copied ? t.copied : t.copy);
  setTerms(person.querySelector('dl'), lines);
  return name;
}

function showRequests(state, t) {
  setText(byId('raw'), rawOf(state) || t.noAnswer);
  setEnabled(byId('close'), state.service === 'up' && state.device.card);
  showPolls(state);
  const rows = state.calls.map(({ at, action, code, status, took }) => {
    const row = element('tr');
    const outcome = code ? explain(t, { code }, state.address)[0] : status;
    row.append(element('td', clock(at, state.language)), element('td', action), element('td', outcome), element('td', `${took} ms`));
    return row;
  });
  const none = element('tr');
  none.append(Object.assign(element('td', t.logEmpty), { colSpan: 4 }));
  byId('log').replaceChildren(...(rows.length > 0 ? rows : [none]));
}

export function showPolls({ polls, language }) {
  setText(byId('polls'), polls.count ? texts[language].polls(polls.count, polls.took) : '');
}

function showHelp(state, t) {
  setTerms(byId('help').querySelector('dl'), Object.keys(t.failures).filter((code) => code !== 'other').map((code) => {
    const [name, cause, toDo, line] = explain(t, { code }, state.address);
    return [name, [cause, toDo, line].filter(Boolean).join(' ')];
  }));
}

function showSimulator(state, t) {
  const { simulator, refusal } = state;
  byId('simulator').hidden = !simulator;
  document.body.classList.toggle('with-simulator', Boolean(simulator));
  if (!simulator) return;
  const group = byId('sample-cards');
  for (const card of simulator.cards.slice(group.childElementCount)) {
    const button = element('button');
    Object.assign(button, { type: 'button' });
    Object.assign(button.dataset, { act: 'insert', card });
    button.append(element('b'), ' ', element('small'));
    group.append(button);
  }
  for (const button of group.children) {
    const { card } = button.dataset;
    const [name, use] = t.samples[card] ?? [card, ''];
    setText(button.firstChild, name);
    setText(button.lastChild, use);
    button.setAttribute('aria-pressed', String(simulator.card === card));
  }
  for (const button of byId('simulator').querySelectorAll('[data-act]')) {
    setEnabled(button, canAct(state, button.dataset.act, button.dataset.card));
  }
  setText(byId('refusal'), refusal ? t.refused(t.refusals[refusal] ?? t.refusals.other) : '');
}
