import { KeptChanges } from './changes.js';
import type { Snapshot, Update } from './messages.js';
import { KeptMeters } from './meters.js';
import type { Octets } from './records.js';
import type { Changed, StreamName, Subscription, SubscriptionEvents, Wanted } from './types.js';

const none: readonly Changed[] = [];

/** A device's values as the gateway's messages say them. */
export class LiveSubscription implements Subscription {
  readonly fast = new KeptMeters();
  readonly slow = new KeptMeters();
  /** The gateway's number for it; 0 while the gateway does not have it. */
  number = 0;
  /** Whether the gateway does not have the device. */
  isAbsent = false;
  /** While the gateway is too busy for it: until the next try, and how many there were. */
  retry: ReturnType<typeof setTimeout> | undefined;
  refusals = 0;
  private readonly kept = new KeptChanges();
  private parts: Snapshot[] = [];
  private isWhole = false;

  constructor(
    readonly wanted: Wanted,
    readonly events: SubscriptionEvents,
    private readonly release: (subscription: LiveSubscription) => void,
  ) {}

  get changes(): Subscription['changes'] {
    return this.kept.all;
  }

  close(): void {
    this.release(this);
  }

  /** Begins again with a snapshot. What was there stays until it is whole. */
  begin(number: number): void {
    this.number = number;
    this.isAbsent = false;
    this.parts = [];
    this.isWhole = false;
  }

  /** Answers whether the snapshot is whole now. */
  takePart(part: Snapshot): boolean {
    if (this.isWhole) return false;
    this.parts.push(part);
    if (!part.last) return false;
    for (const stream of this.wanted.streams)
      this.takeSnapshot(
        stream,
        this.parts.filter((one) => one.stream === stream),
      );
    this.begin(this.number);
    this.isWhole = true;
    this.refusals = 0;
    return true;
  }

  /** The changes, none of meters; undefined if it is older than what is there. */
  takeUpdate(update: Update): readonly Changed[] | undefined {
    const { stream, sequence, entries, age } = update;
    if (!this.isWhole || stream === undefined) return undefined;
    const kept = this.of(stream);
    if (isOlder(sequence, kept.sequence)) return undefined;
    if (kept instanceof KeptChanges) return kept.take(entries, age, sequence);
    kept.take(entries, update);
    return none;
  }

  private takeSnapshot(stream: StreamName, parts: Snapshot[]): void {
    const kept = this.of(stream);
    const entries = joined(parts.map((part) => part.entries));
    const { sequence, age } = parts[parts.length - 1] ?? { sequence: 0, age: 0 };
    if (kept instanceof KeptMeters) kept.take(entries, { sequence, age, merged: 0 });
    else
      kept.replace(
        entries,
        parts.flatMap((part) => part.ages),
        sequence,
      );
  }

  private of(stream: StreamName): KeptMeters | KeptChanges {
    return stream === 'changes' ? this.kept : this[stream];
  }
}

/** Sequences wrap. */
function isOlder(sequence: number, than: number): boolean {
  return ((sequence - than) | 0) < 0;
}

/** Entries of messages one after the other are the entries of one message. */
function joined(parts: Octets[]): Octets {
  if (parts.length === 1) return parts[0];
  const all = new Uint8Array(parts.reduce((sum, part) => sum + part.length, 0));
  let at = 0;
  for (const part of parts) {
    all.set(part, at);
    at += part.length;
  }
  return all;
}
