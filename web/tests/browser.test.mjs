// The demo page in a real browser, on the real service with a simulated reader.
import assert from 'node:assert/strict';
import { readFile } from 'node:fs/promises';
import { createRequire } from 'node:module';
import { test } from 'node:test';
import { texts } from '../demo/texts.js';
import { makeKey, oddCard, occupy, startPageServer, startServer, until } from './bench.mjs';
import { openPage, picture, startBrowser, startScreen, startStage } from './browser.mjs';

const en = texts.en;
const axe = await readFile(createRequire(import.meta.url).resolve('axe-core'), 'utf8');

const shown = (page, selector) => page.locator(selector).innerText();

/** Waits until the three tiles say this, and gives nothing else to see. */
async function expectTiles(page, ...expected) {
  const names = ['service', 'reader', 'card'];
  let seen;
  await until(async () => {
    seen = await Promise.all(names.map((name) => shown(page, `#${name}-tile strong`)));
    return seen.every((text, i) => text === expected[i]);
  }, expected.join(', ')).catch(() => assert.deepEqual(seen, expected));
}

const ready = en.readerIn('SIM0001');
const expectText = (page, selector, text) =>
  page.locator(selector).filter({ hasText: text }).waitFor({ timeout: 20000 });

async function expectFailure(page, code) {
  await expectText(page, '#failure', en.failures[code][0]);
  await expectText(page, '#failure', en.failures[code][2]);
}

async function expectNoFindings(page, state) {
  await page.evaluate(axe);
  const { violations, passes } = await page.evaluate(() => globalThis.axe.run());
  assert.deepEqual(violations.map(({ id, nodes }) => [id, nodes.map(({ html }) => html)]), [], state);
  assert.ok(passes.length > 10);
}

const browserTest = (name, body) => test(name, { timeout: 120000 }, body);

browserTest('each state of service, reader and card has its picture', async (t) => {
  const browser = await startBrowser(t);
  const demo = await startStage(t);
  const page = await openPage(browser, demo.address);
  const faults = [];
  const hosts = new Set();
  page.on('pageerror', (error) => faults.push(String(error)));
  page.context().on('request', (request) => hosts.add(new URL(request.url()).origin));
  const press = (name) => page.getByRole('button', { name, exact: true }).click();
  const read = () => press(en.readButton);
  const stand = async (name) => {
    await expectNoFindings(page, name);
    await picture(page, name);
  };

  await expectTiles(page, en.serviceUp, ready, en.cardOut);
  await expectText(page, '#person', en.nothingRead);
  await stand('no-card');
  await read();
  await expectText(page, '#person', en.noCard);

  await press(en.sample.mustermann);
  await expectTiles(page, en.serviceUp, ready, en.cardIn);
  await read();
  await expectText(page, '#person .name', 'Dr. med. Jörg Günther von Mustermann');
  const person = await shown(page, '#person');
  for (const text of ['12 August 1964', 'T027618425', 'Große Präsidentenstraße 7a', 'Hinterhaus & Garten', 'D 10178 Berlin', 'Prüfkasse Nord-Süd (999567890)', 'member', '1 January 2019']) {
    assert.ok(person.includes(text), `${text} in ${person}`);
  }
  assert.match(await shown(page, '#raw'), /"Nachname": "Mustermann"/);
  await stand('card-read');
  await picture(page, 'card-read-window', 'header');

  await press(en.closeButton);
  await expectText(page, '#person', en.closed);

  await press(en.sample['familienversichertes-kind']); // Swapped under the page.
  await expectTiles(page, en.serviceUp, ready, en.cardOut);
  await expectTiles(page, en.serviceUp, ready, en.cardIn);
  assert.ok(!(await shown(page, '.result')).includes('Mustermann'), 'the data of a card go with it');
  await read();
  await expectText(page, '#person .name', 'Lina Sophie Freiin Beispielhausen');
  await expectText(page, '#person', 'family member');

  await press(en.sample.sonderzeichen);
  await expectTiles(page, en.serviceUp, ready, en.cardOut);
  await expectTiles(page, en.serviceUp, ready, en.cardIn);
  await read();
  await expectFailure(page, 'broken-json');
  assert.match(await shown(page, '#raw'), /"Nachname":"Šœnfußñer-Ÿäöü"/);
  await stand('broken-json');

  for (const [sample, check] of [['bankkarte', () => expectText(page, '#person', en.otherCard)], ['beschaedigt', () => expectFailure(page, 'action-failed')]]) {
    await press(en.sample[sample]);
    await expectTiles(page, en.serviceUp, ready, en.cardOut);
    await expectTiles(page, en.serviceUp, ready, en.cardIn);
    await read();
    await check();
    await stand(sample === 'bankkarte' ? 'other-card' : 'damaged-card');
  }

  await press(en.unplug);
  await expectTiles(page, en.serviceUp, en.readerOut, en.cardOut);
  await read();
  await expectText(page, '#person', en.noReader);
  await stand('no-reader');
  await press(en.plug);
  await expectTiles(page, en.serviceUp, ready, en.cardOut);

  await press(en.stop);
  await expectTiles(page, en.serviceDown, en.unknown, en.unknown);
  await expectFailure(page, 'not-running');
  await read();
  await expectText(page, '#person', en.readFailed);
  await stand('service-stopped');
  await press(en.start);
  await expectTiles(page, en.serviceUp, ready, en.cardOut);
  await page.locator('#failure').waitFor({ state: 'hidden' });

  assert.deepEqual(faults, []);
  assert.deepEqual([...hosts].sort(), [demo.origin, demo.service].sort(), 'nothing comes from elsewhere');
});

