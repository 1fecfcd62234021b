import type { Meters, Value } from '../../client/index.js';

/** Meters whose values a test sets. */
export class FakeMeters implements Meters {
  keys: readonly string[] = [];
  numbers = new Float64Array();
  layout = 0;
  sequence = 0;
  age = 0;
  merged = 1;
  received = 0;
  updates = 0;
  private values: Value[] = [];

  value(place: number): Value {
    return this.values[place];
  }

  /** As an update brings it. */
  set(entries: readonly (readonly [string, Value])[]): this {
    const keys = entries.map(([key]) => key);
    if (keys.join() !== this.keys.join()) this.layout++;
    this.keys = keys;
    this.values = entries.map(([, value]) => value);
    this.numbers = Float64Array.from(this.values, (value) => (typeof value === 'number' ? value : NaN));
    this.updates++;
    this.sequence++;
    return this;
  }
}
