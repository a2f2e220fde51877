/**
 * Client of the card reader service on this workstation, for pages and for Node 18 and later: one
 * file, no dependencies. What each export does stands in kv500.d.ts.
 */

/** @typedef {import('./kv500.d.ts').CallOptions} CallOptions */
/** @typedef {import('./kv500.d.ts').WatchOptions} WatchOptions */

const usualAddress = 'http://127.0.0.1:5724';

export class KV500Error extends Error {
  /** @param {string} code @param {string} message @param {object} [members] @param {unknown} [cause] */
  constructor(code, message, members, cause) {
    super(message, { cause });
    Object.assign(this, { code }, members);
  }
}

export class ServiceNotRunningError extends KV500Error {
  /** @param {string} address @param {unknown} [cause] */
  constructor(address, cause) {
    super(
      'not-running',
      `Nothing answers at ${address}. Start the card reader service, and compare the address with ` +
        'the Port in its config.txt. If it runs, it may be busy: try again in ten seconds.',
      { address },
      cause,
    );
  }
}

export class PermissionDeniedError extends KV500Error {
  constructor() {
    super(
      'permission-denied',
      'The browser does not let this page reach programs on this computer. Allow it in the site ' +
        'settings (left of the address), and load the page again.',
    );
  }
}

export class PermissionNotAskedError extends KV500Error {
  constructor() {
    super(
      'permission-not-asked',
      'The browser asks whether this page may reach programs on this computer. Choose "Allow"; if ' +
        'the question has gone, load the page again.',
    );
  }
}

export class InsecurePageError extends KV500Error {
  /** @param {unknown} [cause] */
  constructor(cause) {
    super(
      'insecure-page',
      'The browser does not let pages by plain HTTP reach programs on this computer. Open this page ' +
        'with https://. If it worked before, start the card reader service.',
      {},
      cause,
    );
  }
}

export class OriginNotAllowedError extends KV500Error {
  /** @param {string} origin */
  constructor(origin) {
    super(
      'origin-not-allowed',
      `The card reader service does not allow pages of ${origin}. Write AllowOrigin=${origin} into ` +
        'its config.txt and start it again. (Or another program has its port.)',
      { origin },
    );
  }
}

export class NoAnswerError extends KV500Error {
  /** @param {number} tries @param {unknown} [cause] */
  constructor(tries, cause) {
    super(
      'no-answer',
      `The card reader service closed the connection without an answer, ${tries} times. Its ` +
        'connections are busy: close other pages that use it and try again in ten seconds.',
      { tries },
      cause,
    );
  }
}

export class BrokenJsonError extends KV500Error {
  /** @param {string} text @param {unknown} [cause] */
  constructor(text, cause) {
    super(
      'broken-json',
      'Quotation marks or other characters on the card break the answer. Copy the data from its ' +
        'raw text by hand.',
      { text },
      cause,
    );
  }
}

export class ForeignAnswerError extends KV500Error {
  /** @param {string} address @param {string} text @param {unknown} [cause] */
  constructor(address, text, cause) {
    super(
      'foreign-answer',
      `At ${address} another program answers, not the card reader service. Set another Port in its ` +
        'config.txt and in this page.',
      { address, text },
      cause,
    );
  }
}

export class ActionError extends KV500Error {
  /** @param {import('./kv500.d.ts').ErrorAnswer} answer */
  constructor(answer) {
    const { action } = answer;
    super(
      'action-failed',
      action === 'read'
        ? 'The card could not be read. Take it out, wipe the chip and put it in again.'
        : 'No card is in the reader.',
      { action, answer },
    );
  }
}

export class OtherCardError extends KV500Error {
  constructor() {
    super('other-card', 'This is not a health card. Take it out and put in a health card.');
  }
}

export class TimeoutError extends KV500Error {
  /** @param {number} milliseconds */
  constructor(milliseconds) {
    super(
      'timeout',
      `The card reader service took longer than ${milliseconds / 1000} seconds. Take the card out ` +
        'and put it in again, or start the service again.',
      { milliseconds },
    );
  }
}

export class AbortedError extends KV500Error {
  /** @param {unknown} [cause] */
  constructor(cause) {
    super('aborted', 'The request was given up by the page.', {}, cause);
  }
}

export class BadAddressError extends KV500Error {
  /** @param {string} address */
  constructor(address) {
    super(
      'bad-address',
      `${address} is no address of the card reader service. Write ${usualAddress}, with the Port in ` +
        'its config.txt.',
      { address },
    );
  }
}

