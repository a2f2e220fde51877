/** What the tests of this folder share: a simulator of their own, odd cards, odd servers. */
import { execFile } from 'node:child_process';
import { createHash, X509Certificate } from 'node:crypto';
import { cp, mkdtemp, readFile, rm, writeFile } from 'node:fs/promises';
import { createServer as createHttpServer } from 'node:http';
import { createServer as createHttpsServer } from 'node:https';
import { tmpdir } from 'node:os';
import { extname, join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { promisify } from 'node:util';
import { freePort, Simulator } from '../demo/simulator.mjs';
import { FakeService } from '../fake/fake.js';

export const root = fileURLToPath(new URL('../../', import.meta.url));
export const program = process.env.KV500_SIMULATOR ?? join(root, 'build/release/kv500-simulator');
export const card = (name) => join(root, 'examples/cards', name);

export const sleep = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

/** Waits until the look gives something true, and gives that; fails after ten seconds. */
export async function until(look, what) {
  for (let i = 0; i < 500; ++i) {
    const found = await look();
    if (found) return found;
    await sleep(20);
  }
  throw new Error(`never came: ${what}`);
}

/** A running simulator that the test `t` ends. */
export async function startSimulator(t, { settings, args } = {}) {
  const simulator = await Simulator.create({ program, port: await freePort(), settings, args });
  t.after(() => simulator.dispose());
  await simulator.start();
  simulator.address = `http://127.0.0.1:${simulator.port}`;
  // The reader is found by the service's own look around, a moment after the port is open.
  if (!args?.includes('--unplugged')) await until(() => hasReader(simulator.address), 'the reader');
  return simulator;
}

export async function hasReader(address) {
  try {
    return (await (await fetch(`${address}/?action=status`)).text()).includes('KV500_PRESENT');
  } catch {
    return false; // Node keeps a connection for the next request, and the service has closed it.
  }
}

/** A service without a reader's logic that the test `t` ends. */
export async function startFake(t, options) {
  const fake = await FakeService.start(options);
  t.after(() => fake.stop().catch(() => {}));
  return fake;
}

/** A sample card as the fake takes it, with its personal data changed. */
export const sample = async (name, change = (xml) => xml) => ({
  VD: await readFile(join(card(name), 'VD.xml')),
  PD: Buffer.from(change(await readFile(join(card(name), 'PD.xml'), 'latin1')), 'latin1'),
});

/** A folder for a card of the test's own: a copy of a sample, with its personal data changed. */
export async function oddCard(t, sample, change) {
  const folder = await mkdtemp(join(tmpdir(), 'kv500-card-'));
  t.after(() => rm(folder, { recursive: true, force: true }));
  await cp(card(sample), folder, { recursive: true });
  const file = join(folder, 'PD.xml');
  await writeFile(file, change(await readFile(file, 'latin1')), 'latin1');
  return folder;
}

/** A server of the test's own, by HTTPS if it is given a key. Gives its address. */
export async function startServer(t, listener, key) {
  const server = key ? createHttpsServer(key, listener) : createHttpServer(listener);
  const port = await freePort();
  await new Promise((resolve) => server.listen(port, '127.0.0.1', resolve));
  t.after(() => {
    server.closeAllConnections();
    server.close();
  });
  return `${key ? 'https' : 'http'}://127.0.0.1:${port}`;
}

/** A key with a certificate that nobody vouches for, and the hash by which Chromium takes it all the same. */
export async function makeKey(t) {
  const folder = await mkdtemp(join(tmpdir(), 'kv500-key-'));
  t.after(() => rm(folder, { recursive: true, force: true }));
  const [key, cert] = ['key.pem', 'cert.pem'].map((name) => join(folder, name));
  await promisify(execFile)('openssl', [
    'req', '-x509', '-newkey', 'ec', '-pkeyopt', 'ec_paramgen_curve:prime256v1', '-nodes', '-days', '2',
    '-subj', '/CN=praxis.example', '-keyout', key, '-out', cert,
  ]);
  const made = { key: await readFile(key), cert: await readFile(cert) };
  const publicKey = new X509Certificate(made.cert).publicKey.export({ type: 'spki', format: 'der' });
  return { ...made, hash: createHash('sha256').update(publicKey).digest('base64') };
}

/** The page on a web server as a practice may have it, with no simulator behind. */
export function startPageServer(t, key) {
  return startServer(t, async (request, response) => {
    try {
      const { pathname } = new URL(request.url, 'http://127.0.0.1');
      const types = { '.js': 'text/javascript', '.css': 'text/css', '.html': 'text/html' };
      response.setHeader('Content-Type', types[extname(pathname)] ?? 'text/plain');
      response.end(await readFile(join(root, 'web', pathname)));
    } catch {
      response.writeHead(404).end();
    }
  }, key);
}
