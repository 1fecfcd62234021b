import assert from 'node:assert/strict';
import { writeFileSync } from 'node:fs';
import test, { describe, type TestContext } from 'node:test';
import { setTimeout as after } from 'node:timers/promises';
import type { LiveClient, Meters, Value } from '../../client/index.js';
import { live, Queue } from '../client/gateway.js';
import { device, end, folder, gateway } from './programs.js';

interface Shown {
  stream: string;
  key: string;
  kind: string;
  value: unknown;
}

/** All values that the gateway's other door shows. */
async function shownBy(http: string): Promise<Shown[]> {
  const response = await fetch(`${http}api/devices/desk/values`);
  return ((await response.json()) as { values: Shown[] }).values;
}

/** As the gateway's JSON has it: floats with as few digits as make the same float. */
function sameValue(value: Value, { kind, value: shown }: Shown): boolean {
  const round = (number: unknown): unknown => (kind.startsWith('float') ? Math.fround(Number(number)) : number);
  if (value !== null && typeof value === 'object') {
    return Array.isArray(shown) && value.length === shown.length && value.every((one, i) => one === round(shown[i]));
  }
  return value === (typeof value === 'number' ? round(shown) : shown);
}

/** The updates of a stream, and until when each took to come. */
function watch(client: LiveClient, rate = 0) {
  const updates = new Queue<{ merged: number; age: number }>('an update');
  const snapshots = new Queue<Meters>('a snapshot');
  const subscription = client.subscribe(
    { device: 'desk', streams: ['fast'], rate },
    {
      snapshot: () => snapshots.push(subscription.fast),
      update: () => updates.push({ merged: subscription.fast.merged, age: subscription.fast.age }),
    },
  );
  return { subscription, updates, snapshots };
}

async function watched(t: TestContext, ...options: string[]) {
  const desk = await device(t, folder(t), ...options);
  const { url, http, child } = await gateway(t, [`desk=${desk.address}`]);
  const client = live(t, { urls: [url] });
  return { desk, url, http, gateway: child, client, ...watch(client) };
}

