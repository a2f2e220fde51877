#!/usr/bin/env node
/**
 * The demo: starts the simulator, serves the page on a loopback port and lets the page change what
 * is in the reader.
 *
 *     node web/demo/serve.mjs --simulator build/release/kv500-simulator [--port 8500]
 *
 * Prints the address and runs until Ctrl-C. Needs Node 18 or later and nothing else.
 */
import { readdir, readFile } from 'node:fs/promises';
import { createServer } from 'node:http';
import { dirname, extname, join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { parseArgs } from 'node:util';
import { freePort, Simulator } from './simulator.mjs';

const web = fileURLToPath(new URL('..', import.meta.url));
const cardsFolder = join(dirname(web), 'examples', 'cards');
const largestCommand = 1000; // Bytes.
const swapTime = 1500; // Milliseconds between two cards, as a hand takes them.

const types = {
  '.html': 'text/html; charset=utf-8',
  '.css': 'text/css; charset=utf-8',
  '.js': 'text/javascript; charset=utf-8',
};

/** What the page may ask for, by its path: nothing else is served, whatever the path says. */
async function servedFiles() {
  const files = new Map();
  for (const folder of ['demo', 'client']) {
    for (const name of await readdir(join(web, folder))) {
      if (extname(name) in types) files.set(`/${folder}/${name}`, join(web, folder, name));
    }
  }
  files.set('/demo/', files.get('/demo/index.html'));
  return files;
}

async function sampleCards() {
  const entries = await readdir(cardsFolder, { withFileTypes: true });
  return entries.filter((entry) => entry.isDirectory()).map((entry) => entry.name).sort();
}

/** The world behind the page's buttons. */
class Stage {
  constructor(simulator, cards) {
    Object.assign(this, { simulator, cards, reader: false, card: null, last: Promise.resolve() });
  }

  state() {
    const { simulator, cards, reader, card } = this;
    return { running: simulator.running, port: simulator.port, reader, card, cards };
  }

  /** Does what a button asks for, one after the other; gives "ok" or "error: " and the reason. */
  act(action, card) {
    const done = this.last.then(() => this.#do(action, card));
    this.last = done.catch(() => {}); // Told to whoever asked for it.
    return done;
  }

  async #do(action, card) {
    switch (action) {
      case 'start':
        if (!this.simulator.running) {
          Object.assign(this, { reader: true, card: null });
          await this.simulator.start();
        }
        return 'ok';
      case 'stop':
        await this.simulator.stop();
        Object.assign(this, { reader: false, card: null });
        return 'ok';
      case 'insert':
        return this.#insert(card);
      case 'remove':
        return this.#run('remove', { card: null });
      case 'plug':
        return this.reader ? 'error: the reader is plugged in' : this.#run('plug', { reader: true });
      case 'unplug':
        return this.#run('unplug', { reader: false, card: null });
      default:
        return 'error: unknown action';
    }
  }

  /** A card that is in the reader is swapped for the new one. */
  async #insert(card) {
    if (!this.cards.includes(card)) return 'error: no such card';
    if (this.card !== null) {
      await this.#run('remove', { card: null });
      await new Promise((resolve) => setTimeout(resolve, swapTime));
    }
    return this.#run(`insert ${join(cardsFolder, card)}`, { card });
  }

  async #run(command, change) {
    const reply = await this.simulator.command(command);
    if (reply === 'ok') Object.assign(this, change);
    return reply;
  }
}

/** Other sites can send requests here too, also by a name of theirs that leads to 127.0.0.1. */
function isFromOwnPage(request, port) {
  const own = [`127.0.0.1:${port}`, `localhost:${port}`];
  const { host, origin } = request.headers;
  return own.includes(host) && (origin === undefined || own.some((name) => origin === `http://${name}`));
}

async function readBody(request) {
  let text = '';
  for await (const chunk of request) {
    text += chunk;
    if (text.length > largestCommand) throw new Error('too long');
  }
  return JSON.parse(text);
}

export async function startDemo({ simulator: program, port: preferredPort, servicePort, settings, args = [] }) {
  const simulator = await Simulator.create({ program, port: await freePort(servicePort), settings, args });
  try {
    return await serve(simulator, preferredPort);
  } catch (failure) {
    await simulator.dispose();
    throw failure;
  }
}

async function serve(simulator, preferredPort) {
  const files = await servedFiles();
  const stage = new Stage(simulator, await sampleCards());
  const port = await freePort(preferredPort);

  const answer = (response, status, type, body) => {
    response.writeHead(status, {
      'Content-Type': type,
      'Cache-Control': 'no-store',
      'X-Content-Type-Options': 'nosniff',
      'Referrer-Policy': 'no-referrer',
    });
    response.end(body);
  };
  const answerJson = (response, status, value) => answer(response, status, 'application/json', JSON.stringify(value));

  const control = async (request, response) => {
    let reply = 'ok';
    if (request.method === 'POST') {
      const { action, card } = await readBody(request);
      reply = await stage.act(action, card);
    }
    answerJson(response, 200, { reply, ...stage.state() });
  };

  const server = createServer(async (request, response) => {
    try {
      if (!isFromOwnPage(request, port)) {
        answer(response, 403, 'text/plain', 'This server is for its own page only.\n');
        return;
      }
      const { pathname } = new URL(request.url, 'http://127.0.0.1');
      if (pathname === '/simulator') {
        await control(request, response);
      } else if (pathname === '/') {
        response.writeHead(302, { Location: `/demo/?port=${simulator.port}` }).end();
      } else if (files.has(pathname)) {
        const file = files.get(pathname);
        answer(response, 200, types[extname(file)], await readFile(file));
      } else {
        answer(response, 404, 'text/plain', 'Not here.\n');
      }
    } catch (failure) {
      answerJson(response, 400, { reply: `error: ${failure.message}`, ...stage.state() });
    }
  });
  await stage.act('start');
  await new Promise((resolve, reject) => {
    server.once('error', reject);
    server.listen(port, '127.0.0.1', resolve);
  });
  const stop = async () => {
    server.closeAllConnections?.(); // From Node 18.2 on.
    server.close();
    await simulator.dispose();
  };
  return { address: `http://127.0.0.1:${port}/`, stage, stop };
}

async function main() {
  const { values } = parseArgs({
    options: {
      simulator: { type: 'string', default: join(dirname(web), 'build', 'release', 'kv500-simulator') },
      port: { type: 'string', default: '8500' },
      'service-port': { type: 'string', default: '5724' },
      'apdu-ms': { type: 'string', default: '40' },
    },
  });
  let demo;
  let ending = false;
  const end = async () => {
    if (ending) return;
    ending = true;
    await demo?.stop();
    process.exit(0);
  };
  for (const signal of ['SIGINT', 'SIGTERM', 'SIGHUP']) process.on(signal, end);
  demo = await startDemo({
    simulator: values.simulator,
    port: Number(values.port),
    servicePort: Number(values['service-port']),
    args: ['--apdu-ms', values['apdu-ms']],
  });
  console.log(`The demo page is at ${demo.address}`);
  console.log(`The service answers at http://127.0.0.1:${demo.stage.simulator.port}/?action=status`);
  console.log('Ctrl-C ends both.');
}

if (process.argv[1] === fileURLToPath(import.meta.url)) {
  main().catch((failure) => {
    console.error(`serve.mjs: ${failure.message}`);
    process.exit(1);
  });
}
