/**
 * Client of the card reader service on this workstation, for pages and for Node 18 and later.
 *
 *     import { KV500 } from './kv500.js';
 *     const reader = new KV500();
 *     const stop = reader.onCard(async ({ type }) => {
 *       if (type === 'card-in') console.log((await reader.read()).daten);
 *     });
 *
 * A call resolves with the answer as a plain object or rejects with a KV500Error: its `code` is for
 * the page, its `message` for a person.
 */

/**
 * @typedef {object} DeviceMessage The state of an attached reader.
 * @property {string} deviceStatus "KV500_PRESENT"
 * @property {string} ApiVersion
 * @property {string} SerialNumber The reader's, not the card's.
 * @property {string} CardPresence "OK_Card_Presence" or "NO_Card_found"
 *
 * @typedef {object} Answer
 * @property {string} action "status", "read" or "close"
 * @property {string} status
 * @property {string | DeviceMessage} message
 * @property {number} serv_version
 * @property {object | null} [daten] Of `read` alone.
 *
 * @typedef {object} CallOptions
 * @property {AbortSignal} [signal] Ends the call with an AbortedError.
 *
 * @typedef {object} CardEvent
 * @property {'ready' | 'reader-in' | 'reader-out' | 'card-in' | 'card-out' | 'failed'} type
 *   `ready`: the service answers, for the first time or again. `failed`: it does not; told once for
 *   each kind of failure.
 * @property {Answer} [status] The answer that told it; not with `failed`.
 * @property {KV500Error} [error] With `failed`.
 */

/** What a call rejects with. */
export class KV500Error extends Error {
  /**
   * @param {string} code
   * @param {string} message
   * @param {unknown} [cause] The failure underneath.
   */
  constructor(code, message, cause) {
    super(message, { cause });
    this.name = 'KV500Error';
    this.code = code;
  }
}

/** Nothing answers at the address. */
export class ServiceNotRunningError extends KV500Error {
  constructor(address, cause) {
    super(
      'not-running',
      `Nothing answers at ${address}. Start the card reader service, and check that it listens ` +
        'there. If it runs, it may be busy: try again in ten seconds.',
      cause,
    );
    this.address = address;
  }
}

/** Somebody denied this page the local machine. */
export class PermissionDeniedError extends KV500Error {
  constructor() {
    super(
      'permission-denied',
      'The browser does not let this page reach programs on this computer. In the site settings ' +
        '(left of the address) allow access to apps on this device, and load the page again.',
    );
  }
}

/** The browser's question is open. */
export class PermissionNotAskedError extends KV500Error {
  constructor() {
    super(
      'permission-not-asked',
      'The browser asks whether this page may reach programs on this computer. Choose "Allow"; if ' +
        'the question has gone, load the page again.',
    );
  }
}

/** By plain HTTP the browser does not even ask. */
export class InsecurePageError extends KV500Error {
  constructor(cause) {
    super(
      'insecure-page',
      'This page was not loaded by HTTPS, and browsers keep such pages away from programs on this ' +
        'computer. Open it with https://. If it worked before, start the card reader service.',
      cause,
    );
  }
}

/** The service answers, but AllowOrigin names another origin than this page's. */
export class OriginNotAllowedError extends KV500Error {
  constructor(origin) {
    super(
      'origin-not-allowed',
      `The card reader service does not allow pages of ${origin}. Set AllowOrigin=${origin} in its ` +
        'config.txt and start it again. (Or another program has its port.)',
    );
    this.origin = origin;
  }
}

/** The service closed the connection without an answer, each time. */
export class NoAnswerError extends KV500Error {
  constructor(tries, cause) {
    super(
      'no-answer',
      `The card reader service closed the connection without an answer, ${tries} times. All its ` +
        'connections are busy: close other pages that use it and try again in ten seconds.',
      cause,
    );
    this.tries = tries;
  }
}

/** Characters on the card broke the JSON. `text` is what came. */
export class BrokenJsonError extends KV500Error {
  constructor(text, cause) {
    super(
      'broken-json',
      'Quotation marks or other characters on the card break the answer. The data can be copied ' +
        'from its raw text by hand.',
      cause,
    );
    this.text = text;
  }
}

/** Some other program answers at the address. `text` is what came. */
export class ForeignAnswerError extends KV500Error {
  constructor(address, text) {
    super(
      'foreign-answer',
      `At ${address} another program answers, not the card reader service. Set another Port in its ` +
        'config.txt and in this page.',
    );
    this.address = address;
    this.text = text;
  }
}

