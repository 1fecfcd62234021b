import assert from 'node:assert/strict';
import { after, test } from 'node:test';
import { layoutOf } from '../../page/draw/layout.js';
import { chromium, Page } from './page.js';
import { device, gateway, until } from './programs.js';

const browser = await chromium('gateways');
const desk = await device('gateways-desk');
after(async () => {
  await browser.close();
  await desk.end();
});

const devices = { desk: 'gateways-desk' };

test('when a gateway dies the page goes on with the next one', async () => {
  const first = await gateway(devices);
  const origin = first.url.replace(/\/$/, '');
  const second = await gateway(devices, '--allow-origin', origin);
  const page = await Page.open(browser, first.url, `#/desk?gateway=${new URL(second.url).host}`);
  await page.isInState('live');
  await first.program.end();
  await page.isInState('live');
  await until('it draws', async () => (await page.colours()) > 0);
  assert.match(page.tab.url(), /gateway=127\.0\.0\.1:\d+$/);
  await page.close();
  await second.program.end();
});

test('a gateway that starts again finds its viewers', async () => {
  const { program, url } = await gateway(devices);
  const page = await Page.open(browser, url, '#/desk');
  await page.isInState('live');
  await program.end();
  await page.isInState('offline');
  await page.shows('.notice', 'No connection to the gateway');
  const again = await gateway(devices, '--listen', new URL(url).host);
  await page.isInState('live');
  await page.close();
  await again.program.end();
});

test('a clip lights until somebody acknowledges it', async () => {
  const loud = await device('gateways-loud', '--channels', '64', '--fast-hz', '50');
  const { program, url } = await gateway({ loud: 'gateways-loud' });
  const page = await Page.open(browser, url, '#/loud', { touch: true });
  const clips = async () =>
    (await page.texts('.meters-table td:nth-of-type(4)')).reduce((sum, text) => sum + Number(text), 0);
  await until('an input clips', async () => (await clips()) > 0, 60_000);
  await page.press('Pause');
  const before = await clips();
  await page.press('Clear clips');
  await until('nothing is lit', async () => (await clips()) === 0);
  assert.ok(before > 0);
  await page.close();
  await Promise.all([program.end(), loud.end()]);
});

test('a tap on a strip acknowledges its clips', async () => {
  const loud = await device('gateways-bus', '--seed', '65');
  const { program, url } = await gateway({ loud: 'gateways-bus' });
  const page = await Page.open(browser, url, '#/loud?keys=bus/1', { touch: true });
  const clips = async () => Number(await page.text('.meters-table td:nth-of-type(4)'));
  await until('the bus clips', async () => (await clips()) > 0, 60_000);
  await page.press('Pause');
  await page.isInState('paused');
  const { width, height } = await page.size('.bridge');
  const { x, y } = await page.tab.$eval('.bridge', (bridge) => bridge.getBoundingClientRect().toJSON() as DOMRect);
  await page.tab.touchscreen.tap(x + width / 2, y + 1.5 * layoutOf(2, width, height).rowHeight);
  await until('nothing is lit', async () => (await clips()) === 0);
  await page.close();
  await Promise.all([program.end(), loud.end()]);
});
