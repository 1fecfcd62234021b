import assert from 'node:assert/strict';
import { test } from 'node:test';
import { areLevels, bandDeflection, deflection, zoneOf } from '../../page/model/scale.js';

test('half of the meter is the top 20 dB', () => {
  assert.equal(deflection(-20), 0.5);
  assert.equal(deflection(0), 1);
});

test('the scale has the points of a peak programme meter', () => {
  const points: [number, number][] = [[-30, 0.3], [-40, 0.15], [-50, 0.075], [-60, 0.025], [-70, 0], [-10, 0.75]]; // prettier-ignore
  for (const [db, place] of points) assert.equal(deflection(db), place, `${db} dB`);
});

test('above 0 dB a meter is full, below -70 dB and without a number it is empty', () => {
  assert.deepEqual([6, Infinity, -70.1, -Infinity, NaN].map(deflection), [1, 1, 0, 0, 0]);
});

test('a louder level never has a lower place', () => {
  for (let db = -80; db < 3; db += 0.1) assert.ok(deflection(db + 0.1) >= deflection(db), `${db} dB`);
});

test('bands are linear from -80 dB up', () => {
  assert.deepEqual([-90, -80, -40, 0, 3, NaN].map(bandDeflection), [0, 0, 0.5, 1, 1, 0]);
});

test('levels are warm from -12 dB and hot from -3 dB', () => {
  assert.deepEqual([-12.1, -12, -3.1, -3, 0, NaN].map(zoneOf), [0, 1, 1, 2, 2, 0]);
});

test('numbers are levels if none is above 6 and one is below -10', () => {
  assert.equal(areLevels([-40, 3]), true);
  assert.equal(areLevels([-40, 7]), false);
  assert.equal(areLevels([-9, 3]), false);
  assert.equal(areLevels([]), false);
});
