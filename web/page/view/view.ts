import type { HoldMode } from '../model/hold.js';
import type { Source } from '../model/source.js';
import type { Condition } from '../model/words.js';

/** What a view gets from the page. */
export interface Stage {
  /** Updates a second, at most; 0: as they come. */
  rate: number;
  /** Values have come. */
  news: () => void;
  /** Asks for a picture. */
  redraw: () => void;
  isPaused: () => boolean;
  holdMode: () => HoldMode;
}

/** What fills the page below its header. */
export interface View {
  readonly element: HTMLElement;
  readonly title: string;
  readonly sources: readonly Source[];
  /** Draws a picture; true if values have come since the one before. */
  draw(now: number): boolean;
  /** Four times a second: what need not be in each picture. */
  tick(now: number): void;
  /** Sixteen times a second, never together with tick(): a small part of what is long. */
  trickle(): void;
  condition(now: number): Condition;
  /** Colours have changed. */
  restyle(): void;
  setFilter(text: string): void;
  resetHolds(): void;
  acknowledgeClips(): void;
  close(): void;
}
