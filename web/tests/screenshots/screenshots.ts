// Takes pictures of the page for the documents. screenshots.js FOLDER: writes FOLDER/page-*.png.
import { join } from 'node:path';
import { setTimeout as sleep } from 'node:timers/promises';
import type { Browser } from 'puppeteer-core';
import { chromium, Page } from '../browser/page.js';
import { device, gateway } from '../browser/programs.js';

const sizes = { 360: 740, 1024: 768, 2560: 1440 } as const;

interface Shot {
  view: string;
  hash: string;
  width: keyof typeof sizes;
  theme: 'dark' | 'light';
}

const shots: Shot[] = [
  { view: 'desk', hash: '#/desk', width: 360, theme: 'dark' },
  { view: 'desk', hash: '#/desk', width: 360, theme: 'light' },
  { view: 'desk', hash: '#/desk', width: 1024, theme: 'dark' },
  { view: 'desk', hash: '#/desk', width: 1024, theme: 'light' },
  { view: 'desk', hash: '#/desk', width: 2560, theme: 'dark' },
  { view: 'devices', hash: '#/', width: 1024, theme: 'light' },
  { view: 'wall', hash: '#/?show=desk:input/*&show=stage:bus/*', width: 1024, theme: 'dark' },
];

/** The pictures must not show where they were taken. */
function hidePlaces(): void {
  document.querySelectorAll('.address').forEach((node, i) => {
    node.textContent = `10.0.0.${5 + i}:50005`;
  });
  for (const node of document.querySelectorAll('.reason')) {
    node.textContent = node.textContent.replace(/unix:\S+: No such file or directory/, 'connection refused');
  }
}

async function shoot(browser: Browser, url: string, folder: string, { view, hash, width, theme }: Shot): Promise<void> {
  const page = await Page.open(browser, url, hash, { width, height: sizes[width], theme });
  await page.isInState('live');
  await sleep(9000); // for a history of changes
  await page.tab.evaluate(hidePlaces);
  await page.tab.screenshot({ path: join(folder, `page-${view}-${width}-${theme}.png`) });
  await page.close();
}

const devices = [await device('desk', '--seed', '5'), await device('stage', '--seed', '7')];
const { program, url } = await gateway({ desk: 'desk', stage: 'stage', rack: 'rack' });
const browser = await chromium();
for (const shot of shots) await shoot(browser, url, process.argv[2] ?? '.', shot);
await browser.close();
await Promise.all([program, ...devices].map((each) => each.end()));
