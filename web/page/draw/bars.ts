import type { Row } from '../model/rows.js';
import { deflection, hotDb, overDb, ticks, warmDb, zoneOf } from '../model/scale.js';
import { describe, levelText } from '../model/text.js';
import { Numbers } from './numbers.js';
import { fontOf, greyTone, type Palette } from './palette.js';
import type { Placed } from './flow.js';
import type { Box, Layout, Parts } from './layout.js';
import { drawSpark } from './spark.js';
import { fitted, type Surface } from './surface.js';

export type StripRow = Extract<Row, { kind: 'strip' }>;

/** A strip on the screen, in device pixels, and what is drawn of it. */
interface Item {
  row: StripRow;
  x: number;
  y: number;
  solid: number;
  light: number;
  hold: number;
  tone: number;
  number: string;
  lit: number;
  others: string;
}

/** How many pictures it takes until all texts are up to date: nobody reads more than ten a second. */
const textTurns = 6;

/** Whether the source of a row is live. */
export type IsLive = (row: StripRow) => boolean;

/** Draws strips: solid up to the RMS, lighter up to the peak, a mark at the hold. Only what has changed is drawn. */
export class Bars {
  private items: Item[] = [];
  private dirty: Item[] = [];
  private runs: Box[] = [];
  private numbers: Numbers | undefined;
  private turn = 0;
  private parts: Parts | undefined;

  constructor(private readonly surface: Surface) {}

  /** Draws everything but the levels, which the next draw() does. */
  arrange(placed: readonly Placed[], layout: Layout, parts: Parts, palette: Palette): void {
    const { context, scale, canvas } = this.surface;
    this.parts = parts;
    context.fillStyle = palette.ground;
    context.fillRect(0, 0, canvas.width, canvas.height);
    this.items = [];
    this.runs = [];
    this.prepareNumbers(parts, palette);
    for (const { row, x, y } of placed) {
      if (row.kind === 'strip') this.addStrip(row, Math.round(x * scale), Math.round(y * scale), palette);
      else this.drawHead(row.text, x * scale, y * scale, layout, palette);
    }
    // A head that stays in view covers the strips below it.
    const heads = placed.filter(({ row, y }) => row.kind === 'head' && y === 0).map(({ x }) => Math.round(x * scale));
    const edge = Math.round(layout.rowHeight * scale);
    this.items = this.items.filter((item) => item.y >= edge || !heads.includes(item.x));
    this.turn = 0;
  }

  /** Draws the present levels; true if anything has changed. */
  draw(isLive: IsLive, palette: Palette): boolean {
    if (!this.parts) return false;
    this.turn++;
    this.dirty.length = 0;
    const length = Math.round(this.parts.bar.width * this.surface.scale);
    let texts = false;
    this.items.forEach((item, i) => {
      const tone = isLive(item.row) ? 0 : greyTone;
      if (this.measure(item, length, tone)) this.dirty.push(item);
      if (this.turn === 1 || (this.turn + i) % textTurns === 0) texts = this.drawTexts(item, palette) || texts;
    });
    this.fillBars(length, palette);
    return texts || this.dirty.length > 0;
  }

  /** The strip at a place of the canvas, in CSS pixels. */
  at(x: number, y: number, layout: Layout): StripRow | undefined {
    const { scale } = this.surface;
    return this.items.find((item) => {
      const left = item.x / scale;
      const top = item.y / scale;
      return x >= left && x < left + layout.columnWidth && y >= top && y < top + layout.rowHeight;
    })?.row;
  }

  private prepareNumbers(parts: Parts, palette: Palette): void {
    const { scale } = this.surface;
    const width = Math.round(parts.number.width * scale);
    const height = Math.round(parts.bar.height * scale);
    this.numbers = new Numbers(width, height, parts.font * scale, palette.ground);
  }

  private addStrip(row: StripRow, x: number, y: number, palette: Palette): void {
    const { context, scale } = this.surface;
    const { label, font } = this.partsHere();
    const prefix = row.source.sets[row.set].strips[row.index].prefix;
    context.font = fontOf(font * scale);
    context.textBaseline = 'middle';
    context.fillStyle = palette.ink;
    const text = fitted(context, row.source.labelOf(prefix), label.width * scale);
    context.fillText(text, x, y + (label.height * scale) / 2);
    this.items.push({ row, x, y, solid: -1, light: -1, hold: -1, tone: -1, number: '', lit: -1, others: '' });
    this.lastRun(x, y, label.height * scale);
  }

