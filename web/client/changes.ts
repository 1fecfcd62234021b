import { EntryCursor } from './entries.js';
import type { Changed, Value } from './types.js';
import { valueAt } from './values.js';

/** The newest value of each key that has changed, oldest first. */
export class KeptChanges {
  readonly all = new Map<string, { value: Value; at: number }>();
  sequence = 0;
  private readonly cursor = new EntryCursor();

  /** Takes a whole snapshot; ages are in seconds, one for each entry. */
  replace(entries: Uint8Array<ArrayBuffer>, ages: readonly number[], sequence: number): void {
    const now = Date.now();
    this.all.clear();
    this.sequence = sequence;
    this.cursor.open(entries);
    for (let place = 0; this.cursor.next(); place += 1) {
      this.put(now - 1000 * (place < ages.length ? ages[place] : 0));
    }
  }

  /** Takes an update, whose newest message has this age. */
  take(entries: Uint8Array<ArrayBuffer>, age: number, sequence: number): Changed[] {
    const at = Date.now() - 1000 * age;
    const changes: Changed[] = [];
    this.sequence = sequence;
    this.cursor.open(entries);
    while (this.cursor.next()) changes.push(this.put(at));
    return changes;
  }

  private put(at: number): Changed {
    const key = this.cursor.key();
    const value = valueAt(this.cursor);
    const before = this.all.get(key)?.value;
    this.all.delete(key); // so that it is the last
    this.all.set(key, { value, at });
    return { key, value, before, at };
  }
}