const actionTexts = {
  read: 'The card could not be read. Take it out, wipe the chip and put it in again.',
  close: 'No card is in the reader: there is nothing to close.',
};

/** The service answered with the status "ERROR". */
export class ActionError extends KV500Error {
  constructor(answer) {
    const { action } = answer;
    super('action-failed', actionTexts[action] ?? `The action "${action}" failed.`);
    this.action = action;
    this.answer = answer;
  }
}

/** No complete answer in time. */
export class TimeoutError extends KV500Error {
  constructor(milliseconds) {
    super(
      'timeout',
      `The card reader service took longer than ${milliseconds / 1000} seconds. Take the card out ` +
        'and put it in again, or start the service again.',
    );
    this.milliseconds = milliseconds;
  }
}

/** The caller's AbortSignal ended the call; `cause` is the signal's reason. */
export class AbortedError extends KV500Error {
  constructor(cause) {
    super('aborted', 'The request was given up by the page.', cause);
    this.name = 'AbortError';
  }
}

const decoder = new TextDecoder('iso-8859-15');
const shortestInterval = 250; // Milliseconds; the service itself looks at the card no more often.
// Milliseconds after which it is a person who keeps the page waiting: refusing a connection takes up
// to two seconds (on Windows).
const longestRefusal = 3000;
// Failures that look alike from one request to the next.
const silent = ['not-running', 'no-answer', 'origin-not-allowed'];
const longestTimer = 2 ** 31 - 1; // With more, timers fire at once.

/** What an answer says of reader and card. */
export function stateOf(answer) {
  const { deviceStatus, CardPresence, SerialNumber } = Object(answer.message);
  return {
    reader: deviceStatus === 'KV500_PRESENT',
    card: CardPresence === 'OK_Card_Presence',
    serialNumber: SerialNumber ?? '',
  };
}

/** JSON.parse, but members of one name become an array, where JSON.parse keeps the last alone. */
export function parseRepeated(text) {
  JSON.parse(text); // From here on the grammar is known to hold.
  const tokens = text.match(/"(?:[^"\\]|\\.)*"|[{}[\]:,]|[^\s{}[\]:,"]+/g);
  let next = 0;
  const items = (end, item) => {
    while (tokens[next] !== end) {
      item();
      if (tokens[next] === ',') ++next;
    }
    ++next;
  };
  const value = () => {
    const token = tokens[next++];
    if (token === '[') {
      const list = [];
      items(']', () => list.push(value()));
      return list;
    }
    if (token !== '{') return JSON.parse(token);
    const members = new Map();
    items('}', () => {
      const name = JSON.parse(tokens[next]);
      next += 2; // The name and its colon.
      members.set(name, [...(members.get(name) ?? []), value()]);
    });
    // fromEntries, unlike an assignment, takes "__proto__" as the plain name that it is here.
    return Object.fromEntries([...members].map(([name, all]) => [name, all.length > 1 ? all : all[0]]));
  };
  return value();
}

/** Resolves after the time, or at once when the signal aborts. */
function pause(milliseconds, signal) {
  return new Promise((resolve) => {
    const end = () => {
      clearTimeout(timer);
      signal.removeEventListener('abort', end);
      resolve();
    };
    const timer = setTimeout(end, Math.min(milliseconds, longestTimer));
    signal.addEventListener('abort', end);
    if (signal.aborted) end();
  });
}

/** Resolves when the page is seen, or when the signal aborts. Outside a page at once. */
function visible(signal) {
  const page = globalThis.document;
  if (!page?.hidden || signal.aborted) return Promise.resolve();
  return new Promise((resolve) => {
    const look = () => {
      if (page.hidden && !signal.aborted) return;
      page.removeEventListener('visibilitychange', look);
      signal.removeEventListener('abort', look);
      resolve();
    };
    page.addEventListener('visibilitychange', look);
    signal.addEventListener('abort', look);
  });
}

/** No page, or one of this machine: no browser stands in its way. */
function isLocal(page) {
  return !page || /^(|(.*\.)?localhost|127(\.\d+){3}|\[::1\])$/.test(page.hostname);
}

/** "granted", "denied", "prompt", or undefined where the browser knows no such permission. */
async function loopbackPermission() {
  // The newer name first.
  for (const name of ['loopback-network', 'local-network-access']) {
    try {
      return (await navigator.permissions.query({ name: /** @type {any} */ (name) })).state;
    } catch {
      // Not known under this name.
    }
  }
  return undefined;
}

