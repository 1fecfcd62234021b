import { deflection, ticks, zoneOf } from '../model/scale.js';
import { describe, levelText } from '../model/text.js';
import { type Item, setOf, type Sheet } from './item.js';
import { greyTone } from './palette.js';
import { drawSpark } from './spark.js';
import { fitted } from './surface.js';

/** Draws what stands beside the bars. */
export class Texts {
  constructor(private readonly sheet: Sheet) {}

  label(item: Item): void {
    const { context, parts, palette, rowHeight } = this.sheet;
    const { prefix } = setOf(item).strips[item.row.index];
    this.sheet.setFont(1);
    context.textBaseline = 'middle';
    context.fillStyle = palette.ink;
    const text = fitted(context, item.row.source.labelOf(prefix), this.sheet.px(parts.label.width));
    context.fillText(text, item.x, item.y + rowHeight / 2);
  }

  /** A group's name and the scale. */
  head(text: string, x: number, y: number): void {
    const { context, parts, palette, layout, rowHeight } = this.sheet;
    context.fillStyle = palette.ground;
    context.fillRect(x, y, this.sheet.px(layout.columnWidth), rowHeight);
    const middle = y + rowHeight * 0.58;
    context.textBaseline = 'middle';
    this.sheet.setFont(1, 700);
    context.fillStyle = palette.ink;
    const shown = fitted(context, text, this.sheet.px(layout.columnWidth * 0.6));
    context.fillText(shown, x, middle);
    const free = x + context.measureText(shown).width + parts.font * this.sheet.scale;
    this.sheet.setFont(0.72);
    context.fillStyle = palette.faint;
    this.scale(x + this.sheet.bar.left, middle, free);
  }

  /** Those that have changed. */
  draw(item: Item): void {
    this.number(item);
    this.lamp(item);
    this.spectrum(item);
    this.others(item);
  }

  /** From the right: the top of the scale is what matters. */
  private scale(x: number, y: number, begin: number): void {
    const { context, bar } = this.sheet;
    let end = Infinity;
    context.textAlign = 'center';
    for (const db of [...ticks].reverse()) {
      const text = String(db).replace('-', '−');
      const half = context.measureText(text).width / 2;
      const middle = Math.min(x + deflection(db) * bar.length, x + bar.length - half);
      if (middle + half > end || middle - half < Math.max(x, begin)) continue;
      context.fillText(text, middle, y);
      end = middle - half * 1.6;
    }
    context.textAlign = 'left';
  }

  private number(item: Item): void {
    const { context, parts, palette, bar } = this.sheet;
    const held = setOf(item).holds.levels[item.row.index];
    const tone = item.tone === greyTone ? greyTone : zoneOf(held);
    if (item.held === held && item.heldTone === tone) return;
    item.held = held;
    item.heldTone = tone;
    const width = this.sheet.px(parts.number.width);
    const x = item.x + this.sheet.px(parts.number.x);
    context.fillStyle = palette.ground;
    context.fillRect(x, item.y + bar.top, width, bar.height);
    this.sheet.setFont(1, 600);
    context.fillStyle = palette.text[tone];
    context.textAlign = 'right';
    context.fillText(levelText(held), x + width, item.y + bar.top + bar.height / 2, width);
    context.textAlign = 'left';
  }

  private lamp(item: Item): void {
    const { context, parts, palette, bar } = this.sheet;
    const lit = setOf(item).lit[item.row.index];
    const lamp = lit <= 0 ? palette.track : item.tone === greyTone ? palette.solid[greyTone] : palette.lamp;
    if (item.lit === lit && item.lamp === lamp) return;
    item.lit = lit;
    item.lamp = lamp;
    const x = item.x + this.sheet.px(parts.lamp.x);
    const width = this.sheet.px(parts.lamp.width);
    context.fillStyle = lamp;
    context.fillRect(x, item.y + bar.top, width, bar.height);
    this.sheet.setFont(0.75, 700);
    context.fillStyle = palette.lampInk;
    context.textAlign = 'center';
    context.fillText(
      lit <= 0 ? '' : lit > 99 ? '99+' : String(lit),
      x + width / 2,
      item.y + bar.top + bar.height / 2,
      width,
    );
    context.textAlign = 'left';
  }

  private spectrum(item: Item): void {
    const { context, parts, palette, bar } = this.sheet;
    const { meters, strips } = setOf(item);
    const { spectrum } = strips[item.row.index];
    if (parts.spark.width <= 0 || spectrum < 0) return;
    const x = item.x + this.sheet.px(parts.spark.x);
    const box = { x, y: item.y + bar.top, width: this.sheet.px(parts.spark.width), height: bar.height };
    drawSpark(context, box, meters.value(spectrum), palette, item.tone);
  }

  /** The rest of the strip's values. */
  private others(item: Item): void {
    const { context, parts, palette, rowHeight } = this.sheet;
    if (parts.others.width <= 0) return;
    const { meters, strips } = setOf(item);
    const { others } = strips[item.row.index];
    const text = others.map(({ name, place }) => `${name} ${describe(meters.value(place))}`).join(' ');
    if (text === item.others) return;
    item.others = text;
    const x = item.x + this.sheet.px(parts.others.x);
    const width = this.sheet.px(parts.others.width);
    context.fillStyle = palette.ground;
    context.fillRect(x, item.y, width, rowHeight);
    this.sheet.setFont(0.8);
    context.fillStyle = palette.faint;
    context.fillText(fitted(context, text, width), x, item.y + rowHeight / 2);
  }
}
