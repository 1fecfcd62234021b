import { readFileSync, existsSync } from 'node:fs';
import { createServer, request, type Server } from 'node:http';
import { type AddressInfo, connect, type Socket } from 'node:net';
import { extname, join } from 'node:path';

const types: Record<string, string> = {
  '.html': 'text/html',
  '.js': 'text/javascript',
  '.css': 'text/css',
  '.svg': 'image/svg+xml',
  '.webmanifest': 'application/manifest+json',
};

/** Between the page and the gateway; it can be cut. */
export class Line {
  private readonly server: Server;
  private readonly sockets = new Set<Socket>();
  private isCut = false;
  octets = 0;

  constructor(to: string, page: string) {
    this.server = createServer((question, answer) => {
      const path = new URL(question.url ?? '/', to).pathname;
      const file = join(page, path === '/' ? 'index.html' : path);
      if (existsSync(file)) {
        answer.writeHead(200, {
          'content-type': types[extname(file)],
          'content-encoding': 'gzip',
          'content-security-policy':
            "default-src 'self'; connect-src 'self' ws: wss:; frame-ancestors 'self'; base-uri 'none'",
        });
        answer.end(readFileSync(`${file}.gz`));
        return;
      }
      request(new URL(question.url ?? '/', to), (there) => {
        answer.writeHead(there.statusCode ?? 500, there.headers);
        there.pipe(answer);
      }).end();
    });
    this.server.on('connection', (socket: Socket) => {
      if (this.isCut) socket.destroy();
      this.keep(socket);
    });
    this.server.on('upgrade', (question, socket: Socket, head) => {
      const { port, hostname } = new URL(to);
      const there = connect(Number(port), hostname);
      this.keep(there);
      there.write(
        `GET ${question.url} HTTP/1.1\r\n` +
          question.rawHeaders.map((text, i) => (i % 2 ? `${text}\r\n` : `${text}: `)).join('') +
          '\r\n',
      );
      there.write(head);
      there.pipe(socket);
      socket.pipe(there);
      there.on('data', (octets: Buffer) => (this.octets += octets.length));
      there.on('close', () => socket.destroy());
      socket.on('close', () => there.destroy());
    });
  }
  private keep(socket: Socket) {
    this.sockets.add(socket);
    socket.on('error', () => undefined);
    socket.on('close', () => this.sockets.delete(socket));
  }
  async open(): Promise<string> {
    await new Promise<void>((r) => this.server.listen(0, '127.0.0.1', r));
    return `http://127.0.0.1:${(this.server.address() as AddressInfo).port}/`;
  }
  cut() {
    this.isCut = true;
    for (const socket of this.sockets) socket.destroy();
  }
  join() {
    this.isCut = false;
  }
  async octetsWithin(ms: number): Promise<number> {
    const before = this.octets;
    await new Promise((r) => setTimeout(r, ms));
    return this.octets - before;
  }
  close() {
    this.cut();
    this.server.close();
  }
}
