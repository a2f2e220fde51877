// The demo page in a real browser: on the real service where its buttons are pressed, else on a fake.
import assert from 'node:assert/strict';
import { readFile } from 'node:fs/promises';
import { createRequire } from 'node:module';
import { createServer } from 'node:net';
import { test } from 'node:test';
import { texts } from '../demo/texts.js';
import { makeKey, sample, sleep, startFake, startPageServer, until } from './bench.mjs';
import { openPage, picture, startBrowser, startScreen, startStage } from './browser.mjs';

const { en, de } = texts;
const axe = await readFile(createRequire(import.meta.url).resolve('axe-core'), 'utf8');
const browserTest = (name, body) => test(name, { timeout: 120000 }, body);

/** The page on a web server of its own, and a fake behind it that the test `t` ends. */
async function startPage(t, options = {}) {
  const fake = await startFake(t, options);
  const origin = await startPageServer(t);
  return { fake, origin, address: `${origin}/demo/index.html?port=${fake.port}` };
}

/** Waits until the strip says this. */
async function expectStrip(page, ...expected) {
  let seen;
  await until(async () => {
    seen = await page.locator('#strip dd').allInnerTexts();
    return seen.every((text, i) => text === expected[i]);
  }, expected.join(', ')).catch(() => assert.deepEqual(seen, expected));
}

const ready = en.readerIn('SIM0001');
const expectText = (page, selector, text) => page.locator(selector).filter({ hasText: text, visible: true }).waitFor({ timeout: 20000 });
const expectSituation = (page, situation) => page.locator(`#patient[data-situation="${situation}"]`).waitFor({ timeout: 20000 });

/** The failure is shown with its name, and with the line that is to be written. */
async function expectFailure(page, code, line) {
  const [name] = en.failures[code]({});
  await expectText(page, '#failure h2', name);
  if (line) await expectText(page, '#failure .line', line);
}

async function expectNoFindings(page, state) {
  await page.evaluate(axe);
  const { violations, passes } = await page.evaluate(() => globalThis.axe.run());
  assert.deepEqual(violations.map(({ id, nodes }) => [id, nodes.map(({ html }) => html)]), [], state);
  assert.ok(passes.length > 10);
}

/** How far an element ends below the window. */
const below = (page, selector) => page.locator(selector).evaluate((place) => place.getBoundingClientRect().bottom - innerHeight);

