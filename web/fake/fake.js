/**
 * The card reader service for tests, in plain Node: the same bytes on the wire, with cards, readers,
 * delays and failures that a test commands. Holds no logic of reading cards: a card is its data.
 *
 *     const service = await FakeService.start();
 *     service.insert({ PersoenlicheVersicherungsdaten: { Versicherter: { Versicherten_ID: 'A123456780' } } });
 *     await fetch(`${service.address}/?action=read`);
 *     await service.stop();
 */
import { createServer } from 'node:net';
import { jsonOfObject, jsonOfXml } from './card.js';

const largestRequest = 4096; // Bytes.
const mostConnections = 8;
const patience = 10000; // Milliseconds until the first byte of a request.

/**
 * @typedef {{ port?: number, allowOrigin?: string, serialNumber?: string }} Options
 *   A port of 0, the default, is any free one.
 * @typedef {'status' | 'read' | 'close'} Action
 * @typedef {{ AllgemeineVersicherungsdaten?: object, PersoenlicheVersicherungsdaten?: object }} CardObject
 *   As `daten` of an answer, with an array where a name is repeated; a part can be left out.
 * @typedef {{ VD: string | Uint8Array, PD: string | Uint8Array }} CardXml
 *   The two files of a card; bytes are taken for ISO-8859-15.
 * @typedef {CardObject | CardXml | 'other' | 'damaged'} Card
 *   "other": no health card. "damaged": one that can't be read.
 * @typedef {'close' | 'stall' | 'cut' | 'foreign'} Failure
 *   "close": the connection ends without an answer. "stall": no answer comes. "cut": half of it comes.
 *   "foreign": some other program answers.
 */

/** What stands under `daten`, as bytes. @param {CardObject | CardXml} card */
function datenOf(card) {
  const files = 'VD' in card ? [card.VD, card.PD].map(jsonOfXml) : [
    card.AllgemeineVersicherungsdaten ?? { Versicherter: '' },
    card.PersoenlicheVersicherungsdaten ?? { Versicherter: '' },
  ].map(jsonOfObject);
  if (files.includes('')) return undefined;
  return `{\n"AllgemeineVersicherungsdaten":\n{\n${files[0]}},\n"PersoenlicheVersicherungsdaten":\n{\n${files[1]}}\n}`;
}

/**
 * Method, action and header of a request as the service understands it, or undefined where it
 * closes the connection.
 * @param {string} text
 */
function parseRequest(text) {
  const lines = text.split('\n').map((line) => line.replace(/^[ \t-\r]+|[ \t-\r]+$/g, ''));
  const [, method, target] = /^([^ ]*) +([^ ]+) /.exec(lines[0]) ?? [];
  const end = lines.indexOf('');
  const headers = lines.slice(1, end < 0 ? undefined : end);
  if (!['GET', 'HEAD', 'OPTIONS'].includes(method) || !headers.every((line) => /[: ]/.test(line))) return undefined;
  if (method === 'OPTIONS') return { method };
  let action;
  if (target.startsWith('/?')) {
    for (const piece of target.slice(2).replace(/&$/, '').split('&')) {
      if (piece === '' && target.length === 2) break;
      const [, name, value] = /^([^=]*)=([^]*)$/.exec(piece) ?? [];
      if (name === undefined || /%(?![0-9a-f]{2})/i.test(name)) return undefined;
      if (name.replace(/%(..)/g, (_, digits) => String.fromCharCode(parseInt(digits, 16))) === 'action') action = value;
    }
  }
  return { method, action };
}

export class FakeService {
  #options;
  #server = createServer();
  /** @type {Set<import('node:net').Socket>} */
  #sockets = new Set();
  /** @type {Map<string, number>} */
  #delays = new Map();
  /** @type {{ failure: Failure, action: Action | undefined, times: number }[]} */
  #failures = [];
  #readers = 1;
  /** @type {Card | undefined} */
  #card;
  /** @type {string | undefined} */
  #daten;
  #queue = Promise.resolve(); // One request at a time has the reader.

  /**
   * How many requests were answered or failed, by action.
   * @type {Record<string, number>}
   */
  requests = {};

  /**
   * A service that answers.
   * @param {Options} [options]
   */
  static async start(options = {}) {
    const service = new FakeService(options);
    await service.start();
    return service;
  }

  /** @param {Options} [options] */
  constructor({ port = 0, allowOrigin = '*', serialNumber = 'SIM0001' } = {}) {
    this.#options = { port, allowOrigin, serialNumber };
    this.#server.on('connection', (socket) => this.#serve(socket));
  }

  get port() {
    return this.#options.port;
  }

  get address() {
    return `http://127.0.0.1:${this.port}`;
  }

