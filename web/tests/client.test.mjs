// The client against the real service on a simulated reader, and against servers that misbehave.
import assert from 'node:assert/strict';
import { readFile } from 'node:fs/promises';
import { test } from 'node:test';
import { gzipSync } from 'node:zlib';
import * as client from '../client/kv500.js';
import { freePort } from '../demo/simulator.mjs';
import { card, oddCard, occupy, sleep, startServer, startSimulator, until } from './bench.mjs';

const { KV500, parseRepeated, stateOf } = client;

const fails = (promise, type, members) =>
  assert.rejects(promise, (error) => {
    assert.ok(error instanceof type && error instanceof client.KV500Error, String(error.stack));
    assert.ok(error.message.length > 20, 'a text for a person');
    for (const [name, value] of Object.entries(members)) assert.deepEqual(error[name], value, name);
    return true;
  });

test('the state of reader and card, as plain objects', async (t) => {
  const simulator = await startSimulator(t);
  const reader = new KV500({ address: `${simulator.address}/` });
  const present = { deviceStatus: 'KV500_PRESENT', ApiVersion: '1.1.8', SerialNumber: 'SIM0001' };
  const empty = { ...present, CardPresence: 'NO_Card_found' };
  const full = { ...present, CardPresence: 'OK_Card_Presence' };
  const absent = 'USB_device_not_found';
  const cases = [
    { state: { reader: true, card: false, serialNumber: 'SIM0001' }, status: empty, read: ['OK', 'NO_Card_found'], close: null },
    { go: `insert ${card('bankkarte')}`, state: { reader: true, card: true, serialNumber: 'SIM0001' }, status: full, read: ['OK', full], close: ['OK', 'CLOSED'] },
    { go: 'unplug', state: { reader: false, card: false, serialNumber: '' }, status: absent, read: ['undefined', absent], close: ['NO_DEVICE', 'called close command'] },
  ];
  for (const { go, state, status, read, close } of cases) {
    if (go) assert.equal(await simulator.command(go), 'ok');
    // The first look after a change may still close the old connection.
    await until(async () => stateOf(await reader.status()).card === state.card, go);
    const answer = await reader.status();
    assert.deepEqual(answer, { action: 'status', status: 'RUNNING', message: status, serv_version: 97 });
    assert.deepEqual(stateOf(answer), state);
    assert.deepEqual(await reader.read(), { action: 'read', status: read[0], message: read[1], serv_version: 97, daten: null });
    if (close) {
      assert.deepEqual(await reader.close(), { action: 'close', status: close[0], message: close[1], serv_version: 97 });
    } else {
      await fails(reader.close(), client.ActionError, { code: 'action-failed', action: 'close' });
    }
  }
});

test('what stands on a card', async (t) => {
  const simulator = await startSimulator(t);
  const reader = new KV500({ address: simulator.address });
  const listed = new KV500({ address: simulator.address, repeated: true });
  const person = (answer) => answer.daten.PersoenlicheVersicherungsdaten.Versicherter.Person;
  const insert = async (folder) => {
    await simulator.command('remove');
    assert.equal(await simulator.command(`insert ${folder}`), 'ok');
    await until(async () => stateOf(await reader.status()).card, folder);
  };

  await t.test('letters of ISO-8859-15', async () => {
    await insert(await oddCard(t, 'sonderzeichen', (xml) => xml.replaceAll('&quot;', "'")));
    const { Vorname, Nachname, StrassenAdresse } = person(await reader.read());
    assert.equal(`${Vorname} ${Nachname}`, 'Žaneta Þórunn Šœnfußñer-Ÿäöü');
    assert.equal(StrassenAdresse.Strasse, 'Straße der 1000 €');
    assert.equal(StrassenAdresse.Ort, 'Überöd & Ärmelswört');
  });
  await t.test('quotation marks that break the JSON', async () => {
    await insert(card('sonderzeichen'));
    await assert.rejects(reader.read(), (error) => {
      assert.ok(error instanceof client.BrokenJsonError && error.code === 'broken-json');
      assert.match(error.text, /"Anschriftenzusatz":"c\/o Gästehaus "Zum Öchsle" & Söhne"/);
      return true;
    });
  });
  await t.test('several elements of one name', async () => {
    await insert(await oddCard(t, 'mustermann', (xml) => xml.replace('<Titel>', '<Titel>Prof.</Titel><Titel>')));
    assert.equal(person(await reader.read()).Titel, 'Dr. med.');
    assert.deepEqual(person(await listed.read()).Titel, ['Prof.', 'Dr. med.']);
    assert.equal(person(await listed.read()).Nachname, 'Mustermann');
  });
  await t.test('damaged', async () => {
    await insert(card('beschaedigt'));
    await fails(reader.read(), client.ActionError, { code: 'action-failed', action: 'read' });
    await reader.read().catch((error) => assert.equal(error.answer.daten, null));
  });
});