browserTest('each state of service, reader and card has its picture', async (t) => {
  const browser = await startBrowser(t);
  const demo = await startStage(t);
  const page = await openPage(browser, demo.address);
  const faults = [];
  const hosts = new Set();
  page.on('pageerror', (error) => faults.push(String(error)));
  page.context().on('request', (request) => hosts.add(new URL(request.url()).origin));
  const button = (name) => page.locator(`#simulator button:text-is("${name}"), #simulator button:has(b:text-is("${name}"))`);
  const enabled = async () => (await page.locator('#simulator [data-act]:not([data-card]):not([aria-disabled=true])').allInnerTexts()).sort();
  const put = (name) => button(en.samples[name][0]).click();
  const stand = async (name) => {
    await expectNoFindings(page, name);
    await picture(page, name, 'header');
  };

  await expectStrip(page, en.serviceUp, ready, en.cardOut);
  await expectText(page, '#situation', en.situations['no-card']);
  assert.deepEqual(await enabled(), [en.unplug, en.stop].sort());
  assert.deepEqual((await page.locator('#sample-cards b').allInnerTexts()).filter((name) => Object.values(en.samples).some(([known]) => known === name)), Object.values(en.samples).map(([name]) => name));
  await stand('no-card');

  await put('mustermann');
  await expectText(page, '#person .name', 'Dr. med. Jörg Günther von Mustermann');
  await expectStrip(page, en.serviceUp, ready, en.cardIn);
  const person = await page.locator('#person').innerText();
  for (const text of ['born 12 August 1964 (', ' years)', 'male', 'Große Präsidentenstraße 7a', 'Hinterhaus & Garten', 'D 10178 Berlin', 'Prüfkasse Nord-Süd (999567890)', 'member', '1 January 2019']) {
    assert.ok(person.includes(text), `${text} in ${person}`);
  }
  assert.match(person, /[A-Z]\d{9}/);
  await expectText(page, '#read-at', /^read \d\d:\d\d:\d\d$/);
  assert.ok((await below(page, '.foot')) <= 0, 'all of the person is in sight');
  assert.deepEqual(await enabled(), [en.remove, en.unplug, en.stop].sort());
  assert.match(await page.locator('#raw').textContent(), /"Nachname": "Mustermann"/);
  assert.equal(await page.locator('#spoken').innerText(), 'Card read: Dr. med. Jörg Günther von Mustermann');
  await stand('card-read');
  await page.emulateMedia({ media: 'print' });
  assert.deepEqual(await page.locator('button, #strip, #simulator, footer').evaluateAll((all) => all.filter((each) => each.checkVisibility()).length), 0);
  assert.ok(await page.locator('#person .name').isVisible());
  await page.emulateMedia({ media: 'screen' });

  await put('familienversichertes-kind');
  await expectText(page, '#person .name', 'Lina Sophie Freiin Beispielhausen');
  assert.ok(!(await page.locator('body').innerText()).includes('Mustermann'), 'the data of a card go with it');
  for (const [name, code] of [['sonderzeichen', 'broken-json'], ['bankkarte', 'other-card'], ['beschaedigt', 'action-failed']]) {
    await put(name);
    await expectFailure(page, code);
    await expectStrip(page, en.serviceUp, ready, en.cardIn);
    if (code === 'broken-json') assert.match(await page.locator('#raw').textContent(), /"Nachname":"Šœnfußñer-Ÿäöü"/);
    await stand(code);
  }

  await button(en.unplug).click();
  await expectStrip(page, en.serviceUp, en.readerOut, en.cardOut);
  await expectText(page, '#situation', en.situations['no-reader']);
  assert.deepEqual(await enabled(), [en.plug, en.stop].sort());
  await stand('no-reader');
  await button(en.plug).click();
  await expectText(page, '#situation', en.situations['no-card']);

  await button(en.stop).click();
  await expectStrip(page, en.serviceDown, en.unknown, en.unknown);
  await expectFailure(page, 'not-running', `Port=${demo.stage.simulator.port}`);
  assert.deepEqual(await enabled(), [en.start]);
  await stand('not-running');
  await button(en.start).click();
  await expectStrip(page, en.serviceUp, ready, en.cardOut);
  await demo.stage.simulator.command('unplug'); // What the panel does not know is refused, in words.
  await button(en.unplug).click();
  await expectText(page, '#refusal', en.refused(en.refusals['no reader is plugged in']));

  assert.deepEqual(faults, []);
  assert.deepEqual([...hosts].sort(), [demo.origin, demo.service].sort(), 'nothing comes from elsewhere');
});

browserTest('umlauts and the euro sign, in German, in the dark, on a narrow window, by keyboard', async (t) => {
  const browser = await startBrowser(t);
  const { fake, address } = await startPage(t);
  fake.insert(await sample('sonderzeichen', (xml) => xml.replaceAll('&quot;', "'")));
  const page = await openPage(browser, address, { locale: 'de-DE', width: 380, height: 780, colorScheme: 'dark' });
  await expectText(page, '#person .name', "Prof. Dr. Žaneta Þórunn d' Šœnfußñer-Ÿäöü");
  assert.ok((await below(page, '#person .name')) < 0, 'the name is in sight');
  const person = await page.locator('#person').innerText();
  for (const text of ['Straße der 1000 € § 5', 'D 99999 Überöd & Ärmelswört', 'Žižkas Kasse für Übermut & Süßes', '10-€-Kasse Ölßig', 'geboren am 3. November 1959', 'Rentner/in']) {
    assert.ok(person.includes(text), `${text} in ${person}`);
  }
  const overflow = () => page.evaluate(() => document.scrollingElement.scrollWidth - innerWidth);
  assert.ok((await overflow()) <= 0, 'nothing sticks out of a narrow window');
  await expectNoFindings(page, 'narrow and dark');
  await picture(page, 'narrow-dark-german', 'header');

  const reached = [];
  for (let i = 0; i < 6; ++i) {
    await page.keyboard.press('Tab');
    reached.push(await page.evaluate(() => document.activeElement.innerText));
  }
  assert.deepEqual(reached, ['Deutsch', 'English', de.copy, de.readAgain, de.requestsHeading, de.helpHeading]);
  const before = fake.requests.read;
  await page.getByRole('button', { name: de.readAgain }).press('Enter');
  await until(() => fake.requests.read > before, 'another reading');
  await page.getByRole('button', { name: 'English' }).press('Space');
  assert.equal(await page.getAttribute('html', 'lang'), 'en');
  await page.reload();
  await expectText(page, '#person .about', 'born 3 November 1959'); // The choice is kept.
  for (const summary of await page.locator('summary').all()) await summary.press('Enter');
  await expectNoFindings(page, 'all unfolded');
  assert.ok((await overflow()) <= 0);
});

