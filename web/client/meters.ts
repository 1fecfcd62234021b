import { EntryCursor } from './entries.js';
import { grown, KnownKeys } from './keys.js';
import type { Meters, Value } from './types.js';
import { decodeValue, isNumber } from './values.js';

/** What comes with the entries of a snapshot or an update. */
export interface Facts {
  sequence: number;
  age: number;
  merged: number;
}

/** The newest frame of a meter stream. An update of the same keys allocates nothing for a key. */
export class KeptMeters implements Meters {
  keys: readonly string[] = [];
  numbers = new Float64Array(0);
  layout = 0;
  sequence = 0;
  age = 0;
  merged = 0;
  received = 0;
  updates = 0;
  private readonly cursor = new EntryCursor();
  private readonly known = new KnownKeys();
  private room = 256; // entries that the following columns have room for
  private store = new Float64Array(this.room);
  private kinds = new Uint8Array(this.room);
  private starts = new Uint32Array(this.room);
  private ends = new Uint32Array(this.room);
  private decodedAt = new Uint32Array(this.room);
  private decoded: Value[] = [];

  value(place: number): Value {
    const kind = place < this.keys.length ? this.kinds[place] : 0;
    if (kind === 0) return null;
    if (isNumber(kind)) return this.numbers[place];
    if (this.decodedAt[place] !== this.updates) this.decode(place, kind);
    return this.decoded[place];
  }

  /** Takes the entries of a whole frame. Keeps their octets until the next one, for the values that are decoded late. */
  take(entries: Uint8Array<ArrayBuffer>, facts: Facts): void {
    try {
      this.read(entries);
    } catch (error) {
      this.forget();
      throw error;
    }
    ({ sequence: this.sequence, age: this.age, merged: this.merged } = facts);
    this.received = performance.now();
    this.updates += 1;
  }

  private read(entries: Uint8Array<ArrayBuffer>): void {
    const { cursor, known } = this;
    let changed: string[] | undefined; // the keys, from the first that is another one on
    let place = 0;
    cursor.open(entries);
    for (; cursor.next(); place += 1) {
      if (place === this.room) this.grow();
      if (!changed && !(place < this.keys.length && known.isAt(place, cursor))) changed = this.keys.slice(0, place);
      if (changed) {
        known.put(place, cursor);
        changed.push(cursor.key());
      }
      this.keepValue(place);
    }
    if (place < this.keys.length) changed ??= this.keys.slice(0, place);
    if (changed) this.lay(changed);
  }

  private keepValue(place: number): void {
    const { cursor } = this;
    this.store[place] = cursor.number;
    this.kinds[place] = cursor.kind;
    this.starts[place] = cursor.valueStart;
    this.ends[place] = cursor.valueEnd;
  }

  private lay(keys: readonly string[]): void {
    this.keys = keys;
    this.numbers = this.store.subarray(0, keys.length);
    this.decoded.length = keys.length;
    this.layout += 1;
  }

  private decode(place: number, kind: number): void {
    const kept = this.decoded[place] ?? null;
    this.decoded[place] = decodeValue(kind, this.cursor, this.starts[place], this.ends[place], kept);
    this.decodedAt[place] = this.updates;
  }

  private grow(): void {
    this.room *= 2;
    this.store = grown(this.store, this.room);
    this.kinds = grown(this.kinds, this.room);
    this.starts = grown(this.starts, this.room);
    this.ends = grown(this.ends, this.room);
    this.decodedAt = grown(this.decodedAt, this.room);
  }

  /** Half of a frame is none. */
  private forget(): void {
    this.lay([]);
    this.sequence = 0;
  }
}