describe('with the real gateway', { concurrency: true }, () => {
  test('the picture is that of the gateway, every kind and oddity', async (t) => {
    const odd = ['unknown-kinds', 'empty-texts', 'huge-lists', 'zero-counts', 'duplicate-keys'];
    const place = folder(t);
    const desk = await device(t, place, '--channels', '64', ...odd.flatMap((kind) => ['--misbehave', kind]));
    const { url, http } = await gateway(t, [`desk=${desk.address}`]);
    const first = live(t, { urls: [url], acknowledges: false });
    await watch(first).updates.next();
    await after(500); // some changes, too
    await end(desk.child);
    await after(200);
    const client = live(t, { urls: [url] });
    const whole = new Queue<undefined>('the snapshot');
    const subscription = client.subscribe(
      { device: 'desk', streams: ['slow', 'fast', 'changes'] },
      { snapshot: () => whole.push(undefined) },
    );
    await whole.next();
    const shown = await shownBy(http);
    for (const stream of ['fast', 'slow'] as const) {
      const meters = subscription[stream];
      const expected = shown.filter((one) => one.stream === stream);
      assert.ok(expected.length > 0);
      assert.deepEqual(
        meters.keys,
        expected.map(({ key }) => key),
      );
      expected.forEach((one, i) =>
        assert.ok(sameValue(meters.value(i), one), `${one.key}: ${String(meters.value(i))}`),
      );
    }
    const changes = shown.filter((one) => one.stream === 'changes');
    assert.deepEqual([...subscription.changes.keys()].sort(), changes.map(({ key }) => key).sort());
    for (const one of changes) {
      const value = subscription.changes.get(one.key)?.value ?? null;
      assert.ok(sameValue(value, one), `${one.key}: ${String(value)}`);
    }
  });

  test('a viewer that did not draw for two seconds gets the window, then the newest', async (t) => {
    const { client, updates } = await watched(t, '--fast-hz', '50');
    await updates.next();
    await after(2000);
    const old = 1 + updates.length;
    assert.ok(old >= 2 && old < 20, `${old} updates on their way`);
    while (updates.length > 0) await updates.next();
    client.drawn();
    const { merged, age } = await updates.next();
    assert.ok(merged > 50, `${merged} merged`);
    assert.ok(age < 0.1, `${age} s old`);
  });

  test('a hidden viewer gets no updates, and the newest when it is shown', async (t) => {
    const { client, updates, subscription } = await watched(t);
    await updates.next();
    client.setHidden(true);
    await after(500); // what was on its way
    const before = subscription.fast.updates;
    await after(1000);
    assert.equal(subscription.fast.updates, before);
    while (updates.length > 0) await updates.next();
    client.setHidden(false);
    assert.ok((await updates.next()).merged > 5);
  });

  test('a rate is kept', async (t) => {
    const { client } = await watched(t, '--fast-hz', '100');
    const { updates } = watch(client, 5);
    await updates.next();
    const begin = performance.now();
    for (let i = 0; i < 5; i += 1) {
      client.drawn();
      await updates.next();
    }
    assert.ok(performance.now() - begin > 700);
  });

  test('it goes on with another gateway, and comes back to the first', async (t) => {
    const desk = await device(t, folder(t));
    const [one, other] = [await gateway(t, [`desk=${desk.address}`]), await gateway(t, [`desk=${desk.address}`])];
    const client = live(t, { urls: [one.url, other.url] });
    const { snapshots, subscription } = watch(client);
    await snapshots.next();
    await end(one.child);
    const { updates } = subscription.fast;
    while (subscription.fast.updates === updates) await snapshots.next();
    assert.equal(client.connection.url, other.url);
    await gateway(t, [`desk=${desk.address}`], Number(new URL(one.http).port));
    await end(other.child);
    await snapshots.next();
    assert.equal(client.connection.url, one.url);
    assert.ok(subscription.fast.keys.includes('input/1/peak'));
  });

  test('a device that comes, goes and comes back', async (t) => {
    const place = folder(t);
    const desk = await device(t, place);
    const file = `${place}/gateway.conf`;
    const follow = (devices: string[]): void => writeFileSync(file, `device = ${JSON.stringify(devices)}\n`);
    follow([]);
    const { child, url } = await gateway(t, ['--config', file]);
    const all = new Queue<number>('devices');
    const client = live(t, { urls: [url], events: { devices: ({ size }) => all.push(size) } });
    const ends = new Queue<string>('the subscription ends');
    const fresh = new Queue<undefined>('a snapshot');
    client.subscribe(
      { device: 'desk', streams: ['fast'] },
      { snapshot: () => fresh.push(undefined), ended: ends.push },
    );
    assert.equal(await ends.next(), 'unknown-device');
    follow([`desk=${desk.address}`]);
    child.kill('SIGHUP');
    await fresh.next();
    follow([]);
    child.kill('SIGHUP');
    assert.equal(await ends.next(), 'device-gone');
    await all.until((size) => size === 1);
    await all.until((size) => size === 0);
    follow([`desk=${desk.address}`]);
    child.kill('SIGHUP');
    await fresh.next();
  });

  test('what the gateway refuses ends the subscription, with a sentence', async (t) => {
    const { client } = await watched(t);
    const ends = new Queue<string[]>('the subscription ends');
    const tooMany = Array.from({ length: 17 }, (_, i) => `key/${i}`);
    const events = { ended: (...said: string[]) => ends.push(said) };
    client.subscribe({ device: 'desk', streams: ['fast'], keys: tooMany }, events);
    assert.deepEqual(await ends.next(), ['limit', 'too many patterns']);
    client.subscribe({ device: 'desk', streams: ['fast', 'fast'] }, events);
    assert.equal((await ends.next())[0], 'bad-message');
  });

  test('the measured round trip and clock are those of one machine', async (t) => {
    const { client, snapshots } = await watched(t);
    await snapshots.next();
    assert.ok(client.roundTrip > 0 && client.roundTrip < 1, `${client.roundTrip} s`);
    assert.ok(Math.abs(client.clockOffset) < 0.5, `${client.clockOffset} s`);
  });
});
