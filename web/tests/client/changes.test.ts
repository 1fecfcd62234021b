import assert from 'node:assert/strict';
import test from 'node:test';
import { subscribed } from './gateway.js';
import { snapshot, update } from './wire.js';

const changes = { streams: ['changes' as const] };

test('a snapshot of changes has their times, oldest first', async (t) => {
  const { subscription, happened, viewer } = await subscribed(t, changes);
  viewer.send(
    snapshot(
      'changes',
      [
        ['gain', 'double', 1.5],
        ['name', 'text', 'Bass'],
      ],
      { last: false, ages: [60, 10] },
    ),
  );
  viewer.send(snapshot('changes', [['mute', 'uint', 1]], { ages: [0.5] }));
  await happened.next();
  const entries = [...subscription.changes];
  assert.deepEqual(
    entries.map(([key, { value }]) => [key, value]),
    [
      ['gain', 1.5],
      ['name', 'Bass'],
      ['mute', 1],
    ],
  );
  const ages = entries.map(([, { at }]) => Math.round((Date.now() - at) / 1000));
  assert.deepEqual(ages.slice(0, 2), [60, 10]);
});

test('a change says what was before', async (t) => {
  const { subscription, happened, viewer } = await subscribed(t, changes);
  viewer.send(
    snapshot(
      'changes',
      [
        ['mute', 'uint', 0],
        ['gain', 'double', 1],
      ],
      { ages: [5, 5] },
    ),
  );
  viewer.send(
    update(
      'changes',
      2,
      [
        ['mute', 'uint', 1],
        ['name', 'text', 'Bass'],
        ['mute', 'uint', 2],
      ],
      { age: 3 },
    ),
  );
  const { changes: seen = [] } = await happened.until(({ what }) => what === 'update');
  assert.deepEqual(
    seen.map(({ key, value, before }) => [key, value, before]),
    [
      ['mute', 1, 0],
      ['name', 'Bass', undefined],
      ['mute', 2, 1],
    ],
  );
  assert.ok(seen.every(({ at }) => Math.abs(Date.now() - 3000 - at) < 1000));
  assert.deepEqual([...subscription.changes.keys()], ['gain', 'name', 'mute']);
});

test('arrays of changes are not overwritten', async (t) => {
  const { happened, viewer } = await subscribed(t, changes);
  viewer.send(
    snapshot('changes', [['curve', 'ints', [1]]], { ages: [1] }),
    update('changes', 2, [['curve', 'ints', [2]]]),
  );
  const { changes: [seen] = [] } = await happened.until(({ what }) => what === 'update');
  assert.deepEqual([seen.before, seen.value], [Int32Array.of(1), Int32Array.of(2)]);
});

test('an older update of changes changes nothing', async (t) => {
  const { subscription, happened, viewer } = await subscribed(t, changes);
  viewer.send(snapshot('changes', [['mute', 'uint', 1]], { sequence: 5 }), update('changes', 4, [['mute', 'uint', 0]]));
  viewer.send(update('changes', 6, [['gain', 'uint', 1]]));
  await happened.until(({ what }) => what === 'update');
  assert.equal(subscription.changes.get('mute')?.value, 1);
});

test('a new snapshot replaces all changes', async (t) => {
  const { gateway, subscription, happened, viewer } = await subscribed(t, changes);
  viewer.send(snapshot('changes', [['old', 'uint', 1]], { sequence: 500 }));
  await happened.next();
  viewer.socket.close(1012);
  const next = await gateway.viewer('second');
  const {
    1: [number],
  } = await next.says('subscribe');
  next.send(snapshot('changes', [['new', 'uint', 1]], { subscription: Number(number), sequence: 1 }));
  await happened.next();
  assert.deepEqual([...subscription.changes.keys()], ['new']);
  next.send(update('changes', 2, [['new', 'uint', 2]], { subscription: Number(number) }));
  assert.equal((await happened.next()).changes?.[0].value, 2); // its sequences began again
});
