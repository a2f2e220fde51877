// @kv500/fake against the real service, byte for byte.
import assert from 'node:assert/strict';
import { mkdtemp, readFile, rm, writeFile } from 'node:fs/promises';
import { connect } from 'node:net';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { test } from 'node:test';
import { KV500 } from '../client/kv500.js';
import { card, sample, sleep, startFake, startSimulator, until } from './bench.mjs';

/** All that comes for a request, a character a byte. */
const send = (port, request) => new Promise((resolve) => {
  let answer = '';
  const socket = connect(port, '127.0.0.1', () => socket.write(request, 'latin1'));
  socket.setEncoding('latin1').on('data', (data) => (answer += data)).on('error', () => {}).on('close', () => resolve(answer));
});

const get = (target, more = '') => `GET ${target} HTTP/1.1\r\n${more}\r\n`;
const actions = ['status', 'read', 'close'].flatMap((action) => [get(`/?action=${action}`), `HEAD /?action=${action} HTTP/1.1\r\n\r\n`]);
const odd = [
  ...['/', '/?', '/?x=1', '/page?action=status', '/?action=', '/?action=reboot', '/?action=STATUS', '/?action=st%61tus',
    '/?action="\\%zz\xe4', '/?x=1&action=read&action=status', '/?%61ction=status', '/?action=status&', '/?&action=status',
    '/?action=status&&x=1', '/?action=status&x', '/?=&action=status', '/?a=b=c&action=close=1', '/?%zz=1&action=status', '/?%6=1',
    '/?action=status&%4', '/?%00=1&action=status', '/?a+b=1', '/?action=status#x'].map((target) => get(target)),
  get('/?action=status', 'Host: a b\r\nA:\r\nB \r\n'), get('/?action=status', 'Host\r\n'), get('/?action=status', '\r\nFoo\r\n'),
  get('/?action=status', `Cookie: ${'x'.repeat(4051)}\r\nAccept: x\r\n`), get('/?action=status', `Cookie: ${'x'.repeat(4054)}\r\nAccept: x\r\n`),
  'GET /?action=status HTTP/9 x\r\n\r\n', '  GET   /?action=status   y z', 'GET /?action=status\r\n\r\n', 'GET /?action=status \r\n\r\n', 'GET\r\n\r\n',
  'GET\t/?action=status HTTP/1.1\r\n\r\n', 'get /?action=status HTTP/1.1\r\n\r\n', 'POST /?action=status HTTP/1.1\r\n\r\n', '\r\nGET /?action=status HTTP/1.1\r\n',
  'OPTIONS * HTTP/1.1\r\n\r\n', 'OPTIONS /?x HTTP/1.1\nFoo\n\n', 'OPTIONS /?x HTTP/1.1\n\n', 'GET /?action=status\0 HTTP/1.1\r\n\r\n', 'GET /?action=close HTTP/1.1\n\0Foo\n',
  'HEAD /?action=none HTTP/1.1\r\n\r\n', 'SSH-2.0-x\r\n', '\x16\x03\x01\x02\x00\x01', ' \r\n',
];

const xml = (content, head = '<?xml version="1.0" encoding="ISO-8859-15"?>') => `${head}<x:Wurzel xmlns:x="urn:x" a="&lt;">${content}</x:Wurzel>`;
// Compressed, a card's personal data have to take 256 bytes.
const filling = Array.from({ length: 60 }, (_, i) => `<F${i}>${(i * 7919 % 1e6).toString(36)}</F${i}>`).join('');
const documents = {
  'elements and texts': '<A><B>x</B><D a="1" b=\'2\'><E>y</E></D></A>',
  'names with prefixes': '<v:A xmlns:v="urn:v"><v:w:B>1</v:w:B></v:A>',
  'repeated elements': '<A>1</A><A>2</A><A><B/></A>',
  'no text': '<A/><B></B><C a="1"/><D> </D><E>\n</E>',
  'text with others': '<A>text<B>1</B></A><B>1<!-- x -->2</B><C><!-- x -->2</C><D><!X>2</D><E><B>1</B>text</E>',
  'blanks and lines': '<A>  a \r\n b\rc\n </A>\n <B>\tx</B>\n',
  references: '<A>&lt;&gt;&amp;&quot;&apos;&#65;&#x42;&#352;&#xE4;&#8364;&#128512;</A><B>&unknown; &amp x &;</B><C>a&#10;b</C>',
  'data sections': '<A><![CDATA[<b> & "c"]]></A><B>x<![CDATA[y]]></B>',
  'letters': '<A>äöüß€ŠšŽžŒœŸ §</A><Ä>x</Ä>',
};

