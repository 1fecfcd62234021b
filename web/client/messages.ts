import { PbfReader } from 'pbf';
import { EntryCursor } from './entries.js';
import { bytes, double, flag, floats, list, type Octets, oneOf, readFields, record, text, uint } from './records.js';
import type { DeviceState, DeviceSummary, EndCode, Gateway, StreamName, Value } from './types.js';
import { valueAt } from './values.js';

export interface Hello extends Gateway {
  type: 'hello';
  clock: number;
}
export interface Devices {
  type: 'devices';
  devices: DeviceSummary[];
  gone: string[];
}
/** What snapshots and updates have in common. */
interface Picture {
  subscription: number;
  /** undefined: of a newer gateway. */
  stream: StreamName | undefined;
  sequence: number;
  age: number;
  entries: Octets;
}
export interface Snapshot extends Picture {
  type: 'snapshot';
  ages: number[];
  last: boolean;
}
export interface Update extends Picture {
  type: 'update';
  merged: number;
}
export interface Ping {
  type: 'ping';
  clock: number;
  roundTrip: number;
}
export interface Refusal {
  type: 'error';
  code: EndCode;
  text: string;
  subscription: number;
}
export type ToViewer = Hello | Devices | Snapshot | Update | Ping | Refusal;

const stream = oneOf<StreamName | undefined>([undefined, 'fast', 'slow', 'changes']);
const state = oneOf<DeviceState>(['connecting', 'connecting', 'live', 'stale', 'lost']);
const code = oneOf<EndCode>(['unknown', 'bad-message', 'limit', 'unknown-device', 'device-gone', 'busy']);

const noLimits = () => ({ messageBytes: 0, messagesPerSecond: 0, subscriptions: 0, patterns: 0, rate: 0 });
const limits = record(noLimits, {
  messageBytes: [1, uint],
  messagesPerSecond: [2, uint],
  subscriptions: [3, uint],
  patterns: [4, uint],
  rate: [5, double],
});
const hello = record<Hello>(() => ({ type: 'hello', epoch: '', clock: 0, limits: noLimits(), version: '' }), {
  epoch: [1, text],
  clock: [2, double],
  limits: [3, limits],
  version: [4, text],
});

/** A KeyValue. */
function entry(reader: PbfReader): { key: string; value: Value } {
  const cursor = new EntryCursor();
  cursor.openEntry(bytes(reader));
  return { key: cursor.key(), value: valueAt(cursor) };
}
const level = record(() => ({ key: '', level: 0 }), { key: [1, text], level: [2, double] });
const lastChange = record(() => ({ entry: { key: '', value: null as Value }, age: 0 }), {
  entry: [1, entry],
  age: [2, double],
});
const noSummary = (): DeviceSummary => ({
  name: '',
  address: '',
  state: 'connecting',
  reason: '',
  since: 0,
  received: performance.now(),
});
const summary = record<DeviceSummary>(noSummary, {
  name: [1, text],
  address: [2, text],
  state: [3, state],
  reason: [4, text],
  since: [5, double],
  age: [6, double],
  worst: [7, level],
  clips: [8, double],
  lastChange: [9, (reader) => flattened(lastChange(reader))],
});
function flattened({ entry: { key, value }, age }: ReturnType<typeof lastChange>) {
  return { key, value, age };
}
const devices = record<Devices>(() => ({ type: 'devices', devices: [], gone: [] }), {
  devices: [1, list(summary)],
  gone: [2, list(text)],
});

const noPicture = (): Picture => ({
  subscription: 0,
  stream: undefined,
  sequence: 0,
  age: 0,
  entries: new Uint8Array(0),
});
const snapshot = record<Snapshot>(() => ({ type: 'snapshot', ...noPicture(), ages: [], last: false }), {
  subscription: [1, uint],
  stream: [2, stream],
  sequence: [3, uint],
  age: [4, double],
  entries: [5, bytes],
  ages: [6, floats],
  last: [7, flag],
});
const update = record<Update>(() => ({ type: 'update', ...noPicture(), merged: 1 }), {
  subscription: [1, uint],
  stream: [2, stream],
  sequence: [3, uint],
  age: [4, double],
  merged: [5, uint],
  entries: [6, bytes],
});
const ping = record<Ping>(() => ({ type: 'ping', clock: 0, roundTrip: 0 }), {
  clock: [1, double],
  roundTrip: [2, double],
});
const error = record<Refusal>(() => ({ type: 'error', code: 'unknown', text: '', subscription: 0 }), {
  code: [1, code],
  text: [2, text],
  subscription: [3, uint],
});

const members: (((reader: PbfReader) => ToViewer) | undefined)[] = [
  undefined,
  hello,
  devices,
  snapshot,
  update,
  ping,
  error,
];

/** undefined: of a newer gateway. Throws if it is no message. */
export function decodeMessage(octets: Octets): ToViewer | undefined {
  const reader = new PbfReader(octets);
  let message: ToViewer | undefined;
  readFields(reader, octets.length, (number) => (message = members[number]?.(reader) ?? message));
  return message;
}
