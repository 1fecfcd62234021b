import assert from 'node:assert/strict';
import test from 'node:test';
import { subscribed } from './gateway.js';
import { type Entry, snapshot, update } from './wire.js';

test('a snapshot in parts appears whole', async (t) => {
  const { subscription, happened, viewer } = await subscribed(t);
  viewer.send(snapshot('fast', [['a', 'float', -1]], { sequence: 7, last: false }));
  viewer.send(snapshot('fast', [['b', 'float', -2]], { sequence: 7, age: 0.25 }));
  await happened.next();
  assert.deepEqual(subscription.fast.keys, ['a', 'b']);
  assert.deepEqual([...subscription.fast.numbers], [-1, -2]);
  assert.equal(subscription.fast.sequence, 7);
  assert.equal(subscription.fast.age, 0.25);
});

test('all eight kinds, and one that nobody knows', async (t) => {
  const { subscription, happened, viewer } = await subscribed(t);
  const entries: Entry[] = [
    ['text', 'text', 'on air, übertragen'],
    ['float', 'float', 0.5],
    ['int', 'int', -2147483648],
    ['uint', 'uint', 4294967295],
    ['floats', 'floats', [-1.5, 2]],
    ['ints', 'ints', [-1, 7]],
    ['uints', 'uints', [4294967295, 1]],
    ['double', 'double', 0.1],
    ['unknown', 'none'],
    ['silence', 'text', ''],
    ['nothing', 'floats', []],
  ];
  viewer.send(snapshot('fast', entries));
  await happened.next();
  const { numbers } = subscription.fast;
  const values = entries.map((_, place) => subscription.fast.value(place));
  assert.deepEqual(values, [
    'on air, übertragen',
    0.5,
    -2147483648,
    4294967295,
    Float32Array.of(-1.5, 2),
    Int32Array.of(-1, 7),
    Uint32Array.of(4294967295, 1),
    0.1,
    null,
    '',
    new Float32Array(0),
  ]);
  assert.deepEqual([...numbers], [NaN, 0.5, -2147483648, 4294967295, NaN, NaN, NaN, 0.1, NaN, NaN, NaN]);
});

test('an update of the same keys changes the numbers in place', async (t) => {
  const { subscription, happened, viewer } = await subscribed(t);
  const frame = (level: number): Entry[] => [
    ['level', 'float', level],
    ['spectrum', 'floats', [level, 0]],
  ];
  viewer.send(snapshot('fast', frame(-20)));
  await happened.next();
  const { keys, numbers, layout } = subscription.fast;
  const spectrum = subscription.fast.value(1);
  viewer.send(update('fast', 2, frame(-10), { merged: 3, age: 0.5 }));
  await happened.next();
  assert.equal(subscription.fast.keys, keys);
  assert.equal(subscription.fast.numbers, numbers);
  assert.equal(subscription.fast.layout, layout);
  assert.equal(numbers[0], -10);
  assert.equal(subscription.fast.value(1), spectrum);
  assert.deepEqual(spectrum, Float32Array.of(-10, 0));
  assert.equal(subscription.fast.merged, 3);
  assert.equal(subscription.fast.age, 0.5);
});

test('keys that come, go and repeat make another layout', async (t) => {
  const { subscription, happened, viewer } = await subscribed(t);
  const frames: Entry[][] = [
    [
      ['a', 'uint', 1],
      ['b', 'uint', 2],
      ['c', 'uint', 3],
    ],
    [
      ['a', 'uint', 1],
      ['c', 'uint', 3],
    ],
    [
      ['a', 'uint', 1],
      ['a', 'uint', 4],
      ['c', 'uint', 3],
      ['d', 'uint', 5],
    ],
    [],
    [['c', 'uint', 6]],
  ];
  viewer.send(snapshot('fast', []));
  await happened.next();
  for (const [place, frame] of frames.entries()) {
    const { layout } = subscription.fast;
    viewer.send(update('fast', place + 2, frame));
    await happened.next();
    assert.deepEqual(
      subscription.fast.keys,
      frame.map(([key]) => key),
    );
    assert.deepEqual(
      [...subscription.fast.numbers],
      frame.map(([, , value]) => value),
    );
    assert.notEqual(subscription.fast.layout, layout);
  }
});

