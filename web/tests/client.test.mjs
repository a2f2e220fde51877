// The client in each state of service, reader and card.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { KV500, parseRepeated, stateOf } from '../client/kv500.js';
import { sample, sleep, startFake, until } from './bench.mjs';

test('each state, as plain objects', async (t) => {
  const fake = await startFake(t);
  const reader = new KV500({ address: `${fake.address}/` });
  const device = (CardPresence) => ({ deviceStatus: 'KV500_PRESENT', ApiVersion: '1.1.8', SerialNumber: 'SIM0001', CardPresence });
  const cases = [
    [() => {}, [true, false, 'SIM0001'], device('NO_Card_found'), 'NO_Card_found'],
    [() => fake.insert('other'), [true, true, 'SIM0001'], device('OK_Card_Presence'), device('OK_Card_Presence')],
    [() => fake.unplug(), [false, false, ''], 'USB_device_not_found', 'USB_device_not_found'],
  ];
  for (const [go, [hasReader, hasCard, serialNumber], message, read] of cases) {
    go();
    const answer = await reader.status();
    assert.deepEqual(answer, { action: 'status', status: 'RUNNING', message, serv_version: 97 });
    assert.deepEqual(stateOf(answer), { reader: hasReader, card: hasCard, serialNumber });
    assert.deepEqual({ ...(await reader.read()), status: '' }, { action: 'read', status: '', message: read, serv_version: 97, daten: null });
  }
  assert.equal((await reader.close()).status, 'NO_DEVICE');
});

test('letters of ISO-8859-15, and elements that occur several times', async (t) => {
  const fake = await startFake(t);
  const person = async (options) => (await new KV500({ address: fake.address, ...options }).read()).daten.PersoenlicheVersicherungsdaten.Versicherter.Person;
  fake.insert(await sample('sonderzeichen', (xml) => xml.replaceAll('&quot;', "'").replace('<Titel>', '<Titel>von</Titel><Titel>')));
  const { Vorname, Nachname, StrassenAdresse, Titel } = await person();
  assert.equal(`${Titel} ${Vorname} ${Nachname}, ${StrassenAdresse.Strasse}`, 'Prof. Dr. Žaneta Þórunn Šœnfußñer-Ÿäöü, Straße der 1000 €');
  assert.deepEqual((await person({ repeated: true })).Titel, ['von', 'Prof. Dr.']);
});

test('parseRepeated takes what JSON takes, and loses no member', () => {
  const plain = ['{}', '[]', 'null', '-1.5e3', '"a\\"}b\\u00e4\\\\"', '[1,[true,{"a":null}],"x,]"]', ' {"a" : {"b":[{},[]]} , "c":"{:", "1 d":"e:" }\n', '{"b":1,"a\\"":2}'];
  for (const text of plain) assert.deepEqual(parseRepeated(text), JSON.parse(text), text);
  assert.deepEqual(parseRepeated('{"a":1,"b":2,"a":{"c":3,"c":4},"a":[]}'), { a: [1, { c: [3, 4] }, []], b: 2 });
  assert.deepEqual(Object.keys(parseRepeated('{"__proto__":{"a":1}}')), ['__proto__']);
  for (const text of ['', '{"a":1', '{"a":"b"c"}', '{"a":1,}', '{"a":"\n"}', '{} {}']) {
    assert.throws(() => parseRepeated(text), SyntaxError, text);
  }
});

test('onCard tells what comes and goes', async (t) => {
  const fake = await startFake(t);
  fake.unplug();
  const events = [];
  const stop = new KV500({ address: fake.address, retries: 1, pause: 50 }).onCard(({ type, error }) => events.push(error?.code ?? type), { interval: 250 });
  t.after(stop);
  const steps = [
    [() => {}, ['ready']],
    [() => fake.plug(), ['reader-in']],
    [() => fake.insert('other'), ['card-in']],
    [() => fake.remove(), ['card-out']],
    [() => fake.insert('other'), ['card-in']],
    [() => fake.stop(), ['not-running']],
    [() => fake.start(), ['ready', 'reader-in', 'card-in']], // The card that was in is told again.
    [() => fake.unplug(), ['card-out', 'reader-out']],
  ];
  for (const [act, expected] of steps) {
    await act();
    await until(() => events.length >= expected.length, `${expected} after ${act}`);
    assert.deepEqual(events.splice(0), expected);
  }
  stop();
  fake.plug();
  await sleep(600);
  assert.deepEqual(events, []);
});

test('one request at a time, once an interval, and none while the page is hidden', async (t) => {
  const fake = await startFake(t);
  fake.insert({});
  globalThis.document = Object.assign(new EventTarget(), { hidden: false });
  t.after(() => delete globalThis.document);
  const show = (shown) => {
    document.hidden = !shown;
    document.dispatchEvent(new Event('visibilitychange'));
  };
  const told = [];
  const handlers = { read: () => told.push('read'), gone: (reason) => told.push(reason), failed: ({ code }) => told.push(code) };
  const controller = new AbortController();
  const watch = (options) => new KV500({ address: fake.address }).onPatient(handlers, { interval: 1, signal: controller.signal, ...options });
  const requestsIn = async (time) => {
    const before = fake.requests.status;
    await sleep(time);
    return fake.requests.status - before;
  };
  watch();
  await until(() => told.length, 'the data');
  const polls = await requestsIn(1100);
  assert.ok(polls >= 3 && polls <= 5, `${polls} requests in 1.1 s at the least interval, 250 ms`);
  fake.delay(700, 'status');
  assert.ok((await requestsIn(1500)) <= 2, 'never two at once');
  fake.heal();
  show(false);
  await until(() => told.includes('hidden'), 'what was told is gone');
  await sleep(300);
  assert.equal(await requestsIn(600), 0, 'hidden');
  fake.delay(300, 'read');
  show(true);
  await sleep(150);
  show(false); // In the middle of reading.
  await sleep(500);
  show(true);
  await until(() => told.filter((one) => one === 'read').length === 2, 'read again');
  controller.abort();
  assert.equal(await requestsIn(600), 0, 'stopped');
  assert.deepEqual(told.splice(0), ['read', 'hidden', 'hidden', 'read', 'stopped']);

  // A page may want to go on for a while, and to be told if its timers stood still meanwhile.
  fake.heal();
  const stop = watch({ hiddenFor: 1000, signal: undefined });
  await until(() => told.length, 'the data');
  show(false);
  assert.ok((await requestsIn(700)) > 0);
  show(true);
  assert.deepEqual(told, ['read']);
  show(false);
  await until(() => told.length === 2, 'hidden for long');
  stop();
  assert.deepEqual(told, ['read', 'hidden']);
});