test('the same bytes for every action, state and request', { timeout: 60000 }, async (t) => {
  const folder = await mkdtemp(join(tmpdir(), 'kv500-xml-'));
  t.after(() => rm(folder, { recursive: true, force: true }));
  const simulator = await startSimulator(t, { settings: { AllowOrigin: 'https://praxis.example' } });
  const fake = await startFake(t, { allowOrigin: 'https://praxis.example' });
  let compared = 0;
  const compare = async (what, requests) => {
    for (const request of requests) {
      const [real, faked] = [await send(simulator.port, request), await send(fake.port, request)];
      assert.equal(faked, real, `${what}: ${request.slice(0, 80)}`);
      ++compared;
    }
  };
  const swap = async (path, faked) => {
    await simulator.command('remove');
    assert.equal(await simulator.command(`insert ${path}`), 'ok', path);
    fake.insert(faked);
    await until(async () => (await send(simulator.port, actions[0])).includes('OK_Card'), path);
  };

  await compare('no card', [...actions, ...odd]);
  await swap(card('bankkarte'), 'other');
  await compare('another card', actions);
  await swap(card('beschaedigt'), 'damaged');
  await compare('a damaged card', actions);
  for (const name of ['mustermann', 'familienversichertes-kind', 'ein-name', 'sonderzeichen']) {
    await swap(card(name), await sample(name));
    await compare(name, [...actions, get('/?action=read')]);
  }
  for (const [name, content] of Object.entries(documents)) {
    const own = { VD: xml(content), PD: xml(content + filling, '') };
    const latin9 = (text) => text.replace(/[€ŠšŽžŒœŸ]/g, (letter) => String.fromCharCode({ '€': 0xa4, Š: 0xa6, š: 0xa8, Ž: 0xb4, ž: 0xb8, Œ: 0xbc, œ: 0xbd, Ÿ: 0xbe }[letter]));
    for (const file of ['VD', 'PD']) await writeFile(join(folder, `${file}.xml`), latin9(own[file]), 'latin1');
    await swap(folder, own);
    await compare(name, [get('/?action=read')]);
  }
  for (const broken of ['<A>', '<A></B>', 'text', '</A>', '', '<A><?x y?><B/></A>', '<A><B></A></B>', '<A/>', '<!X><?x y?><A><B/></A>', '<A><B a=1/></A>']) {
    const own = { VD: broken, PD: xml(filling) };
    for (const file of ['VD', 'PD']) await writeFile(join(folder, `${file}.xml`), own[file]);
    await swap(folder, own);
    await compare(broken, [get('/?action=read')]);
  }
  // An object gives what its XML gives.
  await swap(card('mustermann'), await sample('mustermann'));
  const { daten } = await new KV500({ address: fake.address }).read();
  fake.insert(daten);
  await compare('an object', [get('/?action=read')]);

  await simulator.command('plug');
  fake.plug();
  await until(async () => (await send(simulator.port, actions[0])).includes('not_found'), 'two readers');
  await compare('two readers', actions);
  for (const what of ['one reader', 'no reader']) {
    await simulator.command('unplug');
    fake.unplug();
    await sleep(1500); // The service looks for readers each second.
    if (what === 'no reader') await compare(what, [...actions, ...odd]);
  }
  t.diagnostic(`${compared} answers compared`);
});

test('delays, failures and stops as a test wants them', async (t) => {
  const fake = await startFake(t);
  const reader = new KV500({ address: fake.address, retries: 0, timeout: 400 });
  const outcome = () => reader.read().then(({ daten, message }) => daten ?? message, ({ code }) => code);
  const twice = { PersoenlicheVersicherungsdaten: { Versicherter: { Titel: ['Dr.', 'Prof.'], Vorname: 'Žoë "€"' } } };

  assert.equal(await outcome(), 'NO_Card_found');
  fake.insert(twice);
  assert.equal(await outcome(), 'broken-json');
  assert.throws(() => fake.insert({ PersoenlicheVersicherungsdaten: { Nachname: '中' } }), /"中" can't stand on a card/);
  assert.throws(() => fake.insert({ PersoenlicheVersicherungsdaten: { Nachname: '¤' } }), /can't stand/);
  twice.PersoenlicheVersicherungsdaten.Versicherter.Vorname = 'Žoë';
  fake.insert(twice);
  assert.deepEqual((await outcome()).PersoenlicheVersicherungsdaten, { Versicherter: { Titel: 'Prof.', Vorname: 'Žoë' } });
  for (const [failure, code] of [['close', 'no-answer'], ['cut', 'no-answer'], ['stall', 'timeout'], ['foreign', 'foreign-answer']]) {
    fake.fail(failure, { action: 'read', times: 1 });
    assert.equal((await reader.status()).status, 'RUNNING');
    assert.equal(await outcome(), code);
    assert.equal(typeof (await outcome()), 'object');
  }
  fake.delay(600, 'read');
  const slow = outcome();
  await sleep(50);
  assert.equal(await reader.status().catch(({ code }) => code), 'timeout', 'the reader is busy');
  assert.equal(await slow, 'timeout');
  fake.heal();
  await fake.stop();
  await assert.rejects(new KV500({ address: fake.address, pause: 10 }).read(), { code: 'not-running' });
  await fake.start();
  assert.equal(typeof (await outcome()), 'object', 'the card stayed');
  const silent = await Promise.all(Array.from({ length: 8 }, () => new Promise((resolve) => {
    const socket = connect(fake.port, '127.0.0.1', () => resolve(socket));
  })));
  assert.equal(await outcome(), 'no-answer', 'nine connections');
  const patient = new KV500({ address: fake.address, retries: 5, pause: 100 }).status();
  await sleep(150);
  silent.forEach((socket) => socket.destroy());
  assert.equal((await patient).status, 'RUNNING', 'tried again');
});
