import assert from 'node:assert/strict';
import test, { describe } from 'node:test';
import { setTimeout as after } from 'node:timers/promises';
import { subscribed, type Viewer } from './gateway.js';
import { snapshot, update } from './wire.js';

const frame = (sequence: number, subscription = 1) =>
  update('fast', sequence, [['a', 'uint', sequence]], { subscription });
const acknowledged = async (viewer: Viewer): Promise<number> => Number((await viewer.says('acknowledge'))[1][0]);

// They mostly wait.
describe('acknowledgements', { concurrency: true }, () => {
  test('what was drawn is acknowledged at once, snapshots not counted', async (t) => {
    const { client, happened, viewer } = await subscribed(t);
    viewer.send(snapshot('fast', []), frame(2));
    await happened.until(({ what }) => what === 'update');
    client.drawn();
    assert.equal(await acknowledged(viewer), 1);
  });

  test('what was not drawn is not acknowledged', async (t) => {
    const { client, happened, viewer } = await subscribed(t);
    viewer.send(snapshot('fast', []), frame(2));
    await happened.until(({ what }) => what === 'update');
    client.drawn();
    client.drawn();
    viewer.send(frame(3));
    await happened.next();
    await after(100);
    assert.equal(await acknowledged(viewer), 1);
    assert.equal(viewer.said.length, 0);
  });

  test('at most 30 acknowledgements a second, the last one by a timer', async (t) => {
    const { client, happened, viewer } = await subscribed(t);
    viewer.send(snapshot('fast', []));
    const begin = performance.now();
    for (let sequence = 2; sequence < 102; sequence += 1) {
      viewer.send(frame(sequence));
      await happened.until(({ what }) => what === 'update');
      client.drawn();
      await after(3);
    }
    let count = 1;
    while ((await acknowledged(viewer)) !== 100) count += 1;
    const seconds = (performance.now() - begin) / 1000;
    assert.ok(count <= 30 * seconds + 1, `${count} in ${seconds} s`);
    assert.ok(count > 3, `${count} in ${seconds} s`);
  });

  test('updates that are for nobody or too old count as well', async (t) => {
    const { client, happened, viewer } = await subscribed(t);
    viewer.send(snapshot('fast', [], { sequence: 9 }), frame(10, 77), frame(2), frame(10));
    await happened.until(({ what }) => what === 'update');
    client.drawn();
    assert.equal(await acknowledged(viewer), 3);
  });

  test('a hidden viewer says so and acknowledges what it receives', async (t) => {
    const { client, viewer } = await subscribed(t);
    client.setHidden(true);
    client.setHidden(true);
    assert.deepEqual((await viewer.says('visibility'))[1], [1]);
    viewer.send(snapshot('fast', []), frame(2));
    assert.equal(await acknowledged(viewer), 1);
    client.setHidden(false);
    assert.deepEqual((await viewer.says('visibility'))[1], [0]);
  });

  test('being hidden acknowledges what was not drawn yet', async (t) => {
    const { client, happened, viewer } = await subscribed(t);
    viewer.send(snapshot('fast', []), frame(2));
    await happened.until(({ what }) => what === 'update');
    client.setHidden(true);
    assert.equal(await acknowledged(viewer), 1);
  });

  test('a viewer that is hidden when it connects says so', async (t) => {
    const { gateway, client, viewer } = await subscribed(t);
    client.setHidden(true);
    viewer.socket.close(1012);
    const next = await gateway.viewer();
    assert.deepEqual((await next.says('visibility'))[1], [1]);
  });

  test('each connection counts from the beginning', async (t) => {
    const { gateway, client, happened, viewer } = await subscribed(t);
    viewer.send(snapshot('fast', []), frame(2), frame(3));
    await happened.until(({ what }) => what === 'update');
    await happened.next();
    client.drawn();
    assert.equal(await acknowledged(viewer), 2);
    viewer.socket.close(1012);
    const next = await gateway.viewer();
    const number = Number((await next.says('subscribe'))[1][0]);
    next.send(snapshot('fast', [], { subscription: number, sequence: 3 }), frame(4, number));
    await happened.until(({ what }) => what === 'update');
    client.drawn();
    assert.equal(await acknowledged(next), 1);
  });

  test('a client that does not acknowledge says so in its hello, and does not', async (t) => {
    const { gateway, client, happened, viewer } = await subscribed(t, {}, { acknowledges: false });
    viewer.send(snapshot('fast', []), frame(2));
    await happened.until(({ what }) => what === 'update');
    client.drawn();
    viewer.socket.close(1012);
    const next = await gateway.viewers.next();
    assert.deepEqual((await next.said.next()).fields[1], [0]);
    assert.equal(viewer.said.length, 0);
  });
});