browserTest('the page never contradicts itself, whatever comes and goes', async (t) => {
  const browser = await startBrowser(t);
  const { fake, address } = await startPage(t);
  const page = await openPage(browser, address);
  await page.evaluate(() => {
    globalThis.contradictions = [];
    globalThis.seen = {};
    const shown = (id) => !document.getElementById(id).hidden;
    new MutationObserver(() => {
      const states = [...document.querySelectorAll('#strip dl > div')].map(({ dataset }) => dataset.state).join(' ');
      const { situation } = document.getElementById('patient').dataset;
      const expected = {
        asking: 'busy unknown unknown', unreachable: 'bad unknown unknown', 'no-reader': 'good bad unknown', 'no-card': 'good good unknown',
        reading: 'good good good', read: 'good good good', failed: 'good good good',
      };
      const parts = ['situation', 'failure', 'person'].filter(shown).join();
      const part = { read: 'person', failed: 'failure', unreachable: 'failure' }[situation] ?? 'situation';
      const name = document.querySelector('#person .name').textContent;
      if (states !== expected[situation] || parts !== part || Boolean(name) !== (situation === 'read')) {
        contradictions.push([situation, states, parts, name]);
      }
      seen[situation] = (seen[situation] ?? 0) + 1;
    }).observe(document.body, { subtree: true, childList: true, characterData: true, attributes: true });
  });
  const person = { PersoenlicheVersicherungsdaten: { Versicherter: { Person: { Nachname: 'Muster' } } } };
  fake.delay(100, 'read');
  const cards = ['damaged', person, 'no card', 'no reader', person];
  for (let i = 0; i < 20; ++i) { // Each of these some time for long, and for short.
    const next = cards[i % 5];
    fake.unplug();
    if (next !== 'no reader') fake.plug();
    if (!next.startsWith?.('no ')) fake.insert(next);
    await sleep(i % 4 ? 150 : 900);
  }
  fake.insert('damaged');
  await fake.stop();
  await expectSituation(page, 'unreachable');
  await fake.start();
  await expectSituation(page, 'failed');
  assert.deepEqual(await page.evaluate(() => globalThis.contradictions), []);
  const seen = await page.evaluate(() => globalThis.seen);
  for (const situation of ['no-reader', 'no-card', 'reading', 'read', 'failed', 'unreachable']) assert.ok(seen[situation], `${situation} of ${JSON.stringify(seen)}`);
});

browserTest('a slow card shows its time, and a page hidden meanwhile comes back without an alarm', async (t) => {
  const browser = await startBrowser(t);
  const { fake, address } = await startPage(t);
  fake.insert(await sample('mustermann'));
  fake.delay(3500, 'read');
  const page = await openPage(browser, address);
  await expectText(page, '#situation', `${en.situations.reading}`);
  await expectText(page, '#situation .since', en.readingSince(2));
  assert.equal(await page.locator('#spoken').innerText(), en.situations.reading, 'spoken once, without the seconds');
  const setHidden = (hidden) => page.evaluate((value) => {
    Object.defineProperty(document, 'hidden', { value, configurable: true });
    document.dispatchEvent(new Event('visibilitychange'));
  }, hidden);
  await setHidden(true);
  await expectSituation(page, 'asking');
  fake.heal();
  await setHidden(false);
  await expectText(page, '#person .name', 'Mustermann');
  assert.equal(await page.locator('#failure').isVisible(), false);
  await setHidden(true);
  await expectSituation(page, 'asking');
  assert.ok(!(await page.content()).includes('Mustermann'), 'nothing of the card is left on a hidden page');
});

