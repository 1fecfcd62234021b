// A gateway that does what a test says, and a client of it.
import type { TestContext } from 'node:test';
import { type WebSocket, WebSocketServer } from 'ws';
import { WebSocket as Socket } from 'ws';
import { type Changed, LiveClient, type LiveOptions, type StreamName, type Wanted } from '../../client/index.js';
import * as wire from './wire.js';

const patience = 5000; // ms

/** Fails when the promise takes too long. */
async function inTime<T>(promise: Promise<T>, what: string): Promise<T> {
  let timer: NodeJS.Timeout | undefined;
  const late = new Promise<never>((_, reject) => {
    timer = setTimeout(() => reject(new Error(`not in time: ${what}`)), patience);
  });
  return Promise.race([promise, late]).finally(() => clearTimeout(timer));
}

/** What happened, one after the other. */
export class Queue<T> {
  private readonly items: T[] = [];
  private wake = (): void => undefined;

  constructor(private readonly what: string) {}

  readonly push = (item: T): void => {
    this.items.push(item);
    this.wake();
  };

  get length(): number {
    return this.items.length;
  }

  async next(): Promise<T> {
    if (this.items.length === 0) await inTime(new Promise<void>((resolve) => (this.wake = resolve)), this.what);
    return this.items.shift() as T;
  }

  async until(matches: (item: T) => boolean): Promise<T> {
    for (;;) {
      const item = await this.next();
      if (matches(item)) return item;
    }
  }
}

/** A connected viewer, as the gateway sees it. */
export class Viewer {
  readonly said = new Queue<wire.FromViewer>('a message of the viewer');
  readonly closed = new Queue<{ code: number; reason: string }>('the viewer closes');

  constructor(
    readonly socket: WebSocket,
    readonly protocol: string,
  ) {
    socket.on('message', (data: ArrayBuffer) => this.said.push(wire.decode(new Uint8Array(data))));
    socket.on('close', (code, reason) => this.closed.push({ code, reason: reason.toString() }));
    socket.binaryType = 'arraybuffer';
  }

  send(...messages: wire.Octets[]): void {
    for (const message of messages) this.socket.send(message);
  }

  /** The next message of this name; skips others. */
  says(name: string): Promise<wire.FromViewer['fields']> {
    return this.said.until((message) => message.name === name).then(({ fields }) => fields);
  }
}

export class Gateway {
  readonly viewers = new Queue<Viewer>('a viewer connects');
  private readonly server: WebSocketServer;

  private constructor(server: WebSocketServer) {
    this.server = server;
    server.on('connection', (socket) => this.viewers.push(new Viewer(socket, socket.protocol)));
  }

  static async open(test: TestContext, port = 0): Promise<Gateway> {
    const server = new WebSocketServer({ port, host: '127.0.0.1' });
    await new Promise((resolve) => server.once('listening', resolve));
    const gateway = new Gateway(server);
    test.after(() => gateway.close());
    return gateway;
  }

  get port(): number {
    return (this.server.address() as { port: number }).port;
  }

  get url(): string {
    return `ws://127.0.0.1:${this.port}/live`;
  }

  /** The next one that connects, after the hellos. */
  async viewer(epoch = 'first'): Promise<Viewer> {
    const viewer = await this.viewers.next();
    await viewer.says('hello');
    viewer.send(wire.hello(epoch), wire.devices([{ name: 'desk' }]));
    return viewer;
  }

  close(): void {
    for (const socket of this.server.clients) socket.terminate();
    this.server.close();
  }
}

/** A client that is closed after the test. */
export function live(test: TestContext, options: LiveOptions): LiveClient {
  const client = new LiveClient({ webSocket: (url, protocol) => new Socket(url, protocol), ...options });
  test.after(() => client.close());
  return client;
}

export interface Happening {
  what: 'snapshot' | 'update' | 'ended';
  stream?: StreamName;
  changes?: readonly Changed[];
  code?: string;
}

/** A gateway, a viewer of it that has subscribed, and what happens to its subscription. */
export async function subscribed(test: TestContext, wanted: Partial<Wanted> = {}, options: Partial<LiveOptions> = {}) {
  const gateway = await Gateway.open(test);
  const client = live(test, { urls: [gateway.url], ...options });
  const happened = new Queue<Happening>('something happens to the subscription');
  const subscription = client.subscribe(
    { device: 'desk', streams: ['fast'], ...wanted },
    {
      snapshot: () => happened.push({ what: 'snapshot' }),
      update: (stream, changes) => happened.push({ what: 'update', stream, changes }),
      ended: (code) => happened.push({ what: 'ended', code }),
    },
  );
  const viewer = await gateway.viewer();
  await viewer.says('subscribe');
  return { gateway, client, subscription, happened, viewer };
}
