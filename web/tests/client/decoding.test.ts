import assert from 'node:assert/strict';
import { PerformanceObserver } from 'node:perf_hooks';
import test from 'node:test';
import { EntryCursor } from '../../client/entries.js';
import { decodeMessage } from '../../client/messages.js';
import { KeptMeters } from '../../client/meters.js';
import { valueAt } from '../../client/values.js';
import { devices, entriesOf, type Entry, hello, type Octets, snapshot, update } from './wire.js';

const octets = (hex: string): Octets => Uint8Array.from(hex.split(' '), (two) => parseInt(two, 16));
const facts = { sequence: 1, age: 0, merged: 1 };

function firstValue(entries: Octets) {
  const cursor = new EntryCursor();
  cursor.open(entries);
  assert.ok(cursor.next());
  return valueAt(cursor);
}

test('known keys cost no memory', async () => {
  const meters = new KeptMeters();
  const frame = entriesOf(Array.from({ length: 20_000 }, (_, i): Entry => [`input/${i}/peak`, 'float', -i]));
  for (let i = 0; i < 50; i += 1) meters.take(frame, facts); // compiled now
  let collections = 0;
  const observer = new PerformanceObserver((list) => (collections += list.getEntries().length));
  observer.observe({ entryTypes: ['gc'] });
  for (let i = 0; i < 100; i += 1) meters.take(frame, facts); // 64 MB, if a key cost as little as 32 octets
  await new Promise((resolve) => setTimeout(resolve, 10)); // the observer is called later
  observer.disconnect();
  assert.equal(meters.numbers[19_999], -19_999);
  assert.ok(collections <= 3, `${collections} garbage collections`);
});

test('an array that is not packed, or in two pieces, is the same array', () => {
  const unpacked = octets('0a 11 0a 01 61 12 0c 2a 0a 0d 00 00 80 3f 0d 00 00 00 40');
  const inTwo = octets('0a 13 0a 01 61 12 0e 2a 0c 0a 04 00 00 80 3f 0a 04 00 00 00 40');
  assert.deepEqual(firstValue(unpacked), Float32Array.of(1, 2));
  assert.deepEqual(firstValue(inTwo), Float32Array.of(1, 2));
});

test('fields that are newer than the client are skipped', () => {
  const strange = octets('18 01 0a 0f 0a 01 61 1d 01 02 03 04 12 05 4a 01 07 20 07 22 01 ff');
  assert.equal(firstValue(strange), 7);
  assert.equal(decodeMessage(octets('7a 01 00')), undefined); // a message, too
});

test('a value before its key is read as well', () => {
  assert.equal(firstValue(octets('0a 07 12 02 20 07 0a 01 61')), 7);
});

test('texts that are not UTF-8 are repaired', () => {
  assert.equal(firstValue(octets('0a 0a 0a 01 61 12 05 0a 03 0a 01 ff')), '\ufffd');
});

test('what is cut off anywhere is refused', () => {
  const whole = [
    hello(),
    devices([{ name: 'desk', worst: ['a', 1], lastChange: [['b', 'text', 'on'], 1] }]),
    snapshot('changes', [['a', 'floats', [1, 2]]], { ages: [1] }),
    update('fast', 1, [['a', 'double', 1]]),
  ];
  for (const message of whole) {
    assert.ok(decodeMessage(message));
    for (let length = 1; length < message.length; length += 1) {
      assert.throws(() => decodeMessage(message.slice(0, length)), `${length} of ${message.length} octets`);
    }
  }
});

test('entries that are cut off anywhere are refused, and leave no half of a picture', () => {
  const frame = entriesOf([
    ['a', 'uint', 300],
    ['b', 'floats', [1]],
    ['c', 'text', 'on'],
    ['d', 'double', 1],
  ]);
  const meters = new KeptMeters();
  const ends = new Set([10, 25, 38]); // of an entry
  for (let length = 1; length < frame.length; length += 1) {
    if (ends.has(length)) continue;
    meters.take(frame, facts);
    assert.throws(() => meters.take(frame.slice(0, length), facts), `${length} of ${frame.length} octets`);
    assert.deepEqual([meters.keys, meters.value(0)], [[], null]);
  }
  meters.take(frame, facts);
  assert.deepEqual(meters.keys, ['a', 'b', 'c', 'd']);
});

test('an entry or a value that is longer than what it is in is refused', () => {
  assert.throws(() => firstValue(octets('0a 06 0a 01 61 12 04 20 07 20 08')), /longer/);
  assert.throws(() => firstValue(octets('0a 0a 0a 01 61 12 02 41 00 00 00 00 00 00 00 00')), /longer/);
});

test('random octets end in an error or in a message, and soon', () => {
  let seed = 1;
  const random = (): number => (seed = (seed * 48271) % 2147483647);
  for (let i = 0; i < 20_000; i += 1) {
    const message = update('fast', 1, [
      ['a', 'text', 'on'],
      ['b', 'ints', [1, 2]],
    ]);
    for (let j = 0; j < 3; j += 1) message[random() % message.length] = random() % 256;
    try {
      const decoded = decodeMessage(message);
      const meters = new KeptMeters();
      if (decoded?.type === 'update') meters.take(decoded.entries, decoded);
      meters.keys.forEach((_, place) => meters.value(place));
    } catch (error) {
      assert.ok(error instanceof Error);
    }
  }
});
