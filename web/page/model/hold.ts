/** How a held peak behaves: it falls after a while, drops at once (reduced motion), or stays until it is reset. */
export type HoldMode = 'fall' | 'drop' | 'keep';

export const holdMs = 1500;
/** dB a second. */
export const release = 20;

/** The held peaks of some meters, by place. Times are those of performance.now(). */
export class Holds {
  readonly levels: Float64Array;
  /** Since when each is held. */
  private readonly since: Float64Array;
  private readonly updated: Float64Array;

  constructor(count: number) {
    this.levels = new Float64Array(count).fill(-Infinity);
    this.since = new Float64Array(count);
    this.updated = new Float64Array(count);
  }

  /** Goes on to `now`, with the present level. */
  step(place: number, level: number, now: number, mode: HoldMode): void {
    const held = this.levels[place];
    const end = this.since[place] + holdMs;
    let next = held;
    if (mode !== 'keep' && now > end) {
      next = mode === 'drop' ? level : held - (release * (now - Math.max(this.updated[place], end))) / 1000;
    }
    this.updated[place] = now;
    if (level >= next) {
      next = level;
      this.since[place] = now;
    }
    this.levels[place] = next;
  }

  /** Takes over what another one holds. */
  adopt(place: number, from: Holds, there: number): void {
    this.levels[place] = from.levels[there];
    this.since[place] = from.since[there];
    this.updated[place] = from.updated[there];
  }

  reset(): void {
    this.levels.fill(-Infinity);
  }
}
