import { PbfWriter } from 'pbf';
import type { Octets } from './records.js';
import type { StreamName, Wanted } from './types.js';

// What a viewer sends: the fields of FromViewer.
const members = { hello: 1, subscribe: 2, unsubscribe: 3, acknowledge: 4, pong: 5, visibility: 6 } as const;
const streams: Record<StreamName, number> = { fast: 1, slow: 2, changes: 3 };

export const hello = (acknowledges: boolean, devicesPerSecond: number): Octets =>
  message('hello', (writer) => {
    writer.writeBooleanField(1, acknowledges);
    writer.writeDoubleField(2, devicesPerSecond);
  });

export const subscribe = (subscription: number, wanted: Wanted): Octets =>
  message('subscribe', (writer) => {
    writer.writeVarintField(1, subscription);
    writer.writeStringField(2, wanted.device);
    writer.writePackedVarint(
      3,
      wanted.streams.map((name) => streams[name]),
    );
    for (const pattern of wanted.keys ?? []) writer.writeStringField(4, pattern);
    writer.writeDoubleField(5, wanted.rate ?? 0);
    for (const pattern of wanted.peaks ?? []) writer.writeStringField(6, pattern);
  });

export const unsubscribe = (subscription: number): Octets =>
  message('unsubscribe', (writer) => writer.writeVarintField(1, subscription));

export const acknowledge = (updates: number): Octets =>
  message('acknowledge', (writer) => writer.writeVarintField(1, updates));

export const pong = (clock: number): Octets => message('pong', (writer) => writer.writeDoubleField(1, clock));

export const visibility = (hidden: boolean): Octets =>
  message('visibility', (writer) => writer.writeBooleanField(1, hidden));

function message(member: keyof typeof members, write: (writer: PbfWriter) => void): Octets {
  const writer = new PbfWriter();
  writer.writeMessage(members[member], (_, inner) => write(inner), undefined);
  return writer.finish() as Octets;
}
