import assert from 'node:assert/strict';
import { test } from 'node:test';
import { barsOf } from './canvas.js';
import { Stand } from './desk.js';
import { chromium } from './page.js';
import { device, until } from './programs.js';

const stand = new Stand(() => chromium(), 'chromium');

test('devices are tiles with their states in words', async () => {
  const page = await stand.open();
  await until('all tiles have states', async () => {
    const badges = await page.texts('.tile .badge');
    return badges.length === 3 && badges.filter((text) => text.includes('live')).length === 2;
  });
  assert.deepEqual(await page.texts('.tile strong'), ['desk', 'rack', 'stage']);
  await page.shows('.tile[data-state=lost] .badge', 'lost');
  await page.shows('.tile[data-state=lost] .reason', /\w+/);
  await page.shows('.tile[data-state=live] .level', /^−\d+\.\d dB$/);
  await page.shows('.tile[data-state=live] .change', /→ .+ ago/);
  await page.close();
});

test('a tile opens the meter bridge of its device', async () => {
  const page = await stand.open();
  await page.shows('.tile', 'desk');
  await page.click('.tile');
  await page.shows('h1', 'desk');
  await page.isInState('live');
  await page.close();
});

test('a bridge has the strips that the device has, under their names', async () => {
  const page = await stand.live();
  const values = await stand.values();
  const prefixes = [...values.keys()].filter((key) => key.endsWith('/peak')).map((key) => key.slice(0, -5));
  assert.ok(prefixes.length > 4);
  assert.deepEqual([...(await page.levels()).keys()], prefixes.map((prefix) => `desk:${prefix}`)); // prettier-ignore
  await page.shows('.meters-table tbody th', String(values.get('input/1/name')));
  await page.close();
});

test('the levels on the screen are those of the device, in the table and on the canvas', async () => {
  const page = await stand.live();
  await stand.whileSilent(page, async () => {
    const bars = await barsOf(page, await stand.hasTheLevels(page));
    assert.ok(bars.length > 4);
    // The lines of the scale and the held peak are drawn over a bar.
    const isNear = (place: number, other: number) => Math.abs(place - other) <= 3;
    const isDrawn = ({ expected, found }: (typeof bars)[0]) => expected.every((place, i) => isNear(place, found[i]));
    for (const bar of bars) assert.ok(isDrawn(bar), JSON.stringify(bar));
  });
  await page.close();
});

test('a device that is silent turns grey, with its age, and lives again', async () => {
  const page = await stand.live();
  await stand.whileSilent(page, async () => {
    await page.shows('.notice', /desk/);
    await page.shows('.figures', /age\d\.\d s/);
    await until('no colour is left', async () => (await page.colours()) === 0);
  });
  await until('there are colours', async () => (await page.colours()) > 0);
  await page.close();
});

test('a device that is lost is, with the reason, and comes back', async () => {
  const page = await stand.live();
  await stand.desk.end('SIGKILL');
  await page.isInState('lost');
  await page.shows('.notice', 'desk is not connected to the gateway: ');
  await page.shows('[role=status]', 'desk: lost');
  stand.desk = await device('chromium-desk');
  await page.isInState('live');
  await page.close();
});

test('a tile whose device is lost turns grey, keeps the reason, and is announced', async () => {
  const page = await stand.open();
  await page.shows('.tile[data-state=live] strong', 'desk');
  await stand.desk.end('SIGKILL');
  await page.shows('.devices [role=status]', 'desk: lost');
  await page.shows('.tile[data-state=lost] .reason', /newest values .+ ago/);
  stand.desk = await device('chromium-desk');
  await page.shows('.tile[data-state=live] strong', 'desk');
  await page.close();
});

test('without a connection the page says so and why, and comes back by itself', async () => {
  const page = await stand.live();
  stand.line.cut();
  await page.isInState('offline');
  await page.shows('.notice', /^No connection to the gateway: .+\. Trying again in \d+ s$/);
  assert.equal(await page.colours(), 0);
  stand.line.join();
  await page.isInState('live');
  await page.close();
});

test('a device that the gateway does not follow is said to be none', async () => {
  const page = await stand.open('#/nobody');
  await page.shows('.notice', 'The gateway does not follow a device “nobody”');
  await page.close();
});

test('changes have the time, the old value and the new one', async () => {
  const page = await stand.live();
  await page.shows('.changes ol', /\d\d:\d\d:\d\d\S+\/\S+ → /);
  await page.close();
});

test('values that are no levels are beside the bridge, and follow the device', async () => {
  const page = await stand.live();
  const uptime = () => page.tab.$$eval('.values dl > div', (rows) => rows.find((row) => row.textContent.startsWith('engine/uptime'))?.lastChild?.textContent); // prettier-ignore
  const first = Number(await uptime());
  assert.ok(first > 0);
  await until('the uptime grows', async () => Number(await uptime()) > first);
  await page.close();
});

test('spectra are drawn', async () => {
  const page = await stand.live();
  await until('the spectra have colours', async () => (await page.colours('.spectra canvas')) > 0);
  await page.close();
});

test('a hidden tab gets next to nothing, and is live within 200 ms when it is back', async () => {
  const page = await stand.live();
  await page.setHidden(true);
  await until('updates cease', async () => (await stand.line.octetsWithin(1000)) < 2000);
  const back = await page.setHidden(false);
  assert.ok(back < 200, `live again after ${back} ms`);
  await page.close();
});

