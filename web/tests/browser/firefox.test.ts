import assert from 'node:assert/strict';
import { test } from 'node:test';
import { Stand } from './desk.js';
import { firefox } from './page.js';
import { until } from './programs.js';

const stand = new Stand(() => firefox(), 'firefox');

test('Firefox shows devices, and a tile opens one', async () => {
  const page = await stand.open();
  await page.shows('.tile .badge', 'live');
  await page.click('.tile');
  await page.shows('h1', 'desk');
  await page.isInState('live');
  await page.close();
});

test('Firefox draws the levels of the device', async () => {
  const page = await stand.live();
  await until('there are colours', async () => (await page.colours()) > 0);
  await stand.whileSilent(page, async () => {
    await until('no colour is left', async () => (await page.colours()) === 0);
    await stand.hasTheLevels(page);
  });
  await page.close();
});

test('Firefox comes back after the connection was cut', async () => {
  const page = await stand.live();
  stand.line.cut();
  await page.isInState('offline');
  stand.line.join();
  await page.isInState('live');
  await page.close();
});

test('Firefox shows a wall by its link, and filters it', async () => {
  const page = await stand.live('#/?show=desk:input/*&show=stage:bus/1');
  assert.ok((await page.strips()).length > 2);
  await page.tab.locator('input[type=search]').fill('bus');
  await until('one strip', async () => (await page.strips()).length === 1);
  await page.close();
});
