import { type AddressInfo, connect, createServer, type Server, type Socket } from 'node:net';

/** Between the page and the gateway: it can be cut, and counts what the gateway sends. */
export class Line {
  octets = 0;
  private isCut = false;
  private readonly server: Server;
  private readonly sockets = new Set<Socket>();

  /** To a port of this machine. */
  constructor(private readonly port: number) {
    this.server = createServer((socket) => {
      if (this.isCut) socket.destroy();
      else this.carry(socket);
    });
  }

  /** The page's address on this line. */
  async open(): Promise<string> {
    await new Promise<void>((resume) => this.server.listen(0, '127.0.0.1', resume));
    return `http://127.0.0.1:${(this.server.address() as AddressInfo).port}/`;
  }

  /** Until it is joined again. */
  cut(): void {
    this.isCut = true;
    for (const socket of this.sockets) socket.destroy();
  }

  join(): void {
    this.isCut = false;
  }

  async octetsWithin(ms: number): Promise<number> {
    const before = this.octets;
    await new Promise((resume) => setTimeout(resume, ms));
    return this.octets - before;
  }

  close(): void {
    this.cut();
    this.server.close();
  }

  private carry(here: Socket): void {
    const there = connect(this.port, '127.0.0.1');
    there.on('data', (octets) => (this.octets += octets.length));
    here.pipe(there).pipe(here);
    for (const [socket, other] of [
      [here, there],
      [there, here],
    ]) {
      // prettier-ignore
      this.sockets.add(socket);
      socket.on('error', () => undefined);
      socket.on('close', () => {
        this.sockets.delete(socket);
        other.destroy();
      });
    }
  }
}
