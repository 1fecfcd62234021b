import type { Changed, LiveClient, Meters, Subscription, Value } from '../../client/index.js';
import type { HoldMode } from './hold.js';
import { keysOfStrips, lastPart } from './key.js';
import { StripSet } from './strips.js';
import { conditionOf, type Condition } from './words.js';

export interface ChangeLine {
  at: number;
  key: string;
  before: Value | undefined;
  value: Value;
}

const changesLimit = 500;

/** The newest value of a key, and the one that it replaced. */
interface Known {
  value: Value;
  before: Value | undefined;
}

const same = (left: Value | undefined, right: Value) =>
  left === right || (typeof left === 'object' && String(left) === String(right));

/** What a source is of. */
export interface Wish {
  device: string;
  /** Patterns of strips; all if there is none. */
  strips: readonly string[];
  rate: number;
  /** Called when there is something to draw. */
  news: () => void;
}

/** A device's values as the page shows them: strips, names, and the log of changes. */
export class Source {
  readonly device: string;
  readonly sets: readonly [StripSet, StripSet];
  /** The newest first. */
  readonly changes: ChangeLine[] = [];
  /** How many changes there have been. */
  changed = 0;
  /** Another one when a name has come or changed. */
  namesVersion = 0;
  /** How long there is between updates, in ms. */
  period = 0;
  private readonly subscription: Subscription;
  private readonly known = new Map<string, Known>();
  private names: { key: string; place: number }[] = [];
  private slowLayout = -1;
  private problem = '';
  private lastFast = NaN;

  constructor(
    private readonly client: LiveClient,
    private readonly wish: Wish,
  ) {
    this.device = wish.device;
    const wanted = { device: wish.device, streams: ['fast', 'slow', 'changes'] as const, rate: wish.rate };
    this.subscription = client.subscribe(
      { ...wanted, streams: [...wanted.streams], ...(wish.strips.length ? { keys: keysOfStrips(wish.strips) } : {}) },
      {
        snapshot: () => this.start(),
        update: (stream, changes) => this.update(stream, changes),
        ended: (_code, text) => this.fail(text),
      },
    );
    this.sets = [new StripSet(this.subscription.fast), new StripSet(this.subscription.slow)];
  }

  get fast(): Meters {
    return this.subscription.fast;
  }

  get slow(): Meters {
    return this.subscription.slow;
  }

  /** The stream whose age counts: the fast one, if the device has it. */
  get main(): Meters {
    return this.fast.keys.length || !this.slow.keys.length ? this.fast : this.slow;
  }

  /** In ms; NaN before the first values. */
  age(now: number): number {
    const { received, age, keys } = this.main;
    return keys.length ? age * 1000 + now - received : NaN;
  }

  condition(now: number): Condition {
    const found = conditionOf({
      connection: this.client.connection,
      name: this.device,
      device: this.client.devices.get(this.device),
      devicesKnown: this.client.devices.size > 0,
      age: this.age(now),
      period: this.wish.rate ? Math.max(this.period, 1000 / this.wish.rate) : this.period,
      now,
    });
    return this.problem && found.state === 'live'
      ? { state: 'lost', word: '✕ refused', sentence: this.problem }
      : found;
  }

  /** Copies what is newest for drawing; true if there was anything. */
  take(now: number, mode: HoldMode): boolean {
    const fast = this.sets[0].take(now, mode);
    const slow = this.sets[1].take(now, mode);
    return fast || slow;
  }

  /** A strip's label: its name, if it is known, else its prefix. */
  labelOf(prefix: string): string {
    return this.nameOf(`${prefix}/name`) || prefix;
  }

  close(): void {
    this.subscription.close();
  }

  private nameOf(key: string): string {
    const value = this.known.get(key)?.value;
    return typeof value === 'string' ? value : '';
  }

  private start(): void {
    this.problem = '';
    this.lastFast = NaN;
    for (const [key, { value }] of this.subscription.changes) this.learn(key, value);
    this.learnSlow();
    this.wish.news();
  }

  private update(stream: string, changes: readonly Changed[]): void {
    if (stream === 'slow') this.learnSlow();
    if (stream === 'fast') this.measure();
    for (const change of changes) this.log(change);
    this.wish.news();
  }

  private fail(text: string): void {
    this.problem = text;
    this.wish.news();
  }

  private measure(): void {
    const { received } = this.fast;
    const gap = received - this.lastFast;
    if (gap >= 0) this.period = this.period ? this.period + (gap - this.period) / 8 : gap;
    this.lastFast = received;
  }

  /** The slow meters may bring a new value before its change does, so the value that it replaced is kept. */
  private learn(key: string, value: Value): Known {
    const entry = this.known.get(key);
    if (entry && same(entry.value, value)) return entry;
    const next = { value, before: entry?.value };
    this.known.set(key, next);
    if (key.endsWith('/name')) this.namesVersion++;
    return next;
  }

  private learnSlow(): void {
    const slow = this.slow;
    if (this.slowLayout !== slow.layout) {
      this.slowLayout = slow.layout;
      this.names = slow.keys.map((key, place) => ({ key, place })).filter(({ place }) => !isArray(slow.value(place)));
    }
    for (const { key, place } of this.names) this.learn(key, slow.value(place));
  }

  private log({ key, value, before, at }: Changed): void {
    if (lastPart(key) === 'counter') return;
    const known = this.learn(key, value);
    this.changes.unshift({ at, key, before: before ?? known.before, value });
    if (this.changes.length > changesLimit) this.changes.length = changesLimit;
    this.changed++;
  }
}

const isArray = (value: Value) => typeof value === 'object' && value !== null;