test('parseRepeated takes what JSON takes, and loses no member', () => {
  const plain = ['{}', '[]', 'null', '-1.5e3', '"a\\"}b\\u00e4\\\\"', '[1,[true,{"a":null}],"x,]"]', ' {"a" : {"b":[{},[]]} , "c":"{:" }\n'];
  for (const text of plain) assert.deepEqual(parseRepeated(text), JSON.parse(text), text);
  assert.deepEqual(parseRepeated('{"a":1,"b":2,"a":{"c":3,"c":4},"a":[]}'), { a: [1, { c: [3, 4] }, []], b: 2 });
  assert.deepEqual(Object.keys(parseRepeated('{"__proto__":{"a":1}}')), ['__proto__']);
  for (const text of ['', '{"a":1', '{"a":"b"c"}', '{"a":1,}', '{"a":"\n"}', '{} {}']) {
    assert.throws(() => parseRepeated(text), SyntaxError, text);
  }
});

test('failures are told apart', async (t) => {
  const simulator = await startSimulator(t);
  const busy = new KV500({ address: simulator.address, retries: 2, pause: 20 });

  await t.test('not running: said at once', async () => {
    const address = `http://127.0.0.1:${await freePort()}`;
    const before = Date.now();
    await fails(new KV500({ address, pause: 5000 }).status(), client.ServiceNotRunningError, { code: 'not-running', address });
    assert.ok(Date.now() - before < 2000);
  });
  await t.test('an address where nobody can be: not taken for a busy service', async () => {
    // Neither a refused connection nor one that was closed: the port is one that fetch never asks.
    await fails(new KV500({ address: 'http://127.0.0.1:1', pause: 5000 }).status(), client.ServiceNotRunningError, { code: 'not-running' });
  });
  await t.test('all connections busy: tried again, then given up', async () => {
    const release = await occupy(t, simulator.port, 8);
    await fails(busy.status(), client.NoAnswerError, { code: 'no-answer', tries: 3 });
    const patient = new KV500({ address: simulator.address, retries: 5, pause: 100 }).status();
    await sleep(150);
    release();
    assert.equal((await patient).status, 'RUNNING');
  });
  await t.test('a silent service, an impatient caller', async () => {
    const address = await startServer(t, () => {});
    await fails(new KV500({ address, timeout: 200 }).read(), client.TimeoutError, { code: 'timeout', milliseconds: 200 });
    const controller = new AbortController();
    const call = new KV500({ address }).read({ signal: controller.signal });
    setTimeout(() => controller.abort('enough'), 50);
    await fails(call, client.AbortedError, { code: 'aborted', name: 'AbortError', cause: 'enough' });
    await fails(new KV500({ address }).read({ signal: controller.signal }), client.AbortedError, { code: 'aborted' });
  });
  await t.test('some other server', async () => {
    const bodies = { html: '<html>', json: '{"action": "status"}', wrong: '{\n"action": "read",\n"status": "OK"}' };
    const address = await startServer(t, (request, response) => response.end(bodies[request.url.split('/')[1]]));
    for (const [path, text] of Object.entries(bodies)) {
      const own = new KV500({ address: `${address}/${path}` });
      await fails(own.status(), client.ForeignAnswerError, { code: 'foreign-answer', text });
    }
  });
  await t.test('an answer cut short counts as none', async () => {
    let requests = 0;
    const address = await startServer(t, (request, response) => {
      ++requests;
      response.writeHead(200, { 'Content-Length': 100 });
      response.write('{\n"action"');
      setTimeout(() => response.destroy(), 20);
    });
    await fails(new KV500({ address, retries: 1, pause: 10 }).status(), client.NoAnswerError, { tries: 2 });
    assert.equal(requests, 2);
  });
});