  /** Opens the port; after a stop the same one again, with reader and card as they were. */
  async start() {
    await /** @type {Promise<void>} */ (new Promise((resolve, reject) => {
      this.#server.once('error', reject);
      this.#server.listen(this.port, '127.0.0.1', () => {
        this.#server.off('error', reject);
        resolve();
      });
    }));
    this.#options.port = /** @type {import('node:net').AddressInfo} */ (this.#server.address()).port;
  }

  /** Closes the port and all connections. */
  async stop() {
    const closed = new Promise((resolve) => this.#server.close(resolve));
    for (const socket of this.#sockets) socket.destroy();
    await closed;
  }

  /**
   * Puts a card in, in place of the one that is in.
   * @param {Card} card
   */
  insert(card) {
    if (this.#readers === 0) throw new Error('no reader is plugged in');
    this.#daten = typeof card === 'object' ? datenOf(card) : undefined;
    this.#card = card;
  }

  /** Takes the card out. */
  remove() {
    this.#card = undefined;
  }

  /** One more reader; the service uses one that is alone. */
  plug() {
    ++this.#readers;
  }

  /** The newest reader goes, and with the last one its card. */
  unplug() {
    this.#readers = Math.max(0, this.#readers - 1);
    if (this.#readers === 0) this.remove();
  }

  /**
   * Each answer of the action, or of all, takes that much longer.
   * @param {number} milliseconds
   * @param {Action} [action]
   */
  delay(milliseconds, action) {
    this.#delays.set(action ?? '', milliseconds);
  }

  /**
   * Lets the next requests fail.
   * @param {Failure} failure
   * @param {{ action?: Action, times?: number }} [which]
   */
  fail(failure, { action, times = Infinity } = {}) {
    this.#failures.push({ failure, action, times });
  }

  /** Ends all delays and failures. */
  heal() {
    this.#delays.clear();
    this.#failures = [];
  }

  /**
   * What `AllowOrigin` says.
   * @param {string} origin
   */
  allow(origin) {
    this.#options.allowOrigin = origin;
  }

  /** @param {import('node:net').Socket} socket */
  #serve(socket) {
    socket.on('error', () => {});
    if (this.#sockets.size >= mostConnections) {
      socket.destroy();
      return;
    }
    this.#sockets.add(socket);
    socket.on('close', () => this.#sockets.delete(socket));
    socket.setTimeout(patience, () => socket.destroy());
    socket.once('data', (data) => {
      socket.setTimeout(0);
      const [text] = data.subarray(0, largestRequest).toString('latin1').split('\0');
      const request = parseRequest(text);
      if (!request) socket.destroy();
      else if (request.method === 'OPTIONS') socket.end(this.#header('Allow: GET, HEAD, OPTIONS\r\nCache-Control: max-age=0, no-cache, no-store\r\n', '', 0));
      else this.#answer(socket, request);
    });
  }

  /** @param {import('node:net').Socket} socket @param {{ method: string, action?: string }} request */
  #answer(socket, { method, action = 'MISSING_GET_PARAM' }) {
    const isAction = ['status', 'read', 'close'].includes(action);
    this.requests[action] = (this.requests[action] ?? 0) + 1;
    const send = () => {
      const body = this.#body(action);
      const header = this.#header('', 'Content-Type: application/json; charset=iso-8859-15\r\n', body.length);
      const answer = Buffer.from(method === 'HEAD' ? header : header + body, 'latin1');
      const failing = this.#failures.find((one) => one.action === undefined || one.action === action);
      if (failing && --failing.times <= 0) this.#failures.splice(this.#failures.indexOf(failing), 1);
      switch (failing?.failure) {
        case 'stall':
          return;
        case 'close':
          socket.destroy();
          return;
        case 'cut':
          socket.end(answer.subarray(0, answer.length / 2));
          return;
        case 'foreign':
          socket.end(`HTTP/1.1 200 OK\r\nAccess-Control-Allow-Origin: *\r\nContent-Length: 20\r\n\r\n<html>printer</html>`);
          return;
        default:
          socket.end(answer);
      }
    };
    if (!isAction) {
      send();
      return;
    }
    this.#queue = this.#queue.then(async () => {
      const time = this.#delays.get(action) ?? this.#delays.get('') ?? 0;
      if (time) await new Promise((resolve) => setTimeout(resolve, time));
      send();
    });
  }

  /** @param {string} first @param {string} last @param {number} length */
  #header(first, last, length) {
    return (
      `HTTP/1.1 200 OK\r\nServer: KALVERO Server/1.0\r\n${first}Access-Control-Allow-Origin: ${this.#options.allowOrigin}\r\n` +
      'Access-Control-Allow-Methods: GET, HEAD, OPTIONS\r\nAccess-Control-Allow-Headers: X-PINGOTHER, Content-Type\r\n' +
      `Access-Control-Max-Age: 86400\r\n${last}Content-Length: ${length}\r\n\r\n`
    );
  }

  /** The JSON of an answer, a character a byte. @param {string} action */
  #body(action) {
    const card = this.#readers === 1 ? this.#card : undefined;
    const hasReader = this.#readers === 1;
    const device =
      `{\n"deviceStatus": "KV500_PRESENT",\n"ApiVersion": "1.1.8",\n"SerialNumber": "${this.#options.serialNumber}",\n` +
      `"CardPresence": "${card ? 'OK_Card_Presence' : 'NO_Card_found'}"\n}`;
    const json = (/** @type {string} */ status, /** @type {string} */ message, daten = '') =>
      `{\n"action": "${action}",\n"status": "${status}",\n"message": ${message},\n"serv_version": 97${daten && `,\n"daten": \n${daten}`}\n}\n`;
    switch (action) {
      case 'status':
        return json('RUNNING', hasReader ? device : '"USB_device_not_found"');
      case 'read': {
        if (!hasReader) return json('undefined', '"USB_device_not_found"', 'null');
        if (!card) return json('OK', '"NO_Card_found"', 'null');
        return this.#daten || card === 'other' ? json('OK', device, this.#daten ?? 'null') : json('ERROR', device, 'null');
      }
      case 'close':
        if (card) return json('OK', '"CLOSED"');
        return json(hasReader ? 'ERROR' : 'NO_DEVICE', '"called close command"');
      default:
        return json('ERROR', '"wrong GET parameter"');
    }
  }
}
