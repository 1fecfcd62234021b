import { Bars, type Run } from './bars.js';
import type { Placed } from './flow.js';
import { type Item, itemAt, measure, type Sheet, type StripRow } from './item.js';
import { greyTone } from './palette.js';
import { Texts } from './texts.js';

/** How many pictures it takes until all texts are up to date: nobody reads more than ten a second. */
const textTurns = 6;

/** Rows on a sheet. Only what has changed is drawn. */
export class Picture {
  private items: Item[] = [];
  private readonly runs: Run[] = [];
  private readonly dirty: Item[] = [];
  private readonly bars: Bars;
  private readonly texts: Texts;
  private turn = 0;

  /** Draws everything but the levels, which the first draw() does. */
  constructor(
    private readonly sheet: Sheet,
    placed: readonly Placed[],
  ) {
    const { context, surface, palette } = sheet;
    this.bars = new Bars(sheet);
    this.texts = new Texts(sheet);
    context.fillStyle = palette.ground;
    context.fillRect(0, 0, surface.canvas.width, surface.canvas.height);
    for (const { row, x, y } of placed) {
      if (row.kind === 'strip') this.add(itemAt(row, sheet.px(x), sheet.px(y)));
      else this.texts.head(row.text, sheet.px(x), sheet.px(y));
    }
    this.dropCovered(placed);
  }

  /** Draws the present levels. */
  draw(isLive: (row: StripRow) => boolean): void {
    this.turn++;
    this.dirty.length = 0;
    for (let i = 0; i < this.items.length; i++) {
      const item = this.items[i];
      const { tone } = item;
      if (measure(item, this.sheet.bar.length, isLive(item.row) ? 0 : greyTone)) this.dirty.push(item);
      if (tone !== item.tone || (this.turn + i) % textTurns === 0) this.texts.draw(item);
    }
    if (this.dirty.length > 0) this.bars.draw(this.dirty, this.runs);
  }

  /** The strip at a place of the canvas, in CSS pixels. */
  at(x: number, y: number): StripRow | undefined {
    const { layout, scale, rowHeight } = this.sheet;
    const within = (from: number, length: number, place: number) => place >= from && place < from + length;
    const width = layout.columnWidth * scale;
    return this.items.find((item) => within(item.x, width, x * scale) && within(item.y, rowHeight, y * scale))?.row;
  }

  private add(item: Item): void {
    this.texts.label(item);
    this.items.push(item);
    this.addToRun(item);
  }

  private addToRun({ x, y }: Item): void {
    const { rowHeight } = this.sheet;
    const run = this.runs.length > 0 ? this.runs[this.runs.length - 1] : undefined;
    if (run?.x === x && Math.abs(run.y + run.height - y) < 2) run.height = y + rowHeight - run.y;
    else this.runs.push({ x, y, height: rowHeight });
  }

  /** A head that stays in view covers the strips below it. */
  private dropCovered(placed: readonly Placed[]): void {
    const { rowHeight } = this.sheet;
    const heads = placed.filter(({ row, y }) => row.kind === 'head' && y === 0).map(({ x }) => this.sheet.px(x));
    const isSeen = ({ x, y }: { x: number; y: number }) => y >= rowHeight || !heads.includes(x);
    this.items = this.items.filter(isSeen);
    for (const run of this.runs) {
      if (isSeen(run)) continue;
      run.height -= rowHeight - run.y;
      run.y = rowHeight;
    }
  }
}