  /** Strips below each other share the lines of the scale. */
  private lastRun(x: number, y: number, height: number): void {
    const run = this.runs[this.runs.length - 1] as Box | undefined;
    if (run?.x === x && Math.abs(run.y + run.height - y) < 2) run.height = y + height - run.y;
    else this.runs.push({ x, y, width: 0, height });
  }

  private drawHead(text: string, x: number, y: number, layout: Layout, palette: Palette): void {
    const { context, scale } = this.surface;
    const { label, bar, font } = this.partsHere();
    context.fillStyle = palette.ground;
    context.fillRect(Math.floor(x), Math.floor(y), Math.ceil(layout.columnWidth * scale), Math.ceil(layout.rowHeight * scale));
    const middle = y + (layout.rowHeight * scale) * 0.58;
    context.textBaseline = 'middle';
    context.font = fontOf(font * scale, 700);
    context.fillStyle = palette.ink;
    context.fillText(fitted(context, text, label.width * scale), x, middle);
    context.font = fontOf(font * 0.72 * scale);
    context.fillStyle = palette.faint;
    this.drawScale(x + bar.x * scale, bar.width * scale, middle);
  }

  /** From the right: the top of the scale is what matters. */
  private drawScale(x: number, width: number, y: number): void {
    const { context } = this.surface;
    let free = Infinity;
    context.textAlign = 'center';
    for (const db of [...ticks].reverse()) {
      const text = String(db).replace('-', '−');
      const half = context.measureText(text).width / 2;
      const middle = Math.min(x + deflection(db) * width, x + width - half);
      if (middle + half > free || middle - half < x) continue;
      context.fillText(text, middle, y);
      free = middle - half * 1.6;
    }
    context.textAlign = 'left';
  }

  /** Whether its bar would look otherwise. */
  private measure(item: Item, length: number, tone: number): boolean {
    const { source, set, index } = item.row;
    const strips = source.sets[set];
    const solid = Math.round(deflection(strips.rms[index]) * length);
    const light = Math.round(deflection(strips.peak[index]) * length);
    const hold = Math.round(deflection(strips.holds.levels[index]) * length);
    if (item.solid === solid && item.light === light && item.hold === hold && item.tone === tone) return false;
    item.solid = solid;
    item.light = Math.max(solid, light);
    item.hold = hold;
    item.tone = tone;
    return true;
  }

  /** All pieces of one colour at a time, because to change the colour costs more than a piece. */
  private fillBars(length: number, palette: Palette): void {
    if (!this.dirty.length) return;
    const edges = [0, Math.round(deflection(warmDb) * length), Math.round(deflection(hotDb) * length), length];
    this.fillTracks(length, palette);
    for (let zone = 0; zone < 3; zone++) this.fillZone(zone, edges[zone], edges[zone + 1], palette.solid[zone], palette.light[zone], 0);
    this.fillZone(greyTone, 0, length, palette.solid[greyTone], palette.light[greyTone], greyTone);
    for (let zone = 0; zone <= greyTone; zone++) this.fillHolds(zone, length, edges, palette.text[zone]);
    this.fillLines(length, palette);
  }

  private fillTracks(length: number, palette: Palette): void {
    const { context } = this.surface;
    const { left, top, height } = this.barHere();
    context.fillStyle = palette.track;
    for (const item of this.dirty) context.fillRect(item.x + left + item.light, item.y + top, length - item.light, height);
  }

  private fillZone(_zone: number, from: number, to: number, solid: string, light: string, tone: number): void {
    const { context } = this.surface;
    const { left, top, height } = this.barHere();
    context.fillStyle = solid;
    for (const item of this.dirty) {
      const end = Math.min(to, item.solid);
      if (item.tone === tone && end > from) context.fillRect(item.x + left + from, item.y + top, end - from, height);
    }
    context.fillStyle = light;
    for (const item of this.dirty) {
      const begin = Math.max(from, item.solid);
      const end = Math.min(to, item.light);
      if (item.tone === tone && end > begin) context.fillRect(item.x + left + begin, item.y + top, end - begin, height);
    }
  }