export class KV500 {
  #address;
  #options;
  #answers = 0; // Answers so far, of any call.

  /**
   * @param {object} [options]
   * @param {string} [options.address] Where the service listens. Use 127.0.0.1: "localhost" may
   *   mean ::1, where nobody listens.
   * @param {number} [options.timeout] Milliseconds for one call, its further tries included.
   * @param {number} [options.retries] Further tries when a connection ends without an answer.
   * @param {number} [options.pause] Milliseconds before the first further try; doubled each time.
   * @param {boolean} [options.repeated] Members of one name that occur several times become an
   *   array; otherwise the last one stands.
   */
  constructor({ address = 'http://127.0.0.1:5724', timeout = 30000, retries = 3, pause = 250, repeated = false } = {}) {
    this.#address = address.replace(/\/+$/, '');
    this.#options = { timeout, retries, pause, repeated };
  }

  /** State of reader and card. @param {CallOptions} [options] @returns {Promise<Answer>} */
  status(options) {
    return this.#call('status', options);
  }

  /** Reads the card in the reader. @param {CallOptions} [options] @returns {Promise<Answer>} */
  read(options) {
    return this.#call('read', options);
  }

  /** Ends the card connection. @param {CallOptions} [options] @returns {Promise<Answer>} */
  close(options) {
    return this.#call('close', options);
  }

  /**
   * Tells changes of reader and card. Polls `status`: a request each interval, never two at once,
   * none while the page is hidden. What comes and goes between two polls is not seen.
   * @param {(event: CardEvent) => void} callback
   * @param {object} [options]
   * @param {number} [options.interval] Milliseconds between two polls, at least 250.
   * @param {AbortSignal} [options.signal] Stops as the returned function does.
   * @returns {() => void} Stops; no callback comes after it.
   */
  onCard(callback, { interval = 1000, signal } = {}) {
    const ending = new AbortController();
    const stop = () => {
      ending.abort();
      signal?.removeEventListener('abort', stop);
    };
    signal?.addEventListener('abort', stop);
    if (signal?.aborted) stop();
    this.#watch(callback, Math.max(Number(interval) || 0, shortestInterval), ending.signal);
    return stop;
  }

