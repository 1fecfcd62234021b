const kept = 15;

/** How the gateway's clock differs from this one, and what a way there and back takes. Seconds. */
export class Clock {
  roundTrip = 0;
  offset = 0;
  private offsets: number[] = [];
  private helloAt = 0;

  sentHello(): void {
    this.offsets = [];
    this.helloAt = performance.now();
  }

  receivedHello(clock: number): void {
    this.roundTrip = (performance.now() - this.helloAt) / 1000;
    this.add(clock);
  }

  /** The round trip is 0 in the first ping. */
  receivedPing(clock: number, roundTrip: number): void {
    if (roundTrip > 0) this.roundTrip = roundTrip;
    this.add(clock);
  }

  private add(clock: number): void {
    this.offsets.push(clock + this.roundTrip / 2 - Date.now() / 1000);
    if (this.offsets.length > kept) this.offsets.shift();
    const sorted = [...this.offsets].sort((a, b) => a - b);
    this.offset = sorted[sorted.length >> 1];
  }
}