test('a key that has the length of another is another', async (t) => {
  const { subscription, happened, viewer } = await subscribed(t);
  viewer.send(
    snapshot('fast', [
      ['in/1', 'uint', 1],
      ['in/2', 'uint', 2],
    ]),
  );
  viewer.send(
    update('fast', 2, [
      ['in/1', 'uint', 1],
      ['in/3', 'uint', 2],
    ]),
  );
  await happened.until(({ what }) => what === 'update');
  assert.deepEqual(subscription.fast.keys, ['in/1', 'in/3']);
});

test('more keys than there was room for', async (t) => {
  const { subscription, happened, viewer } = await subscribed(t);
  const frame = Array.from({ length: 3000 }, (_, i): Entry => [`input/${i}/peak`, 'float', -i]);
  viewer.send(snapshot('fast', frame.slice(0, 3)));
  viewer.send(update('fast', 2, frame));
  await happened.until(({ what }) => what === 'update');
  assert.equal(subscription.fast.keys[2999], 'input/2999/peak');
  assert.equal(subscription.fast.numbers[2999], -2999);
});

test('an array can grow and shrink', async (t) => {
  const { subscription, happened, viewer } = await subscribed(t);
  viewer.send(snapshot('fast', [['spectrum', 'floats', [1, 2]]]));
  await happened.next();
  assert.deepEqual(subscription.fast.value(0), Float32Array.of(1, 2));
  for (const [place, values] of [[3, 4, 5], [6], []].entries()) {
    viewer.send(update('fast', place + 2, [['spectrum', 'floats', values]]));
    await happened.next();
    assert.deepEqual(subscription.fast.value(0), Float32Array.from(values));
  }
});

test('nothing is updated before the snapshot is whole', async (t) => {
  const { subscription, happened, viewer } = await subscribed(t);
  viewer.send(snapshot('fast', [['a', 'uint', 1]], { last: false }), update('fast', 2, [['a', 'uint', 2]]));
  viewer.send(snapshot('fast', [['b', 'uint', 1]]));
  assert.equal((await happened.next()).what, 'snapshot');
  assert.deepEqual(subscription.fast.keys, ['a', 'b']);
  assert.equal(subscription.fast.updates, 1);
});

test('a kind can change under a key', async (t) => {
  const { subscription, happened, viewer } = await subscribed(t);
  viewer.send(snapshot('fast', [['a', 'floats', [1, 2]]]));
  await happened.next();
  assert.deepEqual(subscription.fast.value(0), Float32Array.of(1, 2));
  for (const [sequence, entry, value] of [
    [2, ['a', 'ints', [1, 2]], Int32Array.of(1, 2)],
    [3, ['a', 'text', 'off'], 'off'],
    [4, ['a', 'double', 5], 5],
    [5, ['a', 'none'], null],
  ] as [number, Entry, unknown][]) {
    viewer.send(update('fast', sequence, [entry]));
    await happened.next();
    assert.deepEqual(subscription.fast.value(0), value);
  }
});

test('an update that is older than what is there changes nothing', async (t) => {
  const { subscription, happened, viewer } = await subscribed(t);
  viewer.send(snapshot('fast', [['a', 'uint', 10]], { sequence: 10 }));
  viewer.send(update('fast', 9, [['a', 'uint', 9]]), update('fast', 11, [['a', 'uint', 11]]));
  await happened.next();
  await happened.next();
  assert.equal(subscription.fast.numbers[0], 11);
  assert.equal(subscription.fast.updates, 2);
  assert.equal(happened.length, 0);
});

test('sequences wrap', async (t) => {
  const { subscription, happened, viewer } = await subscribed(t);
  viewer.send(snapshot('fast', [['a', 'uint', 1]], { sequence: 4294967295 }), update('fast', 0, [['a', 'uint', 2]]));
  await happened.until(({ what }) => what === 'update');
  assert.equal(subscription.fast.numbers[0], 2);
});

test('streams are kept apart', async (t) => {
  const { subscription, happened, viewer } = await subscribed(t, { streams: ['fast', 'slow'] });
  viewer.send(snapshot('fast', [['a', 'uint', 1]], { sequence: 50, last: false }));
  viewer.send(snapshot('slow', [['b', 'uint', 2]], { sequence: 3 }), update('slow', 4, [['b', 'uint', 3]]));
  await happened.next();
  assert.equal((await happened.next()).stream, 'slow');
  assert.deepEqual([...subscription.fast.numbers, ...subscription.slow.numbers], [1, 3]);
});
