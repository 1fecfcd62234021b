import { fontOf } from './palette.js';

const columns = 16;
const mostRows = 64;
/** Pixels of a sheet, at most. */
const mostArea = 2_000_000;

/** Pictures of short texts, because to copy one costs a tenth of writing it. */
export class Numbers {
  private readonly sheet = document.createElement('canvas');
  private readonly cells = new Map<string, number>();
  private readonly context: CanvasRenderingContext2D;
  private readonly capacity: number;

  /** Of cells of this size in device pixels; the text stands at the right. */
  constructor(
    readonly width: number,
    readonly height: number,
    private readonly font: number,
    private readonly ground: string,
  ) {
    const rows = Math.max(4, Math.min(mostRows, Math.floor(mostArea / (width * columns * height))));
    this.capacity = columns * rows;
    this.sheet.width = width * columns;
    this.sheet.height = height * rows;
    const context = this.sheet.getContext('2d', { alpha: false });
    if (!context) throw new Error('this browser has no canvas');
    this.context = context;
    context.textAlign = 'right';
    context.textBaseline = 'middle';
    context.font = fontOf(font, 600);
  }

  /** Whether it can be used for these as well. */
  fits(width: number, height: number, font: number, ground: string): boolean {
    return this.width === width && this.height === height && this.font === font && this.ground === ground;
  }

  draw(to: CanvasRenderingContext2D, text: string, colour: string, x: number, y: number): void {
    const cell = this.cells.get(colour + text) ?? this.write(text, colour);
    const left = (cell % columns) * this.width;
    const top = Math.floor(cell / columns) * this.height;
    to.drawImage(this.sheet, left, top, this.width, this.height, x, y, this.width, this.height);
  }

  private write(text: string, colour: string): number {
    if (this.cells.size === this.capacity) this.cells.clear();
    const cell = this.cells.size;
    const left = (cell % columns) * this.width;
    const top = Math.floor(cell / columns) * this.height;
    this.context.fillStyle = this.ground;
    this.context.fillRect(left, top, this.width, this.height);
    this.context.fillStyle = colour;
    this.context.fillText(text, left + this.width, top + this.height / 2 + this.font * 0.05, this.width);
    this.cells.set(colour + text, cell);
    return cell;
  }
}
