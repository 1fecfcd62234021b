import assert from 'node:assert/strict';
import { test } from 'node:test';
import { groupOf, keysOfStrips, lastPart, passes, prefixOf } from '../../page/model/key.js';
import { describe, durationText, levelText } from '../../page/model/text.js';

test('a level has one decimal, silence none', () => {
  assert.deepEqual([-14.26, 0, -120, NaN].map(levelText), ['−14.3', '0.0', '−∞', '−∞']);
});

test('a duration has a unit that fits', () => {
  assert.deepEqual([-3, 999, 3240, 60_000, 5_400_000].map(durationText), ['0 ms', '999 ms', '3.2 s', '1 min', '1.5 h']);
});

test('a float has no more digits than it needs', () => {
  assert.equal(describe(Math.fround(-14.3)), '-14.3');
  assert.equal(describe(Math.fround(1 / 3)), '0.33333334');
  assert.equal(describe(1 / 3), '0.333333');
  assert.equal(describe(1e-7 / 3), '3.3333333333333334e-8');
  assert.equal(describe(4294967295), '4294967295');
});

test('arrays are in brackets', () => {
  assert.equal(describe(Float32Array.of(0.5, 0.1)), '[0.5 0.1]');
  assert.equal(describe(Uint32Array.of()), '[]');
});

test('what is not known is nothing', () => assert.equal(describe(null) + describe(undefined), ''));

test('the prefix of a key is what is before its last part', () => {
  assert.deepEqual([prefixOf('input/1/peak'), lastPart('input/1/peak')], ['input/1', 'peak']);
  assert.deepEqual([prefixOf('counter'), lastPart('counter')], ['', 'counter']);
  assert.deepEqual([groupOf('input/1'), groupOf('')], ['input', '']);
});

test('a choice of strips means all their keys', () => {
  assert.deepEqual(keysOfStrips(['input/*', 'bus/**']), ['input/*', 'input/*/*', 'bus/**']);
});

test('a filter ignores the case, and an empty one passes all', () => {
  assert.ok(passes('Lead Vocal', 'vocal'));
  assert.ok(passes('x', ''));
  assert.ok(!passes('Kick', 'vocal'));
});
