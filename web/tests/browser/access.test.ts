import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { test } from 'node:test';
import type { AxeResults } from 'axe-core';
import { Stand } from './desk.js';
import { chromium, type Look, type Page } from './page.js';

const stand = new Stand(() => chromium(), 'access');
const axe = readFileSync(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');

/** What axe-core finds in the page as it is now. */
async function findings(page: Page): Promise<string[]> {
  await page.tab.evaluate(axe);
  const { violations } = (await page.tab.evaluate('axe.run()')) as AxeResults;
  return violations.map(({ id, nodes }) => `${id}: ${nodes.map(({ html }) => html).join(' ')}`);
}

const looks: Look[] = [
  { theme: 'dark' },
  { theme: 'light' },
  { theme: 'dark', width: 360, height: 740 },
  { theme: 'light', width: 360, height: 740 },
];

for (const look of looks) {
  const name = `${look.theme ?? ''}, ${look.width ?? 1280} px`;
  test(`axe finds nothing in any view: ${name}`, async () => {
    const page = await stand.live('#/desk', look);
    await page.shows('.changes ol', /→/);
    for (const hash of ['#/desk', '#/', '#/?show=desk&show=stage', '#/rack', '#/nobody']) {
      await page.go(hash);
      await page.shows('.badge', hash === '#/rack' || hash === '#/nobody' ? 'lost' : 'live');
      assert.deepEqual(await findings(page), [], hash);
    }
    await page.close();
  });

  test(`axe finds nothing in dialogs and the menu: ${name}`, async () => {
    const page = await stand.live('#/desk', look);
    await page.click('summary');
    assert.deepEqual(await findings(page), []);
    await page.press('Keys and help');
    assert.deepEqual(await findings(page), []);
    await page.press('Close');
    await page.press('Wall');
    assert.deepEqual(await findings(page), []);
    await page.close();
  });
}

test('screen readers get a table of meters instead of the drawing, which is hidden from them', async () => {
  const page = await stand.live();
  const hidden = await page.tab.$$eval('canvas', (all) => all.every((canvas) => canvas.ariaHidden === 'true'));
  assert.ok(hidden);
  const tree = JSON.stringify(await page.tab.accessibility.snapshot({ interestingOnly: false }));
  assert.match(tree, /"role":"meter"/);
  assert.match(tree, /"role":"rowheader"/);
  await page.close();
});

test('the table keeps its nodes while it is written', async () => {
  const page = await stand.live();
  const [written, replaced] = await page.tab.evaluate(async () => {
    const kinds: string[] = [];
    const observer = new MutationObserver((all) => kinds.push(...all.map(({ type }) => type)));
    const body = document.querySelector('.meters-table tbody') ?? document;
    observer.observe(body, { subtree: true, childList: true, characterData: true });
    await new Promise((resume) => setTimeout(resume, 2000));
    return ['characterData', 'childList'].map((kind) => kinds.filter((one) => one === kind).length);
  });
  assert.ok(written > 10, `${written} written`);
  assert.equal(replaced, 0);
  await page.close();
});

test('a meter of the table is written at most once a second', async () => {
  const page = await stand.live();
  const most = await page.tab.evaluate(async () => {
    const counts = new Map<Node, number>();
    const observer = new MutationObserver((all) => {
      for (const { target } of all) counts.set(target, (counts.get(target) ?? 0) + 1);
    });
    for (const meter of document.querySelectorAll('meter')) observer.observe(meter, { attributeFilter: ['value'] });
    await new Promise((resume) => setTimeout(resume, 3000));
    return Math.max(...counts.values());
  });
  assert.ok(most >= 2 && most <= 4, `${most} times in 3 s`);
  await page.close();
});
