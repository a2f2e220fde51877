// docs/API.md and docs/answer.schema.json against the real service: each sample is run as it
// stands there, and each real answer is held against the schema.
import Ajv from 'ajv/dist/2020.js';
import assert from 'node:assert/strict';
import { execFile } from 'node:child_process';
import { cp, mkdtemp, readFile, rm, writeFile } from 'node:fs/promises';
import { connect } from 'node:net';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { test } from 'node:test';
import { promisify } from 'node:util';
import { parseRepeated } from '../client/kv500.js';
import { card, oddCard, root, sleep, startServer, startSimulator, until } from './bench.mjs';
import { openPage, startBrowser } from './browser.mjs';

const documentedPort = /127\.0\.0\.1:5724/g;

/** Asks as curl does, on a connection of its own, and gives the body. */
async function ask(address, action) {
  const { stdout } = await promisify(execFile)('curl', ['-s', `${address}/?action=${action}`], { encoding: 'latin1' });
  return stdout;
}

/** Puts reader and card into a state: "unplugged", "none", or the card's name or folder. */
async function arrange(simulator, state) {
  await simulator.command('unplug');
  if (state === 'unplugged') return;
  await simulator.command('plug');
  if (state !== 'none') assert.equal(await simulator.command(`insert ${state.includes('/') ? state : card(state)}`), 'ok');
  const sign = state === 'none' ? 'NO_Card_found' : 'OK_Card_Presence';
  await until(async () => (await ask(simulator.address, 'status')).includes(sign), state);
}

/** The fenced blocks of the reference, with the state that each asks for. */
function blocksOf(text) {
  const pattern = /(?:<!-- card: (\S+) -->\n)?```(\w+)\n([^]*?)\n?```\n/g;
  return [...text.matchAll(pattern)].map(([, state, language, body]) => ({ state, language, body }));
}

/** Runs one sample in a folder that has the client in it; gives what it says. */
async function run(t, { language, body }, folder, port) {
  const source = body.replace(documentedPort, `127.0.0.1:${port}`);
  if (language === 'html') return runInBrowser(t, source, folder, port);
  const [program, name] = { sh: ['sh', 'sample.sh'], js: ['node', 'sample.mjs'], python: ['python3', 'sample.py'] }[language];
  const file = join(folder, name);
  await writeFile(file, source);
  const env = { ...process.env, PYTHONIOENCODING: 'utf-8' };
  const { stdout } = await promisify(execFile)(program, [file], { cwd: folder, env, timeout: 20000 });
  return stdout;
}

async function runInBrowser(t, source, folder, port) {
  const address = await startServer(t, async (request, response) => {
    const script = request.url === '/kv500.js';
    response.setHeader('Content-Type', script ? 'text/javascript' : 'text/html');
    // The page takes the client's own address, which here is another.
    const client = await readFile(join(folder, 'kv500.js'), 'utf8');
    response.end(script ? client.replace(documentedPort, `127.0.0.1:${port}`) : source);
  });
  const browser = await startBrowser(t);
  const page = await openPage(browser, address);
  const said = page.locator('#said');
  await until(async () => (await said.innerText()).length > 1, 'what the page says');
  return said.innerText();
}

test('every sample of the reference does what stands below it', { timeout: 120000 }, async (t) => {
  const simulator = await startSimulator(t);
  const folder = await mkdtemp(join(tmpdir(), 'kv500-samples-'));
  t.after(() => rm(folder, { recursive: true, force: true }));
  await cp(join(root, 'web/client/kv500.js'), join(folder, 'kv500.js'));
  await writeFile(join(folder, 'package.json'), '{ "type": "module" }');
  const blocks = blocksOf(await readFile(join(root, 'docs/API.md'), 'utf8'));
  let samples = 0;
  for (const [i, block] of blocks.entries()) {
    if (!['sh', 'js', 'html', 'python'].includes(block.language)) continue;
    await t.test(`${block.language}: ${block.body.split('\n')[0]}`, async () => {
      assert.ok(block.state && blocks[i + 1]?.language === 'output', 'a sample has a state and an output');
      await arrange(simulator, block.state);
      const output = await run(t, block, folder, simulator.port);
      assert.equal(output.trimEnd(), blocks[i + 1].body.trimEnd());
    });
    ++samples;
  }
  assert.ok(samples >= 15, `${samples} samples found`);
});

