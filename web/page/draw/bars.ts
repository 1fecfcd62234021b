import { deflection, hotDb, ticks, warmDb } from '../model/scale.js';
import type { Item, Sheet } from './item.js';
import { greyTone } from './palette.js';

/** A run of strips below each other, in device pixels. */
export interface Run {
  x: number;
  y: number;
  height: number;
}

/**
 * Draws the bars of items: solid up to the RMS, lighter up to the peak, a mark at the hold. All pieces of one colour at
 * a time, because to change the colour costs more than a piece.
 */
export class Bars {
  /** Where zones begin and end. */
  private readonly edges: readonly number[];

  constructor(private readonly sheet: Sheet) {
    const { length } = sheet.bar;
    this.edges = [0, Math.round(deflection(warmDb) * length), Math.round(deflection(hotDb) * length), length];
  }

  draw(items: readonly Item[], runs: readonly Run[]): void {
    this.fillTracks(items);
    for (let zone = 0; zone < 3; zone++) this.fillZone(items, zone, this.edges[zone], this.edges[zone + 1], 0);
    this.fillZone(items, greyTone, 0, this.sheet.bar.length, greyTone);
    for (let zone = 0; zone <= greyTone; zone++) this.fillHolds(items, zone);
    this.fillLines(runs);
  }

  private fill(item: Item, from: number, to: number): void {
    const { context, bar } = this.sheet;
    context.fillRect(item.x + bar.left + from, item.y + bar.top, to - from, bar.height);
  }

  private fillTracks(items: readonly Item[]): void {
    this.sheet.context.fillStyle = this.sheet.palette.track;
    for (const item of items) this.fill(item, item.light, this.sheet.bar.length);
  }

  /** The pieces of bars of this tone between two places. */
  private fillZone(items: readonly Item[], zone: number, from: number, to: number, tone: number): void {
    const { context, palette } = this.sheet;
    context.fillStyle = palette.solid[zone];
    for (const item of items) {
      const end = Math.min(to, item.solid);
      if (item.tone === tone && end > from) this.fill(item, from, end);
    }
    context.fillStyle = palette.light[zone];
    for (const item of items) {
      const begin = Math.max(from, item.solid);
      const end = Math.min(to, item.light);
      if (item.tone === tone && end > begin) this.fill(item, begin, end);
    }
  }

  private fillHolds(items: readonly Item[], zone: number): void {
    const { context, palette, bar, scale } = this.sheet;
    const wide = Math.max(2, Math.round(2.5 * scale));
    context.fillStyle = palette.text[zone];
    for (const item of items) {
      if (item.hold <= 0 || this.zoneOf(item) !== zone) continue;
      const place = Math.min(item.hold, bar.length - wide);
      this.fill(item, place, place + wide);
    }
  }

  private zoneOf({ tone, hold }: Item): number {
    if (tone === greyTone) return greyTone;
    return hold >= this.edges[2] ? 2 : hold >= this.edges[1] ? 1 : 0;
  }

  /** The lines of the scale, over whole runs of strips. */
  private fillLines(runs: readonly Run[]): void {
    const { context, palette, bar } = this.sheet;
    const wide = Math.max(1, this.sheet.px(1));
    context.fillStyle = palette.ground;
    for (const db of ticks) {
      const place = Math.round(deflection(db) * bar.length);
      if (place >= bar.length) continue;
      for (const { x, y, height } of runs) context.fillRect(x + bar.left + place, y, wide, height);
    }
  }
}