// A bundler may give the classes other names.
for (const [name, type] of Object.entries({
  KV500Error, ServiceNotRunningError, PermissionDeniedError, PermissionNotAskedError,
  InsecurePageError, OriginNotAllowedError, NoAnswerError, BrokenJsonError, ForeignAnswerError,
  ActionError, OtherCardError, TimeoutError, AbortedError, BadAddressError,
})) {
  type.prototype.name = name;
}

const decoder = new TextDecoder('iso-8859-15');
const largestAnswer = 1e6; // Bytes; a card holds thousands.
const shortestInterval = 250; // Milliseconds; the service looks no more often.
const longestDelay = 5000; // Milliseconds; a timer that is later slept with the computer.
const longestTimer = 2 ** 31 - 1; // With more, timers fire at once.
const longestRefusal = 3000; // Milliseconds (Windows: 2000); what takes longer is a person.
const silent = ['not-running', 'no-answer', 'origin-not-allowed']; // Alike to the page.

/** @param {{ message: unknown }} answer */
export function stateOf(answer) {
  const { deviceStatus, CardPresence, SerialNumber } = Object(answer.message);
  return {
    reader: deviceStatus === 'KV500_PRESENT',
    card: CardPresence === 'OK_Card_Presence',
    serialNumber: String(SerialNumber ?? ''),
  };
}

/** @param {string} text @returns {any} */
export function parseRepeated(text) {
  JSON.parse(text); // From here on the grammar is known to hold.
  let count = 0;
  // A number before each name tells equal names apart.
  const numbered = text.replace(/"(?:[^"\\]|\\.)*"(\s*:)?/g, (token, colon) =>
    colon ? `"${count++} ${token.slice(1)}` : token,
  );
  return JSON.parse(numbered, (_, value) => {
    if (Object(value) !== value || Array.isArray(value)) return value;
    const members = new Map();
    for (const [numberAndName, one] of Object.entries(value)) {
      const name = numberAndName.slice(numberAndName.indexOf(' ') + 1);
      members.set(name, [...(members.get(name) ?? []), one]);
    }
    // To fromEntries, unlike to an assignment, "__proto__" is a plain name.
    return Object.fromEntries([...members].map(([name, all]) => [name, all.length > 1 ? all : all[0]]));
  });
}

/** Ends early with the signal. @param {number} time @param {AbortSignal} signal */
const pause = (time, signal) =>
  new Promise((resolve) => {
    const end = () => {
      clearTimeout(timer);
      signal.removeEventListener('abort', end);
      resolve(0);
    };
    const timer = setTimeout(end, Math.min(time, longestTimer));
    signal.addEventListener('abort', end);
    if (signal.aborted) end();
  });

/** What a handler throws is the page's to see. @param {any} handler @param {any} [value] */
function tell(handler, value) {
  try {
    handler?.(value);
  } catch (fault) {
    queueMicrotask(() => {
      throw fault;
    });
  }
}

/**
 * The body, or its beginning where it is too long. In Node fetch itself can miss the signal by now.
 * @param {Response} response @param {AbortSignal} signal
 */
async function bodyOf(response, signal) {
  const reader = response.body?.getReader();
  const cancel = () => reader?.cancel().catch(() => {});
  signal.addEventListener('abort', cancel);
  for (let text = ''; ; ) {
    const { value, done } = (await reader?.read()) ?? { done: true };
    signal.throwIfAborted();
    if (done || text.length > largestAnswer) {
      cancel();
      return text;
    }
    text += decoder.decode(value);
  }
}

/** Has it what every answer has? @param {any} answer */
const isAnswer = ({ action, status, message, daten }) =>
  typeof status === 'string' &&
  typeof (Object(message).CardPresence ?? message) === 'string' &&
  (action !== 'read' || typeof daten === 'object');

/** No page, or one of this machine: no browser stands in its way. */
const isLocal = () =>
  /^(|(.*\.)?localhost|127(\.\d+){3}|\[::1\])$/.test(globalThis.location?.hostname ?? '');

/** @param {any} name */
const permissionFor = async (name) => (await navigator.permissions.query({ name })).state;

/** "granted", "denied", "prompt"; undefined where the browser knows neither name, new nor old. */
const loopbackPermission = () =>
  permissionFor('loopback-network').catch(() => permissionFor('local-network-access').catch(() => undefined));

/** @template {boolean} [R=false] */
export class KV500 {
  #address;
  #options;
  #answers = 0; // Answers so far, of any call.
  #fault; // The address's.

  /** @param {import('./kv500.d.ts').Options<R>} [options] */
  constructor({ address = usualAddress, timeout = 30000, retries = 3, pause = 250, repeated } = {}) {
    this.#address = address.replace(/\/+$/, '');
    this.#options = { timeout, retries, pause, repeated };
    try {
      new URL(address);
    } catch {
      this.#fault = new BadAddressError(address);
    }
  }