test('onCard tells what comes and goes', async (t) => {
  const simulator = await startSimulator(t, { args: ['--unplugged'] });
  const reader = new KV500({ address: simulator.address, retries: 1, pause: 50 });
  const events = [];
  const stop = reader.onCard(({ type, error }) => events.push(error?.code ?? type), { interval: 250 });
  t.after(stop);
  const stopForCard = () => {
    simulator.args = ['--card', card('mustermann')];
    return simulator.stop();
  };
  const steps = [
    [() => {}, ['ready']],
    [() => simulator.command('plug'), ['reader-in']],
    [() => simulator.command(`insert ${card('mustermann')}`), ['card-in']],
    [() => simulator.command('remove'), ['card-out']],
    [() => simulator.command(`insert ${card('mustermann')}`), ['card-in']],
    [() => simulator.command('unplug'), ['card-out', 'reader-out']],
    [() => simulator.stop(), ['not-running']],
    [() => simulator.start(), ['ready']],
    [() => simulator.command('plug'), ['reader-in']],
    [() => simulator.command(`insert ${card('mustermann')}`), ['card-in']],
    [stopForCard, ['not-running']],
    // The card that was in is told again.
    [() => simulator.start(), ['ready', 'reader-in', 'card-in']],
  ];
  for (const [act, expected] of steps) {
    await act();
    await until(() => events.length >= expected.length, `${expected} after ${act}`);
    assert.deepEqual(events.splice(0), expected);
  }
  stop();
  await simulator.command('plug');
  await sleep(600);
  assert.deepEqual(events, []);
});

test('onCard asks one at a time, once an interval, and not while the page is hidden', async (t) => {
  let requests = 0;
  let underWay = 0;
  let most = 0;
  let delay = 0;
  const address = await startServer(t, async (request, response) => {
    ++requests;
    most = Math.max(most, ++underWay);
    await sleep(delay);
    --underWay;
    response.end('{\n"action": "status",\n"status": "RUNNING",\n"message": "USB_device_not_found",\n"serv_version": 97\n}\n');
  });
  globalThis.document = Object.assign(new EventTarget(), { hidden: false });
  t.after(() => delete globalThis.document);
  const show = (shown) => {
    document.hidden = !shown;
    document.dispatchEvent(new Event('visibilitychange'));
  };
  const controller = new AbortController();
  // An interval below the least one is raised to it.
  new KV500({ address }).onCard(() => {}, { interval: 1, signal: controller.signal });
  t.after(() => controller.abort());

  await sleep(1100);
  assert.ok(requests >= 3 && requests <= 5, `${requests} requests in 1.1 s at an interval of 250 ms`);
  delay = 700;
  await sleep(1600);
  assert.equal(most, 1);
  delay = 0;
  show(false);
  await sleep(800);
  requests = 0;
  await sleep(600);
  assert.equal(requests, 0, 'hidden');
  show(true);
  await until(() => requests > 0, 'a request when the page is seen again');
  controller.abort();
  await sleep(100);
  requests = 0;
  await sleep(600);
  assert.equal(requests, 0, 'stopped');
});

test('a client of less than 6 kB compressed', async () => {
  const source = await readFile(new URL('../client/kv500.js', import.meta.url));
  assert.ok(gzipSync(source, { level: 9 }).length < 6000);
});