  private fillHolds(zone: number, length: number, edges: readonly number[], colour: string): void {
    const { context, scale } = this.surface;
    const { left, top, height } = this.barHere();
    const wide = Math.max(2, Math.round(2.5 * scale));
    context.fillStyle = colour;
    for (const item of this.dirty) {
      if (item.hold <= 0) continue;
      const its = item.tone === greyTone ? greyTone : item.hold >= edges[2] ? 2 : item.hold >= edges[1] ? 1 : 0;
      const place = Math.min(item.hold, length - wide);
      if (its === zone) context.fillRect(item.x + left + place, item.y + top, wide, height);
    }
  }

  private fillLines(length: number, palette: Palette): void {
    const { context, scale } = this.surface;
    const { left } = this.barHere();
    const wide = Math.max(1, Math.round(scale));
    context.fillStyle = palette.ground;
    for (const run of this.runs) {
      for (const db of ticks) {
        const place = Math.round(deflection(db) * length);
        if (place < length) context.fillRect(run.x + left + place, run.y, wide, run.height);
      }
    }
  }

  private drawTexts(item: Item, palette: Palette): boolean {
    const { source, set, index } = item.row;
    const strips = source.sets[set];
    const held = strips.holds.levels[index];
    const zone = item.tone === greyTone ? greyTone : zoneOf(held);
    const text = levelText(held);
    const lit = strips.lit[index] + item.tone / 10;
    const changed = item.number !== text + zone || item.lit !== lit;
    if (item.number !== text + zone) this.drawNumber(item, text, palette.text[zone]);
    if (item.lit !== lit) this.drawLamp(item, strips.lit[index], held, palette);
    item.number = text + zone;
    item.lit = lit;
    return this.drawSide(item, palette) || changed;
  }

  private drawNumber(item: Item, text: string, colour: string): void {
    const { number } = this.partsHere();
    const x = item.x + Math.round(number.x * this.surface.scale);
    this.numbers?.draw(this.surface.context, text, colour, x, item.y + this.barHere().top);
  }

  private drawLamp(item: Item, lit: number, _held: number, palette: Palette): void {
    const { context, scale } = this.surface;
    const { lamp, font } = this.partsHere();
    const { top, height } = this.barHere();
    const x = item.x + Math.round(lamp.x * scale);
    const width = Math.round(lamp.width * scale);
    context.fillStyle = lit > 0 ? palette.lamp : palette.track;
    context.fillRect(x, item.y + top, width, height);
    if (lit <= 0) return;
    context.fillStyle = palette.lampInk;
    context.font = fontOf(font * 0.75 * scale, 700);
    context.textAlign = 'center';
    context.fillText(lit > 99 ? '99+' : String(lit), x + width / 2, item.y + top + height / 2, width);
    context.textAlign = 'left';
  }

  /** The spectrum, and the rest of the strip's values. */
  private drawSide(item: Item, palette: Palette): boolean {
    const { spark, others, font } = this.partsHere();
    const { context, scale } = this.surface;
    const { source, set, index } = item.row;
    const meters = source.sets[set].meters;
    const strip = source.sets[set].strips[index];
    const { top, height } = this.barHere();
    if (spark.width > 0 && strip.spectrum >= 0) {
      const box = { x: item.x + Math.round(spark.x * scale), y: item.y + top, width: Math.round(spark.width * scale), height };
      drawSpark(context, box, meters.value(strip.spectrum), palette, item.tone);
    }
    if (others.width <= 0) return false;
    const text = strip.others.map(({ name, place }) => `${name} ${describe(meters.value(place))}`).join(' ');
    if (text === item.others) return false;
    item.others = text;
    context.fillStyle = palette.ground;
    const x = item.x + others.x * scale;
    context.fillRect(Math.floor(x), item.y, Math.ceil(others.width * scale), Math.round(others.height * scale));
    context.font = fontOf(font * 0.8 * scale);
    context.fillStyle = palette.faint;
    context.fillText(fitted(context, text, others.width * scale), x, item.y + (others.height * scale) / 2);
    return true;
  }

  private partsHere(): Parts {
    if (!this.parts) throw new Error('not arranged');
    return this.parts;
  }

  private barHere(): { left: number; top: number; height: number } {
    const { scale } = this.surface;
    const { bar } = this.partsHere();
    return { left: Math.round(bar.x * scale), top: Math.round(bar.y * scale), height: Math.round(bar.height * scale) };
  }
}

export { overDb };
