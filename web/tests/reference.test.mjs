// docs/API.md, docs/answer.schema.json and docs/openapi.json against the real service: each sample is
// run as it stands there, and each real answer is held against schema and description.
import { Validator } from '@seriousme/openapi-schema-validator';
import Ajv from 'ajv/dist/2020.js';
import assert from 'node:assert/strict';
import { execFile } from 'node:child_process';
import { mkdtemp, readFile, rm, symlink, writeFile } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { test } from 'node:test';
import { promisify } from 'node:util';
import { build } from 'esbuild';
import { parseRepeated } from '../client/kv500.js';
import { card, oddCard, root, startServer, startSimulator, until } from './bench.mjs';
import { openPage, startBrowser } from './browser.mjs';

const documentedPort = /127\.0\.0\.1:5724/g;

/** Asks as curl does, on a connection of its own, and gives header and body. */
async function ask(address, target, ...options) {
  const { stdout } = await promisify(execFile)('curl', ['-si', ...options, `${address}/${target}`], { encoding: 'latin1' });
  return stdout.split('\r\n\r\n');
}

/** Puts reader and card into a state: "stopped", "unplugged", "none", or the card's name or folder. */
async function arrange(simulator, state) {
  if (state === 'stopped') return simulator.stop();
  await simulator.command('unplug');
  if (state === 'unplugged') return undefined;
  await simulator.command('plug');
  if (state !== 'none') assert.equal(await simulator.command(`insert ${state.includes('/') ? state : card(state)}`), 'ok');
  const sign = state === 'none' ? 'NO_Card_found' : 'OK_Card_Presence';
  return until(async () => (await ask(simulator.address, '?action=status'))[1].includes(sign), state);
}

/** The fenced blocks of the reference, with the state that each asks for. */
function blocksOf(text) {
  const pattern = /(?:<!-- card: (\S+) -->\n)?```(\w+)\n([^]*?)\n?```\n/g;
  return [...text.matchAll(pattern)].map(([, state, language, body]) => ({ state, language, body }));
}

/** A function that runs a sample in the state of the moment and gives what it says. */
async function prepare(t, { language, body }, simulator) {
  const folder = await mkdtemp(join(tmpdir(), 'kv500-sample-'));
  t.after(() => rm(folder, { recursive: true, force: true }));
  const onPort = (source) => source.replace(documentedPort, `127.0.0.1:${simulator.port}`);
  await writeFile(join(folder, 'kv500.js'), onPort(await readFile(join(root, 'web/client/kv500.js'), 'utf8')));
  await writeFile(join(folder, 'package.json'), '{ "type": "module" }');
  const programs = { sh: 'sh', js: process.execPath, python: 'python3' };
  if (language in programs) {
    const env = { ...process.env, PYTHONIOENCODING: 'utf-8' };
    const names = { js: 'sample.mjs', sh: 'sample.sh', python: 'sample.py' };
    await writeFile(join(folder, names[language]), onPort(body));
    return async () => (await promisify(execFile)(programs[language], [names[language]], { cwd: folder, env, timeout: 20000 })).stdout;
  }
  const scripts = { 'kv500.js': await readFile(join(folder, 'kv500.js'), 'utf8') };
  if (language !== 'html') scripts['sample.js'] = await bundle(folder, body, language);
  const page = language === 'html' ? body : '<!doctype html><title>Reception</title><div id="said"></div><script type="module" src="sample.js"></script>';
  const address = await startServer(t, (request, response) => {
    const script = scripts[request.url.slice(1)];
    response.setHeader('Content-Type', script ? 'text/javascript' : 'text/html; charset=utf-8');
    response.end(script ?? page);
  });
  const tab = await openPage(await startBrowser(t), address);
  return async (expected) => {
    await tab.reload();
    let said;
    const isSaid = async () => expected.test(said = await tab.locator('#said').innerText());
    return until(isSaid, '').then(() => said, () => said);
  };
}

/** A component of React or Vue with what it needs, on its place in the page. */
async function bundle(folder, body, language) {
  await symlink(join(root, 'web/tests/node_modules'), join(folder, 'node_modules'));
  const mount = language === 'vue'
    ? "import { createApp } from 'vue'; createApp(Patient).mount('#said');"
    : "import { createRoot } from 'react-dom/client'; import * as React from 'react'; createRoot(document.getElementById('said')).render(<Patient />);";
  await writeFile(join(folder, 'sample.jsx'), `${body}\n${mount}`);
  const { outputFiles: [{ text }] } = await build({
    absWorkingDir: folder, entryPoints: ['sample.jsx'], bundle: true, write: false, format: 'esm', jsx: 'automatic',
    alias: { '@kv500/client': join(folder, 'kv500.js') }, define: { 'process.env.NODE_ENV': '"production"' },
  });
  return text;
}

