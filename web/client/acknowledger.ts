const interval = 34; // ms: at most 30 a second

/** Acknowledges what was drawn: at once if the last time is long ago, otherwise by a timer, so that none is left out. */
export class Acknowledger {
  private received = 0; // updates of this connection
  private drawn = 0;
  private acknowledged = 0;
  private sentAt = -Infinity;
  private timer: ReturnType<typeof setTimeout> | undefined;

  constructor(private readonly send: (updates: number) => void) {}

  countUpdate(): void {
    this.received += 1;
  }

  /** All that was received is drawn. */
  drawAll(): void {
    this.drawn = this.received;
    if (this.timer !== undefined || this.drawn === this.acknowledged) return;
    const wait = this.sentAt + interval - performance.now();
    if (wait <= 0) this.flush();
    else this.timer = setTimeout(() => this.flush(), wait);
  }

  /** For a new connection. */
  reset(): void {
    clearTimeout(this.timer);
    this.timer = undefined;
    this.received = this.drawn = this.acknowledged = 0;
  }

  private flush(): void {
    this.timer = undefined;
    this.sentAt = performance.now();
    this.acknowledged = this.drawn;
    this.send(this.drawn);
  }
}
