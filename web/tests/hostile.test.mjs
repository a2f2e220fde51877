// The client against servers that stall, lie, redirect, never end or are something else. Run with
// --expose-gc, as what nobody holds any more must end all the same, and under each Node there is.
import assert from 'node:assert/strict';
import { createServer } from 'node:net';
import { test } from 'node:test';
import { KV500, KV500Error } from '../client/kv500.js';

const body = '{\n"action": "status",\n"status": "RUNNING",\n"message": "USB_device_not_found",\n"serv_version": 97\n}\n';
const head = (length, more = '') => `HTTP/1.1 200 OK\r\n${more}Content-Length: ${length}\r\n\r\n`;
const says = (text) => (socket) => socket.end(text);
const lies = (text) => says(head(Buffer.byteLength(text)) + text);
const repeat = (socket, piece, pause) => {
  const write = () => !socket.destroyed && socket.write(piece(), () => setTimeout(write, pause));
  write();
};
const inPieces = (text, pause) => (socket) => {
  const rest = [...text];
  repeat(socket, () => rest.shift() ?? '', pause);
};

const servers = {
  // What is right, however it comes.
  'one-byte pieces': [inPieces(head(body.length) + body, 0), 'RUNNING'],
  'an older HTTP and no length': [says(`HTTP/1.0 200 OK\r\n\r\n${body}`), 'RUNNING'],
  // Nothing, or no end.
  silence: [() => {}, 'timeout'],
  'a header that stalls': [(socket) => socket.write('HTTP/1.1 200 OK\r\nX:'), 'timeout'],
  'a body that stalls': [(socket) => socket.write(head(body.length) + body.slice(0, 30)), 'timeout'],
  'bytes that come too slowly': [inPieces(head(body.length) + body, 50), 'timeout'],
  'a body cut short': [says(head(999) + body), 'no-answer'],
  'a closed connection': [(socket) => socket.destroy(), 'no-answer'],
  'a body without end': [(socket) => {
    socket.write('HTTP/1.1 200 OK\r\n\r\n{\n"action": "status",\n');
    repeat(socket, () => ' '.repeat(65536), 0);
  }, 'foreign-answer'],
  'a header without end': [(socket) => repeat(socket, () => `X: ${'x'.repeat(8000)}\r\n`, 0), 'foreign-answer'],
  // Somebody else.
  redirects: [says(`HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:1/\r\nContent-Length: 0\r\n\r\n`), 'foreign-answer'],
  'a redirect to itself': [says('HTTP/1.1 307 Again\r\nLocation: /\r\nContent-Length: 0\r\n\r\n'), 'foreign-answer'],
  SSH: [says('SSH-2.0-OpenSSH_9.2p1 Debian-2\r\n'), 'foreign-answer'],
  TLS: [says(Buffer.from('15030100020246', 'hex')), 'foreign-answer'],
  'a printer': [lies('<html>printer</html>'), 'foreign-answer'],
  'no page': [says(`HTTP/1.1 404 Not Found\r\nContent-Length: ${body.length}\r\n\r\n${body}`), 'foreign-answer'],
  'a packing that is none': [says(head(body.length, 'Content-Encoding: gzip\r\n') + body), 'foreign-answer'],
  'another action': [lies(body.replace('status', 'read')), 'foreign-answer'],
  'JSON that breaks off': [lies(body.slice(0, -4)), 'foreign-answer'],
  'no message': [lies(body.replace('"USB_device_not_found"', 'null')), 'foreign-answer'],
  'a status that is none': [lies(body.replace('"RUNNING"', '{}')), 'foreign-answer'],
};

async function ask(t, serve, expected, ending) {
  const sockets = new Set();
  const server = createServer((socket) => {
    socket.on('error', () => {}).once('data', () => {
      sockets.add(socket.on('close', () => sockets.delete(socket)));
      serve(socket);
    });
  });
  await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
  t.after(() => server.close());
  const reader = new KV500({
    address: `http://127.0.0.1:${server.address().port}`,
    timeout: ending === 'aborted' ? 60000 : expected === 'timeout' ? 1000 : 10000,
    retries: 1,
    pause: 10,
  });
  const signal = ending === 'aborted' ? AbortSignal.timeout(1000) : undefined;
  const outcome = await reader.status({ signal }).then(({ status }) => status, (error) => error);
  assert.equal(outcome.code ?? outcome, ending, outcome.stack);
  if (ending !== 'RUNNING') assert.ok(outcome instanceof KV500Error && /^[A-Z]\w+Error$/.test(outcome.name) && outcome.message.length > 20);
  // It lets go of the connection as well.
  const isOver = () => sockets.size === 0 || ending === 'RUNNING';
  for (let i = 0; !isOver() && i < 100; ++i) await new Promise((resolve) => setTimeout(resolve, 20));
  assert.ok(isOver(), `${sockets.size} connections left`);
  sockets.forEach((socket) => socket.destroy());
}

test('a call always ends, and says how', { concurrency: 50, timeout: 30000 }, async (t) => {
  const collecting = setInterval(globalThis.gc, 50);
  let most = 0;
  const weighing = setInterval(() => (most = Math.max(most, process.memoryUsage().rss)), 20);
  const before = process.memoryUsage().rss;
  await Promise.all(Object.entries(servers).flatMap(([name, [serve, expected]]) =>
    (expected === 'timeout' ? ['timeout', 'aborted'] : [expected]).map((ending) =>
      t.test(`${name}: ${ending}`, (each) => ask(each, serve, expected, ending)))));
  clearInterval(collecting);
  clearInterval(weighing);
  assert.ok(most - before < 200e6, `${(most - before) / 1e6} MB`);
});

test('addresses that are none, and such where nobody is', async () => {
  for (const [address, code] of [['http://127.0.0.1:-1', 'bad-address'], ['http://127.0.0.1:99999', 'bad-address'], ['', 'bad-address'], ['http://127.0.0.1:1', 'not-running'], ['http://[::1]:9', 'not-running']]) {
    await assert.rejects(new KV500({ address, pause: 5000 }).status(), { code, address });
  }
});
