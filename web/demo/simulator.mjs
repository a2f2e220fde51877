/**
 * Runs kv500-simulator in a folder of its own and drives it through its pipes. Used by the demo
 * server and by the tests.
 */
import { spawn } from 'node:child_process';
import { copyFile, mkdtemp, rm, writeFile } from 'node:fs/promises';
import { createServer } from 'node:net';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { createInterface } from 'node:readline';

const patience = 10000; // Milliseconds for anything that the simulator is asked.

function isFree(port) {
  return new Promise((resolve) => {
    const trial = createServer();
    trial.once('error', () => resolve(false));
    trial.listen(port, '127.0.0.1', () => trial.close(() => resolve(true)));
  });
}

/** A port that the service accepts and nobody uses, the preferred one if it is free. */
export async function freePort(preferred) {
  if (preferred && (await isFree(preferred))) return preferred;
  for (let tries = 0; tries < 100; ++tries) {
    const port = 20000 + Math.floor(Math.random() * 12000);
    if (await isFree(port)) return port;
  }
  throw new Error('no free port found');
}

export class Simulator {
  /**
   * @param {object} options
   * @param {string} options.program Path of the kv500-simulator program.
   * @param {number} options.port Where the service is to listen.
   * @param {Record<string, string>} [options.settings] Further lines of config.txt.
   * @param {string[]} [options.args] Command line of the simulator.
   */
  static async create({ program, port, settings = {}, args = [] }) {
    const folder = await mkdtemp(join(tmpdir(), 'kv500-web-'));
    const simulator = new Simulator();
    Object.assign(simulator, { folder, port, args, replies: [], onEvent: () => {} });
    await copyFile(program, join(folder, 'kv500-simulator'));
    await simulator.configure(settings);
    return simulator;
  }

  /** Writes config.txt anew; it holds from the next start on. */
  async configure(settings) {
    const lines = Object.entries({ Port: this.port, ...settings }).map(([name, value]) => `${name}=${value}\n`);
    await writeFile(join(this.folder, 'config.txt'), lines.join(''));
  }

  get running() {
    return this.process !== undefined;
  }

  /** Starts the program and waits for its open port. */
  async start() {
    const child = spawn(join(this.folder, 'kv500-simulator'), this.args, { stdio: ['pipe', 'pipe', 'inherit'] });
    this.process = child;
    const kill = () => child.kill(); // It does not outlive this program, however that ends.
    process.once('exit', kill);
    child.stdin.on('error', () => {}); // The end of the program is told by "exit".
    const ended = new Promise((resolve) => {
      child.once('error', resolve);
      child.once('exit', resolve);
    }).then(() => {
      process.off('exit', kill);
      if (this.process === child) this.process = undefined;
      this.replies.splice(0).forEach((reply) => reply('error: the simulator has ended'));
    });
    this.ended = ended;
    await new Promise((resolve, reject) => {
      const timer = setTimeout(() => reject(new Error('the simulator does not open its port')), patience);
      ended.then(() => reject(new Error('the simulator has ended at once'))).finally(() => clearTimeout(timer));
      createInterface({ input: child.stdout }).on('line', (line) => {
        if (line.startsWith('listening ')) {
          clearTimeout(timer);
          resolve();
        } else if (line === 'ok' || line.startsWith('error: ')) {
          this.replies.shift()?.(line);
        } else {
          this.onEvent(line);
        }
      });
    });
  }

  /** Sends one command and gives the answer: "ok", or "error: " and the reason. */
  command(line) {
    if (!this.running) return Promise.resolve('error: the simulator does not run');
    const child = this.process;
    return new Promise((resolve) => {
      // One that does not answer is of no use any more; its end answers what is still open.
      const timer = setTimeout(() => child.kill('SIGKILL'), patience);
      this.replies.push((reply) => {
        clearTimeout(timer);
        resolve(reply);
      });
      child.stdin.write(`${line}\n`);
    });
  }

  async stop() {
    const child = this.process;
    if (!child) return;
    const timer = setTimeout(() => child.kill('SIGKILL'), patience);
    child.stdin.write('quit\n');
    await this.ended;
    clearTimeout(timer);
  }

  /** Stops and removes the folder. */
  async dispose() {
    await this.stop();
    await rm(this.folder, { recursive: true, force: true });
  }
}
