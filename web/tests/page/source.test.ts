import assert from 'node:assert/strict';
import { test } from 'node:test';
import type { Changed, LiveClient, Subscription, SubscriptionEvents, Value, Wanted } from '../../client/index.js';
import { rowsOf } from '../../page/model/rows.js';
import { Source } from '../../page/model/source.js';
import { FakeMeters } from './fakes.js';

/** A client whose only subscription a test feeds. */
class FakeClient {
  wanted: Wanted | undefined;
  fast = new FakeMeters();
  slow = new FakeMeters();
  events: SubscriptionEvents = {};
  connection = { phase: 'open', reason: '', url: '' };
  devices = new Map([['desk', { name: 'desk', address: '', state: 'live', reason: '', since: 0, received: 0 }]]);

  subscribe(wanted: Wanted, events: SubscriptionEvents): Subscription {
    this.wanted = wanted;
    this.events = events;
    return { fast: this.fast, slow: this.slow, changes: new Map(), close: () => undefined };
  }

  change(key: string, value: Value, before?: Value): void {
    const change: Changed = { key, value, before, at: 0 };
    this.events.update?.('changes', [change]);
  }

  slowly(...entries: [string, Value][]): void {
    this.slow.set(entries);
    this.events.update?.('slow', []);
  }
}

function sourceOf(strips: string[] = []): { client: FakeClient; source: Source } {
  const client = new FakeClient();
  const live = client as unknown as LiveClient;
  return { client, source: new Source(live, { device: 'desk', strips, rate: 0, news: () => undefined }) };
}

test('all keys are asked for without a choice, with one all of its strips', () => {
  assert.equal('keys' in (sourceOf().client.wanted ?? {}), false);
  assert.deepEqual(sourceOf(['input/*']).client.wanted?.keys, ['input/*', 'input/*/*']);
});

test('a strip is labelled by its name once that is known', () => {
  const { client, source } = sourceOf();
  assert.equal(source.labelOf('input/1'), 'input/1');
  client.slowly(['input/1/name', 'Kick']);
  assert.equal(source.labelOf('input/1'), 'Kick');
  client.change('input/1/name', 'Snare');
  assert.equal(source.labelOf('input/1'), 'Snare');
});

test('a change shows the value that it replaced, also if the slow meters brought the new one first', () => {
  const { client, source } = sourceOf();
  client.slowly(['a/gain', 1]);
  client.slowly(['a/gain', 2]);
  client.change('a/gain', 2);
  assert.deepEqual([source.changes[0].before, source.changes[0].value], [1, 2]);
});

test('counters are no news', () => {
  const { client, source } = sourceOf();
  client.change('counter', 7);
  assert.equal(source.changes.length, 0);
});

test('the log has the newest first, and an end', () => {
  const { client, source } = sourceOf();
  for (let i = 0; i < 600; i++) client.change('a', i);
  assert.equal(source.changes.length, 500);
  assert.equal(source.changes[0].value, 599);
  assert.equal(source.changed, 600);
});

test('a refused subscription says why', () => {
  const { client, source } = sourceOf();
  client.fast.set([['a/peak', -3]]);
  client.events.ended?.('limit', 'too many patterns');
  assert.deepEqual(source.condition(0).sentence, 'too many patterns');
});

test('rows pass the filter by prefix or by name', () => {
  const { client, source } = sourceOf();
  client.fast.set([['input/1/peak', -3], ['input/2/peak', -6], ['bus/1/peak', -9]]); // prettier-ignore
  client.slowly(['input/2/name', 'Kick']);
  source.take(0, 'fall');
  const kinds = (filter: string) => rowsOf([source], filter).map((row) => (row.kind === 'head' ? row.text : row.index));
  assert.deepEqual(kinds(''), ['input', 0, 1, 'bus', 2]);
  assert.deepEqual(kinds('kick'), ['input', 1]);
  assert.deepEqual(kinds('BUS'), ['bus', 2]);
});

test('heads name the device if there are several', () => {
  const [one, other] = [sourceOf(), sourceOf()];
  for (const { client, source } of [one, other]) {
    client.fast.set([['input/1/peak', -3]]);
    source.take(0, 'fall');
  }
  const [head] = rowsOf([one.source, other.source], '');
  assert.deepEqual(head, { kind: 'head', text: 'desk · input' });
});
