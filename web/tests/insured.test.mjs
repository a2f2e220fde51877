// What the page makes of the data of a card, odd ones above all.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { dateText, describeInsured } from '../demo/insured.js';
import { texts } from '../demo/texts.js';

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

test('codes of sex and membership', () => {
  const lines = (sex, kind) => describeInsured({
    PersoenlicheVersicherungsdaten: { Versicherter: { Person: { Geschlecht: sex } } },
    AllgemeineVersicherungsdaten: { Versicherter: { Zusatzinfos: { ZusatzinfosGKV: { Versichertenart: kind } } } },
  }, texts.en, 'en').lines;
  for (const [sex, kind, ...shown] of [['D', '5', 'diverse', 'pensioner'], ['?', '9', '?', '9'], ['constructor', 'toString', 'constructor', 'toString']]) {
    assert.deepEqual(lines(sex, kind), [['Sex', shown[0]], ['Insured as', shown[1]]]);
  }
  assert.deepEqual(lines('', ''), []);
});