test('requests that are answered, and those that are not', async (t) => {
  const simulator = await startSimulator(t);
  const send = (request) => new Promise((resolve, reject) => {
    let answer = '';
    const socket = connect(simulator.port, '127.0.0.1', () => socket.write(request));
    socket.setEncoding('latin1').on('data', (data) => (answer += data)).on('end', () => resolve(answer)).on('error', reject);
  });
  const cases = [
    ['GET /?x=1&action=read&action=status HTTP/1.1\r\n\r\n', '"action": "status"'],
    ['GET /?%61ction=status HTTP/1.1\r\n\r\n', '"action": "status"'],
    ['GET /?action=st%61tus HTTP/1.1\r\n\r\n', '"action": "st%61tus",\n"status": "ERROR"'],
    ['GET /page?action=status HTTP/1.1\r\n\r\n', '"action": "MISSING_GET_PARAM"'],
    ['GET /?action=status HTTP/9 x\r\nHost: praxis.example\r\nOrigin: https://other.example\r\n\r\n', '"RUNNING"'],
    ['HEAD /?action=status HTTP/1.1\r\n\r\n', 'Content-Length: 195\r\n\r\n', 'nothing behind it'],
    ['GET /?action=status&x HTTP/1.1\r\n\r\n'],
    ['GET /?%zz=1&action=status HTTP/1.1\r\n\r\n'],
    ['GET /?action=status HTTP/1.1\r\nHost\r\n\r\n'],
    ['GET /?action=status\r\n\r\n'],
    ['POST /?action=status HTTP/1.1\r\n\r\n'],
    // Cut at 4096 bytes, within the last header's name.
    [`GET /?action=status HTTP/1.1\r\nCookie: ${'x'.repeat(4052)}\r\nAccept: x\r\n\r\n`],
  ];
  for (const [request, expected, isEnd] of cases) {
    const answer = await send(request);
    if (expected === undefined) assert.equal(answer, '', request);
    else if (isEnd) assert.ok(answer.endsWith(expected), answer);
    else assert.ok(answer.startsWith('HTTP/1.1 200 OK\r\n') && answer.includes(expected), `${request}${answer}`);
  }
});

test('a card that goes in opens the page of the sample settings', async (t) => {
  const reference = await readFile(join(root, 'docs/API.md'), 'utf8');
  const lines = blocksOf(reference).find(({ body }) => body.includes('CallBrowser=')).body.split('\n');
  const settings = Object.fromEntries(lines.map((line) => /^(\w+)=(.*)$/.exec(line).slice(1)));
  assert.equal(settings.BrowserCommand, '/usr/bin/chromium');
  const simulator = await startSimulator(t, { settings: { ...settings, BrowserCommand: '/bin/true' } });
  const events = [];
  simulator.onEvent = (line) => events.push(line);
  for (const [name, address] of [['mustermann', `${settings.URL}T027618425`], ['bankkarte', settings.URL]]) {
    await simulator.command('remove');
    await sleep(2000); // Shorter, and the card has only been moved.
    await simulator.command(`insert ${card(name)}`);
    await until(() => events.length > 0, 'the browser');
    assert.deepEqual(events.splice(0), [`browser "/bin/true" "${address}"`]);
  }
});

test('every answer fits the schema, and what is no answer does not', { timeout: 60000 }, async (t) => {
  const simulator = await startSimulator(t);
  const check = new Ajv({ strict: true, strictRequired: false, strictTypes: false }).compile(JSON.parse(await readFile(join(root, 'docs/answer.schema.json'), 'utf8')));
  const twice = await oddCard(t, 'mustermann', (xml) => xml.replace('<Titel>', '<Titel>Prof.</Titel><Titel>'));
  const seen = [];
  for (const state of ['unplugged', 'none', 'mustermann', 'familienversichertes-kind', 'bankkarte', 'beschaedigt', twice]) {
    await arrange(simulator, state);
    for (const action of ['status', 'read', 'close', 'reboot', '']) {
      // After a close the next look at the card connects again.
      const text = await ask(simulator.address, action);
      for (const answer of [JSON.parse(text), parseRepeated(text)]) {
        assert.ok(check(answer), `${state} ${action}: ${JSON.stringify(check.errors)}`);
        seen.push(answer);
      }
    }
  }
  // Each member matters: with one taken away, or one more, no answer fits.
  for (const answer of seen) {
    for (const name of Object.keys(answer)) {
      const { [name]: removed, ...rest } = answer;
      assert.ok(!check(rest), `without ${name}: ${JSON.stringify(rest)}`);
    }
    assert.ok(!check({ ...answer, more: 1 }));
    assert.ok(!check({ ...answer, status: 'FINE' }));
  }
  const device = seen.find(({ message, action }) => action === 'status' && message.deviceStatus);
  for (const wrong of [{ ...device, daten: null }, { ...device, message: { ...device.message, CardPresence: '' } }, { ...device, message: 'NO_Card_found' }, null, [], 'OK']) {
    assert.ok(!check(wrong), JSON.stringify(wrong));
  }
});