browserTest('a service for other origins, programs that are none, and ports that are none', async (t) => {
  const browser = await startBrowser(t);
  const { fake, origin, address } = await startPage(t, { allowOrigin: 'https://praxis.example' });
  const page = await openPage(browser, address);
  await expectFailure(page, 'origin-not-allowed', `AllowOrigin=${origin}`);
  await picture(page, 'origin-not-allowed', 'header');
  // What is in the way can change while the page is open: it finds out without being loaded again.
  for (const [go, code] of [[() => fake.allow(origin)], [() => fake.allow(''), 'origin-not-allowed'], [() => fake.allow('*')], [() => fake.fail('foreign'), 'foreign-answer'], [() => fake.heal()], [() => fake.stop(), 'not-running'], [() => fake.start()]]) {
    await go();
    if (code) await expectFailure(page, code);
    else await expectStrip(page, en.serviceUp, ready, en.cardOut);
  }
  const talker = createServer((socket) => socket.on('error', () => {}).end('SSH-2.0-x\r\n'));
  await new Promise((resolve) => talker.listen(0, '127.0.0.1', resolve));
  t.after(() => talker.close());
  for (const [port, code, line] of [['-1', 'bad-address', '?port=5724'], ['99999', 'bad-address'], ['80@x', 'bad-address'], [talker.address().port, 'not-running', 'Port=']]) {
    await page.goto(address.replace(/port=.*/, `port=${port}`));
    await expectFailure(page, code, line);
  }
});

/** A browser that takes a page of praxis.example for one out in the world, by HTTP and by HTTPS. */
async function startOutside(t, port, screen) {
  const key = await makeKey(t);
  const [plain, secure] = (await Promise.all([startPageServer(t), startPageServer(t, key)])).map((address) => new URL(address).port);
  const browser = await startBrowser(t, [
    `--ip-address-space-overrides=127.0.0.1:${plain}=public,127.0.0.1:${secure}=public`,
    `--ignore-certificate-errors-spki-list=${key.hash}`,
    '--host-resolver-rules=MAP praxis.example 127.0.0.1',
  ], screen);
  const path = `/demo/index.html?port=${port}`;
  const admin = await browser.newBrowserCDPSession();
  const permit = async (setting) => {
    const { browserContextIds } = await admin.send('Target.getBrowserContexts');
    const permission = { name: 'loopback-network' };
    await admin.send('Browser.setPermission', { permission, setting, browserContextId: browserContextIds.at(-1) });
  };
  return {
    browser,
    permit,
    plain: `http://praxis.example:${plain}${path}`,
    secure: `https://praxis.example:${secure}${path}`,
  };
}

browserTest('the permission for the local network, denied and given', async (t) => {
  const { fake } = await startPage(t);
  const { browser, permit, plain, secure } = await startOutside(t, fake.port);
  const insecure = await openPage(browser, plain);
  await expectFailure(insecure, 'insecure-page', plain.replace('http:', 'https:'));
  await picture(insecure, 'insecure-page');
  await insecure.context().close();

  const page = await openPage(browser, secure);
  await permit('denied');
  await page.reload();
  await expectFailure(page, 'permission-denied');
  assert.equal(await page.locator('#simulator').isVisible(), false);
  await permit('granted'); // The page finds out by itself.
  await expectStrip(page, en.serviceUp, ready, en.cardOut);
  await permit('denied');
  await expectStrip(page, en.serviceDown, en.unknown, en.unknown);
  await expectFailure(page, 'permission-denied');
  await expectNoFindings(page, 'permission-denied');
  await picture(page, 'permission-denied');
  await permit('granted');
  await expectStrip(page, en.serviceUp, ready, en.cardOut);
});

browserTest('the permission for the local network, while the browser asks', async (t) => {
  // With windows, since without them nobody is there to be asked and the answer is no.
  const { fake } = await startPage(t);
  const { browser, permit, secure } = await startOutside(t, fake.port, await startScreen(t));
  const page = await openPage(browser, secure);
  await expectFailure(page, 'permission-not-asked');
  await expectStrip(page, en.waiting, en.unknown, en.unknown);
  await expectSituation(page, 'waiting'); // No alarm.
  await picture(page, 'permission-not-asked', 'header');
  // The question comes when a connection stands: without a service there is none to answer.
  await fake.stop();
  await page.reload();
  await expectFailure(page, 'not-running');
  await fake.start();
  await permit('granted');
  await page.reload();
  await expectStrip(page, en.serviceUp, ready, en.cardOut);
});

browserTest('usable within 200 milliseconds', async (t) => {
  const browser = await startBrowser(t);
  const { address } = await startPage(t);
  const page = await openPage(browser, address);
  const times = [];
  for (let i = 0; i < 9; ++i) {
    await page.reload();
    const time = await page.waitForFunction(() => document.querySelector('#strip [data-state=good]') && performance.now() - performance.getEntriesByType('navigation')[0].loadEventStart);
    times.push(Math.round(await time.jsonValue()));
  }
  t.diagnostic(`until the reader's state is shown: ${times.join(', ')} ms after loading`);
  assert.ok(times.sort((a, b) => a - b)[4] < 200, times.join(', '));
});
