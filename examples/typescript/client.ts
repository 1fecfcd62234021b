// Shows the fast meters of a corvalux device: node client.js [ADDRESS]
import { join } from "node:path";
import * as grpc from "@grpc/grpc-js";
import { loadSync } from "@grpc/proto-loader";

// The schema's messages in TypeScript, as far as this client reads them.
interface Meter {
  entries: { key: string; value: { floatValue?: number } }[];
}
interface MetersClient extends grpc.Client {
  getMetersFast(request: object): grpc.ClientReadableStream<Meter>;
}

const [firstDelay, longestDelay] = [500, 8_000]; // ms

function connect(address: string): MetersClient {
  const schema = grpc.loadPackageDefinition(loadSync(join(__dirname, "streams.proto"), { longs: Number }));
  const { Meters } = (schema.corvalux as grpc.GrpcObject).grpc as { Meters: grpc.ServiceClientConstructor };
  // This library has fixed windows, which do not grow and fill with old meters.
  return new Meters(address, grpc.credentials.createInsecure(), {
    "grpc.keepalive_time_ms": 10_000, // the server allows a ping every 5 s
    "grpc.keepalive_timeout_ms": 5_000,
    "grpc.initial_reconnect_backoff_ms": firstDelay,
    "grpc.max_reconnect_backoff_ms": longestDelay,
  }) as unknown as MetersClient;
}

// Subscribes with retries, and keeps the newest meters.
class Receiver {
  newest?: Meter; // until somebody takes it
  private call?: grpc.ClientReadableStream<Meter>;
  private retry?: NodeJS.Timeout;

  constructor(private readonly client: MetersClient) {
    this.subscribe(firstDelay);
  }

  stop(): void {
    clearTimeout(this.retry);
    this.call?.removeAllListeners("status").cancel();
    this.client.close();
  }

  private subscribe(delay: number): void {
    this.call = this.client.getMetersFast({});
    this.call.on("data", (meter: Meter) => {
      this.newest = meter;
      delay = firstDelay;
    });
    this.call.on("error", () => {}); // the status event reports it, too
    this.call.on("status", ({ details }: grpc.StatusObject) => {
      console.error(`\nno meters: ${details}; trying again`);
      const jittered = delay * (0.75 + Math.random() / 2);
      this.retry = setTimeout(() => this.subscribe(Math.min(2 * delay, longestDelay)), jittered);
    });
  }
}

function show({ entries }: Meter): void {
  const levels = entries.filter(({ key }) => key.endsWith("/peak")).map(({ value }) => value.floatValue ?? 0);
  process.stdout.write("\r" + levels.map((level) => level.toFixed(1).padStart(7)).join(""));
}

const receiver = new Receiver(connect(process.argv[2] ?? "127.0.0.1:50005"));
const pictures = setInterval(() => {
  if (receiver.newest) show(receiver.newest);
  receiver.newest = undefined;
}, 100); // redraws ten times a second, however fast the meters come
for (const signal of ["SIGINT", "SIGTERM"]) {
  process.once(signal, () => {
    clearInterval(pictures);
    receiver.stop();
    console.log();
  });
}
