import { retryDelay } from './closes.js';
import type { Devices, Refusal, Snapshot, Update } from './messages.js';
import type { Octets } from './records.js';
import * as requests from './requests.js';
import { LiveSubscription } from './subscription.js';
import type { Subscription, SubscriptionEvents, Wanted } from './types.js';

/** Calls a user's function: after a message was taken, so that what the function throws is not the message's fault. */
export type Notify = () => void;

/** All subscriptions of a viewer, over all its connections. */
export class Subscriptions {
  private readonly all = new Set<LiveSubscription>();
  private readonly byNumber = new Map<number, LiveSubscription>(); // those that the gateway has
  private numbers = 0; // none is used twice, so that what was on its way to an earlier one finds nobody

  /** send answers whether there is a line. */
  constructor(private readonly send: (request: Octets) => boolean) {}

  add(wanted: Wanted, events: SubscriptionEvents): Subscription {
    const subscription = new LiveSubscription(wanted, events, (it) => this.remove(it));
    this.all.add(subscription);
    this.request(subscription);
    return subscription;
  }

  /** On a new connection. */
  requestAll(): void {
    this.byNumber.clear();
    for (const subscription of this.all) this.request(subscription);
  }

  /** Those of devices that were not there, or come back. */
  requestNamed({ devices }: Devices): void {
    const names = new Set(devices.map(({ name }) => name));
    for (const subscription of this.all) {
      if (subscription.isAbsent && names.has(subscription.wanted.device)) this.request(subscription);
    }
  }

  takeSnapshot(part: Snapshot): Notify | undefined {
    const subscription = this.byNumber.get(part.subscription);
    return subscription?.takePart(part) ? () => subscription.events.snapshot?.() : undefined;
  }

  takeUpdate(update: Update): Notify | undefined {
    const subscription = this.byNumber.get(update.subscription);
    const changes = subscription?.takeUpdate(update);
    const { stream } = update;
    return changes && stream ? () => subscription?.events.update?.(stream, changes) : undefined;
  }

  takeRefusal({ subscription: number, code, text }: Refusal): Notify | undefined {
    const subscription = this.byNumber.get(number);
    if (!subscription) return undefined;
    this.byNumber.delete(number);
    if (code === 'busy') this.requestLater(subscription);
    else if (code === 'unknown-device' || code === 'device-gone') subscription.isAbsent = true;
    else this.all.delete(subscription);
    return () => subscription.events.ended?.(code, text);
  }

  clear(): void {
    for (const { retry } of this.all) clearTimeout(retry);
    this.all.clear();
    this.byNumber.clear();
  }

  private request(subscription: LiveSubscription): void {
    clearTimeout(subscription.retry);
    const number = this.numbers + 1;
    if (!this.send(requests.subscribe(number, subscription.wanted))) return; // on the next connection
    this.numbers = number;
    subscription.begin(number);
    this.byNumber.set(number, subscription);
  }

  private requestLater(subscription: LiveSubscription): void {
    subscription.retry = setTimeout(() => this.request(subscription), retryDelay(subscription.refusals));
    subscription.refusals += 1;
  }

  private remove(subscription: LiveSubscription): void {
    clearTimeout(subscription.retry);
    this.all.delete(subscription);
    if (this.byNumber.delete(subscription.number)) this.send(requests.unsubscribe(subscription.number));
  }
}