test('a filter leaves the strips that contain it, and stands in the address', async () => {
  const page = await stand.live();
  await page.tab.keyboard.press('/');
  await page.tab.keyboard.type('BUS');
  await until('only buses', async () => (await page.strips()).every((name) => name.startsWith('bus/')));
  assert.match(page.tab.url(), /#\/desk\?filter=BUS$/);
  await page.tab.keyboard.press('Escape');
  await until('all strips', async () => (await page.strips()).length > 4);
  assert.match(page.tab.url(), /#\/desk$/);
  await page.close();
});

test('a link shows a wall with strips of several devices', async () => {
  const page = await stand.live('#/?show=desk:input/*&show=stage:bus/1');
  const strips = [...(await page.levels()).keys()];
  assert.deepEqual([...new Set(strips.map((strip) => strip.replace(/\d+$/, '')))], ['desk:input/', 'stage:bus/']);
  assert.equal(strips.filter((strip) => strip.startsWith('stage')).length, 1);
  await page.close();
});

test('a wall is chosen in a dialog, and its address is a link to it', async () => {
  const page = await stand.open();
  await page.shows('.tile', 'desk');
  await page.press('Wall');
  await page.tab.locator('input[aria-label="Strips of stage"]').fill('input/1 input/2');
  await page.press('Show');
  await page.isInState('live');
  await until('two strips', async () => (await page.strips()).length === 2);
  assert.match(page.tab.url(), /#\/\?show=stage:input\/1&show=stage:input\/2$/);
  await page.close();
});

test('a choice of strips in the address of a device', async () => {
  const page = await stand.live('#/desk?keys=input/2');
  assert.deepEqual([...(await page.levels()).keys()], ['desk:input/2']);
  await page.close();
});

test('a rate leaves fewer updates, and the page says how many became one', async () => {
  const page = await stand.live('#/desk?rate=5');
  await page.shows('.figures', /rate[45]\.\d\/s/);
  await page.shows('.figures', /merged[4-6] to 1/);
  await page.close();
});

test('a paused picture stands still and says so', async () => {
  const page = await stand.live();
  await page.tab.keyboard.press('Space');
  await page.isInState('paused');
  await until('no colour is left', async () => (await page.colours()) === 0);
  let picture = '';
  await until('it stands still', async () => {
    picture = await page.picture();
    await stand.line.octetsWithin(500);
    return (await page.picture()) === picture;
  });
  await page.tab.keyboard.press('Space');
  await page.isInState('live');
  await until('it moves', async () => (await page.picture()) !== picture);
  await page.close();
});

test('held peaks that stay do, until they are reset', async () => {
  const page = await stand.live('#/desk?hold=keep');
  const held = async () =>
    (await page.texts('.meters-table td:nth-of-type(3)')).map((text) => Number(text.replace('−', '-')));
  const first = await held();
  await new Promise((resume) => setTimeout(resume, 4000)); // more than peaks are held otherwise
  const later = await held();
  assert.ok(
    later.every((level, i) => level >= first[i]),
    `${first.join()} became ${later.join()}`,
  );
  await page.press('Reset peaks');
  await until('peaks are lower', async () => (await held()).some((level, i) => level < later[i]));
  await page.close();
});

test('everything can be reached by keyboard', async () => {
  const page = await stand.live();
  const names = await page.tabStops(20);
  for (const name of [
    'corvalux',
    'Filter',
    'Updates a second',
    'Pause',
    'Reset peaks',
    'Clear clips',
    'Wall…',
    'View',
  ]) {
    assert.ok(names.includes(name), `${name} is not among ${names.join()}`);
  }
  await page.tab.keyboard.press('?');
  await page.shows('dialog[open] h2', 'Keys and signs');
  await page.tab.keyboard.press('Escape');
  await until('the help is closed', async () => (await page.text('dialog[open]')) === '');
  await page.tab.keyboard.press('d');
  await page.shows('h1', 'Devices');
  await page.close();
});

test('a tap opens a device on a phone', async () => {
  const page = await stand.open('', { width: 360, height: 740, touch: true });
  await page.shows('.tile', 'desk');
  await page.tab.tap('.tile');
  await page.shows('h1', 'desk');
  await page.isInState('live');
  await page.close();
});

test('with reduced motion there are five pictures a second', async () => {
  const page = await stand.live('#/desk', { calm: true });
  const pictures = await page.picturesWithin(2000);
  assert.ok(pictures > 5 && pictures <= 11, `${pictures} pictures in 2 s`);
  await page.close();
});

test('colours and theme are remembered', async () => {
  const page = await stand.live('#/desk', { theme: 'dark' });
  await page.click('summary');
  await page.tab.select('.sheet label:nth-of-type(1) select', 'light');
  await page.tab.select('.sheet label:nth-of-type(2) select', 'safe');
  await page.tab.reload();
  const { theme, colours } = await page.tab.$eval('html', ({ dataset }) => ({
    theme: dataset['theme'],
    colours: dataset['colours'],
  }));
  assert.deepEqual([theme, colours], ['light', 'safe']);
  await page.tab.evaluate(() => {
    localStorage.clear();
  });
  await page.close();
});

for (const width of [320, 360, 768, 1024, 1920, 3840]) {
  test(`nothing is wider than ${width} px`, async () => {
    const page = await stand.live('#/desk', { width, height: Math.round(width * 0.6) });
    for (const hash of ['#/desk', '#/', '#/?show=desk&show=stage']) {
      await page.go(hash);
      await page.isInState('live');
      assert.equal(await page.tab.evaluate(() => document.documentElement.scrollWidth), width, hash);
    }
    await page.press('Wall');
    assert.ok(await page.tab.$eval('dialog[open]', (dialog) => dialog.scrollWidth <= dialog.clientWidth));
    await page.close();
  });
}
