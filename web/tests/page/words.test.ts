import assert from 'node:assert/strict';
import { test } from 'node:test';
import type { Connection, DeviceSummary } from '../../client/index.js';
import { conditionOf, connectionSentence, type Facts, worstOf } from '../../page/model/words.js';

const open: Connection = { phase: 'open', reason: '', url: '' };
const desk: DeviceSummary = { name: 'desk', address: 'here', state: 'live', reason: '', since: 0, received: 0 };

const facts: Facts = {
  connection: open,
  name: 'desk',
  device: desk,
  devicesKnown: true,
  age: 20,
  period: 40,
  now: 1000,
};

const found = (change: Partial<Facts>) => conditionOf({ ...facts, ...change });

test('a picture is live while updates come', () => {
  assert.deepEqual(found({}), { state: 'live', word: '● live', sentence: '' });
});

test('a picture whose updates stop is stale, whatever the gateway says of the device', () => {
  assert.equal(found({ age: 1000 }).state, 'live');
  const { state, sentence } = found({ age: 1001 });
  assert.equal(state, 'stale');
  assert.equal(sentence, 'Nothing has come from desk for 1.0 s');
});

test('a slow rate is given three of its periods', () => {
  assert.equal(found({ period: 2000, age: 5900 }).state, 'live');
  assert.equal(found({ period: 2000, age: 6100 }).state, 'stale');
});

test('before the first values it is connecting', () => assert.equal(found({ age: NaN }).state, 'connecting'));

test('a device that is lost is, with the reason, even if values have just come', () => {
  const { state, sentence } = found({ device: { ...desk, state: 'lost', reason: 'connection refused' } });
  assert.equal(state, 'lost');
  assert.equal(sentence, 'desk is not connected to the gateway: connection refused');
});

test('without a connection to the gateway nothing is live', () => {
  const connection: Connection = { phase: 'waiting', reason: 'closed', url: '', retryAt: 3400 };
  const { state, sentence } = found({ connection });
  assert.equal(state, 'offline');
  assert.equal(sentence, 'No connection to the gateway: closed. Trying again in 3 s');
});

test('a gateway that refuses is not waited for', () => {
  const sentence = connectionSentence({ phase: 'refused', reason: 'too many subscriptions', url: '' }, 0);
  assert.equal(sentence, 'The gateway refuses this page: too many subscriptions. Reload it to try again');
});

test('a device that the gateway does not follow is lost, once it is known', () => {
  assert.equal(found({ device: undefined, devicesKnown: false }).state, 'connecting');
  assert.equal(found({ device: undefined }).sentence, 'The gateway does not follow a device “desk”');
});

test('of several devices the worst state counts, and all sentences', () => {
  const live = found({});
  const lost = found({ device: { ...desk, state: 'lost' } });
  assert.equal(worstOf([live, lost, live]).state, 'lost');
  assert.equal(worstOf([live, lost, lost]).sentence, lost.sentence);
  assert.equal(worstOf([]).state, 'live');
});
