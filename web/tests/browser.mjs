/** Debian's Chromium, the demo page in it, and pictures of what it shows. */
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { mkdir } from 'node:fs/promises';
import { join } from 'node:path';
import { chromium } from 'playwright-core';
import { startDemo } from '../demo/serve.mjs';
import { freePort } from '../demo/simulator.mjs';
import { hasReader, program, root, until } from './bench.mjs';

const pictures = process.env.KV500_PICTURES ?? join(root, 'build/web-pictures');

/** A screen that nobody sees, for a browser with windows. Gives its name. */
export async function startScreen(t) {
  const screen = spawn('Xvfb', ['-displayfd', '1', '-screen', '0', '1280x900x24', '-nolisten', 'tcp'], {
    stdio: ['ignore', 'pipe', 'ignore'],
  });
  t.after(() => screen.kill());
  const [number] = await Promise.race([
    once(screen.stdout, 'data'),
    once(screen, 'exit').then(() => Promise.reject(new Error('no screen'))),
  ]);
  return `:${String(number).trim()}`;
}

/** Gives a browser that the test `t` closes, without windows unless it is given a screen. */
export async function startBrowser(t, args = [], screen = undefined) {
  const browser = await chromium.launch({
    headless: !screen,
    env: { ...process.env, DISPLAY: screen ?? '' },
    executablePath: process.env.KV500_CHROMIUM ?? '/usr/bin/chromium',
    args: [
      '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-sync',
      '--disable-background-networking', '--disable-component-update', ...args,
    ],
  });
  t.after(() => browser.close());
  return browser;
}

/** Gives a demo with a simulator of its own that the test `t` ends. */
export async function startStage(t, options = {}) {
  const demo = await startDemo({ simulator: program, port: await freePort(), servicePort: await freePort(), ...options });
  t.after(() => demo.stop());
  demo.service = `http://127.0.0.1:${demo.stage.simulator.port}`;
  demo.origin = new URL(demo.address).origin;
  await until(() => hasReader(demo.service), 'the reader');
  return demo;
}

/** A page in a context of its own, so that nothing is kept from one test to the next. */
export async function openPage(browser, address, { locale = 'en-GB', width = 1280, height = 900, colorScheme = 'light' } = {}) {
  const context = await browser.newContext({ locale, colorScheme, viewport: { width, height } });
  const page = await context.newPage();
  await page.goto(address);
  return page;
}

/** The page as a whole, or from one place on as much as the window shows. */
export async function picture(page, name, from = undefined) {
  await mkdir(pictures, { recursive: true });
  if (from) await page.locator(from).evaluate((place) => place.scrollIntoView());
  await page.screenshot({ path: join(pictures, `${name}.png`), fullPage: !from });
}