  /** @param {CallOptions} [options] */
  status(options) {
    return this.#call('status', options);
  }

  /** @param {CallOptions} [options] */
  read(options) {
    return this.#call('read', options);
  }

  /** @param {CallOptions} [options] */
  close(options) {
    return this.#call('close', options);
  }

  /** @param {(event: import('./kv500.d.ts').CardEvent) => void} callback @param {WatchOptions} [options] */
  onCard(callback, options) {
    return this.#watch(options, (/** @type {any} */ event) => {
      if (!/polled|stopped/.test(event.type)) tell(callback, event);
    });
  }

  /** @param {import('./kv500.d.ts').PatientHandlers<R>} handlers @param {WatchOptions} [options] */
  onPatient({ read, gone, failed, reading, event }, options) {
    /** @type {AbortController | undefined} */
    let held; // While something is being read or holds.
    const drop = (/** @type {string} */ reason) => {
      if (!held) return;
      held.abort();
      held = undefined;
      tell(gone, reason);
    };
    const begin = async () => {
      const own = new AbortController();
      held = own;
      tell(reading);
      let failure;
      try {
        const answer = await this.read(own);
        if (held !== own) return;
        const { daten, message } = answer;
        if (daten) return tell(read, { daten, readAt: new Date(), answer });
        // Gone before it was read; if it is back, the next poll begins anew.
        if (typeof message === 'string') return drop('card-out');
        failure = new OtherCardError();
      } catch (error) {
        // A card that is pulled fails first and is seen to be out then.
        const state = await this.status(own).then(stateOf, () => undefined);
        if (held !== own) return;
        if (!state?.card) return drop(state ? 'card-out' : 'service-out');
        failure = error;
      }
      tell(failed, failure);
    };
    return this.#watch(options, (/** @type {any} */ told) => {
      const { type, status, error } = told;
      if (type === 'polled') {
        const { reader, card } = stateOf(status);
        if (!card) return drop(reader ? 'card-out' : 'reader-out');
        return held ?? begin();
      }
      if (type === 'ready') drop('service-back');
      if (type === 'failed') drop('service-out');
      if (type === 'hidden' || type === 'stopped') drop(type);
      if (type !== 'stopped') tell(event, told);
      if (!error) return;
      held = new AbortController();
      tell(failed, error);
    });
  }

  /**
   * Polls while the page is seen. Tells onCard's events, each answer ("polled") and "stopped".
   * @param {WatchOptions | undefined} options @param {any} told
   */
  #watch({ interval = 500, hiddenFor = 0, signal } = {}, told) {
    const page = globalThis.document;
    let polling = new AbortController();
    let hiddenSince = 0;
    let stopped = false;
    /** @type {any} */
    let timer;
    const poll = () => this.#pollUntil(polling.signal, Math.max(Number(interval) || 0, shortestInterval), told);
    const hide = () => {
      polling.abort();
      told({ type: 'hidden' });
    };
    const look = () => {
      clearTimeout(timer);
      if (page.hidden) {
        hiddenSince = Date.now();
        timer = setTimeout(hide, Math.min(hiddenFor, longestTimer));
        return;
      }
      // Timers of hidden pages stand still at times.
      if (!polling.signal.aborted && Date.now() - hiddenSince >= hiddenFor) hide();
      if (!polling.signal.aborted) return;
      polling = new AbortController();
      poll();
    };
    const stop = () => {
      if (stopped) return;
      stopped = true;
      clearTimeout(timer);
      polling.abort();
      page?.removeEventListener('visibilitychange', look);
      signal?.removeEventListener('abort', stop);
      told({ type: 'stopped' });
    };
    page?.addEventListener('visibilitychange', look);
    signal?.addEventListener('abort', stop);
    if (signal?.aborted) stop();
    else if (page?.hidden) polling.abort();
    else poll();
    return stop;
  }

  /** @param {AbortSignal} signal @param {number} interval @param {any} told */
  async #pollUntil(signal, interval, told) {
    /** @type {any} */
    let last; // The state told last.
    /** @type {any} */
    let error;
    let failures = 0; // In a row.
    const fail = (/** @type {any} */ failure) => {
      const known = failure.code === error?.code;
      [last, error] = [undefined, failure];
      if (!known && !signal.aborted) told({ type: 'failed', error });
    };
    while (!signal.aborted) {
      // The browser's question keeps the poll waiting, but not the page.
      const hint = setTimeout(async () => {
        if ((await this.#isAsking()) && !polled) fail(new PermissionNotAskedError());
      }, longestRefusal);
      let polled = false;
      try {
        const known = failures++ % 10 ? error : undefined;
        const status = await this.#bounded(signal, (inner) => this.#persist('status', inner, known));
        const now = stateOf(status);
        const before = last ?? stateOf({ message: '' });
        const types = [
          !last && 'ready',
          before.card && !now.card && 'card-out',
          before.reader !== now.reader && `reader-${now.reader ? 'in' : 'out'}`,
          !before.card && now.card && 'card-in',
          'polled',
        ];
        [last, error, failures] = [now, undefined, 0];
        for (const type of types) {
          if (type && !signal.aborted) told({ type, status });
        }
      } catch (failure) {
        fail(failure);
      }
      polled = true;
      clearTimeout(hint);
      const since = Date.now();
      await pause(interval, signal);
      if (signal.aborted || Date.now() - since < interval + longestDelay) continue;
      last = error = undefined;
      told({ type: 'hidden' });
    }
  }

  /** @param {string} action @param {CallOptions} [options] */
  #call(action, options) {
    return this.#bounded(options?.signal, (inner) => this.#persist(action, inner));
  }

  /**
   * Work that ends with the caller's signal and the time limit, whatever it does.
   * @param {AbortSignal | undefined} signal @param {(signal: AbortSignal) => Promise<any>} work
   */
  async #bounded(signal, work) {
    if (this.#fault) throw this.#fault;
    if (signal?.aborted) throw new AbortedError(signal.reason);
    const { timeout } = this.#options;
    const controller = new AbortController();
    const inner = controller.signal;
    const abort = () => controller.abort();
    const timer = setTimeout(abort, Math.min(timeout, longestTimer));
    signal?.addEventListener('abort', abort);
    try {
      const ended = new Promise((_, reject) => inner.addEventListener('abort', reject));
      const answer = await Promise.race([work(inner), ended]);
      if (answer.status === 'ERROR') throw new ActionError(answer);
      return answer;
    } catch (failure) {
      if (signal?.aborted) throw new AbortedError(signal.reason);
      if (!inner.aborted) throw failure;
      throw (await this.#isAsking()) ? new PermissionNotAskedError() : new TimeoutError(timeout);
    } finally {
      clearTimeout(timer);
      signal?.removeEventListener('abort', abort);
    }
  }

  /**
   * One exchange, and more where it had no answer, unless `lastError` may still hold.
   * @param {string} action @param {AbortSignal} signal @param {any} [lastError]
   */
  async #persist(action, signal, lastError) {
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
      if (silent.includes(lastError?.code)) throw lastError;
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

  /**
   * Sends one request and takes the answer apart. A TypeError means: no whole answer.
   * @param {string} action @param {AbortSignal} signal
   */
  async #exchange(action, signal) {
    const response = await fetch(`${this.#address}/?action=${action}`, {
      signal,
      cache: 'no-store',
      credentials: 'omit',
      redirect: 'manual',
      referrerPolicy: 'no-referrer',
    });
    const text = await bodyOf(response, signal); // response.json() would take it for UTF-8.
    ++this.#answers;
    let cause;
    if (response.ok && text.startsWith(`{\n"action": "${action}",\n`)) {
      try {
        const answer = this.#options.repeated ? parseRepeated(text) : JSON.parse(text);
        if (isAnswer(answer)) return answer;
      } catch (fault) {
        // Only the texts of a card can break it, between braces of the service.
        if (action === 'read' && text.endsWith('}\n}\n')) throw new BrokenJsonError(text, fault);
        cause = fault;
      }
    }
    throw new ForeignAnswerError(this.#address, text, cause);
  }

  /**
   * What stands in the way, as far as known without asking the service.
   * @param {TypeError} failure @param {number} since
   */
  async #obstacle(failure, since) {
    // Node tells why; browsers tell pages nothing.
    if (failure.cause) {
      const { code } = Object(failure.cause);
      if (/^(HPE|Z|UND_ERR_(HEADERS|RES))_/.test(code)) return new ForeignAnswerError(this.#address, '', failure);
      const closed = failure.message === 'terminated' || /ECONNRESET|EPIPE|ERR_SOCKET/.test(code);
      return closed ? undefined : new ServiceNotRunningError(this.#address, failure);
    }
    if (isLocal()) return undefined;
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
    return !this.#answers && !isLocal() && (await loopbackPermission()) === 'prompt';
  }

  /** Does the service answer where the page may not see it? @param {AbortSignal} signal */
  async #answersUnseen(signal) {
    if (!globalThis.location) return false;
    // Asks for nothing of reader or card.
    const answer = fetch(`${this.#address}/`, { method: 'HEAD', mode: 'no-cors', cache: 'no-store', signal });
    return answer.then(() => true, () => false);
  }
}
