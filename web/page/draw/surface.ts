/** A canvas that is as sharp as the screen: it is drawn in device pixels. Hidden from screen readers. */
export class Surface {
  readonly canvas = document.createElement('canvas');
  readonly context: CanvasRenderingContext2D;
  /** Device pixels of a CSS pixel. */
  scale = 1;

  constructor() {
    this.canvas.setAttribute('aria-hidden', 'true');
    const context = this.canvas.getContext('2d', { alpha: false });
    if (!context) throw new Error('this browser has no canvas');
    this.context = context;
  }

  /** In CSS pixels; true if something is to be drawn again. */
  resize(width: number, height: number): boolean {
    const scale = window.devicePixelRatio || 1;
    const wide = Math.max(1, Math.round(width * scale));
    const high = Math.max(1, Math.round(height * scale));
    if (this.canvas.width === wide && this.canvas.height === high && this.scale === scale) return false;
    this.scale = scale;
    this.canvas.width = wide;
    this.canvas.height = high;
    this.canvas.style.width = `${width}px`;
    this.canvas.style.height = `${height}px`;
    return true;
  }
}

/** The text, shortened to fit. */
export function fitted(context: CanvasRenderingContext2D, text: string, width: number): string {
  if (context.measureText(text).width <= width) return text;
  let length = text.length;
  while (length > 0 && context.measureText(`${text.slice(0, length)}…`).width > width) length--;
  return length > 0 ? `${text.slice(0, length).trimEnd()}…` : '';
}
