/** What a device streams. */
export type StreamName = 'fast' | 'slow' | 'changes';
export type DeviceState = 'connecting' | 'live' | 'stale' | 'lost';
/** null: of a kind that is not known. Of a meter, an array is kept and overwritten; copy it to keep what it says. */
export type Value = null | string | number | Float32Array | Int32Array | Uint32Array;

/** A device at a glance. Ages are in seconds, of when it was received. */
export interface DeviceSummary {
  name: string;
  address: string;
  state: DeviceState;
  /** Why, as a sentence; empty while it is live. */
  reason: string;
  /** Since when it is in this state: seconds since 1970 by the gateway's clock. */
  since: number;
  /** Of its newest message. */
  age?: number;
  /** The greatest level of all its meters of peaks. */
  worst?: { key: string; level: number };
  /** The sum of all its counters of clipped samples. */
  clips?: number;
  lastChange?: { key: string; value: Value; age: number };
  /** By performance.now(), so that ages go on. */
  received: number;
}

/** The newest values of a meter stream, in arrays that are kept while the keys stay the same. */
export interface Meters {
  /** In the engine's order; keys may repeat. */
  readonly keys: readonly string[];
  /** One for each key; NaN where the value is not a single number. */
  readonly numbers: Float64Array;
  value(place: number): Value;
  /** Another one when the keys have changed. */
  readonly layout: number;
  /** Of the newest message; 0 before the first. */
  readonly sequence: number;
  /** Of the newest message when the gateway sent it, in seconds. */
  readonly age: number;
  /** How many messages the last update stood for. */
  readonly merged: number;
  /** When it came, by performance.now(). */
  readonly received: number;
  /** Snapshots and updates so far. */
  readonly updates: number;
}

/** A change; the time is like Date.now(), by the viewer's clock. */
export interface Changed {
  key: string;
  value: Value;
  /** undefined: not known. */
  before: Value | undefined;
  at: number;
}

export interface Wanted {
  device: string;
  streams: StreamName[];
  /** Patterns; all keys without one. */
  keys?: string[];
  /** Updates of each stream a second, at most; as they come without it. */
  rate?: number;
  /** Keys whose greatest value since the update before is sent when updates are merged. */
  peaks?: string[];
}

/** Why a subscription has none or no more values. It goes on by itself but for 'bad-message' and 'limit'. */
export type EndCode = 'bad-message' | 'limit' | 'unknown-device' | 'device-gone' | 'busy' | 'unknown';

export interface SubscriptionEvents {
  /** All present values are there: after subscribing, and again after each reconnect. */
  snapshot?(): void;
  /** One stream has something new; changes are empty for meters. */
  update?(stream: StreamName, changes: readonly Changed[]): void;
  /** The gateway has ended or refused it. A device that is not there is subscribed to when it comes. */
  ended?(code: EndCode, text: string): void;
}

export interface Subscription {
  readonly fast: Meters;
  readonly slow: Meters;
  /** The newest value of each key that has changed, oldest first. */
  readonly changes: ReadonlyMap<string, { value: Value; at: number }>;
  close(): void;
}

export interface Connection {
  /** waiting: comes back by itself, at retryAt; refused: does not. */
  phase: 'connecting' | 'open' | 'waiting' | 'refused';
  /** Why it is not open, as a sentence. */
  reason: string;
  url: string;
  /** By performance.now(). */
  retryAt?: number;
}

/** What the gateway is and accepts. */
export interface Gateway {
  /** Names this run of the gateway. */
  epoch: string;
  version: string;
  limits: { messageBytes: number; messagesPerSecond: number; subscriptions: number; patterns: number; rate: number };
}

export interface LiveEvents {
  connection?(now: Connection): void;
  devices?(all: ReadonlyMap<string, DeviceSummary>): void;
}

/** What is used of a WebSocket: a browser's, Node's, or that of the package ws. */
export interface SocketLike {
  binaryType: string;
  send(octets: Uint8Array<ArrayBuffer>): void;
  close(code?: number, reason?: string): void;
  addEventListener(type: 'open' | 'error', listener: () => void): void;
  addEventListener(type: 'message', listener: (event: { data: unknown }) => void): void;
  addEventListener(type: 'close', listener: (event: { code: number; reason: string }) => void): void;
}

export interface LiveOptions {
  /** Complete addresses of gateways (ws: or wss:, with the path /live); when one fails, the next is tried. */
  urls: string[];
  events?: LiveEvents;
  /** How often all that is new of devices is wanted, at most 5; without it only those that enter another state. */
  devicesPerSecond?: number;
  /** False: drawn() need not be called, and on a slow line updates can be old. */
  acknowledges?: boolean;
  /** Where there is no global WebSocket. */
  webSocket?: (url: string, protocol: string) => SocketLike;
}
