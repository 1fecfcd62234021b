/** The kinds of a value: the numbers of AnyValue's fields; 0 when none is set. */
export const kinds = { text: 1, float: 2, int: 3, uint: 4, floats: 5, ints: 6, uints: 7, double: 8 } as const;

export class MalformedError extends Error {}

const texts = new TextDecoder();
const key = 0x0a; // field 1 of KeyValue, with a length
const value = 0x12; // its field 2, with a length
const entry = 0x0a; // field 1 of Entries, with a length

/** Walks over the entries of an Entries message; allocates nothing for an entry. */
export class EntryCursor {
  octets = new Uint8Array(0);
  view = new DataView(this.octets.buffer);
  keyStart = 0;
  keyEnd = 0;
  kind = 0;
  /** Of a single number; otherwise NaN. */
  number = NaN;
  /** Of a text or an array: its message. */
  valueStart = 0;
  valueEnd = 0;
  private at = 0;

  open(octets: Uint8Array<ArrayBuffer>): void {
    this.octets = octets;
    this.view = new DataView(octets.buffer, octets.byteOffset, octets.byteLength);
    this.at = 0;
  }

  /** Moves to the next entry. */
  next(): boolean {
    while (this.at < this.octets.length) {
      const tag = this.varint();
      if (tag !== entry) this.skip(tag & 7);
      else {
        this.readEntry(this.lengthEnd());
        return true;
      }
    }
    this.mustBeAt(this.octets.length);
    return false;
  }

  /** Moves to an entry that stands alone. */
  openEntry(octets: Uint8Array<ArrayBuffer>): void {
    this.open(octets);
    this.readEntry(octets.length);
  }

  key(): string {
    return texts.decode(this.octets.subarray(this.keyStart, this.keyEnd));
  }

  private readEntry(end: number): void {
    this.kind = this.keyStart = this.keyEnd = 0;
    this.number = NaN;
    while (this.at < end) {
      const tag = this.varint();
      if (tag === key) {
        this.keyEnd = this.lengthEnd();
        this.keyStart = this.at;
        this.at = this.keyEnd;
      } else if (tag === value) this.readValue(this.lengthEnd());
      else this.skip(tag & 7);
    }
    this.mustBeAt(end);
  }

  private readValue(end: number): void {
    while (this.at < end) this.readMember(this.varint());
    this.mustBeAt(end);
  }

  private readMember(tag: number): void {
    switch (tag) {
      case (kinds.float << 3) | 5:
        this.number = this.view.getFloat32(this.forward(4), true);
        break;
      case (kinds.double << 3) | 1:
        this.number = this.view.getFloat64(this.forward(8), true);
        break;
      case kinds.int << 3:
        this.number = this.varint() | 0;
        break;
      case kinds.uint << 3:
        this.number = this.varint();
        break;
      case (kinds.text << 3) | 2:
      case (kinds.floats << 3) | 2:
      case (kinds.ints << 3) | 2:
      case (kinds.uints << 3) | 2:
        this.number = NaN;
        this.valueEnd = this.lengthEnd();
        this.valueStart = this.at;
        this.at = this.valueEnd;
        break;
      default:
        this.skip(tag & 7); // a kind that is newer than this client
        return;
    }
    this.kind = tag >>> 3;
  }

  /** The lowest 32 bits. */
  private varint(): number {
    let number = 0;
    for (let shift = 0; shift < 70; shift += 7) {
      const octet = this.octets[this.forward(1)];
      if (shift < 32) number |= (octet & 0x7f) << shift;
      if (octet < 0x80) return number >>> 0;
    }
    throw new MalformedError('a number is too long');
  }

  private lengthEnd(): number {
    const length = this.varint();
    if (length > this.octets.length - this.at) throw new MalformedError('an entry is cut off');
    return this.at + length;
  }

  private skip(type: number): void {
    if (type === 0) this.varint();
    else if (type === 1) this.forward(8);
    else if (type === 2) this.at = this.lengthEnd();
    else if (type === 5) this.forward(4);
    else throw new MalformedError('an entry has a field of no known type');
  }

  /** Where it was. */
  private forward(octets: number): number {
    const before = this.at;
    this.at += octets;
    if (this.at > this.octets.length) throw new MalformedError('an entry is cut off');
    return before;
  }

  private mustBeAt(end: number): void {
    if (this.at !== end) throw new MalformedError('an entry is longer than it says');
  }
}