browserTest('umlauts and the euro sign, in German, in the dark, on a narrow window, by keyboard', async (t) => {
  const browser = await startBrowser(t);
  const demo = await startStage(t);
  const page = await openPage(browser, demo.address, { locale: 'de-DE', width: 360, height: 740, colorScheme: 'dark' });
  await demo.stage.simulator.command(`insert ${await oddCard(t, 'sonderzeichen', (xml) => xml.replaceAll('&quot;', "'"))}`);
  await expectTiles(page, texts.de.serviceUp, texts.de.readerIn('SIM0001'), texts.de.cardIn);

  const reached = [];
  for (let i = 0; i < 40 && reached.at(-1) !== texts.de.readButton; ++i) {
    await page.keyboard.press('Tab');
    reached.push(await page.evaluate(() => document.activeElement.innerText));
  }
  assert.deepEqual(reached, ['Deutsch', 'English', texts.de.readButton]);
  await page.keyboard.press('Enter');
  await expectText(page, '#person .name', "Prof. Dr. Žaneta Þórunn d' Šœnfußñer-Ÿäöü");
  const person = await shown(page, '#person');
  for (const text of ['Straße der 1000 € § 5', 'D 99999 Überöd & Ärmelswört', 'Žižkas Kasse für Übermut & Süßes', '10-€-Kasse Ölßig', '3. November 1959', 'Rentner(in)']) {
    assert.ok(person.includes(text), `${text} in ${person}`);
  }
  const overflow = () => page.evaluate(() => document.scrollingElement.scrollWidth - innerWidth);
  assert.ok((await overflow()) <= 0, 'nothing sticks out of a narrow window');
  await expectNoFindings(page, 'narrow and dark');
  await picture(page, 'narrow-dark-german', '.result');

  await page.getByRole('button', { name: 'English' }).press('Space');
  assert.equal(await page.getAttribute('html', 'lang'), 'en');
  await expectText(page, '#person', '3 November 1959');
  await page.reload();
  await expectText(page, '#read', en.readButton); // The choice is kept.

  // What stands folded up reads well, too.
  for (const summary of await page.locator('summary').all()) await summary.press('Enter');
  await expectNoFindings(page, 'help unfolded');
  assert.ok((await overflow()) <= 0);
});

browserTest('two tabs at once, and connections that are busy for a while', async (t) => {
  const browser = await startBrowser(t);
  const demo = await startStage(t, { args: ['--apdu-ms', '50'] });
  const pages = await Promise.all([openPage(browser, demo.address), openPage(browser, demo.address)]);
  await demo.stage.act('insert', 'mustermann');
  for (const page of pages) await expectTiles(page, en.serviceUp, ready, en.cardIn);
  await Promise.all(pages.map((page) => page.locator('#read').click()));
  for (const page of pages) await expectText(page, '#person .name', 'Mustermann');

  // The service closes each further connection without an answer, until one is free.
  const release = await occupy(t, demo.stage.simulator.port, 8);
  await expectFailure(pages[0], 'not-running');
  assert.match(en.failures['not-running'][2], /wait ten seconds/);
  release();
  await expectTiles(pages[0], en.serviceUp, ready, en.cardIn);
  const releaseAgain = await occupy(t, demo.stage.simulator.port, 7);
  await pages[1].locator('#read').click();
  await expectText(pages[1], '#person .name', 'Mustermann');
  releaseAgain();
});

browserTest('a service that is there for other origins, and custom headers', async (t) => {
  const browser = await startBrowser(t);
  const demo = await startStage(t);
  const { simulator } = demo.stage;
  const allow = async (origin) => {
    await demo.stage.act('stop');
    await simulator.configure({ AllowOrigin: origin });
    await demo.stage.act('start');
  };
  const page = await openPage(browser, demo.address);
  await expectTiles(page, en.serviceUp, ready, en.cardOut);
  for (const [origin, code] of [['https://praxis.example', 'origin-not-allowed'], [demo.origin, undefined], ['', 'origin-not-allowed'], ['*', undefined]]) {
    await allow(origin);
    await page.reload();
    if (code) {
      await expectFailure(page, code);
      if (origin) await picture(page, code);
    } else {
      await expectTiles(page, en.serviceUp, ready, en.cardOut);
    }
    assert.equal(await page.locator('#failure').isVisible(), Boolean(code), `AllowOrigin=${origin}`);
  }
  // What is in the way can change while the page is open: it finds out without being loaded again.
  await demo.stage.act('stop');
  await expectFailure(page, 'not-running');
  await allow('https://praxis.example');
  await expectFailure(page, 'origin-not-allowed');
  await demo.stage.act('stop');
  await expectFailure(page, 'not-running');
  await allow('*');
  await expectTiles(page, en.serviceUp, ready, en.cardOut);
  const fetchWith = (headers) =>
    page.evaluate(async ([address, init]) => {
      try {
        return (await (await fetch(`${address}/?action=status`, init)).json()).status;
      } catch (failure) {
        return failure.name;
      }
    }, [demo.service, { headers }]);
  // The first is on the list of the preflight's answer, the second is not.
  assert.equal(await fetchWith({ 'X-PINGOTHER': 'x' }), 'RUNNING');
  assert.equal(await fetchWith({ 'X-Other': 'x' }), 'TypeError');
});

