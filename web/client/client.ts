import { Acknowledger } from './acknowledger.js';
import { Clock } from './clock.js';
import { Connector } from './connector.js';
import { KeptDevices } from './devices.js';
import { decodeMessage, type Hello, type ToViewer } from './messages.js';
import * as requests from './requests.js';
import { type Notify, Subscriptions } from './subscriptions.js';
import type { Connection, DeviceSummary, Gateway, LiveEvents, LiveOptions, SocketLike } from './types.js';
import type { Subscription, SubscriptionEvents, Wanted } from './types.js';

/** A viewer of a gateway's devices. Connects at once, and again after each loss, until it is closed or refused. */
export class LiveClient {
  /** What the gateway says of itself; undefined before the first connection. */
  gateway: Gateway | undefined;
  private readonly events: LiveEvents;
  private readonly clock = new Clock();
  private readonly kept = new KeptDevices();
  private readonly connector: Connector;
  private readonly subscriptions: Subscriptions;
  private readonly acknowledger: Acknowledger;
  private hidden = false;

  constructor(private readonly options: LiveOptions) {
    this.events = options.events ?? {};
    const webSocket = options.webSocket ?? ((url, protocol): SocketLike => new WebSocket(url, protocol));
    const connector = (this.connector = new Connector(options.urls, webSocket, {
      opened: () => this.open(),
      message: (data) => this.receive(data),
      changed: (now) => this.events.connection?.(now),
    }));
    this.subscriptions = new Subscriptions((request) => connector.send(request));
    this.acknowledger = new Acknowledger((updates) => connector.send(requests.acknowledge(updates)));
  }

  get devices(): ReadonlyMap<string, DeviceSummary> {
    return this.kept.all;
  }
  get connection(): Connection {
    return this.connector.now;
  }
  /** Of a message and its answer, in seconds; 0 before the first. */
  get roundTrip(): number {
    return this.clock.roundTrip;
  }
  /** How far the gateway's clock is ahead of Date.now(), in seconds: the median of what was measured last. */
  get clockOffset(): number {
    return this.clock.offset;
  }

  /** Lasts until it is closed: over reconnects, and also while the gateway does not have the device. */
  subscribe(wanted: Wanted, events: SubscriptionEvents = {}): Subscription {
    return this.subscriptions.add(wanted, events);
  }

  /** All that has come is on the screen: call it after each drawing. Acknowledges at most 30 times a second. */
  drawn(): void {
    if (this.options.acknowledges !== false) this.acknowledger.drawAll();
  }

  /** A hidden viewer gets nothing but devices; what still comes is acknowledged without drawn(). */
  setHidden(hidden: boolean): void {
    if (hidden === this.hidden) return;
    this.hidden = hidden;
    this.connector.send(requests.visibility(hidden));
    if (hidden) this.drawn();
  }

  close(): void {
    this.subscriptions.clear();
    this.acknowledger.reset();
    this.connector.close();
  }

  /** Subscribes at once, without waiting for the gateway's hello. */
  private open(): void {
    const { acknowledges = true, devicesPerSecond = 0 } = this.options;
    this.kept.reset();
    this.acknowledger.reset();
    this.clock.sentHello();
    this.connector.send(requests.hello(acknowledges, devicesPerSecond));
    if (this.hidden) this.connector.send(requests.visibility(true));
    this.subscriptions.requestAll();
  }

  private receive(data: unknown): void {
    let notify: Notify | undefined;
    try {
      if (!(data instanceof ArrayBuffer)) throw new TypeError('it is not binary');
      const message = decodeMessage(new Uint8Array(data));
      notify = message && this.take(message);
    } catch (error) {
      this.connector.fail(4100, `the gateway sent what is no message: ${(error as Error).message}`);
      return;
    }
    notify?.();
  }

  private take(message: ToViewer): Notify | undefined {
    switch (message.type) {
      case 'hello':
        return this.takeHello(message);
      case 'devices':
        this.kept.take(message);
        this.subscriptions.requestNamed(message);
        return () => this.events.devices?.(this.devices);
      case 'snapshot':
        return this.subscriptions.takeSnapshot(message);
      case 'update':
        this.acknowledger.countUpdate();
        if (this.hidden) this.drawn();
        return this.subscriptions.takeUpdate(message);
      case 'ping':
        this.connector.send(requests.pong(message.clock));
        this.clock.receivedPing(message.clock, message.roundTrip);
        return undefined;
      case 'error':
        if (message.subscription === 0) this.connector.explain(message.text);
        return this.subscriptions.takeRefusal(message);
    }
  }

  private takeHello({ epoch, version, limits, clock }: Hello): Notify {
    this.gateway = { epoch, version, limits };
    this.clock.receivedHello(clock);
    return () => this.connector.ready();
  }
}
