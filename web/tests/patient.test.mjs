// A patient's card from in to out: thousands of card movements at random on the real service.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { KV500 } from '../client/kv500.js';
import { card, sleep, startSimulator } from './bench.mjs';

const worlds = 28;
const movements = 75; // In each world.
const interval = 250;
const slack = 900; // Milliseconds on a busy machine: a request, a reading, a timer.
const swapTime = 600; // Below it only the same card comes back, as a person's hand is no faster.
const shows = {
  mustermann: 'Mustermann',
  'familienversichertes-kind': 'Beispielhausen',
  bankkarte: 'other-card',
  beschaedigt: 'action-failed',
};
const names = Object.keys(shows);

/** Moves a card about and compares all the time what is told with what is in the reader. */
async function move(simulator, random, count) {
  let last; // The card put in last.
  let inside; // The card in the reader, and since when it or nothing is there.
  let since = Date.now();
  let away = 0; // Until when the reader or the service is, or comes back.
  let told; // What holds, as the handlers were told.
  let toldSince = 0;
  const now = (change, until = 0) => {
    [inside, since] = [change, Date.now()];
    away = Math.max(away, until);
  };
  const faults = [];
  const expect = (truth, what) => truth || faults.push(`${what}; ${inside} is in for ${Date.now() - since} ms, told was ${told}`);
  let stopped = false;
  const tell = (next, from) => {
    expect(!stopped, `${next} after the stop`);
    expect(from.includes(told), `${next} after ${told}`);
    [told, toldSince] = [next, Date.now()];
    ++count[next ?? 'gone'];
  };
  const reader = new KV500({ address: simulator.address, retries: 1, pause: 20 });
  const stop = reader.onPatient({
    reading: () => tell('reading', [undefined]),
    read: ({ daten, readAt }) => {
      const name = daten.PersoenlicheVersicherungsdaten.Versicherter.Person.Nachname;
      expect(shows[inside] === name || (inside === undefined && Date.now() - since < slack), `data of ${name}`);
      expect(Date.now() - readAt < slack, 'time of reading');
      tell(name, ['reading']);
    },
    failed: ({ code }) => {
      const isCard = code === 'action-failed' || code === 'other-card';
      // A card that is pulled while it is read is out, and no card that can't be read.
      expect(isCard ? shows[last] === code : away, code);
      tell(code, isCard ? ['reading'] : [undefined]);
    },
    gone: () => tell(undefined, ['reading', ...Object.values(shows), 'not-running', 'no-answer']),
  }, { interval });
  const compare = () => {
    const rest = Date.now() - Math.max(since, away);
    if (rest < interval + slack || Date.now() - toldSince < slack) return;
    expect(told === shows[inside], 'still');
  };
  const comparing = setInterval(compare, 50);

  const command = async (line) => assert.equal(await simulator.command(line), 'ok', line);
  for (let i = 0; i < movements && faults.length === 0; ++i) {
    const chance = random();
    if (chance < 0.015) {
      now(undefined, Infinity);
      away = Infinity;
      await simulator.stop();
      await sleep(random() * 500);
      await simulator.start();
      away = Date.now() + 2500; // The service looks for the reader each second.
    } else if (chance < 0.04) {
      now(undefined, Date.now() + 2500);
      await command('unplug');
      await sleep(random() * 500);
      await command('plug');
    } else if (inside) {
      now(undefined);
      await command('remove');
    } else {
      if (Date.now() - since > swapTime || !last) last = names[Math.floor(random() * names.length)];
      await command(`insert ${card(last)}`);
      now(last);
    }
    // Some stay, most come and go.
    await sleep(random() < 0.2 ? 700 + random() * 1000 : 60 + random() * 340);
  }
  stop();
  expect(told === undefined, 'stopped');
  stopped = true;
  clearInterval(comparing);
  await sleep(interval * 2);
  return faults;
}

/** Numbers from 0 to 1 that a seed repeats (a linear congruential generator). */
function randomFrom(seed) {
  let state = seed;
  return () => (state = (Math.imul(state, 1664525) + 1013904223) >>> 0) / 2 ** 32;
}

test('what is told of a card always holds', { timeout: 180000 }, async (t) => {
  process.setMaxListeners(worlds + 10); // Each simulator ends with this process.
  const seed = Number(process.env.KV500_SEED) || Math.floor(Math.random() * 2 ** 32);
  const count = new Proxy({}, { get: (all, name) => all[name] ?? 0 });
  const faults = await Promise.all(Array.from({ length: worlds }, async (_, i) => {
    const simulator = await startSimulator(t, { args: ['--apdu-ms', '4'] });
    return move(simulator, randomFrom(seed + i * 7919), count);
  }));
  t.diagnostic(`seed ${seed}: ${worlds * movements} movements, told ${JSON.stringify(count)}`);
  assert.deepEqual(faults.flat(), []);
  for (const name of ['reading', 'not-running', ...Object.values(shows)]) assert.ok(count[name] > 5, `${name}: ${count[name]}`);
});
