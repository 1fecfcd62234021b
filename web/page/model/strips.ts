import type { Meters, Value } from '../../client/index.js';
import { Holds, type HoldMode } from './hold.js';
import { lastPart, prefixOf } from './key.js';
import { floorDb, overDb } from './scale.js';

/** Where the values of a channel or a bus are in a message; -1: there is none. */
export interface Strip {
  readonly prefix: string;
  peak: number;
  rms: number;
  clips: number;
  spectrum: number;
  /** Places of the rest, by the last part of their keys. */
  readonly others: { name: string; place: number }[];
}

/** What a value is for its strip, by the last part of its key. */
const roles: Partial<Record<string, 'peak' | 'rms' | 'clips'>> = {
  peak: 'peak',
  level: 'peak',
  rms: 'rms',
  clips: 'clips',
};

/** A repeated key goes to the others. */
function place(strip: Strip, name: string, value: Value, at: number): void {
  const role = value instanceof Float32Array ? 'spectrum' : typeof value === 'number' ? roles[name] : undefined;
  if (role && strip[role] < 0) strip[role] = at;
  else strip.others.push({ name, place: at });
}

/** Groups a message's values by the prefixes of their keys, in the order of the first keys. */
export function stripsOf(keys: readonly string[], valueAt: (place: number) => Value): Strip[] {
  const strips = new Map<string, Strip>();
  keys.forEach((key, at) => {
    const prefix = prefixOf(key);
    let strip = strips.get(prefix);
    if (!strip) strips.set(prefix, (strip = { prefix, peak: -1, rms: -1, clips: -1, spectrum: -1, others: [] }));
    place(strip, lastPart(key), valueAt(at), at);
  });
  return [...strips.values()];
}

const clipped = (level: number) => (level > floorDb ? level : floorDb);

/**
 * The newest levels of a stream's strips, with peak hold, and the clips since they were acknowledged. An update
 * allocates nothing, however many keys there are.
 */
export class StripSet {
  /** Those with a level, which come first in the arrays; then the others. */
  strips: readonly Strip[] = [];
  others: readonly Strip[] = [];
  peak = new Float64Array();
  rms = new Float64Array();
  /** Clips that nobody has acknowledged. */
  lit = new Float64Array();
  holds = new Holds(0);
  /** Another one when the strips have changed. */
  version = 0;
  private clips = new Float64Array();
  /** Counts that were acknowledged; NaN before the first one. */
  private seen = new Float64Array();
  private layout = -1;
  private updates = -1;

  constructor(readonly meters: Meters) {}

  /** Whether there was something new. */
  take(now: number, mode: HoldMode): boolean {
    if (this.updates === this.meters.updates && this.layout === this.meters.layout) return false;
    this.updates = this.meters.updates;
    if (this.layout !== this.meters.layout) this.arrange();
    for (let i = 0; i < this.strips.length; i++) this.read(this.strips[i], i);
    this.step(now, mode);
    return true;
  }

  /** Lets the held peaks fall. */
  step(now: number, mode: HoldMode): void {
    for (let i = 0; i < this.strips.length; i++) this.holds.step(i, this.peak[i], now, mode);
  }

  /** Whether a held peak is above its level, so that it will fall. */
  isFalling(): boolean {
    for (let i = 0; i < this.strips.length; i++) if (this.holds.levels[i] > this.peak[i]) return true;
    return false;
  }

  acknowledge(index?: number): void {
    for (let i = 0; i < this.strips.length; i++) {
      if (index !== undefined && index !== i) continue;
      this.seen[i] = this.clips[i];
      this.lit[i] = 0;
    }
  }

  private read(strip: Strip, i: number): void {
    const numbers = this.meters.numbers;
    const level = strip.peak >= 0 ? strip.peak : strip.rms;
    this.peak[i] = clipped(numbers[level]);
    this.rms[i] = strip.rms >= 0 ? clipped(numbers[strip.rms]) : this.peak[i];
    if (strip.clips >= 0) this.count(i, numbers[strip.clips]);
    else if (this.peak[i] >= overDb) this.lit[i] = this.lit[i] + 1;
  }

  /** Clips from before somebody looked do not light; a count that fell is that of an engine which began again. */
  private count(i: number, clips: number): void {
    if (!(clips >= this.seen[i])) this.seen[i] = Number.isNaN(this.seen[i]) ? clips : 0;
    this.clips[i] = clips;
    this.lit[i] = clips - this.seen[i] || 0;
  }

  private arrange(): void {
    const before = new Map(this.strips.map((strip, i) => [strip.prefix, i]));
    const { holds, seen, lit } = this;
    const all = stripsOf(this.meters.keys, (at) => this.meters.value(at));
    this.strips = all.filter((strip) => strip.peak >= 0 || strip.rms >= 0);
    this.others = all.filter((strip) => strip.peak < 0 && strip.rms < 0);
    const count = this.strips.length;
    for (const name of ['peak', 'rms', 'lit', 'clips'] as const) this[name] = new Float64Array(count);
    this.seen = new Float64Array(count).fill(NaN);
    this.holds = new Holds(count);
    this.strips.forEach((strip, i) => {
      const there = before.get(strip.prefix);
      if (there === undefined) return;
      this.holds.adopt(i, holds, there);
      this.seen[i] = seen[there];
      this.lit[i] = lit[there];
    });
    this.layout = this.meters.layout;
    this.version++;
  }
}
