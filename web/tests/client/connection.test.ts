import assert from 'node:assert/strict';
import test, { describe, type TestContext } from 'node:test';
import { isFinal, retryDelay } from '../../client/closes.js';
import { Connector } from '../../client/connector.js';
import type { Connection } from '../../client/index.js';
import { WebSocket } from 'ws';
import { Gateway, live, Queue, subscribed } from './gateway.js';
import { error, hello, ping, snapshot, update } from './wire.js';

function watched(test: TestContext, urls: string[]) {
  const phases = new Queue<Connection>('another phase');
  const client = live(test, { urls, events: { connection: phases.push } });
  return { client, phases, until: (phase: string) => phases.until((now) => now.phase === phase) };
}

// They mostly wait.
describe('a connection', { concurrency: true }, () => {
  test('hello is the first message, of subprotocol corvalux.v1, and subscriptions do not wait for the answer', async (t) => {
    const gateway = await Gateway.open(t);
    const client = live(t, { urls: [gateway.url], devicesPerSecond: 5 });
    client.subscribe({
      device: 'desk',
      streams: ['fast', 'changes'],
      keys: ['a/*', 'b'],
      rate: 12.5,
      peaks: ['**/top'],
    });
    const viewer = await gateway.viewers.next();
    assert.equal(viewer.protocol, 'corvalux.v1');
    assert.deepEqual(await viewer.said.next(), { name: 'hello', fields: { 1: [1], 2: [5] } });
    assert.deepEqual(await viewer.said.next(), {
      name: 'subscribe',
      fields: { 1: [1], 2: ['desk'], 3: [1, 3], 4: ['a/*', 'b'], 5: [12.5], 6: ['**/top'] },
    });
  });

  test('it is open when the gateway has said hello', async (t) => {
    const gateway = await Gateway.open(t);
    const { client, until } = watched(t, [gateway.url]);
    const viewer = await gateway.viewers.next();
    await viewer.says('hello');
    assert.equal(client.connection.phase, 'connecting');
    viewer.send(hello('abc'));
    await until('open');
    assert.equal(client.gateway?.epoch, 'abc');
    assert.equal(client.gateway.version, '1.2.3');
    assert.equal(client.gateway.limits.subscriptions, 32);
  });

  test('it comes back after a loss, after 0.5 to 1.5 s, and subscribes again', async (t) => {
    const { gateway, client, viewer, subscription, happened } = await subscribed(t);
    viewer.send(snapshot('fast', [['a', 'uint', 900]], { sequence: 900 }));
    await happened.next();
    viewer.socket.terminate();
    const begin = performance.now();
    const next = await gateway.viewer('second');
    const waited = performance.now() - begin;
    assert.ok(waited > 450 && waited < 4000, `${waited} ms`);
    assert.equal(subscription.fast.numbers[0], 900); // stays on the screen
    const number = Number((await next.says('subscribe'))[1][0]);
    next.send(snapshot('fast', [['a', 'uint', 1]], { subscription: number, sequence: 1 }));
    next.send(update('fast', 2, [['a', 'uint', 2]], { subscription: number }));
    await happened.until(({ what }) => what === 'update');
    assert.equal(subscription.fast.numbers[0], 2); // another gateway's sequences begin again
    assert.equal(client.connection.phase, 'open');
  });

  test('it goes on with the next address, and says why', async (t) => {
    const [one, other] = [await Gateway.open(t), await Gateway.open(t)];
    const { until } = watched(t, [one.url, other.url]);
    await one.viewer();
    await until('open');
    one.close();
    const waiting = await until('waiting');
    assert.equal(waiting.reason, 'the connection was lost');
    assert.ok(Number(waiting.retryAt) > performance.now());
    await other.viewer();
    assert.equal((await until('open')).url, other.url);
  });

  test('the addresses come round', async (t) => {
    const gateway = await Gateway.open(t);
    const gone = await Gateway.open(t);
    const { url } = gone;
    gone.close();
    const { until } = watched(t, [url, gateway.url]);
    await until('waiting');
    const viewer = await gateway.viewer();
    viewer.socket.close(1001);
    assert.equal((await until('connecting')).url, gateway.url);
    assert.equal((await until('waiting')).reason, 'the gateway stops');
    assert.equal((await until('connecting')).url, url);
  });

  test('what a WebSocket cannot be made of is a failure like others', async (t) => {
    const gateway = await Gateway.open(t);
    const { until } = watched(t, ['no address', gateway.url]);
    assert.match((await until('waiting')).reason, /URL/);
    await gateway.viewer();
    await until('open');
  });

  for (const code of [1000, 1002, 1003, 1007, 1008, 1009, 4100, 4101]) {
    test(`it stays away after ${code}`, async (t) => {
      const gateway = await Gateway.open(t);
      const { client, until } = watched(t, [gateway.url]);
      const viewer = await gateway.viewer();
      viewer.send(error('limit', 'too many subscriptions', 0));
      viewer.socket.close(code);
      assert.equal((await until('refused')).reason, 'too many subscriptions');
      assert.equal(client.connection.retryAt, undefined);
    });
  }

  test('it comes back after every other code', () => {
    for (const code of [1001, 1006, 1011, 1012, 1013, 4000, 4999]) assert.ok(!isFinal(code), String(code));
  });

  test('the wait doubles up to 30 s, with jitter', () => {
    assert.deepEqual(
      [0, 1, 2].map((failures) => retryDelay(failures, 0)),
      [500, 1000, 2000],
    );
    assert.deepEqual(
      [0, 1, 2].map((failures) => retryDelay(failures, 1)),
      [1500, 3000, 6000],
    );
    assert.equal(retryDelay(50, 1), 30_000);
    assert.equal(new Set([1, 2, 3].map(() => retryDelay(0))).size, 3);
  });

  for (const [what, data] of [
    ['octets that are no message', Uint8Array.of(0x22, 0x7f, 1)],
    ['an update whose entries are none', Uint8Array.of(0x22, 10, 8, 1, 0x10, 1, 0x18, 2, 0x32, 2, 0x0a, 9)],
    ['a text', 'good evening'],
  ] as const) {
    test(`${what}: the connection ends with the reason and comes back`, async (t) => {
      const { gateway, client, viewer, happened } = await subscribed(t);
      viewer.send(snapshot('fast', []));
      await happened.next();
      viewer.socket.send(data);
      const { code, reason } = await viewer.closed.next();
      assert.equal(code, 4100);
      assert.match(reason, /no message/);
      assert.equal(client.connection.phase, 'waiting');
      assert.match(client.connection.reason, /no message/);
      await gateway.viewer();
    });
  }

  test('a message from a newer gateway is ignored', async (t) => {
    const { client, viewer, happened } = await subscribed(t);
    viewer.socket.send(Uint8Array.of(0x7a, 1, 0));
    viewer.send(snapshot('fast', []));
    await happened.next();
    assert.equal(client.connection.phase, 'open');
  });

  test('a ping is answered with its clock, which measures', async (t) => {
    const { client, viewer } = await subscribed(t);
    for (const late of [0.1, 5, 0.1]) {
      viewer.send(ping(Date.now() / 1000 + 100 - late, 0.2));
      await viewer.says('pong');
    }
    viewer.send(ping(4242.5, 0.2));
    assert.deepEqual((await viewer.says('pong'))[1], [4242.5]);
    assert.equal(client.roundTrip, 0.2);
  });

  test('the clock is the median, so that one that was late does not matter', async (t) => {
    const { client, viewer } = await subscribed(t);
    for (const late of [0, 0, 7, 0]) {
      viewer.send(ping(Date.now() / 1000 + 100 - late, 0.02));
      await viewer.says('pong');
    }
    assert.ok(Math.abs(client.clockOffset - 100) < 0.2, `${client.clockOffset}`);
  });

  test('silence is a loss', async (t) => {
    const gateway = await Gateway.open(t);
    const phases = new Queue<Connection>('another phase');
    const events = { opened: () => connector.ready(), message: () => undefined, changed: phases.push };
    const connector = new Connector([gateway.url], (url, protocol) => new WebSocket(url, protocol), events, 300);
    t.after(() => connector.close());
    const viewer = await gateway.viewers.next();
    await phases.until(({ phase }) => phase === 'open');
    assert.match((await phases.until(({ phase }) => phase === 'waiting')).reason, /nothing comes/);
    assert.equal((await viewer.closed.next()).code, 4000);
  });

  test('a closed client is gone', async (t) => {
    const { client, gateway, viewer } = await subscribed(t);
    client.close();
    assert.equal((await viewer.closed.next()).code, 1000);
    client.subscribe({ device: 'desk', streams: ['fast'] });
    client.drawn();
    assert.equal(gateway.viewers.length, 0);
  });

  test('a client can be closed while it waits', async (t) => {
    const gateway = await Gateway.open(t);
    const client = live(t, {
      urls: [gateway.url],
      events: { connection: ({ phase }) => phase === 'waiting' && client.close() },
    });
    const viewer = await gateway.viewer();
    viewer.socket.close(1012);
    await viewer.closed.next();
    await new Promise((resolve) => setTimeout(resolve, 1600));
    assert.equal(gateway.viewers.length, 0);
  });
});
