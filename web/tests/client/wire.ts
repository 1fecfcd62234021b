// The gateway's side of the protocol, as tests say it.
import { PbfReader, PbfWriter } from 'pbf';
import type { StreamName } from '../../client/index.js';

export type Octets = Uint8Array<ArrayBuffer>;
/** A key and a value: the member of AnyValue that is set, none for a kind that nobody knows. */
export type Entry = [key: string, kind: Kind, value?: string | number | number[]];
export type Kind = 'text' | 'float' | 'int' | 'uint' | 'floats' | 'ints' | 'uints' | 'double' | 'none';

const streams = { fast: 1, slow: 2, changes: 3 };
const states = { connecting: 1, live: 2, stale: 3, lost: 4 };
const codes = { 'bad-message': 1, limit: 2, 'unknown-device': 3, 'device-gone': 4, busy: 5 };
export type Code = keyof typeof codes;

/** A message of the fields that are written. */
function message(write: (writer: PbfWriter) => void): Octets {
  const writer = new PbfWriter();
  write(writer);
  return writer.finish() as Octets;
}
const member = (number: number, octets: Octets): Octets => message((writer) => writer.writeBytesField(number, octets));

const writers: Record<Kind, (writer: PbfWriter, value: never) => void> = {
  text: (writer, value: string) =>
    writer.writeBytesField(
      1,
      message((inner) => inner.writeStringField(1, value)),
    ),
  float: (writer, value: number) => writer.writeFloatField(2, value),
  int: (writer, value: number) => writer.writeVarintField(3, value),
  uint: (writer, value: number) => writer.writeVarintField(4, value),
  floats: (writer, values: number[]) =>
    writer.writeBytesField(
      5,
      message((inner) => inner.writePackedFloat(1, values)),
    ),
  ints: (writer, values: number[]) =>
    writer.writeBytesField(
      6,
      message((inner) => inner.writePackedSFixed32(1, values)),
    ),
  uints: (writer, values: number[]) =>
    writer.writeBytesField(
      7,
      message((inner) => inner.writePackedFixed32(1, values)),
    ),
  double: (writer, value: number) => writer.writeDoubleField(8, value),
  none: () => undefined,
};

function keyValue([key, kind, value]: Entry): Octets {
  return message((writer) => {
    writer.writeStringField(1, key);
    writer.writeBytesField(
      2,
      message((inner) => writers[kind](inner, value as never)),
    );
  });
}

export const entriesOf = (entries: Entry[]): Octets =>
  message((writer) => entries.forEach((entry) => writer.writeBytesField(1, keyValue(entry))));

export const hello = (epoch = 'first', clock = Date.now() / 1000): Octets =>
  member(
    1,
    message((writer) => {
      writer.writeStringField(1, epoch);
      writer.writeDoubleField(2, clock);
      writer.writeBytesField(
        3,
        message((limits) => limits.writeVarintField(3, 32)),
      );
      writer.writeStringField(4, '1.2.3');
    }),
  );

export interface Device {
  name: string;
  state?: keyof typeof states;
  reason?: string;
  worst?: [string, number];
  lastChange?: [Entry, number];
}

export const devices = (all: Device[], gone: string[] = []): Octets =>
  member(
    2,
    message((writer) => {
      for (const device of all) writer.writeBytesField(1, summary(device));
      for (const name of gone) writer.writeStringField(2, name);
    }),
  );

const summary = ({ name, state = 'live', reason = '', worst, lastChange }: Device): Octets =>
  message((writer) => {
    writer.writeStringField(1, name);
    writer.writeStringField(2, `${name}.example:50005`);
    writer.writeVarintField(3, states[state]);
    writer.writeStringField(4, reason);
    writer.writeDoubleField(5, 1000);
    if (worst)
      writer.writeBytesField(
        7,
        message((level) => {
          level.writeStringField(1, worst[0]);
          level.writeDoubleField(2, worst[1]);
        }),
      );
    if (lastChange)
      writer.writeBytesField(
        9,
        message((change) => {
          change.writeBytesField(1, keyValue(lastChange[0]));
          change.writeDoubleField(2, lastChange[1]);
        }),
      );
  });

export interface Part {
  subscription?: number;
  sequence?: number;
  age?: number;
  ages?: number[];
  last?: boolean;
}

export const snapshot = (stream: StreamName, entries: Entry[], part: Part = {}): Octets =>
  member(
    3,
    message((writer) => {
      writer.writeVarintField(1, part.subscription ?? 1);
      writer.writeVarintField(2, streams[stream]);
      writer.writeVarintField(3, part.sequence ?? 1);
      writer.writeDoubleField(4, part.age ?? 0);
      writer.writeBytesField(5, entriesOf(entries));
      writer.writePackedFloat(6, part.ages ?? []);
      writer.writeBooleanField(7, part.last ?? true);
    }),
  );

export interface News {
  subscription?: number;
  age?: number;
  merged?: number;
}

export const update = (stream: StreamName, sequence: number, entries: Entry[], news: News = {}): Octets =>
  member(
    4,
    message((writer) => {
      writer.writeVarintField(1, news.subscription ?? 1);
      writer.writeVarintField(2, streams[stream]);
      writer.writeVarintField(3, sequence);
      writer.writeDoubleField(4, news.age ?? 0);
      writer.writeVarintField(5, news.merged ?? 1);
      writer.writeBytesField(6, entriesOf(entries));
    }),
  );

export const ping = (clock: number, roundTrip: number): Octets =>
  member(
    5,
    message((writer) => {
      writer.writeDoubleField(1, clock);
      writer.writeDoubleField(2, roundTrip);
    }),
  );

export const error = (code: Code, text: string, subscription: number): Octets =>
  member(
    6,
    message((writer) => {
      writer.writeVarintField(1, codes[code]);
      writer.writeStringField(2, text);
      writer.writeVarintField(3, subscription);
    }),
  );

/** What the viewer said: the member's name, and its fields by their numbers, in the order in which they came. */
export interface FromViewer {
  name: string;
  fields: Record<number, (string | number)[]>;
}

type Read = (reader: PbfReader) => string | number;
const uint: Read = (reader) => reader.readVarint();
const double: Read = (reader) => reader.readDouble();
const text: Read = (reader) => reader.readString();
const fromViewer: Record<number, [name: string, reads: Record<number, Read>]> = {
  1: ['hello', { 1: uint, 2: double }],
  2: ['subscribe', { 1: uint, 2: text, 4: text, 5: double, 6: text }],
  3: ['unsubscribe', { 1: uint }],
  4: ['acknowledge', { 1: uint }],
  5: ['pong', { 1: double }],
  6: ['visibility', { 1: uint }],
};

export function decode(octets: Octets): FromViewer {
  const reader = new PbfReader(octets);
  const [name, reads] = fromViewer[reader.nextField()];
  const fields: FromViewer['fields'] = {};
  reader.readMessage((number) => {
    const values = (fields[number] ??= []);
    if (name === 'subscribe' && number === 3) values.push(...reader.readPackedVarint());
    else values.push(reads[number](reader));
  }, undefined);
  return { name, fields };
}