// What a sample for every state says in each; what it says of the first stands in the reference.
const says = {
  mustermann: /Mustermann|^A card is there\.$/,
  none: /^(No card\.|Please insert a card\.)$/,
  unplugged: /^(No reader\.|Please insert a card\.)$/,
  bankkarte: /^(Not a health card\.|This is not a health card\..*|A card is there\.)$/,
  beschaedigt: /^((action-failed )?The card could not be read\..*|The card can not be read\.|A card is there\.)$/,
  sonderzeichen: /^((broken-json )?Quotation marks .*|The card breaks the JSON\.|A card is there\.)$/,
  stopped: /^((not-running )?Nothing answers at .*|The service does not answer\.)$/,
};

test('every sample of the reference does what stands below it, in every state', { timeout: 180000 }, async (t) => {
  const simulator = await startSimulator(t);
  const blocks = blocksOf(await readFile(join(root, 'docs/API.md'), 'utf8'));
  const samples = blocks.flatMap((block, i) => (block.state ? [{ ...block, output: blocks[i + 1] }] : []));
  assert.ok(samples.length >= 20 && samples.every(({ output }) => output?.language === 'output'));
  const named = ({ language, body }) => `${language}: ${body.split('\n')[0]}`;
  for (const sample of samples.filter(({ state }) => state !== 'every')) {
    await t.test(named(sample), async (each) => {
      await arrange(simulator, sample.state);
      assert.equal((await (await prepare(each, sample, simulator))()).trimEnd(), sample.output.body.trimEnd());
    });
  }
  const every = await Promise.all(samples.filter(({ state }) => state === 'every').map(async (sample) => ({ sample, run: await prepare(t, sample, simulator) })));
  for (const [state, expected] of Object.entries(says)) {
    await arrange(simulator, state);
    await Promise.all(every.map(async ({ sample, run }) => {
      const said = (await run(expected)).trimEnd();
      assert.match(said, expected, `${state}, ${named(sample)}`);
      if (state === 'mustermann') assert.equal(said, sample.output.body.trimEnd());
    }));
  }
});

test('every answer fits the schema, and what is no answer does not', { timeout: 60000 }, async (t) => {
  const simulator = await startSimulator(t);
  const description = JSON.parse(await readFile(join(root, 'docs/openapi.json'), 'utf8'));
  // The validator reads no further files.
  const { valid, errors } = await new Validator().validate(JSON.parse(JSON.stringify(description).replace('{"$ref":"answer.schema.json"}', '{}')));
  assert.ok(valid, JSON.stringify(errors));
  const check = new Ajv({ strict: true, strictRequired: false, strictTypes: false }).compile(JSON.parse(await readFile(join(root, 'docs/answer.schema.json'), 'utf8')));
  const twice = await oddCard(t, 'mustermann', (xml) => xml.replace('<Titel>', '<Titel>Prof.</Titel><Titel>'));
  const seen = [];
  const described = new Set(description.components.parameters.action.schema.enum);
  /** Has a header just the lines of the description, with their values? */
  const isDescribed = (header, method) => {
    const { headers, content } = description.paths['/'][method].responses[200];
    const expected = new Map(Object.entries(headers).map(([name, { $ref }]) => [name, description.components.headers[$ref.split('/').at(-1)].schema]));
    if (method !== 'options') expected.set('Content-Type', { const: Object.keys(content ?? description.paths['/'].get.responses[200].content)[0] });
    const lines = header.trimEnd().split('\r\n').slice(1).map((line) => line.split(': '));
    return lines.length === expected.size && lines.every(([name, value]) => {
      const { const: only = value, pattern = '' } = expected.get(name) ?? { const: 'nothing' };
      return only === value && new RegExp(pattern).test(value);
    });
  };
  for (const state of ['unplugged', 'none', 'mustermann', 'familienversichertes-kind', 'ein-name', 'bankkarte', 'beschaedigt', twice]) {
    await arrange(simulator, state);
    for (const action of ['status', 'read', 'close', 'reboot', '']) {
      // After a close the next look at the card connects again.
      const [header, text] = await ask(simulator.address, `?action=${action}`);
      if (described.has(action)) assert.ok(isDescribed(header, 'get'), header);
      for (const answer of [JSON.parse(text), parseRepeated(text)]) {
        assert.ok(check(answer), `${state} ${action}: ${JSON.stringify(check.errors)}`);
        seen.push(answer);
      }
    }
  }
  for (const [method, option] of [['head', ['-I']], ['options', ['-XOPTIONS']]]) {
    const [header] = await ask(simulator.address, '?action=status', ...option);
    assert.ok(isDescribed(header, method), header);
    assert.ok(!isDescribed(header, method === 'head' ? 'options' : 'get'), 'the description tells them apart');
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
