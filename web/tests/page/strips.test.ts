import assert from 'node:assert/strict';
import { test } from 'node:test';
import type { Value } from '../../client/index.js';
import { stripsOf, StripSet } from '../../page/model/strips.js';
import { FakeMeters } from './fakes.js';

const grouped = (entries: readonly (readonly [string, Value])[]) =>
  stripsOf(
    entries.map(([key]) => key),
    (place) => entries[place][1],
  );

/** A set with these entries taken at 0 ms. */
function taken(...entries: (readonly [string, Value])[]): { meters: FakeMeters; set: StripSet } {
  const meters = new FakeMeters().set(entries);
  const set = new StripSet(meters);
  set.take(0, 'fall');
  return { meters, set };
}

test('values whose keys share a prefix are a strip, in the order of the first keys', () => {
  const strips = grouped([['bus/1/peak', -3], ['input/1/peak', -6], ['bus/1/rms', -9], ['time', 4]]); // prettier-ignore
  assert.deepEqual(strips.map(({ prefix }) => prefix), ['bus/1', 'input/1', '']); // prettier-ignore
  assert.deepEqual([strips[0].peak, strips[0].rms], [0, 2]);
});

test('a repeated key goes to the others', () => {
  const [strip] = grouped([['a/peak', -3], ['a/peak', -6]]); // prettier-ignore
  assert.equal(strip.peak, 0);
  assert.deepEqual(strip.others, [{ name: 'peak', place: 1 }]);
});

test('a peak that is a text is no level', () => {
  const [strip] = grouped([['a/peak', 'loud']]);
  assert.equal(strip.peak, -1);
});

test('a float array is the spectrum, another array is not', () => {
  const [strip] = grouped([['a/ids', new Uint32Array(3)], ['a/bands', new Float32Array(3)]]); // prettier-ignore
  assert.equal(strip.spectrum, 1);
  assert.equal(strip.others.length, 1);
});

test('strips without a level are among the others', () => {
  const { set } = taken(['engine/load', 17], ['a/peak', -3]);
  assert.deepEqual([set.strips.length, set.others.length], [1, 1]);
});

test('levels have a floor, which is also that of NaN', () => {
  const { set } = taken(['a/peak', -500], ['b/peak', NaN]);
  assert.deepEqual([...set.peak], [-120, -120]);
});

test('a strip without an RMS is solid up to its peak, and one without a peak up to its RMS', () => {
  const { set } = taken(['a/peak', -3], ['b/rms', -9]);
  assert.deepEqual([...set.rms], [-3, -9]);
  assert.deepEqual([...set.peak], [-3, -9]);
});

test('nothing is taken twice', () => {
  const { meters, set } = taken(['a/peak', -3]);
  assert.equal(set.take(10, 'fall'), false);
  meters.set([['a/peak', -4]]);
  assert.equal(set.take(20, 'fall'), true);
});

test('an update of the same keys keeps the arrays', () => {
  const { meters, set } = taken(['a/peak', -3]);
  const { peak, strips } = set;
  meters.set([['a/peak', -4]]);
  set.take(10, 'fall');
  assert.equal(set.peak, peak);
  assert.equal(set.strips, strips);
});

test('clips from before light nothing; later ones do until they are acknowledged', () => {
  const { meters, set } = taken(['a/peak', -3], ['a/clips', 5]);
  assert.equal(set.lit[0], 0);
  meters.set([['a/peak', -3], ['a/clips', 7]]); // prettier-ignore
  set.take(10, 'fall');
  assert.equal(set.lit[0], 2);
  set.acknowledge();
  assert.equal(set.lit[0], 0);
  meters.set([['a/peak', -3], ['a/clips', 8]]); // prettier-ignore
  set.take(20, 'fall');
  assert.equal(set.lit[0], 1);
});

test('a count that fell is that of an engine which began again', () => {
  const { meters, set } = taken(['a/peak', -3], ['a/clips', 5]);
  meters.set([['a/peak', -3], ['a/clips', 2]]); // prettier-ignore
  set.take(10, 'fall');
  assert.equal(set.lit[0], 2);
});

test('a strip without a counter lights at full scale', () => {
  const { set } = taken(['a/peak', 0], ['b/peak', -0.1]);
  assert.deepEqual([...set.lit], [1, 0]);
});

test('one strip can be acknowledged alone', () => {
  const { set } = taken(['a/peak', 0], ['b/peak', 0]);
  set.acknowledge(1);
  assert.deepEqual([...set.lit], [1, 0]);
});

test('strips that come or go leave the holds and clips of the others', () => {
  const { meters, set } = taken(['a/peak', -3], ['a/clips', 5]);
  meters.set([['b/peak', -30], ['a/peak', -40], ['a/clips', 6]]); // prettier-ignore
  set.take(100, 'fall');
  assert.equal(set.holds.levels[1], -3);
  assert.equal(set.lit[1], 1);
});
