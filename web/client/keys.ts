import type { EntryCursor } from './entries.js';

/** The octets of a list of keys, in one block, to find a key that is the same without decoding it. */
export class KnownKeys {
  private octets = new Uint8Array(4096);
  private ends = new Uint32Array(256);

  /** Whether the key at this place is the cursor's. Asked only for places that were put. */
  isAt(place: number, cursor: EntryCursor): boolean {
    const start = this.startOf(place);
    const { octets, keyStart, keyEnd } = cursor;
    if (this.ends[place] - start !== keyEnd - keyStart) return false;
    for (let i = start, j = keyStart; j < keyEnd; i += 1, j += 1) {
      if (this.octets[i] !== octets[j]) return false;
    }
    return true;
  }

  /** Puts the cursor's key at this place, which must be the one behind the last that is still wanted. */
  put(place: number, cursor: EntryCursor): void {
    const start = this.startOf(place);
    const end = start + cursor.keyEnd - cursor.keyStart;
    if (end > this.octets.length) this.octets = grown(this.octets, 2 * end);
    if (place >= this.ends.length) this.ends = grown(this.ends, 2 * place);
    this.octets.set(cursor.octets.subarray(cursor.keyStart, cursor.keyEnd), start);
    this.ends[place] = end;
  }

  private startOf(place: number): number {
    return place === 0 ? 0 : this.ends[place - 1];
  }
}

/** The same with more room. */
export function grown<T extends Uint8Array | Uint32Array | Float64Array>(array: T, length: number): T {
  const larger = new (array.constructor as new (length: number) => T)(length);
  larger.set(array);
  return larger;
}
