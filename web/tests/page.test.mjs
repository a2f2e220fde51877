// What the page makes of the data of a card, odd ones above all, and its texts.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { ageAt, dateText, describeInsured } from '../demo/insured.js';
import { explain, texts } from '../demo/texts.js';

test('dates in words, and what is none as it stands', () => {
  const cases = {
    19640812: '12 August 1964', 20000229: '29 February 2000', // Whole.
    19640800: 'August 1964', 19640000: '1964', 19640012: '1964', 196408: 'August 1964', 1964: '1964', // In part.
    '00000000': '', '00000812': '', '0000': '', '': '', // Not at all.
    '00640812': '00640812', 19641301: '19641301', 19640231: '19640231', 19640832: '19640832', 'about 1964': 'about 1964',
  };
  for (const [written, shown] of Object.entries(cases)) assert.equal(dateText(written, 'en'), shown, written);
  assert.equal(dateText('19591103', 'de'), '3. November 1959');
});

test('ages', () => {
  const now = new Date(2026, 7, 12); // 12 August 2026.
  const cases = {
    19640812: { years: 62 }, 19640813: { years: 61 }, 19640731: { years: 62 }, 20250812: { years: 1 },
    20250813: { months: 11 }, 20260812: { months: 0 }, 20260813: undefined, 19640800: undefined, 19641301: undefined,
  };
  for (const [born, age] of Object.entries(cases)) assert.deepEqual(ageAt(born, now), age, born);
  assert.equal(texts.de.born(dateText('20250813', 'de'), { months: 11 }), 'geboren am 13. August 2025 (11 Monate)');
  assert.equal(texts.de.born(dateText('19640000', 'de')), 'geboren 1964');
});

test('codes, and elements that are absent, repeated or of another shape', () => {
  const describe = (person, general = {}) => describeInsured({
    PersoenlicheVersicherungsdaten: { Versicherter: { Person: person } },
    AllgemeineVersicherungsdaten: { Versicherter: general },
  }, texts.de, 'de', new Date());
  for (const [sex, shown] of [['M', 'männlich'], ['W', 'weiblich'], ['X', 'unbestimmt'], ['D', 'divers'], ['?', '?'], ['constructor', 'constructor'], ['', '']]) {
    assert.equal(describe({ Geschlecht: sex }).about, shown);
  }
  assert.deepEqual(describe({}, { Zusatzinfos: { ZusatzinfosGKV: { Versichertenart: '5' } } }).lines, [['Versichertenart', 'Rentner/in']]);
  assert.equal(describe({ Titel: ['Prof.', 'Dr.'], Nachname: 'Muster' }).name, 'Prof., Dr. Muster');
  assert.equal(describe({ Vorname: '-', Nachname: 'Muster' }).name, 'Muster');
  for (const odd of ['', [], 'text', null, [{}, {}]]) assert.equal(describe(odd).name, 'Kein Name auf der Karte');
  assert.deepEqual(describeInsured({}, texts.en, 'en', new Date()), { name: 'No name on the card', about: '', number: '', lines: [] });
});

test('every text in both languages', () => {
  const shape = (value) => (Object(value) === value && typeof value !== 'function' ? Object.entries(value).map(([name, one]) => [name, shape(one)]) : typeof value);
  assert.deepEqual(shape(texts.de), shape(texts.en));
  for (const t of Object.values(texts)) {
    for (const code of Object.keys(t.failures)) {
      const told = explain(t, { code, origin: 'https://praxis.example', message: 'x' }, 'http://127.0.0.1:6001');
      for (const part of told) assert.ok(!/undefined|NaN|\[object/.test(part) || code === 'insecure-page', `${code}: ${part}`);
    }
  }
  const line = (code) => explain(texts.en, { code, origin: 'https://praxis.example' }, 'http://127.0.0.1:6001')[3];
  assert.deepEqual([line('not-running'), line('origin-not-allowed'), line('foreign-answer')], ['Port=6001', 'AllowOrigin=https://praxis.example', 'Port=6002']);
});
