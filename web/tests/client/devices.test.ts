import assert from 'node:assert/strict';
import test, { describe, type TestContext } from 'node:test';
import { Gateway, live, Queue, subscribed } from './gateway.js';
import { devices, error, hello, snapshot } from './wire.js';

async function watching(test: TestContext) {
  const gateway = await Gateway.open(test);
  const seen = new Queue<string[]>('devices');
  const client = live(test, { urls: [gateway.url], events: { devices: (all) => seen.push([...all.keys()]) } });
  const viewer = await gateway.viewers.next();
  viewer.send(hello());
  return { gateway, client, seen, viewer };
}

// They mostly wait.
describe('devices', { concurrency: true }, () => {
  test('a device is what its newest summary says', async (t) => {
    const { client, seen, viewer } = await watching(t);
    viewer.send(devices([{ name: 'desk', state: 'connecting' }, { name: 'stage' }]));
    viewer.send(devices([{ name: 'desk', worst: ['input/1/peak', -3], lastChange: [['mute', 'uint', 1], 0.5] }]));
    await seen.next();
    assert.deepEqual(await seen.next(), ['desk', 'stage']);
    const { received, ...desk } = client.devices.get('desk') ?? assert.fail();
    assert.deepEqual(desk, {
      name: 'desk',
      address: 'desk.example:50005',
      state: 'live',
      reason: '',
      since: 1000,
      worst: { key: 'input/1/peak', level: -3 },
      lastChange: { key: 'mute', value: 1, age: 0.5 },
    });
    assert.ok(performance.now() - received < 5000);
  });

  test('devices come and go, in the order of their names', async (t) => {
    const { seen, viewer } = await watching(t);
    viewer.send(devices([{ name: 'b' }, { name: 'd' }]), devices([{ name: 'c' }, { name: 'a' }]), devices([], ['b']));
    assert.deepEqual(
      [await seen.next(), await seen.next(), await seen.next()],
      [
        ['b', 'd'],
        ['a', 'b', 'c', 'd'],
        ['a', 'c', 'd'],
      ],
    );
  });

  test('after a reconnect only what the gateway then names is there', async (t) => {
    const { gateway, client, seen, viewer } = await watching(t);
    viewer.send(devices([{ name: 'a' }, { name: 'b' }]));
    await seen.next();
    viewer.socket.close(1012);
    const next = await gateway.viewers.next();
    assert.equal(client.devices.size, 2); // nothing vanishes before
    next.send(hello(), devices([{ name: 'b' }]));
    assert.deepEqual(await seen.next(), ['b']);
  });

  test('a device that is not there is subscribed to when it comes', async (t) => {
    const { happened, viewer } = await subscribed(t, { device: 'stage' });
    viewer.send(error('unknown-device', 'there is no device of this name', 1));
    assert.equal((await happened.next()).code, 'unknown-device');
    viewer.send(devices([{ name: 'desk' }]), devices([{ name: 'stage' }]), devices([{ name: 'stage' }]));
    assert.deepEqual((await viewer.says('subscribe'))[2], ['stage']);
    viewer.send(snapshot('fast', [], { subscription: 2 }));
    assert.equal((await happened.next()).what, 'snapshot');
    assert.equal(viewer.said.length, 0);
  });

  test('a device that goes and comes back is subscribed to again', async (t) => {
    const { happened, viewer, subscription } = await subscribed(t);
    viewer.send(snapshot('fast', [['a', 'uint', 1]], { sequence: 70 }));
    viewer.send(error('device-gone', 'it has been removed', 1), devices([], ['desk']));
    assert.equal((await happened.until(({ what }) => what === 'ended')).code, 'device-gone');
    viewer.send(devices([{ name: 'desk', state: 'connecting' }]));
    await viewer.says('subscribe');
    viewer.send(snapshot('fast', [['a', 'uint', 2]], { subscription: 2, sequence: 1 }));
    await happened.next();
    assert.equal(subscription.fast.numbers[0], 2);
  });

  test('a busy gateway is asked again later', async (t) => {
    const { happened, viewer } = await subscribed(t);
    viewer.send(error('busy', 'too much to do', 1));
    assert.equal((await happened.next()).code, 'busy');
    await viewer.says('subscribe');
  });

  test('a refused subscription ends, also over a reconnect', async (t) => {
    const { gateway, client, happened, viewer } = await subscribed(t);
    viewer.send(error('limit', 'too many patterns', 1));
    assert.equal((await happened.next()).code, 'limit');
    viewer.socket.close(1012);
    const next = await gateway.viewer();
    client.subscribe({ device: 'other', streams: ['slow'] });
    assert.deepEqual((await next.says('subscribe'))[2], ['other']);
  });

  test('a closed subscription is unsubscribed, and what is on its way finds nobody', async (t) => {
    const { client, happened, subscription, viewer } = await subscribed(t);
    subscription.close();
    subscription.close();
    assert.deepEqual((await viewer.says('unsubscribe'))[1], [1]);
    viewer.send(snapshot('fast', [['a', 'uint', 1]]));
    client.subscribe({ device: 'desk', streams: ['fast'] });
    assert.deepEqual((await viewer.says('subscribe'))[1], [2]);
    viewer.send(error('unknown-device', '', 2));
    assert.equal(happened.length, 0);
    assert.deepEqual(subscription.fast.keys, []);
  });
});
