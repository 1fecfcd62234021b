import { isFinal, reasonOf, retryDelay } from './closes.js';
import type { Octets } from './records.js';
import type { Connection, SocketLike } from './types.js';

export interface ConnectorEvents {
  /** The line is there: say hello. */
  opened(): void;
  message(data: unknown): void;
  /** Another phase, or another reason for it. */
  changed(now: Connection): void;
}

const protocol = 'corvalux.v1';
const lasting = 10_000; // ms: a connection that lasted longer was no failure
const longestReason = 120; // octets that a close has room for
const looks = 3; // for a sign of life, within the longest silence

/** Keeps a connection to one of the gateways, and comes back unless one has said not to. */
export class Connector {
  now: Connection;
  private socket: SocketLike | undefined; // what earlier ones still say does not count
  private isOpen = false;
  private retry: ReturnType<typeof setTimeout> | undefined;
  private watch: ReturnType<typeof setInterval> | undefined;
  private silentLooks = 0;
  private place = 0; // among the addresses
  private failures = 0;
  private readyAt = Infinity;
  private explanation = '';

  /** silence: after how many ms without a message the connection is lost; the gateway pings each 5 s. */
  constructor(
    private readonly urls: readonly string[],
    private readonly make: (url: string, protocol: string) => SocketLike,
    private readonly events: ConnectorEvents,
    private readonly silence = 15_000,
  ) {
    if (urls.length === 0) throw new RangeError('urls: no address of a gateway');
    this.now = { phase: 'connecting', reason: '', url: urls[0] };
    this.retry = setTimeout(() => this.connect(), 0); // when its owner is complete
  }

  /** Answers whether there is a line. */
  send(octets: Octets): boolean {
    if (this.isOpen) this.socket?.send(octets);
    return this.isOpen;
  }

  /** The gateway has answered. */
  ready(): void {
    this.readyAt = performance.now();
    this.enter({ phase: 'open', reason: '', url: this.now.url });
  }

  /** Why the gateway will close. */
  explain(text: string): void {
    this.explanation = text;
  }

  /** Ends this connection and comes back. */
  fail(code: number, reason: string): void {
    this.leave(code, reason);
    this.wait(reason);
  }

  close(): void {
    this.leave(1000, '');
    clearTimeout(this.retry);
  }

  private connect(): void {
    const url = this.urls[this.place];
    try {
      this.socket = this.make(url, protocol);
    } catch (error) {
      this.wait(error instanceof Error ? error.message : String(error));
      return;
    }
    this.listen(this.socket);
    this.silentLooks = 0;
    this.explanation = '';
    this.watch = setInterval(() => this.look(), this.silence / looks);
    this.enter({ phase: 'connecting', reason: this.now.reason, url });
  }

  private listen(socket: SocketLike): void {
    socket.binaryType = 'arraybuffer';
    socket.addEventListener('open', () => {
      if (socket !== this.socket) return;
      this.isOpen = true;
      this.events.opened();
    });
    socket.addEventListener('message', ({ data }) => {
      if (socket !== this.socket) return;
      this.silentLooks = 0;
      this.events.message(data);
    });
    socket.addEventListener('error', () => undefined); // a close follows
    socket.addEventListener('close', ({ code, reason }) => {
      if (socket === this.socket) this.closed(code, reason);
    });
  }

  private closed(code: number, text: string): void {
    const reason = reasonOf(code, text || this.explanation);
    this.leave(code, '');
    if (isFinal(code)) this.enter({ phase: 'refused', reason, url: this.now.url });
    else this.wait(reason);
  }

  /** A timer that was late, after a sleep of the machine, is no silence: it takes several. */
  private look(): void {
    this.silentLooks += 1;
    if (this.silentLooks >= looks) this.fail(4000, 'nothing comes from the gateway');
  }

  private leave(code: number, reason: string): void {
    const { socket } = this;
    this.socket = undefined;
    this.isOpen = false;
    clearInterval(this.watch);
    socket?.close(code < 4000 ? 1000 : code, reason.slice(0, longestReason));
  }

  private wait(reason: string): void {
    if (performance.now() - this.readyAt > lasting) this.failures = 0;
    this.readyAt = Infinity;
    const delay = retryDelay(this.failures);
    this.failures += 1;
    this.place = (this.place + 1) % this.urls.length;
    this.retry = setTimeout(() => this.connect(), delay);
    this.enter({ phase: 'waiting', reason, url: this.now.url, retryAt: performance.now() + delay });
  }

  private enter(now: Connection): void {
    this.now = now;
    this.events.changed(now);
  }
}
