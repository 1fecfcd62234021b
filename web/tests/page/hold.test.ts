import assert from 'node:assert/strict';
import { test } from 'node:test';
import { Holds, type HoldMode } from '../../page/model/hold.js';

/** What is held after these levels, each with its time in ms. */
function held(steps: readonly [number, number][], mode: HoldMode = 'fall'): number {
  const holds = new Holds(1);
  for (const [now, level] of steps) holds.step(0, level, now, mode);
  return Math.round(holds.levels[0] * 1000) / 1000;
}

test('a peak is held at once', () => assert.equal(held([[0, -20], [10, -5]]), -5)); // prettier-ignore

test('a peak stays for 1.5 s', () => assert.equal(held([[0, -5], [1500, -60]]), -5)); // prettier-ignore

test('then it falls by 20 dB a second', () => assert.equal(held([[0, -5], [1500, -60], [2000, -60]]), -15)); // prettier-ignore

test('how often it is drawn does not change how fast it falls', () => {
  const often: [number, number][] = Array.from({ length: 201 }, (_, i) => [i * 10, -60]);
  assert.equal(held([[0, -5], ...often.slice(1)]), held([[0, -5], [2000, -60]])); // prettier-ignore
});

test('it never falls below the level', () => assert.equal(held([[0, -5], [9000, -40]]), -40)); // prettier-ignore

test('an equal level holds again', () => assert.equal(held([[0, -5], [1000, -5], [2400, -60]]), -5)); // prettier-ignore

test('with reduced motion it drops at once after its time', () => {
  assert.equal(held([[0, -5], [1500, -60]], 'drop'), -5); // prettier-ignore
  assert.equal(held([[0, -5], [1501, -60]], 'drop'), -60); // prettier-ignore
});

test('it stays until it is reset if that is wanted', () => {
  const holds = new Holds(1);
  holds.step(0, -5, 0, 'keep');
  holds.step(0, -60, 60_000, 'keep');
  assert.equal(holds.levels[0], -5);
  holds.reset();
  holds.step(0, -60, 60_001, 'keep');
  assert.equal(holds.levels[0], -60);
});