/** A browser that takes a page of praxis.example for one out in the world, by HTTP and by HTTPS. */
async function startOutside(t, demo, screen) {
  const key = await makeKey(t);
  const [plain, secure] = (await Promise.all([startPageServer(t), startPageServer(t, key)])).map((address) => new URL(address).port);
  const browser = await startBrowser(t, [
    `--ip-address-space-overrides=127.0.0.1:${plain}=public,127.0.0.1:${secure}=public`,
    `--ignore-certificate-errors-spki-list=${key.hash}`,
    '--host-resolver-rules=MAP praxis.example 127.0.0.1',
  ], screen);
  const path = `/demo/index.html?port=${demo.stage.simulator.port}`;
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
  const demo = await startStage(t);
  const { browser, permit, plain, secure } = await startOutside(t, demo);
  const insecure = await openPage(browser, plain);
  await expectFailure(insecure, 'insecure-page');
  await picture(insecure, 'insecure-page');
  await insecure.context().close();

  const page = await openPage(browser, secure);
  await permit('denied');
  await page.reload();
  await expectFailure(page, 'permission-denied');
  assert.equal(await page.locator('#simulator').isVisible(), false);
  await permit('granted'); // The page finds out by itself.
  await expectTiles(page, en.serviceUp, ready, en.cardOut);
  await permit('denied');
  await page.locator('#read').click();
  await expectTiles(page, en.serviceDown, en.unknown, en.unknown);
  await expectFailure(page, 'permission-denied');
  await expectNoFindings(page, 'permission-denied');
  await picture(page, 'permission-denied');
  await permit('granted');
  await expectTiles(page, en.serviceUp, ready, en.cardOut);
});

browserTest('the permission for the local network, while the browser asks', async (t) => {
  // With windows, since without them nobody is there to be asked and the answer is no.
  const demo = await startStage(t);
  const { browser, permit, secure } = await startOutside(t, demo, await startScreen(t));
  const page = await openPage(browser, secure);
  await expectFailure(page, 'permission-not-asked');
  await picture(page, 'permission-not-asked', 'header');
  // The question comes when a connection stands: without a service there is none to answer.
  await demo.stage.act('stop');
  await page.reload();
  await expectFailure(page, 'not-running');
  await demo.stage.act('start');
  await permit('granted');
  await page.reload();
  await expectTiles(page, en.serviceUp, ready, en.cardOut);
});

browserTest('a page on a plain web server, where something else has the port', async (t) => {
  const browser = await startBrowser(t);
  const demo = await startStage(t);
  const foreign = await startServer(t, (request, response) => {
    response.setHeader('Access-Control-Allow-Origin', '*');
    response.end('<html>printer</html>');
  });
  const page = await openPage(browser, `${demo.origin}/demo/?port=${new URL(foreign).port}`);
  await expectFailure(page, 'foreign-answer');
  await picture(page, 'foreign-answer');
});

browserTest('usable within 200 milliseconds', async (t) => {
  const browser = await startBrowser(t);
  const demo = await startStage(t);
  const page = await openPage(browser, demo.address);
  const times = [];
  for (let i = 0; i < 10; ++i) {
    await page.addInitScript(() => {
      const observer = new MutationObserver(() => {
        if (document.querySelector('#reader-tile')?.dataset.state === 'good') globalThis.usableAt ??= performance.now();
      });
      observer.observe(document, { subtree: true, childList: true, attributes: true });
    });
    await page.reload();
    const usableAt = await until(() => page.evaluate(() => globalThis.usableAt), 'the first state');
    const { responseEnd, loadEventStart } = await page.evaluate(() => performance.getEntriesByType('navigation')[0].toJSON());
    times.push({ whole: Math.round(usableAt - responseEnd), loaded: Math.round(usableAt - loadEventStart) });
  }
  const told = (name) => times.map((time) => time[name]).join(', ');
  t.diagnostic(`until the reader's state is shown: ${told('loaded')} ms after loading, ${told('whole')} ms after the document has come`);
  const median = times.map(({ loaded }) => loaded).sort((a, b) => a - b)[times.length / 2];
  assert.ok(median < 200, told('loaded'));
});
