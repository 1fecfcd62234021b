import type { PbfReader } from 'pbf';
import { MalformedError } from './entries.js';

export type Octets = Uint8Array<ArrayBuffer>;
type Read<T> = (reader: PbfReader, before: T) => T;
/** The number of each member's field, and how it is read. */
type Fields<T> = { [K in keyof T]?: [number, Read<T[K]>] };

export const text = (reader: PbfReader): string => reader.readString();
export const uint = (reader: PbfReader): number => reader.readVarint();
export const double = (reader: PbfReader): number => reader.readDouble();
export const flag = (reader: PbfReader): boolean => reader.readBoolean();
export const bytes = (reader: PbfReader): Octets => reader.readBytes() as Octets;
export const floats = (reader: PbfReader, before: number[]): number[] => reader.readPackedFloat(before);

/** An enumerator; the first name stands for those that are newer than this client. */
export function oneOf<T>(names: readonly [T, ...T[]]): Read<T> {
  return (reader) => names[reader.readVarint()] ?? names[0];
}

export function list<T>(item: (reader: PbfReader) => T): Read<T[]> {
  return (reader, before) => {
    before.push(item(reader));
    return before;
  };
}

/** Reads a message of a length. Skips fields that are newer than this client. */
export function record<T extends object>(empty: () => T, fields: Fields<T>): (reader: PbfReader) => T {
  const known = Object.entries(fields) as [keyof T, [number, Read<T[keyof T]>]][];
  const byNumber = new Map(known.map(([name, [number, read]]) => [number, { name, read }]));
  return (reader) => {
    const into = empty();
    const length = reader.readVarint();
    readFields(reader, reader.pos + length, (number) => {
      const field = byNumber.get(number);
      if (field) into[field.name] = field.read(reader, into[field.name]);
    });
    return into;
  };
}

/** Calls read with the number of each field up to this end, which must be that of the last one. */
export function readFields(reader: PbfReader, end: number, read: (number: number) => void): void {
  if (end > reader.length) throw new MalformedError('a message is cut off');
  for (let number = reader.nextField(end); number !== 0; number = reader.nextField(end)) read(number);
  if (reader.pos !== end) throw new MalformedError('a message is longer than it says');
}