  async #watch(callback, interval, signal) {
    let last = { reader: false, card: false };
    let error;
    let answered = false;
    let failures = 0; // In a row.
    const fail = (failure) => {
      last = { reader: false, card: false };
      if (failure.code !== error?.code) tell({ type: 'failed', error: failure });
      error = failure;
      answered = false;
    };
    const tell = (event) => {
      if (signal.aborted) return;
      try {
        callback(event);
      } catch (fault) {
        // The caller's to see.
        queueMicrotask(() => {
          throw fault;
        });
      }
    };
    for (;;) { // Until the signal, which is looked at in each round.
      await visible(signal);
      if (signal.aborted) return;
      let status;
      let underWay = true;
      // The browser's question keeps the poll waiting, but not the page.
      const hint = setTimeout(async () => {
        if ((await this.#isAsking()) && underWay) fail(new PermissionNotAskedError());
      }, longestRefusal);
      try {
        status = await this.#poll(signal, failures++ % 10 ? error : undefined);
      } catch (failure) {
        fail(failure);
      }
      underWay = false;
      clearTimeout(hint);
      if (status) {
        error = undefined;
        failures = 0;
        const now = stateOf(status);
        if (!answered) tell({ type: 'ready', status });
        answered = true;
        if (last.card && !now.card) tell({ type: 'card-out', status });
        if (last.reader !== now.reader) tell({ type: now.reader ? 'reader-in' : 'reader-out', status });
        if (!last.card && now.card) tell({ type: 'card-in', status });
        last = now;
      }
      await pause(interval, signal);
    }
  }

  /** One request; a failure is looked into by more, unless `lastError` may still hold. */
  async #poll(signal, lastError) {
    return this.#bounded(signal, async (inner) => {
      const since = Date.now();
      try {
        return await this.#exchange('status', inner);
      } catch (failure) {
        if (!(failure instanceof TypeError)) throw failure;
        const obstacle = await this.#obstacle(failure, since);
        if (obstacle) throw obstacle;
        if (silent.includes(lastError?.code)) throw lastError;
        return this.#persist('status', inner);
      }
    });
  }

  #call(action, options) {
    return this.#bounded(options?.signal, (inner) => this.#persist(action, inner));
  }

  /** Work under the caller's signal and the time limit. */
  async #bounded(signal, work) {
    if (signal?.aborted) throw new AbortedError(signal.reason);
    const { timeout } = this.#options;
    const controller = new AbortController();
    const abort = () => controller.abort();
    const timer = setTimeout(abort, Math.min(timeout, longestTimer));
    signal?.addEventListener('abort', abort);
    try {
      const answer = await work(controller.signal);
      if (answer.status === 'ERROR') throw new ActionError(answer);
      return answer;
    } catch (failure) {
      if (signal?.aborted) throw new AbortedError(signal.reason);
      if (!controller.signal.aborted) throw failure;
      throw (await this.#isAsking()) ? new PermissionNotAskedError() : new TimeoutError(timeout);
    } finally {
      clearTimeout(timer);
      signal?.removeEventListener('abort', abort);
    }
  }

  /** One exchange, and further ones where a connection ended without an answer. */
  async #persist(action, signal) {
    const { retries, pause: firstPause } = this.#options;
    const answersBefore = this.#answers;
    let heard = false;
    for (let tries = 1; ; ++tries) {
      const since = Date.now();
      let failure;
      try {
        return await this.#exchange(action, signal);
      } catch (reason) {
        if (signal.aborted || !(reason instanceof TypeError)) throw reason;
        failure = reason;
      }
      const obstacle = await this.#obstacle(failure, since);
      if (obstacle) throw obstacle;
      if (this.#answers === answersBefore && (await this.#answersUnseen(signal))) {
        // Once can be chance, a connection that came free; twice it is the origin.
        if (heard) throw new OriginNotAllowedError(location.origin);
        heard = true;
      }
      if (tries > retries) {
        const alive = heard || failure.cause || this.#answers > answersBefore;
        throw alive ? new NoAnswerError(tries, failure) : new ServiceNotRunningError(this.#address, failure);
      }
      await pause(heard ? 0 : firstPause * 2 ** (tries - 1), signal);
    }
  }

  /** Sends one request and takes the answer apart. A TypeError means: no (complete) answer. */
  async #exchange(action, signal) {
    const response = await fetch(`${this.#address}/?action=${action}`, {
      signal,
      cache: 'no-store',
      credentials: 'omit',
      redirect: 'error',
      referrerPolicy: 'no-referrer',
    });
    // response.json() would take it for UTF-8.
    const text = decoder.decode(await response.arrayBuffer());
    ++this.#answers;
    if (!response.ok || !text.startsWith(`{\n"action": "${action}",\n`)) {
      throw new ForeignAnswerError(this.#address, text);
    }
    try {
      return this.#options.repeated ? parseRepeated(text) : JSON.parse(text);
    } catch (cause) {
      throw new BrokenJsonError(text, cause);
    }
  }

  /** What stands in the way, as far as known without asking the service. */
  async #obstacle(failure, since) {
    // Node tells why; browsers tell pages nothing.
    if (failure.cause) {
      const closed = failure.message === 'terminated' || /ECONNRESET|EPIPE|ERR_SOCKET/.test(failure.cause.code);
      return closed ? undefined : new ServiceNotRunningError(this.#address, failure);
    }
    if (isLocal(globalThis.location)) return undefined;
    if (!globalThis.isSecureContext) {
      // Whoever has had an answer is let through.
      return this.#answers ? undefined : new InsecurePageError(failure);
    }
    if ((await loopbackPermission()) === 'denied') return new PermissionDeniedError();
    if (!(await this.#isAsking())) return undefined;
    // Chromium asks once a connection stands: what fails before is the service.
    return Date.now() - since < longestRefusal
      ? new ServiceNotRunningError(this.#address, failure)
      : new PermissionNotAskedError();
  }

  /** May the browser be asking the person whether this page is to be let through? */
  async #isAsking() {
    if (this.#answers || isLocal(globalThis.location)) return false;
    return (await loopbackPermission()) === 'prompt';
  }

  /** Does the service answer where the page may not see it? Asks for nothing of reader or card. */
  async #answersUnseen(signal) {
    if (!globalThis.location) return false;
    try {
      await fetch(`${this.#address}/`, { method: 'HEAD', mode: 'no-cors', cache: 'no-store', signal });
      return true;
    } catch {
      return false;
    }
  }
}
