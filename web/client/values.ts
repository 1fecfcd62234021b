import { PbfReader } from 'pbf';
import { type EntryCursor, kinds, MalformedError } from './entries.js';
import type { Value } from './types.js';

type Numbers = Float32Array<ArrayBuffer> | Int32Array<ArrayBuffer> | Uint32Array<ArrayBuffer>;

/** A message as it came. */
export interface Source {
  octets: Uint8Array<ArrayBuffer>;
  view: DataView;
}

const texts = new TextDecoder();
const only = 0x0a; // field 1 with a length: how encoders write a text or an array, unless it is empty

export function isNumber(kind: number): boolean {
  return kind === kinds.float || kind === kinds.uint || kind === kinds.int || kind === kinds.double;
}

/** The value that the cursor is at, for itself. */
export function valueAt(cursor: EntryCursor): Value {
  if (cursor.kind === 0) return null;
  if (isNumber(cursor.kind)) return cursor.number;
  return decodeValue(cursor.kind, cursor, cursor.valueStart, cursor.valueEnd, null);
}

/**
 * The text or array whose message is at start to end.
 * Overwrites and answers kept if it is an array that fits, so that a spectrum costs no memory.
 */
export function decodeValue(kind: number, source: Source, start: number, end: number, kept: Value): Value {
  const begin = blockStart(source.octets, start, end);
  if (begin < 0) return decodeFields(kind, source.octets.subarray(start, end));
  if (kind === kinds.text) return texts.decode(source.octets.subarray(begin, end));
  const numbers = fitting(kind, (end - begin) >>> 2, kept);
  for (let i = 0, at = begin; i < numbers.length; i += 1, at += 4) numbers[i] = numberAt(kind, source.view, at);
  return numbers;
}

/** Where the only field's octets begin; -1 if it is not the only one. */
function blockStart(octets: Uint8Array, start: number, end: number): number {
  if (start === end) return end;
  if (octets[start] !== only) return -1;
  let [at, length] = [start + 1, 0];
  for (let shift = 0; at < end && shift < 32; shift += 7) {
    const octet = octets[at++];
    length |= (octet & 0x7f) << shift;
    if (octet < 0x80) break;
  }
  return at + length === end ? at : -1;
}

function fitting(kind: number, length: number, kept: Value): Numbers {
  const type = kind === kinds.floats ? Float32Array : kind === kinds.ints ? Int32Array : Uint32Array;
  return kept instanceof type && kept.length === length ? (kept as Numbers) : new type(length);
}

function numberAt(kind: number, view: DataView, at: number): number {
  if (kind === kinds.floats) return view.getFloat32(at, true);
  return kind === kinds.ints ? view.getInt32(at, true) : view.getUint32(at, true);
}

/** Any other way to write the same. */
function decodeFields(kind: number, octets: Uint8Array<ArrayBuffer>): Value {
  const reader = new PbfReader(octets);
  const numbers: number[] = [];
  let text = '';
  while (reader.nextField() !== 0) {
    if (reader.type !== 2 && reader.type !== 5) throw new MalformedError('a value has a field of an unexpected type');
    if (kind === kinds.text) text = reader.readString();
    else if (kind === kinds.floats) reader.readPackedFloat(numbers);
    else if (kind === kinds.ints) reader.readPackedSFixed32(numbers);
    else reader.readPackedFixed32(numbers);
  }
  if (reader.pos !== octets.length) throw new MalformedError('a value is cut off');
  if (kind === kinds.text) return text;
  return kind === kinds.floats
    ? Float32Array.from(numbers)
    : kind === kinds.ints
      ? Int32Array.from(numbers)
      : Uint32Array.from(numbers);
}
