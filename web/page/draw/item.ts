import type { Row } from '../model/rows.js';
import { deflection } from '../model/scale.js';
import type { StripSet } from '../model/strips.js';
import { fontOf, type Palette } from './palette.js';
import type { Layout, Parts } from './layout.js';
import type { Surface } from './surface.js';

export type StripRow = Extract<Row, { kind: 'strip' }>;

/** A strip on the screen, in device pixels, and what is drawn of it. */
export interface Item {
  row: StripRow;
  x: number;
  y: number;
  solid: number;
  light: number;
  hold: number;
  tone: number;
  /** The number beside the bar. */
  held: number;
  heldTone: number;
  lit: number;
  lamp: string;
  others: string;
}

export function itemAt(row: StripRow, x: number, y: number): Item {
  const bar = { solid: -1, light: -1, hold: -1, tone: -1 };
  return { row, x, y, ...bar, held: NaN, heldTone: -1, lit: -1, lamp: '', others: '' };
}

export const setOf = ({ row }: Item): StripSet => row.source.sets[row.set];

/** Measures its bar; false if it looks as it is drawn. */
export function measure(item: Item, length: number, tone: number): boolean {
  const set = setOf(item);
  const { index } = item.row;
  const solid = Math.round(deflection(set.rms[index]) * length);
  const light = Math.max(solid, Math.round(deflection(set.peak[index]) * length));
  const hold = Math.round(deflection(set.holds.levels[index]) * length);
  if (item.solid === solid && item.light === light && item.hold === hold && item.tone === tone) return false;
  item.solid = solid;
  item.light = light;
  item.hold = hold;
  item.tone = tone;
  return true;
}

/** What a drawing of rows is made with; sizes in device pixels. */
export class Sheet {
  readonly context: CanvasRenderingContext2D;
  readonly scale: number;
  private fontPart = NaN;
  private fontWeight = NaN;
  readonly bar: { left: number; top: number; length: number; height: number };

  constructor(
    readonly surface: Surface,
    readonly layout: Layout,
    readonly parts: Parts,
    readonly palette: Palette,
  ) {
    this.context = surface.context;
    this.scale = surface.scale;
    const { x, y, width, height } = parts.bar;
    this.bar = { left: this.px(x), top: this.px(y), length: this.px(width), height: this.px(height) };
  }

  px(size: number): number {
    return Math.round(size * this.scale);
  }

  get rowHeight(): number {
    return this.px(this.layout.rowHeight);
  }

  /** To set the same again costs as much as a text. */
  setFont(part: number, weight = 400): void {
    if (part === this.fontPart && weight === this.fontWeight) return;
    this.fontPart = part;
    this.fontWeight = weight;
    this.context.font = fontOf(this.parts.font * part * this.scale, weight);
  }
}
